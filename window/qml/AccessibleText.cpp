#include "window/qml/AccessibleText.h"

namespace zor::qml {

QString AccessibleText::join(const QStringList& shown) {
    QStringList texts = shown;
    texts.removeAll(QString());
    return texts.join(QStringLiteral(", "));
}

} // namespace zor::qml
