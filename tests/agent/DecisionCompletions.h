#pragma once

#include "agent/NotificationHandler.h"
#include "platform/MainThread.h"

#include <QStringList>

namespace zor::testing {

// What a decision's completions were called with, and whether always on the
// main thread.
struct DecisionCompletions {
    QStringList answers;
    bool isAlwaysOnMainThread = true;

    NotificationHandler::DecisionCompletion recorder() {
        return [this](bool success, std::optional<QString> error) {
            isAlwaysOnMainThread = isAlwaysOnMainThread && isMainThread();
            answers.append(
                QStringLiteral("%1 %2").arg(success ? "true" : "false", error.value_or("(none)")));
        };
    }
};

} // namespace zor::testing
