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
// bus; its "default" action is the click. Without a bus or a server, posts
// leave one log line and a later post simply tries again.
class FreedesktopNotifications final : public QObject, public UserNotifications {
    Q_OBJECT

public:
    explicit FreedesktopNotifications(const QDBusConnection& bus, QObject* parent = nullptr);
    ~FreedesktopNotifications() override;

    void setClickHandler(ClickHandler handler) override;
    void post(const UserNotice& notice) override;

private:
    void askCapabilities();
    void send(const UserNotice& notice);
    void reportUnavailable(const QDBusError& error);
    void actionInvoked(uint id, const QString& actionKey);
    void forget(uint id);

    struct Shown {
        uint id;
        QString link;
    };

    QDBusConnection bus;
    NotificationServer* server = nullptr; // none without a session bus
    // Read once from the server, before the first notice goes out.
    std::optional<bool> hasBodyMarkup;
    bool isAskingCapabilities = false;
    QList<UserNotice> waiting; // posted meanwhile, in order
    QList<Shown> shown;        // newest last, a few at most
    ClickHandler clickHandler;
    bool isUnavailabilityLogged = false;
};

} // namespace zor
