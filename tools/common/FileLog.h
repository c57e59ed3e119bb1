#pragma once

#include "platform/Log.h"

#include <cstdio>

namespace zor::tools {

// The app's own text log, as it writes to standard error, into a temporary
// file: the benchmarks time the lines the app writes, on the real sink.
class FileLog {
public:
    FileLog()
        : file(std::tmpfile())
        , sink(file) {
        setLogSink(&sink);
    }
    ~FileLog() {
        // Restoring the default sink writes out what this one gathered.
        setLogSink(nullptr);
        std::fclose(file);
    }
    FileLog(const FileLog&) = delete;
    FileLog& operator=(const FileLog&) = delete;

private:
    std::FILE* file;
    TextLogSink sink;
};

} // namespace zor::tools
