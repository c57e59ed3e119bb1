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

public:
    // `toolPath` is the command-line tool the audit-log script runs; the
    // script is written into `scriptDirectory`.
    SidebarEntryActions(Workspace& workspace, Clipboard& clipboard, QString toolPath,
                        QString scriptDirectory, QObject* parent = nullptr);

    QString revealLabel() const;

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
};

} // namespace zor
