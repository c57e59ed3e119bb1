// The app as a screen reader meets it: the real zor on a virtual X server
// beside zor-dev-agent, its accessibility tree read over AT-SPI from an
// accessibility bus that the test starts on a session bus of its own, and
// driven by keys alone.

#include "AtspiTree.h"
#include "ChildProcess.h"
#include "PrivateBus.h"

#include <QProcess>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <optional>

using zor::testing::activatableNames;
using zor::testing::appEnvironment;
using zor::testing::AtspiFocusEvents;
using zor::testing::AtspiNode;
using zor::testing::AtspiReader;
using zor::testing::AtspiState;
using zor::testing::ChildProcess;
using zor::testing::runTool;

namespace {

// The roles of what a user operates; each needs a name.
const QSet<QString> kControlRoles{
    "push button", "toggle button", "check box",       "radio button",    "page tab", "menu item",
    "link",        "list",          "list item",       "combo box",       "entry",    "text",
    "slider",      "spin button",   "check menu item", "radio menu item",
};

bool isSame(const AtspiNode* a, const AtspiNode* b) {
    return a && b && a->service == b->service && a->path == b->path;
}

// What a control is to its user, the same when the app makes it anew: a
// row's delegate is remade as the filter changes, under another path.
QString identity(const AtspiNode& control) {
    return control.role + u'\n' + control.name;
}

bool isControl(const AtspiNode& node) {
    return kControlRoles.contains(node.role);
}

// Whether a control is closed. Qt 6.4 reports every control sensitive to
// AT-SPI; a closed one says why in its description, and that is what a
// screen reader reads.
bool isClosed(const AtspiNode& control) {
    return control.description.startsWith(QStringLiteral("Not available"));
}

// The texts a row shows: the labels in it, in the order they are read.
QString shownText(const AtspiNode& row) {
    QStringList texts;
    for (const AtspiNode* node : row.all())
        if (node->role == "label" && !node->name.isEmpty())
            texts << node->name;
    return texts.join(QStringLiteral(", "));
}

const AtspiNode* findIn(const AtspiNode& root, const QString& role, const QString& name) {
    return root.find([&](const AtspiNode& n) { return n.role == role && n.name == name; });
}

// The decision a row's button takes, as its description names it: "Allow
// once", with its keys or without.
QString decisionOf(const AtspiNode& button) {
    return button.description.section(u'(', 0, 0).trimmed();
}

// The keys a control's description names, as "Allow once (Ctrl+Shift+O)", in
// xdotool's words.
QString keysIn(const AtspiNode& control) {
    const qsizetype open = control.description.lastIndexOf(u'(');
    if (open < 0 || !control.description.endsWith(u')'))
        return {};
    return control.description.mid(open + 1, control.description.size() - open - 2).toLower();
}

// The rows of a list, in the order they are read.
QList<AtspiNode> rowsOf(const AtspiNode& list) {
    QList<AtspiNode> rows;
    for (const AtspiNode& child : list.children)
        if (child.role == "list item")
            rows.append(child);
    return rows;
}

// Empty when the rows of `list` are read in the order they are shown, top to
// bottom, and each one in full sight says what it shows; else what differs.
QString rowsMismatch(const AtspiNode& list) {
    const QList<AtspiNode> rows = rowsOf(list);
    for (qsizetype i = 0; i < rows.size(); ++i) {
        const AtspiNode& row = rows[i];
        if (i > 0 && row.extents.top() < rows[i - 1].extents.bottom())
            return QStringLiteral("%1 is read after %2")
                .arg(row.describe(), rows[i - 1].describe());
        if (list.extents.contains(row.extents) && row.name != shownText(row))
            return QStringLiteral("%1 shows \"%2\"").arg(row.describe(), shownText(row));
    }
    return rows.isEmpty() ? QStringLiteral("%1 shows no rows").arg(list.describe()) : QString();
}

} // namespace

class AccessibilityTest : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;
    QProcessEnvironment environment;
    std::optional<ChildProcess> busLauncher;
    std::optional<ChildProcess> agent;
    std::optional<ChildProcess> app;
    std::optional<AtspiReader> reader;
    std::optional<AtspiFocusEvents> focusEvents;
    AtspiNode application;
    // What keys reached on the screen under test, by identity().
    QSet<QString> reached;

    AtspiNode tree(bool isHiddenKept = false) { return reader->read(application, isHiddenKept); }
    std::optional<AtspiNode> focused() { return reader->focused(application); }

    void press(const QString& keys) { runTool("xdotool", {"key", "--clearmodifiers", keys}); }

    // The object with the keyboard focus after `keys`, once it is another than `previous`.
    std::optional<AtspiNode> focusAfter(const QString& keys, const AtspiNode* previous) {
        press(keys);
        std::optional<AtspiNode> now;
        const bool hasMoved =
            QTest::qWaitFor([&] { return (now = focused()) && !isSame(&*now, previous); }, 5000);
        return hasMoved ? now : std::nullopt;
    }

    // The name of the list that `focused` is, or is a row of; empty for
    // anything else. A list gives the focus to its row where it has one.
    QString listOf(const AtspiNode& focused) {
        if (focused.role == "list")
            return focused.name;
        if (focused.role != "list item")
            return {};
        const AtspiNode now = tree();
        for (const AtspiNode* node : now.all())
            if (node->role == "list")
                for (const AtspiNode& row : node->children)
                    if (isSame(&row, &focused))
                        return node->name;
        return {};
    }

    // Tab until `matches` holds for the focused object; false when it never does.
    template <typename Predicate> bool tabTo(Predicate matches) {
        std::optional<AtspiNode> now = focused();
        for (int presses = 0; presses < 30; ++presses) {
            if (now && matches(*now))
                return true;
            now = focusAfter("Tab", now ? &*now : nullptr);
        }
        return false;
    }

    // Tab to the page tab `name`; Space selects it.
    bool selectTab(const QString& name) {
        if (!tabTo([&](const AtspiNode& n) { return n.role == "page tab" && n.name == name; }))
            return false;
        press("space");
        return QTest::qWaitFor(
            [&] {
                const AtspiNode now = tree();
                const AtspiNode* tab = findIn(now, "page tab", name);
                return tab && tab->is(AtspiState::selected);
            },
            5000);
    }

    // The stops of Tab, once round from the focused object; Shift+Tab must
    // meet them in reverse. Each stop lies to the right of the one before it
    // or below it, as a page is read, but for the one step from the end of
    // the window back to its start.
    QList<AtspiNode> tabCycle() {
        const std::optional<AtspiNode> start = focused();
        if (!start) {
            qWarning("nothing has the focus");
            return {};
        }
        QList<AtspiNode> stops{*start};
        for (int presses = 0;; ++presses) {
            const std::optional<AtspiNode> next = focusAfter("Tab", &stops.last());
            if (!next) {
                qWarning("Tab stays on %s", qPrintable(stops.last().describe()));
                return {};
            }
            if (isSame(&*next, &stops.first()))
                break;
            if (presses == 40) {
                qWarning("Tab never comes back to %s", qPrintable(start->describe()));
                return {};
            }
            stops.append(*next);
        }
        for (qsizetype i = stops.size(); i > 0; --i) {
            const AtspiNode& from = stops[i % stops.size()];
            const std::optional<AtspiNode> back = focusAfter("shift+Tab", &from);
            if (!back || !isSame(&*back, &stops[i - 1])) {
                qWarning("Shift+Tab from %s reaches %s, not %s", qPrintable(from.describe()),
                         back ? qPrintable(back->describe()) : "nothing",
                         qPrintable(stops[i - 1].describe()));
                return {};
            }
        }
        QStringList backwards;
        for (qsizetype i = 0; i < stops.size(); ++i) {
            const QRect before = stops[i].extents;
            const QRect after = stops[(i + 1) % stops.size()].extents;
            if (after.left() < before.right() - 1 && after.top() < before.bottom() - 1)
                backwards << stops[i].describe() + " to " +
                                 stops[(i + 1) % stops.size()].describe();
        }
        if (backwards.size() != 1) {
            QStringList all;
            for (const AtspiNode& stop : stops)
                all << stop.describe();
            qWarning("Tab goes back from %s in %s", qPrintable(backwards.join(", from ")),
                     qPrintable(all.join(", ")));
            return {};
        }
        return stops;
    }

    // The selected row of the list `name`.
    std::optional<AtspiNode> selectedRow(const QString& name) {
        const AtspiNode now = tree();
        if (const AtspiNode* list = findIn(now, "list", name))
            for (const AtspiNode& row : list->children)
                if (row.is(AtspiState::selected))
                    return row;
        return std::nullopt;
    }

    // Up to the top of the focused list `name`, then Down through each of its
    // rows in the order they are read.
    bool arrowsWalk(const QString& name) {
        std::optional<AtspiNode> selected;
        for (int presses = 0; presses < 40; ++presses) {
            press("Up");
            std::optional<AtspiNode> now;
            if (!QTest::qWaitFor(
                    [&] {
                        return (now = selectedRow(name)) &&
                               !(selected && isSame(&*now, &*selected));
                    },
                    1000))
                break;
            selected = now;
        }
        const AtspiNode now = tree();
        const AtspiNode* list = findIn(now, "list", name);
        const QList<AtspiNode> rows = list ? rowsOf(*list) : QList<AtspiNode>();
        if (rows.isEmpty() || !selected || !isSame(&*selected, &rows.first())) {
            qWarning("Up does not reach the top of %s", qPrintable(name));
            return false;
        }
        reached.insert(identity(*selected));
        for (qsizetype i = 1; i < rows.size(); ++i) {
            press("Down");
            if (!QTest::qWaitFor(
                    [&] {
                        return (selected = selectedRow(name)) && selected->name == rows[i].name;
                    },
                    5000)) {
                qWarning("Down from %s does not reach %s", qPrintable(rows[i - 1].describe()),
                         qPrintable(rows[i].describe()));
                return false;
            }
            reached.insert(identity(rows[i]));
        }
        return true;
    }

    // Each decision's keys decide the highlighted prompt, and only its row's
    // buttons name them: each decision is taken once by its keys, on a row
    // where it is open; the prompt goes, and the agent hears of the decision
    // where a rule can be written for it. The decisions taken, as their
    // buttons' descriptions name them.
    QSet<QString> decisionKeysDecide() {
        QSet<QString> taken;
        while (true) {
            std::optional<AtspiNode> target;
            QString decision;
            {
                const AtspiNode now = tree();
                const AtspiNode* list = findIn(now, "list", "Prompts");
                if (!list)
                    return {};
                for (const AtspiNode& row : rowsOf(*list))
                    for (const AtspiNode* node : row.all())
                        if (!target && node->role == "push button" && !isClosed(*node) &&
                            !taken.contains(decisionOf(*node))) {
                            target = row;
                            decision = decisionOf(*node);
                        }
            }
            if (!target)
                return taken;
            // The arrows to the row, then its keys.
            std::optional<AtspiNode> selected = selectedRow("Prompts");
            for (int presses = 0; presses < 40 && !(selected && selected->name == target->name);
                 ++presses) {
                press(selected && selected->extents.top() > target->extents.top() ? "Up" : "Down");
                selected = selectedRow("Prompts");
            }
            if (!selected || selected->name != target->name) {
                qWarning("the arrows do not reach %s", qPrintable(target->describe()));
                return {};
            }
            QString keys;
            const AtspiNode now = tree();
            for (const AtspiNode& row : rowsOf(*findIn(now, "list", "Prompts")))
                for (const AtspiNode* node : row.all()) {
                    if (node->role != "push button" || decisionOf(*node) != decision)
                        continue;
                    if (row.name == target->name) {
                        keys = keysIn(*node);
                    } else if (!keysIn(*node).isEmpty()) {
                        qWarning("%s names keys that decide %s", qPrintable(node->describe()),
                                 qPrintable(target->describe()));
                        return {};
                    }
                }
            if (keys.isEmpty()) {
                qWarning("the highlighted %s names no keys for %s", qPrintable(target->describe()),
                         qPrintable(decision));
                return {};
            }
            const qsizetype removals = app->out.count("Removed prompt: ");
            const qsizetype decisions = agent->out.count("decision ");
            press(keys);
            if (!QTest::qWaitFor([&] { return app->out.count("Removed prompt: ") > removals; },
                                 10000)) {
                qWarning("%s does not decide %s", qPrintable(keys), qPrintable(target->describe()));
                return {};
            }
            // "Allow for the session": "decision ID allow session POLICY".
            const QString words = decision.toLower().remove(QStringLiteral(" for the"));
            if (agent->out.count("decision ") > decisions &&
                !agent->out.section("decision ", -1).section(u'\n', 0, 0).contains(words)) {
                qWarning("%s reaches the agent as %s, not %s", qPrintable(keys),
                         qPrintable(agent->out.section("decision ", -1).section(u'\n', 0, 0)),
                         qPrintable(words));
                return {};
            }
            taken.insert(decision);
        }
    }

    // `keys` open a menu over the focused object; the arrows reach each of its
    // items, and Escape closes it and gives the focus back.
    bool menuOpens(const QString& keys) {
        const std::optional<AtspiNode> opener = focused();
        std::optional<AtspiNode> item = focusAfter(keys, opener ? &*opener : nullptr);
        if (item && item->role != "menu item")
            item = focusAfter("Down", &*item);
        if (!item || item->role != "menu item") {
            qWarning("%s from %s gives the focus to %s, not to a menu", qPrintable(keys),
                     opener ? qPrintable(opener->describe()) : "nothing",
                     item ? qPrintable(item->describe()) : "nothing");
            return false;
        }
        // Down through the items that can be chosen, in the order they are read.
        QList<AtspiNode> items;
        const AtspiNode menu = tree();
        for (const AtspiNode* node : menu.all())
            if (node->role == "menu item" && !isClosed(*node))
                items.append(*node);
        if (items.isEmpty() || !isSame(&*item, &items.first())) {
            qWarning("%s opens a menu on %s, not its first item", qPrintable(keys),
                     qPrintable(item->describe()));
            return false;
        }
        for (qsizetype i = 1; i < items.size(); ++i)
            if (!(item = focusAfter("Down", &items[i - 1])) || !isSame(&*item, &items[i])) {
                qWarning("Down from %s misses %s", qPrintable(items[i - 1].describe()),
                         qPrintable(items[i].describe()));
                return false;
            }
        for (const AtspiNode& chosen : items)
            reached.insert(identity(chosen));
        const std::optional<AtspiNode> back = focusAfter("Escape", &items.last());
        if (!back || !isSame(&*back, &*opener)) {
            qWarning("Escape gives the focus to %s",
                     back ? qPrintable(back->describe()) : "nothing");
            return false;
        }
        return !tree().find([](const AtspiNode& n) { return n.role == "menu item"; });
    }

private slots:
    void initTestCase() {
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            QSKIP("needs an X display: ctest runs this under xvfb-run");
        // Only the test plays services on the bus: none installed here is started.
        QDBusConnection sessionBus = QDBusConnection::sessionBus();
        QVERIFY2(sessionBus.isConnected(),
                 "needs a session bus: ctest runs this under dbus-run-session");
        QCOMPARE(activatableNames(sessionBus), QStringList{"org.freedesktop.DBus"});
        QVERIFY2(!QStandardPaths::findExecutable("xdotool").isEmpty(),
                 "xdotool is missing; scripts/install-deps.sh installs it");
        const QString launcher = qEnvironmentVariable("ZOR_ATSPI_BUS_LAUNCHER");
        QVERIFY2(!launcher.isEmpty(), "ctest names at-spi-bus-launcher in ZOR_ATSPI_BUS_LAUNCHER");

        QVERIFY(runtime.isValid());
        environment = appEnvironment(runtime.path(), "xcb");
        environment.remove("QT_LINUX_ACCESSIBILITY_ALWAYS_ON");

        // The accessibility bus, as a desktop session starts it with a screen
        // reader on: the app sees it and shows its tree without being told.
        busLauncher.emplace(launcher,
                            QStringList{"--launch-immediately", "--a11y=1", "--screen-reader=1"},
                            environment);
        QString address;
        QVERIFY2(
            QTest::qWaitFor(
                [&] { return !(address = AtspiReader::busAddress(sessionBus)).isEmpty(); }, 20000),
            qPrintable(busLauncher->out));
        QDBusConnection bus = QDBusConnection::connectToBus(address, "accessibility");
        QVERIFY2(bus.isConnected(), qPrintable(address));
        reader.emplace(bus);
        focusEvents.emplace(bus);

        // An agent of an older build: the setup screen offers its restart.
        agent.emplace(ZOR_DEV_AGENT_PATH,
                      QStringList{"--prompts", ZOR_SAMPLE_PROMPTS, "--build-number", "1"},
                      environment);
        QTRY_VERIFY_WITH_TIMEOUT(agent->out.contains("listening on "), 20000);
        app.emplace(ZOR_APP_PATH, QStringList{}, environment);
        QTRY_VERIFY_WITH_TIMEOUT(app->out.contains("Synced 20 prompts from ZorAgent"), 20000);
        std::optional<AtspiNode> root;
        QVERIFY2(QTest::qWaitFor(
                     [&] {
                         return (root = reader->application(app->process.processId())) &&
                                !reader->read(*root).children.isEmpty();
                     },
                     20000),
                 "the app's tree is not on the accessibility bus");
        application = *root;
        QCOMPARE(application.role, "application");

        const QString window = runTool("xdotool", {"search", "--sync", "--onlyvisible", "--pid",
                                                   QString::number(app->process.processId())})
                                   .section(u'\n', 0, 0);
        QVERIFY(!window.isEmpty());
        runTool("xdotool", {"windowfocus", "--sync", window});
        QVERIFY2(QTest::qWaitFor(
                     [&] {
                         const AtspiNode now = tree();
                         return now.find([](const AtspiNode& n) {
                             return n.role == "frame" && n.is(AtspiState::active);
                         });
                     },
                     5000),
                 "the window never becomes active");
    }

    void cleanup() {
        if (!QTest::currentTestFailed())
            return;
        qInfo("agent:\n%s\nthe app's last lines:\n%s", qPrintable(agent ? agent->out : ""),
              qPrintable(app ? app->out.right(4000) : ""));
        // No menu left open for the next.
        press("Escape");
    }

    // As rows come at the top and go, and as the sidebar's keys change the
    // filter, the lists are read top to bottom and each row says what it shows.
    void rowsAreReadAsShown() {
        QVERIFY(selectTab("Policies"));
        const auto isRight = [this](const QString& step) {
            QString mismatch;
            const bool isReadAsShown = QTest::qWaitFor(
                [&] {
                    const AtspiNode now = tree();
                    mismatch.clear();
                    for (const char* name : {"Prompts", "Policies"}) {
                        const AtspiNode* list = findIn(now, "list", name);
                        mismatch += list ? rowsMismatch(*list) : QStringLiteral("no list ") + name;
                    }
                    return mismatch.isEmpty();
                },
                5000);
            if (!isReadAsShown)
                qWarning("%s: %s", qPrintable(step), qPrintable(mismatch));
            return isReadAsShown;
        };
        QVERIFY(isRight("after the sync"));
        for (int n = 1; n <= 3; ++n) {
            agent->process.write(
                QStringLiteral(
                    "add {\"id\": \"3F2B8C1E-7A44-4C1D-9E55-2B7D0C6A9F1%1\", \"sessionId\": "
                    "\"a11y-%1\", \"policyPath\": \"/Users/alice/src/webapp/.zor/policy.yml\", "
                    "\"denial\": {\"kind\": \"file\", \"path\": \"/home/alice/notes-%1.txt\", "
                    "\"operation\": \"write\", \"processName\": \"vim\"}, \"sessionEnded\": "
                    "false, \"createdAt\": 1763800400.0}\n")
                    .arg(n)
                    .toUtf8());
            QTRY_VERIFY_WITH_TIMEOUT(
                app->out.contains(
                    QStringLiteral("Added prompt: file /home/alice/notes-%1.txt").arg(n)),
                10000);
            QVERIFY(isRight(QStringLiteral("after insert %1 at the top").arg(n)));
        }
        agent->process.write("remove 3F2B8C1E-7A44-4C1D-9E55-2B7D0C6A9F12\n");
        QTRY_VERIFY_WITH_TIMEOUT(app->out.contains("Removed prompt: file /home/alice/notes-2.txt"),
                                 10000);
        QVERIFY(isRight("after a removal"));

        QVERIFY(tabTo([this](const AtspiNode& n) { return listOf(n) == "Policies"; }));
        for (const char* key : {"Down", "End", "Up", "Home"}) {
            const std::optional<AtspiNode> before = selectedRow("Policies");
            press(key);
            QVERIFY2(QTest::qWaitFor(
                         [&] {
                             const std::optional<AtspiNode> now = selectedRow("Policies");
                             return now && !(before && isSame(&*now, &*before));
                         },
                         5000),
                     key);
            QVERIFY(isRight(QStringLiteral("after %1 in the sidebar").arg(key)));
        }
    }

    // The keys stay with the prompt list, but assistive tools are told that
    // the highlighted row has the focus as the highlight moves, and hear of
    // it: a screen reader reads the row that takes the focus.
    void theHighlightedRowHasTheFocus() {
        QVERIFY2(focusEvents->isListening(), "the registry takes no listener for focus events");
        QVERIFY(selectTab("Policies"));
        QVERIFY(tabTo([this](const AtspiNode& n) { return listOf(n) == "Prompts"; }));
        const auto isHighlightFocused = [this](const QString& step) {
            std::optional<AtspiNode> now;
            std::optional<AtspiNode> highlighted;
            const bool isFocused = QTest::qWaitFor(
                [&] {
                    highlighted = selectedRow("Prompts");
                    now = focused();
                    return highlighted && now && isSame(&*now, &*highlighted) &&
                           focusEvents->isLast(*now);
                },
                5000);
            if (!isFocused) {
                qWarning("%s: the focus is on %s, last announced %s, the highlight on %s",
                         qPrintable(step), now ? qPrintable(now->describe()) : "nothing",
                         focusEvents->focused().isEmpty()
                             ? "nothing"
                             : qPrintable(focusEvents->focused().last().second),
                         highlighted ? qPrintable(highlighted->describe()) : "nothing");
                return false;
            }
            if (now->role != "list item" || now->name.isEmpty() ||
                now->name != shownText(*highlighted)) {
                qWarning("%s: the focused %s shows \"%s\"", qPrintable(step),
                         qPrintable(now->describe()), qPrintable(shownText(*highlighted)));
                return false;
            }
            return true;
        };
        for (const char* key : {"Down", "End", "Up", "Home", "Down"}) {
            const std::optional<AtspiNode> before = selectedRow("Prompts");
            press(key);
            QVERIFY2(QTest::qWaitFor(
                         [&] {
                             const std::optional<AtspiNode> now = selectedRow("Prompts");
                             return now && !(before && isSame(&*now, &*before));
                         },
                         5000),
                     key);
            QVERIFY(isHighlightFocused(key));
        }

        // Away from the list the row has the focus no more, and back it has.
        const std::optional<AtspiNode> row = focused();
        const std::optional<AtspiNode> away = focusAfter("Tab", &*row);
        QVERIFY(away);
        QVERIFY2(listOf(*away) != "Prompts", qPrintable(away->describe()));
        const AtspiNode now = tree();
        const AtspiNode* left = now.find([&](const AtspiNode& n) { return isSame(&n, &*row); });
        QVERIFY(left);
        QVERIFY2(!left->is(AtspiState::focused), qPrintable(left->describe()));
        QVERIFY(focusAfter("shift+Tab", &*away));
        QVERIFY(isHighlightFocused("Shift+Tab"));
    }

    // On each screen every control has a name, and keys alone reach each one:
    // Tab and Shift+Tab, the arrows in lists, the keys that the highlighted
    // row's decisions name, and the menus' keys.
    void everyControlIsNamedAndReached_data() {
        QTest::addColumn<QString>("tab");
        QTest::newRow("policies") << "Policies";
        QTest::newRow("sessions") << "Sessions";
        QTest::newRow("setup") << "Setup";
    }
    void everyControlIsNamedAndReached() {
        QFETCH(QString, tab);
        QVERIFY(selectTab(tab));
        reached.clear();

        // Hidden ones too: a screen reader's review can list them.
        const AtspiNode everything = tree(true);
        for (const AtspiNode* node : everything.all())
            QVERIFY2(!isControl(*node) || !node->name.trimmed().isEmpty(),
                     qPrintable("unnamed: " + node->describe()));

        // What shows before the keys change it.
        const AtspiNode shown = tree();
        const QList<AtspiNode> stops = tabCycle();
        QVERIFY(!stops.isEmpty());
        // The lists among them, named while their rows are as Tab met them:
        // a list's stop is its highlighted row, which the sidebar's arrows
        // remake under another path as they filter the prompts.
        QStringList lists;
        for (const AtspiNode& stop : stops) {
            reached.insert(identity(stop));
            if (const QString name = listOf(stop); !name.isEmpty())
                lists << name;
        }

        QVERIFY(tabTo([](const AtspiNode& n) { return n.name == "Main menu"; }));
        QVERIFY(menuOpens("space"));
        QSet<QString> decisionsByKeys;
        for (const QString& name : lists) {
            reached.insert(QStringLiteral("list\n") + name);
            QVERIFY(tabTo([&](const AtspiNode& n) { return listOf(n) == name; }));
            QVERIFY(arrowsWalk(name));
            if (name == "Prompts") {
                QVERIFY(menuOpens("Menu"));
                decisionsByKeys = decisionKeysDecide();
                QVERIFY(!decisionsByKeys.isEmpty());
            } else {
                // From the last entry: "All" has no menu.
                QVERIFY(menuOpens("shift+F10"));
                // All prompts again, for the list's turn.
                press("Home");
                QVERIFY(QTest::qWaitFor(
                    [&] {
                        const AtspiNode now = tree();
                        const AtspiNode* list = findIn(now, "list", name);
                        const std::optional<AtspiNode> selected = selectedRow(name);
                        return list && selected && !rowsOf(*list).isEmpty() &&
                               isSame(&*selected, &rowsOf(*list).first());
                    },
                    5000));
            }
        }

        QStringList unreached;
        for (const AtspiNode* node : shown.all())
            if (isControl(*node) && node->isInSight && !isClosed(*node) &&
                !reached.contains(identity(*node)) &&
                !(node->role == "push button" && decisionsByKeys.contains(decisionOf(*node))))
                unreached << node->describe();
        QVERIFY2(unreached.isEmpty(), qPrintable("no key reaches " + unreached.join(", ")));
    }

    void cleanupTestCase() {
        app.reset();
        agent.reset();
        // Asked to end, the launcher ends the bus it started; killed, it leaves it behind.
        if (busLauncher) {
            busLauncher->process.terminate();
            busLauncher->process.waitForFinished(10000);
        }
        busLauncher.reset();
    }
};

QTEST_GUILESS_MAIN(AccessibilityTest)
#include "tst_accessibility.moc"
