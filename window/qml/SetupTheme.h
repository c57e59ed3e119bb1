#pragma once

#include "setup/ServiceStatus.h"

#include <QColor>
#include <QObject>
#include <QPalette>
#include <QVariantList>
#include <QtQml/qqml.h>

class QQmlEngine;

namespace zor::qml {

// The system palette's colours, active, as the screens hand them to their controls.
class SystemColors : public QObject {
    Q_OBJECT
    QML_ANONYMOUS
    Q_PROPERTY(QColor window READ window NOTIFY changed)
    Q_PROPERTY(QColor windowText READ windowText NOTIFY changed)
    Q_PROPERTY(QColor base READ base NOTIFY changed)
    Q_PROPERTY(QColor alternateBase READ alternateBase NOTIFY changed)
    Q_PROPERTY(QColor text READ text NOTIFY changed)
    Q_PROPERTY(QColor button READ button NOTIFY changed)
    Q_PROPERTY(QColor buttonText READ buttonText NOTIFY changed)
    Q_PROPERTY(QColor light READ light NOTIFY changed)
    Q_PROPERTY(QColor midlight READ midlight NOTIFY changed)
    Q_PROPERTY(QColor mid READ mid NOTIFY changed)
    Q_PROPERTY(QColor dark READ dark NOTIFY changed)
    Q_PROPERTY(QColor shadow READ shadow NOTIFY changed)
    Q_PROPERTY(QColor highlight READ highlight NOTIFY changed)
    Q_PROPERTY(QColor highlightedText READ highlightedText NOTIFY changed)

public:
    using QObject::QObject;

    void setPalette(const QPalette& palette);

    QColor window() const { return color(QPalette::Active, QPalette::Window); }
    QColor windowText() const { return color(QPalette::Active, QPalette::WindowText); }
    QColor base() const { return color(QPalette::Active, QPalette::Base); }
    QColor alternateBase() const { return color(QPalette::Active, QPalette::AlternateBase); }
    QColor text() const { return color(QPalette::Active, QPalette::Text); }
    QColor button() const { return color(QPalette::Active, QPalette::Button); }
    QColor buttonText() const { return color(QPalette::Active, QPalette::ButtonText); }
    QColor light() const { return color(QPalette::Active, QPalette::Light); }
    QColor midlight() const { return color(QPalette::Active, QPalette::Midlight); }
    QColor mid() const { return color(QPalette::Active, QPalette::Mid); }
    QColor dark() const { return color(QPalette::Active, QPalette::Dark); }
    QColor shadow() const { return color(QPalette::Active, QPalette::Shadow); }
    QColor highlight() const { return color(QPalette::Active, QPalette::Highlight); }
    QColor highlightedText() const { return color(QPalette::Active, QPalette::HighlightedText); }
    QColor color(QPalette::ColorGroup group, QPalette::ColorRole role) const {
        return palette.color(group, role);
    }

signals:
    void changed();

private:
    QPalette palette;
};

// Colours and type sizes of the app's screens, after the platform's settings
// panes, drawn from the system palette so that light and dark both follow it.
// Worked out once for each palette, not in every binding that shows them.
class SetupTheme : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(SetupTheme)
    QML_SINGLETON
    Q_PROPERTY(zor::qml::SystemColors* system READ system CONSTANT)
    Q_PROPERTY(bool isDark READ isDark NOTIFY changed)

    Q_PROPERTY(QColor windowBackground READ windowBackground NOTIFY changed)
    Q_PROPERTY(QColor groupBackground READ groupBackground NOTIFY changed)
    Q_PROPERTY(QColor groupBorder READ groupBorder NOTIFY changed)
    // Lines stand out from the window and from the lists alike.
    Q_PROPERTY(QColor separator READ separator NOTIFY changed)
    Q_PROPERTY(QColor primaryText READ primaryText NOTIFY changed)
    Q_PROPERTY(QColor secondaryText READ secondaryText NOTIFY changed)
    // Where keyboard focus is.
    Q_PROPERTY(QColor focusRing READ focusRing NOTIFY changed)
    Q_PROPERTY(QColor bannerBackground READ bannerBackground NOTIFY changed)
    Q_PROPERTY(QColor bannerBorder READ bannerBorder NOTIFY changed)
    // The primary colour at 10%.
    Q_PROPERTY(QColor selectedTabBackground READ selectedTabBackground NOTIFY changed)
    // The system's accent colour, and the same as a fill under white text.
    Q_PROPERTY(QColor accent READ accent NOTIFY changed)
    Q_PROPERTY(QColor accentFill READ accentFill NOTIFY changed)

    // The platform's named colours, in their light or dark shade.
    Q_PROPERTY(QColor gray READ gray NOTIFY changed)
    Q_PROPERTY(QColor green READ green NOTIFY changed)
    Q_PROPERTY(QColor orange READ orange NOTIFY changed)
    Q_PROPERTY(QColor yellow READ yellow NOTIFY changed)
    Q_PROPERTY(QColor red READ red NOTIFY changed)
    // Each status's colour as its texts and marks show it in a step's box, at
    // its SetupStatus.StatusColor: a binding that reads it follows the palette.
    Q_PROPERTY(QVariantList statusColors READ statusColors NOTIFY changed)

    // The decisions: filled buttons that read on the list, green to allow and
    // red to deny, with black or white text, whichever reads; the groups'
    // chips a pale tint of the same colour with text in its darker shade.
    Q_PROPERTY(QColor allowFill READ allowFill NOTIFY changed)
    Q_PROPERTY(QColor denyFill READ denyFill NOTIFY changed)
    Q_PROPERTY(QColor allowChip READ allowChip NOTIFY changed)
    Q_PROPERTY(QColor denyChip READ denyChip NOTIFY changed)
    Q_PROPERTY(QColor allowChipText READ allowChipText NOTIFY changed)
    Q_PROPERTY(QColor denyChipText READ denyChipText NOTIFY changed)

    // A prompt row's background, plain, highlighted in the focused list, and
    // highlighted otherwise; the row's colours read on all three, so that a
    // row picks them without working them out.
    Q_PROPERTY(QColor rowHighlight READ rowHighlight NOTIFY changed)
    Q_PROPERTY(QColor rowSelection READ rowSelection NOTIFY changed)
    Q_PROPERTY(QColor rowSecondaryText READ rowSecondaryText NOTIFY changed)
    Q_PROPERTY(QColor rowSeparator READ rowSeparator NOTIFY changed)
    Q_PROPERTY(QColor rowGlyph READ rowGlyph NOTIFY changed)
    // The highlighted row's edge, among other selected rows.
    Q_PROPERTY(QColor rowHighlightMark READ rowHighlightMark NOTIFY changed)
    Q_PROPERTY(QColor allowOutline READ allowOutline NOTIFY changed)
    Q_PROPERTY(QColor denyOutline READ denyOutline NOTIFY changed)
    Q_PROPERTY(QColor allowFillText READ allowFillText NOTIFY changed)
    Q_PROPERTY(QColor denyFillText READ denyFillText NOTIFY changed)
    Q_PROPERTY(QColor selectedText READ selectedText NOTIFY changed)

    Q_PROPERTY(int bodySize READ bodySize CONSTANT)
    Q_PROPERTY(int captionSize READ captionSize CONSTANT)
    Q_PROPERTY(int groupRadius READ groupRadius CONSTANT)
    Q_PROPERTY(int groupPadding READ groupPadding CONSTANT)

public:
    // Follows the application's palette.
    explicit SetupTheme(QObject* parent = nullptr);
    // The engine's one theme, the views' SetupTheme, made if not yet.
    static SetupTheme* of(QQmlEngine& engine);

    int bodySize() const { return 13; }
    int captionSize() const { return 11; }
    int groupRadius() const { return 10; }
    int groupPadding() const { return 14; }

    SystemColors* system() const { return systemColors; }
    bool isDark() const { return colors.isDark; }

    QColor windowBackground() const { return colors.windowBackground; }
    QColor groupBackground() const { return colors.groupBackground; }
    QColor groupBorder() const { return colors.groupBorder; }
    QColor separator() const { return colors.separator; }
    QColor primaryText() const { return colors.primaryText; }
    QColor secondaryText() const { return colors.secondaryText; }
    QColor focusRing() const { return colors.focusRing; }
    QColor bannerBackground() const { return colors.bannerBackground; }
    QColor bannerBorder() const { return colors.bannerBorder; }
    QColor selectedTabBackground() const { return colors.selectedTabBackground; }
    QColor accent() const { return colors.accent; }
    QColor accentFill() const { return colors.accentFill; }
    QColor gray() const { return colors.gray; }
    QColor green() const { return colors.green; }
    QColor orange() const { return colors.orange; }
    QColor yellow() const { return colors.yellow; }
    QColor red() const { return colors.red; }
    QVariantList statusColors() const;
    QColor allowFill() const { return colors.allowFill; }
    QColor denyFill() const { return colors.denyFill; }
    QColor allowChip() const { return colors.allowChip; }
    QColor denyChip() const { return colors.denyChip; }
    QColor allowChipText() const { return colors.allowChipText; }
    QColor denyChipText() const { return colors.denyChipText; }
    QColor rowHighlight() const { return colors.rowHighlight; }
    QColor rowSelection() const { return colors.rowSelection; }
    QColor rowSecondaryText() const { return colors.rowSecondaryText; }
    QColor rowSeparator() const { return colors.rowSeparator; }
    QColor rowGlyph() const { return colors.rowGlyph; }
    QColor rowHighlightMark() const { return colors.rowHighlightMark; }
    QColor allowOutline() const { return colors.allowOutline; }
    QColor denyOutline() const { return colors.denyOutline; }
    QColor allowFillText() const { return colors.allowFillText; }
    QColor denyFillText() const { return colors.denyFillText; }
    QColor selectedText() const { return colors.selectedText; }

    // `color`, as dark or light as text on `background` needs.
    Q_INVOKABLE static QColor readable(const QColor& color, const QColor& background);
    // `color` as text on a button, whose face the style shades on either side
    // of the palette's button colour.
    Q_INVOKABLE QColor readableOnButton(const QColor& color) const;
    // A status's colour as its texts and marks show it in a step's box. Not
    // for QML: a binding calling it would not follow the palette.
    QColor statusColor(zor::SetupStatus::StatusColor color) const;

signals:
    void changed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Colors {
        bool isDark = false;
        QColor windowBackground, groupBackground, groupBorder, separator, primaryText,
            secondaryText, focusRing, bannerBackground, bannerBorder, selectedTabBackground, accent,
            accentFill;
        QColor gray, green, orange, yellow, red;
        // By StatusColor.
        QList<QColor> statusColors;
        QColor allowFill, denyFill, allowChip, denyChip, allowChipText, denyChipText;
        QColor rowHighlight, rowSelection, rowSecondaryText, rowSeparator, rowGlyph,
            rowHighlightMark, allowOutline, denyOutline, allowFillText, denyFillText, selectedText;
    };
    static Colors colorsFor(const QPalette& palette);
    void setPalette(const QPalette& palette);

    SystemColors* systemColors;
    Colors colors;
};

} // namespace zor::qml
