// Must fail the check on arm64 only: a reply block that takes signed char where
// the protocol passes BOOL, the same type on Intel Macs but not on Apple silicon.
// Expected error: with an rvalue of type 'void (^)(signed char)'
#include "shared/ZorDaemonXPC.h"

#import <Foundation/Foundation.h>

void ping(id<ZorDaemonProtocol> daemon) {
#ifdef ZOR_WITHOUT_MISTAKE
    [daemon pingNetworkExtensionWithTimeout:3.0
                                  withReply:^(BOOL){
                                  }];
#else
    [daemon pingNetworkExtensionWithTimeout:3.0
                                  withReply:^(signed char){
                                  }];
#endif
}
