#include "ChildRun.h"
#include "LogCapture.h"
#include "platform/Clock.h"
#include "platform/LargePages.h"
#include "platform/Platform.h"
#include "platform/Worker.h"
#include "platform/portable/GraphicsDevice.h"
#include "platform/portable/PosixTerminationSignals.h"
#include "shared/Identifiers.h"

#include <QCoroTask>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <QThreadPool>
#include <csignal>
#include <cstdio>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif

using namespace zor;
using namespace zor::testing;
using namespace std::chrono_literals;

namespace {

// What a text sink has written to `file` so far.
QByteArray writtenTo(std::FILE* file) {
    QByteArray text;
    std::rewind(file);
    char buffer[4096];
    for (std::size_t read; (read = std::fread(buffer, 1, sizeof buffer, file)) > 0;)
        text.append(buffer, qsizetype(read));
    std::fseek(file, 0, SEEK_END);
    return text;
}

QByteArray textLine(const char* level, const char* message) {
    return "[" + logSubsystem().toUtf8() + ":prompt-store] " + level + ": " + message + "\n";
}

// The record as a text sink writes it.
QByteArray sinkLine(const LogRecord& record) {
    std::FILE* file = std::tmpfile();
    {
        TextLogSink sink(file);
        sink.write(record);
    }
    const QByteArray line = writtenTo(file);
    std::fclose(file);
    return line;
}

QByteArray added(const char* target) {
    return textLine("info", QByteArray("Added prompt: ").append(target).constData());
}

// A chain of calls on workers, each started when the previous one's result is back.
QCoro::Task<> countOnWorkers(QObject* context, int calls, int& counted) {
    for (int call = 0; call < calls; ++call)
        counted = co_await runOnWorker(context, [call] { return call + 1; });
}

// Whether the kernel holds the page at `address` advised to take large pages.
bool isAdvisedLargePages(const void* address) {
    QFile maps(QStringLiteral("/proc/self/smaps"));
    if (!maps.open(QIODevice::ReadOnly))
        return false;
    const auto at = quintptr(address);
    bool isInside = false;
    for (QByteArray line = maps.readLine(); !line.isEmpty(); line = maps.readLine()) {
        const qsizetype dash = line.indexOf('-');
        const qsizetype space = line.indexOf(' ');
        bool isStart = false;
        bool isEnd = false;
        const quintptr start = line.left(dash).toULongLong(&isStart, 16);
        const quintptr end = line.mid(dash + 1, space - dash - 1).toULongLong(&isEnd, 16);
        if (dash > 0 && space > dash && isStart && isEnd)
            isInside = start <= at && at < end;
        else if (isInside && line.startsWith("VmFlags:"))
            return line.split(' ').contains("hg");
    }
    return false;
}

} // namespace

class PlatformTest : public QObject {
    Q_OBJECT

private slots:
    // A block the allocator maps apart is advised from its first whole page
    // to its last; a smaller one, whose pages it may share, is left alone.
    // The zor command's link leads to the command-line tool: into the app in
    // /Applications on macOS, as installers assume; elsewhere beside this
    // program, wherever it was installed, since nothing puts it there.
    void theCommandsLinkLeadsToTheTool() {
#ifdef Q_OS_MACOS
        QCOMPARE(platformCliLinkTarget(), QString::fromLatin1(kCliLinkTarget));
#else
        QCOMPARE(platformCliLinkTarget(), QCoreApplication::applicationDirPath() + "/zor-cli");
#endif
    }

    void largeBlocksAreAdvisedLargePages() {
        QFile maps(QStringLiteral("/proc/self/smaps"));
        if (!QFile::exists(QStringLiteral("/sys/kernel/mm/transparent_hugepage/enabled")) ||
            !maps.open(QIODevice::ReadOnly) || !maps.readAll().contains("\nVmFlags:"))
            QSKIP("no large pages here, or no flags to see them by");
        const auto page = std::size_t(sysconf(_SC_PAGESIZE));
        const auto map = [](std::size_t size) {
            void* block =
                mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            return block == MAP_FAILED ? nullptr : static_cast<char*>(block);
        };
        const std::size_t size = kLargePagesBlockSize + 4 * page;
        char* large = map(size);
        char* small = map(kLargePagesBlockSize - page);
        QVERIFY(large && small);
        adviseLargePages(large + 100, size - 200);
        adviseLargePages(small, kLargePagesBlockSize - page);
        QVERIFY(!isAdvisedLargePages(large));
        QVERIFY(isAdvisedLargePages(large + page));
        QVERIFY(isAdvisedLargePages(large + size - 2 * page));
        QVERIFY(!isAdvisedLargePages(large + size - page));
        QVERIFY(!isAdvisedLargePages(small));
        munmap(large, size);
        munmap(small, kLargePagesBlockSize - page);
    }

    // A display or render node counts as a graphics device; what else the
    // directory holds does not, nor does a missing directory.
    void graphicsDevicesAreFoundByTheirNodes_data() {
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<bool>("isFound");
        QTest::newRow("none") << QStringList{} << false;
        QTest::newRow("render node") << QStringList{"renderD128"} << true;
        QTest::newRow("display node") << QStringList{"card0"} << true;
        QTest::newRow("only links by path") << QStringList{"by-path/"} << false;
    }

    void graphicsDevicesAreFoundByTheirNodes() {
        QFETCH(QStringList, entries);
        QFETCH(bool, isFound);
        QTemporaryDir dir;
        for (const QString& entry : entries) {
            if (entry.endsWith(u'/'))
                QVERIFY(QDir(dir.path()).mkdir(entry));
            else
                QVERIFY(QFile(dir.filePath(entry)).open(QIODevice::WriteOnly));
        }
        QCOMPARE(hasGraphicsDevice(dir.path()), isFound);
        QVERIFY(!hasGraphicsDevice(dir.filePath("missing")));
    }

    void logLinesRenderTheirPlaceholders() {
        LogCapture capture;
        const Logger& log = logger(LogCategory::notifications);
        log.info("Will reconnect to ZorAgent in %fs (attempt %ld/%ld)", {2.0, 1, 10});
        log.error("ZorAgent proxy error: %{public}s", {"gone"});
        log.error("ZorAgent proxy error (getBuildNumber): %s", {"gone"});
        log.error("unexpected ES client result: %{public}d", {-1});
        log.info("100%% done, %s left", {"nothing"});
        log.info("Too few: %s and %s", {"one"});
        log.info("Value: %s", {"100%% sure"});
        log.info("Padded %3ld, plain %ld, as text %s", {7, -9000000000LL, 12});

        // Each line in the clear, then as a reader without private access sees it.
        const QList<QStringList> expected = {
            {"Will reconnect to ZorAgent in 2.000000s (attempt 1/10)",
             "Will reconnect to ZorAgent in 2.000000s (attempt 1/10)"},
            {"ZorAgent proxy error: gone", "ZorAgent proxy error: gone"},
            {"ZorAgent proxy error (getBuildNumber): gone",
             "ZorAgent proxy error (getBuildNumber): <private>"},
            {"unexpected ES client result: -1", "unexpected ES client result: -1"},
            {"100% done, nothing left", "100% done, <private> left"},
            {"Too few: one and ", "Too few: <private> and "},
            {"Value: 100%% sure", "Value: <private>"},
            {"Padded   7, plain -9000000000, as text 12",
             "Padded   7, plain -9000000000, as text <private>"},
        };
        const QList<LogRecord> records = capture.records();
        QCOMPARE(records.size(), expected.size());
        for (qsizetype i = 0; i < records.size(); ++i) {
            QCOMPARE(records[i].category, LogCategory::notifications);
            QCOMPARE(records[i].message(), expected[i][0]);
            QCOMPARE(records[i].redactedMessage(), expected[i][1]);
            QVERIFY(sinkLine(records[i]).endsWith(": " + expected[i][0].toUtf8() + "\n"));
        }
        QCOMPARE(records[1].level, LogLevel::error);
    }

    // A format is read once for its call site; a buffer written again with
    // another text is read anew.
    void aFormatBufferWrittenAgainLogsItsNewText() {
        LogCapture capture;
        const Logger& log = logger(LogCategory::promptStore);
        char format[32];
        for (const char* text : {"First %{public}s", "Second %s", "First %{public}s"}) {
            std::snprintf(format, sizeof format, "%s", text);
            log.info(format, {"a"});
            log.info(format, {"b"});
        }
        QStringList lines;
        for (const LogRecord& record : capture.records())
            lines << record.redactedMessage();
        QCOMPARE(lines, (QStringList{"First a", "First b", "Second <private>", "Second <private>",
                                     "First a", "First b"}));
    }

    void textLinesEscapeValuesNotTheFormat_data() {
        QTest::addColumn<QString>("value");
        QTest::addColumn<QString>("line");
        QTest::newRow("forged line") << "s1\n[zor:notifications] info: Synced 9 prompts"
                                     << "Added s1\\n[zor:notifications] info: Synced 9 prompts.";
        QTest::newRow("NUL") << QStringLiteral("a") + QChar(0) + QStringLiteral("b")
                             << "Added a\\u{0000}b.";
        QTest::newRow("carriage return, tab") << "a\rb\tc"
                                              << "Added a\\rb\\tc.";
        QTest::newRow("backslash") << "a\\nb"
                                   << "Added a\\\\nb.";
        QTest::newRow("line separator") << QString::fromUtf16(u"a\u2028b") << "Added a\\u{2028}b.";
        QTest::newRow("percent") << "100%%"
                                 << "Added 100%%.";
        QTest::newRow("plain") << "/Users/ada/é"
                               << "Added /Users/ada/é.";
        QTest::newRow("beyond the basic plane")
            << QString::fromUtf16(u"a\U0001F600b") << QString::fromUtf16(u"Added a\U0001F600b.");
        QTest::newRow("escapes at both ends, an accent between")
            << QString::fromUtf16(u"\nà\\é\t") << QString::fromUtf16(u"Added \\nà\\\\é\\t.");
        QTest::newRow("nothing but escapes")
            << QString(64, u'\u0001') << "Added " + QString("\\u{0001}").repeated(64) + ".";
        QTest::newRow("bidi controls: an override, an isolate, the marks")
            << QString::fromUtf16(u"/a/\u202Etxt.sh \u2067x\u2069 \u200F\u200E\u061C")
            << "Added /a/\\u{202e}txt.sh \\u{2067}x\\u{2069} \\u{200f}\\u{200e}\\u{061c}.";
        QTest::newRow("delete, C1 control")
            << QString::fromUtf16(u"a\u007fb\u0085c") << "Added a\\u{007f}b\\u{0085}c.";
        // Long enough that plain text is checked many characters at a time.
        const QString printable = " !\"#$&'()*+,-./0123456789:;<=>?@[]^_`{|}~AZaz";
        QTest::newRow("printable ASCII, long") << printable << "Added " + printable + ".";
        QTest::newRow("delete deep in printable ASCII")
            << QString(37, u'x') + QChar(0x7f) + "yz"
            << "Added " + QString(37, u'x') + "\\u{007f}yz.";
        QTest::newRow("backslash deep in printable ASCII, last")
            << QString(33, u'y') + "\\"
            << "Added " + QString(33, u'y') + "\\\\.";
        QTest::newRow("unit separator deep in printable ASCII")
            << QString(20, u'z') + QChar(0x1f) + QString(20, u'z')
            << "Added " + QString(20, u'z') + "\\u{001f}" + QString(20, u'z') + ".";
    }
    void textLinesEscapeValuesNotTheFormat() {
        QFETCH(QString, value);
        QFETCH(QString, line);
        LogCapture capture;
        logger(LogCategory::promptStore).info("Added %{public}s.", {value});
        const LogRecord record = capture.records().value(0);
        QCOMPARE(record.escapedMessage(), line);
        QCOMPARE(record.message(), "Added " + value + ".");
        // A text log writes the escaped line, in UTF-8.
        QCOMPARE(QString::fromUtf8(sinkLine(record)),
                 "[" + logSubsystem() + ":prompt-store] info: " + line + "\n");
        // The unified log takes the value apart from its line, escaped the same.
        QCOMPARE(QString::fromUtf8(escapedLogValue(value)),
                 line.sliced(qsizetype(6)).chopped(1)); // without "Added " and "."
    }

    // A turn's lines go out together at its end; nothing is held back past
    // it, nor an error behind it, nor another thread's line.
    void textLinesGatheredInATurnAllGoOutInOrder() {
        std::FILE* file = std::tmpfile();
        QVERIFY(file);
        const Logger& log = logger(LogCategory::promptStore);
        {
            TextLogSink sink(file);
            setLogSink(&sink);
            {
                const LogGathering turn;
                log.info("Added prompt: %{public}s", {"a"});
                {
                    const LogGathering nested;
                    log.info("Added prompt: %{public}s", {"b"});
                }
                QCOMPARE(writtenTo(file), QByteArray());
                log.error("ZorAgent proxy error: %{public}s", {"gone"});
                QByteArray expected =
                    added("a") + added("b") + textLine("error", "ZorAgent proxy error: gone");
                QCOMPARE(writtenTo(file), expected);
                log.info("Added prompt: %{public}s", {"c"});
                std::thread([&log] { log.info("Added prompt: %{public}s", {"d"}); }).join();
                expected += added("c") + added("d");
                QCOMPARE(writtenTo(file), expected);
                log.fault("Added prompt: %{public}s", {"e"});
                expected += textLine("fault", "Added prompt: e");
                QCOMPARE(writtenTo(file), expected);
                log.info("Added prompt: %{public}s", {"f"});
            }
            QVERIFY(writtenTo(file).endsWith(added("f")));
            log.info("Added prompt: %{public}s", {"g"});
            QVERIFY(writtenTo(file).endsWith(added("g")));

            // Replaced while it gathers: its lines go out first.
            const LogGathering turn;
            log.info("Added prompt: %{public}s", {"h"});
            setLogSink(nullptr);
            QVERIFY(writtenTo(file).endsWith(added("h")));

            // Gone while it gathers.
            LogRecord record;
            record.category = LogCategory::promptStore;
            record.format = QStringLiteral("Added prompt: i");
            sink.write(record);
            QVERIFY(writtenTo(file).endsWith(added("h")));
        }
        QVERIFY(writtenTo(file).endsWith(added("h") + added("i")));
        std::fclose(file);
    }

    // The process may end in the middle of a turn; its lines still go out.
    void textLinesGatheredOutliveTheProcess() {
        if (isChildRun()) {
            const LogGathering turn;
            logger(LogCategory::promptStore).info("Added prompt: %{public}s", {"last"});
            std::exit(0);
        }
        const ChildRun child = runInChild();
        QVERIFY(!child.hasCrashed);
        QVERIFY2(child.output.contains(added("last")), child.output.constData());
    }

    void systemTimersFireUnlessCancelledOrTheirContextIsGone() {
        Clock& clock = systemClock();
        QObject context;
        QStringList fired;
        // Far enough ahead that a slow machine schedules the rest before it is due.
        clock.schedule(100ms, &context, [&] { fired << "later"; });
        const auto first = clock.schedule(0ms, &context, [&] { fired << "first"; });
        const auto cancelled = clock.schedule(0ms, &context, [&] { fired << "never"; });
        Clock::TimerId goneTimer = 0;
        {
            QObject gone;
            goneTimer = clock.schedule(0ms, &gone, [&] { fired << "gone"; });
        }
        QVERIFY(!clock.isPending(goneTimer));
        QVERIFY(clock.isPending(cancelled));
        clock.cancel(cancelled);
        QVERIFY(!clock.isPending(cancelled));
        QTRY_COMPARE(fired, (QStringList{"first", "later"}));
        QVERIFY(!clock.isPending(first));
        clock.cancel(first); // already fired: ignored
    }

    // A timer goes with its context, and the clock keeps nothing of it
    // however many come and go: a later start's read, a connection's deadline.
    void systemTimersOfGoneContextsLeaveNothing() {
#ifdef __GLIBC__
        Clock& clock = systemClock();
        const auto heapInUse = [] { return qint64(mallinfo2().uordblks); };
        const qint64 before = heapInUse();
        for (int i = 0; i < 100000; ++i) {
            QObject context;
            clock.schedule(1h, &context, []{});
        }
        QCOMPARE_LT(heapInUse() - before, 1 << 20);
#else
        QSKIP("counts the heap with glibc's mallinfo2");
#endif
    }

    // At the end, every call under way hands its result back and its
    // coroutine goes on, even a call that was started and done while the
    // results before it were being delivered.
    void workerCallsAllHandTheirResultsBackAtTheEnd() {
        QObject context;
        int counted = 0;
        countOnWorkers(&context, 3, counted);
        QThreadPool::globalInstance()->waitForDone(); // the first result is posted
        // Delivered right after that result: by then the second call has started,
        // and this waits until it is done and its result posted too.
        QMetaObject::invokeMethod(
            &context, [] { QThreadPool::globalInstance()->waitForDone(); }, Qt::QueuedConnection);
        finishWorkerCalls();
        QCOMPARE(counted, 3);
    }

    // The first request reaches the main thread, through the event loop;
    // another signal is one more request, not taken again; the same signal
    // again ends the process at once, in case ending hangs; a hangup the
    // process was started to ignore stays ignored. In a child process, which
    // the repeated signal ends.
    void terminationRequestsReachTheMainThreadOnce() {
        if (isChildRun()) {
            std::signal(SIGHUP, SIG_IGN);
            PosixTerminationSignals requests;
            int taken = 0;
            requests.watch([&taken] { ++taken; });
            std::raise(SIGHUP);
            std::raise(SIGINT);
            QCOMPARE(taken, 0);
            QTRY_COMPARE(taken, 1);
            std::raise(SIGTERM);
            QTest::qWait(50);
            QCOMPARE(taken, 1);
            std::puts("still running after another signal");
            std::fflush(stdout);
            std::raise(SIGINT);
            QFAIL("the repeated signal left the process running");
        }
        const ChildRun child = runInChild();
        QVERIFY2(child.hasCrashed, child.output.constData());
        QCOMPARE(QString::fromUtf8(child.output).count("Termination requested by "), 1);
        QVERIFY2(child.output.contains("Termination requested by SIGINT"),
                 child.output.constData());
        QVERIFY2(child.output.contains("still running after another signal"),
                 child.output.constData());
    }

    // The same signal again ends the process even while its main thread,
    // stuck, never takes the first: which is when a user sends it again.
    // Another signal right behind the first, as a logout sends its hangup
    // after SIGTERM, is one more request, and the process quits as asked,
    // whether the first was taken yet or not.
    void aRepeatedSignalEndsAStuckProcess_data() {
        QTest::addColumn<int>("second");
        QTest::addColumn<bool>("isFirstTaken");
        QTest::addColumn<bool>("isEnded");
        QTest::newRow("SIGTERM twice") << SIGTERM << false << true;
        QTest::newRow("SIGTERM, then a hangup") << SIGHUP << false << false;
        QTest::newRow("SIGTERM taken, then a hangup") << SIGHUP << true << false;
    }
    void aRepeatedSignalEndsAStuckProcess() {
        QFETCH(int, second);
        QFETCH(bool, isFirstTaken);
        QFETCH(bool, isEnded);
        if (isChildRun()) {
            PosixTerminationSignals requests;
            int taken = 0;
            requests.watch([&taken] { ++taken; });
            std::raise(SIGTERM);
            if (isFirstTaken)
                QTRY_COMPARE(taken, 1);
            std::raise(second);
            QTRY_COMPARE(taken, 1);
            QTest::qWait(50);
            QCOMPARE(taken, 1);
            return;
        }
        const ChildRun child = runInChild();
        QCOMPARE(child.hasCrashed, isEnded);
        QCOMPARE(QString::fromUtf8(child.output).count("Termination requested by SIGTERM"),
                 isEnded ? 0 : 1);
    }
};

QTEST_GUILESS_MAIN(PlatformTest)
#include "tst_platform.moc"
