#include "platform/macos/MacClipboard.h"

#import <AppKit/AppKit.h>

namespace zor {

void MacClipboard::setText(const QString& text) {
    NSPasteboard* pasteboard = NSPasteboard.generalPasteboard;
    [pasteboard clearContents];
    [pasteboard setString:text.toNSString() forType:NSPasteboardTypeString];
}

} // namespace zor
