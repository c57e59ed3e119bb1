// Mirrors <AvailabilityMacros.h>: deployment target macOS 13.
#pragma once
#include <Availability.h>
#define MAC_OS_X_VERSION_10_6 1060
#define MAC_OS_VERSION_13_0 130000
#define MAC_OS_X_VERSION_MIN_REQUIRED MAC_OS_VERSION_13_0
#define MAC_OS_X_VERSION_MAX_ALLOWED MAC_OS_VERSION_13_0
