// Mirrors <UserNotifications/UserNotifications.h>: UNUserNotificationCenter.h,
// UNNotificationContent.h, UNNotificationRequest.h, UNNotificationTrigger.h,
// UNNotification.h, UNNotificationResponse.h, UNNotificationAction.h,
// UNNotificationCategory.h.
#pragma once

#import <Foundation/Foundation.h>

#define UN_EXTERN extern "C"

NS_ASSUME_NONNULL_BEGIN

// UNUserNotificationCenter.h
typedef NS_OPTIONS(NSUInteger, UNAuthorizationOptions) {
    UNAuthorizationOptionBadge = (1 << 0),
    UNAuthorizationOptionSound = (1 << 1),
    UNAuthorizationOptionAlert = (1 << 2),
    UNAuthorizationOptionCarPlay = (1 << 3),
};

typedef NS_OPTIONS(NSUInteger, UNNotificationPresentationOptions) {
    UNNotificationPresentationOptionBadge = (1 << 0),
    UNNotificationPresentationOptionSound = (1 << 1),
    UNNotificationPresentationOptionList API_AVAILABLE(macos(11.0)) = (1 << 3),
    UNNotificationPresentationOptionBanner API_AVAILABLE(macos(11.0)) = (1 << 4),
};

// UNNotificationContent.h
API_AVAILABLE(macos(10.14))
@interface UNNotificationContent : NSObject <NSCopying, NSMutableCopying, NSSecureCoding>
@property(readonly, copy) NSString* title;
@property(readonly, copy) NSString* body;
@property(readonly, copy) NSDictionary* userInfo;
@property(readonly, copy) NSString* categoryIdentifier;
@end

API_AVAILABLE(macos(10.14))
@interface UNMutableNotificationContent : UNNotificationContent
@property(copy) NSString* title;
@property(copy) NSString* body;
@property(copy) NSDictionary* userInfo;
@property(copy) NSString* categoryIdentifier;
@end

// UNNotificationAction.h
typedef NS_OPTIONS(NSUInteger, UNNotificationActionOptions) {
    UNNotificationActionOptionAuthenticationRequired = (1 << 0),
    UNNotificationActionOptionDestructive = (1 << 1),
    UNNotificationActionOptionForeground = (1 << 2),
} API_AVAILABLE(macos(10.14));

API_AVAILABLE(macos(10.14))
@interface UNNotificationAction : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)actionWithIdentifier:(NSString*)identifier
                               title:(NSString*)title
                             options:(UNNotificationActionOptions)options;
@end

// UNNotificationCategory.h
typedef NS_OPTIONS(NSUInteger, UNNotificationCategoryOptions) {
    UNNotificationCategoryOptionCustomDismissAction = (1 << 0),
    UNNotificationCategoryOptionHiddenPreviewsShowTitle API_AVAILABLE(macos(10.14)) = (1 << 2),
    UNNotificationCategoryOptionHiddenPreviewsShowSubtitle API_AVAILABLE(macos(10.14)) = (1 << 3),
} API_AVAILABLE(macos(10.14));

static const UNNotificationCategoryOptions UNNotificationCategoryOptionNone = 0;

API_AVAILABLE(macos(10.14))
@interface UNNotificationCategory : NSObject <NSCopying, NSSecureCoding>
+ (instancetype)categoryWithIdentifier:(NSString*)identifier
                               actions:(NSArray<UNNotificationAction*>*)actions
                     intentIdentifiers:(NSArray<NSString*>*)intentIdentifiers
                               options:(UNNotificationCategoryOptions)options;
@end

// UNNotificationTrigger.h
API_AVAILABLE(macos(10.14))
@interface UNNotificationTrigger : NSObject <NSCopying, NSSecureCoding>
@end

// UNNotificationRequest.h
API_AVAILABLE(macos(10.14))
@interface UNNotificationRequest : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) NSString* identifier;
@property(readonly, copy) UNNotificationContent* content;
+ (instancetype)requestWithIdentifier:(NSString*)identifier
                              content:(UNNotificationContent*)content
                              trigger:(nullable UNNotificationTrigger*)trigger;
@end

// UNNotification.h
API_AVAILABLE(macos(10.14))
@interface UNNotification : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) UNNotificationRequest* request;
@end

// UNNotificationResponse.h
UN_EXTERN NSString* const UNNotificationDefaultActionIdentifier API_AVAILABLE(macos(10.14));

API_AVAILABLE(macos(10.14))
@interface UNNotificationResponse : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) UNNotification* notification;
@property(readonly, copy) NSString* actionIdentifier;
@end

// UNUserNotificationCenter.h
@class UNUserNotificationCenter;

API_AVAILABLE(macos(10.14))
@protocol UNUserNotificationCenterDelegate <NSObject>
@optional
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:
             (void (^)(UNNotificationPresentationOptions options))completionHandler;
- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler;
@end

API_AVAILABLE(macos(10.14))
@interface UNUserNotificationCenter : NSObject
@property(nullable, weak) id<UNUserNotificationCenterDelegate> delegate;
+ (UNUserNotificationCenter*)currentNotificationCenter;
- (void)requestAuthorizationWithOptions:(UNAuthorizationOptions)options
                      completionHandler:
                          (void (^)(BOOL granted, NSError* _Nullable error))completionHandler;
- (void)setNotificationCategories:(NSSet<UNNotificationCategory*>*)categories;
- (void)addNotificationRequest:(UNNotificationRequest*)request
         withCompletionHandler:(nullable void (^)(NSError* _Nullable error))completionHandler;
@end

NS_ASSUME_NONNULL_END
