#pragma once

#include "platform/FileManager.h"

namespace zor {

// NSFileManager's default manager; errors carry its localized descriptions.
class MacFileManager final : public FileManager {
public:
    bool fileExists(const QString& path) override;
    std::optional<PlatformError> removeItem(const QString& path) override;
    std::optional<PlatformError> createDirectory(const QString& path) override;
    std::optional<PlatformError> createSymbolicLink(const QString& path,
                                                    const QString& destination) override;
};

} // namespace zor
