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
    // Closed while the policy or the session has no prompts, such as once the
    // row's prompt has gone: its filter would show nothing, and the store
    // never leaves one on an emptied group.
    Q_PROPERTY(bool isPolicyViewable READ isPolicyViewable NOTIFY viewableChanged)
    Q_PROPERTY(bool isSessionViewable READ isSessionViewable NOTIFY viewableChanged)

public:
    PromptRowMenu(AppState& appState, Clipboard& clipboard, QObject* parent = nullptr);

    Q_INVOKABLE void openFor(const QString& policyPath, const QString& sessionId);

    bool hasViewPolicyItem() const;
    bool hasViewSessionItem() const;
    bool isPolicyViewable() const { return isPolicyShown; }
    bool isSessionViewable() const { return isSessionShown; }

    // Nothing while closed.
    Q_INVOKABLE void viewPolicyNotifications();
    Q_INVOKABLE void viewSessionNotifications();
    Q_INVOKABLE void copyPolicyPath();
    Q_INVOKABLE void copySessionId();

signals:
    void openedForChanged();
    void viewableChanged();

private:
    void updateViewable();

    AppState& appState;
    Clipboard& clipboard;
    QString policyPath;
    QString sessionId;
    bool isPolicyShown = false;
    bool isSessionShown = false;
    QMetaObject::Connection viewableWatch;
};

} // namespace zor
