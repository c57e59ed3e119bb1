#include "window/qml/ColorContrast.h"

#include <QHashFunctions>
#include <QMutex>
#include <algorithm>
#include <cmath>
#include <unordered_map>

namespace zor::qml {
namespace {

double channel(double value) {
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color) {
    return 0.2126 * channel(color.redF()) + 0.7152 * channel(color.greenF()) +
           0.0722 * channel(color.blueF());
}

} // namespace

ColorContrast::ColorContrast(QObject* parent)
    : QObject(parent) {}

QColor ColorContrast::flatten(const QColor& color, const QColor& background) {
    const double alpha = color.alphaF();
    const auto mix = [alpha](double top, double bottom) {
        return top * alpha + bottom * (1 - alpha);
    };
    return QColor::fromRgbF(float(mix(color.redF(), background.redF())),
                            float(mix(color.greenF(), background.greenF())),
                            float(mix(color.blueF(), background.blueF())));
}

double ColorContrast::ratio(const QColor& foreground, const QColor& background) {
    const double front = luminance(flatten(foreground, background));
    const double back = luminance(background);
    return (std::max(front, back) + 0.05) / (std::min(front, back) + 0.05);
}

QColor ColorContrast::toReach(const QColor& color, const QColor& background, double minimum) {
    // The views ask the same few questions over and over, and every new
    // window's theme asks them all again.
    struct Question {
        QRgb color;
        QRgb background;
        double minimum;
        bool operator==(const Question&) const = default;
    };
    struct Hash {
        std::size_t operator()(const Question& q) const {
            return qHashMulti(0, q.color, q.background, q.minimum);
        }
    };
    static QMutex mutex;
    static std::unordered_map<Question, QColor, Hash> answers;
    const Question question{color.rgba(), background.rgba(), minimum};
    QMutexLocker lock(&mutex);
    if (const auto known = answers.find(question); known != answers.end())
        return known->second;
    return answers.emplace(question, reach(color, background, minimum)).first->second;
}

QColor ColorContrast::reach(const QColor& color, const QColor& background, double minimum) {
    const QColor flat = flatten(color, background);
    if (ratio(flat, background) >= minimum)
        return flat;
    // Away from the background: darker on light ones, lighter on dark ones.
    const bool isDarkening = luminance(background) > 0.18;
    const float hue = std::max(0.0f, flat.hslHueF()); // -1 for greys
    const float saturation = flat.hslSaturationF();
    float low = isDarkening ? 0 : flat.lightnessF();
    float high = isDarkening ? flat.lightnessF() : 1;
    // Measured as drawn, in eight bits a channel.
    const auto at = [&](float lightness) {
        return QColor(QColor::fromHslF(hue, saturation, lightness).rgb());
    };
    // The lightness nearest the colour's own that still reaches the ratio.
    for (int step = 0; step < 24; ++step) {
        const float middle = (low + high) / 2;
        const bool reaches = ratio(at(middle), background) >= minimum;
        if (reaches == isDarkening)
            low = middle;
        else
            high = middle;
    }
    const QColor found = at(isDarkening ? low : high);
    return ratio(found, background) >= minimum ? found : textOn(background);
}

QColor ColorContrast::textOn(const QColor& background) {
    return ratio(Qt::black, background) >= ratio(Qt::white, background) ? QColor(Qt::black)
                                                                        : QColor(Qt::white);
}

} // namespace zor::qml
