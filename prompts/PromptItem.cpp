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
    // In one pass, as a sync reads thousands. QUuid would also take braces;
    // the agent sends the bare standard form.
    if (text.size() != 36)
        return std::nullopt;
    std::array<char, 16> bytes{};
    qsizetype digit = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const bool isDashPosition = i == 8 || i == 13 || i == 18 || i == 23;
        if (isDashPosition) {
            if (text[i] != u'-')
                return std::nullopt;
            continue;
        }
        const int value = hexValue(text[i].unicode());
        if (value < 0)
            return std::nullopt;
        bytes[std::size_t(digit / 2)] = char(bytes[std::size_t(digit / 2)] << 4 | value);
        ++digit;
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
