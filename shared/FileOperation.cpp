#include "shared/FileOperation.h"

namespace zor {

QString rawValue(FileOperation operation) {
    switch (operation) {
    case FileOperation::read:
        return QStringLiteral("read");
    case FileOperation::write:
        return QStringLiteral("write");
    case FileOperation::create:
        return QStringLiteral("create");
    case FileOperation::remove:
        return QStringLiteral("delete");
    case FileOperation::rename:
        return QStringLiteral("rename");
    }
    return {};
}

std::optional<FileOperation> fileOperationFromRaw(QStringView text) {
    for (FileOperation operation :
         {FileOperation::read, FileOperation::write, FileOperation::create, FileOperation::remove,
          FileOperation::rename})
        if (text == rawValue(operation))
            return operation;
    return std::nullopt;
}

} // namespace zor
