// Must fail the check: a selector the interface does not have.
// Expected error: no known instance method for selector 'getAllPromptsWithReply:'
#include "shared/ZorAgentXPC.h"

#import <Foundation/Foundation.h>

void fetchPrompts(NSXPCConnection* connection) {
    id<ZorAgentProtocol> agent = [connection remoteObjectProxyWithErrorHandler:^(NSError*){
    }];
#ifdef ZOR_WITHOUT_MISTAKE
    [agent getPromptsWithReply:^(NSData*){
    }];
#else
    [agent getAllPromptsWithReply:^(NSData*){
    }];
#endif
}
