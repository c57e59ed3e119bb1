#include "DarkPalette.h"

#include <QColor>

namespace zor::testing {

QPalette darkPalette() {
    QPalette palette;
    const QColor window(0x1e, 0x1e, 0x1e);
    const QColor base(0x28, 0x28, 0x28);
    const QColor text(0xf2, 0xf2, 0xf2);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3a, 0x3c));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Light, QColor(0x4a, 0x4a, 0x4c));
    palette.setColor(QPalette::Midlight, QColor(0x3e, 0x3e, 0x40));
    palette.setColor(QPalette::Mid, QColor(0x32, 0x32, 0x34));
    palette.setColor(QPalette::Dark, QColor(0x14, 0x14, 0x14));
    palette.setColor(QPalette::Shadow, Qt::black);
    palette.setColor(QPalette::Highlight, QColor(0x0a, 0x84, 0xff));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, QColor(0x41, 0x9c, 0xff));
    palette.setColor(QPalette::PlaceholderText, QColor(0x8e, 0x8e, 0x93));
    palette.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x6e, 0x6e, 0x73));
    palette.setColor(QPalette::Disabled, QPalette::Text, QColor(0x6e, 0x6e, 0x73));
    palette.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x6e, 0x6e, 0x73));
    return palette;
}

} // namespace zor::testing
