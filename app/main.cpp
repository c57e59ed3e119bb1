#include "app/HeadlessMain.h"
#include "app/LaunchMode.h"
#include "app/WindowedMain.h"
#include "platform/Log.h"
#include "platform/Platform.h"

int main(int argc, char** argv) {
    zor::platformSurviveClosedOutput();
    zor::setLogSink(zor::platformLogSink());
    if (zor::chooseLaunchMode(argc, argv) == zor::LaunchMode::headless)
        zor::runHeadlessRegistration(argc, argv);
    return zor::runWindowedApplication(argc, argv);
}
