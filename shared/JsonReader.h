#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

namespace zor {

// A strict pull reader for JSON text (RFC 8259) in UTF-8. It decodes straight
// into the caller's records, which is several times faster than building a
// QJsonDocument first, and it rejects what a lenient parser would let through:
// trailing commas, control characters and invalid UTF-8 in strings, unpaired
// surrogates, leading zeros, anything after the top-level value.
//
// The first error sticks: every later call returns false and error() tells
// what and where. Reading an object:
//
//     reader.beginObject();
//     while (reader.nextMember())
//         reader.key() == "name" ? reader.readString(name) : reader.skipValue();
//     if (reader.hasFailed())
//         return reader.error();
class JsonReader {
public:
    enum class ValueType { object, array, string, number, boolean, null, invalid };

    explicit JsonReader(QByteArrayView input);

    // The type of the next value, judged by its first character; consumes nothing.
    ValueType peek();

    bool beginObject();
    // Moves to the next member, reading its key and the colon; false at the
    // end of the object (consumed) or on error.
    bool nextMember();
    // The current member's key in UTF-8, escapes decoded.
    QByteArrayView key() const { return currentKey; }

    bool beginArray();
    // Moves to the next element; false at the end of the array (consumed) or on error.
    bool nextElement();

    bool readString(QString& out);
    bool readBool(bool& out);
    // An integer written without fraction or exponent, within the range of qint64.
    bool readInteger(qint64& out);
    bool readNumber(double& out);
    // Consumes a null when one comes next; false, consuming nothing, otherwise.
    bool readNullIfPresent();
    // Reads past the next value of any type, checking it all the same.
    bool skipValue();
    // Checks that nothing but white space follows.
    bool finish();

    // The offset in the input at which reading goes on.
    qsizetype position() const { return pos; }

    bool hasFailed() const { return failed; }
    QString error() const { return errorText; }
    // Records an error at the current position; returns false for convenience.
    bool fail(const QString& what);

private:
    void skipWhitespace();
    bool expect(char c, const char* what);
    // The raw text of a string value: a view into the input, or into `buffer`
    // when escapes had to be decoded.
    bool readStringBytes(QByteArray& buffer, QByteArrayView& out);
    bool readEscape(QByteArray& buffer);
    bool readHex4(char32_t& out);
    bool scanNumber(bool& isInteger);
    bool skipValue(int depth);

    const char* data;
    qsizetype size;
    qsizetype pos = 0;
    bool atContainerStart = false;
    bool failed = false;
    QString errorText;
    QByteArray keyBuffer;
    QByteArray stringBuffer;
    QByteArrayView currentKey;
};

} // namespace zor
