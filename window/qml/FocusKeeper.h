#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>

class QQuickItem;
class QQuickWindow;

namespace zor::qml {

// Keeps the keyboard focus on what shows. A pane the tab hides keeps the
// focus of a control in it, and that control would still take keys: a Space
// on a setup button, a Delete on the prompt list, all unseen. A control that
// a loader made takes the focus with it when it goes, and leaves it on the
// empty loader, where no key acts.
//
// When the focused control is hidden, stops taking the keys (KeyFocus) or is
// gone so, the focus goes to the home that the nearest pane around it names
// in its `focusHome` property, while that shows: the prompt list (the
// search field while the list hides), the sidebar's entries, or Setup's
// Refresh. Else it goes to the first control in the window's tab order, as
// Tab from the window's start would give it.
class FocusKeeper : public QObject {
    Q_OBJECT

public:
    explicit FocusKeeper(QQuickWindow& window);

private:
    void followFocus();
    void focusedChanged();
    void moveFocusFrom(QQuickItem* lost);

    QQuickWindow& window;
    QPointer<QQuickItem> focused;
    QMetaObject::Connection visibilityWatch;
    QMetaObject::Connection focusableWatch;
};

} // namespace zor::qml
