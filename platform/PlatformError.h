#pragma once

#include <QString>

namespace zor {

// An error reported by the operating system, as a value.
struct PlatformError {
    QString localizedDescription;
    int code = 0;
};

// What the portable implementations answer where the system has no equivalent.
inline PlatformError notSupportedError() {
    return PlatformError{QStringLiteral("not supported on this platform"), -1};
}

} // namespace zor
