#include "shared/RuleLifetime.h"

namespace zor {

QString description(RuleLifetime lifetime) {
    switch (lifetime) {
    case RuleLifetime::once:
        return QStringLiteral("once");
    case RuleLifetime::session:
        return QStringLiteral("session");
    case RuleLifetime::always:
        return QStringLiteral("always");
    }
    return {};
}

} // namespace zor
