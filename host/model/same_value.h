// Equality for change detection: a value that is not a number equals itself, so that writing it again is no change.
#pragma once

#include <cstring>
#include <type_traits>
#include <vector>

#include "host/sdk/vector.h"

namespace host {

template <typename T>
Bool sameBits(const T& a, const T& b) {
    static_assert(std::is_trivially_copyable_v<T>);
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

inline Bool sameValue(Float a, Float b) {
    return a == b || sameBits(a, b);
}
inline Bool sameValue(const Vector& a, const Vector& b) {
    return a == b || sameBits(a, b);
}
inline Bool sameValue(const Matrix& a, const Matrix& b) {
    return a == b || sameBits(a, b);
}

template <typename T>
Bool sameArray(const std::vector<T>& a, const std::vector<T>& b) {
    static_assert(std::is_trivially_copyable_v<T>);
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

}  // namespace host
