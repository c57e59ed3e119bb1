#include "platform/macos/OsLogSink.h"

#include "platform/macos/LogFormats.h"
#include "shared/Identifiers.h"

#include <QByteArrayList>
#include <QHash>
#include <os/log.h>

namespace zor {
namespace {

// Created on first use, like each category's logger.
os_log_t categoryLog(LogCategory category) {
    switch (category) {
    case LogCategory::app: {
        static os_log_t app = os_log_create(kAppSubsystem, "app");
        return app;
    }
    case LogCategory::notifications: {
        static os_log_t notifications = os_log_create(kAppSubsystem, "notifications");
        return notifications;
    }
    case LogCategory::promptStore: {
        static os_log_t promptStore = os_log_create(kAppSubsystem, "prompt-store");
        return promptStore;
    }
    case LogCategory::promptsView: {
        static os_log_t promptsView = os_log_create(kAppSubsystem, "prompts-view");
        return promptsView;
    }
    case LogCategory::setup:
        break;
    }
    static os_log_t setup = os_log_create(kAppSubsystem, "setup");
    return setup;
}

os_log_type_t logType(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return OS_LOG_TYPE_DEBUG;
    case LogLevel::info:
        return OS_LOG_TYPE_INFO;
    case LogLevel::error:
        return OS_LOG_TYPE_ERROR;
    case LogLevel::fault:
        break;
    }
    return OS_LOG_TYPE_FAULT;
}

// One line's literal format and the call of os_log that uses it. The values
// arrive rendered as text and go back to the types their placeholders take.
struct LogLine {
    const char* format;
    qsizetype argumentCount;
    void (*send)(os_log_t log, os_log_type_t type, const QByteArrayList& values);
};

#define ZOR_ARG_STR(i) values[i].constData()
#define ZOR_ARG_INT(i) values[i].toInt()
#define ZOR_ARG_LONG(i) values[i].toLong()
#define ZOR_ARG_DOUBLE(i) values[i].toDouble()

#define ZOR_LOG_LINE_0(format)                                                                     \
    {format, 0, [](os_log_t log, os_log_type_t type, const QByteArrayList&) {                      \
         os_log_with_type(log, type, format);                                                      \
     }},
#define ZOR_LOG_LINE_1(format, a)                                                                  \
    {format, 1, [](os_log_t log, os_log_type_t type, const QByteArrayList& values) {               \
         os_log_with_type(log, type, format, ZOR_ARG_##a(0));                                      \
     }},
#define ZOR_LOG_LINE_2(format, a, b)                                                               \
    {format, 2, [](os_log_t log, os_log_type_t type, const QByteArrayList& values) {               \
         os_log_with_type(log, type, format, ZOR_ARG_##a(0), ZOR_ARG_##b(1));                      \
     }},
#define ZOR_LOG_LINE_3(format, a, b, c)                                                            \
    {format, 3, [](os_log_t log, os_log_type_t type, const QByteArrayList& values) {               \
         os_log_with_type(log, type, format, ZOR_ARG_##a(0), ZOR_ARG_##b(1), ZOR_ARG_##c(2));      \
     }},

const LogLine kLogLines[] = {
    ZOR_LOG_FORMATS(ZOR_LOG_LINE_0, ZOR_LOG_LINE_1, ZOR_LOG_LINE_2, ZOR_LOG_LINE_3)};

const LogLine* logLine(const QString& format) {
    static const QHash<QString, const LogLine*> byFormat = [] {
        QHash<QString, const LogLine*> lines;
        for (const LogLine& line : kLogLines)
            lines.insert(QString::fromUtf8(line.format), &line);
        return lines;
    }();
    return byFormat.value(format);
}

} // namespace

void OsLogSink::write(const LogRecord& record) {
    const os_log_t log = categoryLog(record.category);
    const os_log_type_t type = logType(record.level);
    // Escaped as in the text log: a value from the agent cannot pass for a
    // line of its own in `log show`.
    QByteArrayList values;
    for (const LogValue& value : record.values)
        values.append(escapedLogValue(value.text));
    const LogLine* line = logLine(record.format);
    if (line && line->argumentCount == values.size()) {
        line->send(log, type, values);
        return;
    }
    // A line without its own literal must still not leak what it marks private,
    // nor let a value pass for a line of its own.
    os_log_with_type(log, type, "%{public}s",
                     escapedLogValue(record.redactedMessage()).constData());
}

} // namespace zor
