#pragma once

#include <QByteArray>
#include <QList>
#include <QMutex>
#include <QString>
#include <QVarLengthArray>
#include <cstdio>
#include <initializer_list>
#include <variant>

namespace zor {

// One logger per area of the app, all under the app's subsystem.
enum class LogCategory { app, notifications, promptStore, promptsView, setup };
enum class LogLevel { debug, info, error, fault };

QString logSubsystem();
QString categoryName(LogCategory category);
QString levelName(LogLevel level);

// An argument of a log line. Its privacy follows the placeholder it fills, as
// in the unified log: strings are private unless "%{public}s", numbers public.
// A QString is referred to, not copied: an argument lives for the call that
// it is an argument of, as does the string it was made from.
class LogArg {
public:
    LogArg(const QString& text)
        : value(&text) {}
    LogArg(const char* text)
        : value(QString::fromUtf8(text)) {}
    LogArg(int number)
        : value(qint64(number)) {}
    LogArg(long number)
        : value(qint64(number)) {}
    LogArg(long long number)
        : value(qint64(number)) {}
    LogArg(double number)
        : value(number) {}

    std::variant<const QString*, QString, qint64, double> value;
};

struct LogValue {
    QString text;
    bool isPublic = false;
    // The placeholder it fills, in the format.
    qsizetype placeholderStart = 0;
    qsizetype placeholderLength = 0;
};

// One log line as written: the format with its placeholders, and the values
// rendered by their placeholders.
struct LogRecord {
    LogCategory category = LogCategory::app;
    LogLevel level = LogLevel::info;
    QString format;
    QVarLengthArray<LogValue, 4> values; // held inline: a line has few

    // The line with every value in the clear.
    QString message() const;
    // The line as a reader without private access sees it.
    QString redactedMessage() const;
    // The line as a text log writes it: control characters, line separators
    // and backslashes in values escaped, so that data cannot end the line or
    // pass for a line of the app's own.
    QString escapedMessage() const;
};

class LogSink {
public:
    virtual ~LogSink() = default;
    // May be called from any thread.
    virtual void write(const LogRecord& record) = 0;
    // Writes out what the sink has gathered, if it gathers.
    virtual void flush() {}
};

// Writes each line as text to a stream and flushes it, so that no line is
// lost when the process ends: the app's log where there is no unified log.
// Lines that a LogGathering holds back are written together at its end.
class TextLogSink final : public LogSink {
public:
    explicit TextLogSink(std::FILE* stream);
    ~TextLogSink() override;
    void write(const LogRecord& record) override;
    void flush() override;

private:
    // With the mutex held.
    void writeGathered();

    std::FILE* stream;
    QMutex mutex;
    QByteArray gathered; // whole lines, UTF-8
};

// While one lives, the lines its thread writes are gathered and written
// together when the outermost ends: a sync's turn makes one write for its
// thousands of lines rather than one each. An error or fault line goes out at
// once, with the lines gathered before it, and so does a large gathering.
// Lines of other threads are not held back.
class LogGathering {
public:
    LogGathering();
    ~LogGathering();
    LogGathering(const LogGathering&) = delete;
    LogGathering& operator=(const LogGathering&) = delete;
};

// A value of a line in UTF-8, escaped as the text log escapes it: for a log
// that takes the values apart from their format, as the unified log does.
QByteArray escapedLogValue(QStringView value);

// Replaces where log lines go; nullptr restores a text log on standard error.
void setLogSink(LogSink* sink);

class Logger {
public:
    explicit Logger(LogCategory category)
        : category(category) {}

    void debug(const char* format, std::initializer_list<LogArg> args = {}) const;
    void info(const char* format, std::initializer_list<LogArg> args = {}) const;
    void error(const char* format, std::initializer_list<LogArg> args = {}) const;
    void fault(const char* format, std::initializer_list<LogArg> args = {}) const;

    void write(LogLevel level, const char* format, std::initializer_list<LogArg> args) const;

private:
    LogCategory category;
};

// The category's logger, created on first use.
const Logger& logger(LogCategory category);

} // namespace zor
