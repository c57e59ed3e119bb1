#pragma once

#include <QColor>
#include <QMetaObject>
#include <QPointer>
#include <QQuickPaintedItem>
#include <QtQml/qqml.h>
#include <optional>

namespace zor::qml {

class SetupTheme;

// Where the keyboard is: a ring just outside the control it is laid on, its
// parent item, shown while the control has the focus from the keyboard. Its
// colour is the theme's, as far from what lies around the control and from
// the control's own face as marks need.
//
// Every control has one and few show it, so it works nothing out and draws
// nothing while hidden; written in QML, the hidden rings alone cost the
// window's first frame a twentieth of its work.
class FocusRing : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    // Whether the control has the focus from the keyboard: a Control's visualFocus.
    Q_PROPERTY(bool isShown READ isShown WRITE setShown NOTIFY isShownChanged REQUIRED)
    // What the control lies on, the theme's window background unless set; and
    // the control's face, the same as what it lies on unless set.
    Q_PROPERTY(QColor outside READ outside WRITE setOutside NOTIFY colorChanged)
    Q_PROPERTY(QColor inside READ inside WRITE setInside NOTIFY colorChanged)
    // From the control's edge to the ring; less than nothing lays it over the edge.
    Q_PROPERTY(qreal gap READ gap WRITE setGap NOTIFY gapChanged)
    Q_PROPERTY(qreal radius READ radius WRITE setRadius NOTIFY radiusChanged)
    Q_PROPERTY(qreal thickness READ thickness CONSTANT)
    // The ring's colour while shown.
    Q_PROPERTY(QColor color READ color NOTIFY colorChanged)

public:
    explicit FocusRing(QQuickItem* parent = nullptr);

    bool isShown() const { return isOn; }
    void setShown(bool isShown);
    QColor outside() const;
    void setOutside(const QColor& color);
    QColor inside() const;
    void setInside(const QColor& color);
    qreal gap() const { return ringGap; }
    void setGap(qreal gap);
    qreal radius() const { return ringRadius; }
    void setRadius(qreal radius);
    static constexpr qreal thickness() { return 2; }
    QColor color() const;

    void paint(QPainter* painter) override;
    // Paints nothing while hidden: a hidden painted item would still paint.
    QSGNode* updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) override;

signals:
    void isShownChanged();
    void colorChanged();
    void gapChanged();
    void radiusChanged();

protected:
    void componentComplete() override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    void followControl(QQuickItem* control);
    void layOut();

    bool isOn = false;
    std::optional<QColor> outsideColor;
    std::optional<QColor> insideColor;
    qreal ringGap = 1;
    qreal ringRadius = 4;
    QPointer<SetupTheme> theme;
    QMetaObject::Connection widthFollower;
    QMetaObject::Connection heightFollower;
};

} // namespace zor::qml
