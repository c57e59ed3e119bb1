#pragma once

#include "platform/UserNotifications.h"

#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <optional>

class QDBusError;

namespace zor {

class NotificationServer;

// Notices through the org.freedesktop.Notifications server on the session
// bus; its "default" action is the click, and a notice's buttons are its
// other actions where the server shows actions. What comes back over the bus
// counts only for a notice this object posted and an action it offered.
// Without a bus or a server, posts leave one log line and a later post simply
// tries again.
class FreedesktopNotifications final : public QObject, public UserNotifications {
    Q_OBJECT

public:
    explicit FreedesktopNotifications(const QDBusConnection& bus, QObject* parent = nullptr);
    ~FreedesktopNotifications() override;

    void setActionHandler(ActionHandler handler) override;
    void post(const UserNotice& notice) override;

private:
    void askCapabilities();
    void send(const UserNotice& notice);
    void reportUnavailable(const QDBusError& error);
    void actionInvoked(uint id, const QString& actionKey);
    void forget(uint id);

    struct Capabilities {
        bool hasBodyMarkup;
        bool hasActions;
    };

    struct Shown {
        uint id;
        QString link;
        QList<NoticeAction> actions; // those offered, the click included
    };

    QDBusConnection bus;
    NotificationServer* server = nullptr; // none without a session bus
    // Read from the server before the first notice goes out to it.
    std::optional<Capabilities> capabilities;
    bool isAskingCapabilities = false;
    QList<UserNotice> waiting; // posted meanwhile, in order
    QList<Shown> shown;        // newest last, a few at most
    ActionHandler actionHandler;
    bool isUnavailabilityLogged = false;
};

} // namespace zor
