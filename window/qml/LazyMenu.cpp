#include "window/qml/LazyMenu.h"

#include <QJSValue>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlInfo>
#include <QQuickWindow>

namespace zor::qml {

LazyMenu::LazyMenu(QQuickItem* parent)
    : QQuickItem(parent) {}

void LazyMenu::setMenu(const QUrl& url) {
    if (menuUrl == url)
        return;
    menuUrl = url;
    emit menuChanged();
}

void LazyMenu::setMenuProperties(const QVariantMap& menuProperties) {
    if (properties == menuProperties)
        return;
    properties = menuProperties;
    emit menuPropertiesChanged();
}

void LazyMenu::open() {
    call("open", {});
}

void LazyMenu::popup(QQuickItem* parentItem, qreal x, qreal y) {
    const QPointF at = parentItem ? mapFromItem(parentItem, QPointF(x, y)) : QPointF(x, y);
    call("popup", {QVariant::fromValue<QQuickItem*>(this), at.x(), at.y()});
}

void LazyMenu::itemChange(ItemChange change, const ItemChangeData& data) {
    QQuickItem::itemChange(change, data);
    if (change != ItemSceneChange)
        return;
    // A menu left open would come back with the window, on whatever it
    // was opened for, long gone perhaps.
    disconnect(windowHidden);
    if (data.window)
        windowHidden = connect(data.window, &QWindow::visibleChanged, this, [this](bool isVisible) {
            if (!isVisible && made)
                call("close", {});
        });
}

QObject* LazyMenu::madeMenu(QQmlEngine& engine) {
    if (made)
        return made;
    QQmlComponent component(&engine, menuUrl);
    // Begun, then given this item as its parent before it completes: a menu
    // takes the item it is made in as the one it opens over.
    QObject* menu = component.isReady() ? component.beginCreate(qmlContext(this)) : nullptr;
    if (!menu) {
        // As a Loader reports a file it cannot make.
        qmlWarning(this) << component.errorString();
        return nullptr;
    }
    menu->setParent(this);
    component.setInitialProperties(menu, properties);
    component.completeCreate();
    made = menu;
    return made;
}

void LazyMenu::call(const char* method, const QVariantList& arguments) {
    QQmlEngine* engine = qmlEngine(this);
    QObject* menu = engine ? madeMenu(*engine) : nullptr;
    if (!menu)
        return;
    // The Menu's open() and popup() are QML methods: called as QML calls them.
    QJSValueList values;
    for (const QVariant& argument : arguments)
        values.append(engine->toScriptValue(argument));
    const QJSValue value = engine->toScriptValue(menu);
    const QJSValue result = value.property(QLatin1String(method)).callWithInstance(value, values);
    if (result.isError())
        qmlWarning(this) << result.toString();
}

} // namespace zor::qml
