// Mirrors <os/log.h>.
#pragma once
#include <os/availability.h>
#include <stdint.h>

@protocol OS_os_log
@end
typedef id<OS_os_log> os_log_t;

typedef uint8_t os_log_type_t;
enum : os_log_type_t {
    OS_LOG_TYPE_DEFAULT = 0x00,
    OS_LOG_TYPE_INFO = 0x01,
    OS_LOG_TYPE_DEBUG = 0x02,
    OS_LOG_TYPE_ERROR = 0x10,
    OS_LOG_TYPE_FAULT = 0x11,
};

extern "C" {
os_log_t os_log_create(const char* subsystem, const char* category) API_AVAILABLE(macos(10.12));
bool os_log_type_enabled(os_log_t oslog, os_log_type_t type) API_AVAILABLE(macos(10.12));
// Stand-in for the SDK's emitting function, which the macro below feeds.
void sdkcheck_os_log_emit(os_log_t log, os_log_type_t type, const char* format,
                          const uint8_t* buffer, uint32_t size);
}

// os_log_with_type(log, type, format, ...): the format must be a string literal
// (the array initialiser rejects anything else) and is checked against the
// arguments, privacy annotations included, by clang's os_log builtins.
#define os_log_with_type(log, type, format, ...)                                                   \
    __extension__({                                                                                \
        os_log_t _sdkcheck_log = (log);                                                            \
        os_log_type_t _sdkcheck_type = (type);                                                     \
        if (os_log_type_enabled(_sdkcheck_log, _sdkcheck_type)) {                                  \
            static const char _sdkcheck_format[] = format;                                         \
            uint8_t _sdkcheck_buffer[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];  \
            sdkcheck_os_log_emit(                                                                  \
                _sdkcheck_log, _sdkcheck_type, _sdkcheck_format,                                   \
                (const uint8_t*)__builtin_os_log_format(_sdkcheck_buffer, format, ##__VA_ARGS__),  \
                sizeof(_sdkcheck_buffer));                                                         \
        }                                                                                          \
    })
