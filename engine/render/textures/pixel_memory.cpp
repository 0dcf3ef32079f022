#include "engine/render/textures/pixel_memory.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>

namespace Lumora::engine {

namespace {

constexpr std::size_t kLine = 64, kLargePage = 2u << 20;

std::size_t roundedUp(std::size_t bytes, std::size_t to) {
    return (bytes + to - 1) / to * to;
}

/// Mapped for itself, so that it goes back to the system when it is freed, and begins at a large page.
std::byte* mapLarge(std::size_t size) {
    const std::size_t reach = size + kLargePage;
    void* mapped = mmap(nullptr, reach, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapped == MAP_FAILED) throw std::bad_alloc();
    auto* first = static_cast<std::byte*>(mapped);
    const std::size_t skipped =
        roundedUp(reinterpret_cast<std::uintptr_t>(first), kLargePage) - reinterpret_cast<std::uintptr_t>(first);
    if (skipped > 0) munmap(first, skipped);
    munmap(first + skipped + size, reach - skipped - size);
    first += skipped;
#ifdef MADV_HUGEPAGE
    // Whole pages only: the rest of a last one would be taken too. A system that refuses gives small ones.
    madvise(first, size / kLargePage * kLargePage, MADV_HUGEPAGE);
#endif
    return first;
}

}  // namespace

std::shared_ptr<std::byte[]> allocatePixels(std::size_t bytes) {
    if (bytes >= 2 * kLargePage) {
        constexpr std::size_t kPage = 64 << 10;  // the largest of the small pages that systems have
        const std::size_t size = roundedUp(bytes, kPage);
        return {mapLarge(size), [size](std::byte* p) { munmap(p, size); }};
    }
    void* memory = nullptr;
    if (posix_memalign(&memory, kLine, roundedUp(bytes + 1, kLine)) != 0) throw std::bad_alloc();
    return {static_cast<std::byte*>(memory), [](std::byte* p) { std::free(p); }};
}

}  // namespace Lumora::engine
