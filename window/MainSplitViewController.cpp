#include "window/MainSplitViewController.h"

#include "platform/MainThread.h"
#include "prompts/AppState.h"

#include <algorithm>

namespace zor {

MainSplitViewController::MainSplitViewController(AppState& appState, QObject* parent)
    : QObject(parent)
    , appState(appState) {
    requireMainThread("MainSplitViewController");
    // Applied in a later turn, once whoever changed the tab is done with it.
    connect(&appState, &AppState::selectedTabChanged, this,
            &MainSplitViewController::followSelectedTab, Qt::QueuedConnection);
}

void MainSplitViewController::setDividerThickness(qreal thickness) {
    if (divider == thickness)
        return;
    divider = thickness;
    emit dividerThicknessChanged();
    emit windowMinimumWidthChanged();
}

qreal MainSplitViewController::sidebarPreferredWidth() const {
    return std::max(sidebarMeasured, sidebarWidth);
}

qreal MainSplitViewController::windowMinimumWidth() const {
    if (canCollapse)
        return sidebarWidth;
    return sidebarPreferredWidth() + divider + detailWidth;
}

void MainSplitViewController::reportPaneWidths(qreal sidebar, qreal detail) {
    const bool isSidebarResized = sidebarMeasured != sidebar;
    sidebarMeasured = sidebar;
    detailMeasured = detail;
    if (!isSidebarResized)
        return;
    emit sidebarPreferredWidthChanged();
    emit windowMinimumWidthChanged();
}

void MainSplitViewController::reportWindowFrame(const QRectF& windowFrame) {
    frame = windowFrame;
}

void MainSplitViewController::finishAnimation() {
    animatingToWidth.reset();
    if (!isShowingDetail)
        return;
    isShowingDetail = false;
    QMetaObject::invokeMethod(
        this, [this] { setCanCollapse(false); }, Qt::QueuedConnection);
}

void MainSplitViewController::followSelectedTab() {
    requireMainThread("MainSplitViewController::followSelectedTab");
    // No window yet: nothing to resize.
    if (!frame.isValid())
        return;
    const bool isSetup = appState.selectedTab() == AppTab::setup;
    // A tab chosen while the last animation still plays starts from where that
    // one was going, so that cutting it short neither widens the window nor
    // makes the pane's halfway width the one to come back with.
    const qreal width = animatingToWidth.value_or(frame.width());
    if (!isSetup && isCollapsed) {
        isShowingDetail = true;
        setCollapsed(false);
        requestAnimation(width + savedWidth + divider, false);
    } else if (isSetup && !isCollapsed) {
        // While the pane comes back, it comes back at the saved width.
        if (!animatingToWidth && detailMeasured > 0 && savedWidth != detailMeasured) {
            savedWidth = detailMeasured;
            emit savedDetailWidthChanged();
        }
        const qreal sidebar = sidebarMeasured > 0 ? sidebarMeasured : sidebarWidth;
        isShowingDetail = false;
        setCanCollapse(true);
        setCollapsed(true);
        requestAnimation(sidebar, true);
    }
}

void MainSplitViewController::setCollapsed(bool isCollapsedNow) {
    if (isCollapsed == isCollapsedNow)
        return;
    isCollapsed = isCollapsedNow;
    emit detailCollapsedChanged();
}

void MainSplitViewController::setCanCollapse(bool isAllowed) {
    if (canCollapse == isAllowed)
        return;
    canCollapse = isAllowed;
    emit canDetailCollapseChanged();
    emit windowMinimumWidthChanged();
}

void MainSplitViewController::requestAnimation(qreal windowWidth, bool isCollapsing) {
    // Only the width changes: the window keeps its top-left corner.
    animatingToWidth = windowWidth;
    emit animationRequested(QRectF(frame.topLeft(), QSizeF(windowWidth, frame.height())),
                            isCollapsing, animationMilliseconds);
}

} // namespace zor
