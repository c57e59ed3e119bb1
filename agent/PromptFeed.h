#pragma once

#include "platform/Clock.h"
#include "prompts/IncomingPrompt.h"

#include <QElapsedTimer>
#include <QHash>
#include <QObject>
#include <QPointer>
#include <QUuid>
#include <chrono>
#include <deque>
#include <functional>
#include <vector>

namespace zor {

class PromptStore;

// Hands the agent's changes to the prompt store on the main thread, in the
// order they came. A sync adds its records over several turns of the event
// loop, each a few milliseconds long, so that a large one never stalls the
// window for a frame. Changes that come in meanwhile wait for it: the store
// ends as if each sync had run in one go, and a removal that came after a sync
// still wins over the sync's record. So does the user's own removal, a
// dismissal or a decision's answer, made between the sync's turns, over the
// syncs read before it; a sync read after it brings the prompt back. A burst of
// changes takes turns as a sync does. Each turn's changes reach the views as
// one.
class PromptFeed final : public QObject {
    Q_OBJECT
public:
    using Change = std::function<void(PromptStore& store)>;
    // The store to feed, looked up at each turn; none once it is gone, and the
    // changes that meet no store are dropped.
    using StoreLookup = std::function<PromptStore*()>;

    // How long one turn may add records or apply changes before it lets the
    // event loop run; each turn adds one record or applies one change at least.
    static constexpr std::chrono::milliseconds kTurnBudget{4};

    // Turns follow one another through `clock`, after no delay: as a timer,
    // not a posted call, as Qt's loop on Linux (glib's) runs timers, a frame's
    // among them, only after every second posted call, which would stall a
    // frame for two turns.
    PromptFeed(StoreLookup store, Clock& clock, std::chrono::nanoseconds turnBudget = kTurnBudget,
               QObject* parent = nullptr);

    // Main thread only. Runs at once unless a sync or an earlier burst is
    // under way.
    void apply(Change change);
    // Main thread only. Changes that came together: as many as fit run in the
    // first turn, at once unless a sync or an earlier burst is under way.
    void apply(std::vector<Change> changes);
    // Adds the prompts in their order, then logs the synced line; `onSynced`
    // runs once the views have taken the last of them.
    void sync(QList<IncomingPrompt> prompts, std::function<void()> onSynced = {});

    // A sync whose records come in batches as they are read, so that its first
    // turns run while the rest are read. Each batch is made into prompts where
    // it is read (see incomingPrompts()). Its first batch, or its end, takes
    // its place among the changes; changes after it wait for its end, and the
    // turns wait for its next batch. Ids come from newSyncId(), on any thread,
    // as the reply is read: a sync read later has a greater one.
    using SyncId = quint64;
    // How many records a batch holds: the first comes soon after the reply,
    // and a large sync makes few posts.
    static constexpr qsizetype kSyncBatchSize = 1000;
    static SyncId newSyncId();
    // Main thread only. `toCome`: how many records may still follow, so that
    // the store makes room for all of them at once.
    void addToSync(SyncId id, QList<IncomingPrompt> prompts, qsizetype toCome);
    // Main thread only. No more records come: as sync() once the last is added.
    void endSync(SyncId id, std::function<void()> onSynced = {});

    bool isSyncing() const { return !steps.empty(); }

private:
    struct Step {
        Change change; // a single change, or a sync:
        SyncId syncId = 0;
        std::deque<QList<IncomingPrompt>> batches;
        qsizetype nextInBatch = 0; // in the first batch
        qsizetype added = 0;
        qsizetype toCome = 0;
        std::function<void()> onSynced;
        bool isSync = false;
        bool isEnded = false;
    };
    enum class SyncProgress { synced, outOfTime, waitingForRecords };

    void runSteps();
    SyncProgress continueSync(Step& step, PromptStore& store, const QElapsedTimer& turn);
    // The sync's step, placed last among the changes when it has none yet.
    Step& syncStep(SyncId id);
    // Starts a turn when the sync at the front has records or its end to
    // take and no turn is under way or on its way: at once, or through the
    // clock.
    void resume(bool isAtOnce);
    // Hands the first batch, all added, to a worker to free.
    static void releaseFirstBatch(Step& step);
    // Notes the prompts removed from the store between the turns of a sync.
    void watch(PromptStore* target);
    // The syncs under way or waiting.
    qsizetype syncCount() const;
    // Whether the user removed the prompt after the sync was read, so that
    // its record of it is stale.
    bool isRemovedSince(SyncId syncId, const QUuid& id) const;

    StoreLookup store;
    Clock& clock;
    const qint64 turnBudgetNanos;
    std::deque<Step> steps;
    Clock::TimerId nextTurn = 0;
    bool isInTurn = false;
    QPointer<PromptStore> watched;
    QMetaObject::Connection removals;
    // Removed by the user while a sync was being added, each with the newest
    // sync id handed out then: the syncs up to it were read before the
    // removal, and their records of it are stale; a later one's are not.
    QHash<QUuid, SyncId> removedDuringSync;
};

} // namespace zor
