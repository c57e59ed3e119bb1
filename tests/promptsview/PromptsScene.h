#pragma once

#include "FakeAgentConnection.h"
#include "FakePlatform.h"
#include "VirtualClock.h"
#include "agent/NotificationHandler.h"
#include "prompts/AppState.h"

namespace zor::testing {

// The app state with the development agent's sample prompts on demand, and an
// agent link to a fake agent that answers nothing unless told.
class PromptsScene {
public:
    explicit PromptsScene(bool isConnected = true);
    ~PromptsScene();

    // The sample prompts, newest first as after a sync.
    void addSamplePrompts();
    // Links to the fake agent, whose sync brings no prompts.
    std::shared_ptr<FakeAgentConnection> connectToAgent();
    // Runs what the fake agent's queue and the main thread have to do.
    void settle();

    VirtualClock clock;
    FakeQueue queue;
    FakeAgentConnector connector{queue};
    FakeClipboard clipboard;
    AppState appState;
    NotificationHandler handler{connector, clock};
};

} // namespace zor::testing
