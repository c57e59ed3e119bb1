// Mirrors <ServiceManagement/ServiceManagement.h>: SMAppService.h (macOS 13).
#pragma once

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, SMAppServiceStatus) {
    SMAppServiceStatusNotRegistered = 0,
    SMAppServiceStatusEnabled = 1,
    SMAppServiceStatusRequiresApproval = 2,
    SMAppServiceStatusNotFound = 3,
};

API_AVAILABLE(macos(13.0))
@interface SMAppService : NSObject
+ (instancetype)daemonServiceWithPlistName:(NSString*)plistName;
+ (instancetype)agentServiceWithPlistName:(NSString*)plistName;
- (BOOL)registerAndReturnError:(NSError**)error;
- (BOOL)unregisterAndReturnError:(NSError**)error;
- (void)unregisterWithCompletionHandler:(void (^)(NSError* _Nullable error))handler;
@property(readonly) SMAppServiceStatus status;
@end

NS_ASSUME_NONNULL_END
