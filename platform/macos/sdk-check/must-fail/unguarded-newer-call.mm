// Must fail the check: a call newer than the deployment target, macOS 13,
// outside @available.
// Expected error: 'activate' is only available on macOS 14.0 or newer
#import <AppKit/AppKit.h>

void activate() {
#ifdef ZOR_WITHOUT_MISTAKE
    if (@available(macOS 14, *))
        [NSApp activate];
    else
        [NSApp activateIgnoringOtherApps:YES];
#else
    [NSApp activate];
#endif
}
