#pragma once

// The agent's two XPC interfaces as Objective-C protocols: the wire contract
// between the app and ZorAgent. Selectors and argument types must match the
// agent's copy exactly; only property-list values cross (NSString, NSData, BOOL).
// Objective-C only: include from .mm files.

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

// Exported by the agent, called by the app. The agent calls every reply once.
@protocol ZorAgentProtocol
// The JSON array of every prompt the agent holds.
- (void)getPromptsWithReply:(void (^)(NSData* promptsData))reply;
- (void)getBuildNumberWithReply:(void (^)(NSString* buildNumber))reply;
// The error text may be nil even when success is NO.
- (void)handlePromptWithPromptId:(NSString*)promptId
                          action:(NSString*)action
                        lifetime:(NSString*)lifetime
                      policyPath:(NSString*)policyPath
                       withReply:(void (^)(BOOL success, NSString* _Nullable error))reply;
- (void)dismissPromptWithPromptId:(NSString*)promptId
                        withReply:(void (^)(BOOL success, NSString* _Nullable error))reply;
@end

// Exported by the app, called by the agent; one-way.
@protocol ZorAppCallbackProtocol
// The JSON of one prompt record.
- (void)promptAddedWithPromptData:(NSData*)promptData;
// The prompt's UUID text.
- (void)promptRemovedWithPromptId:(NSString*)promptId;
- (void)promptsClearedWithSessionId:(NSString*)sessionId;
@end

NS_ASSUME_NONNULL_END
