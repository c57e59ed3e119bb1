// The local transport's safeguards, against real sockets: the private
// directory, the peer's user, and the hand-over of a later start.

#include "LogCapture.h"
#include "VirtualClock.h"
#include "platform/Clock.h"
#include "platform/local/LocalAgentConnection.h"
#include "platform/local/LocalAgentMessages.h"
#include "platform/local/LocalAgentServer.h"
#include "platform/local/LocalSingleInstance.h"
#include "platform/local/PeerCredentials.h"
#include "platform/local/PrivateRuntimeDir.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLocalServer>
#include <QLocalSocket>
#include <QMutex>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <grp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace zor;
using namespace zor::local;
using namespace zor::testing;
using namespace std::chrono_literals;
using Role = SingleInstance::Role;

namespace {

constexpr uid_t kOtherUser = 65534; // nobody
constexpr char kAsOtherUser[] = "ZOR_TEST_AS_OTHER_USER";
const QString kLink = QStringLiteral("zor://prompt/6513270e-269e-4d37-b2a7-4de452e6b438");

bool isSocketFile(const QString& path) {
    struct stat status {};
    return lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISSOCK(status.st_mode);
}

sockaddr_un socketAddress(const QString& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray encoded = QFile::encodeName(path);
    std::copy(encoded.begin(), encoded.end(), address.sun_path);
    return address;
}

// A later start of the app, on a thread of its own as in another process,
// while the main thread serves the running app or, blocked, does not.
class LaterStart {
public:
    explicit LaterStart(const QStringList& arguments)
        : thread(QThread::create([this, arguments] {
            VirtualClock unused; // only the running app keeps time
            LocalSingleInstance instance(unused);
            role = instance.start(arguments, {});
            isDone = true;
        })) {
        thread->start();
    }
    ~LaterStart() { result(); }

    Role result() {
        thread->wait();
        return role;
    }

    std::atomic<bool> isDone = false;

private:
    Role role = Role::running;
    std::unique_ptr<QThread> thread;
};

// Answers the build number at once: enough of an agent to serve.
class Agent final : public ZorAgentProtocol {
public:
    void getPromptsWithReply(std::function<void(const QByteArray&)> reply) override { reply("[]"); }
    void getBuildNumberWithReply(std::function<void(const QString&)> reply) override { reply("1"); }
    void handlePromptWithPromptId(const QString&, const QString&, const QString&, const QString&,
                                  DecisionReply reply) override {
        reply(true, std::nullopt);
    }
    void dismissPromptWithPromptId(const QString&, DecisionReply reply) override {
        reply(true, std::nullopt);
    }
};

// The app's side of an agent connection, with what it is told as lines.
struct Callbacks final : ZorAppCallbackProtocol {
    QMutex mutex;
    QStringList lines;
    void add(const QString& line) {
        QMutexLocker lock(&mutex);
        lines.append(line);
    }
    QStringList all() {
        QMutexLocker lock(&mutex);
        return lines;
    }
    void promptAddedWithPromptData(const QByteArray& data) override { add("added " + data); }
    void promptRemovedWithPromptId(const QString& id) override { add("removed " + id); }
    void promptsClearedWithSessionId(const QString& id) override { add("cleared " + id); }
};

QByteArray callFrame() {
    QJsonObject call = makeCall(method::getBuildNumber);
    call.insert(key::id, 1);
    return encodeFrame(call).value();
}

// What the other user runs, in a child process of this test: the app's
// instance socket, an agent, and a rogue agent that pushes a prompt to
// whoever connects. Each says on standard output what reached it.
void serveAsOtherUser() {
    const auto say = [](const QString& line) {
        std::fputs(qPrintable(line + u'\n'), stdout);
        std::fflush(stdout);
    };
    LocalSingleInstance instance(systemClock());
    instance.start({}, [&](const QStringList& arguments) {
        say("instance received " + arguments.join(u' '));
    });
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    Agent agent;
    LocalAgentServer server(agent);
    QObject::connect(&server, &LocalAgentServer::appRefused,
                     [&](qint64 userId) { say(QStringLiteral("agent refused %1").arg(userId)); });
    QObject::connect(&server, &LocalAgentServer::appConnected, [&] { say("agent served"); });
    QLocalServer rogue;
    QObject::connect(&rogue, &QLocalServer::newConnection, [&] {
        QLocalSocket* app = rogue.nextPendingConnection();
        QJsonObject push = makeCallback(method::promptRemoved);
        push.insert(key::promptId, "A");
        app->write(encodeFrame(push).value());
        QObject::connect(app, &QLocalSocket::readyRead, [app, say] {
            say("rogue read " + QString::number(app->readAll().size()) + " bytes");
        });
    });
    // Takes any later start, and would say it has.
    QLocalServer rogueInstance;
    QObject::connect(&rogueInstance, &QLocalServer::newConnection, [&] {
        QLocalSocket* start = rogueInstance.nextPendingConnection();
        QObject::connect(start, &QLocalSocket::readyRead, [start, say] {
            say("rogue instance read " + QString::number(start->readAll().size()) + " bytes");
            start->write(kStartTaken);
        });
    });
    if (server.listen(runtime + "/agent") && rogue.listen(runtime + "/rogue") &&
        rogueInstance.listen(runtime + "/rogue-instance"))
        say("ready");
    // Until the test ends it.
    QTest::qWait(60000);
}

} // namespace

class TransportTest : public QObject {
    Q_OBJECT

    QTemporaryDir runtime;
    int socketCount = 0;

    // A socket of the running app's own for each test.
    QString useNewInstanceSocket() {
        const QString path = runtime.filePath(QStringLiteral("instance-%1").arg(++socketCount));
        qputenv("ZOR_INSTANCE_SOCKET", QFile::encodeName(path));
        return path;
    }

private slots:
    void initTestCase() {
        // The other user's process is killed when its test ends, so it keeps
        // no directory that would outlive it.
        if (qEnvironmentVariableIsSet(kAsOtherUser)) {
            runtime.remove();
            return;
        }
        QVERIFY(runtime.isValid());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
        qunsetenv("ZOR_AGENT_SOCKET");
    }

    void privateDirectories_data() {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("problem"); // DirectoryProblem

        QTest::newRow("private") << "0700" << int(DirectoryProblem::none);
        QTest::newRow("the group may look") << "0750" << int(DirectoryProblem::openToOthers);
        QTest::newRow("anyone may write") << "0777" << int(DirectoryProblem::openToOthers);
        QTest::newRow("a link to a private one") << "link" << int(DirectoryProblem::symbolicLink);
        QTest::newRow("a file") << "file" << int(DirectoryProblem::notADirectory);
        QTest::newRow("missing") << "missing" << int(DirectoryProblem::missing);
        QTest::newRow("another user's") << "other" << int(DirectoryProblem::otherOwner);
        // Found from wherever the app was started, and resolved by Qt under /tmp.
        QTest::newRow("private, but relative") << "relative" << int(DirectoryProblem::relative);
    }

    void privateDirectories() {
        QFETCH(QString, kind);
        QTemporaryDir base;
        const QString path = base.filePath("sockets");
        const QByteArray encoded = QFile::encodeName(path);
        if (kind == "link") {
            QVERIFY(QFile::link(base.path(), path));
        } else if (kind == "file") {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
        } else if (kind != "missing") {
            QCOMPARE(mkdir(encoded.constData(), 0700), 0);
            QCOMPARE(
                chmod(encoded.constData(), kind.startsWith(u'0') ? kind.toUInt(nullptr, 8) : 0700),
                0);
        }
        if (kind == "other" && chown(encoded.constData(), kOtherUser, kOtherUser) != 0)
            QSKIP("needs root, to give a directory to another user");
        const QString given = kind == "relative" ? QDir::current().relativeFilePath(path) : path;
        QTEST(int(checkPrivateDirectory(given)), "problem");
    }

    // $XDG_RUNTIME_DIR when it is private, else a directory of the app's own
    // in the user's cache; a path of the override's own only in a private
    // directory; never anything shared.
    void socketPlaces() {
        QTemporaryDir home;
        const QString cache = home.filePath("cache");
        const QString own = cache + "/com.zorlabs.zor/sockets";
        qputenv("XDG_CACHE_HOME", QFile::encodeName(cache));
        const auto restore = qScopeGuard([this] {
            qunsetenv("XDG_CACHE_HOME");
            qunsetenv("ZOR_INSTANCE_SOCKET");
            qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime.path()));
        });
        const auto place = [] { return privateSocketPlace("ZOR_INSTANCE_SOCKET", "s"); };
        qunsetenv("ZOR_INSTANCE_SOCKET");

        QCOMPARE(place().path, runtime.filePath("s"));
        QVERIFY(!QFileInfo::exists(own));

        // A runtime directory others may enter: the app's own, made private.
        const QString shared = home.filePath("shared");
        QVERIFY(QDir().mkpath(shared));
        QCOMPARE(chmod(QFile::encodeName(shared).constData(), 0755), 0);
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(shared));
        QCOMPARE(place().path, own + "/s");
        QCOMPARE(checkPrivateDirectory(own), DirectoryProblem::none);
        qunsetenv("XDG_RUNTIME_DIR");
        QCOMPARE(place().path, own + "/s");

        // A bare name goes into the private directory; a path must lie in one.
        qputenv("ZOR_INSTANCE_SOCKET", "other");
        QCOMPARE(place().path, own + "/other");
        qputenv("ZOR_INSTANCE_SOCKET", QFile::encodeName(runtime.filePath("x")));
        QCOMPARE(place().path, runtime.filePath("x"));
        qputenv("ZOR_INSTANCE_SOCKET", QFile::encodeName(shared + "/x"));
        QCOMPARE(place().problem, "the directory of $ZOR_INSTANCE_SOCKET, " + shared +
                                      " is open to other users (its mode is not 0700)");
        QVERIFY(!place().hasPath());
        qputenv("ZOR_INSTANCE_SOCKET", QFile::encodeName(runtime.filePath(QString(120, u'x'))));
        QVERIFY(place().problem.startsWith("the socket's path "));
        QVERIFY(place().problem.endsWith(" is too long"));
        qunsetenv("ZOR_INSTANCE_SOCKET");

        // Nor in a directory where others may move it away and put theirs
        // in its place, as in one of the app's that another user made for it;
        // one that keeps their entries apart, as /tmp does, is safe.
        const QByteArray ownParent = QFile::encodeName(cache + "/com.zorlabs.zor");
        QCOMPARE(chmod(ownParent.constData(), 0777), 0);
        QCOMPARE(place().problem, "$XDG_RUNTIME_DIR is not set, and " + own +
                                      " lies in a directory other users can change");
        QCOMPARE(chmod(ownParent.constData(), 01777), 0);
        QCOMPARE(place().path, own + "/s");
        QCOMPARE(chmod(ownParent.constData(), 0700), 0);

        // The app's own directory is taken only as it was made.
        QCOMPARE(chmod(QFile::encodeName(own).constData(), 0755), 0);
        QCOMPARE(place().problem, "$XDG_RUNTIME_DIR is not set, and " + own +
                                      " is open to other users (its mode is not 0700)");
        QVERIFY(!place().hasPath());
        QVERIFY(QDir(own).removeRecursively());
        QVERIFY(QFile::link(shared, own));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(shared));
        QCOMPARE(place().problem, "$XDG_RUNTIME_DIR " + shared +
                                      " is open to other users (its mode is not 0700), and " + own +
                                      " is a symbolic link");

        // Relative ones are ignored, and nothing is made where the app started.
        QVERIFY(QFile::remove(own));
        const QString relativeRuntime = QDir::current().relativeFilePath(runtime.path());
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(relativeRuntime));
        QCOMPARE(place().path, own + "/s");
        const QString relativeCache = QDir::current().relativeFilePath(home.filePath("elsewhere"));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(relativeCache));
        QCOMPARE(place().problem, "$XDG_RUNTIME_DIR " + relativeRuntime +
                                      " is not an absolute path, and " + relativeCache +
                                      " is not an absolute path");
        QVERIFY(!QFileInfo::exists(home.filePath("elsewhere")));
    }

    void peersOfTheSameUserAreTrusted() {
        const uid_t self = geteuid();
        QVERIFY(isTrustedPeer(self, self));
        QVERIFY(!isTrustedPeer(self + 1, self));
        QVERIFY(!isTrustedPeer(std::nullopt, self));

        QLocalServer server;
        QVERIFY(server.listen(runtime.filePath("peers")));
        QLocalSocket client;
        client.connectToServer(server.fullServerName());
        QVERIFY(client.waitForConnected(1000));
        QVERIFY(server.waitForNewConnection(1000));
        QLocalSocket* accepted = server.nextPendingConnection();
        QCOMPARE(peerUserId(accepted->socketDescriptor()).value_or(self + 1), self);
        QCOMPARE(peerUserId(client.socketDescriptor()).value_or(self + 1), self);
        QVERIFY(!refusedPeerUserId(accepted->socketDescriptor()));
        // A socket the system cannot tell about is never trusted.
        QCOMPARE(refusedPeerUserId(-1).value_or(0), -1);
    }

    // Another local user can neither hand the running app a link nor pose as
    // the agent or the running app, nor be served as an app by the agent side.
    void anotherUsersProcessesAreRefused() {
        if (qEnvironmentVariableIsSet(kAsOtherUser)) {
            serveAsOtherUser();
            return;
        }
        if (geteuid() != 0)
            QSKIP("needs root, to run part of the test as another user (nobody)");
        QTemporaryDir theirs;
        QVERIFY(chown(QFile::encodeName(theirs.path()).constData(), kOtherUser, kOtherUser) == 0);
        QProcess other;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(kAsOtherUser, "1");
        environment.insert("XDG_RUNTIME_DIR", theirs.path());
        environment.remove("ZOR_INSTANCE_SOCKET");
        other.setProcessEnvironment(environment);
        other.setProcessChannelMode(QProcess::MergedChannels);
        other.setChildProcessModifier([] {
            if (setgroups(0, nullptr) != 0 || setgid(kOtherUser) != 0 || setuid(kOtherUser) != 0)
                _exit(127);
        });
        QString out;
        QObject::connect(&other, &QProcess::readyRead,
                         [&] { out += QString::fromUtf8(other.readAll()); });
        other.start(QCoreApplication::applicationFilePath(), {QTest::currentTestFunction()});
        const auto stop = qScopeGuard([&] {
            other.kill();
            other.waitForFinished();
        });
        // A build tree under a directory closed to others, as a home often is.
        if (!other.waitForStarted(20000) && other.error() == QProcess::FailedToStart)
            QSKIP(qPrintable("nobody cannot run this test's binary: " + other.errorString()));
        QTRY_VERIFY2_WITH_TIMEOUT(out.contains("ready"), qPrintable(out), 20000);

        // A link for their app: cut off unread and unanswered.
        QLocalSocket start;
        start.connectToServer(theirs.filePath("com.zorlabs.zor.instance"));
        QVERIFY(start.waitForConnected(1000));
        start.write(encodeStartMessage({kLink}));
        QTRY_COMPARE(start.state(), QLocalSocket::UnconnectedState);
        QCOMPARE(start.readAll(), QByteArray());
        QTRY_VERIFY2(out.contains("Refused a later start from user 0"), qPrintable(out));

        // A call to their agent: cut off unanswered.
        QLocalSocket app;
        app.connectToServer(theirs.filePath("agent"));
        QVERIFY(app.waitForConnected(1000));
        app.write(callFrame());
        QTRY_COMPARE(app.state(), QLocalSocket::UnconnectedState);
        QCOMPARE(app.readAll(), QByteArray());
        QTRY_VERIFY2(out.contains("agent refused 0"), qPrintable(out));

        // Their agent, to this user's app: nothing read, nothing sent.
        LogCapture log;
        VirtualClock clock;
        Callbacks callbacks;
        auto connection =
            LocalAgentConnection::create({theirs.filePath("rogue"), {}}, callbacks, clock);
        connection->setInvalidationHandler([&] { callbacks.add("invalidated"); });
        connection
            ->remoteObjectProxyWithErrorHandler([&](const PlatformError& error) {
                callbacks.add("error " + error.localizedDescription);
            })
            ->getBuildNumberWithReply([&](const QString& number) { callbacks.add(number); });
        connection->resume();
        QTRY_COMPARE(
            callbacks.all(),
            (QStringList{"error The agent's socket is served by another user.", "invalidated"}));
        QCOMPARE(log.messages(),
                 QStringList{"Refused ZorAgent's socket: it is served by user 65534"});
        QTest::qWait(100);
        QCOMPARE(callbacks.all().size(), 2);

        // Their app, to this user's later start, with its socket where this
        // user's app keeps its own (only root could put it there): nothing
        // handed over.
        const QString ours = useNewInstanceSocket();
        QCOMPARE(std::rename(QFile::encodeName(theirs.filePath("rogue-instance")).constData(),
                             QFile::encodeName(ours).constData()),
                 0);
        LogCapture startLog;
        QCOMPARE(LaterStart({kLink}).result(), Role::notHandedOver);
        QCOMPARE(startLog.messages(),
                 QStringList{"Refused the running Zor's socket: it is served by user 65534"});
        QTest::qWait(100);
        QVERIFY2(!out.contains("instance received") && !out.contains("agent served") &&
                     !out.contains("rogue read") && !out.contains("rogue instance read"),
                 qPrintable(out));
    }

    // A real later start gets through past idle and half-written connections
    // at once; those are closed at their deadline without a word reaching the app.
    void aLaterStartIsHandedOverPastIdleConnections() {
        const QString path = useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance running(clock);
        QStringList received;
        QCOMPARE(running.start({}, [&](const QStringList& arguments) { received += arguments; }),
                 Role::running);
        std::vector<std::unique_ptr<QLocalSocket>> idle;
        for (int i = 0; i < 20; ++i) {
            idle.push_back(std::make_unique<QLocalSocket>());
            idle.back()->connectToServer(path);
            QVERIFY(idle.back()->waitForConnected(1000));
        }
        idle.back()->write("zor://prompt/\n");
        QTRY_COMPARE(clock.pendingTimerCount(), 20);

        // At once: the clock stands still until it is handed over.
        LaterStart later({kLink, "--verbose"});
        QTRY_VERIFY(later.isDone);
        QCOMPARE(later.result(), Role::handedOver);
        QCOMPARE(received, (QStringList{kLink, "--verbose"}));

        clock.advance(LocalSingleInstance::kReadTimeout - 1ms);
        QTest::qWait(20);
        QCOMPARE(idle.front()->state(), QLocalSocket::ConnectedState);
        clock.advance(1ms);
        for (const auto& socket : idle)
            QTRY_COMPARE(socket->state(), QLocalSocket::UnconnectedState);
        QCOMPARE(received.size(), 2);
    }

    // Once the app quits, a later start runs the app itself rather than hand
    // its links to a process about to end; one still being read goes unanswered.
    void aStartDuringQuitRunsTheAppItself() {
        const QString path = useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance quitting(clock);
        QStringList received;
        QCOMPARE(quitting.start({}, [&](const QStringList& arguments) { received += arguments; }),
                 Role::running);
        QLocalSocket halfway;
        halfway.connectToServer(path);
        QVERIFY(halfway.waitForConnected(1000));
        halfway.write("zor://prompt/");
        QTRY_COMPARE(clock.pendingTimerCount(), 1);

        quitting.stop();
        QTRY_COMPARE(halfway.state(), QLocalSocket::UnconnectedState);
        QVERIFY(!QFileInfo::exists(path));
        LocalSingleInstance later(clock);
        QCOMPARE(later.start({kLink}, {}), Role::running);
        QVERIFY(QFileInfo::exists(path));
        QVERIFY(received.isEmpty());
    }

    // A message that came while the app was busy past the deadline is
    // still taken, and answered.
    void aStartThatCameWhileTheAppWasBusyIsTaken() {
        const QString path = useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance running(clock);
        QStringList received;
        running.start({}, [&](const QStringList& arguments) { received += arguments; });
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const auto closeSocket = qScopeGuard([fd] { close(fd); });
        const sockaddr_un address = socketAddress(path);
        QCOMPARE(::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        QTRY_COMPARE(clock.pendingTimerCount(), 1);

        const QByteArray message = encodeStartMessage({kLink});
        QCOMPARE(write(fd, message.constData(), size_t(message.size())), message.size());
        clock.advance(LocalSingleInstance::kReadTimeout);
        QCOMPARE(received, QStringList{kLink});
        char answer[8] = {};
        QCOMPARE(read(fd, answer, sizeof answer), qsizetype(std::strlen(kStartTaken)));
        QCOMPARE(answer, kStartTaken);
    }

    // A lock that cannot be written, on a full disk, says nothing of another
    // start: the app runs and still takes later starts where it can.
    void aLockThatCannotBeWrittenIsNoRunningApp() {
        const QString path = useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance first(clock);
        LogCapture log;
        Role role = Role::notHandedOver;
        {
            // The lock's contents are the only file data written: as on a full disk.
            rlimit limit{};
            QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
            const rlimit full{0, limit.rlim_max};
            const auto noSignal = std::signal(SIGXFSZ, SIG_IGN);
            QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
            role = first.start({}, {});
            QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
            std::signal(SIGXFSZ, noSignal);
        }
        QCOMPARE(role, Role::running);
        QCOMPARE(log.messages(),
                 QStringList{"Could not lock " + path +
                             ".lock, going on without taking turns with other starts"});
        LaterStart later({kLink});
        QTRY_VERIFY_WITH_TIMEOUT(later.isDone, 10000);
        QCOMPARE(later.result(), Role::handedOver);
    }

    // A stopped or hung app keeps its socket, whether its backlog is full
    // or not; the later start says so and fails.
    void aHungAppIsNotReplaced_data() {
        QTest::addColumn<bool>("isBacklogFull");
        QTest::newRow("connections wait") << false;
        QTest::newRow("the backlog is full") << true;
    }

    void aHungAppIsNotReplaced() {
        QFETCH(bool, isBacklogFull);
        const QString path = useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance running(clock);
        QCOMPARE(running.start({}, {}), Role::running);

        // From here the main thread serves nothing until the later start ends.
        std::vector<int> waiting;
        const auto closeWaiting = qScopeGuard([&] {
            for (int fd : waiting)
                close(fd);
        });
        const sockaddr_un address = socketAddress(path);
        while (isBacklogFull) {
            const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK, 0);
            QVERIFY(fd >= 0);
            if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
                QCOMPARE(errno, EAGAIN);
                close(fd);
                break;
            }
            waiting.push_back(fd);
            QVERIFY(waiting.size() < 1000);
        }
        LogCapture log;
        QElapsedTimer elapsed;
        elapsed.start();
        QCOMPARE(LaterStart({kLink}).result(), Role::notHandedOver);
        QVERIFY(log.contains("Zor is already running but not responding"));
        QCOMPARE_LT(elapsed.elapsed(), (LocalSingleInstance::kConnectTimeout +
                                        LocalSingleInstance::kAnswerTimeout + 1s)
                                           .count());
        QVERIFY(isSocketFile(path));

        // Once it runs again, it is reached on the same socket.
        LaterStart again({});
        QTRY_VERIFY_WITH_TIMEOUT(again.isDone, 10000);
        QCOMPARE(again.result(), Role::handedOver);
    }

    // What an app that ended leaves behind is taken over; anything else at
    // the socket's path is left alone, and the app runs without hand-over.
    void onlyALeftOverSocketIsReplaced() {
        const QString path = useNewInstanceSocket();
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const sockaddr_un address = socketAddress(path);
        QCOMPARE(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        close(fd);
        QVERIFY(isSocketFile(path));
        VirtualClock clock;
        LocalSingleInstance running(clock);
        QCOMPARE(running.start({}, {}), Role::running);
        LaterStart later({});
        QTRY_VERIFY(later.isDone);
        QCOMPARE(later.result(), Role::handedOver);

        QFile file(useNewInstanceSocket());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("kept");
        file.close();
        LogCapture log;
        LocalSingleInstance second(clock);
        QCOMPARE(second.start({}, {}), Role::running);
        QCOMPARE(log.messages().size(), 1);
        QVERIFY(log.messages().constFirst().startsWith("Cannot listen for later starts: "));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), "kept");
    }

    // A later start ends well only on the running app's word that it has the
    // arguments.
    void aLinkCountsAsHandedOverOnlyWhenTaken_data() {
        QTest::addColumn<QByteArray>("answer"); // empty: the connection just ends
        QTest::newRow("closed without a word") << QByteArray();
        QTest::newRow("another answer") << QByteArray("no\n");
    }

    void aLinkCountsAsHandedOverOnlyWhenTaken() {
        QFETCH(QByteArray, answer);
        QLocalServer impostor;
        QVERIFY(impostor.listen(useNewInstanceSocket()));
        QObject::connect(&impostor, &QLocalServer::newConnection, &impostor, [&] {
            QLocalSocket* start = impostor.nextPendingConnection();
            QObject::connect(start, &QLocalSocket::readyRead, start, [start, answer] {
                start->readAll();
                start->write(answer);
                start->disconnectFromServer();
            });
        });
        LogCapture log;
        LaterStart later({kLink});
        QTRY_VERIFY(later.isDone);
        QCOMPARE(later.result(), Role::notHandedOver);
        QCOMPARE(log.messages(), QStringList{"Zor is already running but not responding"});
    }

    void aLaterStartHandsOverWithinItsLimits() {
        useNewInstanceSocket();
        VirtualClock clock;
        LocalSingleInstance running(clock);
        qsizetype received = 0;
        running.start({}, [&](const QStringList& arguments) { received += arguments.size(); });
        QStringList arguments;
        for (int i = 0; i < kMaxStartArguments; ++i)
            arguments.append(kLink);
        LaterStart most(arguments);
        QTRY_VERIFY(most.isDone);
        QCOMPARE(most.result(), Role::handedOver);
        QCOMPARE(received, kMaxStartArguments);

        LaterStart tooMany(arguments << kLink);
        QTRY_VERIFY(tooMany.isDone);
        QCOMPARE(tooMany.result(), Role::notHandedOver);
        LaterStart tooLong({kLink + QString(kMaxStartMessageBytes, u'a')});
        QTRY_VERIFY(tooLong.isDone);
        QCOMPARE(tooLong.result(), Role::notHandedOver);
        QTest::qWait(20);
        QCOMPARE(received, kMaxStartArguments);
    }
};

QTEST_GUILESS_MAIN(TransportTest)
#include "tst_transport.moc"
