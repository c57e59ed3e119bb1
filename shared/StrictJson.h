#pragma once

#include "shared/ParserRoom.h"

#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <bit>
#include <simdjson.h>
#include <string_view>

namespace zor {

// Reads one JSON text from another process strictly (RFC 8259, UTF-8) with
// simdjson's DOM API, which parses with the processor's best kernel, picked
// at run time (On-Demand walks the text with the kernel compiled into the
// headers, the generic one on a distribution's build). root() parses and
// checks the whole text at once: trailing commas, comments, control
// characters and invalid UTF-8 in strings, unpaired surrogates, leading
// zeros, nesting deeper than any record and anything after the top-level
// value are all refused there, so a member the caller does not use has been
// checked all the same and needs no reading.
//
// The first error sticks: every later call returns false, and error() tells
// what. Reading an object:
//
//     json.forEachMember(value, [&](std::string_view key, JsonValue member) {
//         return key == "name" ? json.readText(member, name) : true;
//     });
using JsonValue = simdjson::dom::element;

// The UTF-8 of a text in the parsed document, as a hash table's key, hashed
// with textHash().
struct SharedTextKey {
    QByteArrayView utf8;
    friend bool operator==(SharedTextKey a, SharedTextKey b) { return a.utf8 == b.utf8; }
};
size_t qHash(SharedTextKey key, size_t seed) noexcept;

class StrictJson {
public:
    // `text` must outlive root().
    explicit StrictJson(QByteArrayView text);
    // Parsed where it is when it has the parser's room after it (makeParserRoom).
    explicit StrictJson(const QByteArray& text);
    StrictJson(const StrictJson&) = delete;
    StrictJson& operator=(const StrictJson&) = delete;

    // The top-level value, which must be an object or an array.
    bool root(JsonValue& out);
    // Frees what parsing needed and reading does not: the parser's copy of
    // the text and its index. A large result is best allocated before: the
    // freed buffers raise the size at which the allocator maps a block of its
    // own, so one allocated after comes from the heap and stays resident there
    // once freed, beneath what was allocated after it.
    void releaseParser() { parser = simdjson::dom::parser(); }
    // Forgets the error, to go on with the next value after a failed one.
    void clearError() { errorText.clear(); }

    // Calls fn(key, value) for each member in order, a key given twice
    // included; stops when fn returns false.
    template <typename Fn> bool forEachMember(JsonValue value, Fn&& fn);
    // Calls fn(value) for each element; stops when fn returns false.
    template <typename Fn> bool forEachElement(JsonValue value, Fn&& fn);
    // The number of elements of an array; 0 for any other value.
    static qsizetype elementCount(JsonValue value);

    bool readText(JsonValue value, QString& out);
    // As readText, for texts that repeat across records (a session, a policy
    // path, a process name): equal texts read this way share one QString.
    bool readSharedText(JsonValue value, QString& out);
    // The text in UTF-8, valid as long as this reader.
    bool readUtf8(JsonValue value, std::string_view& out);
    bool readBool(JsonValue value, bool& out);
    // An integer written without fraction or exponent, within the range of qint64.
    bool readInteger(JsonValue value, qint64& out);
    bool readNumber(JsonValue value, double& out);
    // Answers whether the value is a null.
    static bool isNull(JsonValue value) { return value.is_null(); }

    bool hasFailed() const { return !errorText.isEmpty(); }
    QString error() const { return errorText; }
    // Records an error; returns false for convenience.
    bool fail(const QString& what);

private:
    // Room for the text in the parser and the document.
    simdjson::error_code allocate();
    bool check(simdjson::error_code code);

    QByteArrayView text;
    bool isInPlace = false;
    simdjson::dom::parser parser;
    // What the elements point into: the parsed values and their unescaped
    // strings, apart from the parser.
    simdjson::dom::document document;
    // The texts read with readSharedText().
    QHash<SharedTextKey, QString> sharedTexts;
    QString errorText;
};

// The members of one object that were wrong the last time they came, for a
// reader that takes a member given twice with its last value: a right value
// makes up for a wrong one before it, and a member whose last value is wrong
// still refuses the object, with its error. Members are numbered from 0, by
// the reader. Allocates nothing, so that reading a record costs no more.
template <unsigned Count> class LastValueErrors {
    static_assert(Count <= 32);

public:
    // Takes the outcome of reading member `index` from `value` and forgets
    // its error, so that the object's other members are read; true.
    bool take(StrictJson& json, unsigned index, JsonValue value, bool isRead) {
        const unsigned bit = 1u << index;
        if (isRead) {
            wrong &= ~bit;
            return true;
        }
        wrong |= bit;
        wrongValues[index] = value;
        json.clearError();
        return true;
    }
    // Reads the last value of the first member still wrong again with
    // `read(index, value)`, which fails as it did and leaves its error;
    // true when none is.
    template <typename Read> bool check(Read&& read) const {
        if (wrong == 0)
            return true;
        const unsigned index = unsigned(std::countr_zero(wrong));
        return read(index, wrongValues[index]);
    }

private:
    unsigned wrong = 0;
    JsonValue wrongValues[Count];
};

template <typename Fn> bool StrictJson::forEachMember(JsonValue value, Fn&& fn) {
    simdjson::dom::object object;
    if (hasFailed() || !check(value.get_object().get(object)))
        return false;
    for (const simdjson::dom::key_value_pair field : object)
        if (!fn(field.key, field.value))
            return false;
    return !hasFailed();
}

template <typename Fn> bool StrictJson::forEachElement(JsonValue value, Fn&& fn) {
    simdjson::dom::array array;
    if (hasFailed() || !check(value.get_array().get(array)))
        return false;
    for (const JsonValue element : array)
        if (!fn(element))
            return false;
    return !hasFailed();
}

} // namespace zor
