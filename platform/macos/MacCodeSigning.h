#pragma once

// Objective-C++ only: include from .mm files.

#import <Foundation/Foundation.h>

namespace zor {

// Makes `connection` accept only a peer signed by this app's team with
// `signingIdentifier` (PeerRequirement.h); call before resuming it. The team
// is read from the app's own signature, so a build signed by another team, or
// not at all, trusts no agent or daemon but its own team's.
void requirePeerSignature(NSXPCConnection* connection, const char* signingIdentifier);

// Whether a call ended because the peer failed that requirement; the system
// then invalidates the connection.
bool isPeerSignatureRefusal(NSError* error);

} // namespace zor
