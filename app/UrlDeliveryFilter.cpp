#include "app/UrlDeliveryFilter.h"

namespace zor {

bool UrlDeliveryFilter::admit(Route route, const QString& url) {
    const Millis now = clock.now();
    recent.removeIf([&](const Delivery& d) { return now - d.at > kPairingWindow; });
    // A twin is used up by the one delivery it pairs with.
    for (qsizetype i = 0; i < recent.size(); ++i) {
        if (recent[i].route != route && recent[i].url == url) {
            recent.removeAt(i);
            return false;
        }
    }
    recent.append({route, url, now});
    return true;
}

} // namespace zor
