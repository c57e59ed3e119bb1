#pragma once

#include <QByteArray>

namespace zor::testing {

// For checks that end the process: the test function runs again in a child
// process of this test program, which does the fatal part while the parent
// reads the child's output.
struct ChildRun {
    bool hasCrashed = false;
    QByteArray output;
};

// True inside the child run of the current test function.
bool isChildRun();

// Runs the current test function (of a table, its current row) in a child
// process and waits for its end.
ChildRun runInChild();

} // namespace zor::testing
