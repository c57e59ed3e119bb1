#include "platform/portable/LiveRegion.h"

#include "platform/MainThread.h"

namespace zor {

void LiveRegion::announce(const QString& announcement) {
    requireMainThread("LiveRegion::announce");
    // A name that does not change is not spoken again, so a repeat goes
    // through an empty name.
    if (announcement == text) {
        text.clear();
        emit announcementChanged();
    }
    text = announcement;
    emit announcementChanged();
}

} // namespace zor
