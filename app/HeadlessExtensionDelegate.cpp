#include "app/HeadlessExtensionDelegate.h"

#include "platform/Console.h"

namespace zor {

using Kind = HeadlessExtensionDelegate::Result::Kind;

HeadlessExtensionDelegate::HeadlessExtensionDelegate(Console& console, Completion completion,
                                                     bool overallSuccess)
    : completion(std::move(completion))
    , overallSuccess(overallSuccess)
    , console(console) {}

ReplacementAction
HeadlessExtensionDelegate::actionForReplacingExtension(const ExtensionProperties& existing,
                                                       const ExtensionProperties& replacement) {
    console.printLine(QStringLiteral("Network Extension: replacing ") + existing.bundleVersion +
                      QStringLiteral(" with ") + replacement.bundleVersion);
    return ReplacementAction::replace;
}

void HeadlessExtensionDelegate::requestNeedsUserApproval() {
    completion(Result{Kind::requiresApproval, std::nullopt}, overallSuccess);
}

void HeadlessExtensionDelegate::requestDidFinish(RequestResult result) {
    // Any result but the reboot one, including values this build does not know, counts as done.
    const Kind kind =
        result == RequestResult::willCompleteAfterReboot ? Kind::needsReboot : Kind::success;
    completion(Result{kind, std::nullopt}, overallSuccess);
}

void HeadlessExtensionDelegate::requestDidFail(const PlatformError& error) {
    completion(Result{Kind::failure, error}, overallSuccess);
}

} // namespace zor
