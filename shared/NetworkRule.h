#pragma once

#include "shared/PolicyAction.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <optional>

namespace zor {

// Connections to one host. Each optional limit, when absent, leaves that
// aspect unrestricted: any port, any amount of data, any process path.
struct NetworkRule {
    QString host;
    PolicyAction action = PolicyAction::deny;
    std::optional<QList<quint16>> ports;
    std::optional<quint64> maxOutboundBytes;
    std::optional<quint64> maxInboundBytes;
    std::optional<QStringList> paths;

    bool operator==(const NetworkRule&) const = default;
};

} // namespace zor
