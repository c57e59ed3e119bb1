// Mirrors <TargetConditionals.h>: compiling for macOS, on Apple silicon or on
// an Intel Mac as the target says.
#pragma once
#define TARGET_OS_MAC 1
#define TARGET_OS_OSX 1
#define TARGET_OS_IPHONE 0
#define TARGET_OS_IOS 0
#define TARGET_OS_WATCH 0
#define TARGET_OS_TV 0
#define TARGET_OS_MACCATALYST 0
#define TARGET_OS_SIMULATOR 0
#if defined(__arm64__)
#define TARGET_CPU_X86_64 0
#define TARGET_CPU_ARM64 1
#else
#define TARGET_CPU_X86_64 1
#define TARGET_CPU_ARM64 0
#endif
#define TARGET_RT_64_BIT 1
