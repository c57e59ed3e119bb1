#pragma once

#include "prompts/AgentRequests.h"

#include <QList>
#include <QStringList>

namespace zor::testing {

// The agent as the prompt views reach it: keeps each request as the line
// zor-dev-agent would print ("decision ID deny session /p/policy.yml",
// "dismiss ID") and its completion, which a test may run.
class FakeAgentRequests final : public AgentRequests {
public:
    void handlePrompt(const QUuid& id, const QString& action, const QString& lifetime,
                      const QString& policyPath, DecisionCompletion completion, NoAnswer) override {
        requests.append(
            QStringList{"decision", idText(id), action, lifetime, policyPath}.join(u' '));
        completions.append(std::move(completion));
    }
    void dismissPrompt(const QUuid& id, DecisionCompletion completion, NoAnswer) override {
        requests.append("dismiss " + idText(id));
        completions.append(std::move(completion));
    }

    static QString idText(const QUuid& id) { return id.toString(QUuid::WithoutBraces).toUpper(); }

    QStringList requests;
    QList<DecisionCompletion> completions;
};

} // namespace zor::testing
