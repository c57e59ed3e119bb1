#include "platform/macos/MacAppActivation.h"

#import <AppKit/AppKit.h>

namespace zor {

void MacAppActivation::activateIgnoringOtherApps() {
    // From macOS 14 the app asks to be in front and the system may keep the
    // user in the app they are typing in; the forcing call is deprecated there.
    if (@available(macOS 14, *))
        [NSApp activate];
    else
        [NSApp activateIgnoringOtherApps:YES];
}

} // namespace zor
