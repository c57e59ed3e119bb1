#pragma once

#include "shared/PolicyAction.h"
#include "shared/RuleLifetime.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUuid>
#include <functional>

namespace zor {

class AgentRequests;
class Denial;
class PromptListModel;
class PromptStore;

// Takes the user's decisions on prompts to the agent: checks that a rule can
// express the denial, sends action and lifetime, and removes the prompt once
// the agent answered, whatever the answer. Main thread only.
class PromptDecider final : public QObject {
    Q_OBJECT
    // What each decision's button shows, in the order of Decision.
    Q_PROPERTY(QStringList labels READ labels CONSTANT)

public:
    // The five decision buttons of a row; there is no deny-once.
    enum class Decision { allowOnce, allowSession, allowAlways, denySession, denyAlways };
    Q_ENUM(Decision)

    PromptDecider(PromptStore& store, PromptListModel& listModel, AgentRequests& agent,
                  QObject* parent = nullptr);

    // Runs once the request has ended: true when the agent took the decision
    // or the dismissal, or when there was nothing to send. False when it
    // refused, or when the request got no answer: then a decided prompt stays,
    // still marked as being decided.
    using Done = std::function<void(bool isTaken)>;

    // Nothing is sent, and false returned, when the prompt is not pending or
    // the decision is not open to it now.
    bool decide(const QUuid& id, Decision decision, Done onDone = {});
    // The prompt that row `row` of the list shows: of two under one id, the
    // row's own, with the policy file it shows.
    Q_INVOKABLE bool decideRow(int row, zor::PromptDecider::Decision decision);
    // Asks the agent to drop the prompt and removes it at once, marked as
    // the user's own act. False while a decision on it is underway.
    bool dismiss(const QUuid& id, Done onDone = {});
    // Whether a decision or a dismissal of the prompt awaits the agent.
    bool isDeciding(const QUuid& id) const;
    // Whether a rule can hold the decision on the denial, and so the agent
    // hears of it: a signal's decision only removes its prompt here.
    static bool hasRule(const Denial& denial, Decision decision);

    // What a row's button shows; the shortcut applies to the highlighted prompt.
    Q_INVOKABLE static bool isEnabled(zor::PromptDecider::Decision decision, bool isSessionEnded,
                                      bool isProcessing);
    Q_INVOKABLE static bool hasOwnDisabledState(zor::PromptDecider::Decision decision);
    static QString label(zor::PromptDecider::Decision decision);
    static QStringList labels();
    // In the portable text of key sequences, "Ctrl+Shift+O"; Ctrl is the Command key on macOS.
    Q_INVOKABLE static QString shortcut(zor::PromptDecider::Decision decision);
    Q_INVOKABLE static QString toolTip(zor::PromptDecider::Decision decision,
                                       const QString& shortcutText);
    Q_INVOKABLE static QString accessibleName(zor::PromptDecider::Decision decision,
                                              const QString& target);
    // What assistive tools read after the button's name, and its tool tip:
    // its keys when they decide its prompt, or while it is closed, why.
    Q_INVOKABLE static QString accessibleDescription(zor::PromptDecider::Decision decision,
                                                     const QString& shortcutText, bool isKeysTarget,
                                                     bool isSessionEnded, bool isProcessing);

private:
    bool decideSeq(quint64 seq, Decision decision, Done onDone);

    PromptStore& store;
    PromptListModel& listModel;
    AgentRequests& agent;
};

// One decision button: what it sends and how it is reached.
struct DecisionButton {
    PolicyAction action;
    RuleLifetime lifetime;
    const char* label;
    const char* description; // "Allow once"
    // Once and Session make no sense for a session that has ended; Always does.
    bool isBlockedBySessionEnd;
    // Always with a modifier, so that typing into the wrong window grants nothing.
    const char* shortcut;
};

DecisionButton decisionButton(PromptDecider::Decision decision);

// "allow", "deny": the action as the agent reads it.
QString actionText(PolicyAction action);

} // namespace zor
