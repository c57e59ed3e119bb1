#pragma once

#include <QString>
#include <QUrl>

namespace zor {

// The system's file viewer, URL handlers and terminal. Apart from openUrl these
// are fire-and-forget: what the system makes of them is not reported back.
class Workspace {
public:
    virtual ~Workspace() = default;
    virtual bool openUrl(const QUrl& url) = 0;
    // Shows the file, selected, in the system's file manager.
    virtual void revealInFileManager(const QString& filePath) = 0;
    // The menu text for revealInFileManager, named after this system's file manager.
    virtual QString revealInFileManagerLabel() const = 0;
    // Opens the file in the application the system associates with it.
    virtual void openFile(const QString& filePath) = 0;
    // Runs an executable shell script in a terminal window.
    virtual void runScriptInTerminal(const QString& scriptPath) = 0;
};

} // namespace zor
