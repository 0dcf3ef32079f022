// Arrays that are written whole by parallel loops: allocated once, not cleared first.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>

#include "engine/api/large_pages.h"

namespace lumora {

template <typename T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    /// Room for `count` elements of no particular value. The old content goes.
    void allocate(std::size_t count) {
        release();
        if (count) data_ = std::make_unique_for_overwrite<T[]>(count);
        size_ = count;
        Lumora::adviseLargePages(data_.get(), count * sizeof(T));
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
