// Times the prompt store at the size the app must stay fluent with: 10,000
// pending prompts across 1,000 sessions and 200 policy files. Prints each
// figure against its limit and exits with status 1 when one is missed.
//
//   cmake -B build-release -DCMAKE_BUILD_TYPE=Release
//   ninja -C build-release prompt-store-benchmark
//   build-release/tools/prompt-store-benchmark/prompt-store-benchmark

#include "platform/Log.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptStore.h"
#include "prompts/PromptsSidebarModel.h"
#include "shared/SerializablePromptItem.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>

using namespace zor;
using namespace std::chrono_literals;

namespace {

constexpr int kPrompts = 10'000;
constexpr int kSessions = 1'000;
constexpr int kPolicies = 200;

using SteadyClock = std::chrono::steady_clock;
using Micros = std::chrono::duration<double, std::micro>;

// Log lines are formatted as usual and then dropped, as the unified log
// would take them off the app's hands.
class CountingSink final : public LogSink {
public:
    void write(const LogRecord&) override { ++lines; }
    std::atomic<qint64> lines{0};
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
    isEveryLimitMet &= report("prompt list: add at the head (median of 5,000)", median(adds),
                              100, "us");
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
        report("session sidebar per add/removal (median of 3,000)", median(samples), 1000, "us");
    const bool isTailMet =
        report("session sidebar per add/removal (99th percentile)", p99, 1000, "us");
    return isMedianMet && isTailMet;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    CountingSink sink;
    setLogSink(&sink);

    std::printf("prompt-store benchmark: %d prompts, %d sessions, %d policy files (%s build)\n",
                kPrompts, kSessions, kPolicies,
                *ZOR_BENCHMARK_BUILD_TYPE ? ZOR_BENCHMARK_BUILD_TYPE : "unspecified");
    const QList<SerializablePromptItem> records = dataset();
    const QByteArray json = SerializablePromptItem::listToJson(records);
    std::printf("  sync payload: %.1f MB of JSON\n", json.size() / 1e6);
    bool isEveryLimitMet = true;

    // Decoding plus adding, each time into a fresh store; the median of a few runs.
    {
        std::vector<double> runs;
        for (int run = 0; run < 9; ++run) {
            auto store = std::make_unique<PromptStore>();
            ObservingView view(*store);
            const qint64 linesBefore = sink.lines;
            runs.push_back(timeOnce([&] { sync(*store, json); }) / 1000.0);
            if (store->prompts().size() != kPrompts || sink.lines - linesBefore != kPrompts) {
                std::fprintf(stderr, "sync did not add every prompt\n");
                return 2;
            }
        }
        isEveryLimitMet &=
            report("sync: decode and add 10,000 records (median of 9)", median(runs), 50, "ms");
    }

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
                                  median(samples), 50, "us");
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

    setLogSink(nullptr);
    std::printf("%s\n", isEveryLimitMet ? "every limit met" : "a limit was missed");
    return isEveryLimitMet ? 0 : 1;
}
