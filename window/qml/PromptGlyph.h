#pragma once

#include <QColor>
#include <QQuickPaintedItem>
#include <QtQml/qqml.h>

namespace zor::qml {

// The small line drawings of the prompt views, in one colour, on a 24-unit
// grid: the kinds of denial, the filter, and the app's own mark. Painted
// here rather than by a Canvas, which gives every row a script context.
class PromptGlyph : public QQuickPaintedItem {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(Shape shape READ shape WRITE setShape NOTIFY shapeChanged)
    Q_PROPERTY(QColor color READ color WRITE setColor NOTIFY colorChanged)

public:
    // The first five are the denial kinds, numbered as Denial::Kind is, so
    // that a row hands over its kind.
    enum class Shape { file, network, exec, signal, device, filter, app };
    Q_ENUM(Shape)

    explicit PromptGlyph(QQuickItem* parent = nullptr);

    Shape shape() const { return currentShape; }
    void setShape(Shape shape);
    QColor color() const { return glyphColor; }
    void setColor(const QColor& color);

    void paint(QPainter* painter) override;

signals:
    void shapeChanged();
    void colorChanged();

private:
    Shape currentShape = Shape::file;
    QColor glyphColor = Qt::black;
};

} // namespace zor::qml
