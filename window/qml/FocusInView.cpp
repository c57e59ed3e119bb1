#include "window/qml/FocusInView.h"

#include <QQuickItem>
#include <QQuickWindow>
#include <algorithm>

namespace zor::qml {
namespace {

constexpr qreal kMargin = 4;

} // namespace

FocusInView::FocusInView(QObject* attachee)
    : QObject(attachee)
    , attachee(qobject_cast<QQuickItem*>(attachee)) {}

FocusInView* FocusInView::qmlAttachedProperties(QObject* object) {
    return new FocusInView(object);
}

void FocusInView::setKept(bool isKept) {
    if (isOn == isKept)
        return;
    isOn = isKept;
    if (attachee) {
        if (isOn)
            connect(attachee, &QQuickItem::windowChanged, this, &FocusInView::followWindow);
        else
            disconnect(attachee, &QQuickItem::windowChanged, this, &FocusInView::followWindow);
    }
    followWindow();
    emit isKeptChanged();
}

QQuickItem* FocusInView::flickable() const {
    if (!attachee)
        return nullptr;
    if (attachee->inherits("QQuickFlickable"))
        return attachee;
    auto* content = attachee->property("contentItem").value<QQuickItem*>();
    return content && content->inherits("QQuickFlickable") ? content : nullptr;
}

void FocusInView::followWindow() {
    disconnect(focusChanges);
    disconnect(nextFrame);
    if (isOn && attachee && attachee->window())
        focusChanges = connect(attachee->window(), &QQuickWindow::activeFocusItemChanged, this,
                               &FocusInView::focusMoved);
}

void FocusInView::focusMoved() {
    bringIntoView();
    // A change made in the same turn, a text that grew or a row that came,
    // moves the control only when the next frame lays the screen out: look
    // again then, once the layouts have placed it.
    disconnect(nextFrame);
    nextFrame = connect(attachee->window(), &QQuickWindow::afterAnimating, this,
                        &FocusInView::bringIntoView, Qt::SingleShotConnection);
}

void FocusInView::bringIntoView() {
    QQuickItem* view = flickable();
    QQuickItem* focused = attachee ? attachee->window()->activeFocusItem() : nullptr;
    if (!view || !focused)
        return;
    const auto* content = view->property("contentItem").value<QQuickItem*>();
    if (!content || !content->isAncestorOf(focused))
        return;
    // With room for the ring around it.
    const QRectF shown =
        focused->mapRectToItem(view, focused->boundingRect()).adjusted(0, -kMargin, 0, kMargin);
    const qreal contentY = view->property("contentY").toReal();
    qreal target = contentY;
    if (shown.top() < 0 || shown.height() > view->height())
        target += shown.top();
    else if (shown.bottom() > view->height())
        target += shown.bottom() - view->height();
    const qreal top = view->property("originY").toReal();
    const qreal bottom = top + view->property("contentHeight").toReal() - view->height();
    target = std::clamp(target, top, std::max(top, bottom));
    if (target != contentY)
        view->setProperty("contentY", target);
}

} // namespace zor::qml
