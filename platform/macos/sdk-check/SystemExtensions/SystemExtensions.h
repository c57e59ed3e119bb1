// Mirrors <SystemExtensions/SystemExtensions.h> (macOS 10.15).
#pragma once

#import <Foundation/Foundation.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, OSSystemExtensionReplacementAction) {
    OSSystemExtensionReplacementActionCancel = 0,
    OSSystemExtensionReplacementActionReplace = 1,
};

typedef NS_ENUM(NSInteger, OSSystemExtensionRequestResult) {
    OSSystemExtensionRequestCompleted = 0,
    OSSystemExtensionRequestWillCompleteAfterReboot = 1,
};

API_AVAILABLE(macos(10.15))
@interface OSSystemExtensionProperties : NSObject
@property(strong, readonly) NSURL* URL;
@property(strong, readonly) NSString* bundleIdentifier;
@property(strong, readonly) NSString* bundleVersion;
@property(strong, readonly) NSString* bundleShortVersion;
@end

@class OSSystemExtensionRequest;

API_AVAILABLE(macos(10.15))
@protocol OSSystemExtensionRequestDelegate <NSObject>
- (OSSystemExtensionReplacementAction)request:(OSSystemExtensionRequest*)request
                  actionForReplacingExtension:(OSSystemExtensionProperties*)existing
                                withExtension:(OSSystemExtensionProperties*)ext;
- (void)requestNeedsUserApproval:(OSSystemExtensionRequest*)request;
- (void)request:(OSSystemExtensionRequest*)request
    didFinishWithResult:(OSSystemExtensionRequestResult)result;
- (void)request:(OSSystemExtensionRequest*)request didFailWithError:(NSError*)error;
@end

API_AVAILABLE(macos(10.15))
@interface OSSystemExtensionRequest : NSObject
+ (instancetype)activationRequestForExtension:(NSString*)identifier queue:(dispatch_queue_t)queue;
+ (instancetype)deactivationRequestForExtension:(NSString*)identifier queue:(dispatch_queue_t)queue;
@property(weak) id<OSSystemExtensionRequestDelegate> delegate;
@property(readonly) NSString* identifier;
@end

API_AVAILABLE(macos(10.15))
@interface OSSystemExtensionManager : NSObject
@property(class, readonly) OSSystemExtensionManager* sharedManager;
- (void)submitRequest:(OSSystemExtensionRequest*)request;
@end

NS_ASSUME_NONNULL_END
