#include "platform/macos/MacUserNotifications.h"

#include "platform/Log.h"

#import <Foundation/Foundation.h>
#include <QUuid>
#import <UserNotifications/UserNotifications.h>

namespace {

NSString* const kLinkKey = @"link";

} // namespace

// Hands the click on a notice, on the main queue, to the handler's owner;
// shows notices even while the app is active, since the app only posts them
// when its window is not in front.
@interface ZorNotificationCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
- (instancetype)initWithClick:(std::function<void(const QString&)>)click;
@end

@implementation ZorNotificationCenterDelegate {
    std::function<void(const QString&)> _click;
}

- (instancetype)initWithClick:(std::function<void(const QString&)>)click {
    if ((self = [super init]))
        _click = std::move(click);
    return self;
}

- (void)userNotificationCenter:(UNUserNotificationCenter*)center
       willPresentNotification:(UNNotification*)notification
         withCompletionHandler:
             (void (^)(UNNotificationPresentationOptions options))completionHandler {
    completionHandler(UNNotificationPresentationOptionBanner |
                      UNNotificationPresentationOptionList);
}

- (void)userNotificationCenter:(UNUserNotificationCenter*)center
    didReceiveNotificationResponse:(UNNotificationResponse*)response
             withCompletionHandler:(void (^)(void))completionHandler {
    id link = response.notification.request.content.userInfo[kLinkKey];
    if ([response.actionIdentifier isEqualToString:UNNotificationDefaultActionIdentifier] &&
        [link isKindOfClass:NSString.class]) {
        const QString text = QString::fromNSString(link);
        const std::function<void(const QString&)> click = _click;
        // Copies of plain values: the block holds nothing of this delegate.
        dispatch_async(dispatch_get_main_queue(), ^{
          click(text);
        });
    }
    completionHandler();
}

@end

namespace zor {

struct MacUserNotifications::Center {
    UNUserNotificationCenter* center = nil;
    // The centre holds its delegate weakly.
    ZorNotificationCenterDelegate* delegate = nil;
};

MacUserNotifications::MacUserNotifications() {
    // The centre stops a process that is not an app bundle.
    if (!NSBundle.mainBundle.bundleIdentifier)
        return;
    center = std::make_unique<Center>();
    center->center = UNUserNotificationCenter.currentNotificationCenter;
    // This object is the process's one instance (Platform.cpp), so the
    // delegate may call back into it for as long as the process runs.
    center->delegate =
        [[ZorNotificationCenterDelegate alloc] initWithClick:[this](const QString& link) {
            if (actionHandler)
                actionHandler(link, NoticeAction::open);
        }];
    center->center.delegate = center->delegate;
    [center->center
        requestAuthorizationWithOptions:UNAuthorizationOptionAlert | UNAuthorizationOptionBadge
                      completionHandler:^(BOOL granted, NSError* _Nullable error) {
                        const Logger& log = logger(LogCategory::app);
                        if (error)
                            log.info("Notification authorization failed: %{public}s",
                                     {QString::fromNSString(error.localizedDescription)});
                        else if (!granted)
                            log.info("Notifications not allowed by the user");
                      }];
}

MacUserNotifications::~MacUserNotifications() = default;

void MacUserNotifications::setActionHandler(ActionHandler handler) {
    actionHandler = std::move(handler);
}

void MacUserNotifications::post(const UserNotice& notice) {
    if (!center) {
        if (!isMissingBundleLogged)
            logger(LogCategory::app).info("Outside the app bundle: prompts are not notified");
        isMissingBundleLogged = true;
        return;
    }
    UNMutableNotificationContent* content = [[UNMutableNotificationContent alloc] init];
    content.title = notice.title.toNSString();
    content.body = notice.body.toNSString();
    content.userInfo = @{kLinkKey : notice.link.toNSString()};
    UNNotificationRequest* request = [UNNotificationRequest
        requestWithIdentifier:QUuid::createUuid().toString(QUuid::WithoutBraces).toNSString()
                      content:content
                      trigger:nil];
    [center->center addNotificationRequest:request
                     withCompletionHandler:^(NSError* _Nullable error) {
                       if (error)
                           logger(LogCategory::app)
                               .info("Failed to post a notification: %{public}s",
                                     {QString::fromNSString(error.localizedDescription)});
                     }];
}

} // namespace zor
