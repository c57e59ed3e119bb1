#pragma once

#include <QString>
#include <optional>

namespace zor {

// Outcome of a script run with the system's script runner.
struct ScriptRunResult {
    bool wasCreated = true;              // false when the script could not be compiled
    bool hasErrorInfo = false;           // the run returned an error dictionary
    std::optional<QString> errorMessage; // its message entry, when it is text
};

// Runs script source that asks for administrator privileges; blocks while the
// system's password dialog is up.
class AdministratorScriptRunner {
public:
    virtual ~AdministratorScriptRunner() = default;
    // False where the system has no such runner: a run then reports "not
    // supported on this platform".
    virtual bool isSupported() const = 0;
    virtual ScriptRunResult run(const QString& source) = 0;
};

} // namespace zor
