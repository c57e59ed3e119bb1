// Must fail the check: a reply block whose parameters differ from the protocol's.
// Expected error: with an rvalue of type 'void (^)(BOOL, NSData * _Nullable __strong)'
#include "shared/ZorAgentXPC.h"

#import <Foundation/Foundation.h>

void dismiss(id<ZorAgentProtocol> agent) {
#ifdef ZOR_WITHOUT_MISTAKE
    [agent dismissPromptWithPromptId:@"id"
                           withReply:^(BOOL, NSString* _Nullable){
                           }];
#else
    [agent dismissPromptWithPromptId:@"id"
                           withReply:^(BOOL, NSData* _Nullable){
                           }];
#endif
}
