#pragma once

#include <QColor>
#include <QObject>
#include <QtQml/qqml.h>

namespace zor::qml {

// Contrast between colours as the accessibility guidelines measure it, and
// colours adjusted to reach it: the views take their text and mark colours
// from here, so that they read in the light and the dark palette whatever
// accent or tint the system hands out.
class ColorContrast : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Contrast)
    QML_SINGLETON
    Q_PROPERTY(double textRatio MEMBER kText CONSTANT)
    Q_PROPERTY(double markRatio MEMBER kMark CONSTANT)

public:
    explicit ColorContrast(QObject* parent = nullptr);

    // What body text needs, and large text and marks such as lines and rings.
    static constexpr double kText = 4.5;
    static constexpr double kMark = 3.0;

    // From 1 to 21; translucent colours count as laid over the other.
    Q_INVOKABLE static double ratio(const QColor& foreground, const QColor& background);
    // The colour as it shows over an opaque background.
    Q_INVOKABLE static QColor flatten(const QColor& color, const QColor& background);
    // The colour, darkened or lightened at the same hue as little as it takes
    // to reach `minimum` against the background; black or white at the most.
    Q_INVOKABLE static QColor toReach(const QColor& color, const QColor& background,
                                      double minimum);
    // Black or white, whichever reads better on the background.
    Q_INVOKABLE static QColor textOn(const QColor& background);

private:
    static QColor reach(const QColor& color, const QColor& background, double minimum);
};

} // namespace zor::qml
