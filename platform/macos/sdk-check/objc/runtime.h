// Mirrors <objc/runtime.h>.
#pragma once

#include <objc/objc.h>

typedef struct objc_method* Method;

extern "C" {
Class _Nullable object_getClass(id _Nullable obj) API_AVAILABLE(macos(10.5));
Method _Nullable class_getInstanceMethod(Class _Nullable cls, SEL _Nonnull name)
    API_AVAILABLE(macos(10.0));
IMP _Nonnull method_getImplementation(Method _Nonnull m) API_AVAILABLE(macos(10.5));
IMP _Nonnull method_setImplementation(Method _Nonnull m, IMP _Nonnull imp)
    API_AVAILABLE(macos(10.5));
BOOL class_addMethod(Class _Nullable cls, SEL _Nonnull name, IMP _Nonnull imp,
                     const char* _Nullable types) API_AVAILABLE(macos(10.5));
IMP _Nonnull imp_implementationWithBlock(id _Nonnull block) API_AVAILABLE(macos(10.7));
}
