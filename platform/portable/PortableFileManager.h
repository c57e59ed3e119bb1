#pragma once

#include "platform/FileManager.h"

namespace zor {

// The C++ file system library; errors read as the C library words them.
class PortableFileManager final : public FileManager {
public:
    bool fileExists(const QString& path) override;
    std::optional<PlatformError> removeItem(const QString& path) override;
    std::optional<PlatformError> createDirectory(const QString& path) override;
    std::optional<PlatformError> createSymbolicLink(const QString& path,
                                                    const QString& destination) override;
};

} // namespace zor
