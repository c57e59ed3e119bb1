#include "prompts/SidebarEntryActions.h"

#include "platform/Clipboard.h"
#include "platform/Log.h"
#include "platform/Workspace.h"
#include "prompts/SessionLogsScript.h"

namespace zor {

SidebarEntryActions::SidebarEntryActions(Workspace& workspace, Clipboard& clipboard,
                                         QString toolPath, QString scriptDirectory, QObject* parent)
    : QObject(parent)
    , workspace(workspace)
    , clipboard(clipboard)
    , toolPath(std::move(toolPath))
    , scriptDirectory(std::move(scriptDirectory))
    , auditLogsUnavailable(sessionLogsUnavailableReason(this->toolPath)) {}

QString SidebarEntryActions::revealLabel() const {
    return workspace.revealInFileManagerLabel();
}

void SidebarEntryActions::revealInFileManager(const QString& policyPath) {
    workspace.revealInFileManager(policyPath);
}

void SidebarEntryActions::openInDefaultApp(const QString& policyPath) {
    workspace.openFile(policyPath);
}

void SidebarEntryActions::openAuditLogs(const QString& sessionId) {
    // A script without its tool would only fail in the terminal.
    if (!isAuditLogsAvailable()) {
        logger(LogCategory::promptsView)
            .error("No audit-log script for session %s: %s", {sessionId, auditLogsUnavailable});
        return;
    }
    openSessionLogs(workspace, toolPath, scriptDirectory, sessionId);
}

void SidebarEntryActions::copyPolicyPath(const QString& policyPath) {
    clipboard.setText(policyPath);
}

void SidebarEntryActions::copySessionId(const QString& sessionId) {
    clipboard.setText(sessionId);
}

} // namespace zor
