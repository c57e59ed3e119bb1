#include "window/qml/FocusKeeper.h"

#include "window/qml/KeyFocus.h"

#include <QQuickItem>
#include <QQuickWindow>

namespace zor::qml {

FocusKeeper::FocusKeeper(QQuickWindow& window)
    : window(window) {
    connect(&window, &QQuickWindow::activeFocusItemChanged, this, &FocusKeeper::followFocus);
    followFocus();
}

void FocusKeeper::followFocus() {
    disconnect(visibilityWatch);
    disconnect(focusableWatch);
    focused = window.activeFocusItem();
    if (!focused)
        return;
    // An item is told when an item around it is hidden too. So is a loader
    // that got the keys back while it still held its item and hides with
    // it: a bar's button closed while a dialog had the keys hands them back
    // to the bar's loader, and the bar goes with the prompts the dialog decided.
    visibilityWatch =
        connect(focused, &QQuickItem::visibleChanged, this, &FocusKeeper::focusedChanged);
    if (focused->inherits("QQuickLoader")) {
        // A loader whose item went while it had the focus holds it, with
        // nothing in it. The focus reaches the loader before its item has
        // gone: looked at once the change that led here is over.
        QMetaObject::invokeMethod(
            this,
            [this, loader = focused] {
                if (loader && loader == window.activeFocusItem() &&
                    !loader->property("item").value<QObject*>())
                    moveFocusFrom(loader);
            },
            Qt::QueuedConnection);
        return;
    }
    if (KeyFocus* keys = KeyFocus::of(focused))
        focusableWatch =
            connect(keys, &KeyFocus::isTakenChanged, this, &FocusKeeper::focusedChanged);
}

void FocusKeeper::focusedChanged() {
    if (!focused)
        return;
    const KeyFocus* keys = KeyFocus::of(focused);
    if (!focused->isVisible() || (keys && !keys->isTaken()))
        moveFocusFrom(focused);
}

void FocusKeeper::moveFocusFrom(QQuickItem* lost) {
    for (QQuickItem* pane = lost; pane; pane = pane->parentItem()) {
        auto* home = pane->property("focusHome").value<QQuickItem*>();
        if (home && home != lost && home->isVisible() && home->isEnabled()) {
            home->forceActiveFocus(Qt::TabFocusReason);
            return;
        }
    }
    QQuickItem* content = window.contentItem();
    QQuickItem* first = content->nextItemInFocusChain(true);
    // With nothing else to take it, the window's own content holds the
    // focus, where no key acts.
    if (first && first != lost && first->isVisible())
        first->forceActiveFocus(Qt::TabFocusReason);
    else
        content->forceActiveFocus(Qt::OtherFocusReason);
}

} // namespace zor::qml
