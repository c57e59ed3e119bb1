#include "SetupTests.h"

#include <QCoreApplication>

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    int failures = 0;
    for (auto run : {runStatusDisplayTests, runProbeTests, runRepairTests, runServiceMonitorTests})
        failures += run(argc, argv);
    return failures == 0 ? 0 : 1;
}
