// Mirrors <objc/objc.h>.
#pragma once

typedef struct objc_class* Class;
typedef struct objc_object* id;
typedef struct objc_selector* SEL;
typedef signed char BOOL;
#define YES __objc_yes
#define NO __objc_no
#ifndef nil
#define nil nullptr
#endif
#define NS_RETURNS_INNER_POINTER __attribute__((objc_returns_inner_pointer))

@class Protocol;
