#include "window/qml/SetupTheme.h"

#include "window/qml/ColorContrast.h"

#include <QEvent>
#include <QGuiApplication>
#include <QQmlEngine>

namespace zor::qml {
namespace {

constexpr double kText = ColorContrast::kText;
constexpr double kMark = ColorContrast::kMark;

QColor toReach(const QColor& color, const QColor& background, double minimum) {
    return ColorContrast::toReach(color, background, minimum);
}

QColor withAlpha(const QColor& color, float alpha) {
    return QColor::fromRgbF(color.redF(), color.greenF(), color.blueF(), alpha);
}

// `over` laid on `base` as far as its alpha goes, as Qt.tint() does.
QColor tint(const QColor& base, const QColor& over) {
    if (over.alpha() == 0xff)
        return over;
    if (over.alpha() == 0)
        return base;
    const float a = over.alphaF();
    const float rest = 1 - a;
    return QColor::fromRgbF(over.redF() * a + base.redF() * rest,
                            over.greenF() * a + base.greenF() * rest,
                            over.blueF() * a + base.blueF() * rest, a + rest * base.alphaF());
}

// As Qt.lighter() and Qt.darker() take their factors.
QColor lighter(const QColor& color, double factor) {
    return color.lighter(qRound(factor * 100));
}

QColor darker(const QColor& color, double factor) {
    return color.darker(qRound(factor * 100));
}

} // namespace

void SystemColors::setPalette(const QPalette& newPalette) {
    palette = newPalette;
    emit changed();
}

SetupTheme* SetupTheme::of(QQmlEngine& engine) {
    static const int type = qmlTypeId("Zor", 1, 0, "SetupTheme");
    return engine.singletonInstance<SetupTheme*>(type);
}

SetupTheme::SetupTheme(QObject* parent)
    : QObject(parent)
    , systemColors(new SystemColors(this)) {
    setPalette(QGuiApplication::palette());
    qGuiApp->installEventFilter(this);
}

bool SetupTheme::eventFilter(QObject* watched, QEvent* event) {
    if (watched == qGuiApp && event->type() == QEvent::ApplicationPaletteChange)
        setPalette(QGuiApplication::palette());
    return false;
}

void SetupTheme::setPalette(const QPalette& palette) {
    colors = colorsFor(palette);
    systemColors->setPalette(palette);
    emit changed();
}

SetupTheme::Colors SetupTheme::colorsFor(const QPalette& palette) {
    const auto system = [&palette](QPalette::ColorRole role) {
        return palette.color(QPalette::Active, role);
    };
    const QColor window = system(QPalette::Window);
    const QColor windowText = system(QPalette::WindowText);
    const QColor base = system(QPalette::Base);
    // Laid over the window's background: the secondary shades of text and
    // lines without transparency.
    const auto mix = [&window](const QColor& color, float amount) {
        return tint(window, withAlpha(color, amount));
    };

    Colors c;
    c.isDark = window.lightnessF() < 0.5;
    c.windowBackground = window;
    c.groupBackground = c.isDark ? lighter(window, 1.35) : base;
    c.groupBorder = mix(windowText, 0.14f);
    c.separator = toReach(toReach(mix(windowText, 0.3f), base, kMark), window, kMark);
    c.primaryText = windowText;
    c.secondaryText = toReach(toReach(mix(windowText, 0.6f), base, kText), window, kText);
    c.accent = system(QPalette::Highlight);
    c.focusRing = toReach(c.accent, base, kMark);
    c.accentFill = toReach(c.accent, Qt::white, kText + 0.1);
    c.selectedTabBackground = withAlpha(c.primaryText, 0.1f);

    c.gray = QColor(0x8e, 0x8e, 0x93);
    c.green = c.isDark ? QColor(0x30, 0xd1, 0x58) : QColor(0x28, 0xb4, 0x46);
    c.orange = c.isDark ? QColor(0xff, 0x9f, 0x0a) : QColor(0xf0, 0x8c, 0x00);
    c.yellow = c.isDark ? QColor(0xff, 0xd6, 0x0a) : QColor(0xd6, 0xa4, 0x00);
    c.red = c.isDark ? QColor(0xff, 0x45, 0x3a) : QColor(0xe5, 0x35, 0x2b);
    static_assert(int(StatusColor::gray) == 0 && int(StatusColor::green) == 1 &&
                      int(StatusColor::orange) == 2 && int(StatusColor::yellow) == 3 &&
                      int(StatusColor::red) == 4 && int(StatusColor::secondary) == 5,
                  "statusColors lists the colours in StatusColor's order");
    c.statusColors = {c.gray, c.green, c.orange, c.yellow, c.red, c.secondaryText};
    for (QColor& color : c.statusColors)
        color = toReach(color, c.groupBackground, kText);
    c.bannerBackground = tint(c.groupBackground, withAlpha(c.orange, 0.14f));
    c.bannerBorder = tint(c.groupBackground, withAlpha(c.orange, 0.45f));

    // Against the list: light fills beyond the text ratio, dark ones a mark's.
    const double fillRatio = c.isDark ? kMark : kText + 0.5;
    c.allowFill = toReach(c.green, base, fillRatio);
    c.denyFill = toReach(c.red, base, fillRatio);
    c.allowChip = tint(base, withAlpha(c.green, 0.18f));
    c.denyChip = tint(base, withAlpha(c.red, 0.18f));
    c.allowChipText = toReach(c.green, c.allowChip, kText);
    c.denyChipText = toReach(c.red, c.denyChip, kText);

    c.rowHighlight = ColorContrast::flatten(withAlpha(c.accent, 0.22f), base);
    c.rowSelection = ColorContrast::flatten(c.selectedTabBackground, base);
    const auto onRows = [&](const QColor& color, double ratio) {
        return toReach(toReach(toReach(color, base, ratio), c.rowHighlight, ratio), c.rowSelection,
                       ratio);
    };
    c.rowSecondaryText = onRows(c.secondaryText, kText);
    c.rowSeparator = onRows(c.separator, kMark);
    c.rowGlyph = onRows(c.orange, kMark);
    c.rowHighlightMark = onRows(c.focusRing, kMark);
    c.allowOutline = onRows(c.allowFill, kMark);
    c.denyOutline = onRows(c.denyFill, kMark);
    c.allowFillText = ColorContrast::textOn(c.allowFill);
    c.denyFillText = ColorContrast::textOn(c.denyFill);
    c.selectedText = ColorContrast::textOn(c.accent);
    return c;
}

QColor SetupTheme::readable(const QColor& color, const QColor& background) {
    return toReach(color, background, kText);
}

QColor SetupTheme::readableOnButton(const QColor& color) const {
    const QColor button = systemColors->button();
    return readable(readable(color, lighter(button, 1.4)), darker(button, 1.2));
}

QVariantList SetupTheme::statusColors() const {
    QVariantList list;
    list.reserve(colors.statusColors.size());
    for (const QColor& color : colors.statusColors)
        list.append(color);
    return list;
}

QColor SetupTheme::statusColor(SetupStatus::StatusColor color) const {
    return colors.statusColors.value(qsizetype(color), colors.gray);
}

} // namespace zor::qml
