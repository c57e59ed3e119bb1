#pragma once

#include <QObject>
#include <QRectF>
#include <functional>
#include <optional>

namespace zor {

class AppState;

// The geometry of the main window's two panes. On the setup tab the detail
// pane folds away and the window shrinks to the sidebar; on the prompt tabs
// the pane comes back at the width it had and the window grows by as much.
// The view reports what it measures and plays the animations asked of it.
class MainSplitViewController final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isDetailCollapsed READ isDetailCollapsed NOTIFY detailCollapsedChanged)
    Q_PROPERTY(bool canDetailCollapse READ canDetailCollapse NOTIFY canDetailCollapseChanged)
    Q_PROPERTY(qreal savedDetailWidth READ savedDetailWidth NOTIFY savedDetailWidthChanged)
    Q_PROPERTY(qreal dividerThickness READ dividerThickness WRITE setDividerThickness NOTIFY
                   dividerThicknessChanged)
    Q_PROPERTY(qreal sidebarMinimumWidth READ sidebarMinimumWidth CONSTANT)
    Q_PROPERTY(qreal detailMinimumWidth READ detailMinimumWidth CONSTANT)
    // The sidebar's own width, at least its minimum: whatever width the user
    // gave it, by dragging the divider or by widening the window on the setup
    // tab, it holds while the window grows and when the detail pane comes back.
    // Beside the pane it gives way, down to its minimum, where the window
    // leaves the pane less than the pane's minimum.
    Q_PROPERTY(
        qreal sidebarPreferredWidth READ sidebarPreferredWidth NOTIFY sidebarPreferredWidthChanged)
    Q_PROPERTY(int animationDuration READ animationDuration CONSTANT)
    // With the detail pane shown, both panes at their minimums; the sidebar
    // alone while the pane folds away, is folded, or comes back.
    Q_PROPERTY(qreal windowMinimumWidth READ windowMinimumWidth NOTIFY windowMinimumWidthChanged)

public:
    // The sidebar's minimum, and the window's width without the detail pane
    // when the sidebar has not been measured.
    static constexpr qreal sidebarWidth = 340;
    static constexpr qreal detailWidth = 420;
    static constexpr int animationMilliseconds = 250;

    explicit MainSplitViewController(AppState& appState, QObject* parent = nullptr);

    bool isDetailCollapsed() const { return isCollapsed; }
    // While the pane folds away or comes back it may be narrower than its minimum.
    bool canDetailCollapse() const { return canCollapse; }
    qreal savedDetailWidth() const { return savedWidth; }
    qreal dividerThickness() const { return divider; }
    void setDividerThickness(qreal thickness);
    qreal sidebarMinimumWidth() const { return sidebarWidth; }
    qreal detailMinimumWidth() const { return detailWidth; }
    qreal sidebarPreferredWidth() const;
    int animationDuration() const { return animationMilliseconds; }
    qreal windowMinimumWidth() const;

    // What the view measures, whenever it changes.
    Q_INVOKABLE void reportPaneWidths(qreal sidebar, qreal detail);
    Q_INVOKABLE void reportWindowFrame(const QRectF& frame);
    // The part of the window's screen that windows may take, asked for as
    // the pane comes back: the window grows no further than its edge.
    void setScreenArea(std::function<QRectF()> area);
    // The view has played the animation last asked for to its end.
    Q_INVOKABLE void finishAnimation();

signals:
    void detailCollapsedChanged();
    void canDetailCollapseChanged();
    void savedDetailWidthChanged();
    void dividerThicknessChanged();
    void sidebarPreferredWidthChanged();
    void windowMinimumWidthChanged();
    // Move the window to `targetFrame` and fold or unfold the detail pane,
    // together, over `durationMilliseconds` with ease-in-out timing.
    void animationRequested(const QRectF& targetFrame, bool isCollapsing, int durationMilliseconds);

private:
    void followSelectedTab();
    void setCollapsed(bool isCollapsedNow);
    void setCanCollapse(bool isAllowed);
    void requestAnimation(qreal windowWidth, bool isCollapsing);
    qreal bothPanesMinimumWidth() const;
    // With the pane beside it, the most the sidebar may take; nothing while
    // the pane may fold.
    std::optional<qreal> givingWay() const;
    void notifyIfPreferredChanged(qreal before);

    AppState& appState;
    bool isCollapsed = false;
    bool canCollapse = false;
    // The last animation brings the pane back: it may not shrink below its minimum once it ends.
    bool isShowingDetail = false;
    // Set while an animation asked for has not ended: the window and the pane
    // are on their way to this width, not where they will stay.
    std::optional<qreal> animatingToWidth;
    qreal savedWidth = detailWidth;
    qreal divider = 1;
    qreal sidebarMeasured = 0; // 0 until the view reports
    // The width the user gave the sidebar, which it takes where it can.
    qreal sidebarOwn = 0;
    qreal detailMeasured = 0;
    QRectF frame;
    std::function<QRectF()> screenArea;
};

} // namespace zor
