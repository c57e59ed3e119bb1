#include "platform/macos/MacSystemExtensionManager.h"

#include "platform/macos/SystemValues.h"

#import <SystemExtensions/SystemExtensions.h>

namespace {

zor::ExtensionProperties propertiesFrom(OSSystemExtensionProperties* properties) {
    return zor::ExtensionProperties{QString::fromNSString(properties.bundleIdentifier),
                                    QString::fromNSString(properties.bundleVersion),
                                    QString::fromNSString(properties.bundleShortVersion)};
}

} // namespace

// Forwards one request's callbacks, on the main queue, to the app's delegate
// while it lives. The request holds its delegate weakly, so this object keeps
// itself (a deliberate cycle through _keepAlive) until the request has finished
// or failed; letting go of itself is the last thing either callback does, since
// it may free the object.
@interface ZorSystemExtensionRequestDelegate : NSObject <OSSystemExtensionRequestDelegate>
- (instancetype)initWithDelegate:(std::weak_ptr<zor::SystemExtensionRequestDelegate>)delegate;
@end

@implementation ZorSystemExtensionRequestDelegate {
    std::weak_ptr<zor::SystemExtensionRequestDelegate> _delegate;
    ZorSystemExtensionRequestDelegate* _keepAlive;
}

- (instancetype)initWithDelegate:(std::weak_ptr<zor::SystemExtensionRequestDelegate>)delegate {
    if ((self = [super init])) {
        _delegate = std::move(delegate);
        _keepAlive = self;
    }
    return self;
}

- (OSSystemExtensionReplacementAction)request:(OSSystemExtensionRequest*)request
                  actionForReplacingExtension:(OSSystemExtensionProperties*)existing
                                withExtension:(OSSystemExtensionProperties*)ext {
    const auto delegate = _delegate.lock();
    const zor::ReplacementAction action =
        delegate
            ? delegate->actionForReplacingExtension(propertiesFrom(existing), propertiesFrom(ext))
            : zor::ReplacementAction::cancel;
    return OSSystemExtensionReplacementAction(zor::replacementActionToSystem(action));
}

- (void)requestNeedsUserApproval:(OSSystemExtensionRequest*)request {
    if (const auto delegate = _delegate.lock())
        delegate->requestNeedsUserApproval();
}

- (void)request:(OSSystemExtensionRequest*)request
    didFinishWithResult:(OSSystemExtensionRequestResult)result {
    if (const auto delegate = _delegate.lock())
        delegate->requestDidFinish(zor::requestResultFromSystem(long(result)));
    _keepAlive = nil;
}

- (void)request:(OSSystemExtensionRequest*)request didFailWithError:(NSError*)error {
    if (const auto delegate = _delegate.lock())
        delegate->requestDidFail(zor::errorFromSystem(
            QString::fromNSString(error.localizedDescription), long(error.code)));
    _keepAlive = nil;
}

@end

namespace zor {

void MacSystemExtensionManager::submitActivationRequest(
    const QString& bundleIdentifier, std::weak_ptr<SystemExtensionRequestDelegate> delegate) {
    OSSystemExtensionRequest* request =
        [OSSystemExtensionRequest activationRequestForExtension:bundleIdentifier.toNSString()
                                                          queue:dispatch_get_main_queue()];
    ZorSystemExtensionRequestDelegate* forwarder =
        [[ZorSystemExtensionRequestDelegate alloc] initWithDelegate:std::move(delegate)];
    request.delegate = forwarder;
    [OSSystemExtensionManager.sharedManager submitRequest:request];
}

} // namespace zor
