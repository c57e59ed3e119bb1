#pragma once

#include "platform/UserNotifications.h"

#include <memory>

namespace zor {

// Notices through the user-notification centre, which needs the app bundle:
// a bare executable posts none and says so once in the log. A notice's buttons
// come from the category named after them, registered at start.
class MacUserNotifications final : public UserNotifications {
public:
    MacUserNotifications();
    ~MacUserNotifications() override;

    void setActionHandler(ActionHandler handler) override;
    void post(const UserNotice& notice) override;

private:
    struct Center;
    std::unique_ptr<Center> center; // none outside the bundle
    ActionHandler actionHandler;
    bool isMissingBundleLogged = false;
};

} // namespace zor
