#pragma once

// The sandbox daemon's XPC interface as an Objective-C protocol: the wire
// contract between the app and the daemon (docs/daemon-xpc.md). The daemon
// exports it on its privileged Mach service. Objective-C only: include from
// .mm files.

#include "shared/Identifiers.h"

#import <Foundation/Foundation.h>

// The daemon's Mach service, declared under MachServices in its launch property list.
#define ZOR_DAEMON_MACH_SERVICE ZOR_VENDOR ".zor-daemon.xpc"

NS_ASSUME_NONNULL_BEGIN

@protocol ZorDaemonProtocol
// esClientResult is the daemon's Endpoint Security es_new_client_result_t.
- (void)getStatusWithReply:(void (^)(int32_t esClientResult, NSString* version,
                                     NSString* buildNumber))reply;
// Asks the network extension for a sign of life; answers YES when it answered
// within `timeout` seconds.
- (void)pingNetworkExtensionWithTimeout:(NSTimeInterval)timeout
                              withReply:(void (^)(BOOL isResponding))reply;
// nil when the extension did not answer.
- (void)getNetworkExtensionBuildNumberWithReply:(void (^)(NSString* _Nullable buildNumber))reply;
@end

NS_ASSUME_NONNULL_END
