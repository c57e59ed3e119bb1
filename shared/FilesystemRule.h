#pragma once

#include "shared/FileOperation.h"
#include "shared/PolicyAction.h"

#include <QString>
#include <optional>

namespace zor {

// Access to one path; without an operation the rule covers every operation.
struct FilesystemRule {
    QString path;
    PolicyAction action = PolicyAction::deny;
    std::optional<FileOperation> operation;

    bool operator==(const FilesystemRule&) const = default;
};

} // namespace zor
