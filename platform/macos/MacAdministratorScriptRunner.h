#pragma once

#include "platform/AdministratorScript.h"

namespace zor {

// Runs AppleScript source with NSAppleScript; "with administrator privileges"
// in the source makes the system ask for a password.
class MacAdministratorScriptRunner final : public AdministratorScriptRunner {
public:
    bool isSupported() const override { return true; }
    ScriptRunResult run(const QString& source) override;
};

} // namespace zor
