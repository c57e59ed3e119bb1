#pragma once

#include "prompts/GroupDecision.h"
#include "prompts/SidebarEntry.h"

#include <QObject>
#include <QString>
#include <functional>

namespace zor {

class Clipboard;
class PromptStore;
class PromptsSidebarModel;
class Workspace;

// The context menu of the sidebar's entries: one menu, opened for one entry,
// whose policy path and session id it keeps, so that its items still work
// when the entry has gone meanwhile. Main thread only.
class SidebarEntryActions : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)
    // Which items the entry the menu is open for has. Revealing, opening and
    // copying the policy file need its path; the audit logs need the path and
    // a session; "All" has no menu.
    Q_PROPERTY(bool hasPolicyFileItems READ hasPolicyFileItems NOTIFY openedForChanged)
    Q_PROPERTY(bool hasAuditLogsItem READ hasAuditLogsItem NOTIFY openedForChanged)
    Q_PROPERTY(bool hasCopySessionIdItem READ hasCopySessionIdItem NOTIFY openedForChanged)
    Q_PROPERTY(bool hasMenu READ hasMenu NOTIFY openedForChanged)
    // A policy's or a session's prompts can be decided together: the items
    // are there, and act while no other group is under way and the entry
    // still has prompts.
    Q_PROPERTY(bool hasGroupItems READ hasGroupItems NOTIFY openedForChanged)
    Q_PROPERTY(bool isGroupDecidable READ isGroupDecidable NOTIFY groupDecidableChanged)
    Q_PROPERTY(bool isAuditLogsAvailable READ isAuditLogsAvailable CONSTANT)
    Q_PROPERTY(QString auditLogsUnavailableReason READ auditLogsUnavailableReason CONSTANT)

public:
    // `toolPath` is the command-line tool the audit-log script runs; the
    // script is written into the directory `scriptDirectory` gives, asked
    // only when a script is written. Whether the tool is there is
    // read once: it comes with the app's installation. A group's decisions go
    // to `group`, for the prompts of `store`.
    SidebarEntryActions(Workspace& workspace, Clipboard& clipboard, QString toolPath,
                        std::function<QString()> scriptDirectory, PromptStore& store,
                        GroupDecision& group, QObject* parent = nullptr);

    QString revealLabel() const;
    // "Open Audit Logs" is offered only where the tool is; otherwise the menu
    // shows it disabled, with the reason.
    bool isAuditLogsAvailable() const { return auditLogsUnavailable.isEmpty(); }
    QString auditLogsUnavailableReason() const { return auditLogsUnavailable; }

    Q_INVOKABLE void openFor(zor::PromptsSidebarModel* model, int row);
    void openFor(const SidebarEntry& entry);
    bool hasPolicyFileItems() const { return opened.hasPolicyFileItems(); }
    bool hasAuditLogsItem() const { return opened.hasAuditLogsItem(); }
    bool hasCopySessionIdItem() const { return opened.hasCopySessionIdItem(); }
    bool hasMenu() const { return opened.hasMenu(); }
    bool hasGroupItems() const;
    bool isGroupDecidable() const { return isDecidable; }

    // On the entry the menu is open for; nothing where it lacks what they need.
    Q_INVOKABLE void revealInFileManager();
    Q_INVOKABLE void openInDefaultApp();
    Q_INVOKABLE void openAuditLogs();
    Q_INVOKABLE void copyPolicyPath();
    Q_INVOKABLE void copySessionId();
    // The entry's prompts, all of them as listed now, asked first.
    Q_INVOKABLE void decideGroup(zor::GroupDecision::Action action);

signals:
    void openedForChanged();
    void groupDecidableChanged();

private:
    void updateGroupDecidable();

    Workspace& workspace;
    Clipboard& clipboard;
    QString toolPath;
    std::function<QString()> scriptDirectory;
    const QString auditLogsUnavailable;
    PromptStore& store;
    GroupDecision& group;
    SidebarEntry opened;
    bool isDecidable = false;
};

} // namespace zor
