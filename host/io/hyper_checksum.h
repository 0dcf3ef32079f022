// The checksum that seals a HyperFile: it finds damage, it does not keep out an attacker.
#pragma once

#include <bit>
#include <cstring>

#include "host/sdk/types.h"

namespace host {

/// Four lanes of multiply and rotate over 64-bit words: every step is a bijection of the lane, so that no single
/// damaged word goes unseen. Data may come in pieces; all but the last must be multiples of 32 bytes.
class HyperChecksum {
public:
    void add(const UChar* data, std::size_t bytes) {
        length_ += bytes;
        for (; bytes >= 32; data += 32, bytes -= 32) block(data);
        if (bytes > 0) {
            UChar rest[32] = {};
            std::memcpy(rest, data, bytes);
            block(rest);
        }
    }
    UInt64 value() const {
        UInt64 sum = length_;
        for (const UInt64 lane : lanes_) sum = std::rotl(sum ^ lane, 29) * kFactor;
        return sum ^ (sum >> 32);
    }

private:
    static constexpr UInt64 kFactor = 0x9E3779B97F4A7C15ULL;  // odd: 2^64 divided by the golden ratio
    void block(const UChar* data) {
        UInt64 words[4];
        std::memcpy(words, data, sizeof words);
        for (int i = 0; i < 4; ++i) lanes_[i] = std::rotl((lanes_[i] ^ words[i]) * kFactor, 31);
    }
    UInt64 lanes_[4] = {1, 2, 3, 4};
    UInt64 length_ = 0;
};

}  // namespace host
