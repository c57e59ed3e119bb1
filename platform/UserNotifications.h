#pragma once

#include <QString>
#include <functional>

namespace zor {

// One notice in the system's notification centre. Its texts arrive plain and
// already cleaned of control characters; the link is the app's own.
struct UserNotice {
    QString title;
    QString body;
    QString link;
};

// The system's notifications, and the user's click on one of them. Main thread only.
class UserNotifications {
public:
    using ClickHandler = std::function<void(const QString& link)>;

    virtual ~UserNotifications() = default;
    // Runs on the main thread with the link of the notice the user clicked.
    virtual void setClickHandler(ClickHandler handler) = 0;
    // Returns at once; a system that cannot show it leaves a log line instead.
    virtual void post(const UserNotice& notice) = 0;
};

} // namespace zor
