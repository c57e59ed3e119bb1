#pragma once

#include "platform/NetworkFilter.h"
#include "setup/CompletionAwaiter.h"

#include <QCoroTask>

namespace zor {

// Awaitable loading of the filter's preferences: nothing, or the error.
inline auto loadFilterPreferences(QObject* context, FilterManager& filter) {
    return awaitCompletion<std::optional<PlatformError>>(
        context, [&filter](auto done) { filter.loadFromPreferences(std::move(done)); });
}

// Awaitable saving of the filter's preferences: nothing, or the error.
inline auto saveFilterPreferences(QObject* context, FilterManager& filter) {
    return awaitCompletion<std::optional<PlatformError>>(
        context, [&filter](auto done) { filter.saveToPreferences(std::move(done)); });
}

// Turns the network content filter on, creating its configuration when there
// is none. An already enabled filter is switched off and on again so that the
// system starts the filter provider anew. Ends once the last save completed or
// an error was logged; the flow is dropped if `context` is destroyed meanwhile.
QCoro::Task<> enableFilterConfiguration(QObject* context, FilterManager& filter);

} // namespace zor
