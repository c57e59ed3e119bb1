#pragma once

#include <QSet>
#include <QUuid>
#include <utility>

namespace zor {

// The ids met lately: at least the last `capacity` inserted, at most twice
// as many. They are kept in two generations, and a full newer one replaces
// the older, so that a process running for weeks keeps a bounded set.
class RecentIds {
public:
    explicit RecentIds(qsizetype capacity)
        : capacity(capacity) {}

    void insert(const QUuid& id) {
        if (newer.size() >= capacity)
            older = std::exchange(newer, {});
        newer.insert(id);
    }

    bool contains(const QUuid& id) const { return newer.contains(id) || older.contains(id); }

    // Whether it was there.
    bool remove(const QUuid& id) {
        const bool wasNewer = newer.remove(id);
        return older.remove(id) || wasNewer;
    }

private:
    qsizetype capacity;
    QSet<QUuid> newer;
    QSet<QUuid> older;
};

} // namespace zor
