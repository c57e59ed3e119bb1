#include "setup/ServiceStatus.h"

#include <QMetaEnum>

namespace zor {
namespace {

// The case name is the description, so the enum's own metadata is the table.
template <typename Status> QString caseName(Status status) {
    return QString::fromLatin1(QMetaEnum::fromType<Status>().valueToKey(int(status)));
}

} // namespace

QString description(DaemonStatus status) {
    return caseName(status);
}

QString description(AgentStatus status) {
    return caseName(status);
}

QString description(NEStatus status) {
    return caseName(status);
}

QString description(CLISymlinkStatus status) {
    return caseName(status);
}

} // namespace zor
