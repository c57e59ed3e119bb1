#include "platform/macos/MacFilterManager.h"

#include "platform/macos/SystemValues.h"

#import <NetworkExtension/NetworkExtension.h>

namespace zor {
namespace {

NEFilterManager* manager() {
    return [NEFilterManager sharedManager];
}

void (^completionBlock(FilterManager::Completion completion))(NSError* _Nullable) {
    return ^(NSError* _Nullable error) {
      if (!error) {
          completion(std::nullopt);
          return;
      }
      completion(
          errorFromSystem(QString::fromNSString(error.localizedDescription), long(error.code)));
    };
}

} // namespace

void MacFilterManager::loadFromPreferences(Completion completion) {
    [manager() loadFromPreferencesWithCompletionHandler:completionBlock(std::move(completion))];
}

void MacFilterManager::saveToPreferences(Completion completion) {
    [manager() saveToPreferencesWithCompletionHandler:completionBlock(std::move(completion))];
}

std::optional<FilterProviderConfiguration> MacFilterManager::providerConfiguration() const {
    NEFilterProviderConfiguration* configuration = manager().providerConfiguration;
    if (!configuration)
        return std::nullopt;
    return FilterProviderConfiguration{bool(configuration.filterSockets),
                                       bool(configuration.filterPackets)};
}

void MacFilterManager::setProviderConfiguration(const FilterProviderConfiguration& value) {
    NEFilterProviderConfiguration* configuration = [[NEFilterProviderConfiguration alloc] init];
    configuration.filterSockets = value.filterSockets;
    configuration.filterPackets = value.filterPackets;
    manager().providerConfiguration = configuration;
}

QString MacFilterManager::localizedDescription() const {
    return QString::fromNSString(manager().localizedDescription);
}

void MacFilterManager::setLocalizedDescription(const QString& description) {
    manager().localizedDescription = description.toNSString();
}

bool MacFilterManager::isEnabled() const {
    return manager().enabled;
}

void MacFilterManager::setEnabled(bool enabled) {
    manager().enabled = enabled;
}

} // namespace zor
