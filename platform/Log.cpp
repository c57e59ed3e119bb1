#include "platform/Log.h"

#include "shared/Identifiers.h"

#include <QHash>
#include <QMutex>
#include <QStringEncoder>
#include <QVarLengthArray>
#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

namespace zor {
namespace {

bool isStringConversion(QChar c) {
    return c == u's' || c == u'@';
}

struct Placeholder {
    qsizetype start = 0;
    qsizetype length = 0;
    QStringView privacy;    // "public", "private" or empty
    bool isPublic = false;  // marked so, or a number left unmarked
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
        p.isPublic =
            p.privacy == u"public" || (p.privacy.isEmpty() && !isStringConversion(p.conversion));
        out = p;
        return true;
    }
    return false;
}

// A format as read once: the lines of one call site share its text and the
// places of its placeholders instead of reading it each time.
struct ParsedFormat {
    QByteArray source; // tells a pointer used again for another text
    QString text;
    QList<Placeholder> placeholders; // pointing into `text`
};

ParsedFormat parseFormat(const char* format) {
    ParsedFormat parsed;
    parsed.source = QByteArray(format);
    parsed.text = QString::fromUtf8(parsed.source);
    Placeholder p;
    for (qsizetype pos = 0; nextPlaceholder(parsed.text, pos, p); pos = p.start + p.length)
        parsed.placeholders.append(p);
    return parsed;
}

// The format as read when its call site first wrote a line, or none where
// it is not held: formats are literals, a few dozen, and those made up at run
// time are read each time once the cache is full rather than fill it without
// end. So is a text written where another's pointer pointed before. Entries
// are never freed, as lines may still be written while the process ends, from
// any thread: a line reads its entry without a copy and without the lock.
const ParsedFormat* sharedCachedFormat(const char* format) {
    constexpr qsizetype kCached = 256;
    static QBasicMutex mutex;
    static auto* const cache = new QHash<const char*, const ParsedFormat*>;
    const QMutexLocker lock(&mutex);
    if (const auto held = cache->constFind(format); held != cache->cend())
        return std::strcmp((*held)->source.constData(), format) == 0 ? *held : nullptr;
    if (cache->size() >= kCached)
        return nullptr;
    const auto* parsed = new ParsedFormat(parseFormat(format));
    cache->insert(format, parsed);
    return parsed;
}

// The same, first among the formats this thread wrote with last, without the
// lock: taking it was a fair part of a line, and a sync writes thousands.
const ParsedFormat* cachedFormat(const char* format) {
    struct Recent {
        const char* format = nullptr;
        const ParsedFormat* parsed = nullptr;
    };
    thread_local std::array<Recent, 16> recent;
    Recent& slot = recent[quintptr(format) % recent.size()];
    if (slot.format == format && std::strcmp(slot.parsed->source.constData(), format) == 0)
        return slot.parsed;
    const ParsedFormat* parsed = sharedCachedFormat(format);
    if (parsed)
        slot = Recent{format, parsed};
    return parsed;
}

LogValue render(const Placeholder& p, const LogArg& arg) {
    LogValue v;
    v.isPublic = p.isPublic;
    v.placeholderStart = p.start;
    v.placeholderLength = p.length;
    if (const auto* text = std::get_if<const QString*>(&arg.value)) {
        v.text = **text;
        return v;
    }
    if (const auto* text = std::get_if<QString>(&arg.value)) {
        v.text = *text;
        return v;
    }
    const bool isDecimal = p.conversion == u'd' || p.conversion == u'i';
    if (const auto* integer = std::get_if<qint64>(&arg.value);
        integer && isDecimal && p.printfSpec.isEmpty()) {
        // The common case, without building a format for printf.
        v.text = QString::number(*integer);
        return v;
    }
    QString conversion(u'%');
    conversion += p.printfSpec;
    if (const auto* integer = std::get_if<qint64>(&arg.value)) {
        if (p.conversion == u'f' || p.conversion == u'g' || p.conversion == u'e')
            v.text = QString::asprintf(qPrintable(conversion + p.conversion), double(*integer));
        else
            v.text = QString::asprintf(qPrintable(conversion + QStringLiteral("lld")),
                                       static_cast<long long>(*integer));
    } else {
        const double number = std::get<double>(arg.value);
        if (isDecimal)
            v.text = QString::asprintf(qPrintable(conversion + QStringLiteral("lld")),
                                       static_cast<long long>(number));
        else if (isStringConversion(p.conversion))
            v.text = QString::number(number);
        else
            v.text = QString::asprintf(qPrintable(conversion + p.conversion), number);
    }
    return v;
}

// Where a line is put together: a string, or the text log's buffer, into
// which it goes as UTF-8 with no string in between.
void appendTo(QString& out, QStringView piece) {
    out.append(piece);
}

// Writes into room made beforehand: at most 3 bytes for each UTF-16 unit.
struct Utf8Cursor {
    char* at;
};

void appendTo(Utf8Cursor& out, QStringView piece) {
    // ASCII as it is, byte by byte; from the first other character on, Qt's
    // encoder, stateless so that nothing is held back past the piece.
    qsizetype i = 0;
    for (; i < piece.size() && piece[i].unicode() < 0x80; ++i)
        *out.at++ = char(piece[i].unicode());
    if (i < piece.size()) {
        QStringEncoder encoder(QStringEncoder::Utf8, QStringConverter::Flag::Stateless);
        out.at = encoder.appendToBuffer(out.at, piece.sliced(i));
    }
}

// A literal stretch of the format, with "%%" standing for "%".
template <typename Out> void appendLiteral(Out& out, QStringView literal) {
    qsizetype plain = 0; // where the stretch not yet written starts
    for (qsizetype i = 0; i + 1 < literal.size(); ++i)
        if (literal[i] == u'%' && literal[i + 1] == u'%') {
            appendTo(out, literal.sliced(plain, i + 1 - plain));
            plain = ++i + 1;
        }
    appendTo(out, literal.sliced(plain));
}

// Printable ASCII but the backslash: written as it is. Without a branch, so
// that a loop over a text's characters vectorises.
bool isPlain(char16_t c) {
    return (char16_t(c - 0x20) < 0x5f) & (c != u'\\');
}

// The characters that reorder the text around them: a value holding one
// could turn the rest of its line around.
bool isBidiControl(char16_t c) {
    return c == 0x061c || c == 0x200e || c == 0x200f || (c >= 0x202a && c <= 0x202e) ||
           (c >= 0x2066 && c <= 0x2069);
}

bool needsEscape(char16_t c) {
    if (c >= 0x20 && c < 0x7f)
        return c == u'\\';
    return c < 0xa0 || c == 0x2028 || c == 0x2029 || isBidiControl(c);
}

// At most this many characters stand for one escaped character: "\u{xxxx}".
constexpr qsizetype kLongestEscape = 8;

// The escape that stands for `c`, which needsEscape().
void appendEscape(Utf8Cursor& out, char16_t c) {
    switch (c) {
    case u'\\':
        appendTo(out, u"\\\\");
        break;
    case u'\n':
        appendTo(out, u"\\n");
        break;
    case u'\r':
        appendTo(out, u"\\r");
        break;
    case u'\t':
        appendTo(out, u"\\t");
        break;
    default:
        appendTo(out, QStringLiteral("\\u{%1}").arg(int(c), 4, 16, QChar(u'0')));
    }
}

// Escapes what could end a line, reorder it or pass for one of the app's own:
// control characters, line separators, bidi controls and the backslash that
// introduces the escapes.
// A text of printable ASCII alone, as most values are, is checked and copied
// in two passes without a branch per character, which the compiler
// vectorises. Any other in one pass: printable ASCII is written as it is met,
// other characters in runs through the encoder.
void appendEscaped(Utf8Cursor& out, QStringView text) {
    const char16_t* c = text.utf16();
    const char16_t* const end = c + text.size();
    unsigned isAnyOther = 0;
    for (const char16_t* at = c; at != end; ++at)
        isAnyOther |= unsigned(!isPlain(*at));
    if (!isAnyOther) {
        char* const to = out.at;
        for (qsizetype i = 0; i < text.size(); ++i)
            to[i] = char(c[i]);
        out.at += text.size();
        return;
    }
    while (c != end) {
        if (isPlain(*c)) {
            *out.at++ = char(*c++);
            continue;
        }
        const char16_t* run = c;
        while (run != end && *run >= 0x80 && !needsEscape(*run))
            ++run;
        if (run != c) {
            appendTo(out, QStringView(c, run));
            c = run;
        } else {
            appendEscape(out, *c++);
        }
    }
}

// Appends the line: the format's text with each value in its placeholder's
// place, filled in once by `appendValue`, so that the text of a value is never
// read as format. A placeholder left without a value stays empty.
template <typename Out, typename AppendValue>
void assemble(const LogRecord& record, Out& out, AppendValue appendValue) {
    const QStringView format(record.format);
    qsizetype pos = 0;
    for (const LogValue& value : record.values) {
        appendLiteral(out, format.mid(pos, value.placeholderStart - pos));
        appendValue(out, value);
        pos = value.placeholderStart + value.placeholderLength;
    }
    Placeholder p;
    while (nextPlaceholder(record.format, pos, p)) {
        appendLiteral(out, format.mid(pos, p.start - pos));
        pos = p.start + p.length;
    }
    appendLiteral(out, format.mid(pos));
}

template <typename AppendValue> QString assemble(const LogRecord& record, AppendValue appendValue) {
    QString out;
    qsizetype length = record.format.size();
    for (const LogValue& value : record.values)
        length += value.text.size();
    out.reserve(length + 16);
    assemble(record, out, appendValue);
    return out;
}

// The most room the line may take as a text log writes it, values escaped, in
// UTF-8: 3 bytes for each unit of the format, as many as an escape for each of
// a value's.
qsizetype escapedLineRoom(const LogRecord& record) {
    qsizetype room = 3 * record.format.size();
    for (const LogValue& value : record.values)
        room += kLongestEscape * value.text.size();
    return room;
}

// Writes the line so, into room made for it.
void writeEscapedLine(const LogRecord& record, Utf8Cursor& out) {
    assemble(record, out,
             [](Utf8Cursor& to, const LogValue& value) { appendEscaped(to, value.text); });
}

TextLogSink& standardErrorSink() {
    static TextLogSink sink(stderr);
    return sink;
}

std::atomic<LogSink*> currentSink{nullptr};

LogSink& activeSink() {
    LogSink* sink = currentSink.load();
    return sink ? *sink : standardErrorSink();
}

// Of the LogGatherings alive on this thread.
thread_local int gatheringDepth = 0;

// A gathering is written out at this size, whatever else it waits for.
constexpr qsizetype kGatheredLimit = 64 * 1024;

// "[subsystem:category] level: " in UTF-8, for each category and level;
// never freed, like the format cache.
const QByteArray& linePrefix(LogCategory category, LogLevel level) {
    static const auto* const prefixes = [] {
        constexpr int kCategories = int(LogCategory::setup) + 1;
        constexpr int kLevels = int(LogLevel::fault) + 1;
        auto* table = new std::array<std::array<QByteArray, kLevels>, kCategories>;
        for (int c = 0; c < kCategories; ++c)
            for (int l = 0; l < kLevels; ++l) {
                QString prefix = QStringLiteral("[");
                prefix += logSubsystem();
                prefix += u':';
                prefix += categoryName(LogCategory(c));
                prefix += QStringLiteral("] ");
                prefix += levelName(LogLevel(l));
                prefix += QStringLiteral(": ");
                (*table)[std::size_t(c)][std::size_t(l)] = prefix.toUtf8();
            }
        return table;
    }();
    return (*prefixes)[std::size_t(category)][std::size_t(level)];
}

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
    return assemble(*this, [](QString& out, const LogValue& value) { out += value.text; });
}

QString LogRecord::redactedMessage() const {
    return assemble(*this, [](QString& out, const LogValue& value) {
        out += value.isPublic ? QStringView(value.text) : QStringView(u"<private>");
    });
}

QString LogRecord::escapedMessage() const {
    QByteArray line(escapedLineRoom(*this), Qt::Uninitialized);
    Utf8Cursor cursor{line.data()};
    writeEscapedLine(*this, cursor);
    return QString::fromUtf8(line.constData(), cursor.at - line.constData());
}

QByteArray escapedLogValue(QStringView value) {
    // Most values have nothing to escape: converted as they are, with no room
    // made for escapes.
    if (std::none_of(value.begin(), value.end(), [](QChar c) { return needsEscape(c.unicode()); }))
        return value.toUtf8();
    QByteArray escaped(kLongestEscape * value.size(), Qt::Uninitialized);
    Utf8Cursor cursor{escaped.data()};
    appendEscaped(cursor, value);
    escaped.truncate(cursor.at - escaped.constData());
    return escaped;
}

TextLogSink::TextLogSink(std::FILE* stream)
    : stream(stream) {}

TextLogSink::~TextLogSink() {
    flush();
}

void TextLogSink::write(const LogRecord& record) {
    // "[subsystem:category] level: message", put together in the buffer kept
    // for the next line: this runs once per line, thousands of times in a sync.
    QMutexLocker lock(&mutex);
    const QByteArray& prefix = linePrefix(record.category, record.level);
    const qsizetype start = gathered.size();
    gathered.resize(start + prefix.size() + escapedLineRoom(record) + 1);
    char* const line = gathered.data() + start;
    std::memcpy(line, prefix.constData(), std::size_t(prefix.size()));
    Utf8Cursor cursor{line + prefix.size()};
    writeEscapedLine(record, cursor);
    *cursor.at++ = '\n';
    gathered.truncate(cursor.at - gathered.constData());
    if (gatheringDepth == 0 || record.level == LogLevel::error || record.level == LogLevel::fault ||
        gathered.size() >= kGatheredLimit)
        writeGathered();
}

void TextLogSink::flush() {
    QMutexLocker lock(&mutex);
    writeGathered();
}

void TextLogSink::writeGathered() {
    if (gathered.isEmpty())
        return;
    std::fwrite(gathered.constData(), 1, std::size_t(gathered.size()), stream);
    std::fflush(stream);
    gathered.truncate(0); // keeps the capacity for the next lines
}

LogGathering::LogGathering() {
    ++gatheringDepth;
}

LogGathering::~LogGathering() {
    if (--gatheringDepth == 0)
        activeSink().flush();
}

void setLogSink(LogSink* sink) {
    // What the old sink gathered goes out before it may go away.
    activeSink().flush();
    currentSink.store(sink);
}

void Logger::write(LogLevel level, const char* format, std::initializer_list<LogArg> args) const {
    const ParsedFormat* const cached = cachedFormat(format);
    const ParsedFormat uncached = cached ? ParsedFormat{} : parseFormat(format);
    const ParsedFormat& parsed = cached ? *cached : uncached;
    LogRecord record;
    record.category = category;
    record.level = level;
    // A held format's text outlives every record, so a record shares it
    // without counting a reference.
    record.format =
        cached ? QString::fromRawData(parsed.text.constData(), parsed.text.size()) : parsed.text;
    const qsizetype count = std::min(qsizetype(args.size()), parsed.placeholders.size());
    record.values.reserve(count);
    for (qsizetype i = 0; i < count; ++i)
        record.values.append(render(parsed.placeholders[i], args.begin()[i]));
    activeSink().write(record);
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
