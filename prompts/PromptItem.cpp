#include "prompts/PromptItem.h"

#include <array>

namespace zor {
namespace {

// Each ASCII character's value as a hex digit, or -1: a table, as the digits
// of a random id defeat branch prediction.
constexpr std::array<qint8, 128> kHexValues = [] {
    std::array<qint8, 128> values{};
    values.fill(-1);
    for (int digit = 0; digit < 10; ++digit)
        values[std::size_t('0' + digit)] = qint8(digit);
    for (int digit = 0; digit < 6; ++digit) {
        values[std::size_t('a' + digit)] = qint8(10 + digit);
        values[std::size_t('A' + digit)] = qint8(10 + digit);
    }
    return values;
}();

int hexValue(char16_t c) {
    return c < kHexValues.size() ? kHexValues[c] : -1;
}

// Where each byte's two digits start in the standard form, between its dashes.
constexpr std::array<quint8, 16> kByteAt = {0,  2,  4,  6,  9,  11, 14, 16,
                                            19, 21, 24, 26, 28, 30, 32, 34};

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
    // A digit pair at a time from fixed places, as a sync reads thousands.
    // QUuid would also take braces; the agent sends the bare standard form.
    if (text.size() != 36 || text[8] != u'-' || text[13] != u'-' || text[18] != u'-' ||
        text[23] != u'-')
        return std::nullopt;
    std::array<char, 16> bytes{};
    for (std::size_t byte = 0; byte < bytes.size(); ++byte) {
        const qsizetype at = kByteAt[byte];
        const int high = hexValue(text[at].unicode());
        const int low = hexValue(text[at + 1].unicode());
        if ((high | low) < 0)
            return std::nullopt;
        bytes[byte] = char(high << 4 | low);
    }
    return QUuid::fromRfc4122(QByteArrayView(bytes.data(), qsizetype(bytes.size())));
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
