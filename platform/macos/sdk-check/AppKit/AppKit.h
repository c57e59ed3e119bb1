// Mirrors <AppKit/AppKit.h>: NSWorkspace.h, NSPasteboard.h, NSRunningApplication.h.
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

NS_ASSUME_NONNULL_END
