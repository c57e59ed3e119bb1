#include "platform/macos/MacAdministratorScriptRunner.h"

#import <Foundation/Foundation.h>

namespace zor {

ScriptRunResult MacAdministratorScriptRunner::run(const QString& source) {
    NSAppleScript* script = [[NSAppleScript alloc] initWithSource:source.toNSString()];
    if (!script)
        return ScriptRunResult{false, false, std::nullopt};
    NSDictionary<NSString*, id>* errorInfo = nil;
    [script executeAndReturnError:&errorInfo];
    if (!errorInfo)
        return ScriptRunResult{};
    // The message entry is read as text only when it is text.
    id message = errorInfo[NSAppleScriptErrorMessage];
    if ([message isKindOfClass:[NSString class]])
        return ScriptRunResult{true, true, QString::fromNSString(message)};
    return ScriptRunResult{true, true, std::nullopt};
}

} // namespace zor
