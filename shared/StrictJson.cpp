#include "shared/StrictJson.h"

namespace zor {
namespace {
// Deeper than any record; bounds the walk over what the reader skips.
constexpr int kMaxDepth = 64;
} // namespace

StrictJson::StrictJson(QByteArrayView input)
    : text(input.data(), size_t(input.size())) {}

bool StrictJson::root(JsonValue& out) {
    if (!check(parser.iterate(text).get(document)))
        return false;
    isIterating = true;
    // A document is not a value; its top level is reached through one, which
    // only an object or an array has.
    const simdjson::error_code code = document.get_value().get(out);
    if (code == simdjson::SCALAR_DOCUMENT_AS_VALUE)
        return fail(QStringLiteral("expected an object or an array"));
    return check(code);
}

bool StrictJson::finish() {
    if (hasFailed())
        return false;
    const char* position = nullptr;
    if (document.current_location().get(position) != simdjson::OUT_OF_BOUNDS)
        return fail(QStringLiteral("text after the value"));
    return true;
}

void StrictJson::rewind() {
    document.rewind();
    clearError();
}

bool StrictJson::readText(JsonValue value, QString& out) {
    std::string_view utf8;
    if (!readUtf8(value, utf8))
        return false;
    out = QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    return true;
}

bool StrictJson::readUtf8(JsonValue value, std::string_view& out) {
    return !hasFailed() && check(value.get_string().get(out));
}

bool StrictJson::readBool(JsonValue value, bool& out) {
    return !hasFailed() && check(value.get_bool().get(out));
}

bool StrictJson::readInteger(JsonValue value, qint64& out) {
    int64_t number = 0;
    if (hasFailed() || !check(value.get_int64().get(number)))
        return false;
    out = number;
    return true;
}

bool StrictJson::readNumber(JsonValue value, double& out) {
    return !hasFailed() && check(value.get_double().get(out));
}

bool StrictJson::isNull(JsonValue value) {
    bool isNullValue = false;
    return !hasFailed() && check(value.is_null().get(isNullValue)) && isNullValue;
}

bool StrictJson::skip(JsonValue value) {
    return skip(value, 0);
}

bool StrictJson::skip(JsonValue value, int depth) {
    if (hasFailed())
        return false;
    if (depth > kMaxDepth)
        return fail(QStringLiteral("nested too deeply"));
    simdjson::ondemand::json_type type;
    if (!check(value.type().get(type)))
        return false;
    switch (type) {
    case simdjson::ondemand::json_type::object:
        return forEachMember(
            value, [&](std::string_view, JsonValue member) { return skip(member, depth + 1); });
    case simdjson::ondemand::json_type::array:
        return forEachElement(value, [&](JsonValue element) { return skip(element, depth + 1); });
    case simdjson::ondemand::json_type::string: {
        std::string_view ignored;
        return readUtf8(value, ignored);
    }
    case simdjson::ondemand::json_type::number: {
        simdjson::ondemand::number ignored;
        return check(value.get_number().get(ignored));
    }
    case simdjson::ondemand::json_type::boolean: {
        bool ignored = false;
        return readBool(value, ignored);
    }
    case simdjson::ondemand::json_type::null:
        return isNull(value) || fail(QStringLiteral("invalid literal"));
    }
    return fail(QStringLiteral("unknown value"));
}

bool StrictJson::fail(const QString& what) {
    if (hasFailed())
        return false;
    // Where the text was refused before any reading, there is no position.
    const char* position = nullptr;
    if (isIterating && document.current_location().get(position) == simdjson::SUCCESS)
        errorText = QStringLiteral("%1 at byte %2").arg(what).arg(position - text.data());
    else
        errorText = what;
    return false;
}

bool StrictJson::check(simdjson::error_code code) {
    return code == simdjson::SUCCESS ||
           fail(QString::fromUtf8(simdjson::error_message(code)).trimmed());
}

} // namespace zor
