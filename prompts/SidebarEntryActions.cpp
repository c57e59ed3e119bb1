#include "prompts/SidebarEntryActions.h"

#include "platform/Clipboard.h"
#include "platform/Log.h"
#include "platform/Workspace.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "prompts/SessionLogsScript.h"

#include <utility>

namespace zor {

SidebarEntryActions::SidebarEntryActions(Workspace& workspace, Clipboard& clipboard,
                                         QString toolPath, std::function<QString()> scriptDirectory,
                                         PromptStore& store, GroupDecision& group, QObject* parent)
    : QObject(parent)
    , workspace(workspace)
    , clipboard(clipboard)
    , toolPath(std::move(toolPath))
    , scriptDirectory(std::move(scriptDirectory))
    , auditLogsUnavailable(sessionLogsUnavailableReason(this->toolPath))
    , store(store)
    , group(group) {
    connect(&group, &GroupDecision::stateChanged, this, &SidebarEntryActions::updateGroupDecidable);
    connect(&store, &PromptStore::promptsChanged, this, &SidebarEntryActions::updateGroupDecidable);
}

bool SidebarEntryActions::hasGroupItems() const {
    return opened.filter.kind() != PromptFilter::Kind::all && opened.count > 0;
}

void SidebarEntryActions::updateGroupDecidable() {
    const bool isNowDecidable = hasGroupItems() && group.state() == GroupDecision::State::idle &&
                                store.promptCountFor(opened.filter) > 0;
    if (std::exchange(isDecidable, isNowDecidable) != isNowDecidable)
        emit groupDecidableChanged();
}

void SidebarEntryActions::decideGroup(GroupDecision::Action action) {
    if (!isDecidable)
        return;
    QList<QUuid> ids;
    for (const PromptItem& item : store.promptsFor(opened.filter))
        ids.append(item.id);
    group.ask(action, ids);
}

QString SidebarEntryActions::revealLabel() const {
    return workspace.revealInFileManagerLabel();
}

void SidebarEntryActions::openFor(PromptsSidebarModel* model, int row) {
    if (model && row >= 0 && row < model->rowCount())
        openFor(model->entry(row));
}

void SidebarEntryActions::openFor(const SidebarEntry& entry) {
    opened = entry;
    emit openedForChanged();
    updateGroupDecidable();
}

void SidebarEntryActions::revealInFileManager() {
    if (opened.subtitle)
        workspace.revealInFileManager(*opened.subtitle);
}

void SidebarEntryActions::openInDefaultApp() {
    if (opened.subtitle)
        workspace.openFile(*opened.subtitle);
}

void SidebarEntryActions::openAuditLogs() {
    if (!opened.hasAuditLogsItem())
        return;
    const QString& sessionId = *opened.sessionId;
    // A script without its tool would only fail in the terminal.
    if (!isAuditLogsAvailable()) {
        logger(LogCategory::promptsView)
            .error("No audit-log script for session %s: %s", {sessionId, auditLogsUnavailable});
        return;
    }
    openSessionLogs(workspace, toolPath, scriptDirectory(), sessionId);
}

void SidebarEntryActions::copyPolicyPath() {
    if (opened.subtitle)
        clipboard.setText(*opened.subtitle);
}

void SidebarEntryActions::copySessionId() {
    if (opened.sessionId)
        clipboard.setText(*opened.sessionId);
}

} // namespace zor
