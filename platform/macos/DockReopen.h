#pragma once

#include "platform/AppReopen.h"

#include <QObject>

namespace zor {

// Qt hands on the Dock's reopen as an activation, forced even when the app is
// active already, and leaves out whether any window is visible: this asks the
// windows.
class DockReopen final : public QObject, public AppReopen {
    Q_OBJECT

public:
    void setHandler(Handler handler) override;

private:
    Handler handler;
    bool isConnected = false;
};

} // namespace zor
