#pragma once

#include <QObject>
#include <QString>
#include <optional>

namespace zor {

// Which prompts the list shows: those of one policy file, of one session, or all.
class PromptFilter {
    Q_GADGET

public:
    enum class Kind { policy, session, all };
    Q_ENUM(Kind)

    PromptFilter() = default; // all
    static PromptFilter all() { return {}; }
    static PromptFilter policy(QString policyPath) {
        return PromptFilter(Kind::policy, std::move(policyPath));
    }
    static PromptFilter session(QString sessionId) {
        return PromptFilter(Kind::session, std::move(sessionId));
    }

    Kind kind() const { return filterKind; }
    // The payload of a policy or session filter.
    std::optional<QString> policyPath() const {
        return filterKind == Kind::policy ? std::optional(payload) : std::nullopt;
    }
    std::optional<QString> sessionId() const {
        return filterKind == Kind::session ? std::optional(payload) : std::nullopt;
    }

    // Same case and, for policy and session, the same text.
    bool operator==(const PromptFilter&) const = default;

private:
    PromptFilter(Kind kind, QString payload)
        : filterKind(kind)
        , payload(std::move(payload)) {}

    Kind filterKind = Kind::all;
    QString payload;
};

} // namespace zor
