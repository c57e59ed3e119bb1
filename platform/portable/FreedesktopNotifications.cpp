#include "platform/portable/FreedesktopNotifications.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "shared/Identifiers.h"

#include <QDBusAbstractInterface>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QVariantMap>
#include <algorithm>
#include <utility>

namespace zor {

namespace {

// Notices whose actions are still answered; older ones are long gone from the screen.
constexpr qsizetype kShownLimit = 16;

} // namespace

// The server's proxy: its calls, and its signals as Qt signals. The signals
// bear the members' names on the bus, which is how the proxy finds them.
class NotificationServer final : public QDBusAbstractInterface {
    Q_OBJECT

public:
    NotificationServer(const QDBusConnection& bus, QObject* parent)
        : QDBusAbstractInterface(QStringLiteral("org.freedesktop.Notifications"),
                                 QStringLiteral("/org/freedesktop/Notifications"),
                                 "org.freedesktop.Notifications", bus, parent) {}

signals:
    void ActionInvoked(uint id, const QString& actionKey);
    void NotificationClosed(uint id, uint reason);
};

FreedesktopNotifications::FreedesktopNotifications(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , bus(bus) {
    if (!this->bus.isConnected())
        return;
    server = new NotificationServer(this->bus, this);
    connect(server, &NotificationServer::ActionInvoked, this,
            &FreedesktopNotifications::actionInvoked);
    connect(server, &NotificationServer::NotificationClosed, this,
            [this](uint id, uint) { forget(id); });
    // A server that restarts numbers its notices anew, and says nothing of
    // those that went with it; the next may show other capabilities.
    auto* watcher = new QDBusServiceWatcher(server->service(), this->bus,
                                            QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this, [this] {
        shown.clear();
        capabilities.reset();
    });
}

FreedesktopNotifications::~FreedesktopNotifications() = default;

void FreedesktopNotifications::setActionHandler(ActionHandler handler) {
    actionHandler = std::move(handler);
}

void FreedesktopNotifications::post(const UserNotice& notice) {
    requireMainThread("FreedesktopNotifications::post");
    if (!server) {
        if (!isUnavailabilityLogged)
            logger(LogCategory::app).info("No session bus: prompts are not notified");
        isUnavailabilityLogged = true;
        return;
    }
    if (capabilities) {
        send(notice);
        return;
    }
    waiting.append(notice);
    if (!isAskingCapabilities)
        askCapabilities();
}

void FreedesktopNotifications::askCapabilities() {
    isAskingCapabilities = true;
    auto* watcher =
        new QDBusPendingCallWatcher(server->asyncCall(QStringLiteral("GetCapabilities")), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, asked = waiting.size()](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                isAskingCapabilities = false;
                const QDBusPendingReply<QStringList> reply = *finished;
                if (reply.isError()) {
                    reportUnavailable(reply.error());
                    // Those posted meanwhile may find a server that has just come.
                    waiting.remove(0, asked);
                    if (!waiting.isEmpty())
                        askCapabilities();
                    return;
                }
                const QStringList names = reply.value();
                capabilities = {names.contains(QStringLiteral("body-markup")),
                                names.contains(QStringLiteral("actions"))};
                for (const UserNotice& notice : std::exchange(waiting, {}))
                    send(notice);
            });
}

void FreedesktopNotifications::send(const UserNotice& notice) {
    // The texts come from the agent: with markup on, a tag in a path would
    // become a link or a picture.
    const QString body = capabilities->hasBodyMarkup ? notice.body.toHtmlEscaped() : notice.body;
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QString::fromLatin1(kAppBundleId)}};
    // A server without actions would show none of the buttons, or show them
    // as it sees fit: such a notice keeps to the click.
    QList<NoticeAction> actions{NoticeAction::open};
    if (capabilities->hasActions)
        actions += notice.buttons;
    QStringList keysAndLabels;
    for (const NoticeAction action : std::as_const(actions)) {
        const NoticeActionText text = noticeActionText(action);
        keysAndLabels << QString::fromLatin1(text.key) << QString::fromLatin1(text.label);
    }
    auto* watcher = new QDBusPendingCallWatcher(
        server->asyncCall(QStringLiteral("Notify"), QStringLiteral("Zor"), uint(0), QString(),
                          notice.title, body, keysAndLabels, hints, -1),
        this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, link = notice.link, actions](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<uint> reply = *finished;
                if (reply.isError()) {
                    reportUnavailable(reply.error());
                    return;
                }
                isUnavailabilityLogged = false;
                forget(reply.value());
                shown.append({reply.value(), link, actions});
                if (shown.size() > kShownLimit)
                    shown.removeFirst();
            });
}

void FreedesktopNotifications::reportUnavailable(const QDBusError& error) {
    if (!isUnavailabilityLogged)
        logger(LogCategory::app)
            .info("Notification server unavailable: %{public}s", {error.name()});
    isUnavailabilityLogged = true;
}

void FreedesktopNotifications::actionInvoked(uint id, const QString& actionKey) {
    const auto notice =
        std::find_if(shown.cbegin(), shown.cend(), [id](const Shown& s) { return s.id == id; });
    if (notice == shown.cend())
        return;
    const auto action = std::find_if(
        notice->actions.cbegin(), notice->actions.cend(), [&actionKey](NoticeAction offered) {
            return actionKey == QLatin1String(noticeActionText(offered).key);
        });
    if (action == notice->actions.cend())
        return;
    const QString link = notice->link;
    const NoticeAction chosen = *action;
    // One answer per notice: a server that sends a second gets nowhere.
    forget(id);
    if (actionHandler)
        actionHandler(link, chosen);
}

void FreedesktopNotifications::forget(uint id) {
    shown.removeIf([id](const Shown& s) { return s.id == id; });
}

} // namespace zor

#include "FreedesktopNotifications.moc"
