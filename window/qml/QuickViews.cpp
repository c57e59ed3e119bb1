#include "window/qml/QuickViews.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QThreadPool>

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

void readFontsAhead() {
    // The font database is filled once per process, under its own lock: a
    // window that needs it sooner waits for the worker, not for a second read.
    QThreadPool::globalInstance()->start([] { QFontDatabase::families(); });
}

void prepareZorEngine(QQmlEngine& engine) {
    static const bool isRegistered = [] {
        qml_register_types_Zor();
        return true;
    }();
    Q_UNUSED(isRegistered);
    // Qt adds this path by itself from 6.5 on.
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    // Qt's modules are found on disk where Qt keeps them there, as a shared
    // Qt does; only a static one needs this resource path. Every import would
    // look there first, in every version of its name, and each resource it
    // misses walks all the resources loaded: a twentieth of the main window's
    // first frame.
    static const bool hasModulesOnDisk = QFileInfo::exists(
        QLibraryInfo::path(QLibraryInfo::QmlImportsPath) + QStringLiteral("/QtQuick/qmldir"));
    if (hasModulesOnDisk) {
        QStringList paths = engine.importPathList();
        paths.removeAll(QStringLiteral("qrc:/qt-project.org/imports"));
        engine.setImportPathList(paths);
    }
}

} // namespace zor
