#pragma once

#include <cstddef>

namespace zor {

// Rows that go or come as runs of adjacent rows, which a view takes as a few
// changes rather than one each. For each stretch [begin, end) of `items`
// whose rows, `rowOf(item)`, each lie `step` (1 or -1) from the one before,
// calls `take(begin, end, first, last)` with the stretch's lowest and
// highest row.
template <typename Items, typename RowOf, typename Take>
void forEachRun(const Items& items, int step, RowOf rowOf, Take take) {
    const auto count = std::size_t(items.size());
    for (std::size_t begin = 0; begin < count;) {
        std::size_t end = begin + 1;
        while (end < count && rowOf(items[end]) == rowOf(items[end - 1]) + step)
            ++end;
        const int a = rowOf(items[begin]);
        const int b = rowOf(items[end - 1]);
        take(begin, end, step > 0 ? a : b, step > 0 ? b : a);
        begin = end;
    }
}

} // namespace zor
