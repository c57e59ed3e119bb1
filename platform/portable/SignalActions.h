#pragma once

#include <csignal>

namespace zor {

// The process's action for `signal`: `handler`, with interrupted calls
// restarted, plus `flags`.
inline void setSignalAction(int signal, void (*handler)(int), int flags = 0) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART | flags;
    ::sigaction(signal, &action, nullptr);
}

// Whether the process was started to ignore `signal`, as `nohup` does.
inline bool isSignalIgnored(int signal) {
    struct sigaction current {};
    return ::sigaction(signal, nullptr, &current) == 0 && current.sa_handler == SIG_IGN;
}

} // namespace zor
