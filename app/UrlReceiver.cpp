#include "app/UrlReceiver.h"

#include "app/AppDelegate.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QFileOpenEvent>

namespace zor {

namespace {

constexpr char kScheme[] = "zor";

} // namespace

UrlReceiver::UrlReceiver(AppDelegate& delegate, Clock& clock, QObject* parent)
    : QObject(parent)
    , delegate(delegate)
    , deliveries(clock) {
    QCoreApplication::instance()->installEventFilter(this);
    // QDesktopServices calls handlers by the name of a slot.
    QDesktopServices::setUrlHandler(QString::fromLatin1(kScheme), this, "openUrl");
}

UrlReceiver::~UrlReceiver() {
    QDesktopServices::unsetUrlHandler(QString::fromLatin1(kScheme));
}

bool UrlReceiver::eventFilter(QObject* watched, QEvent* event) {
    if (watched == QCoreApplication::instance() && event->type() == QEvent::FileOpen) {
        const QUrl url = static_cast<QFileOpenEvent*>(event)->url();
        if (!url.isLocalFile()) {
            receive(UrlDeliveryFilter::Route::fileOpenEvent, url);
            return true;
        }
    }
    return QObject::eventFilter(watched, event);
}

void UrlReceiver::openUrl(const QUrl& url) {
    receive(UrlDeliveryFilter::Route::urlHandler, url);
}

void UrlReceiver::receive(UrlDeliveryFilter::Route route, const QUrl& url) {
    // Qt has parsed the system's text already; its encoded form is what stays closest to it.
    const QString text = url.toString(QUrl::FullyEncoded);
    if (deliveries.admit(route, text))
        delegate.openUrls({text});
}

} // namespace zor
