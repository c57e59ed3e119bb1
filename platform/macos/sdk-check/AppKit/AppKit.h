// Mirrors <AppKit/AppKit.h>: NSApplication.h, NSRunningApplication.h,
// NSWorkspace.h, NSPasteboard.h, NSView.h, NSButton.h, NSWindow.h,
// NSLayoutAnchor.h, NSLayoutConstraint.h, NSDockTile.h, NSAccessibilityConstants.h,
// NSAccessibility.h.
#pragma once

#import <Foundation/Foundation.h>

#define APPKIT_EXTERN extern "C"

NS_ASSUME_NONNULL_BEGIN

// NSRunningApplication.h
@interface NSRunningApplication : NSObject
@end

// NSWorkspace.h
@interface NSWorkspaceOpenConfiguration : NSObject <NSCopying>
+ (instancetype)configuration;
@end

@interface NSWorkspace : NSObject
@property(class, readonly, strong) NSWorkspace* sharedWorkspace;
- (BOOL)openURL:(NSURL*)url;
- (void)activateFileViewerSelectingURLs:(NSArray<NSURL*>*)fileURLs;
- (nullable NSURL*)URLForApplicationWithBundleIdentifier:(NSString*)bundleIdentifier;
- (void)openURLs:(NSArray<NSURL*>*)urls
    withApplicationAtURL:(NSURL*)applicationURL
           configuration:(NSWorkspaceOpenConfiguration*)configuration
       completionHandler:(void (^_Nullable)(NSRunningApplication* _Nullable app,
                                            NSError* _Nullable error))completionHandler;
@end

// NSPasteboard.h
typedef NSString* NSPasteboardType NS_TYPED_EXTENSIBLE_ENUM;
APPKIT_EXTERN NSPasteboardType const NSPasteboardTypeString;

@interface NSPasteboard : NSObject
@property(class, readonly, strong) NSPasteboard* generalPasteboard;
- (NSInteger)clearContents;
- (BOOL)setString:(NSString*)string forType:(NSPasteboardType)dataType;
@end

// NSDockTile.h
@interface NSDockTile : NSObject
@property(nullable, copy) NSString* badgeLabel;
@end

// NSApplication.h
@interface NSApplication : NSObject
@property(class, readonly, strong) __kindof NSApplication* sharedApplication;
@property(readonly, strong) NSDockTile* dockTile;
- (void)activateIgnoringOtherApps:(BOOL)flag;
@end

APPKIT_EXTERN __kindof NSApplication* _Null_unspecified NSApp;

// NSLayoutConstraint.h, NSLayoutAnchor.h
@interface NSLayoutConstraint : NSObject
@property(getter=isActive) BOOL active;
+ (void)activateConstraints:(NSArray<NSLayoutConstraint*>*)constraints;
@end

@interface NSLayoutAnchor<AnchorType> : NSObject <NSCopying>
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor;
- (NSLayoutConstraint*)constraintEqualToAnchor:(NSLayoutAnchor<AnchorType>*)anchor
                                      constant:(CGFloat)c;
@end

@class NSLayoutXAxisAnchor, NSLayoutYAxisAnchor;

@interface NSLayoutXAxisAnchor : NSLayoutAnchor <NSLayoutXAxisAnchor*>
@end

@interface NSLayoutYAxisAnchor : NSLayoutAnchor <NSLayoutYAxisAnchor*>
@end

// NSView.h, NSButton.h
@class NSWindow;

@interface NSView : NSObject
@property(nullable, readonly, unsafe_unretained) NSView* superview;
@property(nullable, readonly, unsafe_unretained) NSWindow* window;
@property NSRect frame;
@property BOOL translatesAutoresizingMaskIntoConstraints;
@property(readonly, strong) NSLayoutXAxisAnchor* leadingAnchor;
@property(readonly, strong) NSLayoutYAxisAnchor* topAnchor;
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
    NSWindowStyleMaskFullSizeContentView = 1 << 15,
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
@property BOOL titlebarAppearsTransparent;
@property NSWindowTitleVisibility titleVisibility;
@property(readonly) NSRect frame;
- (nullable NSButton*)standardWindowButton:(NSWindowButton)b;
@end

APPKIT_EXTERN NSNotificationName const NSWindowDidResizeNotification;
APPKIT_EXTERN NSNotificationName const NSWindowDidEnterFullScreenNotification;
APPKIT_EXTERN NSNotificationName const NSWindowDidExitFullScreenNotification;

// NSAccessibilityConstants.h, NSAccessibility.h
typedef NSString* NSAccessibilityNotificationName NS_TYPED_EXTENSIBLE_ENUM;
typedef NSString* NSAccessibilityNotificationUserInfoKey NS_TYPED_ENUM;

APPKIT_EXTERN NSAccessibilityNotificationName const
    NSAccessibilityAnnouncementRequestedNotification;
APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const NSAccessibilityAnnouncementKey;
APPKIT_EXTERN NSAccessibilityNotificationUserInfoKey const NSAccessibilityPriorityKey;

typedef NS_ENUM(NSInteger, NSAccessibilityPriorityLevel) {
    NSAccessibilityPriorityLow = 10,
    NSAccessibilityPriorityMedium = 50,
    NSAccessibilityPriorityHigh = 90,
};

APPKIT_EXTERN void NSAccessibilityPostNotificationWithUserInfo(
    id element, NSAccessibilityNotificationName notification,
    NSDictionary<NSAccessibilityNotificationUserInfoKey, id>* _Nullable userInfo);

NS_ASSUME_NONNULL_END
