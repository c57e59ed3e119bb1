// Mirrors <Availability.h>: version constants; the deployment target is the
// compiler's target, and the newest API declared is macOS 14's.
#pragma once
#define __MAC_10_6 1060
#define __MAC_10_15 101500
#define __MAC_11_0 110000
#define __MAC_12_0 120000
#define __MAC_13_0 130000
#define __MAC_14_0 140000
#define __MAC_NA 9999
#define __IPHONE_NA 99999
#define __TVOS_NA 99999
#define __WATCHOS_NA 99999
#define __MAC_OS_X_VERSION_MIN_REQUIRED __ENVIRONMENT_MAC_OS_X_VERSION_MIN_REQUIRED__
#define __MAC_OS_X_VERSION_MAX_ALLOWED __MAC_14_0
