#include "platform/macos/MacWindowChrome.h"

#include "platform/macos/TitleBarLayout.h"

#import <AppKit/AppKit.h>
#include <QPlatformSurfaceEvent>
#include <QWindow>

namespace {

zor::TitleBarFrame frameOf(NSRect rect) {
    return zor::TitleBarFrame{rect.origin.x, rect.origin.y, rect.size.width, rect.size.height};
}

NSRect rectOf(const zor::TitleBarFrame& frame) {
    return NSMakeRect(frame.x, frame.y, frame.width, frame.height);
}

// Tells the keeper's style-mask observation apart from any its superclass makes.
char styleMaskContext;

} // namespace

// Re-applies the title bar's style and layout whenever the system or Qt may
// have undone it: Qt rewrites the style mask when the window's flags change.
// The keeper holds its window strongly until -stop, so that it can always take
// its observation off again; the window holds nothing of the keeper (key-value
// observers are not retained, the notification blocks hold it weakly), and
// -stop, when the window closes or Qt is about to release it, drops the window.
@interface ZorTitleBarKeeper : NSObject
- (instancetype)initWithWindow:(NSWindow*)window;
- (void)stop;
@end

@implementation ZorTitleBarKeeper {
    NSWindow* _window; // nil once stopped
    NSMutableArray<id<NSObject>>* _observers;
    BOOL _hasInstalledButtonConstraints;
}

- (instancetype)initWithWindow:(NSWindow*)window {
    if (!(self = [super init]))
        return self;
    _window = window;
    _observers = [NSMutableArray array];
    NSNotificationCenter* center = NSNotificationCenter.defaultCenter;
    // The centre keeps each block until -stop removes it; the blocks hold the
    // keeper weakly and do nothing once it is gone.
    __weak ZorTitleBarKeeper* weakSelf = self;
    for (NSNotificationName name in @[
             NSWindowDidResizeNotification, NSWindowDidEnterFullScreenNotification,
             NSWindowDidExitFullScreenNotification
         ]) {
        [_observers addObject:[center addObserverForName:name
                                                  object:window
                                                   queue:nil
                                              usingBlock:^(NSNotification*) {
                                                ZorTitleBarKeeper* keeper = weakSelf;
                                                [keeper apply];
                                              }]];
    }
    [_observers addObject:[center addObserverForName:NSWindowWillCloseNotification
                                              object:window
                                               queue:nil
                                          usingBlock:^(NSNotification*) {
                                            ZorTitleBarKeeper* keeper = weakSelf;
                                            [keeper stop];
                                          }]];
    [window addObserver:self
             forKeyPath:@"styleMask"
                options:NSKeyValueObservingOptionNew
                context:&styleMaskContext];
    [self apply];
    return self;
}

- (void)stop {
    NSWindow* window = _window;
    if (!window)
        return;
    _window = nil;
    for (id<NSObject> observer in _observers)
        [NSNotificationCenter.defaultCenter removeObserver:observer];
    [_observers removeAllObjects];
    [window removeObserver:self forKeyPath:@"styleMask" context:&styleMaskContext];
}

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context {
    if (context != &styleMaskContext) {
        [super observeValueForKeyPath:keyPath ofObject:object change:change context:context];
        return;
    }
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
namespace {

// Gives each native window of the QWindow a keeper of its own: Qt releases the
// NSWindow when the window is closed and makes a new one when it is shown
// again. A child of the QWindow, so it goes with it.
class TitleBarKeeperOwner final : public QObject {
public:
    explicit TitleBarKeeperOwner(QWindow& window)
        : QObject(&window)
        , window(window) {
        window.installEventFilter(this);
        if (window.handle())
            attach();
    }

    ~TitleBarKeeperOwner() override { detach(); }

    TitleBarKeeperOwner(const TitleBarKeeperOwner&) = delete;
    TitleBarKeeperOwner& operator=(const TitleBarKeeperOwner&) = delete;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != &window || event->type() != QEvent::PlatformSurface)
            return false;
        switch (static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType()) {
        case QPlatformSurfaceEvent::SurfaceCreated:
            attach();
            break;
        case QPlatformSurfaceEvent::SurfaceAboutToBeDestroyed:
            // The NSWindow still exists here; Qt releases it next.
            detach();
            break;
        }
        return false;
    }

private:
    void attach() {
        detach();
        // Qt's window id on macOS is the window's content NSView.
        NSView* view = (__bridge NSView*)reinterpret_cast<void*>(window.winId());
        if (NSWindow* nsWindow = view.window)
            keeper = [[ZorTitleBarKeeper alloc] initWithWindow:nsWindow];
    }

    void detach() {
        [keeper stop];
        keeper = nil;
    }

    QWindow& window;
    ZorTitleBarKeeper* keeper = nil; // the keeper's only owner
};

} // namespace

void MacWindowChrome::styleMainWindow(QWindow& window) {
    new TitleBarKeeperOwner(window);
}

qreal MacWindowChrome::tabRowLeadingPadding() const {
    return TitleBarLayout::kTabRowLeadingPadding;
}

} // namespace zor
