#pragma once

#include "platform/Log.h"

#include <QMutex>
#include <QStringList>

namespace zor::testing {

// Collects every log line written while it exists.
class LogCapture final : public LogSink {
public:
    LogCapture() { setLogSink(this); }
    ~LogCapture() override { setLogSink(nullptr); }

    void write(const LogRecord& record) override {
        QMutexLocker lock(&mutex);
        captured.append(record);
    }

    QList<LogRecord> records() const {
        QMutexLocker lock(&mutex);
        return captured;
    }

    // The messages, in the clear, optionally of one category only.
    QStringList messages(std::optional<LogCategory> category = std::nullopt) const {
        QStringList out;
        // A const list, which iterating does not copy again.
        const QList<LogRecord> all = records();
        for (const LogRecord& r : all)
            if (!category || r.category == *category)
                out.append(r.message());
        return out;
    }

    // Each line as "category level: message", in the clear: a sequence
    // compared whole shows where each line went and how loud it was.
    QStringList lines() const {
        QStringList out;
        const QList<LogRecord> all = records();
        for (const LogRecord& r : all)
            out.append(categoryName(r.category) + u' ' + levelName(r.level) + QStringLiteral(": ") +
                       r.message());
        return out;
    }

    bool contains(const QString& message) const { return messages().contains(message); }

    void clear() {
        QMutexLocker lock(&mutex);
        captured.clear();
    }

private:
    mutable QMutex mutex;
    QList<LogRecord> captured;
};

} // namespace zor::testing
