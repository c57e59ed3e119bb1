#pragma once

// Each area of the setup tests runs as its own QtTest object in test_setup.
int runStatusDisplayTests(int argc, char** argv);
int runProbeTests(int argc, char** argv);
int runRepairTests(int argc, char** argv);
int runServiceMonitorTests(int argc, char** argv);
