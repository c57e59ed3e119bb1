#include "platform/Log.h"

#include "shared/Identifiers.h"

#include <QMutex>
#include <atomic>
#include <cstdio>

namespace zor {
namespace {

struct Placeholder {
    qsizetype start = 0;
    qsizetype length = 0;
    QString privacy;    // "public", "private" or empty
    QString printfSpec; // flags, width and precision, without length modifiers
    QChar conversion;
};

// Finds the next placeholder at or after `from`; skips "%%".
bool nextPlaceholder(const QString& format, qsizetype from, Placeholder& out) {
    for (qsizetype i = from; i < format.size(); ++i) {
        if (format[i] != u'%')
            continue;
        if (i + 1 < format.size() && format[i + 1] == u'%') {
            ++i;
            continue;
        }
        qsizetype j = i + 1;
        Placeholder p;
        p.start = i;
        if (j < format.size() && format[j] == u'{') {
            const qsizetype close = format.indexOf(u'}', j);
            if (close < 0)
                return false;
            p.privacy = format.mid(j + 1, close - j - 1);
            j = close + 1;
        }
        while (j < format.size() && QStringView(u"-+ #0123456789.").contains(format[j]))
            p.printfSpec += format[j++];
        while (j < format.size() && QStringView(u"hlLqjzt").contains(format[j]))
            ++j;
        if (j >= format.size())
            return false;
        p.conversion = format[j];
        p.length = j + 1 - i;
        out = p;
        return true;
    }
    return false;
}

bool isStringConversion(QChar c) {
    return c == u's' || c == u'@';
}

LogValue render(const Placeholder& p, const LogArg& arg) {
    LogValue v;
    v.isPublic =
        p.privacy == u"public" || (p.privacy.isEmpty() && !isStringConversion(p.conversion));
    const QString spec = u'%' + p.printfSpec;
    if (const auto* text = std::get_if<QString>(&arg.value)) {
        v.text = *text;
    } else if (const auto* integer = std::get_if<qint64>(&arg.value)) {
        if (p.conversion == u'f' || p.conversion == u'g' || p.conversion == u'e')
            v.text = QString::asprintf(qPrintable(spec + p.conversion), double(*integer));
        else
            v.text = QString::asprintf(qPrintable(spec + QStringLiteral("lld")),
                                       static_cast<long long>(*integer));
    } else {
        const double number = std::get<double>(arg.value);
        if (p.conversion == u'd' || p.conversion == u'i')
            v.text = QString::asprintf(qPrintable(spec + QStringLiteral("lld")),
                                       static_cast<long long>(number));
        else if (isStringConversion(p.conversion))
            v.text = QString::number(number);
        else
            v.text = QString::asprintf(qPrintable(spec + p.conversion), number);
    }
    return v;
}

QString assemble(const LogRecord& record, bool redact) {
    QString out;
    qsizetype pos = 0;
    qsizetype index = 0;
    Placeholder p;
    while (nextPlaceholder(record.format, pos, p)) {
        out += QStringView(record.format).mid(pos, p.start - pos);
        if (index < record.values.size()) {
            const LogValue& value = record.values[index];
            out += (redact && !value.isPublic) ? QStringLiteral("<private>") : value.text;
        }
        ++index;
        pos = p.start + p.length;
    }
    out += QStringView(record.format).mid(pos);
    out.replace(QStringLiteral("%%"), QStringLiteral("%"));
    return out;
}

class StandardErrorSink final : public LogSink {
public:
    void write(const LogRecord& record) override {
        const QByteArray line = QStringLiteral("[%1:%2] %3: %4\n")
                                    .arg(logSubsystem(), categoryName(record.category),
                                         levelName(record.level), record.message())
                                    .toUtf8();
        QMutexLocker lock(&mutex);
        std::fputs(line.constData(), stderr);
        std::fflush(stderr);
    }

private:
    QMutex mutex;
};

StandardErrorSink& standardErrorSink() {
    static StandardErrorSink sink;
    return sink;
}

std::atomic<LogSink*> currentSink{nullptr};

} // namespace

QString logSubsystem() {
    return QString::fromLatin1(kAppSubsystem);
}

QString categoryName(LogCategory category) {
    switch (category) {
    case LogCategory::app:
        return QStringLiteral("app");
    case LogCategory::notifications:
        return QStringLiteral("notifications");
    case LogCategory::promptStore:
        return QStringLiteral("prompt-store");
    case LogCategory::promptsView:
        return QStringLiteral("prompts-view");
    case LogCategory::setup:
        return QStringLiteral("setup");
    }
    return {};
}

QString levelName(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return QStringLiteral("debug");
    case LogLevel::info:
        return QStringLiteral("info");
    case LogLevel::error:
        return QStringLiteral("error");
    case LogLevel::fault:
        return QStringLiteral("fault");
    }
    return {};
}

QString LogRecord::message() const {
    return assemble(*this, false);
}

QString LogRecord::redactedMessage() const {
    return assemble(*this, true);
}

void setLogSink(LogSink* sink) {
    currentSink.store(sink);
}

void Logger::write(LogLevel level, const char* format, std::initializer_list<LogArg> args) const {
    LogRecord record;
    record.category = category;
    record.level = level;
    record.format = QString::fromUtf8(format);
    qsizetype pos = 0;
    Placeholder p;
    auto arg = args.begin();
    while (arg != args.end() && nextPlaceholder(record.format, pos, p)) {
        record.values.append(render(p, *arg++));
        pos = p.start + p.length;
    }
    LogSink* sink = currentSink.load();
    (sink ? *sink : standardErrorSink()).write(record);
}

void Logger::debug(const char* format, std::initializer_list<LogArg> args) const {
    write(LogLevel::debug, format, args);
}
void Logger::info(const char* format, std::initializer_list<LogArg> args) const {
    write(LogLevel::info, format, args);
}
void Logger::error(const char* format, std::initializer_list<LogArg> args) const {
    write(LogLevel::error, format, args);
}
void Logger::fault(const char* format, std::initializer_list<LogArg> args) const {
    write(LogLevel::fault, format, args);
}

const Logger& logger(LogCategory category) {
    // Function-local statics: each logger exists from its first use on.
    switch (category) {
    case LogCategory::app: {
        static const Logger app(LogCategory::app);
        return app;
    }
    case LogCategory::notifications: {
        static const Logger notifications(LogCategory::notifications);
        return notifications;
    }
    case LogCategory::promptStore: {
        static const Logger promptStore(LogCategory::promptStore);
        return promptStore;
    }
    case LogCategory::promptsView: {
        static const Logger promptsView(LogCategory::promptsView);
        return promptsView;
    }
    case LogCategory::setup:
        break;
    }
    static const Logger setup(LogCategory::setup);
    return setup;
}

} // namespace zor
