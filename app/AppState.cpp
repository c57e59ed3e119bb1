#include "app/AppState.h"

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

} // namespace zor
