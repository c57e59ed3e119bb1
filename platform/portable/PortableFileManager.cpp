#include "platform/portable/PortableFileManager.h"

#include <QFile>
#include <filesystem>

namespace zor {
namespace {

namespace fs = std::filesystem;

fs::path filesystemPath(const QString& path) {
    return fs::path(QFile::encodeName(path).toStdString());
}

std::optional<PlatformError> errorFrom(const std::error_code& code) {
    if (!code)
        return std::nullopt;
    return PlatformError{QString::fromLocal8Bit(code.message()), code.value()};
}

} // namespace

bool PortableFileManager::fileExists(const QString& path) {
    std::error_code unexamined;
    return fs::exists(filesystemPath(path), unexamined);
}

std::optional<PlatformError> PortableFileManager::removeItem(const QString& path) {
    std::error_code error;
    fs::remove_all(filesystemPath(path), error);
    return errorFrom(error);
}

std::optional<PlatformError> PortableFileManager::createDirectory(const QString& path) {
    std::error_code error;
    fs::create_directories(filesystemPath(path), error);
    return errorFrom(error);
}

std::optional<PlatformError> PortableFileManager::createSymbolicLink(const QString& path,
                                                                     const QString& destination) {
    std::error_code error;
    fs::create_symlink(filesystemPath(destination), filesystemPath(path), error);
    return errorFrom(error);
}

} // namespace zor
