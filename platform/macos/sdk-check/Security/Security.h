// Mirrors <Security/Security.h>: SecBase.h, CSCommon.h, SecCode.h.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#pragma clang assume_nonnull begin

typedef int32_t OSStatus;
enum { errSecSuccess = 0 };

typedef uint32_t SecCSFlags;
enum : uint32_t { kSecCSDefaultFlags = 0 };
enum : uint32_t {
    kSecCSInternalInformation = 1 << 0,
    kSecCSSigningInformation = 1 << 1,
    kSecCSRequirementInformation = 1 << 2,
    kSecCSDynamicInformation = 1 << 3,
    kSecCSContentInformation = 1 << 4,
};

typedef struct CF_BRIDGED_TYPE(id) __SecCode* SecCodeRef;
typedef const struct CF_BRIDGED_TYPE(id) __SecCode* SecStaticCodeRef;

extern "C" {
OSStatus SecCodeCopySelf(SecCSFlags flags, SecCodeRef _Nullable* _Nonnull CF_RETURNS_RETAINED self)
    API_AVAILABLE(macos(10.5));
OSStatus
SecCodeCopySigningInformation(SecStaticCodeRef code, SecCSFlags flags,
                              CFDictionaryRef _Nullable* _Nonnull CF_RETURNS_RETAINED information)
    API_AVAILABLE(macos(10.5));
extern const CFStringRef kSecCodeInfoTeamIdentifier API_AVAILABLE(macos(10.9));
}

#pragma clang assume_nonnull end
