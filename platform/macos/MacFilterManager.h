#pragma once

#include "platform/NetworkFilter.h"

namespace zor {

// The system's shared content-filter configuration, NEFilterManager's.
class MacFilterManager final : public FilterManager {
public:
    bool isSupported() const override { return true; }
    void loadFromPreferences(Completion completion) override;
    void saveToPreferences(Completion completion) override;
    std::optional<FilterProviderConfiguration> providerConfiguration() const override;
    void setProviderConfiguration(const FilterProviderConfiguration& configuration) override;
    QString localizedDescription() const override;
    void setLocalizedDescription(const QString& description) override;
    bool isEnabled() const override;
    void setEnabled(bool enabled) override;
};

} // namespace zor
