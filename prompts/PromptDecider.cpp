#include "prompts/PromptDecider.h"

#include "platform/Log.h"
#include "prompts/AgentRequests.h"
#include "prompts/PromptListModel.h"
#include "prompts/PromptRule.h"
#include "prompts/PromptStore.h"

#include <QPointer>

namespace zor {

DecisionButton decisionButton(PromptDecider::Decision decision) {
    using enum PromptDecider::Decision;
    switch (decision) {
    case allowOnce:
        return {PolicyAction::allow, RuleLifetime::once, "Once", "Allow once", true,
                "Ctrl+Shift+O"};
    case allowSession:
        return {
            PolicyAction::allow, RuleLifetime::session, "Session", "Allow for the session", true,
            "Ctrl+Shift+S"};
    case allowAlways:
        return {PolicyAction::allow, RuleLifetime::always, "Always", "Allow always", false,
                "Ctrl+Shift+A"};
    case denySession:
        return {PolicyAction::deny, RuleLifetime::session, "Session", "Deny for the session", true,
                "Ctrl+Shift+N"};
    case denyAlways:
        return {PolicyAction::deny, RuleLifetime::always, "Always", "Deny always", false,
                "Ctrl+Shift+D"};
    }
    Q_UNREACHABLE();
}

QString actionText(PolicyAction action) {
    switch (action) {
    case PolicyAction::allow:
        return QStringLiteral("allow");
    case PolicyAction::deny:
        return QStringLiteral("deny");
    }
    return {};
}

namespace {

// A request lost on the way: only whoever waits for its end learns of it.
// Made before the request, whose completion takes `onDone` over.
AgentRequests::NoAnswer notTaken(const PromptDecider::Done& onDone) {
    return [onDone] {
        if (onDone)
            onDone(false);
    };
}

// The decided prompt goes; handed over again meanwhile, under a new number,
// the newest with its id.
void removeDecided(PromptStore& store, quint64 seq, const QUuid& id) {
    if (!store.removePromptWithSeq(seq))
        store.removePrompt(id);
}

} // namespace

PromptDecider::PromptDecider(PromptStore& store, PromptListModel& listModel, AgentRequests& agent,
                             QObject* parent)
    : QObject(parent)
    , store(store)
    , listModel(listModel)
    , agent(agent) {}

bool PromptDecider::decideRow(int row, Decision decision) {
    return row >= 0 && row < listModel.count() && decideSeq(listModel.seqAt(row), decision, {});
}

bool PromptDecider::decide(const QUuid& id, Decision decision, Done onDone) {
    const std::optional<quint64> seq = store.seqOf(id);
    return seq && decideSeq(*seq, decision, std::move(onDone));
}

bool PromptDecider::decideSeq(quint64 seq, Decision decision, Done onDone) {
    const PromptItem* held = store.promptWithSeq(seq);
    if (!held || !isEnabled(decision, held->sessionEnded, listModel.isProcessing(held->id)))
        return false;
    // The reply keeps its own copy of the prompt: the rows may be rebuilt meanwhile.
    const PromptItem item = *held;
    const QUuid id = item.id;
    listModel.setProcessing(id);
    const DecisionButton button = decisionButton(decision);
    if (!hasRule(item.denial, decision)) {
        // Nothing the agent could write down: the prompt only goes away here.
        removeDecided(store, seq, id);
        if (onDone)
            onDone(true);
        return true;
    }
    // A decision lost on the way, with the link that carried it, fails as a
    // refused one does: the prompt goes, and the sync after the reconnect
    // brings it back, open, while the agent still asks. Left as it was, it
    // would stay marked as being decided for good.
    AgentRequests::NoAnswer noAnswer = [store = QPointer(&store), seq, id,
                                        lost = notTaken(onDone)] {
        if (store)
            removeDecided(*store, seq, id);
        lost();
    };
    agent.handlePrompt(
        id, actionText(button.action), description(button.lifetime), item.policyPath,
        [store = QPointer(&store), seq, item,
         onDone = std::move(onDone)](bool success, std::optional<QString> error) {
            if (success)
                logger(LogCategory::promptsView)
                    .info("Override handled for %{public}s: %{public}s",
                          {item.denial.typeString(), item.denial.target()});
            else
                logger(LogCategory::promptsView)
                    .error("Failed to handle prompt: %s",
                           {error.value_or(QStringLiteral("unknown"))});
            // A failure is not offered again: the prompt goes either way.
            if (store)
                removeDecided(*store, seq, item.id);
            if (onDone)
                onDone(success);
        },
        std::move(noAnswer));
    return true;
}

bool PromptDecider::dismiss(const QUuid& id, Done onDone) {
    if (!store.containsPrompt(id) || listModel.isProcessing(id))
        return false;
    AgentRequests::NoAnswer noAnswer = notTaken(onDone);
    agent.dismissPrompt(
        id,
        [onDone = std::move(onDone)](bool success, std::optional<QString> error) {
            if (!success)
                logger(LogCategory::promptsView)
                    .error("Failed to dismiss prompt: %s",
                           {error.value_or(QStringLiteral("unknown"))});
            if (onDone)
                onDone(success);
        },
        std::move(noAnswer));
    // Marked as the user's own act, which passes the highlight on once it is gone.
    listModel.setProcessing(id);
    store.removePrompt(id);
    return true;
}

bool PromptDecider::isDeciding(const QUuid& id) const {
    return listModel.isProcessing(id);
}

bool PromptDecider::hasRule(const Denial& denial, Decision decision) {
    return !std::holds_alternative<std::monostate>(
        ruleForDenial(denial, decisionButton(decision).action));
}

bool PromptDecider::isEnabled(Decision decision, bool isSessionEnded, bool isProcessing) {
    return !isProcessing && !(decisionButton(decision).isBlockedBySessionEnd && isSessionEnded);
}

bool PromptDecider::hasOwnDisabledState(Decision decision) {
    return decisionButton(decision).isBlockedBySessionEnd;
}

QString PromptDecider::label(Decision decision) {
    return QString::fromLatin1(decisionButton(decision).label);
}

QStringList PromptDecider::labels() {
    using enum Decision;
    QStringList all;
    for (const Decision decision : {allowOnce, allowSession, allowAlways, denySession, denyAlways})
        all.append(label(decision));
    return all;
}

QString PromptDecider::shortcut(Decision decision) {
    return QString::fromLatin1(decisionButton(decision).shortcut);
}

QString PromptDecider::toolTip(Decision decision, const QString& shortcutText) {
    return QStringLiteral("%1 (%2)").arg(QString::fromLatin1(decisionButton(decision).description),
                                         shortcutText);
}

QString PromptDecider::accessibleName(Decision decision, const QString& target) {
    return QStringLiteral("%1: %2").arg(QString::fromLatin1(decisionButton(decision).description),
                                        target);
}

QString PromptDecider::accessibleDescription(Decision decision, const QString& shortcutText,
                                             bool isKeysTarget, bool isSessionEnded,
                                             bool isProcessing) {
    if (isProcessing)
        return QStringLiteral("Not available while its decision is underway.");
    if (!isEnabled(decision, isSessionEnded, isProcessing))
        return QStringLiteral("Not available: the session has ended.");
    // Keys named on another row would decide the highlighted prompt instead.
    if (!isKeysTarget)
        return QString::fromLatin1(decisionButton(decision).description);
    return toolTip(decision, shortcutText);
}

} // namespace zor
