#pragma once

#include "agent/PromptFeed.h"

#include <QMutex>
#include <functional>
#include <memory>
#include <variant>
#include <vector>

namespace zor {

// What the agent's connection hands the main thread, in the order it came.
// However much comes while the main thread is busy, one posted call takes all
// of it: a burst of pushes then reaches the store in a few turns, not a call
// and a change of the views each.
class AgentInbox final : public std::enable_shared_from_this<AgentInbox> {
public:
    // A change of the store, or anything else that must keep its place.
    using Item = std::variant<PromptFeed::Change, std::function<void()>>;
    using Take = std::function<void(std::vector<Item> items)>;

    // `take` runs on the main thread with everything that came since it last
    // ran; dropped with the items when the application is gone.
    static std::shared_ptr<AgentInbox> create(Take take);

    // Any thread.
    void post(Item item);

private:
    explicit AgentInbox(Take take);
    void takeAll();

    const Take take;
    QMutex mutex;
    std::vector<Item> items;
    bool isPosted = false;
};

} // namespace zor
