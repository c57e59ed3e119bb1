#pragma once

#include "app/UrlDeliveryFilter.h"

#include <QObject>

class QUrl;

namespace zor {

class AppDelegate;

// Takes the URLs the system opens the app with, by either of the ways Qt
// delivers them, and hands each to the app delegate once.
class UrlReceiver final : public QObject {
    Q_OBJECT

public:
    // Needs the application object; registers itself for the "zor" scheme.
    UrlReceiver(AppDelegate& delegate, Clock& clock, QObject* parent = nullptr);
    ~UrlReceiver() override;

    bool eventFilter(QObject* watched, QEvent* event) override;

public slots:
    // Called by QDesktopServices for the "zor" scheme.
    void openUrl(const QUrl& url);

private:
    void receive(UrlDeliveryFilter::Route route, const QUrl& url);

    AppDelegate& delegate;
    UrlDeliveryFilter deliveries;
};

} // namespace zor
