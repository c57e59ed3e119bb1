#pragma once

#include "platform/Announcer.h"

#include <QObject>

namespace zor {

// Announcements where Qt offers no call for them: the main window shows the
// text as the name of an alert element, whose changes screen readers speak.
class LiveRegion final : public QObject, public Announcer {
    Q_OBJECT
    Q_PROPERTY(QString announcement READ announcement NOTIFY announcementChanged)

public:
    using QObject::QObject;

    QString announcement() const { return text; }
    void announce(const QString& text) override;

signals:
    void announcementChanged();

private:
    QString text;
};

} // namespace zor
