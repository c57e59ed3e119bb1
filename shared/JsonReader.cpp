#include "shared/JsonReader.h"

namespace zor {
namespace {

constexpr int kMaxDepth = 64;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// Well-formed UTF-8 only: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(QByteArrayView bytes) {
    const auto* p = reinterpret_cast<const uchar*>(bytes.data());
    const auto* end = p + bytes.size();
    while (p < end) {
        const uchar c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        int length = 0;
        uchar low = 0x80;
        uchar high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            length = 2;
        } else if (c >= 0xE0 && c <= 0xEF) {
            length = 3;
            if (c == 0xE0)
                low = 0xA0;
            else if (c == 0xED)
                high = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            length = 4;
            if (c == 0xF0)
                low = 0x90;
            else if (c == 0xF4)
                high = 0x8F;
        } else {
            return false;
        }
        if (end - p < length || p[1] < low || p[1] > high)
            return false;
        for (int i = 2; i < length; ++i)
            if (p[i] < 0x80 || p[i] > 0xBF)
                return false;
        p += length;
    }
    return true;
}

void appendUtf8(QByteArray& out, char32_t cp) {
    if (cp < 0x80) {
        out.append(char(cp));
    } else if (cp < 0x800) {
        out.append(char(0xC0 | (cp >> 6)));
        out.append(char(0x80 | (cp & 0x3F)));
    } else if (cp < 0x10000) {
        out.append(char(0xE0 | (cp >> 12)));
        out.append(char(0x80 | ((cp >> 6) & 0x3F)));
        out.append(char(0x80 | (cp & 0x3F)));
    } else {
        out.append(char(0xF0 | (cp >> 18)));
        out.append(char(0x80 | ((cp >> 12) & 0x3F)));
        out.append(char(0x80 | ((cp >> 6) & 0x3F)));
        out.append(char(0x80 | (cp & 0x3F)));
    }
}

} // namespace

JsonReader::JsonReader(QByteArrayView input)
    : data(input.data())
    , size(input.size()) {}

bool JsonReader::fail(const QString& what) {
    if (!failed) {
        failed = true;
        errorText = QStringLiteral("%1 at byte %2").arg(what).arg(pos);
    }
    return false;
}

void JsonReader::skipWhitespace() {
    while (pos < size) {
        const char c = data[pos];
        if (c != ' ' && c != '\t' && c != '\n' && c != '\r')
            return;
        ++pos;
    }
}

bool JsonReader::expect(char c, const char* what) {
    if (failed)
        return false;
    skipWhitespace();
    if (pos >= size || data[pos] != c)
        return fail(QString::fromLatin1(what));
    ++pos;
    return true;
}

JsonReader::ValueType JsonReader::peek() {
    if (failed)
        return ValueType::invalid;
    skipWhitespace();
    if (pos >= size)
        return ValueType::invalid;
    switch (data[pos]) {
    case '{':
        return ValueType::object;
    case '[':
        return ValueType::array;
    case '"':
        return ValueType::string;
    case 't':
    case 'f':
        return ValueType::boolean;
    case 'n':
        return ValueType::null;
    default:
        return (data[pos] == '-' || isDigit(data[pos])) ? ValueType::number : ValueType::invalid;
    }
}

bool JsonReader::beginObject() {
    if (!expect('{', "expected an object"))
        return false;
    atContainerStart = true;
    return true;
}

bool JsonReader::nextMember() {
    if (failed)
        return false;
    skipWhitespace();
    if (atContainerStart) {
        atContainerStart = false;
        if (pos < size && data[pos] == '}') {
            ++pos;
            return false;
        }
    } else {
        if (pos < size && data[pos] == '}') {
            ++pos;
            return false;
        }
        if (!expect(',', "expected ',' or '}'"))
            return false;
        skipWhitespace();
    }
    if (pos >= size || data[pos] != '"')
        return fail(QStringLiteral("expected a member name"));
    if (!readStringBytes(keyBuffer, currentKey))
        return false;
    return expect(':', "expected ':'");
}

bool JsonReader::beginArray() {
    if (!expect('[', "expected an array"))
        return false;
    atContainerStart = true;
    return true;
}

bool JsonReader::nextElement() {
    if (failed)
        return false;
    skipWhitespace();
    if (pos < size && data[pos] == ']') {
        atContainerStart = false;
        ++pos;
        return false;
    }
    if (atContainerStart) {
        atContainerStart = false;
        return true;
    }
    if (!expect(',', "expected ',' or ']'"))
        return false;
    skipWhitespace();
    if (pos < size && data[pos] == ']')
        return fail(QStringLiteral("expected a value"));
    return true;
}

bool JsonReader::readHex4(char32_t& out) {
    if (size - pos < 4)
        return fail(QStringLiteral("incomplete \\u escape"));
    out = 0;
    for (int i = 0; i < 4; ++i) {
        const int digit = hexValue(data[pos + i]);
        if (digit < 0)
            return fail(QStringLiteral("invalid \\u escape"));
        out = out * 16 + char32_t(digit);
    }
    pos += 4;
    return true;
}

bool JsonReader::readEscape(QByteArray& buffer) {
    // pos is just past the backslash.
    if (pos >= size)
        return fail(QStringLiteral("unterminated string"));
    const char c = data[pos++];
    switch (c) {
    case '"':
    case '\\':
    case '/':
        buffer.append(c);
        return true;
    case 'b':
        buffer.append('\b');
        return true;
    case 'f':
        buffer.append('\f');
        return true;
    case 'n':
        buffer.append('\n');
        return true;
    case 'r':
        buffer.append('\r');
        return true;
    case 't':
        buffer.append('\t');
        return true;
    case 'u':
        break;
    default:
        --pos;
        return fail(QStringLiteral("invalid escape"));
    }
    char32_t cp = 0;
    if (!readHex4(cp))
        return false;
    if (cp >= 0xDC00 && cp <= 0xDFFF)
        return fail(QStringLiteral("unpaired surrogate"));
    if (cp >= 0xD800 && cp <= 0xDBFF) {
        char32_t low = 0;
        if (size - pos < 2 || data[pos] != '\\' || data[pos + 1] != 'u')
            return fail(QStringLiteral("unpaired surrogate"));
        pos += 2;
        if (!readHex4(low))
            return false;
        if (low < 0xDC00 || low > 0xDFFF)
            return fail(QStringLiteral("unpaired surrogate"));
        cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
    }
    appendUtf8(buffer, cp);
    return true;
}

bool JsonReader::readStringBytes(QByteArray& buffer, QByteArrayView& out) {
    // pos is at the opening quote.
    const qsizetype start = ++pos;
    bool isAscii = true;
    bool hasEscapes = false;
    while (true) {
        if (pos >= size)
            return fail(QStringLiteral("unterminated string"));
        const auto c = uchar(data[pos]);
        if (c == '"')
            break;
        if (c < 0x20)
            return fail(QStringLiteral("control character in string"));
        if (c == '\\') {
            if (!hasEscapes) {
                hasEscapes = true;
                buffer.clear();
                buffer.append(data + start, pos - start);
            }
            ++pos;
            if (!readEscape(buffer))
                return false;
            continue;
        }
        if (c >= 0x80)
            isAscii = false;
        if (hasEscapes)
            buffer.append(char(c));
        ++pos;
    }
    out = hasEscapes ? QByteArrayView(buffer) : QByteArrayView(data + start, pos - start);
    if (!isAscii && !isValidUtf8(out))
        return fail(QStringLiteral("invalid UTF-8 in string"));
    ++pos;
    return true;
}

bool JsonReader::readString(QString& out) {
    if (peek() != ValueType::string)
        return fail(QStringLiteral("expected a string"));
    QByteArrayView bytes;
    if (!readStringBytes(stringBuffer, bytes))
        return false;
    out = QString::fromUtf8(bytes);
    return true;
}

bool JsonReader::readBool(bool& out) {
    if (peek() == ValueType::boolean) {
        const QByteArrayView rest(data + pos, size - pos);
        if (rest.startsWith("true")) {
            pos += 4;
            out = true;
            return true;
        }
        if (rest.startsWith("false")) {
            pos += 5;
            out = false;
            return true;
        }
    }
    return fail(QStringLiteral("expected true or false"));
}

bool JsonReader::readNullIfPresent() {
    if (peek() != ValueType::null)
        return false;
    if (!QByteArrayView(data + pos, size - pos).startsWith("null"))
        return fail(QStringLiteral("invalid literal"));
    pos += 4;
    return true;
}

bool JsonReader::scanNumber(bool& isInteger) {
    // -?(0|[1-9][0-9]*)(\.[0-9]+)?([eE][+-]?[0-9]+)?
    isInteger = true;
    if (pos < size && data[pos] == '-')
        ++pos;
    if (pos >= size || !isDigit(data[pos]))
        return fail(QStringLiteral("invalid number"));
    if (data[pos] == '0') {
        ++pos;
        if (pos < size && isDigit(data[pos]))
            return fail(QStringLiteral("leading zero in number"));
    } else {
        while (pos < size && isDigit(data[pos]))
            ++pos;
    }
    if (pos < size && data[pos] == '.') {
        isInteger = false;
        ++pos;
        if (pos >= size || !isDigit(data[pos]))
            return fail(QStringLiteral("invalid number"));
        while (pos < size && isDigit(data[pos]))
            ++pos;
    }
    if (pos < size && (data[pos] == 'e' || data[pos] == 'E')) {
        isInteger = false;
        ++pos;
        if (pos < size && (data[pos] == '+' || data[pos] == '-'))
            ++pos;
        if (pos >= size || !isDigit(data[pos]))
            return fail(QStringLiteral("invalid number"));
        while (pos < size && isDigit(data[pos]))
            ++pos;
    }
    return true;
}

bool JsonReader::readInteger(qint64& out) {
    if (peek() != ValueType::number)
        return fail(QStringLiteral("expected an integer"));
    const qsizetype start = pos;
    bool isInteger = false;
    if (!scanNumber(isInteger))
        return false;
    bool ok = false;
    out = QByteArrayView(data + start, pos - start).toLongLong(&ok);
    if (!isInteger || !ok) {
        pos = start;
        return fail(
            QString::fromLatin1(isInteger ? "integer out of range" : "expected an integer"));
    }
    return true;
}

bool JsonReader::readNumber(double& out) {
    if (peek() != ValueType::number)
        return fail(QStringLiteral("expected a number"));
    const qsizetype start = pos;
    bool isInteger = false;
    if (!scanNumber(isInteger))
        return false;
    bool ok = false;
    out = QByteArrayView(data + start, pos - start).toDouble(&ok);
    if (!ok) {
        pos = start;
        return fail(QStringLiteral("number out of range"));
    }
    return true;
}

bool JsonReader::skipValue() {
    return skipValue(0);
}

bool JsonReader::skipValue(int depth) {
    if (depth > kMaxDepth)
        return fail(QStringLiteral("nested too deeply"));
    switch (peek()) {
    case ValueType::object:
        beginObject();
        while (nextMember())
            skipValue(depth + 1);
        break;
    case ValueType::array:
        beginArray();
        while (nextElement())
            skipValue(depth + 1);
        break;
    case ValueType::string: {
        QByteArrayView ignored;
        readStringBytes(stringBuffer, ignored);
        break;
    }
    case ValueType::number: {
        bool isInteger = false;
        scanNumber(isInteger);
        break;
    }
    case ValueType::boolean: {
        bool ignored = false;
        readBool(ignored);
        break;
    }
    case ValueType::null:
        readNullIfPresent();
        break;
    case ValueType::invalid:
        fail(QStringLiteral("expected a value"));
        break;
    }
    return !failed;
}

bool JsonReader::finish() {
    if (failed)
        return false;
    skipWhitespace();
    if (pos != size)
        return fail(QStringLiteral("unexpected text after the value"));
    return true;
}

} // namespace zor
