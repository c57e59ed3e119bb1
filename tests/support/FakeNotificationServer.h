#pragma once

#include <QDBusAbstractInterface>
#include <QDBusConnection>
#include <QDBusContext>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

namespace zor::testing {

// A notification server on `bus`, as desktops run one: it keeps every notice
// and plays the user's click. Its slots are the methods on the bus, by their
// names there.
class FakeNotificationServer final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    struct Notice {
        uint id;
        QString appName;
        QString summary;
        QString body;
        QStringList actions;
        QVariantMap hints;
    };

    FakeNotificationServer(QDBusConnection bus, QStringList capabilities);
    ~FakeNotificationServer() override;

    // Emits the action as the server does when the user picks it.
    void invoke(uint id, const QString& actionKey = QStringLiteral("default"));

    QList<Notice> notices;
    int capabilityQueries = 0;
    // Answers the capability query with an error.
    bool isFailing = false;
    bool isRegistered = false;

public slots:
    QStringList GetCapabilities() {
        ++capabilityQueries;
        if (isFailing)
            sendErrorReply(QDBusError::Failed, QStringLiteral("failing on purpose"));
        return capabilities;
    }
    uint Notify(const QString& appName, uint /*replacesId*/, const QString& /*appIcon*/,
                const QString& summary, const QString& body, const QStringList& actions,
                const QVariantMap& hints, int /*expireTimeout*/) {
        notices.append({uint(notices.size()) + 1, appName, summary, body, actions, hints});
        return notices.last().id;
    }

private:
    QDBusConnection bus;
    QStringList capabilities;
};

// The launcher-entry signals on the bus, whoever sends them.
class LauncherEntryListener final : public QDBusAbstractInterface {
    Q_OBJECT

public:
    explicit LauncherEntryListener(const QDBusConnection& bus, QObject* parent = nullptr)
        : QDBusAbstractInterface(QString(), QString(), "com.canonical.Unity.LauncherEntry", bus,
                                 parent) {}

signals:
    void Update(const QString& appUri, const QVariantMap& properties);
};

} // namespace zor::testing
