#pragma once

#include "platform/AppReopen.h"

namespace zor {

// The Dock's reopen as AppKit makes it: it asks the application delegate
// applicationShouldHandleReopen:hasVisibleWindows:. Qt's delegate stays in
// place and gains that one method at run time; activating the app (Cmd-Tab, a
// click on one of its windows) is no reopen.
class MacAppReopen final : public AppReopen {
public:
    void setHandler(Handler handler) override;

private:
    bool install();
    void reopen(bool hasVisibleWindows) const;

    Handler handler;
    bool isInstalled = false;
};

} // namespace zor
