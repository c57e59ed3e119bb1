#include "app/WindowedMain.h"
#include "platform/Log.h"
#include "platform/Platform.h"

int main(int argc, char** argv) {
    zor::setLogSink(zor::platformLogSink());
    return zor::runWindowedApplication(argc, argv);
}
