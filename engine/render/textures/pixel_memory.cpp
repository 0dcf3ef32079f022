#include "engine/render/textures/pixel_memory.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace Lumora::engine {

std::shared_ptr<std::byte[]> allocatePixels(std::size_t bytes) {
    constexpr std::size_t kLine = 64, kLargePage = 2u << 20;
    const bool large = bytes >= 2 * kLargePage;
    const std::size_t alignment = large ? kLargePage : kLine;
    const std::size_t size = (bytes + kLine - 1) / kLine * kLine;
    void* memory = nullptr;
    if (posix_memalign(&memory, alignment, size > 0 ? size : kLine) != 0) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    // Whole pages only: the rest of a last one would be taken too. A system that refuses gives small ones.
    if (large) madvise(memory, size / kLargePage * kLargePage, MADV_HUGEPAGE);
#endif
    return {static_cast<std::byte*>(memory), [](std::byte* p) { std::free(p); }};
}

}  // namespace Lumora::engine
