#include "prompts/PromptRowMenu.h"

#include "platform/Clipboard.h"
#include "prompts/AppState.h"

namespace zor {

PromptRowMenu::PromptRowMenu(AppState& appState, Clipboard& clipboard, QObject* parent)
    : QObject(parent)
    , appState(appState)
    , clipboard(clipboard) {
    // Presence depends on the filter, which may change while the menu is built.
    connect(appState.promptStore(), &PromptStore::filterChanged, this,
            &PromptRowMenu::openedForChanged);
}

void PromptRowMenu::openFor(const QString& newPolicyPath, const QString& newSessionId) {
    policyPath = newPolicyPath;
    sessionId = newSessionId;
    emit openedForChanged();
}

bool PromptRowMenu::hasViewPolicyItem() const {
    return appState.promptStore()->filter() != PromptFilter::policy(policyPath);
}

bool PromptRowMenu::hasViewSessionItem() const {
    return appState.promptStore()->filter() != PromptFilter::session(sessionId);
}

void PromptRowMenu::viewPolicyNotifications() {
    appState.setSelectedTab(AppTab::policies);
    appState.promptStore()->setFilter(PromptFilter::policy(policyPath));
}

void PromptRowMenu::viewSessionNotifications() {
    appState.setSelectedTab(AppTab::sessions);
    appState.promptStore()->setFilter(PromptFilter::session(sessionId));
}

void PromptRowMenu::copyPolicyPath() {
    clipboard.setText(policyPath);
}

void PromptRowMenu::copySessionId() {
    clipboard.setText(sessionId);
}

} // namespace zor
