#include "platform/macos/MacFileManager.h"

#import <Foundation/Foundation.h>

namespace zor {
namespace {

std::optional<PlatformError> errorFrom(BOOL isDone, NSError* error) {
    if (isDone)
        return std::nullopt;
    return PlatformError{QString::fromNSString(error.localizedDescription), int(error.code)};
}

} // namespace

bool MacFileManager::fileExists(const QString& path) {
    return [NSFileManager.defaultManager fileExistsAtPath:path.toNSString()];
}

std::optional<PlatformError> MacFileManager::removeItem(const QString& path) {
    NSError* error = nil;
    const BOOL isDone = [NSFileManager.defaultManager removeItemAtPath:path.toNSString()
                                                                 error:&error];
    return errorFrom(isDone, error);
}

std::optional<PlatformError> MacFileManager::createDirectory(const QString& path) {
    NSError* error = nil;
    const BOOL isDone = [NSFileManager.defaultManager createDirectoryAtPath:path.toNSString()
                                                withIntermediateDirectories:YES
                                                                 attributes:nil
                                                                      error:&error];
    return errorFrom(isDone, error);
}

std::optional<PlatformError> MacFileManager::createSymbolicLink(const QString& path,
                                                                const QString& destination) {
    NSError* error = nil;
    const BOOL isDone =
        [NSFileManager.defaultManager createSymbolicLinkAtPath:path.toNSString()
                                           withDestinationPath:destination.toNSString()
                                                         error:&error];
    return errorFrom(isDone, error);
}

} // namespace zor
