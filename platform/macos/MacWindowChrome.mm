#include "platform/macos/MacWindowChrome.h"

#include "platform/macos/TitleBarLayout.h"

#import <AppKit/AppKit.h>
#include <QWindow>

namespace {

zor::TitleBarFrame frameOf(NSRect rect) {
    return zor::TitleBarFrame{rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

NSRect rectOf(const zor::TitleBarFrame& frame) {
    return NSMakeRect(frame.x, frame.y, frame.width, frame.height);
}

} // namespace

// Re-applies the title bar's style and layout whenever the system or Qt may
// have undone it: Qt rewrites the style mask when the window's flags change.
@interface ZorTitleBarKeeper : NSObject
- (instancetype)initWithWindow:(NSWindow*)window;
- (void)stop;
@end

@implementation ZorTitleBarKeeper {
    __weak NSWindow* _window;
    NSMutableArray<id<NSObject>>* _observers;
    BOOL _hasInstalledButtonConstraints;
    BOOL _isObservingStyle;
}

- (instancetype)initWithWindow:(NSWindow*)window {
    if (!(self = [super init]))
        return self;
    _window = window;
    _observers = [NSMutableArray array];
    __weak ZorTitleBarKeeper* weakSelf = self;
    for (NSNotificationName name in @[
             NSWindowDidResizeNotification, NSWindowDidEnterFullScreenNotification,
             NSWindowDidExitFullScreenNotification
         ]) {
        [_observers
            addObject:[NSNotificationCenter.defaultCenter addObserverForName:name
                                                                      object:window
                                                                       queue:nil
                                                                  usingBlock:^(NSNotification*) {
                                                                    [weakSelf apply];
                                                                  }]];
    }
    [window addObserver:self
             forKeyPath:@"styleMask"
                options:NSKeyValueObservingOptionNew
                context:nil];
    _isObservingStyle = YES;
    [self apply];
    return self;
}

- (void)stop {
    for (id<NSObject> observer in _observers)
        [NSNotificationCenter.defaultCenter removeObserver:observer];
    [_observers removeAllObjects];
    if (_isObservingStyle)
        [_window removeObserver:self forKeyPath:@"styleMask" context:nil];
    _isObservingStyle = NO;
}

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context {
    [self apply];
}

- (void)apply {
    NSWindow* window = _window;
    if (!window)
        return;
    // Setting the mask only when it lacks the flag keeps the observation from
    // calling back into itself.
    if (!(window.styleMask & NSWindowStyleMaskFullSizeContentView))
        window.styleMask |= NSWindowStyleMaskFullSizeContentView;
    window.titlebarAppearsTransparent = YES;
    window.titleVisibility = NSWindowTitleHidden;

    // The buttons' superview is the title-bar view, and its superview the
    // title bar's container: the system's own views, reached through the
    // close button.
    NSButton* close = [window standardWindowButton:NSWindowCloseButton];
    NSView* titleBarView = close.superview;
    if (!titleBarView)
        return;
    if (NSView* container = titleBarView.superview)
        if (const auto frame = zor::TitleBarLayout::containerFrame(frameOf(container.frame)))
            container.frame = rectOf(*frame);
    if (const auto frame = zor::TitleBarLayout::titleBarViewFrame(frameOf(titleBarView.frame)))
        titleBarView.frame = rectOf(*frame);

    if (_hasInstalledButtonConstraints)
        return;
    _hasInstalledButtonConstraints = YES;
    const NSWindowButton buttons[] = {NSWindowCloseButton, NSWindowMiniaturizeButton,
                                      NSWindowZoomButton};
    for (std::size_t i = 0; i < std::size(buttons); ++i) {
        NSButton* button = [window standardWindowButton:buttons[i]];
        if (!button)
            continue;
        button.translatesAutoresizingMaskIntoConstraints = NO;
        [NSLayoutConstraint activateConstraints:@[
            [button.leadingAnchor constraintEqualToAnchor:titleBarView.leadingAnchor
                                                 constant:zor::TitleBarLayout::kButtonPadding +
                                                          zor::TitleBarLayout::kButtonOffsets[i]],
            [button.topAnchor constraintEqualToAnchor:titleBarView.topAnchor
                                             constant:zor::TitleBarLayout::kButtonPadding],
        ]];
    }
}

@end

namespace zor {

void MacWindowChrome::styleMainWindow(QWindow& window) {
    // Qt's window id on macOS is the window's content NSView.
    NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
    NSWindow* nsWindow = view.window;
    if (!nsWindow)
        return;
    ZorTitleBarKeeper* keeper = [[ZorTitleBarKeeper alloc] initWithWindow:nsWindow];
    // The keeper lives as long as the window.
    QObject::connect(&window, &QObject::destroyed, [keeper] { [keeper stop]; });
}

qreal MacWindowChrome::tabRowLeadingPadding() const {
    return TitleBarLayout::kTabRowLeadingPadding;
}

} // namespace zor
