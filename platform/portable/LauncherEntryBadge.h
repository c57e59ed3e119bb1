#pragma once

#include "platform/IconBadge.h"

#include <QDBusConnection>
#include <QString>

namespace zor {

// The launcher-entry count that docks and panels read from the session bus,
// announced for the app's desktop entry.
class LauncherEntryBadge final : public IconBadge {
public:
    // `desktopEntry` is the entry's file name, "<id>.desktop".
    LauncherEntryBadge(const QDBusConnection& bus, const QString& desktopEntry);

    void setCount(qint64 count) override;

private:
    QDBusConnection bus;
    const QString appUri;
    bool isMissingBusLogged = false;
};

} // namespace zor
