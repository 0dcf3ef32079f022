// Basic types of the host's plug-in interface.
#pragma once

#include <cstddef>
#include <cstdint>

/// Everything that crosses the library's border, class information included.
#define HOST_API __attribute__((visibility("default")))

namespace host {

using Bool = bool;
using Char = char;
using UChar = unsigned char;
using Int = std::int64_t;
using Int32 = std::int32_t;
using UInt32 = std::uint32_t;
using Int64 = std::int64_t;
using UInt64 = std::uint64_t;
using Float = double;
using Float32 = float;

inline constexpr Float kPi = 3.14159265358979323846;
inline constexpr Float kDegreesPerRadian = 57.29577951308232;

inline constexpr Int32 kNotOk = -1;

/// Four characters as one number, the first in the high byte.
constexpr Int32 fourCC(char a, char b, char c, char d) {
    return static_cast<Int32>(
        (static_cast<UInt32>(static_cast<UChar>(a)) << 24) | (static_cast<UInt32>(static_cast<UChar>(b)) << 16) |
        (static_cast<UInt32>(static_cast<UChar>(c)) << 8) | static_cast<UInt32>(static_cast<UChar>(d)));
}

}  // namespace host
