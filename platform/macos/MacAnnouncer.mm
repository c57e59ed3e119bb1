#include "platform/macos/MacAnnouncer.h"

#import <AppKit/AppKit.h>

namespace zor {

void MacAnnouncer::announce(const QString& text) {
    NSAccessibilityPostNotificationWithUserInfo(
        NSApp, NSAccessibilityAnnouncementRequestedNotification, @{
            NSAccessibilityAnnouncementKey : text.toNSString(),
            NSAccessibilityPriorityKey : [NSNumber numberWithInteger:NSAccessibilityPriorityMedium]
        });
}

} // namespace zor
