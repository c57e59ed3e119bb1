// Mirrors <NetworkExtension/NetworkExtension.h>: NEFilterManager.h,
// NEFilterProviderConfiguration.h.
#pragma once

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

API_AVAILABLE(macos(10.15))
@interface NEFilterProviderConfiguration : NSObject <NSSecureCoding, NSCopying>
@property BOOL filterSockets API_AVAILABLE(macos(10.15));
@property BOOL filterPackets API_AVAILABLE(macos(10.15));
@end

API_AVAILABLE(macos(10.15))
@interface NEFilterManager : NSObject
+ (NEFilterManager*)sharedManager;
- (void)loadFromPreferencesWithCompletionHandler:
    (void (^)(NSError* _Nullable error))completionHandler;
- (void)saveToPreferencesWithCompletionHandler:
    (void (^_Nullable)(NSError* _Nullable error))completionHandler;
@property(copy, nullable) NEFilterProviderConfiguration* providerConfiguration;
@property(copy, nullable) NSString* localizedDescription;
@property(getter=isEnabled) BOOL enabled;
@end

NS_ASSUME_NONNULL_END
