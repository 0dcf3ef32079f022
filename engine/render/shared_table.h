// A table that is copied for the price of its pieces' addresses: copies share their pieces until one of them writes.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace Lumora::engine {

/// As a vector, for tables that live on from one state of the scene to the next with few changes. One thread may write
/// a copy while others read other copies.
template <typename T, unsigned Bits = 7>
class SharedTable {
    static constexpr std::size_t kPiece = std::size_t{1} << Bits;

public:
    SharedTable() = default;
    /// Default entries. Until it is copied, several threads may edit different ones.
    explicit SharedTable(std::size_t size) : size_(size) {
        for (std::size_t i = 0; i < size; i += kPiece) pieces_.push_back(std::make_shared<T[]>(kPiece));
    }
    const T& operator[](std::size_t i) const { return pieces_[i >> Bits][i & (kPiece - 1)]; }
    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    /// The entry to be written; its piece is this table's own from then on. Valid until the table is copied.
    T& edit(std::size_t i) {
        std::shared_ptr<T[]>& piece = pieces_[i >> Bits];
        if (piece.use_count() > 1) {
            std::shared_ptr<T[]> own = std::make_shared<T[]>(kPiece);
            std::copy_n(piece.get(), kPiece, own.get());
            piece = std::move(own);
        } else {
            // Whoever let go of the piece last has read it before.
            std::atomic_thread_fence(std::memory_order_acquire);
        }
        return piece[i & (kPiece - 1)];
    }
    void push_back(T value) {
        if (size_ == pieces_.size() * kPiece) pieces_.push_back(std::make_shared<T[]>(kPiece));
        edit(size_++) = std::move(value);
    }
    /// Puts a value into a place of `free` or, when there is none, behind the last one. Returns where.
    std::uint32_t store(T value, std::vector<std::uint32_t>& free) {
        if (free.empty()) {
            push_back(std::move(value));
            return static_cast<std::uint32_t>(size_ - 1);
        }
        const std::uint32_t index = free.back();
        free.pop_back();
        edit(index) = std::move(value);
        return index;
    }

    /// Pieces that another table does not have, too.
    std::size_t differences(const SharedTable& other) const {
        std::size_t n = 0;
        for (std::size_t i = 0; i < pieces_.size(); ++i)
            n += i >= other.pieces_.size() || pieces_[i] != other.pieces_[i];
        return n;
    }
    std::size_t bytes() const { return pieces_.size() * kPiece * sizeof(T); }

    class Iterator {
    public:
        Iterator(const SharedTable& table, std::size_t at) : table_(&table), at_(at) {}
        const T& operator*() const { return (*table_)[at_]; }
        Iterator& operator++() { return ++at_, *this; }
        bool operator!=(const Iterator& other) const { return at_ != other.at_; }

    private:
        const SharedTable* table_;
        std::size_t at_;
    };
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size_}; }

private:
    std::vector<std::shared_ptr<T[]>> pieces_;
    std::size_t size_ = 0;
};

}  // namespace Lumora::engine
