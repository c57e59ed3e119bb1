#include "prompts/PromptItem.h"

#include <QStringList>

namespace zor {
namespace {

bool isHexDigit(QChar c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

bool isStandardUuidText(QStringView text) {
    if (text.size() != 36)
        return false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isDashPosition = i == 8 || i == 13 || i == 18 || i == 23;
        if (isDashPosition ? text[i] != u'-' : !isHexDigit(text[i]))
            return false;
    }
    return true;
}

// The name of a folder that is not in the path: the root for an absolute
// path, nothing for a relative one.
QString missingFolderName(const QString& path) {
    return path.startsWith(u'/') ? QStringLiteral("/") : QString();
}

} // namespace

QString PromptItem::dedupeKey() const {
    return policyPath + u':' + denial.typeString() + u':' + denial.target();
}

QUuid promptIdFromText(QStringView text) {
    // QUuid would also take braces; the agent sends the bare standard form.
    if (isStandardUuidText(text))
        return QUuid::fromString(text);
    return QUuid::createUuid();
}

QString policyDisplayName(const QString& policyPath) {
    // Repeated and trailing slashes do not make components, as with file URLs.
    const QStringList components = policyPath.split(u'/', Qt::SkipEmptyParts);
    const qsizetype count = components.size();
    const QString fileName = count >= 1 ? components[count - 1] : missingFolderName(policyPath);
    const QString folder = count >= 2 ? components[count - 2] : missingFolderName(policyPath);
    const QString grandparent = count >= 3 ? components[count - 3] : missingFolderName(policyPath);

    if (folder == u".zor" && fileName == u"policy.yml")
        return grandparent;
    if (fileName == u"policy.yml")
        return folder;
    // An extension needs a name before its dot and something after it.
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot > 0 && dot < fileName.size() - 1)
        return fileName.left(dot);
    return fileName;
}

} // namespace zor
