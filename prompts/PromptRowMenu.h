#pragma once

#include <QObject>
#include <QString>

namespace zor {

class AppState;
class Clipboard;

// The context menu of a prompt's row. It is opened for one prompt and keeps
// copies of its policy path and session id, so that its items still work when
// the prompt has gone meanwhile. Main thread only.
class PromptRowMenu final : public QObject {
    Q_OBJECT
    // Absent while the list already shows only that policy's or that session's prompts.
    Q_PROPERTY(bool hasViewPolicyItem READ hasViewPolicyItem NOTIFY openedForChanged)
    Q_PROPERTY(bool hasViewSessionItem READ hasViewSessionItem NOTIFY openedForChanged)

public:
    PromptRowMenu(AppState& appState, Clipboard& clipboard, QObject* parent = nullptr);

    Q_INVOKABLE void openFor(const QString& policyPath, const QString& sessionId);

    bool hasViewPolicyItem() const;
    bool hasViewSessionItem() const;

    Q_INVOKABLE void viewPolicyNotifications();
    Q_INVOKABLE void viewSessionNotifications();
    Q_INVOKABLE void copyPolicyPath();
    Q_INVOKABLE void copySessionId();

signals:
    void openedForChanged();

private:
    AppState& appState;
    Clipboard& clipboard;
    QString policyPath;
    QString sessionId;
};

} // namespace zor
