#include "shared/StrictJson.h"

#include "platform/LargePages.h"
#include "shared/TextHash.h"

#include <algorithm>
#include <cstdint>

namespace zor {

static_assert(kParserRoom >= qsizetype(simdjson::SIMDJSON_PADDING));

namespace {

// Deeper than any record or message: the list, a record, its denial, its
// arguments, and room for what a newer agent may add.
constexpr size_t kMaxDepth = 64;

// Whether `text` starts with one well-formed value and goes on after it:
// what a parse refused as a whole may have been only that.
bool hasTextAfterValue(QByteArrayView text) {
    // Unlike parse(), parse_many() reads past the end of what it is given.
    const simdjson::padded_string padded(text.data(), size_t(text.size()));
    simdjson::dom::parser parser;
    simdjson::dom::document_stream values;
    if (parser.parse_many(padded, padded.size()).get(values))
        return false;
    auto value = values.begin();
    if (!(value != values.end()) || (*value).error() != simdjson::SUCCESS)
        return false;
    return ++value != values.end();
}

} // namespace

StrictJson::StrictJson(QByteArrayView input)
    : text(input) {}

StrictJson::StrictJson(const QByteArray& input)
    : text(input)
    , isInPlace(hasParserRoom(input)) {}

simdjson::error_code StrictJson::allocate() {
    // Below its least, the parse would allocate both again.
    const size_t size = std::max(size_t(text.size()), simdjson::dom::MINIMAL_DOCUMENT_CAPACITY);
    simdjson::error_code code = parser.allocate(size, kMaxDepth);
    if (code == simdjson::SUCCESS)
        code = document.allocate(size);
    if (code != simdjson::SUCCESS)
        return code;
    // The parser's index and the document's values and strings are each
    // several times the text's size. A large reply's are mapped afresh for
    // every parse and written page by page; in large pages, most of the
    // faults that took a fifth of a large sync go. Each size below is one
    // the block is at least, so that the advice stays within it. simdjson
    // documents these members as its own: should a release rename them, the
    // build fails here.
    adviseLargePages(parser.implementation->structural_indexes.get(), size * sizeof(std::uint32_t));
    adviseLargePages(document.tape.get(), size * sizeof(std::uint64_t));
    adviseLargePages(document.string_buf.get(), size * 5 / 3);
    return simdjson::SUCCESS;
}

bool StrictJson::root(JsonValue& out) {
    simdjson::error_code code = allocate();
    if (code == simdjson::SUCCESS)
        code = parser.parse_into_document(document, text.data(), size_t(text.size()), !isInPlace)
                   .get(out);
    if (code == simdjson::TAPE_ERROR) {
        // The refused parse's buffers go before the text is parsed again.
        parser = simdjson::dom::parser();
        document = simdjson::dom::document();
        if (hasTextAfterValue(text))
            return fail(QStringLiteral("text after the value"));
    }
    if (code == simdjson::DEPTH_ERROR)
        return fail(QStringLiteral("nested too deeply"));
    if (!check(code))
        return false;
    if (!out.is_object() && !out.is_array())
        return fail(QStringLiteral("expected an object or an array"));
    return true;
}

qsizetype StrictJson::elementCount(JsonValue value) {
    simdjson::dom::array array;
    return value.get_array().get(array) == simdjson::SUCCESS ? qsizetype(array.size()) : 0;
}

bool StrictJson::readText(JsonValue value, QString& out) {
    std::string_view utf8;
    if (!readUtf8(value, utf8))
        return false;
    out = QString::fromUtf8(utf8.data(), qsizetype(utf8.size()));
    return true;
}

bool StrictJson::readSharedText(JsonValue value, QString& out) {
    std::string_view utf8;
    if (!readUtf8(value, utf8))
        return false;
    const SharedTextKey key{QByteArrayView(utf8.data(), qsizetype(utf8.size()))};
    auto shared = sharedTexts.constFind(key);
    if (shared == sharedTexts.cend())
        shared = sharedTexts.insert(key, QString::fromUtf8(key.utf8));
    out = *shared;
    return true;
}

size_t qHash(SharedTextKey key, size_t seed) noexcept {
    return textHash(key.utf8, seed);
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

bool StrictJson::fail(const QString& what) {
    if (!hasFailed())
        errorText = what;
    return false;
}

bool StrictJson::check(simdjson::error_code code) {
    return code == simdjson::SUCCESS ||
           fail(QString::fromUtf8(simdjson::error_message(code)).trimmed());
}

} // namespace zor
