#include "FuzzCheck.h"
#include "prompts/PromptUrl.h"

#include <QString>
#include <cstddef>
#include <cstdint>

// Any text as a link handed to the app: one it accepts is "zor://prompt/"
// and the id's own text, in either case, as its first path component, and
// holds no space or control character anywhere. Any UUID (the input's first
// 16 bytes) written into a link, in either case and with anything after it,
// reads back as itself.

namespace {

using zor::fuzz::check;

constexpr QStringView kPrefix = u"zor://prompt/";

void checkAccepted(QStringView url, const QUuid& id) {
    check(url.startsWith(kPrefix), "an accepted link starts with zor://prompt/", url.toUtf8());
    QStringView rest = url.sliced(kPrefix.size());
    while (rest.startsWith(u'/'))
        rest = rest.sliced(1);
    const QString text = id.toString(QUuid::WithoutBraces);
    check(rest.startsWith(text, Qt::CaseInsensitive), "an accepted link holds its id's text",
          url.toUtf8());
    rest = rest.sliced(text.size());
    check(rest.isEmpty() || rest[0] == u'/' || rest[0] == u'?' || rest[0] == u'#',
          "the id is a whole path component", url.toUtf8());
    for (const QChar c : url)
        check(!c.isSpace() && c.category() != QChar::Other_Control,
              "an accepted link holds no space or control character", url.toUtf8());
}

void checkFormatted(const QUuid& id) {
    const QString text = id.toString(QUuid::WithoutBraces);
    const QString lower = kPrefix.toString() + text;
    const QString upper = kPrefix.toString() + text.toUpper();
    for (const QString& url : {lower, upper + "/more", lower + "?query", upper + "#fragment"})
        check(zor::promptIdFromUrl(url) == id, "a link made from an id reads back as that id",
              url.toUtf8());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArrayView bytes(data, qsizetype(size));
    const QString url = QString::fromUtf8(bytes);
    if (const auto id = zor::promptIdFromUrl(url))
        checkAccepted(url, *id);
    if (bytes.size() >= 16)
        checkFormatted(QUuid::fromRfc4122(bytes.first(16)));
    return 0;
}
