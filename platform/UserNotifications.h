#pragma once

#include <QList>
#include <QString>
#include <functional>

namespace zor {

// What the user did with a notice: clicked it (open), or pressed one of its
// buttons.
enum class NoticeAction { open, deny, show };

struct NoticeActionText {
    // How the action is named to the notification system and comes back from
    // it. "default" is the freedesktop servers' name for the click on the
    // notice itself; macOS names that its own way.
    const char* key;
    const char* label;
};

inline NoticeActionText noticeActionText(NoticeAction action) {
    switch (action) {
    case NoticeAction::open:
        return {"default", "Open"};
    case NoticeAction::deny:
        return {"deny", "Deny"};
    case NoticeAction::show:
        return {"show", "Show"};
    }
    Q_UNREACHABLE();
}

// One notice in the system's notification centre. Its texts arrive plain and
// already cleaned of control characters; the link is the app's own.
struct UserNotice {
    QString title;
    QString body;
    QString link;
    // Its buttons, in order; never `open`, which every notice has. A system
    // that cannot show buttons shows the notice without them.
    QList<NoticeAction> buttons;
};

// The system's notifications, and what the user does with them. Main thread only.
class UserNotifications {
public:
    // Runs on the main thread with the link of the notice the user acted on,
    // and only with an action that notice offered.
    using ActionHandler = std::function<void(const QString& link, NoticeAction action)>;

    virtual ~UserNotifications() = default;
    virtual void setActionHandler(ActionHandler handler) = 0;
    // Returns at once; a system that cannot show it leaves a log line instead.
    virtual void post(const UserNotice& notice) = 0;
};

} // namespace zor
