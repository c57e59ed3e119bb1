#include "prompts/SidebarEntry.h"

#include "prompts/PromptStore.h"

namespace zor {

SidebarEntry SidebarEntry::all(const PromptStore& store) {
    SidebarEntry entry;
    entry.label = QStringLiteral("All");
    entry.count = store.prompts().size();
    return entry;
}

SidebarEntry SidebarEntry::forPolicy(const PromptStore& store, const QString& policyPath) {
    SidebarEntry entry;
    entry.label = store.policyDisplayName(policyPath);
    entry.subtitle = policyPath;
    entry.count = store.promptCountForPolicy(policyPath);
    entry.tooltip = policyPath;
    entry.filter = PromptFilter::policy(policyPath);
    return entry;
}

SidebarEntry SidebarEntry::forSession(const PromptStore& store, const QString& sessionId) {
    SidebarEntry entry;
    entry.label = store.sessionPolicyName(sessionId) + QStringLiteral(" [") + sessionId + u']';
    entry.subtitle = store.policyPathForSession(sessionId);
    entry.sessionId = sessionId;
    entry.count = store.promptCountForSession(sessionId);
    entry.tooltip = entry.subtitle;
    entry.filter = PromptFilter::session(sessionId);
    return entry;
}

} // namespace zor
