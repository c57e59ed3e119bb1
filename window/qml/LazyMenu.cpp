#include "window/qml/LazyMenu.h"

#include <QJSValue>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQmlInfo>

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
    call("open");
}

void LazyMenu::popup(QQuickItem* parentItem, qreal x, qreal y) {
    QQmlEngine* engine = qmlEngine(this);
    if (!engine)
        return;
    call("popup", {engine->toScriptValue(parentItem), x, y});
}

QObject* LazyMenu::madeMenu() {
    if (made)
        return made;
    QQmlEngine* engine = qmlEngine(this);
    if (!engine)
        return nullptr;
    QQmlComponent component(engine, menuUrl);
    if (!component.isReady()) {
        // As a Loader reports a file it cannot make.
        qmlWarning(this) << component.errorString();
        return nullptr;
    }
    // Begun, then given this item as its parent before it completes: a menu
    // takes the item it is made in as the one it opens over.
    QObject* menu = component.beginCreate(qmlContext(this));
    if (!menu) {
        qmlWarning(this) << component.errorString();
        return nullptr;
    }
    menu->setParent(this);
    component.setInitialProperties(menu, properties);
    component.completeCreate();
    made = menu;
    return made;
}

void LazyMenu::call(const char* method, const QJSValueList& arguments) {
    QObject* menu = madeMenu();
    if (!menu)
        return;
    // The Menu's open() and popup() are QML methods: called as QML calls them.
    const QJSValue value = qmlEngine(this)->toScriptValue(menu);
    const QJSValue result =
        value.property(QLatin1String(method)).callWithInstance(value, arguments);
    if (result.isError())
        qmlWarning(this) << result.toString();
}

} // namespace zor::qml
