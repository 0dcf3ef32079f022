// Arrays that are written whole by parallel loops: allocated once, not cleared first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#ifdef __linux__
#include <sys/mman.h>
#endif

namespace lumora {

/// Asks for large pages under memory that was not touched yet: first touches cost more than the conversion does. A
/// hint: nothing happens where the system has none.
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

template <typename T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    /// Room for `count` elements of no particular value. The old content goes.
    void allocate(std::size_t count) {
        release();
        if (count) data_ = std::make_unique_for_overwrite<T[]>(count);
        size_ = count;
        adviseLargePages(data_.get(), count * sizeof(T));
    }
    void release() {
        data_.reset();
        size_ = 0;
    }
    T* data() { return data_.get(); }
    const T* data() const { return data_.get(); }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }

private:
    std::unique_ptr<T[]> data_;
    std::size_t size_ = 0;
};

}  // namespace lumora
