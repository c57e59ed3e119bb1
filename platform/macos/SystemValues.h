#pragma once

// The macOS frameworks' raw values, mapped to the platform interfaces' values.
// Plain C++, so the tables are tested everywhere.

#include "platform/PlatformError.h"
#include "platform/ServiceManagement.h"
#include "platform/SystemExtensions.h"

namespace zor {

// SMAppServiceStatus. A value this build does not know counts as not found, so
// a flow that must start clean unregisters before registering.
ServiceStatus serviceStatusFromSystem(long status);

// OSSystemExtensionRequestResult; values this build does not know pass through.
RequestResult requestResultFromSystem(long result);

// OSSystemExtensionReplacementAction.
long replacementActionToSystem(ReplacementAction action);

// An NSError's description and code. A failure that came without a description
// still reads as an error.
PlatformError errorFromSystem(const QString& localizedDescription, long code);

} // namespace zor
