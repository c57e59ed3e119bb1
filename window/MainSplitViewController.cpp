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
    const qreal preferred = sidebarPreferredWidth();
    divider = thickness;
    emit dividerThicknessChanged();
    emit windowMinimumWidthChanged();
    notifyIfPreferredChanged(preferred);
}

qreal MainSplitViewController::sidebarPreferredWidth() const {
    const qreal own = std::max(sidebarOwn, sidebarWidth);
    const std::optional<qreal> limit = givingWay();
    return limit ? std::clamp(*limit, sidebarWidth, own) : own;
}

std::optional<qreal> MainSplitViewController::givingWay() const {
    if (canCollapse || !frame.isValid())
        return std::nullopt;
    return frame.width() - divider - detailWidth;
}

qreal MainSplitViewController::windowMinimumWidth() const {
    return canCollapse ? sidebarWidth : bothPanesMinimumWidth();
}

qreal MainSplitViewController::bothPanesMinimumWidth() const {
    return sidebarWidth + divider + detailWidth;
}

void MainSplitViewController::reportPaneWidths(qreal sidebar, qreal detail) {
    const qreal preferred = sidebarPreferredWidth();
    sidebarMeasured = sidebar;
    detailMeasured = detail;
    // Where it gives way to the pane it may be held back from what it would
    // have, not given less: a window that is still growing to its width is
    // no narrowing of the sidebar's.
    const std::optional<qreal> limit = givingWay();
    sidebarOwn = limit && sidebar >= *limit ? std::max(sidebarOwn, sidebar) : sidebar;
    notifyIfPreferredChanged(preferred);
}

void MainSplitViewController::reportWindowFrame(const QRectF& windowFrame) {
    const qreal preferred = sidebarPreferredWidth();
    frame = windowFrame;
    notifyIfPreferredChanged(preferred);
}

void MainSplitViewController::notifyIfPreferredChanged(qreal before) {
    if (sidebarPreferredWidth() != before)
        emit sidebarPreferredWidthChanged();
}

void MainSplitViewController::setScreenArea(std::function<QRectF()> area) {
    screenArea = std::move(area);
}

void MainSplitViewController::finishAnimation() {
    animatingToWidth.reset();
    if (!isShowingDetail)
        return;
    isShowingDetail = false;
    // Unless setup was chosen meanwhile, and the pane is folding away again.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (!isCollapsed)
                setCanCollapse(false);
        },
        Qt::QueuedConnection);
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
        // On a screen too narrow for both, the sidebar gives way to the pane.
        qreal grown = width + savedWidth + divider;
        if (const QRectF area = screenArea ? screenArea() : QRectF(); area.isValid())
            grown = std::max(std::min(grown, area.right() - frame.left()), bothPanesMinimumWidth());
        requestAnimation(grown, false);
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
    const qreal preferred = sidebarPreferredWidth();
    canCollapse = isAllowed;
    emit canDetailCollapseChanged();
    emit windowMinimumWidthChanged();
    notifyIfPreferredChanged(preferred);
}

void MainSplitViewController::requestAnimation(qreal windowWidth, bool isCollapsing) {
    // Only the width changes: the window keeps its top-left corner.
    animatingToWidth = windowWidth;
    emit animationRequested(QRectF(frame.topLeft(), QSizeF(windowWidth, frame.height())),
                            isCollapsing, animationMilliseconds);
}

} // namespace zor
