#include "platform/macos/MacCodeSigning.h"

#include "platform/Log.h"
#include "platform/macos/PeerRequirement.h"

#include <QString>
#import <Security/Security.h>

namespace zor {
namespace {

std::optional<QString> readOwnTeamIdentifier() {
    SecCodeRef code = nullptr;
    if (SecCodeCopySelf(kSecCSDefaultFlags, &code) != errSecSuccess || !code)
        return std::nullopt;
    CFDictionaryRef information = nullptr;
    const OSStatus status =
        SecCodeCopySigningInformation(code, kSecCSSigningInformation, &information);
    CFRelease(code);
    if (status != errSecSuccess)
        return std::nullopt;
    NSDictionary* signing = CFBridgingRelease(information);
    id team = signing[(__bridge NSString*)kSecCodeInfoTeamIdentifier];
    if (![team isKindOfClass:NSString.class])
        return std::nullopt;
    return QString::fromNSString(team);
}

// Read once: the signature does not change while the process runs.
const std::optional<QString>& ownTeamIdentifier() {
    static const std::optional<QString> team = [] {
        std::optional<QString> read = readOwnTeamIdentifier();
        if (!read)
            logger(LogCategory::app)
                .error("No team identifier in the app's signature: ZorAgent and the daemon are "
                       "refused");
        return read;
    }();
    return team;
}

} // namespace

void requirePeerSignature(NSXPCConnection* connection, const char* signingIdentifier) {
    [connection setCodeSigningRequirement:peerRequirement(ownTeamIdentifier(),
                                                          QString::fromUtf8(signingIdentifier))
                                              .toNSString()];
}

bool isPeerSignatureRefusal(NSError* error) {
    return [error.domain isEqualToString:NSCocoaErrorDomain] &&
           error.code == NSXPCConnectionCodeSigningRequirementFailure;
}

} // namespace zor
