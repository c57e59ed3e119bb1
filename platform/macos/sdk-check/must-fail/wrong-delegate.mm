// Must fail the check: a delegate method whose argument type differs from the protocol's.
// Expected error: conflicting parameter types in implementation of 'request:didFinishWithResult:'
#import <SystemExtensions/SystemExtensions.h>

@interface SampleDelegate : NSObject <OSSystemExtensionRequestDelegate>
@end

@implementation SampleDelegate
- (OSSystemExtensionReplacementAction)request:(OSSystemExtensionRequest*)request
                  actionForReplacingExtension:(OSSystemExtensionProperties*)existing
                                withExtension:(OSSystemExtensionProperties*)extension {
    return OSSystemExtensionReplacementActionReplace;
}
- (void)requestNeedsUserApproval:(OSSystemExtensionRequest*)request {
}
#ifdef ZOR_WITHOUT_MISTAKE
- (void)request:(OSSystemExtensionRequest*)request
    didFinishWithResult:(OSSystemExtensionRequestResult)result {
}
#else
- (void)request:(OSSystemExtensionRequest*)request didFinishWithResult:(NSString*)result {
}
#endif
- (void)request:(OSSystemExtensionRequest*)request didFailWithError:(NSError*)error {
}
@end
