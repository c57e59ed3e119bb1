#include "setup/FilterConfiguration.h"

#include "setup/SetupLog.h"
#include "shared/Identifiers.h"

namespace zor {
namespace {

using MaybeError = std::optional<PlatformError>;

} // namespace

QCoro::Task<> enableFilterConfiguration(QObject* context, FilterManager& filter) {
    const Logger& log = setupLog();
    if (const MaybeError error = co_await loadFilterPreferences(context, filter)) {
        log.error("Failed to load filter preferences: %s", {error->localizedDescription});
        co_return;
    }
    if (!filter.providerConfiguration()) {
        filter.setProviderConfiguration({.filterSockets = true, .filterPackets = false});
        filter.setLocalizedDescription(QString::fromLatin1(kFilterDescription));
    }
    const bool wasEnabled = filter.isEnabled();
    if (wasEnabled) {
        log.info("Filter already enabled, cycling to force startFilter()");
        filter.setEnabled(false);
        if (const MaybeError error = co_await saveFilterPreferences(context, filter)) {
            log.error("Failed to disable filter for cycle: %s", {error->localizedDescription});
            co_return;
        }
    }
    filter.setEnabled(true);
    if (const MaybeError error = co_await saveFilterPreferences(context, filter)) {
        log.error("Failed to enable filter: %s", {error->localizedDescription});
        co_return;
    }
    log.info(wasEnabled ? "Network filter re-enabled successfully"
                        : "Network filter enabled successfully");
}

} // namespace zor
