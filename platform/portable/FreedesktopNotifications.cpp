#include "platform/portable/FreedesktopNotifications.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "shared/Identifiers.h"

#include <QDBusAbstractInterface>
#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>
#include <algorithm>
#include <utility>

namespace zor {

namespace {

const QString kDefaultAction = QStringLiteral("default");
// Notices whose click is still answered; older ones are long gone from the screen.
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
}

FreedesktopNotifications::~FreedesktopNotifications() = default;

void FreedesktopNotifications::setClickHandler(ClickHandler handler) {
    clickHandler = std::move(handler);
}

void FreedesktopNotifications::post(const UserNotice& notice) {
    requireMainThread("FreedesktopNotifications::post");
    if (!server) {
        if (!isUnavailabilityLogged)
            logger(LogCategory::app).info("No session bus: prompts are not notified");
        isUnavailabilityLogged = true;
        return;
    }
    if (hasBodyMarkup) {
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
                hasBodyMarkup = reply.value().contains(QStringLiteral("body-markup"));
                for (const UserNotice& notice : std::exchange(waiting, {}))
                    send(notice);
            });
}

void FreedesktopNotifications::send(const UserNotice& notice) {
    // The texts come from the agent: with markup on, a tag in a path would
    // become a link or a picture.
    const QString body = *hasBodyMarkup ? notice.body.toHtmlEscaped() : notice.body;
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QString::fromLatin1(kAppBundleId)}};
    auto* watcher = new QDBusPendingCallWatcher(
        server->asyncCall(QStringLiteral("Notify"), QStringLiteral("Zor"), uint(0), QString(),
                          notice.title, body, QStringList{kDefaultAction, QStringLiteral("Open")},
                          hints, -1),
        this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, link = notice.link](QDBusPendingCallWatcher* finished) {
                finished->deleteLater();
                const QDBusPendingReply<uint> reply = *finished;
                if (reply.isError()) {
                    reportUnavailable(reply.error());
                    return;
                }
                isUnavailabilityLogged = false;
                shown.append({reply.value(), link});
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
    if (notice == shown.cend() || actionKey != kDefaultAction)
        return;
    const QString link = notice->link;
    forget(id);
    if (clickHandler)
        clickHandler(link);
}

void FreedesktopNotifications::forget(uint id) {
    shown.removeIf([id](const Shown& s) { return s.id == id; });
}

} // namespace zor

#include "FreedesktopNotifications.moc"
