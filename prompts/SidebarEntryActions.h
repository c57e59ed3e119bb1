#pragma once

#include <QObject>
#include <QString>

namespace zor {

class Clipboard;
class Workspace;

// What the context menu of a sidebar entry does with the entry's policy path
// and session id.
class SidebarEntryActions : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString revealLabel READ revealLabel CONSTANT)
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

    Q_INVOKABLE void revealInFileManager(const QString& policyPath);
    Q_INVOKABLE void openInDefaultApp(const QString& policyPath);
    Q_INVOKABLE void openAuditLogs(const QString& sessionId);
    Q_INVOKABLE void copyPolicyPath(const QString& policyPath);
    Q_INVOKABLE void copySessionId(const QString& sessionId);

private:
    Workspace& workspace;
    Clipboard& clipboard;
    QString toolPath;
    QString scriptDirectory;
    const QString auditLogsUnavailable;
};

} // namespace zor
