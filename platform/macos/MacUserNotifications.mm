#include "platform/macos/MacUserNotifications.h"

#include "platform/Log.h"
#include "platform/macos/NoticeCategories.h"

#import <Foundation/Foundation.h>
#include <QUuid>
#import <UserNotifications/UserNotifications.h>

namespace {

NSString* const kLinkKey = @"link";

using ResponseHandler = std::function<void(const QString& link, zor::NoticeAction action)>;

// Deny acts at once, in the notice; Show brings the app forward as a click does.
UNNotificationActionOptions buttonOptions(zor::NoticeAction button) {
    switch (button) {
    case zor::NoticeAction::deny:
        return UNNotificationActionOptionDestructive;
    case zor::NoticeAction::open:
    case zor::NoticeAction::show:
        break;
    }
    return UNNotificationActionOptionForeground;
}

NSSet<UNNotificationCategory*>* systemCategories() {
    NSMutableArray<UNNotificationCategory*>* categories = [NSMutableArray array];
    for (const zor::NoticeCategory& category : zor::noticeCategories()) {
        NSMutableArray<UNNotificationAction*>* actions = [NSMutableArray array];
        for (const zor::NoticeAction button : category.buttons) {
            const zor::NoticeActionText text = zor::noticeActionText(button);
            [actions addObject:[UNNotificationAction
                                   actionWithIdentifier:QString::fromLatin1(text.key).toNSString()
                                                  title:QString::fromLatin1(text.label).toNSString()
                                                options:buttonOptions(button)]];
        }
        [categories addObject:[UNNotificationCategory
                                  categoryWithIdentifier:category.identifier.toNSString()
                                                 actions:actions
                                       intentIdentifiers:@[]
                                                 options:UNNotificationCategoryOptionNone]];
    }
    return [NSSet setWithArray:categories];
}

} // namespace

// Hands the click on a notice, or the button pressed, on the main queue to the
// handler's owner; shows notices even while the app is active, since the app
// only posts them when its window is not in front.
@interface ZorNotificationCenterDelegate : NSObject <UNUserNotificationCenterDelegate>
- (instancetype)initWithResponse:(ResponseHandler)response;
@end

@implementation ZorNotificationCenterDelegate {
    ResponseHandler _response;
}

- (instancetype)initWithResponse:(ResponseHandler)response {
    if ((self = [super init]))
        _response = std::move(response);
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
    UNNotificationContent* content = response.notification.request.content;
    id link = content.userInfo[kLinkKey];
    const std::optional<zor::NoticeAction> action = zor::noticeActionFromResponse(
        QString::fromNSString(response.actionIdentifier),
        [response.actionIdentifier isEqualToString:UNNotificationDefaultActionIdentifier],
        QString::fromNSString(content.categoryIdentifier));
    if (action && [link isKindOfClass:NSString.class]) {
        const QString text = QString::fromNSString(link);
        const zor::NoticeAction chosen = *action;
        const ResponseHandler respond = _response;
        // Copies of plain values: the block holds nothing of this delegate.
        dispatch_async(dispatch_get_main_queue(), ^{
          respond(text, chosen);
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
    center->delegate = [[ZorNotificationCenterDelegate alloc]
        initWithResponse:[this](const QString& link, NoticeAction action) {
            if (actionHandler)
                actionHandler(link, action);
        }];
    center->center.delegate = center->delegate;
    // Before any notice names one of them.
    [center->center setNotificationCategories:systemCategories()];
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
    const QString category = noticeCategoryIdentifier(notice.buttons);
    if (!category.isEmpty())
        content.categoryIdentifier = category.toNSString();
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
