// Piecewise constant distributions over an index and over the unit square.
#pragma once

#include <cstdint>
#include <vector>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Picks an index with probability proportional to its weight, in constant time (alias method, Vose 1991).
class AliasTable {
public:
    AliasTable() = default;
    /// Weights that are negative or not finite count as zero. All zero: every index alike.
    explicit AliasTable(const std::vector<float>& weights);

    bool empty() const { return bins_.empty(); }
    std::size_t size() const { return bins_.size(); }
    double total() const { return total_; }
    /// u in [0, 1). The remainder comes back through `u` as a fresh number.
    std::uint32_t sample(float& u) const;
    float probability(std::uint32_t index) const { return bins_[index].probability; }

private:
    struct Bin {
        float threshold = 1.0f;
        std::uint32_t alias = 0;
        float probability = 0.0f;
    };
    std::vector<Bin> bins_;
    double total_ = 0.0;
};

/// Density over the unit square, constant in each cell of a grid; row 0 at v = 0.
class Distribution2D {
public:
    Distribution2D() = default;
    Distribution2D(const std::vector<float>& cells, std::uint32_t width, std::uint32_t height);

    bool empty() const { return width_ == 0; }
    /// A point and its density with respect to the square's area.
    Float2 sample(Float2 u, float& pdf) const;
    float pdf(Float2 p) const;
    std::size_t bytes() const { return (rowCdf_.size() + cdf_.size()) * sizeof(float); }

private:
    std::uint32_t width_ = 0, height_ = 0;
    std::vector<float> rowCdf_;  ///< height + 1
    std::vector<float> cdf_;     ///< height rows of width + 1
};

}  // namespace Lumora::engine
