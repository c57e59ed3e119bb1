#include "prompts/SidebarModels.h"

#include "platform/MainThread.h"
#include "prompts/AppState.h"

namespace zor {

SidebarModels::SidebarModels(AppState& state, QObject* parent)
    : QObject(parent)
    , appState(state)
    , policies(new PromptsSidebarModel(this))
    , sessions(new PromptsSidebarModel(this)) {
    requireMainThread("SidebarModels");
    policies->setGrouping(SidebarGrouping::policy);
    sessions->setGrouping(SidebarGrouping::session);
    // Settled before the store comes, so that the one not shown never builds.
    isSessionsShown = appState.selectedTab() == AppState::AppTab::sessions;
    policies->setActive(!isSessionsShown);
    sessions->setActive(isSessionsShown);
    policies->setStore(appState.promptStore());
    sessions->setStore(appState.promptStore());
    connect(&appState, &AppState::selectedTabChanged, this, &SidebarModels::followTab);
}

QString SidebarModels::shownTitle() const {
    return isSessionsShown ? QStringLiteral("Sessions") : QStringLiteral("Policies");
}

void SidebarModels::followTab() {
    const bool isSessions = appState.selectedTab() == AppState::AppTab::sessions;
    if (isSessions == isSessionsShown)
        return;
    isSessionsShown = isSessions;
    // The one coming into view catches up before the view takes it, and the
    // other lets go of its rows once no view shows them.
    shown()->setActive(true);
    emit shownChanged();
    (isSessionsShown ? policies : sessions)->setActive(false);
}

} // namespace zor
