#pragma once

#include "platform/PlatformError.h"

#include <functional>
#include <optional>

namespace zor {

struct FilterProviderConfiguration {
    bool filterSockets = false;
    bool filterPackets = false;
};

// The system's shared content-filter configuration.
class FilterManager {
public:
    using Completion = std::function<void(std::optional<PlatformError>)>;

    virtual ~FilterManager() = default;

    // False where the system has no content filter: loading and saving then
    // report "not supported on this platform".
    virtual bool isSupported() const = 0;

    // `completion` may run on any thread.
    virtual void loadFromPreferences(Completion completion) = 0;
    virtual void saveToPreferences(Completion completion) = 0;

    virtual std::optional<FilterProviderConfiguration> providerConfiguration() const = 0;
    virtual void setProviderConfiguration(const FilterProviderConfiguration& configuration) = 0;
    virtual QString localizedDescription() const = 0;
    virtual void setLocalizedDescription(const QString& description) = 0;
    virtual bool isEnabled() const = 0;
    virtual void setEnabled(bool enabled) = 0;
};

} // namespace zor
