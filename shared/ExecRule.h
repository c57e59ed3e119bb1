#pragma once

#include "shared/PolicyAction.h"

#include <QString>
#include <QStringList>

namespace zor {

// Running one executable with the given arguments.
struct ExecRule {
    QString path;
    QStringList args;
    PolicyAction action = PolicyAction::deny;

    static ExecRule fromArgs(const QString& path, const QStringList& args, PolicyAction action) {
        return ExecRule{path, args, action};
    }

    bool operator==(const ExecRule&) const = default;
};

} // namespace zor
