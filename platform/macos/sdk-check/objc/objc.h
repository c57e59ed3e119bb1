// Mirrors <objc/objc.h>.
#pragma once

#include <os/availability.h>

typedef struct objc_class* Class;
typedef struct objc_object* id;
typedef struct objc_selector* SEL;
// Strict dispatch prototypes, Xcode's default: an IMP is called only through a
// cast to the function type it really has.
typedef void (*IMP)(void);
// BOOL is bool on Apple silicon and signed char on Intel Macs; clang tells
// which for the target.
#if __OBJC_BOOL_IS_BOOL
typedef bool BOOL;
#else
typedef signed char BOOL;
#endif
#define YES __objc_yes
#define NO __objc_no
#ifndef nil
#define nil nullptr
#endif
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))

@class Protocol;
