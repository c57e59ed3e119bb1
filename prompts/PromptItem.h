#pragma once

#include "shared/Denial.h"

#include <QDateTime>
#include <QString>
#include <QStringView>
#include <QUuid>
#include <optional>

namespace zor {

// One pending prompt as the app holds it.
struct PromptItem {
    QUuid id;
    QString sessionId;
    QString policyPath;
    Denial denial;
    QDateTime timestamp; // when the store added it, in UTC; views show it in local time
    bool sessionEnded = false;

    // "policyPath:typeString:target", joined without escaping: parts that hold
    // colons may make different prompts share a key, which is accepted.
    QString dedupeKey() const;

    // Deliberately narrow: identity and the ended flag, which is all the views
    // need to notice a change. Path, session, denial and time take no part.
    friend bool operator==(const PromptItem& a, const PromptItem& b) {
        return a.id == b.id && a.sessionEnded == b.sessionEnded;
    }
};

// The UUID in the agent's id text. Only the standard 36-character form counts,
// in either case; braces do not.
std::optional<QUuid> parsePromptId(QStringView text);

// The prompt id for the agent's id text: its UUID when the text is one, else a
// fresh random UUID (such a prompt can never be removed by the agent's text).
QUuid promptIdFromText(QStringView text);

// The name a policy file is shown by: the project folder for
// "<project>/.zor/policy.yml", the folder for "<folder>/policy.yml", else the
// file name without its extension. Comparisons are exact and case-sensitive.
QString policyDisplayName(const QString& policyPath);

} // namespace zor
