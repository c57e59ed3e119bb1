#include "window/qml/PromptGlyph.h"

#include "shared/Denial.h"

#include <QPainter>
#include <QPainterPath>
#include <initializer_list>

namespace zor::qml {

static_assert(int(PromptGlyph::Shape::file) == int(Denial::Kind::file) &&
              int(PromptGlyph::Shape::network) == int(Denial::Kind::network) &&
              int(PromptGlyph::Shape::exec) == int(Denial::Kind::exec) &&
              int(PromptGlyph::Shape::signal) == int(Denial::Kind::signal) &&
              int(PromptGlyph::Shape::device) == int(Denial::Kind::ioDevice));

namespace {

// A path through the points, given as x, y pairs on the grid.
QPainterPath polyline(std::initializer_list<qreal> coordinates, bool isClosed = false) {
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    const qreal* xy = coordinates.begin();
    path.moveTo(xy[0], xy[1]);
    for (xy += 2; xy < coordinates.end(); xy += 2)
        path.lineTo(xy[0], xy[1]);
    if (isClosed)
        path.closeSubpath();
    return path;
}

QPainterPath circle(qreal x, qreal y, qreal radius) {
    QPainterPath path;
    path.addEllipse(QPointF(x, y), radius, radius);
    return path;
}

// Clears the shape out of what is drawn so far.
void punch(QPainter& painter, const QPainterPath& shape) {
    painter.save();
    painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
    painter.fillPath(shape, Qt::black);
    painter.restore();
}

} // namespace

PromptGlyph::PromptGlyph(QQuickItem* parent)
    : QQuickPaintedItem(parent) {
    setImplicitSize(24, 24);
    setAntialiasing(true);
}

void PromptGlyph::setShape(Shape shape) {
    if (currentShape == shape)
        return;
    currentShape = shape;
    update();
    emit shapeChanged();
}

void PromptGlyph::setColor(const QColor& color) {
    if (glyphColor == color)
        return;
    glyphColor = color;
    update();
    emit colorChanged();
}

void PromptGlyph::paint(QPainter* painter) {
    QPainter& p = *painter;
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(width() / 24, height() / 24);
    QPen pen(glyphColor, 1.7, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    const auto stroke = [&](const QPainterPath& path) { p.strokePath(path, pen); };
    const auto fill = [&](const QPainterPath& path) { p.fillPath(path, glyphColor); };
    switch (currentShape) {
    case Shape::file:
        fill(polyline({5, 2, 14, 2, 19.5, 7.5, 19.5, 22, 5, 22}, true));
        punch(p, polyline({13.5, 1, 13.5, 8, 20.5, 8}, true));
        // The folded corner, in a lighter shade of the same colour.
        p.setOpacity(0.55);
        fill(polyline({14.5, 2.5, 14.5, 7, 19, 7}, true));
        break;
    case Shape::network: {
        stroke(circle(12, 12, 9.5));
        QPainterPath meridian;
        meridian.addEllipse(QRectF(7.5, 2.5, 9, 19));
        stroke(meridian);
        stroke(polyline({12, 2.5, 12, 21.5}));
        stroke(polyline({2.5, 12, 21.5, 12}));
        stroke(polyline({4.5, 7, 19.5, 7}));
        stroke(polyline({4.5, 17, 19.5, 17}));
        break;
    }
    case Shape::exec: {
        QPainterPath screen;
        screen.addRoundedRect(QRectF(2, 4, 20, 16), 3, 3);
        stroke(screen);
        stroke(polyline({6.5, 9, 10, 12, 6.5, 15}));
        stroke(polyline({12, 15.5, 17, 15.5}));
        break;
    }
    case Shape::signal: {
        fill(polyline({12, 2.5, 22.5, 20.5, 1.5, 20.5}, true));
        QPainterPath bar;
        bar.addRect(QRectF(10.9, 8, 2.2, 7));
        punch(p, bar);
        punch(p, circle(12, 17.5, 1.3));
        break;
    }
    case Shape::device: {
        QPainterPath chip;
        chip.addRoundedRect(QRectF(6, 6, 12, 12), 2, 2);
        stroke(chip);
        p.fillRect(QRectF(9.5, 9.5, 5, 5), glyphColor);
        for (const qreal at : {9.0, 12.0, 15.0}) {
            stroke(polyline({at, 2.5, at, 6}));
            stroke(polyline({at, 18, at, 21.5}));
            stroke(polyline({2.5, at, 6, at}));
            stroke(polyline({18, at, 21.5, at}));
        }
        break;
    }
    case Shape::filter:
        pen.setWidthF(1.4);
        stroke(circle(12, 12, 10));
        stroke(polyline({6.5, 8.5, 17.5, 8.5}));
        stroke(polyline({8.5, 12, 15.5, 12}));
        stroke(polyline({10.5, 15.5, 13.5, 15.5}));
        break;
    case Shape::app: {
        pen.setWidthF(1.4);
        QPainterPath shield = polyline({12, 2, 20, 5, 20, 11});
        shield.cubicTo(20, 16.5, 16.5, 20.5, 12, 22);
        shield.cubicTo(7.5, 20.5, 4, 16.5, 4, 11);
        shield.lineTo(4, 5);
        shield.closeSubpath();
        stroke(shield);
        stroke(polyline({8.5, 8.5, 15.5, 8.5, 8.5, 15.5, 15.5, 15.5}));
        break;
    }
    }
}

} // namespace zor::qml
