#include "AtspiTree.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>

namespace zor::testing {
namespace {

const QString kAccessible = QStringLiteral("org.a11y.atspi.Accessible");
const QString kRegistry = QStringLiteral("org.a11y.atspi.Registry");
const QString kRootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
constexpr int kFar = 1 << 20;

QDBusMessage call(const QDBusConnection& bus, const QString& service, const QString& path,
                  const QString& interface, const QString& method,
                  const QVariantList& arguments = {}) {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return bus.call(message, QDBus::Block, 10000);
}

QVariant firstResult(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QString property(const QDBusConnection& bus, const QString& service, const QString& path,
                 const QString& name) {
    return firstResult(call(bus, service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                            QStringLiteral("Get"), {kAccessible, name}))
        .value<QDBusVariant>()
        .variant()
        .toString();
}

} // namespace

QString AtspiNode::describe() const {
    return QStringLiteral("%1 \"%2\" at %3,%4").arg(role, name).arg(extents.x()).arg(extents.y());
}

QList<const AtspiNode*> AtspiNode::all() const {
    QList<const AtspiNode*> found{this};
    for (const AtspiNode& child : children)
        found.append(child.all());
    return found;
}

AtspiReader::AtspiReader(QDBusConnection bus)
    : bus(std::move(bus)) {}

QString AtspiReader::busAddress(const QDBusConnection& sessionBus) {
    return firstResult(call(sessionBus, QStringLiteral("org.a11y.Bus"),
                            QStringLiteral("/org/a11y/bus"), QStringLiteral("org.a11y.Bus"),
                            QStringLiteral("GetAddress")))
        .toString();
}

std::optional<AtspiNode> AtspiReader::application(qint64 pid) {
    for (const auto& [service, path] : childrenOf(kRegistry, kRootPath)) {
        const QVariant owner = firstResult(
            call(bus, QStringLiteral("org.freedesktop.DBus"),
                 QStringLiteral("/org/freedesktop/DBus"), QStringLiteral("org.freedesktop.DBus"),
                 QStringLiteral("GetConnectionUnixProcessID"), {service}));
        if (owner.isValid() && owner.toLongLong() == pid)
            return readNode(service, path);
    }
    return std::nullopt;
}

AtspiNode AtspiReader::read(const AtspiNode& root, bool isHiddenKept) {
    AtspiNode node = readNode(root.service, root.path);
    // The application has no place of its own.
    readChildren(node, QRect(-kFar, -kFar, 2 * kFar, 2 * kFar), isHiddenKept);
    return node;
}

void AtspiReader::readChildren(AtspiNode& node, const QRect& sight, bool isHiddenKept) {
    node.isInSight = node.extents.intersects(sight);
    const QRect inner = node.extents.isEmpty() ? sight : sight & node.extents;
    for (const auto& [service, path] : childrenOf(node.service, node.path)) {
        AtspiNode child = readNode(service, path);
        if (!isHiddenKept && child.extents.isEmpty())
            continue;
        readChildren(child, inner, isHiddenKept);
        node.children.append(std::move(child));
    }
}

std::optional<AtspiNode> AtspiReader::focused(const AtspiNode& root) {
    // A menu has the focus along with its item, and the window with all:
    // the deepest one is the object the keys act on.
    std::optional<std::pair<QString, QString>> deepest;
    QList<std::pair<QString, QString>> pending = childrenOf(root.service, root.path);
    while (!pending.isEmpty()) {
        const std::pair<QString, QString> object = pending.takeFirst();
        if (extentsOf(object.first, object.second).isEmpty())
            continue;
        if (statesOf(object.first, object.second) & (quint64(1) << int(AtspiState::focused)))
            deepest = object;
        pending = childrenOf(object.first, object.second) + pending;
    }
    if (!deepest)
        return std::nullopt;
    return readNode(deepest->first, deepest->second);
}

AtspiNode AtspiReader::readNode(const QString& service, const QString& path) {
    AtspiNode node;
    node.service = service;
    node.path = path;
    node.role = firstResult(call(bus, service, path, kAccessible, QStringLiteral("GetRoleName")))
                    .toString();
    node.name = property(bus, service, path, QStringLiteral("Name"));
    node.description = property(bus, service, path, QStringLiteral("Description"));
    node.states = statesOf(service, path);
    node.extents = extentsOf(service, path);
    return node;
}

QRect AtspiReader::extentsOf(const QString& service, const QString& path) {
    // On the screen: Qt 6.4's window coordinates count the window's place twice in the size.
    const QVariant extents =
        firstResult(call(bus, service, path, QStringLiteral("org.a11y.atspi.Component"),
                         QStringLiteral("GetExtents"), {quint32(0)}));
    if (!extents.isValid())
        return {};
    const QDBusArgument box = extents.value<QDBusArgument>();
    int x = 0, y = 0, width = 0, height = 0;
    box.beginStructure();
    box >> x >> y >> width >> height;
    box.endStructure();
    return QRect(x, y, width, height);
}

quint64 AtspiReader::statesOf(const QString& service, const QString& path) {
    // Two words of 32 bits.
    QList<quint32> words;
    if (const QVariant states =
            firstResult(call(bus, service, path, kAccessible, QStringLiteral("GetState")));
        states.isValid())
        states.value<QDBusArgument>() >> words;
    quint64 all = 0;
    for (qsizetype i = 0; i < words.size(); ++i)
        all |= quint64(words[i]) << (32 * i);
    return all;
}

QList<std::pair<QString, QString>> AtspiReader::childrenOf(const QString& service,
                                                           const QString& path) {
    QList<std::pair<QString, QString>> children;
    const QVariant reply =
        firstResult(call(bus, service, path, kAccessible, QStringLiteral("GetChildren")));
    if (!reply.isValid())
        return children;
    const QDBusArgument list = reply.value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        QString childService;
        QDBusObjectPath childPath;
        list.beginStructure();
        list >> childService >> childPath;
        list.endStructure();
        children.append({childService, childPath.path()});
    }
    list.endArray();
    return children;
}

AtspiFocusEvents::AtspiFocusEvents(QDBusConnection bus)
    : bus(std::move(bus)) {
    // AT-SPI's own name of the event, as libatspi turns "object:state-changed:focused".
    const QDBusMessage reply =
        call(this->bus, kRegistry, QStringLiteral("/org/a11y/atspi/registry"), kRegistry,
             QStringLiteral("RegisterEvent"),
             {QStringLiteral("Object:StateChanged:focused"), QStringList(), QString()});
    isOn =
        reply.type() == QDBusMessage::ReplyMessage &&
        this->bus.connect(QString(), QString(), QStringLiteral("org.a11y.atspi.Event.Object"),
                          QStringLiteral("StateChanged"), this, SLOT(stateChanged(QDBusMessage)));
}

bool AtspiFocusEvents::isLast(const AtspiNode& node) const {
    return !announced.isEmpty() && announced.last() == std::pair(node.service, node.path);
}

void AtspiFocusEvents::stateChanged(const QDBusMessage& message) {
    const QVariantList arguments = message.arguments();
    if (arguments.size() >= 2 && arguments[0].toString() == QStringLiteral("focused") &&
        arguments[1].toInt() == 1)
        announced.append({message.service(), message.path()});
}

} // namespace zor::testing
