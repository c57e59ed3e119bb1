// Must fail the check on arm64 only: a pointer to signed char where the SDK
// takes a pointer to BOOL.
// Expected error: (aka 'bool *') with an rvalue of type 'signed char *'
#import <Foundation/Foundation.h>

bool isDirectory(NSString* path) {
#ifdef ZOR_WITHOUT_MISTAKE
    BOOL isDirectory = NO;
#else
    signed char isDirectory = NO;
#endif
    return [NSFileManager.defaultManager fileExistsAtPath:path isDirectory:&isDirectory] &&
           isDirectory;
}
