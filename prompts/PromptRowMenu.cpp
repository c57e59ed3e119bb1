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
    // The menu stays open while the agent removes its row's prompt. Watched
    // from the first opening on: until then the store's every change is not
    // worth two lookups.
    if (!viewableWatch)
        viewableWatch = connect(appState.promptStore(), &PromptStore::promptsChanged, this,
                                &PromptRowMenu::updateViewable);
    policyPath = newPolicyPath;
    sessionId = newSessionId;
    emit openedForChanged();
    updateViewable();
}

void PromptRowMenu::updateViewable() {
    const PromptStore& store = *appState.promptStore();
    const bool isPolicyNow = store.promptCountForPolicy(policyPath) > 0;
    const bool isSessionNow = store.promptCountForSession(sessionId) > 0;
    if (isPolicyNow == isPolicyShown && isSessionNow == isSessionShown)
        return;
    isPolicyShown = isPolicyNow;
    isSessionShown = isSessionNow;
    emit viewableChanged();
}

bool PromptRowMenu::hasViewPolicyItem() const {
    return appState.promptStore()->filter() != PromptFilter::policy(policyPath);
}

bool PromptRowMenu::hasViewSessionItem() const {
    return appState.promptStore()->filter() != PromptFilter::session(sessionId);
}

void PromptRowMenu::viewPolicyNotifications() {
    if (!isPolicyShown)
        return;
    appState.chooseTab(AppTab::policies);
    appState.promptStore()->setFilter(PromptFilter::policy(policyPath));
}

void PromptRowMenu::viewSessionNotifications() {
    if (!isSessionShown)
        return;
    appState.chooseTab(AppTab::sessions);
    appState.promptStore()->setFilter(PromptFilter::session(sessionId));
}

void PromptRowMenu::copyPolicyPath() {
    clipboard.setText(policyPath);
}

void PromptRowMenu::copySessionId() {
    clipboard.setText(sessionId);
}

} // namespace zor
