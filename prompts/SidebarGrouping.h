#pragma once

#include <QObject>
#include <QString>
#include <QStringView>
#include <optional>

namespace zor {

namespace SidebarGroupings {
Q_NAMESPACE

// How the sidebar groups prompts. Compared and hashed as its raw value, which
// for an enumeration comes to the same as comparing the cases.
enum class SidebarGrouping { policy, session };
Q_ENUM_NS(SidebarGrouping)

} // namespace SidebarGroupings

using SidebarGroupings::SidebarGrouping;

// "Policy" or "Session".
QString rawValue(SidebarGrouping grouping);

// Exact match against the raw values; any other text gives none.
std::optional<SidebarGrouping> sidebarGroupingFromRaw(QStringView text);

} // namespace zor
