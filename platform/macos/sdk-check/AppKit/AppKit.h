// Mirrors <AppKit/AppKit.h>: NSApplication.h, NSRunningApplication.h,
// NSWorkspace.h, NSPasteboard.h, NSView.h, NSButton.h, NSWindow.h,
// NSLayoutAnchor.h, NSLayoutConstraint.h, NSDockTile.h, NSAccessibilityConstants.h,
// NSAccessibility.h.
#pragma once

#import <Foundation/Foundation.h>

#define APPKIT_EXTERN extern "C"

NS_ASSUME_NONNULL_BEGIN

// NSRunningApplication.h
API_AVAILABLE(macos(10.6))
@interface NSRunningApplication : NSObject
@end

// NSWorkspace.h
API_AVAILABLE(macos(10.15))
@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
+ (instancetype)configuration;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs API_AVAILABLE(macos(10.6));
- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier
    API_AVAILABLE(macos(10.6));
- (void)openURLs:(NSArray<NSURL*>*)urls
    withApplicationAtURL:(NSURL*)applicationURL
           configuration:(NSWorkspaceOpenConfiguration*)configuration
       completionHandler:(void (^_Nullable)(NSRunningApplication* _Nullable app,
                                            NSError* _Nullable error))completionHandler
    API_AVAILABLE(macos(10.15));
@end

// NSPasteboard.h
typedef NSString* NSPasteboardType NS_TYPED_EXTENSIBLE_ENUM;
APPKIT_EXTERN NSPasteboardType const NSPasteboardTypeString API_AVAILABLE(macos(10.6));

@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard* generalPasteboard;
- (NSInteger)clearContents API_AVAILABLE(macos(10.6));
- (BOOL)setString:(NSString*)string forType:(NSPasteboardType)dataType;
@end

// NSDockTile.h
API_AVAILABLE(macos(10.5))
@interface NSDockTile : NSObject
@property(nullable, copy) NSString* badgeLabel;
@end

// NSApplication.h
@class NSApplication;

@protocol NSApplicationDelegate <NSObject>
@optional
- (BOOL)applicationShouldHandleReopen:(NSApplication*)sender hasVisibleWindows:(BOOL)flag;
@end

@interface NSApplication : NSObject
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(nullable, weak) id<NSApplicationDelegate> delegate;
@property(readonly, strong) NSDockTile* dockTile API_AVAILABLE(macos(10.5));
- (void)activateIgnoringOtherApps:(BOOL)flag
    API_DEPRECATED("Use NSApp.activate instead.", macos(10.0, 14.0));
// Asks to become the active app; the system may decline while the user works
// in another app.
- (void)activate API_AVAILABLE(macos(14.0));
@end

APPKIT_EXTERN __kindof NSApplication* _Null_unspecified NSApp;

// NSLayoutConstraint.h, NSLayoutAnchor.h
API_AVAILABLE(macos(10.7))
@interface NSLayoutConstraint : NSObject
@property(getter=isActive) BOOL active API_AVAILABLE(macos(10.10));
+ (void)activateConstraints:(NSArray<NSLayoutConstraint*>*)constraints API_AVAILABLE(macos(10.10));
@end

API_AVAILABLE(macos(10.11))
@interface NSLayoutAnchor<AnchorType> : NSObject <NSCopying>
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor;
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
                                      constant:(CGFloat)c;
@end

@class NSLayoutXAxisAnchor, NSLayoutYAxisAnchor;

API_AVAILABLE(macos(10.11))
@interface NSLayoutXAxisAnchor : NSLayoutAnchor <NSLayoutXAxisAnchor*>
@end

API_AVAILABLE(macos(10.11))
@interface NSLayoutYAxisAnchor : NSLayoutAnchor <NSLayoutYAxisAnchor*>
@end

// NSView.h, NSButton.h
@class NSWindow;

@interface NSView : NSObject
@property(nullable, readonly, unsafe_unretained) NSView* superview;
@property(nullable, readonly, unsafe_unretained) NSWindow* window;
@property NSRect frame;
@property BOOL translatesAutoresizingMaskIntoConstraints API_AVAILABLE(macos(10.7));
@property(readonly, strong) NSLayoutXAxisAnchor* leadingAnchor API_AVAILABLE(macos(10.11));
@property(readonly, strong) NSLayoutYAxisAnchor* topAnchor API_AVAILABLE(macos(10.11));
@end

@interface NSControl : NSView
@end

@interface NSButton : NSControl
@end

// NSWindow.h
typedef NS_OPTIONS(NSUInteger, NSWindowStyleMask) {
    NSWindowStyleMaskBorderless = 0,
    NSWindowStyleMaskTitled = 1 << 0,
    NSWindowStyleMaskClosable = 1 << 1,
    NSWindowStyleMaskMiniaturizable = 1 << 2,
    NSWindowStyleMaskResizable = 1 << 3,
    NSWindowStyleMaskFullSizeContentView API_AVAILABLE(macos(10.10)) = 1 << 15,
};

typedef NS_ENUM(NSUInteger, NSWindowButton) {
    NSWindowCloseButton = 0,
    NSWindowMiniaturizeButton = 1,
    NSWindowZoomButton = 2,
};

typedef NS_ENUM(NSInteger, NSWindowTitleVisibility) {
    NSWindowTitleVisible = 0,
    NSWindowTitleHidden = 1,
};

@interface NSWindow : NSObject
@property NSWindowStyleMask styleMask;
@property BOOL titlebarAppearsTransparent API_AVAILABLE(macos(10.10));
@property NSWindowTitleVisibility titleVisibility API_AVAILABLE(macos(10.10));
@property(readonly) NSRect frame;
- (nullable NSButton*)standardWindowButton:(NSWindowButton)b;
@end

APPKIT_EXTERN NSNotificationName const NSWindowDidResizeNotification;
APPKIT_EXTERN NSNotificationName const
    NSWindowDidEnterFullScreenNotification API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSNotificationName const
    NSWindowDidExitFullScreenNotification API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSNotificationName const NSWindowWillCloseNotification;

// NSAccessibilityConstants.h, NSAccessibility.h
typedef NSString* NSAccessibilityNotificationName NS_TYPED_EXTENSIBLE_ENUM;
typedef NSString* NSAccessibilityNotificationUserInfoKey NS_TYPED_ENUM;

APPKIT_EXTERN NSAccessibilityNotificationName const
    NSAccessibilityAnnouncementRequestedNotification API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const
    NSAccessibilityAnnouncementKey API_AVAILABLE(macos(10.7));
APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const
    NSAccessibilityPriorityKey API_AVAILABLE(macos(10.7));

typedef NS_ENUM(NSInteger, NSAccessibilityPriorityLevel) {
    NSAccessibilityPriorityLow = 10,
    NSAccessibilityPriorityMedium = 50,
    NSAccessibilityPriorityHigh = 90,
};

APPKIT_EXTERN void NSAccessibilityPostNotificationWithUserInfo(
    id element, NSAccessibilityNotificationName notification,
    NSDictionary<NSAccessibilityNotificationUserInfoKey, id>* _Nullable userInfo)
    API_AVAILABLE(macos(10.7));

NS_ASSUME_NONNULL_END
