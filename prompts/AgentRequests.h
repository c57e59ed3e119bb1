#pragma once

#include <QString>
#include <QUuid>
#include <functional>
#include <optional>

namespace zor {

// What the prompt views ask of the agent: a decision on a prompt, or that it
// be dropped. Exactly one of `completion` and `noAnswer` runs, once, on the
// main thread: the completion with the agent's answer, or at once when there
// is no agent to ask; `noAnswer` when the request was lost on the way (the
// link broke under it), which the completion never learns of.
class AgentRequests {
public:
    using DecisionCompletion = std::function<void(bool success, std::optional<QString> error)>;
    using NoAnswer = std::function<void()>;

    virtual ~AgentRequests() = default;

    virtual void handlePrompt(const QUuid& id, const QString& action, const QString& lifetime,
                              const QString& policyPath, DecisionCompletion completion,
                              NoAnswer noAnswer) = 0;
    virtual void dismissPrompt(const QUuid& id, DecisionCompletion completion,
                               NoAnswer noAnswer) = 0;
};

} // namespace zor
