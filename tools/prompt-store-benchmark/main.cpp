// Times the prompt store at the size the app must stay fluent with: 10,000
// pending prompts across 1,000 sessions and 200 policy files. Prints each
// figure against its limit and exits with status 1 when one is missed.
//
//   cmake -B build-release -DCMAKE_BUILD_TYPE=Release
//   ninja -C build-release prompt-store-benchmark
//   build-release/tools/prompt-store-benchmark/prompt-store-benchmark

#include "agent/PromptFeed.h"
#include "platform/Log.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "shared/SerializablePromptItem.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <simdjson.h>
#include <thread>

using namespace zor;
using namespace std::chrono_literals;

namespace {

constexpr int kPrompts = 10'000;
constexpr int kSessions = 1'000;
constexpr int kPolicies = 200;

using SteadyClock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

// The app's own text log, as it writes to standard error, into a file.
class FileLog {
public:
    FileLog()
        : file(std::tmpfile())
        , sink(file) {
        setLogSink(&sink);
    }
    ~FileLog() {
        setLogSink(nullptr);
        std::fclose(file);
    }

private:
    std::FILE* file;
    TextLogSink sink;
};

QString sessionId(int n) {
    return QStringLiteral("session-%1").arg(n, 4, 10, QLatin1Char('0'));
}

QString policyPath(int n) {
    return QStringLiteral("/Users/developer/projects/project-%1/.zor/policy.yml").arg(n);
}

Denial denialFor(int n) {
    const QString project =
        QStringLiteral("/Users/developer/projects/project-%1").arg(n % kPolicies);
    switch (n % 10) {
    case 0:
        return NetworkDenial{QStringLiteral("host-%1.example.org").arg(n), 443, "curl"};
    case 1:
        return ExecDenial{
            project + QStringLiteral("/bin/tool-%1").arg(n), {"--verbose", "build"}, "make"};
    case 2:
        return IoDeviceDenial{QStringLiteral("IODeviceClass%1").arg(n), "usbtool"};
    case 3:
        return SignalDenial{15, 1000 + n, "Finder", "kill"};
    default:
        return FileDenial{project + QStringLiteral("/src/module-%1/file.txt").arg(n), "write",
                          "node"};
    }
}

QList<SerializablePromptItem> dataset() {
    QList<SerializablePromptItem> records;
    records.reserve(kPrompts);
    for (int n = 0; n < kPrompts; ++n) {
        SerializablePromptItem record;
        record.id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        record.sessionId = sessionId(n % kSessions);
        record.policyPath = policyPath(n % kPolicies);
        record.denial = denialFor(n);
        record.createdAt =
            SerializablePromptItem::Time(1'714'567'890'000ms + std::chrono::milliseconds(n));
        records.append(std::move(record));
    }
    return records;
}

// What the agent link does with a sync reply.
void sync(PromptStore& store, const QByteArray& json) {
    const auto decoded = SerializablePromptItem::listFromJson(json);
    if (!decoded) {
        std::fprintf(stderr, "dataset does not decode: %s\n", qPrintable(decoded.error()));
        std::exit(2);
    }
    for (const SerializablePromptItem& record : decoded.value())
        store.addPrompt(promptIdFromText(record.id), record.sessionId, record.policyPath,
                        record.denial, record.isSessionEnded);
}

// A view that keeps what it read, so that every change meets a shared list.
class ObservingView {
public:
    explicit ObservingView(PromptStore& store) {
        QObject::connect(&store, &PromptStore::promptsChanged, &context,
                         [this, &store] { shown = store.prompts(); });
        for (const auto signal :
             {&PromptStore::promptAdded, &PromptStore::promptRemoved, &PromptStore::promptChanged})
            QObject::connect(&store, signal, &context,
                             [this](const PromptItem& item) { lastId = item.id; });
    }

private:
    QObject context;
    PromptList shown;
    QUuid lastId;
};

double median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

double timeOnce(const std::function<void()>& fn) {
    const auto start = SteadyClock::now();
    fn();
    return Micros(SteadyClock::now() - start).count();
}

bool report(const char* what, double value, double limit, const char* unit) {
    const bool isMet = value <= limit;
    std::printf("  %-62s %9.2f %s  (limit %g %s)  %s\n", what, value, unit, limit, unit,
                isMet ? "ok" : "MISSED");
    return isMet;
}

// The prompt list following a full store. Each event is the store's
// operation plus the model's row change; a filter switch is the model's
// rebuild, the one reset it makes.
bool benchmarkPromptList(const QByteArray& json) {
    PromptStore store;
    sync(store, json);
    PromptListModel list(store);
    qint64 rowChanges = 0;
    qint64 resets = 0;
    QObject::connect(&list, &QAbstractItemModel::rowsInserted, [&] { ++rowChanges; });
    QObject::connect(&list, &QAbstractItemModel::rowsRemoved, [&] { ++rowChanges; });
    QObject::connect(&list, &QAbstractItemModel::dataChanged, [&] { ++rowChanges; });
    QObject::connect(&list, &QAbstractItemModel::modelReset, [&] { ++resets; });
    QRandomGenerator random(11);
    bool isEveryLimitMet = true;

    std::vector<double> adds;
    std::vector<double> removals;
    for (int n = 0; n < 5000; ++n) {
        const PromptItem held = store.prompts().at(random.bounded(int(store.prompts().size())));
        adds.push_back(timeOnce(
            [&] { store.addPrompt(held.sessionId, held.policyPath, denialFor(kPrompts + n)); }));
        removals.push_back(timeOnce([&] { store.removePrompt(held.id); }));
    }
    std::vector<double> endings;
    for (int n = 0; n < kSessions; ++n) {
        const QString session = sessionId(n);
        endings.push_back(timeOnce([&] { store.markSessionEnded(session); }));
    }
    if (resets != 0 || rowChanges < 10'000 + kSessions || list.rowCount() != kPrompts)
        return false;
    isEveryLimitMet &=
        report("prompt list: add at the head (median of 5,000)", median(adds), 100, "us");
    isEveryLimitMet &= report("prompt list: removal at a random row (median of 5,000)",
                              median(removals), 100, "us");
    isEveryLimitMet &= report("prompt list: ended session, about 10 rows (median of 1,000)",
                              median(endings), 100, "us");

    const PromptFilter filters[] = {PromptFilter::policy(policyPath(3)),
                                    PromptFilter::session(sessionId(5)), PromptFilter::all()};
    std::vector<double> switches;
    for (int i = 0; i < 300; ++i) {
        const PromptFilter& filter = filters[i % 3];
        switches.push_back(timeOnce([&] { store.setFilter(filter); }));
    }
    if (resets != 300 || list.rowCount() != kPrompts)
        return false;
    isEveryLimitMet &= report("prompt list: filter switch and rebuild (median of 300, 1/3 all)",
                              median(switches) / 1000.0, 5, "ms");
    std::vector<double> toAll;
    for (std::size_t i = 2; i < switches.size(); i += 3)
        toAll.push_back(switches[i]);
    isEveryLimitMet &= report("prompt list: filter switch to all, 10,000 rows (median of 100)",
                              median(toAll) / 1000.0, 5, "ms");
    return isEveryLimitMet;
}

// The session sidebar following a full store while sessions keep coming: each
// event is the store's operation plus the model's row change.
bool benchmarkSessionSidebar(const QByteArray& json) {
    PromptStore store;
    sync(store, json);
    PromptsSidebarModel sidebar;
    sidebar.setGrouping(SidebarGrouping::session);
    sidebar.setStore(&store);
    QRandomGenerator random(7);
    std::vector<double> samples;
    for (int n = 0; n < 3000; ++n) {
        const PromptItem held = store.prompts().at(random.bounded(int(store.prompts().size())));
        switch (n % 3) {
        case 0: // a new session: a row at the top
            samples.push_back(timeOnce(
                [&] { store.addPrompt(sessionId(kSessions + n), held.policyPath, denialFor(n)); }));
            break;
        case 1: // a known session: its row moves to the top
            samples.push_back(timeOnce([&] {
                store.addPrompt(held.sessionId, held.policyPath, denialFor(kPrompts + n));
            }));
            break;
        default: // its row moves down or goes
            samples.push_back(timeOnce([&] { store.removePrompt(held.id); }));
        }
    }
    if (sidebar.rowCount() != store.uniqueSessionIds().size() + 1)
        return false;
    std::sort(samples.begin(), samples.end());
    const double p99 = samples[samples.size() * 99 / 100];
    std::printf("  session sidebar: %lld sessions after 1,000 new ones\n",
                qlonglong(sidebar.rowCount() - 1));
    const bool isMedianMet =
        report("session sidebar per add/removal (median of 3,000)", median(samples), 200, "us");
    const bool isTailMet =
        report("session sidebar per add/removal (99th percentile)", p99, 200, "us");
    return isMedianMet && isTailMet;
}

// A sync as the app runs it: the reply decoded on another thread, the records
// added on the main thread in turns, the real log written to a file. A 1 ms
// heartbeat on the main thread shows how long the event loop was kept waiting.
struct SyncRun {
    double totalMs = 0;
    double longestGapMs = 0;
};

SyncRun syncInTurns(const QByteArray& json) {
    auto store = std::make_unique<PromptStore>();
    ObservingView view(*store);
    PromptFeed feed([&store] { return store.get(); });
    QEventLoop loop;
    std::vector<SteadyClock::time_point> beats;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    heartbeat.setInterval(1);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] { beats.push_back(SteadyClock::now()); });
    int added = 0;
    SteadyClock::time_point end;
    QObject::connect(store.get(), &PromptStore::promptAdded, [&] {
        if (++added == kPrompts) {
            end = SteadyClock::now();
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        }
    });
    heartbeat.start();
    const auto start = SteadyClock::now();
    beats.push_back(start);
    std::thread decoder([&json, &feed] {
        auto decoded = SerializablePromptItem::partialListFromJson(json);
        QMetaObject::invokeMethod(
            &feed,
            [&feed, records = std::move(decoded).value().records]() mutable {
                feed.sync(std::move(records));
            },
            Qt::QueuedConnection);
    });
    loop.exec();
    decoder.join();
    heartbeat.stop();
    if (store->prompts().size() != kPrompts || feed.isSyncing()) {
        std::fprintf(stderr, "sync did not add every prompt\n");
        std::exit(2);
    }
    beats.push_back(end);
    SyncRun run;
    run.totalMs = std::chrono::duration<double, std::milli>(end - start).count();
    for (std::size_t i = 1; i < beats.size() && beats[i - 1] < end; ++i)
        run.longestGapMs = std::max(run.longestGapMs, std::chrono::duration<double, std::milli>(
                                                          std::min(beats[i], end) - beats[i - 1])
                                                          .count());
    return run;
}

bool benchmarkSyncInTurns(const QByteArray& json) {
    std::vector<double> totals;
    std::vector<double> gaps;
    for (int run = 0; run < 9; ++run) {
        const SyncRun result = syncInTurns(json);
        totals.push_back(result.totalMs);
        gaps.push_back(result.longestGapMs);
    }
    const double worstTotal = *std::max_element(totals.cbegin(), totals.cend());
    const double worstGap = *std::max_element(gaps.cbegin(), gaps.cend());
    std::printf("  sync with the text log in a file: worst %.2f ms; longest main-thread gap: "
                "median %.2f ms, worst %.2f ms\n",
                worstTotal, median(gaps), worstGap);
    bool isMet =
        report("sync: decode and add 10,000 records (median of 9)", median(totals), 50, "ms");
    isMet &= report("sync: longest main-thread gap (worst of 9 syncs)", worstGap, 16, "ms");
    return isMet;
}

// A field of /proc/self/status in kB; 0 where there is none.
qint64 statusKb(const char* field) {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    const QByteArray prefix = QByteArray(field) + ':';
    for (const QByteArray& line : status.readAll().split('\n'))
        if (line.startsWith(prefix))
            return line.mid(prefix.size()).trimmed().split(' ').value(0).toLongLong();
    return 0;
}

// Run in a process of its own so that nothing before it counts: resident
// memory of the empty app, then the sync of the reply in `path`, then resident
// and peak memory. Prints the three figures in kB.
int memoryChild(const QString& path) {
    FileLog log;
    PromptStore store;
    PromptFeed feed([&store] { return &store; });
    const qint64 emptyKb = statusKb("VmRSS");
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return 2;
        QByteArray reply = file.readAll();
        auto decoded = SerializablePromptItem::partialListFromJson(reply);
        reply = {};
        feed.sync(std::move(decoded).value().records);
    }
    while (feed.isSyncing())
        QCoreApplication::processEvents();
    if (store.prompts().size() != kPrompts)
        return 2;
    std::printf("%lld %lld %lld\n", emptyKb, statusKb("VmRSS"), statusKb("VmHWM"));
    return 0;
}

bool benchmarkMemory(const QByteArray& json) {
    QTemporaryFile reply;
    if (!reply.open() || reply.write(json) != json.size() || !reply.flush())
        return false;
    QProcess child;
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--memory-child"), reply.fileName()});
    if (!child.waitForFinished(60'000) || child.exitCode() != 0)
        return false;
    const QList<QByteArray> figures = child.readAllStandardOutput().trimmed().split(' ');
    if (figures.size() != 3 || figures[0].toLongLong() == 0)
        return false;
    const double empty = figures[0].toDouble();
    std::printf("  memory: empty app %.1f MB resident; after the sync %.1f MB resident, "
                "peak %.1f MB\n",
                empty / 1024, figures[1].toDouble() / 1024, figures[2].toDouble() / 1024);
    const double perPrompt = 1024.0 / kPrompts / 1024.0; // kB to KB per prompt
    std::printf("  %-62s %9.2f KB\n", "memory: resident above the empty app, per prompt",
                (figures[1].toDouble() - empty) * perPrompt);
    return report("memory: peak above the empty app, per prompt",
                  (figures[2].toDouble() - empty) * perPrompt, 2, "KB");
}

// The sync reply's decode beside the least work that hands back what it
// does: simdjson's DOM parse of the same bytes plus one QString for every
// string of the records, kept. A bare DOM parse and QJsonDocument are shown
// for scale. The contenders take turns, so that a busy machine slows each
// alike; the budget is the decoder's median over the floor's.
namespace decode {

// Every string value below `element`, as the records hold them.
void collectStrings(simdjson::dom::element element, QList<QString>& out) {
    switch (element.type()) {
    case simdjson::dom::element_type::OBJECT:
        for (const auto field : simdjson::dom::object(element))
            collectStrings(field.value, out);
        break;
    case simdjson::dom::element_type::ARRAY:
        for (const auto item : simdjson::dom::array(element))
            collectStrings(item, out);
        break;
    case simdjson::dom::element_type::STRING: {
        const std::string_view text(element);
        out.append(QString::fromUtf8(text.data(), qsizetype(text.size())));
        break;
    }
    default:
        break;
    }
}

simdjson::dom::element parse(simdjson::dom::parser& parser, const QByteArray& json) {
    simdjson::dom::element root;
    if (parser.parse(json.constData(), size_t(json.size())).get(root) != simdjson::SUCCESS) {
        std::fprintf(stderr, "decode: simdjson refuses the dataset\n");
        std::exit(2);
    }
    return root;
}

// What a contender hands back, freed after its time is taken.
using Result = std::shared_ptr<const void>;

template <typename T> Result keep(T value) {
    return std::make_shared<const T>(std::move(value));
}

struct Contender {
    const char* what;
    std::function<Result()> run;
    std::vector<double> samples;
};

bool benchmark(const QByteArray& json) {
    constexpr int kRounds = 31;
    constexpr double kBudget = 1.5;
    const auto decoded = SerializablePromptItem::partialListFromJson(json);
    if (!decoded || decoded.value().records.size() != kPrompts ||
        !decoded.value().failures.isEmpty()) {
        std::fprintf(stderr, "decode: the dataset does not decode whole\n");
        std::exit(2);
    }
    simdjson::dom::parser parser;
    std::vector<Contender> contenders = {
        {"floor: simdjson DOM parse and a QString per string",
         [&] {
             QList<QString> strings;
             collectStrings(parse(parser, json), strings);
             return keep(std::move(strings));
         },
         {}},
        {"simdjson DOM parse alone", [&] { return keep(parse(parser, json)); }, {}},
        {"QJsonDocument::fromJson", [&] { return keep(QJsonDocument::fromJson(json)); }, {}},
        {"SerializablePromptItem::partialListFromJson",
         [&] { return keep(SerializablePromptItem::partialListFromJson(json)); },
         {}},
    };
    for (int round = -1; round < kRounds; ++round) // round -1 warms up
        for (Contender& contender : contenders) {
            Result result;
            const double sample = timeOnce([&] { result = contender.run(); });
            if (round >= 0)
                contender.samples.push_back(sample / 1000.0);
        }
    const double floorMedian = median(contenders.front().samples);
    std::printf("  decode of the sync payload, %d rounds, simdjson kernel \"%s\"\n", kRounds,
                std::string(simdjson::get_active_implementation()->name()).c_str());
    for (const Contender& contender : contenders)
        std::printf("    %-56s median %6.2f ms  worst %6.2f ms  %5.2fx the floor\n", contender.what,
                    median(contender.samples),
                    *std::max_element(contender.samples.cbegin(), contender.samples.cend()),
                    median(contender.samples) / floorMedian);
    return report("decode: partialListFromJson over the floor (median)",
                  median(contenders.back().samples) / floorMedian, kBudget, "x");
}

} // namespace decode

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc == 3 && QByteArray(argv[1]) == "--memory-child")
        return memoryChild(QString::fromLocal8Bit(argv[2]));
    FileLog log;

    std::printf("prompt-store benchmark: %d prompts, %d sessions, %d policy files (%s build)\n",
                kPrompts, kSessions, kPolicies,
                *ZOR_BENCHMARK_BUILD_TYPE ? ZOR_BENCHMARK_BUILD_TYPE : "unspecified");
    const QList<SerializablePromptItem> records = dataset();
    const QByteArray json = SerializablePromptItem::listToJson(records);
    std::printf("  sync payload: %.1f MB of JSON\n", json.size() / 1e6);
    bool isEveryLimitMet = true;

    isEveryLimitMet &= decode::benchmark(json);
    isEveryLimitMet &= benchmarkSyncInTurns(json);
    isEveryLimitMet &= benchmarkMemory(json);

    PromptStore store;
    sync(store, json);
    ObservingView view(store);
    QRandomGenerator random(42);

    // A duplicate of a held prompt: same policy, kind and target, new id and session.
    {
        std::vector<double> samples;
        for (int i = 0; i < 5000; ++i) {
            const PromptItem& held =
                store.prompts().at(random.bounded(int(store.prompts().size())));
            const QString session = sessionId(random.bounded(kSessions));
            const QString path = held.policyPath;
            const Denial denial = held.denial;
            samples.push_back(timeOnce(
                [&] { store.addPrompt(QUuid::createUuid(), session, path, denial, false); }));
        }
        if (store.prompts().size() != kPrompts)
            return 2;
        isEveryLimitMet &=
            report("add replacing a duplicate (median of 5,000)", median(samples), 50, "us");
    }

    // Removals at random rows, each followed (untimed) by an add that keeps the size.
    {
        std::vector<double> samples;
        for (int i = 0; i < 5000; ++i) {
            const PromptItem held = store.prompts().at(random.bounded(int(store.prompts().size())));
            samples.push_back(timeOnce([&] { store.removePrompt(held.id); }));
            store.addPrompt(QUuid::createUuid(), held.sessionId, held.policyPath, held.denial,
                            false);
        }
        isEveryLimitMet &= report("removePrompt (median of 5,000)", median(samples), 50, "us");
    }

    // Every session once, while none of its prompts has ended yet.
    {
        std::vector<double> samples;
        for (int n = 0; n < kSessions; ++n) {
            const QString session = sessionId(n);
            samples.push_back(timeOnce([&] { store.markSessionEnded(session); }));
        }
        isEveryLimitMet &= report("markSessionEnded, about 10 prompts each (median of 1,000)",
                                  median(samples), 10, "us");
    }

    // What the list and the sidebar compute on each redraw.
    const auto sidebarByPolicy = [&store] {
        qsizetype total = store.prompts().size();
        for (const QString& path : store.uniquePolicyPaths())
            total += store.promptCountForPolicy(path) + store.policyDisplayName(path).size();
        return total;
    };
    const auto sidebarBySession = [&store] {
        qsizetype total = store.prompts().size();
        for (const QString& session : store.uniqueSessionIds())
            total += store.promptCountForSession(session) +
                     store.sessionPolicyName(session).size() +
                     store.policyPathForSession(session).value_or(QString()).size();
        return total;
    };
    const struct {
        const char* what;
        PromptFilter filter;
        std::function<qsizetype()> sidebar;
    } redraws[] = {
        {"filtered list (all) and sidebar by policy, with counts", PromptFilter::all(),
         sidebarByPolicy},
        {"filtered list (one policy) and sidebar by policy, with counts",
         PromptFilter::policy(policyPath(7)), sidebarByPolicy},
        {"filtered list (one session) and sidebar by session, with counts",
         PromptFilter::session(sessionId(7)), sidebarBySession},
    };
    for (const auto& redraw : redraws) {
        store.setFilter(redraw.filter);
        std::vector<double> samples;
        qsizetype checksum = 0;
        for (int i = 0; i < 200; ++i)
            samples.push_back(timeOnce([&] {
                const PromptList shown = store.filteredPrompts();
                for (const PromptItem& item : shown)
                    checksum += item.sessionEnded;
                checksum += redraw.sidebar();
            }));
        if (checksum == 0)
            return 2;
        isEveryLimitMet &= report(redraw.what, median(samples) / 1000.0, 1, "ms");
    }

    isEveryLimitMet &= benchmarkSessionSidebar(json);

    isEveryLimitMet &= benchmarkPromptList(json);

    std::printf("%s\n", isEveryLimitMet ? "every limit met" : "a limit was missed");
    return isEveryLimitMet ? 0 : 1;
}
