#pragma once

#include <QByteArray>
#include <cstdio>
#include <cstdlib>

namespace zor::fuzz {

// A broken promise is a finding: libFuzzer saves the input that aborts.
inline void check(bool holds, const char* promise, const QByteArray& detail = {}) {
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n%s\n", promise, detail.constData());
    std::abort();
}

} // namespace zor::fuzz
