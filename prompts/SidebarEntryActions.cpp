#include "prompts/SidebarEntryActions.h"

#include "platform/Clipboard.h"
#include "platform/Log.h"
#include "platform/Workspace.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "prompts/SessionLogsScript.h"

#include <QDir>
#include <QFileInfo>
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

namespace {

// Why the file at `path` is not for its default app to open: the agent names
// it, and the system's app for a program, a bundle or a terminal settings file
// runs it rather than shows it. Empty for a policy file, or a link to one.
const char* notOpenedBecause(const QString& path) {
    if (!QDir::isAbsolutePath(path))
        return "not an absolute path";
    const QString resolved = QFileInfo(path).canonicalFilePath();
    if (resolved.isEmpty())
        return "no such file";
    const QFileInfo file(resolved);
    if (!file.isFile())
        return "not a regular file";
    if (file.isExecutable())
        return "a program";
    const QString suffix = file.suffix();
    if (suffix.compare(u"yml", Qt::CaseInsensitive) != 0 &&
        suffix.compare(u"yaml", Qt::CaseInsensitive) != 0)
        return "not a YAML file";
    return nullptr;
}

} // namespace

void SidebarEntryActions::openInDefaultApp() {
    if (!opened.subtitle)
        return;
    const QString& path = *opened.subtitle;
    if (const char* reason = notOpenedBecause(path)) {
        logger(LogCategory::promptsView)
            .error("Not opening the policy file %s: %{public}s",
                   {path, QString::fromLatin1(reason)});
        return;
    }
    workspace.openFile(path);
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
