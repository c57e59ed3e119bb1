#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QObject>
#include <QRect>
#include <QString>
#include <optional>

namespace zor::testing {

// The AT-SPI states the tests read, by their bit in an object's state set.
enum class AtspiState {
    active = 1,
    focused = 12,
    selected = 23,
};

// One object of an application's accessibility tree as AT-SPI reports it,
// with the objects under it.
struct AtspiNode {
    QString service;
    QString path;
    // AT-SPI's name for the role: "push button", "list item", "page tab"...
    QString role;
    QString name;
    QString description;
    quint64 states = 0;
    // Where it lies on the screen; empty while it is hidden.
    QRect extents;
    // Whether some of it is in sight, within every object around it: Qt 6.4
    // measures that against the window's frame in the window's coordinates,
    // so that its own states say so only of a window at the screen's corner.
    bool isInSight = false;
    QList<AtspiNode> children;

    bool is(AtspiState state) const { return states & (quint64(1) << int(state)); }
    // Where it is and what it is, for messages.
    QString describe() const;
    // It and every object under it, depth first in the tree's order.
    QList<const AtspiNode*> all() const;
    // The first one of all() that `matches`.
    template <typename Predicate> const AtspiNode* find(Predicate matches) const {
        for (const AtspiNode* node : all())
            if (matches(*node))
                return node;
        return nullptr;
    }
};

// Reads accessibility trees as a screen reader does: over the accessibility
// bus, from the registry's desktop down, through AT-SPI's D-Bus interfaces.
class AtspiReader {
public:
    explicit AtspiReader(QDBusConnection bus);

    // The accessibility bus's address, from the org.a11y.Bus service on `sessionBus`.
    static QString busAddress(const QDBusConnection& sessionBus);

    // The root of the application that process `pid` registered on the desktop.
    std::optional<AtspiNode> application(qint64 pid);
    // The tree under `root`, read anew; what is hidden only with `isHiddenKept`.
    AtspiNode read(const AtspiNode& root, bool isHiddenKept = false);
    // The object under `root` that has the keyboard focus, read with fewer
    // calls than the whole tree.
    std::optional<AtspiNode> focused(const AtspiNode& root);

private:
    void readChildren(AtspiNode& node, const QRect& sight, bool isHiddenKept);
    AtspiNode readNode(const QString& service, const QString& path);
    QRect extentsOf(const QString& service, const QString& path);
    quint64 statesOf(const QString& service, const QString& path);
    QList<std::pair<QString, QString>> childrenOf(const QString& service, const QString& path);

    QDBusConnection bus;
};

// The objects an application announces as taking the keyboard focus, heard
// as a screen reader hears them: the registry is asked for the events, as
// Orca asks, and an application sends them only once some listener has.
class AtspiFocusEvents : public QObject {
    Q_OBJECT

public:
    explicit AtspiFocusEvents(QDBusConnection bus);

    // Whether the registry took the request and the events can arrive.
    bool isListening() const { return isOn; }
    // The service and path of each object announced as focused, oldest first.
    const QList<std::pair<QString, QString>>& focused() const { return announced; }
    // Whether the last object announced is `node`.
    bool isLast(const AtspiNode& node) const;

private slots:
    void stateChanged(const QDBusMessage& message);

private:
    QDBusConnection bus;
    bool isOn = false;
    QList<std::pair<QString, QString>> announced;
};

} // namespace zor::testing
