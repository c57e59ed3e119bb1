#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

namespace zor {

// The answer to a decision or a dismissal. The error text may be absent even
// when the flag is false.
using DecisionReply = std::function<void(bool success, std::optional<QString> error)>;

// What ZorAgent exports and the app calls. Every operation answers through its
// reply, which the agent calls once; where a reply runs is up to the transport.
// Only property-list values cross: texts, raw data and flags.
class ZorAgentProtocol {
public:
    virtual ~ZorAgentProtocol() = default;

    // The JSON array of every prompt the agent holds.
    virtual void getPromptsWithReply(std::function<void(const QByteArray& promptsData)> reply) = 0;

    virtual void getBuildNumberWithReply(std::function<void(const QString& buildNumber)> reply) = 0;

    virtual void handlePromptWithPromptId(const QString& promptId, const QString& action,
                                          const QString& lifetime, const QString& policyPath,
                                          DecisionReply reply) = 0;

    virtual void dismissPromptWithPromptId(const QString& promptId, DecisionReply reply) = 0;
};

} // namespace zor
