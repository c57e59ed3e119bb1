#include "shared/BuildNumber.h"

namespace zor {

QString zorBuildNumber() {
    return QStringLiteral(ZOR_BUILD_NUMBER);
}

} // namespace zor
