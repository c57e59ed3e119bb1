#pragma once

#include "FakeAgentConnection.h"
#include "FakePlatform.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "app/AppState.h"

#include <QImage>
#include <memory>

class QQuickItem;
class QQuickView;

namespace zor {
class PromptDecider;
class PromptListModel;
class PromptRowMenu;
class PromptsViewModel;
} // namespace zor

namespace zor::testing {

// The app state with the development agent's sample prompts, an agent link
// to a fake agent that answers nothing unless told, and on demand the prompt
// list showing them offscreen.
class PromptsScene {
public:
    PromptsScene();
    ~PromptsScene();

    // The sample prompts, newest first as after a sync.
    void addSamplePrompts();

    // Loads the list, `width` by `height`.
    bool show(int width, int height);
    QImage grab();
    QQuickItem* item(const QString& objectName) const;

    VirtualClock clock;
    FakeQueue queue;
    FakeAgentConnector connector{queue};
    FakeClipboard clipboard;
    AppState appState;
    NotificationHandler handler{connector, clock};
    std::unique_ptr<PromptListModel> listModel;
    std::unique_ptr<PromptDecider> decider;
    std::unique_ptr<PromptsViewModel> viewModel;
    std::unique_ptr<PromptRowMenu> rowMenu;
    std::unique_ptr<QQuickView> view;
};

} // namespace zor::testing
