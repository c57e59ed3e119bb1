#include "agent/PromptFeed.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "prompts/PromptStore.h"

#include <QElapsedTimer>
#include <QThreadPool>
#include <algorithm>
#include <atomic>
#include <utility>
#include <vector>

namespace zor {

namespace {

// The last sync id handed out: a sync read later has a greater one.
std::atomic<PromptFeed::SyncId> lastSyncId{0};

} // namespace

PromptFeed::PromptFeed(StoreLookup store, Clock& clock, std::chrono::nanoseconds turnBudget,
                       QObject* parent)
    : QObject(parent)
    , store(std::move(store))
    , clock(clock)
    , turnBudgetNanos(turnBudget.count()) {}

void PromptFeed::apply(Change change) {
    std::vector<Change> one;
    one.push_back(std::move(change));
    apply(std::move(one));
}

void PromptFeed::apply(std::vector<Change> changes) {
    requireMainThread("PromptFeed::apply");
    if (changes.empty())
        return;
    const bool isIdle = steps.empty();
    for (Change& change : changes) {
        Step step;
        step.change = std::move(change);
        steps.push_back(std::move(step));
    }
    if (isIdle)
        runSteps();
}

void PromptFeed::sync(QList<IncomingPrompt> prompts, std::function<void()> onSynced) {
    requireMainThread("PromptFeed::sync");
    const bool isIdle = steps.empty();
    Step& step = syncStep(newSyncId());
    if (!prompts.isEmpty())
        step.batches.push_back(std::move(prompts));
    step.isEnded = true;
    step.onSynced = std::move(onSynced);
    resume(isIdle);
}

PromptFeed::SyncId PromptFeed::newSyncId() {
    return ++lastSyncId;
}

void PromptFeed::addToSync(SyncId id, QList<IncomingPrompt> prompts, qsizetype toCome) {
    requireMainThread("PromptFeed::addToSync");
    const bool isIdle = steps.empty();
    Step& step = syncStep(id);
    if (step.isEnded || prompts.isEmpty())
        return;
    step.batches.push_back(std::move(prompts));
    step.toCome = toCome;
    resume(isIdle);
}

void PromptFeed::endSync(SyncId id, std::function<void()> onSynced) {
    requireMainThread("PromptFeed::endSync");
    Step& step = syncStep(id);
    step.isEnded = true;
    step.onSynced = std::move(onSynced);
    // Its records are added or on their way with a turn: what is left for
    // now is the synced line, at once.
    resume(true);
}

PromptFeed::Step& PromptFeed::syncStep(SyncId id) {
    const auto held = std::find_if(steps.begin(), steps.end(), [id](const Step& step) {
        return step.isSync && step.syncId == id;
    });
    if (held != steps.end())
        return *held;
    watch(store());
    Step step;
    step.syncId = id;
    step.isSync = true;
    steps.push_back(std::move(step));
    return steps.back();
}

qsizetype PromptFeed::syncCount() const {
    return std::count_if(steps.cbegin(), steps.cend(), [](const Step& s) { return s.isSync; });
}

void PromptFeed::watch(PromptStore* target) {
    if (target == watched)
        return;
    disconnect(removals);
    watched = target;
    if (!target)
        return;
    // Changes of this feed's own turns, and duplicates replaced, are the
    // agent's; removals made while no sync waits leave nothing to undo.
    removals =
        connect(target, &PromptStore::promptRemoved, this,
                [this](const PromptItem& item, quint64, const PromptTextHashes&, bool isReplaced) {
                    if (!isInTurn && !isReplaced && syncCount() > 0)
                        removedDuringSync.insert(item.id, lastSyncId.load());
                });
}

bool PromptFeed::isRemovedSince(SyncId syncId, const QUuid& id) const {
    const auto removed = removedDuringSync.constFind(id);
    return removed != removedDuringSync.cend() && syncId <= *removed;
}

void PromptFeed::resume(bool isAtOnce) {
    // Steps wait only behind a sync that waits for its records; otherwise a
    // turn is under way or on its way, and takes what came.
    if (isInTurn || steps.empty() || clock.isPending(nextTurn))
        return;
    const Step& front = steps.front();
    if (!front.isSync || (!front.isEnded && front.batches.empty()))
        return;
    // A sync's later batches come as posted calls, many in one go of the
    // loop: each starting a turn at once would run them all without a frame
    // between.
    if (isAtOnce)
        runSteps();
    else
        nextTurn = clock.schedule(Millis(0), this, [this] { runSteps(); });
}

void PromptFeed::releaseFirstBatch(Step& step) {
    // Emptied one by one as they were added, the records still fill an array
    // the size of the batch, which a worker frees: handing its pages back
    // took milliseconds of a turn.
    QThreadPool::globalInstance()->start(
        [spent = std::move(step.batches.front())]() mutable { spent = {}; });
    step.batches.pop_front();
    step.nextInBatch = 0;
}

void PromptFeed::runSteps() {
    PromptStore* target = store();
    if (!target) {
        steps.clear();
        removedDuringSync.clear();
        return;
    }
    QElapsedTimer turn;
    turn.start();
    // The turn's log lines are written in one go, and the views take its
    // changes at once.
    const LogGathering gathering;
    target->beginChanges();
    isInTurn = true;
    std::vector<std::function<void()>> synced;
    bool hasRun = false;
    while (!steps.empty()) {
        Step& step = steps.front();
        if (step.isSync) {
            const SyncProgress progress = continueSync(step, *target, turn);
            if (progress == SyncProgress::outOfTime && !clock.isPending(nextTurn))
                nextTurn = clock.schedule(Millis(0), this, [this] { runSteps(); });
            if (progress != SyncProgress::synced)
                break;
            if (step.onSynced)
                synced.push_back(std::move(step.onSynced));
        } else {
            if (hasRun && turn.nsecsElapsed() >= turnBudgetNanos) {
                if (!clock.isPending(nextTurn))
                    nextTurn = clock.schedule(Millis(0), this, [this] { runSteps(); });
                break;
            }
            step.change(*target);
        }
        hasRun = true;
        steps.pop_front();
    }
    isInTurn = false;
    target->endChanges();
    for (const std::function<void()>& onSynced : synced)
        onSynced();
}

PromptFeed::SyncProgress PromptFeed::continueSync(Step& step, PromptStore& target,
                                                  const QElapsedTimer& turn) {
    while (!step.batches.empty()) {
        QList<IncomingPrompt>& batch = step.batches.front();
        // The agent's pending prompts, which the store will hold once synced.
        if (step.nextInBatch == 0 && step.added == 0) {
            qsizetype coming = step.toCome;
            for (const QList<IncomingPrompt>& held : step.batches)
                coming += held.size();
            target.reserve(target.prompts().size() + coming);
        }
        while (step.nextInBatch < batch.size()) {
            // Moved into the store, which keeps it.
            IncomingPrompt& incoming = batch[step.nextInBatch];
            if (removedDuringSync.isEmpty() || !isRemovedSince(step.syncId, incoming.item().id))
                target.addPrompt(std::move(incoming));
            ++step.nextInBatch;
            ++step.added;
            const bool isMore = step.nextInBatch < batch.size() || step.batches.size() > 1;
            if (isMore && turn.nsecsElapsed() >= turnBudgetNanos) {
                if (step.nextInBatch == batch.size())
                    releaseFirstBatch(step);
                return SyncProgress::outOfTime;
            }
        }
        releaseFirstBatch(step);
    }
    if (!step.isEnded)
        return SyncProgress::waitingForRecords;
    // No sync read before those removals is left.
    if (syncCount() == 1)
        removedDuringSync.clear();
    logger(LogCategory::notifications)
        .info("Synced %ld prompts from ZorAgent", {qint64(step.added)});
    return SyncProgress::synced;
}

} // namespace zor
