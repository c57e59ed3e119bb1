#pragma once

#include "platform/Clock.h"
#include "shared/SerializablePromptItem.h"

#include <QElapsedTimer>
#include <QObject>
#include <chrono>
#include <deque>
#include <functional>

namespace zor {

class PromptStore;

// Hands the agent's changes to the prompt store on the main thread, in the
// order they came. A sync adds its records over several turns of the event
// loop, each a few milliseconds long, so that a large one never stalls the
// window for a frame. Changes that come in meanwhile wait for it: the store
// ends as if each sync had run in one go, and a removal that came after a sync
// still wins over the sync's record. Each turn's changes reach the views as one.
class PromptFeed final : public QObject {
    Q_OBJECT
public:
    using Change = std::function<void(PromptStore& store)>;
    // The store to feed, looked up at each turn; none once it is gone, and the
    // changes that meet no store are dropped.
    using StoreLookup = std::function<PromptStore*()>;

    // How long one turn may add records before it lets the event loop run;
    // each turn adds one record at least.
    static constexpr std::chrono::milliseconds kTurnBudget{4};

    // Turns follow one another through `clock`, after no delay: as a timer,
    // not a posted call, as Qt's loop on Linux (glib's) runs timers, a frame's
    // among them, only after every second posted call, which would stall a
    // frame for two turns.
    PromptFeed(StoreLookup store, Clock& clock, std::chrono::nanoseconds turnBudget = kTurnBudget,
               QObject* parent = nullptr);

    // Main thread only. Runs at once unless a sync is under way.
    void apply(Change change);
    // Adds the records in their order, then logs the synced line; `onSynced`
    // runs once the views have taken the last of them.
    void sync(QList<SerializablePromptItem> records, std::function<void()> onSynced = {});

    bool isSyncing() const { return !steps.empty(); }

private:
    struct Step {
        Change change;                         // a single change, or
        QList<SerializablePromptItem> records; // a sync's records
        std::function<void()> onSynced;
        qsizetype added = 0;
        bool isSync = false;
    };

    void runSteps();
    // False when the turn's time ran out before the sync's last record.
    bool continueSync(Step& step, PromptStore& store, const QElapsedTimer& turn);

    StoreLookup store;
    Clock& clock;
    const qint64 turnBudgetNanos;
    std::deque<Step> steps;
    Clock::TimerId nextTurn = 0;
};

} // namespace zor
