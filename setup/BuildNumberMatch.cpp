#include "setup/BuildNumberMatch.h"

#include "shared/BuildNumber.h"

namespace zor {

bool isCurrentBuildNumber(const QString& reported) {
    return reported.normalized(QString::NormalizationForm_C) ==
           zorBuildNumber().normalized(QString::NormalizationForm_C);
}

} // namespace zor
