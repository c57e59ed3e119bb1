#pragma once

#include "platform/PlatformError.h"

#include <QString>
#include <optional>

namespace zor {

// The file operations that lay the command-line link, done with the caller's
// own rights. Errors carry the system's own description.
class FileManager {
public:
    virtual ~FileManager() = default;

    // Follows links, so a dangling link counts as absent; so does a path that
    // cannot be examined.
    virtual bool fileExists(const QString& path) = 0;
    // A file, a link (never what it points to) or a directory with all it holds.
    virtual std::optional<PlatformError> removeItem(const QString& path) = 0;
    // Creates the missing parent directories too.
    virtual std::optional<PlatformError> createDirectory(const QString& path) = 0;
    virtual std::optional<PlatformError> createSymbolicLink(const QString& path,
                                                            const QString& destination) = 0;
};

} // namespace zor
