#pragma once

#include <cstddef>

namespace zor {

// Asks the system to back the pages of a large block with large pages as they
// are first written: one fault, and one address translation, for what would
// otherwise take hundreds. Only a block of its own counts: the allocator maps
// a block this large apart from its heap, where the advice would reach other
// blocks. Advice only: where the system has no such pages, or the block is
// smaller, nothing happens.
void adviseLargePages(void* block, std::size_t size);

// Blocks from this size up are mapped apart from the heap.
constexpr std::size_t kLargePagesBlockSize = std::size_t(32) << 20;

} // namespace zor
