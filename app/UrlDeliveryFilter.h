#pragma once

#include "platform/Clock.h"

#include <QList>
#include <QString>

namespace zor {

// The system hands the app its URLs one of two ways, and depending on the Qt
// version the same URL may come both ways. Lets each URL through once: a URL
// that the other way delivered moments ago is dropped, while the same link
// opened again later, or twice the same way, goes through each time.
class UrlDeliveryFilter {
public:
    enum class Route { fileOpenEvent, urlHandler };

    // How long a delivery waits for its twin from the other route.
    static constexpr Millis kPairingWindow{2000};

    explicit UrlDeliveryFilter(Clock& clock)
        : clock(clock) {}

    // True when the URL is to be handled.
    bool admit(Route route, const QString& url);

private:
    struct Delivery {
        Route route;
        QString url;
        Millis at;
    };

    Clock& clock;
    QList<Delivery> recent;
};

} // namespace zor
