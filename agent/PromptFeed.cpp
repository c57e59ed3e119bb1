#include "agent/PromptFeed.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "prompts/PromptStore.h"

#include <QElapsedTimer>
#include <QThreadPool>
#include <utility>
#include <vector>

namespace zor {

PromptFeed::PromptFeed(StoreLookup store, Clock& clock, std::chrono::nanoseconds turnBudget,
                       QObject* parent)
    : QObject(parent)
    , store(std::move(store))
    , clock(clock)
    , turnBudgetNanos(turnBudget.count()) {}

void PromptFeed::apply(Change change) {
    requireMainThread("PromptFeed::apply");
    if (steps.empty()) {
        if (PromptStore* target = store())
            change(*target);
        return;
    }
    steps.push_back(Step{std::move(change), {}, {}, 0, false});
}

void PromptFeed::sync(QList<SerializablePromptItem> records, std::function<void()> onSynced) {
    requireMainThread("PromptFeed::sync");
    const bool isIdle = steps.empty();
    steps.push_back(Step{{}, std::move(records), std::move(onSynced), 0, true});
    if (isIdle)
        runSteps();
}

void PromptFeed::runSteps() {
    PromptStore* target = store();
    if (!target) {
        steps.clear();
        return;
    }
    QElapsedTimer turn;
    turn.start();
    // The turn's log lines are written in one go, and the views take its
    // changes at once.
    const LogGathering gathering;
    target->beginChanges();
    std::vector<std::function<void()>> synced;
    while (!steps.empty()) {
        Step& step = steps.front();
        if (step.isSync) {
            if (!continueSync(step, *target, turn)) {
                if (!clock.isPending(nextTurn))
                    nextTurn = clock.schedule(Millis(0), this, [this] { runSteps(); });
                break;
            }
            if (step.onSynced)
                synced.push_back(std::move(step.onSynced));
            // Emptied one by one as they were added, the records still fill
            // an array the size of the reply, which a worker frees: handing
            // its pages back took milliseconds of a turn.
            QThreadPool::globalInstance()->start(
                [spent = std::move(step.records)]() mutable { spent = {}; });
        } else {
            step.change(*target);
        }
        steps.pop_front();
    }
    target->endChanges();
    for (const std::function<void()>& onSynced : synced)
        onSynced();
}

bool PromptFeed::continueSync(Step& step, PromptStore& target, const QElapsedTimer& turn) {
    // The agent's pending prompts, which the store will hold once synced.
    if (step.added == 0)
        target.reserve(step.records.size());
    while (step.added < step.records.size()) {
        // Released once added: the store keeps its own copy.
        const SerializablePromptItem record = std::exchange(step.records[step.added], {});
        ++step.added;
        target.addPrompt(promptIdFromText(record.id), record.sessionId, record.policyPath,
                         record.denial, record.isSessionEnded);
        if (step.added < step.records.size() && turn.nsecsElapsed() >= turnBudgetNanos)
            return false;
    }
    logger(LogCategory::notifications)
        .info("Synced %ld prompts from ZorAgent", {qint64(step.records.size())});
    return true;
}

} // namespace zor
