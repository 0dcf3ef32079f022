// A vector whose elements stay when it is emptied: what they hold is overwritten, not freed and taken again. For lists
// that every pass fills anew with much the same.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace lumora {

template <typename T>
class KeptVector {
public:
    KeptVector() = default;
    KeptVector(const KeptVector& other) { *this = other; }
    KeptVector& operator=(const KeptVector& other) {
        if (this == &other) return *this;
        clear();
        for (const T& element : other) push_back(element);
        return *this;
    }
    KeptVector(KeptVector&& other) noexcept : items_(std::move(other.items_)), size_(other.size_) { other.size_ = 0; }
    KeptVector& operator=(KeptVector&& other) noexcept {
        items_.swap(other.items_);
        std::swap(size_, other.size_);
        return *this;
    }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }
    T* data() { return items_.data(); }
    const T* data() const { return items_.data(); }
    T* begin() { return data(); }
    T* end() { return data() + size_; }
    const T* begin() const { return data(); }
    const T* end() const { return data() + size_; }
    T& operator[](std::size_t i) { return items_[i]; }
    const T& operator[](std::size_t i) const { return items_[i]; }
    T& front() { return items_.front(); }
    const T& front() const { return items_.front(); }
    T& back() { return items_[size_ - 1]; }
    const T& back() const { return items_[size_ - 1]; }

    void reserve(std::size_t count) { items_.reserve(count); }
    void clear() { size_ = 0; }
    /// Frees what it holds, too.
    void release() { *this = KeptVector(); }
    void push_back(const T& value) {
        if (size_ < items_.size())
            items_[size_] = value;
        else
            items_.push_back(value);
        ++size_;
    }
    /// One more element, which holds what it last held: the caller overwrites all of it.
    T& grow() {
        if (size_ == items_.size()) items_.emplace_back();
        return items_[size_++];
    }

private:
    std::vector<T> items_;  ///< beyond size_: elements of an earlier, longer filling
    std::size_t size_ = 0;
};

}  // namespace lumora
