// Large arrays on large pages: the first touch of fresh memory costs more than copying into it, and with pages of 2 MiB
// the system is entered 512 times less often. Of use on both sides: who fills an array, and who keeps a copy.
#pragma once

#include <cstddef>
#include <cstdint>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace Lumora {

/// Asks for large pages under memory that was not touched yet. A hint: nothing happens where the system has none.
inline void adviseLargePages([[maybe_unused]] void* memory, [[maybe_unused]] std::size_t bytes) {
#ifdef __linux__
    constexpr std::uintptr_t kPage = 4096;
    constexpr std::size_t kWorthwhile = std::size_t{4} << 20;
    if (bytes < kWorthwhile) return;
    const auto first = (reinterpret_cast<std::uintptr_t>(memory) + kPage - 1) & ~(kPage - 1);
    const auto end = (reinterpret_cast<std::uintptr_t>(memory) + bytes) & ~(kPage - 1);
    madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace Lumora
