#pragma once

#include <QPointer>
#include <QQuickItem>
#include <QUrl>
#include <QVariantMap>
#include <QtQml/qqml.h>

class QQmlEngine;

namespace zor::qml {

// A menu made, from its own file, the first time it opens: a window's menus
// open rarely, and making them, or even reading their types, would cost the
// first frame. So would this item, written in QML: one more file read then.
//
// The menu is made as a Loader would make it, as this item's child; opened
// without a place, it opens where this item lies.
class LazyMenu : public QQuickItem {
    Q_OBJECT
    QML_ELEMENT
    // The file of the Menu, and its initial properties.
    Q_PROPERTY(QUrl menu READ menu WRITE setMenu NOTIFY menuChanged REQUIRED)
    Q_PROPERTY(QVariantMap menuProperties READ menuProperties WRITE setMenuProperties NOTIFY
                   menuPropertiesChanged)

public:
    explicit LazyMenu(QQuickItem* parent = nullptr);

    QUrl menu() const { return menuUrl; }
    void setMenu(const QUrl& url);
    QVariantMap menuProperties() const { return properties; }
    void setMenuProperties(const QVariantMap& menuProperties);

    Q_INVOKABLE void open();
    // At (x, y) in `parentItem` as it lies now, where the menu then stays:
    // the item may be a list's row, which moves, or is given to another
    // entry, while the menu is open.
    Q_INVOKABLE void popup(QQuickItem* parentItem, qreal x, qreal y);

signals:
    void menuChanged();
    void menuPropertiesChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData& data) override;

private:
    // The Menu, made on the first call; null, with a QML warning, if its file fails.
    QObject* madeMenu(QQmlEngine& engine);
    void call(const char* method, const QVariantList& arguments);

    QUrl menuUrl;
    QVariantMap properties;
    QPointer<QObject> made;
    QMetaObject::Connection windowHidden;
};

} // namespace zor::qml
