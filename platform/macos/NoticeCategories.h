#pragma once

// The notification categories that give notices their buttons. Plain C++, so
// the table is tested everywhere.

#include "platform/UserNotifications.h"

#include <QList>
#include <QString>
#include <optional>

namespace zor {

// The system shows the buttons of the category a notice names, and only
// categories registered beforehand: there is one for every set of buttons a
// notice may carry, each named after its buttons.
struct NoticeCategory {
    QString identifier;
    QList<NoticeAction> buttons; // in the order of NoticeAction
};

// Every non-empty set of buttons, for registration at start.
QList<NoticeCategory> noticeCategories();

// The category of a notice with these buttons; empty for a notice without any.
QString noticeCategoryIdentifier(const QList<NoticeAction>& buttons);

// What the user did, from the system's response to a notice of that
// category: the click, or a button the category has. Nothing for anything
// else, such as the system's own dismissal.
std::optional<NoticeAction> noticeActionFromResponse(const QString& actionIdentifier,
                                                     bool isDefaultAction,
                                                     const QString& categoryIdentifier);

} // namespace zor
