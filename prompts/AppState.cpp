#include "prompts/AppState.h"

#include "platform/Log.h"
#include "platform/MainThread.h"

#include <utility>

namespace zor {

AppState::AppState(QObject* parent)
    : QObject(parent)
    , store(new PromptStore(this)) {}

void AppState::setSelectedTab(AppTab selectedTab) {
    if (tab == selectedTab)
        return;
    tab = selectedTab;
    emit selectedTabChanged();
}

void AppState::setHasPickedInitialTab(bool hasPicked) {
    if (pickedInitialTab == hasPicked)
        return;
    pickedInitialTab = hasPicked;
    emit hasPickedInitialTabChanged();
}

void AppState::chooseTab(AppTab chosenTab) {
    setHasPickedInitialTab(true);
    setSelectedTab(chosenTab);
}

void AppState::pickInitialTab(bool isNothingToRepair) {
    requireMainThread("AppState::pickInitialTab");
    if (pickedInitialTab)
        return;
    setHasPickedInitialTab(true);
    if (!isNothingToRepair)
        setSelectedTab(AppTab::setup);
}

void AppState::navigateToPrompt(const QUuid& id) {
    requireMainThread("AppState::navigateToPrompt");
    setHasPickedInitialTab(true);
    if (isAwaiting)
        heldNavigation = id; // the last link wins, as when they come together
    else
        navigateNow(id);
}

void AppState::setAwaitingSync(bool isAwaitingSync) {
    requireMainThread("AppState::setAwaitingSync");
    isAwaiting = isAwaitingSync;
    if (!isAwaiting && heldNavigation)
        navigateNow(*std::exchange(heldNavigation, std::nullopt));
}

void AppState::navigateNow(const QUuid& id) {
    store->setFilter(PromptFilter::all());
    store->setSearchText(QString());
    // Upper case, as the agent writes prompt ids.
    const QString idText = id.toString(QUuid::WithoutBraces).toUpper();
    if (store->containsPrompt(id)) {
        store->setHighlightedPromptId(id);
        store->setScrollToPromptId(id);
        logger(LogCategory::app).info("Navigating to prompt %s", {idText});
    } else {
        logger(LogCategory::app).info("No prompt found for %s, switching to Prompts tab", {idText});
    }
    setSelectedTab(AppTab::policies);
}

} // namespace zor
