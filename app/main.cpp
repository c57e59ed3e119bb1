#include "platform/Log.h"
#include "platform/Platform.h"

#include <QGuiApplication>

int main(int argc, char** argv) {
    zor::setLogSink(zor::platformLogSink());
    QGuiApplication app(argc, argv);
    return app.exec();
}
