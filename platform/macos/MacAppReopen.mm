#include "platform/macos/MacAppReopen.h"

#include "platform/Log.h"

#import <AppKit/AppKit.h>
#include <objc/runtime.h>
#include <string>

namespace zor {

void MacAppReopen::setHandler(Handler newHandler) {
    handler = std::move(newHandler);
    if (!isInstalled)
        isInstalled = install();
}

// Qt makes its delegate with the application object and answers everything
// else through it; only the reopen is added, on the delegate's class, with
// Qt's own answer (its class's or an inherited one) still given first.
bool MacAppReopen::install() {
    const id<NSApplicationDelegate> delegate = NSApp.delegate;
    const Class delegateClass = object_getClass(delegate);
    if (!delegateClass) {
        logger(LogCategory::app)
            .error("No application delegate: the Dock icon does not bring the window back");
        return false;
    }
    const SEL selector = @selector(applicationShouldHandleReopen:hasVisibleWindows:);
    using Reopen = BOOL (*)(id, SEL, NSApplication*, BOOL);
    const Method existing = class_getInstanceMethod(delegateClass, selector);
    const Reopen qtReopen =
        existing ? reinterpret_cast<Reopen>(method_getImplementation(existing)) : nullptr;
    // The block holds no Objective-C object (the delegate comes in as its first
    // argument), and `this` is the process's one instance (Platform.cpp).
    const IMP reopenImplementation = imp_implementationWithBlock(
        ^BOOL(id receiver, NSApplication* application, BOOL hasVisibleWindows) {
          const BOOL answer =
              qtReopen ? qtReopen(receiver, selector, application, hasVisibleWindows) : YES;
          reopen(hasVisibleWindows);
          return answer;
        });
    const std::string types = std::string(@encode(BOOL)) + @encode(id) + @encode(SEL) +
                              @encode(NSApplication*) + @encode(BOOL);
    // Adding fails only where the class defines the method itself: replace it there.
    if (!class_addMethod(delegateClass, selector, reopenImplementation, types.c_str()) && existing)
        method_setImplementation(existing, reopenImplementation);
    return true;
}

void MacAppReopen::reopen(bool hasVisibleWindows) const {
    if (handler)
        handler(hasVisibleWindows);
}

} // namespace zor
