#include "platform/macos/MacDockBadge.h"

#import <AppKit/AppKit.h>
#include <QString>

namespace zor {

void MacDockBadge::setCount(qint64 count) {
    NSApp.dockTile.badgeLabel = count > 0 ? QString::number(count).toNSString() : nil;
}

} // namespace zor
