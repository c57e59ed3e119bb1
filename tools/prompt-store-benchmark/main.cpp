// Times the prompt store as the app holds it -- the prompt list and both
// sidebars following it, the attention counting, the text log written to a
// file -- at 10,000 pending prompts across 1,000 sessions and 200 policy
// files and at 100,000 across 10,000 sessions, the two sizes' syncs and single
// events taking turns; first the decode of the sync reply beside simdjson.
// Each line gives the median, the worst and the ratio to a floor taken in the
// same run, taking turns with the figure, and the CPU time the figure took; a
// noisy machine stretches the figure and its floor alike, and moves the CPU
// time least. Exits with status 1 when a budget is missed.
//
//   cmake -B build-release -DCMAKE_BUILD_TYPE=Release
//   ninja -C build-release prompt-store-benchmark
//   build-release/tools/prompt-store-benchmark/prompt-store-benchmark

#include "agent/PromptFeed.h"
#include "platform/Announcer.h"
#include "platform/Clock.h"
#include "platform/IconBadge.h"
#include "platform/Log.h"
#include "platform/UserNotifications.h"
#include "prompts/AppState.h"
#include "prompts/IncomingPrompt.h"
#include "prompts/PromptAttention.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "prompts/SidebarModels.h"
#include "prompts/WindowPresence.h"
#include "shared/ParserRoom.h"
#include "shared/SerializablePromptItem.h"
#include "tools/common/BatchedSync.h"
#include "tools/common/FileLog.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryFile>
#include <QThreadPool>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <functional>
#include <memory>
#include <simdjson.h>
#include <sys/resource.h>
#include <thread>
#include <tuple>

using namespace zor;
using namespace std::chrono_literals;

namespace {

struct Scale {
    int prompts;
    int sessions;
    int policies;
};
constexpr Scale kBase{10'000, 1'000, 200};
constexpr Scale kLarge{100'000, 10'000, 200};

bool isBase(const Scale& scale) {
    return scale.prompts == kBase.prompts;
}

// Budgets, on an idle machine; all but the gap's and the memory's at the
// base size only.
constexpr double kSyncBudgetMs = 25;
constexpr double kGapBudgetMs = 8; // under one frame at 120 Hz
constexpr double kEventBudgetUs = 5;
constexpr double kPeakBudgetKb = 1.5;
constexpr double kFilterSwitchBudgetMs = 5;
constexpr double kSearchBudgetMs = 2;
// From 10,000 prompts to 100,000.
constexpr double kEventGrowthBudget = 1.5;
constexpr double kSyncGrowthBudget = 12;
constexpr double kMemoryGrowthBudget = 1.1;

using SteadyClock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

double cpuMicros(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e6 + double(now.tv_nsec) / 1e3;
}

// The kernel's work for this process: the pages it gave the process on first
// touch (minor faults), and its CPU time. A sync whose buffers the allocator
// maps afresh, as it does above its mapping threshold, pays for each page again.
struct KernelWork {
    double pageFaults = 0;
    double systemMicros = 0;
};

class KernelMeter {
public:
    KernelMeter()
        : start(now()) {}

    // What the kernel did since the meter was made.
    KernelWork read() const {
        const rusage end = now();
        return {double(end.ru_minflt - start.ru_minflt),
                micros(end.ru_stime) - micros(start.ru_stime)};
    }

private:
    static rusage now() {
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        return usage;
    }
    static double micros(timeval time) { return double(time.tv_sec) * 1e6 + double(time.tv_usec); }

    rusage start;
};

// The system's side of the attention, which takes no time in the app's process.
class NoSystem final : public IconBadge,
                       public UserNotifications,
                       public Announcer,
                       public WindowPresence {
public:
    void setCount(qint64) override {}
    void setActionHandler(ActionHandler) override {}
    void post(const UserNotice&) override {}
    void announce(const QString&) override {}
    bool isInFront() const override { return false; }
};

// The store as the app holds it, on its policies tab, and what follows it
// there: the prompt list, the sidebar's models, and the icon's count and
// notices.
class AppViews {
public:
    AppViews()
        : list(store())
        , attention(store(), {systemClock(), system, system, system, system}, {}) {}

    PromptStore& store() { return *appState.promptStore(); }
    const PromptListModel& promptList() const { return list; }
    const PromptsSidebarModel& policySidebar() const { return *sidebars.shown(); }

private:
    AppState appState;
    NoSystem system;
    SidebarModels sidebars{appState};
    PromptListModel list;
    PromptAttention attention;
};

QString sessionId(int n) {
    return QStringLiteral("session-%1").arg(n, 5, 10, QLatin1Char('0'));
}

QString policyPath(int n) {
    return QStringLiteral("/Users/developer/projects/project-%1/.zor/policy.yml").arg(n);
}

Denial denialFor(const Scale& scale, int n) {
    const QString project =
        QStringLiteral("/Users/developer/projects/project-%1").arg(n % scale.policies);
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

QList<SerializablePromptItem> dataset(const Scale& scale) {
    QList<SerializablePromptItem> records;
    records.reserve(scale.prompts);
    for (int n = 0; n < scale.prompts; ++n) {
        SerializablePromptItem record;
        record.id = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
        record.sessionId = sessionId(n % scale.sessions);
        record.policyPath = policyPath(n % scale.policies);
        record.denial = denialFor(scale, n);
        record.createdAt =
            SerializablePromptItem::Time(1'714'567'890'000ms + std::chrono::milliseconds(n));
        records.append(std::move(record));
    }
    return records;
}

QList<SerializablePromptItem> decode(const QByteArray& json, qsizetype expected) {
    auto decoded = SerializablePromptItem::partialListFromJson(json);
    if (!decoded || decoded.value().records.size() != expected) {
        std::fprintf(stderr, "the dataset does not decode whole\n");
        std::exit(2);
    }
    return std::move(decoded).value().records;
}

double median(std::vector<double> samples) {
    std::sort(samples.begin(), samples.end());
    return samples[samples.size() / 2];
}

double worst(const std::vector<double>& samples) {
    return *std::max_element(samples.cbegin(), samples.cend());
}

// Samples of one figure, and the CPU time each took where that means something.
struct Samples {
    std::vector<double> values;
    std::vector<double> cpu;

    // One sample of `fn` on this thread: wall-clock and CPU time in microseconds.
    template <typename Fn> void take(Fn&& fn) {
        const double cpuStart = cpuMicros(CLOCK_THREAD_CPUTIME_ID);
        const auto start = SteadyClock::now();
        fn();
        const auto end = SteadyClock::now();
        cpu.push_back(cpuMicros(CLOCK_THREAD_CPUTIME_ID) - cpuStart);
        values.push_back(Micros(end - start).count());
    }
    void add(double value) { values.push_back(value); }
    void add(double value, double cpuTime) {
        values.push_back(value);
        cpu.push_back(cpuTime);
    }
};

// What a figure's line checks against a limit: its median, its worst, or
// its median over the floor's.
struct Limit {
    enum Of { onMedian, onWorst, onRatio };
    double value = 0; // none when 0
    Of of = onMedian;
};

// A figure's line: median, worst, the ratio of its median to the floor's, the
// CPU time's median; then its limit, if any.
bool printFigure(const char* what, const Samples& figure, const Samples& floor, double scale,
                 const char* unit, Limit limit = {}) {
    const double value = median(figure.values) / scale;
    const double worstValue = worst(figure.values) / scale;
    const double ratio = median(figure.values) / median(floor.values);
    std::printf("  %-50s %8.2f %8.2f %-2s %6.2fx", what, value, worstValue, unit, ratio);
    if (!figure.cpu.empty())
        std::printf("  cpu %8.2f", median(figure.cpu) / scale);
    if (limit.value <= 0) {
        std::printf("\n");
        return true;
    }
    const double checked = limit.of == Limit::onWorst   ? worstValue
                           : limit.of == Limit::onRatio ? ratio
                                                        : value;
    const bool isMet = checked <= limit.value;
    std::printf("  (limit %g%s)  %s\n", limit.value,
                limit.of == Limit::onWorst   ? ", worst"
                : limit.of == Limit::onRatio ? "x the floor"
                                             : "",
                isMet ? "ok" : "MISSED");
    return isMet;
}

void printHeader(const char* unit) {
    std::printf("  %-50s %8s %8s %-2s %7s  %12s\n", "", "median", "worst", unit, "floor",
                "cpu median");
}

// What one size of store measured, for the comparison of sizes.
struct Figures {
    Samples syncFloor;
    Samples sync;
    // The kernel's part of each: page faults, with its CPU time in microseconds.
    Samples syncFloorFaults;
    Samples syncFaults;
    Samples idleGaps;
    Samples gaps;
    Samples eventFloor;
    Samples adds;
    Samples duplicates;
    Samples removals;
    Samples endings;
    Samples memoryFloor;
    Samples peak;
};

// A sync as the app runs it: the reply decoded on another thread, the records
// added on the main thread in turns, with the views attached and the log
// written. A 1 ms heartbeat on the main thread shows how long the event loop
// was kept waiting.
struct SyncRun {
    double wallMs = 0;
    double cpuMs = 0; // both threads
    double longestGapMs = 0;
    // How long the main thread ran in that gap; the rest, it waited for a
    // processor, which another thread had.
    double longestGapRunningMs = 0;
    KernelWork kernel;
};

SyncRun syncInTurns(const QByteArray& json, qsizetype count) {
    AppViews views;
    PromptStore& store = views.store();
    PromptFeed feed([&store] { return &store; }, systemClock());
    QEventLoop loop;
    struct Beat {
        SteadyClock::time_point at;
        double mainCpuMicros = 0;
    };
    const auto beat = [] { return Beat{SteadyClock::now(), cpuMicros(CLOCK_THREAD_CPUTIME_ID)}; };
    std::vector<Beat> beats;
    beats.reserve(10'000);
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    heartbeat.setInterval(1);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] { beats.push_back(beat()); });
    Beat end;
    double cpuEnd = 0;
    heartbeat.start();
    const KernelMeter kernel;
    const double cpuStart = cpuMicros(CLOCK_PROCESS_CPUTIME_ID);
    beats.push_back(beat());
    const SteadyClock::time_point start = beats.back().at;
    std::thread decoder([&json, &feed, &loop, &end, &cpuEnd, &beat] {
        tools::readSyncInBatches(json, feed, [&] {
            // On the main thread, where the feed adds.
            end = beat();
            cpuEnd = cpuMicros(CLOCK_PROCESS_CPUTIME_ID);
            QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        });
    });
    loop.exec();
    decoder.join();
    heartbeat.stop();
    SyncRun run;
    run.kernel = kernel.read();
    if (store.prompts().size() != count || views.promptList().count() != count ||
        views.policySidebar().rowCount() != store.uniquePolicyPaths().size() + 1) {
        std::fprintf(stderr, "the sync did not add every prompt\n");
        std::exit(2);
    }
    beats.push_back(end);
    run.wallMs = std::chrono::duration<double, std::milli>(end.at - start).count();
    run.cpuMs = (cpuEnd - cpuStart) / 1000;
    for (std::size_t i = 1; i < beats.size() && beats[i - 1].at < end.at; ++i) {
        const Beat& until = beats[i].at < end.at ? beats[i] : end;
        const double gapMs =
            std::chrono::duration<double, std::milli>(until.at - beats[i - 1].at).count();
        if (gapMs > run.longestGapMs) {
            run.longestGapMs = gapMs;
            run.longestGapRunningMs = (until.mainCpuMicros - beats[i - 1].mainCpuMicros) / 1000;
        }
    }
    return run;
}

// The least work that ends where a sync ends: the reply decoded and each
// record held by its id as the item the store keeps, appended to a plain
// vector. No store can do less: it decodes the same and keeps the same, and
// also orders, indexes, logs and tells the views.
void syncFloor(const QByteArray& json, qsizetype count) {
    const QList<SerializablePromptItem> records = decode(json, count);
    std::vector<PromptItem> items;
    items.reserve(std::size_t(records.size()));
    QHash<QUuid, qsizetype> rowById;
    rowById.reserve(records.size());
    for (const SerializablePromptItem& record : records) {
        items.push_back(PromptItem{promptIdFromText(record.id),
                                   record.sessionId,
                                   record.policyPath,
                                   record.denial,
                                   {},
                                   record.isSessionEnded});
        rowById.insert(items.back().id, qsizetype(items.size()) - 1);
    }
}

// The longest gap between the beats of a 1 ms heartbeat on an idle event loop.
double idleGapMs(std::chrono::milliseconds duration) {
    QEventLoop loop;
    SteadyClock::time_point last = SteadyClock::now();
    double longest = 0;
    QTimer heartbeat;
    heartbeat.setTimerType(Qt::PreciseTimer);
    heartbeat.setInterval(1);
    QObject::connect(&heartbeat, &QTimer::timeout, [&] {
        const auto now = SteadyClock::now();
        longest = std::max(longest, std::chrono::duration<double, std::milli>(now - last).count());
        last = now;
    });
    heartbeat.start();
    QTimer::singleShot(duration, &loop, &QEventLoop::quit);
    loop.exec();
    return longest;
}

// One size of store: its sync reply and what was measured of it.
struct ScaleRun {
    Scale scale;
    QByteArray json;
    Figures figures;
};

// The syncs of both sizes take turns, as each does with its floor, so that a
// busy moment of the machine slows both sizes alike and their growth is the
// code's. Each size's turn starts with a sync that is not counted: after the
// other size, the heap may have handed its pages back, and the first sync
// would pay for them again. The heartbeat's floor is its own longest gap with
// nothing to do for as long.
void measureSyncs(std::vector<ScaleRun>& runs) {
    for (int run = 0; run < 9; ++run)
        for (ScaleRun& scaleRun : runs) {
            Figures& figures = scaleRun.figures;
            syncInTurns(scaleRun.json, scaleRun.scale.prompts);
            const SyncRun result = syncInTurns(scaleRun.json, scaleRun.scale.prompts);
            figures.sync.add(result.wallMs * 1000, result.cpuMs * 1000);
            figures.gaps.add(result.longestGapMs, result.longestGapRunningMs);
            figures.syncFaults.add(result.kernel.pageFaults, result.kernel.systemMicros);
            const KernelMeter floorKernel;
            figures.syncFloor.take([&] { syncFloor(scaleRun.json, scaleRun.scale.prompts); });
            const KernelWork floorWork = floorKernel.read();
            figures.syncFloorFaults.add(floorWork.pageFaults, floorWork.systemMicros);
            figures.idleGaps.add(idleGapMs(std::chrono::milliseconds(qint64(result.wallMs) + 1)));
        }
}

bool printSyncs(const Scale& scale, const Figures& figures) {
    std::printf("  sync of %d records: read on a thread in batches, added in turns (9 syncs)\n",
                scale.prompts);
    printHeader("ms");
    bool isMet = printFigure("sync: the floor, decode into a vector and a QHash", figures.syncFloor,
                             figures.syncFloor, 1000, "ms");
    isMet &= printFigure("sync: decode and add, views and log attached", figures.sync,
                         figures.syncFloor, 1000, "ms", {isBase(scale) ? kSyncBudgetMs : 0});
    // Why a sync may grow faster than its records: what the kernel did for it.
    const Samples& faults = figures.syncFaults;
    const Samples& floorFaults = figures.syncFloorFaults;
    std::printf("  %-50s %8.0f %8.0f     kernel %.1f ms; the floor: %.0f, %.1f ms\n",
                "sync: pages first touched (minor faults)", median(faults.values),
                worst(faults.values), median(faults.cpu) / 1000, median(floorFaults.values),
                median(floorFaults.cpu) / 1000);
    printFigure("gap: the floor, an idle 1 ms heartbeat's longest", figures.idleGaps,
                figures.idleGaps, 1, "ms");
    isMet &= printFigure("gap: the heartbeat's longest during the sync", figures.gaps,
                         figures.idleGaps, 1, "ms", {kGapBudgetMs, Limit::onWorst});
    // Whether the worst gap was the app's work or a wait for a processor: the
    // main thread's CPU time in it, the line's column above for the median.
    const Samples& gaps = figures.gaps;
    const std::size_t worstGap = std::size_t(
        std::max_element(gaps.values.cbegin(), gaps.values.cend()) - gaps.values.cbegin());
    std::printf("  %-50s %8.2f ms of its %.2f ms\n", "gap: the main thread running, in the worst",
                gaps.cpu[worstGap], gaps.values[worstGap]);
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
// memory of the empty app, with the views attached; of the decoded records;
// after the sync of the reply in `path`; and the peak. Prints the four
// figures in kB.
int memoryChild(const QString& path, qsizetype count) {
    tools::FileLog log;
    AppViews views;
    PromptStore& store = views.store();
    PromptFeed feed([&store] { return &store; }, systemClock());
    const qint64 emptyKb = statusKb("VmRSS");
    qint64 decodedKb = 0;
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return 2;
        QByteArray reply = file.readAll();
        makeParserRoom(reply);
        auto decoded = SerializablePromptItem::partialListFromJson(reply);
        reply = {};
        decodedKb = statusKb("VmRSS");
        feed.sync(incomingPrompts(std::move(decoded).value().records));
    }
    while (feed.isSyncing())
        QCoreApplication::processEvents();
    // The sync's spent records are freed on a worker.
    QThreadPool::globalInstance()->waitForDone();
    if (store.prompts().size() != count)
        return 2;
    std::printf("%lld %lld %lld %lld\n", emptyKb, decodedKb, statusKb("VmRSS"), statusKb("VmHWM"));
    return 0;
}

bool benchmarkMemory(const Scale& scale, const QByteArray& json, Figures& figures) {
    QTemporaryFile reply;
    if (!reply.open() || reply.write(json) != json.size() || !reply.flush())
        return false;
    // KB per prompt above the empty app.
    Samples& decoded = figures.memoryFloor;
    Samples resident;
    Samples& peak = figures.peak;
    for (int run = 0; run < 3; ++run) {
        QProcess child;
        child.start(
            QCoreApplication::applicationFilePath(),
            {QStringLiteral("--memory-child"), reply.fileName(), QString::number(scale.prompts)});
        if (!child.waitForFinished(120'000) || child.exitCode() != 0)
            return false;
        const QList<QByteArray> kb = child.readAllStandardOutput().trimmed().split(' ');
        if (kb.size() != 4 || kb[0].toLongLong() == 0)
            return false;
        const auto perPrompt = [&](const QByteArray& figure) {
            return (figure.toDouble() - kb[0].toDouble()) / scale.prompts;
        };
        decoded.add(perPrompt(kb[1]));
        resident.add(perPrompt(kb[2]));
        peak.add(perPrompt(kb[3]));
    }
    std::printf("  memory per prompt above the empty app, views attached (3 processes)\n");
    printHeader("KB");
    printFigure("memory: the floor, the decoded records", decoded, decoded, 1, "KB");
    printFigure("memory: resident after the sync", resident, decoded, 1, "KB");
    return printFigure("memory: peak", peak, decoded, 1, "KB", {kPeakBudgetKb});
}

// The sync reply's decode beside the least work that hands back what it
// does: simdjson's DOM parse of the same bytes plus one QString for every
// string of the records, kept. A bare DOM parse and QJsonDocument are shown
// for scale. The contenders take turns, so that a busy machine slows each
// alike; the budget is the decoder's median over the floor's.
namespace decoding {

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
    // Where it is, as the decoder reads it, when the reply has the room.
    if (parser.parse(json.constData(), size_t(json.size()), !hasParserRoom(json)).get(root) !=
        simdjson::SUCCESS) {
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
    Samples samples;
};

bool benchmark(const QByteArray& json, qsizetype count) {
    constexpr int kRounds = 31;
    constexpr double kBudget = 1.5;
    const auto decoded = SerializablePromptItem::partialListFromJson(json);
    if (!decoded || decoded.value().records.size() != count ||
        !decoded.value().failures.isEmpty()) {
        std::fprintf(stderr, "decode: the dataset does not decode whole\n");
        std::exit(2);
    }
    simdjson::dom::parser parser;
    std::vector<Contender> contenders = {
        {"decode: the floor, simdjson DOM and a QString each",
         [&] {
             QList<QString> strings;
             collectStrings(parse(parser, json), strings);
             return keep(std::move(strings));
         },
         {}},
        {"decode: simdjson DOM parse alone", [&] { return keep(parse(parser, json)); }, {}},
        {"decode: QJsonDocument::fromJson",
         [&] { return keep(QJsonDocument::fromJson(json)); },
         {}},
        {"decode: partialListFromJson",
         [&] { return keep(SerializablePromptItem::partialListFromJson(json)); },
         {}},
    };
    for (int round = -1; round < kRounds; ++round) // round -1 warms up
        for (Contender& contender : contenders) {
            Samples warmUp;
            Result result;
            (round < 0 ? warmUp : contender.samples).take([&] { result = contender.run(); });
        }
    std::printf("  decode of the sync reply, %d rounds, simdjson kernel \"%s\"\n", kRounds,
                std::string(simdjson::get_active_implementation()->name()).c_str());
    printHeader("ms");
    const Samples& floor = contenders.front().samples;
    for (std::size_t i = 0; i + 1 < contenders.size(); ++i)
        printFigure(contenders[i].what, contenders[i].samples, floor, 1000, "ms");
    return printFigure(contenders.back().what, contenders.back().samples, floor, 1000, "ms",
                       {kBudget, Limit::onRatio});
}

} // namespace decoding

// A store filled by one batch, as a sync leaves it, with the views attached.
void fill(PromptStore& store, const Scale& scale) {
    store.beginChanges();
    for (const SerializablePromptItem& record : dataset(scale))
        store.addPrompt(promptIdFromText(record.id), record.sessionId, record.policyPath,
                        record.denial, record.isSessionEnded);
    store.endChanges();
}

// Single events on a full store with the views attached, each the store's
// operation, the views' row changes and the log line: what the main thread
// does. A new prompt comes to it with its key worked out, as the connection
// thread hands it over. The floor is a QHash insert into one holding as many
// prompts.
class EventRun {
public:
    EventRun(const Scale& scale, Figures& figures, quint32 seed)
        : scale(scale)
        , figures(figures)
        , random(seed) {
        fill(views.store(), scale);
        for (const PromptItem& item : store().prompts()) {
            floorHash.insert(item.id, item);
            floorIds.push_back(item.id);
        }
    }

    // A new prompt, a removal, and a duplicate: the store keeps its size.
    void round() {
        // A new prompt in a session that has some: its session and policy move to the top.
        const PromptItem held = randomHeld();
        PromptItem floorItem = held;
        floorItem.id = QUuid::createUuid();
        figures.eventFloor.take([&] { floorHash.insert(floorItem.id, floorItem); });
        std::swap(floorIds[random.bounded(quint32(floorIds.size()))], floorIds.back());
        floorHash.remove(floorIds.back());
        floorIds.back() = floorItem.id;

        IncomingPrompt fresh(QUuid::createUuid(), held.sessionId, held.policyPath,
                             denialFor(scale, scale.prompts + added++), false);
        figures.adds.take([&] { store().addPrompt(std::move(fresh)); });
        // A removal at a random row keeps the size.
        const QUuid removed = randomHeld().id;
        figures.removals.take([&] { store().removePrompt(removed); });
        // The same request again, from another session: it replaces the held one.
        const PromptItem duplicated = randomHeld();
        IncomingPrompt duplicate(QUuid::createUuid(), sessionId(random.bounded(scale.sessions)),
                                 duplicated.policyPath, duplicated.denial, false);
        figures.duplicates.take([&] { store().addPrompt(std::move(duplicate)); });
    }

    // A session's end, while none of its prompts has ended yet.
    void endSession(int n) {
        const QString session = sessionId(n);
        figures.endings.take([&] { store().markSessionEnded(session); });
    }

    bool hasKeptItsSize() {
        return store().prompts().size() == scale.prompts &&
               views.promptList().count() == scale.prompts;
    }

private:
    PromptStore& store() { return views.store(); }
    PromptItem randomHeld() {
        return store().prompts().at(random.bounded(int(store().prompts().size())));
    }

    const Scale& scale;
    Figures& figures;
    AppViews views;
    QHash<QUuid, PromptItem> floorHash;
    std::vector<QUuid> floorIds;
    QRandomGenerator random;
    int added = 0;
};

// The sizes take turns, as the syncs do, so that a slow spell of the machine
// slows both alike and their growth is the code's. Each turn fills a store of
// its own, as the app's is, alone in the caches and in a heap that the other
// size left as its own turn left it; every session ends once, a part in each.
void measureEvents(std::vector<ScaleRun>& runs) {
    constexpr int kTurns = 4;
    constexpr int kRoundsPerTurn = 1250;
    for (int turn = 0; turn < kTurns; ++turn)
        for (ScaleRun& run : runs) {
            EventRun rig(run.scale, run.figures, quint32(42 + turn));
            for (int n = 0; n < kRoundsPerTurn; ++n)
                rig.round();
            const int sessions = run.scale.sessions;
            for (int n = sessions * turn / kTurns; n < sessions * (turn + 1) / kTurns; ++n)
                rig.endSession(n);
            if (!rig.hasKeptItsSize()) {
                std::fprintf(stderr, "the events did not keep the size\n");
                std::exit(2);
            }
        }
}

bool printEvents(const Scale& scale, const Figures& figures) {
    std::printf("  single events on a full store, views and log attached (floor: a QHash "
                "insert)\n");
    printHeader("us");
    printFigure("event: the floor, QHash<QUuid, PromptItem> insert", figures.eventFloor,
                figures.eventFloor, 1, "us");
    const Limit limit{isBase(scale) ? kEventBudgetUs : 0};
    bool isMet =
        printFigure("event: add at the top", figures.adds, figures.eventFloor, 1, "us", limit);
    isMet &= printFigure("event: add replacing a duplicate", figures.duplicates, figures.eventFloor,
                         1, "us", limit);
    isMet &= printFigure("event: removal at a random row", figures.removals, figures.eventFloor, 1,
                         "us", limit);
    isMet &= printFigure("event: session ended, about 10 prompts", figures.endings,
                         figures.eventFloor, 1, "us", limit);
    return isMet;
}

// The list's one reset: a filter switch, to one session, one policy or all.
// The floor is copying as many sequence numbers as the list then shows.
bool benchmarkFilterSwitch(const Scale& scale) {
    AppViews views;
    PromptStore& store = views.store();
    fill(store, scale);
    const PromptFilter filters[] = {PromptFilter::session(sessionId(5)),
                                    PromptFilter::policy(policyPath(3)), PromptFilter::all()};
    std::vector<quint64> seqs;
    for (auto it = store.prompts().begin(); it != store.prompts().end(); ++it)
        seqs.push_back(it.seq());
    Samples floor;
    Samples toAll;
    for (int i = 0; i < 3 * 50; ++i) {
        const PromptFilter& filter = filters[i % 3];
        if (filter != PromptFilter::all()) {
            store.setFilter(filter);
            continue;
        }
        toAll.take([&] { store.setFilter(filter); });
        std::vector<quint64> copy;
        floor.take([&] { copy.assign(seqs.cbegin(), seqs.cend()); });
    }
    if (views.promptList().count() != scale.prompts)
        return false;
    printHeader("ms");
    printFigure("filter: the floor, copying the rows' numbers", floor, floor, 1000, "ms");
    return printFigure("filter: switch to all and rebuild the list", toAll, floor, 1000, "ms",
                       {isBase(scale) ? kFilterSwitchBudgetMs : 0});
}

// Keystrokes in the search field: a word typed a letter at a time, each
// narrowing what the list shows, then taken back, each widening it again.
// The floor is a case-insensitive find of the same text in every prompt's
// target, kept beside the store.
bool benchmarkSearch(const Scale& scale) {
    AppViews views;
    PromptStore& store = views.store();
    fill(store, scale);
    std::vector<QString> targets;
    for (const PromptItem& item : store.prompts())
        targets.push_back(item.denial.target());
    const QString word = QStringLiteral("module-42");
    std::vector<QString> typed;
    for (qsizetype length = 1; length <= word.size(); ++length)
        typed.push_back(word.first(length));
    for (qsizetype length = word.size() - 1; length >= 0; --length)
        typed.push_back(word.first(length));
    Samples floor;
    Samples keystrokes;
    qsizetype found = 0;
    for (int round = 0; round < 10; ++round)
        for (const QString& text : typed) {
            keystrokes.take([&] { store.setSearchText(text); });
            floor.take([&] {
                found = std::count_if(targets.cbegin(), targets.cend(), [&](const QString& target) {
                    return target.contains(text, Qt::CaseInsensitive);
                });
            });
        }
    if (views.promptList().count() != scale.prompts || found != scale.prompts)
        return false;
    printHeader("ms");
    printFigure("search: the floor, a find in every target", floor, floor, 1000, "ms");
    return printFigure("search: a keystroke, the list following", keystrokes, floor, 1000, "ms",
                       {isBase(scale) ? kSearchBudgetMs : 0});
}

bool benchmarkScale(ScaleRun& run) {
    const Scale& scale = run.scale;
    std::printf("\n%d prompts, %d sessions, %d policy files\n", scale.prompts, scale.sessions,
                scale.policies);
    std::printf("  sync payload: %.1f MB of JSON\n", run.json.size() / 1e6);
    bool isMet = !isBase(scale) || decoding::benchmark(run.json, scale.prompts);
    isMet &= printSyncs(scale, run.figures);
    isMet &= benchmarkMemory(scale, run.json, run.figures);
    isMet &= printEvents(scale, run.figures);
    isMet &= benchmarkFilterSwitch(scale);
    isMet &= benchmarkSearch(scale);
    return isMet;
}

// A figure at the large size over the same at the base size: medians, worsts,
// and the floor's own growth, which is what the machine's caches add.
bool printGrowth(const char* what, const Samples& base, const Samples& large,
                 const Samples& baseFloor, const Samples& largeFloor, double limit) {
    const double growth = median(large.values) / median(base.values);
    const bool isMet = growth <= limit;
    std::printf("  %-50s %8.2fx %7.2fx  floor %5.2fx", what, growth,
                worst(large.values) / worst(base.values),
                median(largeFloor.values) / median(baseFloor.values));
    if (!base.cpu.empty())
        std::printf("  cpu %5.2fx", median(large.cpu) / median(base.cpu));
    std::printf("  (limit %g)  %s\n", limit, isMet ? "ok" : "MISSED");
    return isMet;
}

bool compareScales(const Figures& base, const Figures& large) {
    std::printf("\n%d prompts against %d\n", kLarge.prompts, kBase.prompts);
    std::printf("  %-50s %9s %8s\n", "", "median", "worst");
    bool isMet = printGrowth("growth: sync", base.sync, large.sync, base.syncFloor, large.syncFloor,
                             kSyncGrowthBudget);
    for (const auto& [what, baseEvent, largeEvent] :
         {std::tuple{"growth: add at the top", &base.adds, &large.adds},
          std::tuple{"growth: add replacing a duplicate", &base.duplicates, &large.duplicates},
          std::tuple{"growth: removal at a random row", &base.removals, &large.removals},
          std::tuple{"growth: session ended", &base.endings, &large.endings}})
        isMet &= printGrowth(what, *baseEvent, *largeEvent, base.eventFloor, large.eventFloor,
                             kEventGrowthBudget);
    return printGrowth("growth: peak memory per prompt", base.peak, large.peak, base.memoryFloor,
                       large.memoryFloor, kMemoryGrowthBudget) &&
           isMet;
}

} // namespace

int main(int argc, char** argv) {
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    QCoreApplication app(argc, argv);
    if (argc == 4 && QByteArray(argv[1]) == "--memory-child")
        return memoryChild(QString::fromLocal8Bit(argv[2]), QByteArray(argv[3]).toLongLong());
    tools::FileLog log;

    std::printf("prompt-store benchmark (%s build)\n",
                *ZOR_BENCHMARK_BUILD_TYPE ? ZOR_BENCHMARK_BUILD_TYPE : "unspecified");
    bool isEveryLimitMet = true;

    std::vector<ScaleRun> runs;
    for (const Scale& scale : {kBase, kLarge}) {
        // With the room after it that the transports give a reply.
        runs.push_back({scale, SerializablePromptItem::listToJson(dataset(scale)), {}});
        makeParserRoom(runs.back().json);
    }
    measureSyncs(runs);
    measureEvents(runs);
    for (ScaleRun& run : runs)
        isEveryLimitMet &= benchmarkScale(run);
    isEveryLimitMet &= compareScales(runs[0].figures, runs[1].figures);

    std::printf("%s\n", isEveryLimitMet ? "every limit met" : "a limit was missed");
    return isEveryLimitMet ? 0 : 1;
}
