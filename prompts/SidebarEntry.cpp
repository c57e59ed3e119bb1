#include "prompts/SidebarEntry.h"

#include "prompts/PromptStore.h"
#include "shared/VisibleText.h"

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
    entry.policyName = store.sessionPolicyName(sessionId);
    entry.label = *entry.policyName + QStringLiteral(" [") + sessionId + u']';
    entry.subtitle = store.policyPathForSession(sessionId);
    entry.sessionId = sessionId;
    entry.count = store.promptCountForSession(sessionId);
    entry.tooltip = entry.subtitle;
    entry.filter = PromptFilter::session(sessionId);
    return entry;
}

QString SidebarEntry::shownLabel() const {
    if (!policyName || !sessionId)
        return displayText(label);
    return displayText(*policyName) + QStringLiteral(" [") + displayText(*sessionId) + u']';
}

} // namespace zor
