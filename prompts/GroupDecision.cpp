#include "prompts/GroupDecision.h"

#include "platform/Log.h"
#include "platform/MainThread.h"
#include "prompts/PromptStore.h"
#include "shared/VisibleText.h"

#include <QPointer>

namespace zor {

namespace {

// A target as the question names it: shown as it is, but never so long that
// it pushes the others, or the count of the rest, out of the question. Its
// start and its end, which tell paths and commands apart, stay. Read left
// to right as the rows show it.
QString namedTarget(const QString& target) {
    // 160 characters at most, the ellipsis among them.
    const QString shown = visibleText(target);
    const std::optional<MiddleCut> cut = middleCut(shown, 80, 79);
    return displayText(cut ? shown.first(cut->headEnd) + u'…' + shown.sliced(cut->tailStart)
                           : shown);
}

} // namespace

GroupActionText groupActionText(GroupDecision::Action action) {
    using enum GroupDecision::Action;
    switch (action) {
    case allowOnce:
        return {"Allow", "Allowed", " once"};
    case allowSession:
        return {"Allow", "Allowed", " for the session"};
    case allowAlways:
        return {"Allow", "Allowed", " always"};
    case denySession:
        return {"Deny", "Denied", " for the session"};
    case denyAlways:
        return {"Deny", "Denied", " always"};
    case dismiss:
        return {"Dismiss", "Dismissed", ""};
    }
    Q_UNREACHABLE();
}

namespace {

QString prompts(qsizetype count, bool isCapitalised = false) {
    return QStringLiteral("%1 %2").arg(count).arg(count == 1
                                                      ? (isCapitalised ? "Prompt" : "prompt")
                                                      : (isCapitalised ? "Prompts" : "prompts"));
}

std::optional<PromptDecider::Decision> decisionOf(GroupDecision::Action action) {
    if (action == GroupDecision::Action::dismiss)
        return std::nullopt;
    return PromptDecider::Decision(int(action));
}

} // namespace

GroupDecision::GroupDecision(PromptStore& store, PromptDecider& decider, QObject* parent)
    : QObject(parent)
    , store(store)
    , decider(decider) {
    requireMainThread("GroupDecision");
}

QStringList GroupDecision::Skipped::texts() const {
    QStringList parts;
    if (ended > 0)
        parts.append(QStringLiteral("%1 skipped: session ended").arg(ended));
    if (underway > 0)
        parts.append(QStringLiteral("%1 skipped: already being decided").arg(underway));
    if (gone > 0)
        parts.append(QStringLiteral("%1 skipped: no longer pending").arg(gone));
    if (noRule > 0)
        parts.append(QStringLiteral("%1 skipped: no rule for a signal").arg(noRule));
    return parts;
}

void GroupDecision::Skipped::count(Skip skip) {
    switch (skip) {
    case Skip::none:
        break;
    case Skip::sessionEnded:
        ++ended;
        break;
    case Skip::gone:
        ++gone;
        break;
    case Skip::underway:
        ++underway;
        break;
    case Skip::noRule:
        ++noRule;
        break;
    }
}

// The question counts and names only the prompts it would decide, as they
// stood when it was asked; the others, with why, below them.
QString GroupDecision::question() const {
    const GroupActionText text = groupActionText(action);
    return QStringLiteral("%1 %2%3?")
        .arg(QLatin1String(text.verb), prompts(askedCount), QLatin1String(text.lifetime));
}

QString GroupDecision::targets() const {
    QStringList lines = namedTargets;
    if (askedCount > namedTargets.size())
        lines.append(QStringLiteral("and %1 more").arg(askedCount - namedTargets.size()));
    lines += skippedWhenAsked.texts();
    return lines.join(u'\n');
}

QString GroupDecision::confirmLabel() const {
    return QStringLiteral("%1 %2").arg(QLatin1String(groupActionText(action).verb),
                                       prompts(askedCount, true));
}

bool GroupDecision::isAllowing() const {
    return action == Action::allowOnce || action == Action::allowSession ||
           action == Action::allowAlways;
}

bool GroupDecision::isDenying() const {
    return action == Action::denySession || action == Action::denyAlways;
}

bool GroupDecision::ask(Action newAction, const QList<QUuid>& ids) {
    requireMainThread("GroupDecision::ask");
    if (currentState != State::idle || ids.isEmpty())
        return false;
    action = newAction;
    group = ids;
    namedTargets.clear();
    askedCount = 0;
    skippedWhenAsked = {};
    for (const QUuid& id : ids) {
        const Skip skip = skipOf(id);
        skippedWhenAsked.count(skip);
        if (skip != Skip::none)
            continue;
        ++askedCount;
        if (namedTargets.size() < kTargetsNamed)
            namedTargets.append(namedTarget(store.prompt(id)->denial.target()));
    }
    setState(State::asking);
    // With nothing to decide there is nothing to ask: the outcome says why.
    if (askedCount == 0)
        confirm();
    return true;
}

GroupDecision::Skip GroupDecision::skipOf(const QUuid& id) const {
    const std::optional<PromptItem> item = store.prompt(id);
    if (!item)
        return Skip::gone;
    if (decider.isDeciding(id))
        return Skip::underway;
    const std::optional<PromptDecider::Decision> decision = decisionOf(action);
    if (decision && item->sessionEnded &&
        !PromptDecider::isEnabled(*decision, /*isSessionEnded=*/true, /*isProcessing=*/false))
        return Skip::sessionEnded;
    // Its decision would reach no one, and the agent would still hold the
    // prompt; a dismissal, which takes no rule, reaches the agent.
    if (decision && !PromptDecider::hasRule(item->denial, *decision))
        return Skip::noRule;
    return Skip::none;
}

void GroupDecision::confirm() {
    requireMainThread("GroupDecision::confirm");
    if (currentState != State::asking)
        return;
    // The last group's outcome would read as this one's while it waits on
    // the agent; a question cancelled leaves it.
    clearOutcome();
    sentGroup.clear();
    sent = done = failed = 0;
    skipped = {};
    setState(State::deciding);
    // Answers may come at once, before the last prompt is sent; the group
    // ends only once every one sent has its answer.
    const QPointer<GroupDecision> self(this);
    const auto onDone = [self](bool isTaken) {
        if (self)
            self->finishOne(isTaken);
    };
    const std::optional<PromptDecider::Decision> decision = decisionOf(action);
    isSending = true;
    for (const QUuid& id : std::as_const(group)) {
        if (const Skip skip = skipOf(id); skip != Skip::none) {
            skipped.count(skip);
            continue;
        }
        ++sent;
        sentGroup.append(id);
        const bool isSent =
            decision ? decider.decide(id, *decision, onDone) : decider.dismiss(id, onDone);
        if (!isSent) {
            // Answered or dropped meanwhile.
            --sent;
            sentGroup.removeLast();
            skipped.count(Skip::gone);
        }
    }
    isSending = false;
    emit progressChanged();
    if (done == sent)
        finish();
}

void GroupDecision::confirmWithEnter() {
    if (!isAllowing())
        confirm();
}

void GroupDecision::finishOne(bool isTaken) {
    ++done;
    if (!isTaken)
        ++failed;
    emit progressChanged();
    if (!isSending && done == sent)
        finish();
}

void GroupDecision::finish() {
    QString line = QStringLiteral("%1 %2").arg(QLatin1String(groupActionText(action).past),
                                               prompts(sent - failed));
    if (failed > 0)
        line += QStringLiteral(", %1 failed").arg(failed);
    for (const QString& part : skipped.texts())
        line += QStringLiteral(", ") + part;
    lastOutcome = line;
    logger(LogCategory::promptsView).info("Group decision: %{public}s", {line});
    group.clear();
    setState(State::idle);
    emit progressChanged();
    emit outcomeChanged();
}

void GroupDecision::cancel() {
    if (currentState != State::asking)
        return;
    group.clear();
    setState(State::idle);
}

void GroupDecision::clearOutcome() {
    if (lastOutcome.isEmpty())
        return;
    lastOutcome.clear();
    emit outcomeChanged();
}

void GroupDecision::setState(State state) {
    if (currentState == state)
        return;
    currentState = state;
    emit stateChanged();
}

} // namespace zor
