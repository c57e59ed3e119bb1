#pragma once

#include <QString>
#include <utility>
#include <variant>

namespace zor {

// The outcome of decoding data from another process: a value, or the reason
// there is none. Bad input from outside is an ordinary outcome, not an exception.
template <typename T> class Decoded {
public:
    Decoded(T value)
        : result(std::move(value)) {}

    static Decoded failure(QString error) { return Decoded(Error{std::move(error)}); }

    bool hasValue() const { return std::holds_alternative<T>(result); }
    explicit operator bool() const { return hasValue(); }

    // Only when hasValue(). Move the value out with std::move(decoded).value().
    const T& value() const& { return std::get<T>(result); }
    T&& value() && { return std::get<T>(std::move(result)); }

    // Empty when hasValue().
    QString error() const {
        const auto* failed = std::get_if<Error>(&result);
        return failed ? failed->text : QString();
    }

private:
    struct Error {
        QString text;
    };
    explicit Decoded(Error error)
        : result(std::move(error)) {}

    std::variant<T, Error> result;
};

} // namespace zor
