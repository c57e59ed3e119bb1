#pragma once

#include "prompts/PromptStore.h"

#include <QObject>

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

    // The setup screen's status callback: only its first report picks the tab,
    // and only towards setup when not all services are healthy.
    void pickInitialTab(bool isAllHealthy);
    // Shows the prompt: no sidebar filter may hide it; highlighted and scrolled
    // to when it is pending; the policies tab in any case.
    void navigateToPrompt(const QUuid& id);

signals:
    void selectedTabChanged();
    void hasPickedInitialTabChanged();

private:
    AppTab tab = AppTab::policies;
    bool pickedInitialTab = false;
    PromptStore* const store;
};

using AppTab = AppState::AppTab;

} // namespace zor
