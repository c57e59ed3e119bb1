#include "shared/JsonWriter.h"

#include <QLocale>
#include <cmath>

namespace zor {

namespace {

constexpr char kHex[] = "0123456789abcdef";

// A UTF-16 code unit as JSON's \u escape.
char* writeUnitEscape(char* to, char16_t unit) {
    *to++ = '\\';
    *to++ = 'u';
    for (int shift = 12; shift >= 0; shift -= 4)
        *to++ = kHex[(unit >> shift) & 0xf];
    return to;
}

// An ASCII character, escaped where JSON does not allow it inside a string.
char* writeAscii(char* to, char16_t unit) {
    if (unit >= 0x20 && unit != '"' && unit != '\\') {
        *to++ = char(unit);
        return to;
    }
    char shortForm = 0;
    switch (unit) {
    case '"':
    case '\\':
        shortForm = char(unit);
        break;
    case '\b':
        shortForm = 'b';
        break;
    case '\f':
        shortForm = 'f';
        break;
    case '\n':
        shortForm = 'n';
        break;
    case '\r':
        shortForm = 'r';
        break;
    case '\t':
        shortForm = 't';
        break;
    default:
        return writeUnitEscape(to, unit);
    }
    *to++ = '\\';
    *to++ = shortForm;
    return to;
}

} // namespace

void JsonWriter::separate() {
    if (isAfterValue)
        out += ',';
}

void JsonWriter::open(char bracket) {
    separate();
    out += bracket;
    isAfterValue = false;
}

void JsonWriter::close(char bracket) {
    out += bracket;
    isAfterValue = true;
}

void JsonWriter::beginObject() {
    open('{');
}

void JsonWriter::endObject() {
    close('}');
}

void JsonWriter::beginArray() {
    open('[');
}

void JsonWriter::endArray() {
    close(']');
}

void JsonWriter::key(std::string_view name) {
    separate();
    out += '"';
    out.append(name.data(), qsizetype(name.size()));
    out += "\":";
    isAfterValue = false;
}

void JsonWriter::value(const QString& text) {
    separate();
    // Room for the worst case, every unit escaped in six bytes, cut to what
    // was written: one growth of the output per text, not one per byte.
    const qsizetype start = out.size();
    out.resize(start + 2 + 6 * text.size());
    char* to = out.data() + start;
    *to++ = '"';
    const auto* at = reinterpret_cast<const char16_t*>(text.constData());
    const char16_t* const end = at + text.size();
    while (at != end) {
        const char16_t unit = *at++;
        if (unit < 0x80) {
            to = writeAscii(to, unit);
        } else if (unit < 0x800) {
            *to++ = char(0xc0 | (unit >> 6));
            *to++ = char(0x80 | (unit & 0x3f));
        } else if (QChar::isHighSurrogate(unit) && at != end && QChar::isLowSurrogate(*at)) {
            const char32_t point = QChar::surrogateToUcs4(unit, *at++);
            *to++ = char(0xf0 | (point >> 18));
            *to++ = char(0x80 | ((point >> 12) & 0x3f));
            *to++ = char(0x80 | ((point >> 6) & 0x3f));
            *to++ = char(0x80 | (point & 0x3f));
        } else if (QChar::isSurrogate(unit)) {
            // Half a pair has no UTF-8 form; escaped, it survives as it was.
            to = writeUnitEscape(to, unit);
        } else {
            *to++ = char(0xe0 | (unit >> 12));
            *to++ = char(0x80 | ((unit >> 6) & 0x3f));
            *to++ = char(0x80 | (unit & 0x3f));
        }
    }
    *to++ = '"';
    out.truncate(to - out.constData());
    isAfterValue = true;
}

void JsonWriter::member(std::string_view name, const std::optional<QString>& text) {
    if (text)
        member(name, *text);
}

void JsonWriter::value(const QStringList& texts) {
    beginArray();
    for (const QString& text : texts)
        value(text);
    endArray();
}

void JsonWriter::value(bool flag) {
    separate();
    out += flag ? "true" : "false";
    isAfterValue = true;
}

void JsonWriter::value(qint64 number) {
    separate();
    out += QByteArray::number(number);
    isAfterValue = true;
}

void JsonWriter::value(double number) {
    // Whole numbers as integers, where a double holds every one of them.
    constexpr double kExactLimit = 9007199254740992.0; // 2^53
    if (std::isfinite(number) && std::trunc(number) == number && std::abs(number) <= kExactLimit) {
        value(qint64(number));
        return;
    }
    separate();
    out += std::isfinite(number) ? QByteArray::number(number, 'g', QLocale::FloatingPointShortest)
                                 : QByteArray("null");
    isAfterValue = true;
}

} // namespace zor
