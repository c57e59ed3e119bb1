#include "platform/Log.h"

#include "shared/Identifiers.h"

#include <QMutex>
#include <algorithm>
#include <atomic>
#include <cstdio>

namespace zor {
namespace {

struct Placeholder {
    qsizetype start = 0;
    qsizetype length = 0;
    QStringView privacy;    // "public", "private" or empty
    QStringView printfSpec; // flags, width and precision, without length modifiers
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
            p.privacy = QStringView(format).mid(j + 1, close - j - 1);
            j = close + 1;
        }
        const qsizetype specStart = j;
        while (j < format.size() && QStringView(u"-+ #0123456789.").contains(format[j]))
            ++j;
        p.printfSpec = QStringView(format).mid(specStart, j - specStart);
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
    QString conversion(u'%');
    conversion += p.printfSpec;
    if (const auto* text = std::get_if<QString>(&arg.value)) {
        v.text = *text;
    } else if (const auto* integer = std::get_if<qint64>(&arg.value)) {
        if (p.conversion == u'f' || p.conversion == u'g' || p.conversion == u'e')
            v.text = QString::asprintf(qPrintable(conversion + p.conversion), double(*integer));
        else
            v.text = QString::asprintf(qPrintable(conversion + QStringLiteral("lld")),
                                       static_cast<long long>(*integer));
    } else {
        const double number = std::get<double>(arg.value);
        if (p.conversion == u'd' || p.conversion == u'i')
            v.text = QString::asprintf(qPrintable(conversion + QStringLiteral("lld")),
                                       static_cast<long long>(number));
        else if (isStringConversion(p.conversion))
            v.text = QString::number(number);
        else
            v.text = QString::asprintf(qPrintable(conversion + p.conversion), number);
    }
    return v;
}

// A literal stretch of the format, with "%%" standing for "%".
void appendLiteral(QString& out, QStringView literal) {
    for (qsizetype i = 0; i < literal.size(); ++i) {
        out += literal[i];
        if (literal[i] == u'%' && i + 1 < literal.size() && literal[i + 1] == u'%')
            ++i;
    }
}

bool needsEscape(char16_t c) {
    return c == u'\\' || c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x2028 || c == 0x2029;
}

// Escapes what could end a line or pass for one of the app's own: control
// characters, line separators and the backslash that introduces the escapes.
QString escapedValue(const QString& text) {
    if (std::none_of(text.cbegin(), text.cend(), [](QChar c) { return needsEscape(c.unicode()); }))
        return text;
    QString out;
    out.reserve(text.size() + 8);
    for (const QChar c : text) {
        switch (c.unicode()) {
        case u'\\':
            out += QStringLiteral("\\\\");
            break;
        case u'\n':
            out += QStringLiteral("\\n");
            break;
        case u'\r':
            out += QStringLiteral("\\r");
            break;
        case u'\t':
            out += QStringLiteral("\\t");
            break;
        default:
            if (needsEscape(c.unicode()))
                out += QStringLiteral("\\u{%1}").arg(int(c.unicode()), 4, 16, QChar(u'0'));
            else
                out += c;
        }
    }
    return out;
}

enum class ValueForm { clear, redacted, escaped };

// Fills the values in once: the text of a value is never read as format.
QString assemble(const LogRecord& record, ValueForm form) {
    QString out;
    qsizetype length = record.format.size();
    for (const LogValue& value : record.values)
        length += value.text.size();
    out.reserve(length + 16);
    qsizetype pos = 0;
    qsizetype index = 0;
    Placeholder p;
    while (nextPlaceholder(record.format, pos, p)) {
        appendLiteral(out, QStringView(record.format).mid(pos, p.start - pos));
        if (index < record.values.size()) {
            const LogValue& value = record.values[index];
            switch (form) {
            case ValueForm::clear:
                out += value.text;
                break;
            case ValueForm::redacted:
                out += value.isPublic ? value.text : QStringLiteral("<private>");
                break;
            case ValueForm::escaped:
                out += escapedValue(value.text);
                break;
            }
        }
        ++index;
        pos = p.start + p.length;
    }
    appendLiteral(out, QStringView(record.format).mid(pos));
    return out;
}

TextLogSink& standardErrorSink() {
    static TextLogSink sink(stderr);
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
    return assemble(*this, ValueForm::clear);
}

QString LogRecord::redactedMessage() const {
    return assemble(*this, ValueForm::redacted);
}

QString LogRecord::escapedMessage() const {
    return assemble(*this, ValueForm::escaped);
}

TextLogSink::TextLogSink(std::FILE* stream)
    : stream(stream) {}

void TextLogSink::write(const LogRecord& record) {
    // "[subsystem:category] level: message", put together by hand: this runs
    // once per line, thousands of times in a sync.
    static const QString subsystem = logSubsystem();
    const QString message = record.escapedMessage();
    QString text;
    text.reserve(subsystem.size() + message.size() + 32);
    text += u'[';
    text += subsystem;
    text += u':';
    text += categoryName(record.category);
    text += u"] ";
    text += levelName(record.level);
    text += u": ";
    text += message;
    text += u'\n';
    const QByteArray line = text.toUtf8();
    QMutexLocker lock(&mutex);
    std::fputs(line.constData(), stream);
    std::fflush(stream);
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
