// Mirrors <os/availability.h> for macOS: API_AVAILABLE(macos(14.0)) and
// API_DEPRECATED("message", macos(10.0, 14.0)) become clang's availability
// attribute, so that a call above the deployment target outside @available
// and a call to an API deprecated at the deployment target are diagnosed.
// Only the macOS part of a declaration's availability is written here.
#pragma once

#define API_AVAILABLE(platform) __SDKCHECK_AVAILABLE_##platform
#define __SDKCHECK_AVAILABLE_macos(introduced_)                                                    \
    __attribute__((availability(macos, introduced = introduced_)))

#define API_DEPRECATED(message, platform)                                                          \
    __SDKCHECK_DEPRECATED(message, __SDKCHECK_DEPRECATED_##platform)
#define __SDKCHECK_DEPRECATED_macos(introduced_, deprecated_) introduced_, deprecated_
#define __SDKCHECK_DEPRECATED(...) __SDKCHECK_DEPRECATED_IN(__VA_ARGS__)
#define __SDKCHECK_DEPRECATED_IN(message_, introduced_, deprecated_)                               \
    __attribute__((availability(macos, introduced = introduced_, deprecated = deprecated_,         \
                                message = message_)))
