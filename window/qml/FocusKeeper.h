#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>

class QQuickItem;
class QQuickWindow;

namespace zor::qml {

// Keeps the keyboard focus on what shows. A pane the tab hides keeps the
// focus of a control in it, and that control would still take keys: a Space
// on a setup button, a Delete on the prompt list, all unseen. When the
// focused control is hidden, the focus goes to the first control in the
// window's tab order, as Tab from the window's start would give it.
class FocusKeeper : public QObject {
    Q_OBJECT

public:
    explicit FocusKeeper(QQuickWindow& window);

private:
    void followFocus();
    void focusedVisibilityChanged();

    QQuickWindow& window;
    QPointer<QQuickItem> focused;
    QMetaObject::Connection visibilityWatch;
};

} // namespace zor::qml
