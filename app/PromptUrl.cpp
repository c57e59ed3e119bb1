#include "app/PromptUrl.h"

#include <QUrl>

namespace zor {

namespace {

bool isHexDigit(QChar c) {
    return (c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f') || (c >= u'A' && c <= u'F');
}

// 8-4-4-4-12 hexadecimal digits; QUuid alone would also take braces.
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

} // namespace

std::optional<QUuid> promptIdFromUrl(QStringView url) {
    if (url.size() > kMaxUrlLength)
        return std::nullopt;
    // QUrl lower-cases scheme and host, so their letters are checked on the
    // text itself; the host must be followed directly by the path.
    static constexpr QStringView authority = u"zor://prompt";
    if (!url.startsWith(authority) || !url.sliced(authority.size()).startsWith(u'/'))
        return std::nullopt;
    // Well-formed as a whole: no spaces, control characters or broken escapes anywhere.
    if (!QUrl(url.toString(), QUrl::StrictMode).isValid())
        return std::nullopt;

    QStringView path = url.sliced(authority.size());
    for (qsizetype i = 0; i < path.size(); ++i) {
        if (path[i] == u'?' || path[i] == u'#') {
            path.truncate(i);
            break;
        }
    }
    // The first component after the root; empty ones, as in "//", do not count.
    const QList<QStringView> components = path.split(u'/', Qt::SkipEmptyParts);
    if (components.isEmpty() || !isStandardUuidText(components.first()))
        return std::nullopt;
    return QUuid::fromString(components.first());
}

} // namespace zor
