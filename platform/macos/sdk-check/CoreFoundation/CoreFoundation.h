// Mirrors <CoreFoundation/CoreFoundation.h>: CFBase.h, CFString.h, CFDictionary.h.
#pragma once

#include <os/availability.h>
#include <stdint.h>

#define CF_BRIDGED_TYPE(T) __attribute__((objc_bridge(T)))
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))
#define CF_CONSUMED __attribute__((cf_consumed))

#pragma clang assume_nonnull begin

typedef const void* CFTypeRef;
typedef const struct CF_BRIDGED_TYPE(NSString) __CFString* CFStringRef;
typedef const struct CF_BRIDGED_TYPE(NSDictionary) __CFDictionary* CFDictionaryRef;

extern "C" {
void CFRelease(CFTypeRef cf);
}

#pragma clang assume_nonnull end
