#pragma once

#include <QByteArrayView>
#include <QString>
#include <simdjson.h>
#include <string_view>

namespace zor {

// Reads one JSON text from another process strictly (RFC 8259, UTF-8) with
// simdjson's On-Demand API: trailing commas, comments, control characters and
// invalid UTF-8 in strings, unpaired surrogates, leading zeros and anything
// after the top-level value are all refused. On-Demand looks only at what it
// is asked for, so a member the caller does not use goes through skip(),
// which reads it in full all the same.
//
// The first error sticks: every later call returns false, and error() tells
// what and where. Reading an object:
//
//     json.forEachMember(value, [&](std::string_view key, JsonValue member) {
//         return key == "name" ? json.readText(member, name) : json.skip(member);
//     });
using JsonValue = simdjson::ondemand::value;

class StrictJson {
public:
    explicit StrictJson(QByteArrayView text);
    StrictJson(const StrictJson&) = delete;
    StrictJson& operator=(const StrictJson&) = delete;

    // The top-level value; read it at most once between rewinds.
    bool root(JsonValue& out);
    // Checks that nothing but white space followed the top-level value.
    bool finish();
    // Back to the start, for another pass over the same text.
    void rewind();
    // Forgets the error, to go on with the next value after a failed one that
    // was well-formed.
    void clearError() { errorText.clear(); }

    // Calls fn(key, value) for each member in order, a key given twice
    // included; stops when fn returns false.
    template <typename Fn> bool forEachMember(JsonValue value, Fn&& fn);
    // Calls fn(value) for each element; stops when fn returns false.
    template <typename Fn> bool forEachElement(JsonValue value, Fn&& fn);

    bool readText(JsonValue value, QString& out);
    // The text in UTF-8, valid until the next read.
    bool readUtf8(JsonValue value, std::string_view& out);
    bool readBool(JsonValue value, bool& out);
    // An integer written without fraction or exponent, within the range of qint64.
    bool readInteger(JsonValue value, qint64& out);
    bool readNumber(JsonValue value, double& out);
    // Consumes a null and answers true when one comes next; false otherwise.
    bool isNull(JsonValue value);
    // Reads past a value of any type, checking it all the same.
    bool skip(JsonValue value);

    bool hasFailed() const { return !errorText.isEmpty(); }
    QString error() const { return errorText; }
    // Records an error at the current position; returns false for convenience.
    bool fail(const QString& what);

private:
    bool check(simdjson::error_code code);
    bool skip(JsonValue value, int depth);

    simdjson::padded_string text;
    simdjson::ondemand::parser parser;
    simdjson::ondemand::document document;
    bool isIterating = false;
    QString errorText;
};

template <typename Fn> bool StrictJson::forEachMember(JsonValue value, Fn&& fn) {
    simdjson::ondemand::object object;
    if (hasFailed() || !check(value.get_object().get(object)))
        return false;
    for (auto field : object) {
        std::string_view key;
        JsonValue member;
        if (!check(field.unescaped_key().get(key)) || !check(field.value().get(member)) ||
            !fn(key, member))
            return false;
    }
    return !hasFailed();
}

template <typename Fn> bool StrictJson::forEachElement(JsonValue value, Fn&& fn) {
    simdjson::ondemand::array array;
    if (hasFailed() || !check(value.get_array().get(array)))
        return false;
    for (auto element : array) {
        JsonValue item;
        if (!check(element.get(item)) || !fn(item))
            return false;
    }
    return !hasFailed();
}

} // namespace zor
