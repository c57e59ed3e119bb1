#pragma once

#include <QString>
#include <QUuid>
#include <functional>
#include <optional>

namespace zor {

// What the prompt views ask of the agent: a decision on a prompt, or that it
// be dropped. Each completion runs once, on the main thread; at once when
// there is no agent to ask.
class AgentRequests {
public:
    using DecisionCompletion = std::function<void(bool success, std::optional<QString> error)>;

    virtual ~AgentRequests() = default;

    virtual void handlePrompt(const QUuid& id, const QString& action, const QString& lifetime,
                              const QString& policyPath, DecisionCompletion completion) = 0;
    virtual void dismissPrompt(const QUuid& id, DecisionCompletion completion) = 0;
};

} // namespace zor
