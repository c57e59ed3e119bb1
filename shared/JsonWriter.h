#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <string_view>

namespace zor {

// Compact JSON written straight into bytes, as the records' texts are: a list
// of ten thousand records is a few milliseconds here, where building it as
// QJsonObjects first took over a hundred. Members follow one another in the
// order they are written; the caller keeps keys and values in turn.
class JsonWriter {
public:
    explicit JsonWriter(QByteArray& out)
        : out(out) {}

    void beginObject();
    void endObject();
    void beginArray();
    void endArray();
    // A member's name: plain ASCII, as the formats' names are.
    void key(std::string_view name);

    void value(const QString& text);
    void value(const QStringList& texts);
    void value(bool flag);
    void value(qint64 number);
    // Non-finite numbers have no JSON form and are written as null.
    void value(double number);

    // A member: its name, then its value.
    template <typename Value> void member(std::string_view name, const Value& memberValue) {
        key(name);
        value(memberValue);
    }
    // A member that may be absent: none is written then.
    void member(std::string_view name, const std::optional<QString>& text);

private:
    // The comma before anything that follows a value.
    void separate();
    void open(char bracket);
    void close(char bracket);

    QByteArray& out;
    bool isAfterValue = false;
};

} // namespace zor
