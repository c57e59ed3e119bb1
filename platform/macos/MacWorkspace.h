#pragma once

#include "platform/Workspace.h"

namespace zor {

// NSWorkspace: URL handlers, Finder and Terminal.
class MacWorkspace final : public Workspace {
public:
    bool openUrl(const QUrl& url) override;
    void revealInFileManager(const QString& filePath) override;
    QString revealInFileManagerLabel() const override;
    void openFile(const QString& filePath) override;
    void runScriptInTerminal(const QString& scriptPath) override;
};

} // namespace zor
