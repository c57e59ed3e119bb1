#include "window/qml/FocusRing.h"

#include "window/qml/ColorContrast.h"
#include "window/qml/SetupTheme.h"

#include <QPainter>
#include <QQmlEngine>
#include <algorithm>

namespace zor::qml {

FocusRing::FocusRing(QQuickItem* parent)
    : QQuickPaintedItem(parent) {
    setObjectName(QStringLiteral("controlFocusRing"));
    setAntialiasing(true);
    setVisible(false);
}

void FocusRing::setShown(bool isShown) {
    if (isOn == isShown)
        return;
    isOn = isShown;
    setVisible(isOn);
    if (isOn)
        update();
    emit isShownChanged();
}

QColor FocusRing::outside() const {
    if (outsideColor)
        return *outsideColor;
    return theme ? theme->windowBackground() : QColor();
}

void FocusRing::setOutside(const QColor& color) {
    if (outsideColor == color)
        return;
    outsideColor = color;
    update();
    emit colorChanged();
}

QColor FocusRing::inside() const {
    return insideColor ? *insideColor : outside();
}

void FocusRing::setInside(const QColor& color) {
    if (insideColor == color)
        return;
    insideColor = color;
    update();
    emit colorChanged();
}

void FocusRing::setGap(qreal gap) {
    if (ringGap == gap)
        return;
    ringGap = gap;
    layOut();
    emit gapChanged();
}

void FocusRing::setRadius(qreal radius) {
    if (ringRadius == radius)
        return;
    ringRadius = radius;
    update();
    emit radiusChanged();
}

QColor FocusRing::color() const {
    if (!theme)
        return {};
    return ColorContrast::toReach(
        ColorContrast::toReach(theme->focusRing(), outside(), ColorContrast::kMark), inside(),
        ColorContrast::kMark);
}

void FocusRing::paint(QPainter* painter) {
    // The line lies within the item, as a Rectangle's border does: its outer
    // edge on the item's edge, with the radius there.
    const qreal half = thickness() / 2;
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(color(), thickness(), Qt::SolidLine, Qt::FlatCap, Qt::MiterJoin));
    painter->setBrush(Qt::NoBrush);
    const qreal radius = std::max<qreal>(0, ringRadius - half);
    painter->drawRoundedRect(QRectF(half, half, width() - thickness(), height() - thickness()),
                             radius, radius);
}

QSGNode* FocusRing::updatePaintNode(QSGNode* oldNode, UpdatePaintNodeData* data) {
    // Hidden, the last image, if any, stays as it is: it does not show.
    if (!isOn)
        return oldNode;
    return QQuickPaintedItem::updatePaintNode(oldNode, data);
}

void FocusRing::componentComplete() {
    QQuickPaintedItem::componentComplete();
    if (QQmlEngine* engine = qmlEngine(this))
        theme = SetupTheme::of(*engine);
    if (theme)
        connect(theme, &SetupTheme::changed, this, [this] {
            update();
            emit colorChanged();
        });
    followControl(parentItem());
}

void FocusRing::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickPaintedItem::itemChange(change, data);
    if (change == ItemParentHasChanged && isComponentComplete())
        followControl(data.item);
}

void FocusRing::followControl(QQuickItem* control) {
    disconnect(widthFollower);
    disconnect(heightFollower);
    if (control) {
        widthFollower = connect(control, &QQuickItem::widthChanged, this, &FocusRing::layOut);
        heightFollower = connect(control, &QQuickItem::heightChanged, this, &FocusRing::layOut);
    }
    layOut();
}

// Around the control, `gap` from its edges.
void FocusRing::layOut() {
    const QQuickItem* control = parentItem();
    if (!control)
        return;
    const qreal margin = ringGap + thickness();
    setPosition({-margin, -margin});
    setSize({control->width() + 2 * margin, control->height() + 2 * margin});
}

} // namespace zor::qml
