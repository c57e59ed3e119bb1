#include "prompts/PromptUrl.h"

#include "prompts/PromptItem.h"

#include <QUrl>
#include <algorithm>

namespace zor {

namespace {

bool isAsciiLetter(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
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
    // Well-formed as a whole: no spaces, control characters or broken escapes
    // anywhere. QUrl's strict mode lets those beyond ASCII through.
    const bool hasSpaceOrControl = std::any_of(url.begin(), url.end(), [](QChar c) {
        return c.isSpace() || c.category() == QChar::Other_Control;
    });
    if (hasSpaceOrControl || !QUrl(url.toString(), QUrl::StrictMode).isValid())
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
    if (components.isEmpty())
        return std::nullopt;
    return parsePromptId(components.first());
}

bool isLinkText(QStringView text) {
    const qsizetype colon = text.indexOf(u':');
    if (colon < 1 || !isAsciiLetter(text[0]))
        return false;
    return std::all_of(text.begin() + 1, text.begin() + colon, [](QChar c) {
        return isAsciiLetter(c) || (c >= u'0' && c <= u'9') || c == u'+' || c == u'-' || c == u'.';
    });
}

QString promptUrl(const QUuid& id) {
    return QStringLiteral("zor://prompt/") + id.toString(QUuid::WithoutBraces);
}

} // namespace zor
