#include "window/qml/FocusKeeper.h"

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
    focused = window.activeFocusItem();
    // An item is told when an item around it is hidden too.
    if (focused)
        visibilityWatch = connect(focused, &QQuickItem::visibleChanged, this,
                                  &FocusKeeper::focusedVisibilityChanged);
}

void FocusKeeper::focusedVisibilityChanged() {
    if (!focused || focused->isVisible())
        return;
    QQuickItem* content = window.contentItem();
    QQuickItem* first = content->nextItemInFocusChain(true);
    // With nothing else to take it, the window's own content holds the
    // focus, where no key acts.
    if (first && first != focused && first->isVisible())
        first->forceActiveFocus(Qt::TabFocusReason);
    else
        content->forceActiveFocus(Qt::OtherFocusReason);
}

} // namespace zor::qml
