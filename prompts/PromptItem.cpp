#include "prompts/PromptItem.h"

#include <array>

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

// The last `count` components of a path, last first. Repeated and trailing
// slashes make no components, as with file URLs. A component that the path
// does not have is the root ("/") for an absolute path, empty for a relative one.
template <std::size_t count> std::array<QStringView, count> lastComponents(QStringView path) {
    std::array<QStringView, count> components;
    const QStringView missing = path.startsWith(u'/') ? QStringView(u"/") : QStringView();
    components.fill(missing);
    qsizetype end = path.size();
    for (QStringView& component : components) {
        while (end > 0 && path[end - 1] == u'/')
            --end;
        if (end == 0)
            break;
        const qsizetype start = path.lastIndexOf(u'/', end - 1) + 1;
        component = path.mid(start, end - start);
        end = start;
    }
    return components;
}

} // namespace

QString PromptItem::dedupeKey() const {
    return policyPath + u':' + denial.typeString() + u':' + denial.target();
}

std::optional<QUuid> parsePromptId(QStringView text) {
    // QUuid would also take braces; the agent sends the bare standard form.
    if (isStandardUuidText(text))
        return QUuid::fromString(text);
    return std::nullopt;
}

QUuid promptIdFromText(QStringView text) {
    if (const auto id = parsePromptId(text))
        return *id;
    return QUuid::createUuid();
}

QString policyDisplayName(const QString& policyPath) {
    const auto [fileName, folder, grandparent] = lastComponents<3>(policyPath);
    if (folder == u".zor" && fileName == u"policy.yml")
        return grandparent.toString();
    if (fileName == u"policy.yml")
        return folder.toString();
    // An extension needs a name before its dot and something after it.
    const qsizetype dot = fileName.lastIndexOf(u'.');
    if (dot > 0 && dot < fileName.size() - 1)
        return fileName.left(dot).toString();
    return fileName.toString();
}

} // namespace zor
