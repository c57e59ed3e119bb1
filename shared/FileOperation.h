#pragma once

#include <QString>
#include <QStringView>
#include <optional>

namespace zor {

// A file operation that a filesystem rule can be limited to.
enum class FileOperation {
    read,
    write,
    create,
    remove, // raw value "delete", a reserved word in C++
    rename,
};

// "read", "write", "create", "delete", "rename".
QString rawValue(FileOperation operation);

// Exact, case-sensitive match against the raw values; any other text gives none.
std::optional<FileOperation> fileOperationFromRaw(QStringView text);

} // namespace zor
