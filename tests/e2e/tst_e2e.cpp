// The app as a user meets it: the real zor binary on a virtual X server, fed
// by zor-dev-agent over the local transport, driven by keys.

#include <QDeadlineTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

namespace {

// The newest two of the sample prompts: the store shows the agent's last record first.
const QString kFirstId = QStringLiteral("EC66A787-95E7-41D1-B731-AF10506BF2EF");
const QString kSecondId = QStringLiteral("C6F87718-6D76-407E-881E-D162AE2EB154");
const QString kSecondPolicy = QStringLiteral("/Users/alice/policies/strict.yaml");

// A child process whose output is collected as it comes.
class Child {
public:
    Child(const QString& program, const QStringList& arguments,
          const QProcessEnvironment& environment) {
        QObject::connect(&process, &QProcess::readyReadStandardOutput,
                         [this] { out += QString::fromUtf8(process.readAllStandardOutput()); });
        QObject::connect(&process, &QProcess::readyReadStandardError,
                         [this] { err += QString::fromUtf8(process.readAllStandardError()); });
        process.setProcessEnvironment(environment);
        process.start(program, arguments);
    }
    ~Child() {
        process.closeWriteChannel();
        if (!process.waitForFinished(3000)) {
            process.kill();
            process.waitForFinished(3000);
        }
    }

    // Whether a line of the output, or of the error output, holds `text`.
    bool printed(const QString& text, Qt::CaseSensitivity cs = Qt::CaseSensitive) const {
        return out.contains(text, cs) || err.contains(text, cs);
    }

    QProcess process;
    QString out;
    QString err;
};

// What the agent and the end of what the app printed, line by line, for a failure.
void showOutput(const Child& agent, const Child& app) {
    for (const QString& line : (agent.out + agent.err).split(u'\n'))
        qInfo("agent: %s", qPrintable(line));
    for (const QString& line : app.err.split(u'\n').mid(-40))
        qInfo("app: %s", qPrintable(line));
}

// Waits, processing the children's output, until `condition` holds.
bool waitFor(const std::function<bool()>& condition, int ms = 20000) {
    const QDeadlineTimer deadline(ms);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QTest::qSleep(20);
    }
    return true;
}

// Runs xdotool to its end; its standard output, trimmed.
QString xdotool(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral("xdotool"), arguments);
    if (!process.waitForFinished(15000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return QString::fromUtf8(process.readAllStandardOutput()).trimmed();
}

} // namespace

class EndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void deleteAndAKeyboardDecisionReachTheAgent();
};

void EndToEndTest::deleteAndAKeyboardDecisionReachTheAgent() {
    if (qEnvironmentVariableIsEmpty("DISPLAY"))
        QSKIP("needs an X display: ctest runs this under xvfb-run");
    QVERIFY2(!QStandardPaths::findExecutable("xdotool").isEmpty(),
             "xdotool is missing; scripts/install-deps.sh installs it");

    // Its own runtime directory: the agent's socket and the app's one-instance lock.
    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_RUNTIME_DIR", runtime.path());
    environment.remove("ZOR_AGENT_SOCKET");
    environment.insert("QT_QPA_PLATFORM", "xcb");
    environment.insert("QT_QUICK_BACKEND", "software");

    Child agent(ZOR_DEV_AGENT_PATH, {"--prompts", ZOR_SAMPLE_PROMPTS}, environment);
    QVERIFY2(waitFor([&] { return agent.printed("listening on "); }), qPrintable(agent.err));
    Child app(ZOR_APP_PATH, {}, environment);
    QVERIFY2(waitFor([&] { return app.printed("Synced 20 prompts from ZorAgent"); }),
             qPrintable(app.err));
    const QString window = xdotool({"search", "--sync", "--onlyvisible", "--pid",
                                    QString::number(app.process.processId())})
                               .section(u'\n', 0, 0);
    QVERIFY2(!window.isEmpty(), "the app's window did not appear");

    // The link shows the prompt highlighted in the focused list, as a
    // notification's click would.
    {
        Child link(ZOR_APP_PATH, {"zor://prompt/" + kFirstId.toLower()}, environment);
        QVERIFY(link.process.waitForFinished(10000));
    }
    QVERIFY(waitFor([&] { return app.printed("Navigating to prompt " + kFirstId); }));
    xdotool({"windowfocus", "--sync", window});

    xdotool({"key", "Delete"});
    const bool isDismissed =
        waitFor([&] { return agent.printed("dismiss " + kFirstId, Qt::CaseInsensitive); });
    if (!isDismissed)
        showOutput(agent, app);
    QVERIFY(isDismissed);

    // The highlight moved on to the next prompt; deny it for good.
    xdotool({"key", "ctrl+shift+d"});
    const bool isDenied = waitFor([&] {
        return agent.printed(
            QStringLiteral("decision %1 deny always %2").arg(kSecondId, kSecondPolicy),
            Qt::CaseInsensitive);
    });
    const bool areBothGone =
        isDenied && waitFor([&] {
            return app.printed("Removed prompt: network api.example.org") &&
                   app.printed("Removed prompt: file /Users/alice/Documents/taxes.pdf");
        });
    if (!areBothGone)
        showOutput(agent, app);
    QVERIFY(isDenied);
    QVERIFY(areBothGone);
    QVERIFY(app.printed("Override handled for file: /Users/alice/Documents/taxes.pdf"));
}

QTEST_GUILESS_MAIN(EndToEndTest)
#include "tst_e2e.moc"
