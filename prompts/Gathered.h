#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace zor {

// Entries gathered between two batches and taken out whole to be handled:
// what comes meanwhile waits for the next batch. The taken buffer comes back
// once handled, its room kept, so that gathering a batch of one allocates
// nothing, as most of a running app's batches are.
template <typename T> class Gathered {
public:
    // A taken batch; its buffer goes back to the gatherer as this goes.
    class Taken {
    public:
        Taken(Gathered& owner, std::vector<T> entries)
            : owner(owner)
            , entries(std::move(entries)) {}
        ~Taken() {
            entries.clear();
            owner.spare = std::move(entries);
        }
        Taken(const Taken&) = delete;
        Taken& operator=(const Taken&) = delete;

        std::vector<T>& operator*() { return entries; }
        auto begin() { return entries.begin(); }
        auto end() { return entries.end(); }

    private:
        Gathered& owner;
        std::vector<T> entries;
    };

    Taken take() { return Taken(*this, std::exchange(entries, std::move(spare))); }

    void push_back(T entry) { entries.push_back(std::move(entry)); }
    T& operator[](std::size_t index) { return entries[index]; }
    std::size_t size() const { return entries.size(); }
    bool empty() const { return entries.empty(); }
    void clear() { entries.clear(); }

private:
    std::vector<T> entries;
    std::vector<T> spare;
};

} // namespace zor
