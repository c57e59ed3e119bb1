#include "window/qml/QuickViews.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>

// Generated with the Zor QML module.
void qml_register_types_Zor();

namespace zor {

void useDesktopControlsStyle() {
#ifndef Q_OS_MACOS
    // Elsewhere the default style is meant for touch screens; Fusion reads as a desktop app.
    QQuickStyle::setStyle(QStringLiteral("Fusion"));
#endif
}

void useSoftwareDrawingIf(bool isPreferred) {
    if (isPreferred && qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND") &&
        qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND"))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

void prepareZorEngine(QQmlEngine& engine) {
    static const bool isRegistered = [] {
        qml_register_types_Zor();
        return true;
    }();
    Q_UNUSED(isRegistered);
    // Qt adds this path by itself from 6.5 on.
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
}

} // namespace zor
