// Mirrors <Foundation/Foundation.h>: NSObject.h, NSObjCRuntime.h, NSGeometry.h
// (with CoreGraphics' CGGeometry.h), NSEnumerator.h, NSString.h, NSData.h,
// NSError.h, NSArray.h, NSSet.h, NSDictionary.h, NSValue.h, NSURL.h, NSFileManager.h,
// NSBundle.h, NSThread.h, NSNotification.h, NSOperation.h,
// NSKeyValueObserving.h, NSAppleScript.h, NSXPCConnection.h, FoundationErrors.h,
// with what they take from CoreFoundation.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <dispatch/dispatch.h>
#include <objc/objc.h>
#include <os/availability.h>
#include <stdint.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_ENUM(type, name)                                                                        \
    enum name : type name;                                                                         \
    enum name : type
// In C++ an options type is its integer type, so that flags combine.
#define NS_OPTIONS(type, name)                                                                     \
    type name;                                                                                     \
    enum : type
#define NS_TYPED_EXTENSIBLE_ENUM
#define NS_TYPED_ENUM
#define NS_SWIFT_NAME(name)
#define FOUNDATION_EXPORT extern "C"
#define NS_INLINE static inline

NS_ASSUME_NONNULL_BEGIN

typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef double NSTimeInterval;

@class NSString, NSError, NSArray<ObjectType>, NSDictionary<KeyType, ObjectType>;

// NSObject.h
@protocol NSObject
- (BOOL)isEqual:(id)object;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)conformsToProtocol:(Protocol*)aProtocol;
@end

__attribute__((objc_root_class))
@interface NSObject<NSObject> {
    Class isa;
}
+ (instancetype)alloc;
+ (instancetype)new;
+ (Class)class;
- (instancetype)init;
@end

@protocol NSCopying
@end

@protocol NSMutableCopying
@end

// Hands a Core Foundation object's ownership to ARC.
NS_INLINE id _Nullable CFBridgingRelease(CFTypeRef CF_CONSUMED _Nullable X) {
    return (__bridge_transfer id)X;
}

// NSGeometry.h, CGGeometry.h
typedef double CGFloat;
struct CGPoint {
    CGFloat x;
    CGFloat y;
};
struct CGSize {
    CGFloat width;
    CGFloat height;
};
struct CGRect {
    CGPoint origin;
    CGSize size;
};
typedef CGRect NSRect;
NSRect NSMakeRect(CGFloat x, CGFloat y, CGFloat w, CGFloat h);

// NSEnumerator.h
typedef struct {
    unsigned long state;
    id __unsafe_unretained _Nullable* _Nullable itemsPtr;
    unsigned long* _Nullable mutationsPtr;
    unsigned long extra[5];
} NSFastEnumerationState;

@protocol NSFastEnumeration
- (NSUInteger)countByEnumeratingWithState:(NSFastEnumerationState*)state
                                  objects:(id __unsafe_unretained _Nullable[_Nonnull])buffer
                                    count:(NSUInteger)len;
@end
@protocol NSSecureCoding
@end

// NSString.h
typedef unsigned short unichar;

@interface NSString : NSObject <NSCopying, NSSecureCoding>
@property(readonly) NSUInteger length;
- (unichar)characterAtIndex:(NSUInteger)index;
@property(nullable, readonly) const char* UTF8String NS_RETURNS_INNER_POINTER;
+ (nullable instancetype)stringWithUTF8String:(const char*)nullTerminatedCString;
- (BOOL)isEqualToString:(NSString*)aString;
@end

// Literal strings of the Apple runtime.
@interface NSConstantString : NSString
@end

// NSData.h
@interface NSData : NSObject <NSCopying, NSSecureCoding>
@property(readonly) NSUInteger length;
@property(readonly) const void* bytes NS_RETURNS_INNER_POINTER;
@end

// NSError.h
typedef NSString* NSErrorDomain;

FOUNDATION_EXPORT NSErrorDomain const NSCocoaErrorDomain;

@interface NSError : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) NSErrorDomain domain;
@property(readonly) NSInteger code;
@property(readonly, copy) NSString* localizedDescription;
@end

// NSArray.h
@interface NSArray<__covariant ObjectType> : NSObject <NSCopying, NSSecureCoding, NSFastEnumeration>
@property(readonly) NSUInteger count;
- (ObjectType)objectAtIndex:(NSUInteger)index;
+ (instancetype)arrayWithObject:(ObjectType)anObject;
+ (instancetype)arrayWithObjects:(const ObjectType _Nonnull[_Nonnull])objects count:(NSUInteger)cnt;
- (ObjectType)objectAtIndexedSubscript:(NSUInteger)idx;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)array;
- (void)addObject:(ObjectType)anObject;
- (void)removeAllObjects;
@end

// NSSet.h
@interface NSSet<__covariant ObjectType> : NSObject <NSCopying, NSSecureCoding, NSFastEnumeration>
+ (instancetype)setWithArray:(NSArray<ObjectType>*)array;
@end

// NSDictionary.h
@interface NSDictionary<__covariant KeyType, __covariant ObjectType>
    : NSObject <NSCopying, NSSecureCoding>
@property(readonly) NSUInteger count;
- (nullable ObjectType)objectForKey:(KeyType)aKey;
- (nullable ObjectType)objectForKeyedSubscript:(KeyType)key;
+ (instancetype)dictionaryWithObjects:(const ObjectType _Nonnull[_Nullable])objects
                              forKeys:(const KeyType<NSCopying> _Nonnull[_Nullable])keys
                                count:(NSUInteger)cnt;
@end

// NSValue.h
@interface NSValue : NSObject <NSCopying, NSSecureCoding>
@end

@interface NSNumber : NSValue
+ (NSNumber*)numberWithInteger:(NSInteger)value;
@end

// NSURL.h
@interface NSURL : NSObject <NSCopying, NSSecureCoding>
+ (NSURL*)fileURLWithPath:(NSString*)path;
+ (nullable instancetype)URLWithString:(NSString*)URLString;
@property(nullable, readonly, copy) NSString* scheme;
@property(nullable, readonly, copy) NSString* absoluteString;
@end

// NSFileManager.h
typedef NSString* NSFileAttributeKey;

@interface NSFileManager : NSObject
@property(class, readonly, strong) NSFileManager* defaultManager;
- (BOOL)fileExistsAtPath:(NSString*)path;
- (BOOL)fileExistsAtPath:(NSString*)path isDirectory:(nullable BOOL*)isDirectory;
- (BOOL)removeItemAtPath:(NSString*)path error:(NSError**)error;
- (BOOL)createDirectoryAtPath:(NSString*)path
    withIntermediateDirectories:(BOOL)createIntermediates
                     attributes:(nullable NSDictionary<NSFileAttributeKey, id>*)attributes
                          error:(NSError**)error;
- (BOOL)createSymbolicLinkAtPath:(NSString*)path
             withDestinationPath:(NSString*)destPath
                           error:(NSError**)error;
@end

// NSBundle.h
@interface NSBundle : NSObject
@property(class, readonly, strong) NSBundle* mainBundle;
@property(nullable, readonly, copy) NSString* bundleIdentifier;
@end

// NSThread.h
@interface NSThread : NSObject
@property(class, readonly) BOOL isMainThread;
@end

// NSNotification.h
typedef NSString* NSNotificationName NS_TYPED_EXTENSIBLE_ENUM;

@interface NSNotification : NSObject <NSCopying, NSSecureCoding>
@property(readonly, copy) NSNotificationName name;
@property(nullable, readonly, retain) id object;
@end

// NSOperation.h
API_AVAILABLE(macos(10.5))
@interface NSOperationQueue : NSObject
@property(class, readonly, strong) NSOperationQueue* mainQueue API_AVAILABLE(macos(10.6));
@end

@interface NSNotificationCenter : NSObject
@property(class, readonly, strong) NSNotificationCenter* defaultCenter;
- (id<NSObject>)addObserverForName:(nullable NSNotificationName)name
                            object:(nullable id)obj
                             queue:(nullable NSOperationQueue*)queue
                        usingBlock:(void (^)(NSNotification* notification))block
    API_AVAILABLE(macos(10.6));
- (void)removeObserver:(id)observer;
@end

// NSKeyValueObserving.h
typedef NSString* NSKeyValueChangeKey NS_TYPED_EXTENSIBLE_ENUM;

typedef NS_OPTIONS(NSUInteger, NSKeyValueObservingOptions) {
    NSKeyValueObservingOptionNew = 0x01,
    NSKeyValueObservingOptionOld = 0x02,
    NSKeyValueObservingOptionInitial = 0x04,
    NSKeyValueObservingOptionPrior = 0x08,
};

@interface NSObject (NSKeyValueObserving)
- (void)observeValueForKeyPath:(nullable NSString*)keyPath
                      ofObject:(nullable id)object
                        change:(nullable NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(nullable void*)context;
@end

@interface NSObject (NSKeyValueObserverRegistration)
- (void)addObserver:(NSObject*)observer
         forKeyPath:(NSString*)keyPath
            options:(NSKeyValueObservingOptions)options
            context:(nullable void*)context;
- (void)removeObserver:(NSObject*)observer
            forKeyPath:(NSString*)keyPath
               context:(nullable void*)context;
@end

// NSAppleEventDescriptor.h, NSAppleScript.h
@interface NSAppleEventDescriptor : NSObject <NSCopying, NSSecureCoding>
@end

FOUNDATION_EXPORT NSString* const NSAppleScriptErrorMessage;

API_AVAILABLE(macos(10.2))
@interface NSAppleScript : NSObject <NSCopying>
- (nullable instancetype)initWithSource:(NSString*)source;
- (NSAppleEventDescriptor*)executeAndReturnError:
    (NSDictionary<NSString*, id>* _Nullable* _Nullable)errorInfo;
@end

// NSXPCConnection.h
typedef NS_OPTIONS(NSUInteger, NSXPCConnectionOptions) {
    NSXPCConnectionPrivileged = (1 << 12UL),
};

API_AVAILABLE(macos(10.8))
@interface NSXPCInterface : NSObject
+ (NSXPCInterface*)interfaceWithProtocol:(Protocol*)protocol;
@end

@protocol NSXPCProxyCreating
- (id)remoteObjectProxy;
- (id)remoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler;
- (id)synchronousRemoteObjectProxyWithErrorHandler:(void (^)(NSError* error))handler;
@end

API_AVAILABLE(macos(10.8))
@interface NSXPCConnection : NSObject <NSXPCProxyCreating>
- (instancetype)initWithMachServiceName:(NSString*)name options:(NSXPCConnectionOptions)options;
@property(nullable, retain) NSXPCInterface* exportedInterface;
@property(nullable, retain) id exportedObject;
@property(nullable, retain) NSXPCInterface* remoteObjectInterface;
@property(nullable, readonly, retain) id remoteObjectProxy;
@property(nullable, copy) void (^interruptionHandler)(void);
@property(nullable, copy) void (^invalidationHandler)(void);
- (void)resume;
- (void)invalidate;
// Every message on the connection must come from code that meets the
// requirement (code-signing requirement language); the connection is
// invalidated otherwise. A malformed requirement raises an exception.
- (void)setCodeSigningRequirement:(NSString*)requirement API_AVAILABLE(macos(13.0));
@end

// FoundationErrors.h: codes in NSCocoaErrorDomain.
enum : NSInteger {
    NSXPCConnectionInterrupted API_AVAILABLE(macos(10.8)) = 4097,
    NSXPCConnectionInvalid API_AVAILABLE(macos(10.8)) = 4099,
    NSXPCConnectionReplyInvalid API_AVAILABLE(macos(10.8)) = 4101,
    NSXPCConnectionCodeSigningRequirementFailure API_AVAILABLE(macos(13.0)) = 4102,
};

NS_ASSUME_NONNULL_END
