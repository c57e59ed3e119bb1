#pragma once

#include "platform/Log.h"

namespace zor {

// Writes log lines to the unified log, under the app's subsystem with one log
// object per category. Each line keeps its literal format, so the log redacts
// what the format leaves private; its values are escaped as the text log's.
class OsLogSink final : public LogSink {
public:
    void write(const LogRecord& record) override;
};

} // namespace zor
