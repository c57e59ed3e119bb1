#include "prompts/SidebarGrouping.h"

namespace zor {

QString rawValue(SidebarGrouping grouping) {
    switch (grouping) {
    case SidebarGrouping::policy:
        return QStringLiteral("Policy");
    case SidebarGrouping::session:
        return QStringLiteral("Session");
    }
    return {};
}

std::optional<SidebarGrouping> sidebarGroupingFromRaw(QStringView text) {
    for (SidebarGrouping grouping : {SidebarGrouping::policy, SidebarGrouping::session})
        if (text == rawValue(grouping))
            return grouping;
    return std::nullopt;
}

} // namespace zor
