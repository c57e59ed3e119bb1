#pragma once

#include <QString>

namespace zor {

// Plain lines on standard output, and the end of the process.
class Console {
public:
    virtual ~Console() = default;
    virtual void printLine(const QString& line) = 0;
    // Ends the process with `status`; a fake records it instead.
    virtual void exit(int status) = 0;
};

} // namespace zor
