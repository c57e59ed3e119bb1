#pragma once

#include "prompts/SidebarEntry.h"

#include <QObject>
#include <QString>

namespace zor {

class Clipboard;
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
    Q_PROPERTY(bool isAuditLogsAvailable READ isAuditLogsAvailable CONSTANT)
    Q_PROPERTY(QString auditLogsUnavailableReason READ auditLogsUnavailableReason CONSTANT)

public:
    // `toolPath` is the command-line tool the audit-log script runs; the
    // script is written into `scriptDirectory`. Whether the tool is there is
    // read once: it comes with the app's installation.
    SidebarEntryActions(Workspace& workspace, Clipboard& clipboard, QString toolPath,
                        QString scriptDirectory, QObject* parent = nullptr);

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

    // On the entry the menu is open for; nothing where it lacks what they need.
    Q_INVOKABLE void revealInFileManager();
    Q_INVOKABLE void openInDefaultApp();
    Q_INVOKABLE void openAuditLogs();
    Q_INVOKABLE void copyPolicyPath();
    Q_INVOKABLE void copySessionId();

signals:
    void openedForChanged();

private:
    Workspace& workspace;
    Clipboard& clipboard;
    QString toolPath;
    QString scriptDirectory;
    const QString auditLogsUnavailable;
    SidebarEntry opened;
};

} // namespace zor
