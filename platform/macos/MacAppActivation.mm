#include "platform/macos/MacAppActivation.h"

#import <AppKit/AppKit.h>

namespace zor {

bool MacAppActivation::activateIgnoringOtherApps() {
    [NSApp activateIgnoringOtherApps:YES];
    return true;
}

} // namespace zor
