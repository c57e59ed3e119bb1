#include "platform/LargePages.h"

#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace zor {

void adviseLargePages(void* block, std::size_t size) {
#ifdef MADV_HUGEPAGE
    if (size < kLargePagesBlockSize)
        return;
    // The advice covers whole pages, and only those of the block.
    const auto pageSize = std::uintptr_t(sysconf(_SC_PAGESIZE));
    const auto start = (std::uintptr_t(block) + pageSize - 1) & ~(pageSize - 1);
    const auto end = (std::uintptr_t(block) + size) & ~(pageSize - 1);
    if (end > start)
        madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#else
    (void)block;
    (void)size;
#endif
}

} // namespace zor
