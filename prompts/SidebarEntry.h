#pragma once

#include "prompts/PromptFilter.h"

#include <QString>
#include <optional>

namespace zor {

class PromptStore;

// One entry of the prompts sidebar: "All", a policy file or a session.
struct SidebarEntry {
    QString label;
    std::optional<QString> subtitle; // the policy file's path
    std::optional<QString> sessionId;
    // A session's policy's name, which its label shows before the id.
    std::optional<QString> policyName;
    qint64 count = 0;
    std::optional<QString> tooltip;
    PromptFilter filter; // what clicking the entry shows

    static SidebarEntry all(const PromptStore& store);
    static SidebarEntry forPolicy(const PromptStore& store, const QString& policyPath);
    // A session without prompts is "Unknown [id]" and has no policy path.
    static SidebarEntry forSession(const PromptStore& store, const QString& sessionId);

    bool isSelected(const PromptFilter& current) const { return filter == current; }
    // The label as the screen shows it (displayText). A session's name and
    // id each read as their script reads, in that order: shown as one text,
    // a right-to-left name and id would run together, the id first.
    QString shownLabel() const;

    // The context menu. Revealing, opening and copying the policy file need
    // its path; the audit logs need the path and a session.
    bool hasPolicyFileItems() const { return subtitle.has_value(); }
    bool hasAuditLogsItem() const { return subtitle && sessionId; }
    bool hasCopySessionIdItem() const { return sessionId.has_value(); }
    bool hasMenu() const { return hasPolicyFileItems() || hasCopySessionIdItem(); }
};

} // namespace zor
