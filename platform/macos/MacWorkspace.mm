#include "platform/macos/MacWorkspace.h"

#import <AppKit/AppKit.h>

namespace zor {

bool MacWorkspace::openUrl(const QUrl& url) {
    NSURL* systemUrl = url.toNSURL();
    return systemUrl && [NSWorkspace.sharedWorkspace openURL:systemUrl];
}

void MacWorkspace::revealInFileManager(const QString& filePath) {
    [NSWorkspace.sharedWorkspace
        activateFileViewerSelectingURLs:@[ [NSURL fileURLWithPath:filePath.toNSString()] ]];
}

QString MacWorkspace::revealInFileManagerLabel() const {
    return QStringLiteral("Reveal in Finder");
}

void MacWorkspace::openFile(const QString& filePath) {
    [NSWorkspace.sharedWorkspace openURL:[NSURL fileURLWithPath:filePath.toNSString()]];
}

void MacWorkspace::runScriptInTerminal(const QString& scriptPath) {
    NSWorkspace* workspace = NSWorkspace.sharedWorkspace;
    NSURL* script = [NSURL fileURLWithPath:scriptPath.toNSString()];
    // Terminal runs the script whatever the user opens .command files with.
    NSURL* terminal = [workspace URLForApplicationWithBundleIdentifier:@"com.apple.Terminal"];
    if (!terminal) {
        [workspace openURL:script];
        return;
    }
    [workspace openURLs:@[ script ]
        withApplicationAtURL:terminal
               configuration:[NSWorkspaceOpenConfiguration configuration]
           completionHandler:nil];
}

} // namespace zor
