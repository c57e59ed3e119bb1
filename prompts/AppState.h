#pragma once

#include "prompts/PromptStore.h"

#include <QObject>
#include <QUuid>
#include <optional>

namespace zor {

// The app-wide state every screen reads: the tab shown, whether the initial
// tab has been chosen, and the prompt store. Main thread only.
class AppState final : public QObject {
    Q_OBJECT
    Q_PROPERTY(zor::AppState::AppTab selectedTab READ selectedTab WRITE setSelectedTab NOTIFY
                   selectedTabChanged)
    Q_PROPERTY(bool hasPickedInitialTab READ hasPickedInitialTab WRITE setHasPickedInitialTab NOTIFY
                   hasPickedInitialTabChanged)
    Q_PROPERTY(zor::PromptStore* promptStore READ promptStore CONSTANT)

public:
    enum class AppTab { policies, sessions, setup };
    Q_ENUM(AppTab)

    explicit AppState(QObject* parent = nullptr);

    AppTab selectedTab() const { return tab; }
    void setSelectedTab(AppTab selectedTab);
    bool hasPickedInitialTab() const { return pickedInitialTab; }
    void setHasPickedInitialTab(bool hasPicked);
    // Created with the state and never replaced.
    PromptStore* promptStore() const { return store; }

    // The user's own choice of a tab, by its button or a menu: it counts as
    // the initial tab's, so that a first report that comes late leaves it.
    Q_INVOKABLE void chooseTab(zor::AppState::AppTab chosenTab);

    // The setup screen's status callback: only its first report picks the tab,
    // and only towards setup when a service needs repairing (one that cannot
    // run on this system needs none).
    void pickInitialTab(bool isNothingToRepair);
    // Shows the prompt: no sidebar filter or search may hide it; highlighted and scrolled
    // to when it is pending; the policies tab in any case. A link the user
    // followed also counts as the choice of the initial tab. While the launch
    // sync is awaited the navigation waits for it, so that a link that started
    // the app finds its prompt.
    void navigateToPrompt(const QUuid& id);

    // Set by the agent link while its first sync is under way; navigation
    // held meanwhile happens when it ends, synced or failed.
    bool isAwaitingSync() const { return isAwaiting; }
    void setAwaitingSync(bool isAwaitingSync);

signals:
    void selectedTabChanged();
    void hasPickedInitialTabChanged();

private:
    void navigateNow(const QUuid& id);

    AppTab tab = AppTab::policies;
    bool pickedInitialTab = false;
    bool isAwaiting = false;
    std::optional<QUuid> heldNavigation;
    PromptStore* const store;
};

using AppTab = AppState::AppTab;

} // namespace zor
