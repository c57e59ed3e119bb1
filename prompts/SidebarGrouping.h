#pragma once

#include <QObject>
#include <QString>
#include <QStringView>
#include <optional>

namespace zor {

namespace SidebarGroupings {
Q_NAMESPACE

// How the sidebar groups prompts. Each case has its own raw value, so equal
// cases and equal raw values are the same thing.
enum class SidebarGrouping { policy, session };
Q_ENUM_NS(SidebarGrouping)

} // namespace SidebarGroupings

using SidebarGroupings::SidebarGrouping;

// "Policy" or "Session".
QString rawValue(SidebarGrouping grouping);

// Exact match against the raw values; any other text gives none.
std::optional<SidebarGrouping> sidebarGroupingFromRaw(QStringView text);

} // namespace zor
