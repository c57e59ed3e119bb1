#include "shared/OutOfRangeNumbers.h"

#include "shared/ParserRoom.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string_view>

namespace zor {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isNumberCharacter(char c) {
    return isDigit(c) || c == '-' || c == '+' || c == '.' || c == 'e' || c == 'E';
}

// -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
bool isWellFormed(std::string_view token) {
    std::size_t at = 0;
    const auto digits = [&] {
        const std::size_t from = at;
        while (at < token.size() && isDigit(token[at]))
            ++at;
        return at - from;
    };
    if (at < token.size() && token[at] == '-')
        ++at;
    const bool isLeadingZero = at < token.size() && token[at] == '0';
    const std::size_t integerDigits = digits();
    if (integerDigits == 0 || (isLeadingZero && integerDigits > 1))
        return false;
    if (at < token.size() && token[at] == '.') {
        ++at;
        if (digits() == 0)
            return false;
    }
    if (at < token.size() && (token[at] == 'e' || token[at] == 'E')) {
        ++at;
        if (at < token.size() && (token[at] == '+' || token[at] == '-'))
            ++at;
        if (digits() == 0)
            return false;
    }
    return at == token.size();
}

template <typename Integer> bool fits(std::string_view token) {
    Integer value = 0;
    const auto [end, error] = std::from_chars(token.data(), token.data() + token.size(), value);
    return error == std::errc() && end == token.data() + token.size();
}

// The power of ten of a well-formed number's magnitude, roughly: where it
// is far beyond a double's range either way, which way.
qint64 decimalExponent(std::string_view token) {
    constexpr qint64 kFarEnough = 1'000'000;
    std::size_t at = token.front() == '-' ? 1 : 0;
    qint64 exponent = 0;
    bool isSignificant = false;
    bool isFraction = false;
    for (; at < token.size() && token[at] != 'e' && token[at] != 'E'; ++at) {
        if (token[at] == '.') {
            isFraction = true;
            continue;
        }
        isSignificant = isSignificant || token[at] != '0';
        if (!isFraction && isSignificant)
            exponent = std::min(exponent + 1, kFarEnough);
        else if (isFraction && !isSignificant)
            exponent = std::max(exponent - 1, -kFarEnough);
    }
    if (!isSignificant)
        return -kFarEnough; // zero
    if (at < token.size()) {
        ++at;
        const bool isNegative = token[at] == '-';
        if (token[at] == '+' || token[at] == '-')
            ++at;
        qint64 written = 0;
        for (; at < token.size(); ++at)
            written = std::min(written * 10 + (token[at] - '0'), kFarEnough);
        exponent += isNegative ? -written : written;
    }
    return exponent;
}

// A magnitude too small for a double is read as zero, and taken.
bool isOutOfRange(std::string_view token) {
    if (token.find_first_of(".eE") == std::string_view::npos)
        return !fits<std::int64_t>(token) && !fits<std::uint64_t>(token);
    bool isRead = false;
    QByteArray(token.data(), qsizetype(token.size())).toDouble(&isRead);
    return !isRead && decimalExponent(token) > 0;
}

} // namespace

std::optional<OutOfRangeNumbers> nullOutOfRangeNumbers(QByteArrayView arrayText) {
    // Copied at the first such number: a text refused for anything else is
    // not copied at all.
    OutOfRangeNumbers found;
    const std::string_view text(arrayText.data(), std::size_t(arrayText.size()));
    int depth = 0;
    qsizetype element = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            for (++at; at < text.size() && text[at] != '"'; ++at)
                if (text[at] == '\\')
                    ++at;
        } else if (c == '[' || c == '{') {
            ++depth;
        } else if (c == ']' || c == '}') {
            --depth;
        } else if (c == ',' && depth == 1) {
            ++element;
        } else if (c == '-' || isDigit(c)) {
            std::size_t end = at;
            while (end < text.size() && isNumberCharacter(text[end]))
                ++end;
            const std::string_view token = text.substr(at, end - at);
            // "null" takes no more room than a number out of range.
            if (depth >= 1 && token.size() >= 4 && isWellFormed(token) && isOutOfRange(token)) {
                if (found.text.isNull()) {
                    // With the reader's room, so that it reads the copy where it is.
                    found.text.reserve(arrayText.size() + kParserRoom);
                    found.text.append(arrayText);
                }
                char* written = found.text.data() + at;
                std::fill(written, written + token.size(), ' ');
                std::copy_n("null", 4, written);
                found.elements.insert(element);
            }
            at = end - 1;
        }
    }
    if (found.elements.isEmpty())
        return std::nullopt;
    return found;
}

} // namespace zor
