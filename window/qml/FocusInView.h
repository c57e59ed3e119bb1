#pragma once

#include <QMetaObject>
#include <QObject>
#include <QPointer>
#include <QtQml/qqml.h>

class QQuickItem;

namespace zor::qml {

// Scrolls a view so that the control with the keyboard focus shows: Tab
// moves through a scrolling screen's controls, and a control out of sight
// would have the focus where nobody sees it.
//
// Attached to a ScrollView, it scrolls its Flickable; attached to a
// Flickable, that. It scrolls as little as brings the control into view, and
// to the control's top where it is taller than the view.
class FocusInView : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("FocusInView is an attached property")
    QML_ATTACHED(zor::qml::FocusInView)
    Q_PROPERTY(bool isKept READ isKept WRITE setKept NOTIFY isKeptChanged)

public:
    explicit FocusInView(QObject* attachee);

    static FocusInView* qmlAttachedProperties(QObject* object);

    bool isKept() const { return isOn; }
    void setKept(bool isKept);

signals:
    void isKeptChanged();

private:
    QQuickItem* flickable() const;
    void followWindow();
    void focusMoved();
    void bringIntoView();

    QPointer<QQuickItem> attachee;
    QMetaObject::Connection focusChanges;
    QMetaObject::Connection nextFrame;
    bool isOn = false;
};

} // namespace zor::qml
