#include "engine/render/distribution.h"

#include <algorithm>

namespace Lumora::engine {

namespace {

float usable(float w) {
    return std::isfinite(w) && w > 0.0f ? w : 0.0f;
}

/// Writes the normalised running sums of n weights to cdf[0..n]; returns the sum. A zero sum becomes uniform.
double accumulate(const float* weights, std::uint32_t n, float* cdf) {
    double sum = 0.0;
    for (std::uint32_t i = 0; i < n; ++i) sum += usable(weights[i]);
    double running = 0.0;
    cdf[0] = 0.0f;
    for (std::uint32_t i = 0; i < n; ++i) {
        running += usable(weights[i]);
        cdf[i + 1] = static_cast<float>(sum > 0.0 ? running / sum : (i + 1.0) / n);
    }
    cdf[n] = 1.0f;
    return sum;
}

/// Interval of the running sums that holds u, never one of zero width when another is to be had.
std::uint32_t findInterval(const float* cdf, std::uint32_t n, float u) {
    const auto it = std::upper_bound(cdf, cdf + n + 1, u);
    return std::min<std::uint32_t>(n - 1, static_cast<std::uint32_t>(std::max<std::ptrdiff_t>(0, it - cdf - 1)));
}

constexpr float kOneMinusEpsilon = 0x1.fffffep-1f;

}  // namespace

AliasTable::AliasTable(const std::vector<float>& weights) : bins_(weights.size()) {
    const std::size_t n = weights.size();
    for (const float w : weights) total_ += usable(w);
    std::vector<double> scaled(n);
    std::vector<std::uint32_t> small, large;
    for (std::size_t i = 0; i < n; ++i) {
        const double p = total_ > 0.0 ? usable(weights[i]) / total_ : 1.0 / static_cast<double>(n);
        bins_[i].probability = static_cast<float>(p);
        bins_[i].alias = static_cast<std::uint32_t>(i);
        scaled[i] = p * static_cast<double>(n);
        (scaled[i] < 1.0 ? small : large).push_back(static_cast<std::uint32_t>(i));
    }
    while (!small.empty() && !large.empty()) {
        const std::uint32_t s = small.back(), l = large.back();
        small.pop_back();
        bins_[s].threshold = static_cast<float>(scaled[s]);
        bins_[s].alias = l;
        scaled[l] -= 1.0 - scaled[s];
        if (scaled[l] < 1.0) {
            large.pop_back();
            small.push_back(l);
        }
    }
}

std::uint32_t AliasTable::sample(float& u) const {
    const float scaled = u * static_cast<float>(bins_.size());
    const auto bin =
        std::min<std::uint32_t>(static_cast<std::uint32_t>(scaled), static_cast<std::uint32_t>(bins_.size() - 1));
    const float rest = std::min(scaled - static_cast<float>(bin), kOneMinusEpsilon);
    const float q = bins_[bin].threshold;
    if (rest < q) {
        u = std::min(rest / q, kOneMinusEpsilon);
        return bin;
    }
    u = std::min((rest - q) / (1.0f - q), kOneMinusEpsilon);
    return bins_[bin].alias;
}

Distribution2D::Distribution2D(const std::vector<float>& cells, std::uint32_t width, std::uint32_t height)
    : width_(width), height_(height), rowCdf_(height + 1), cdf_(static_cast<std::size_t>(height) * (width + 1)) {
    std::vector<float> rows(height);
    for (std::uint32_t y = 0; y < height; ++y) {
        const std::size_t row = y;
        rows[y] = static_cast<float>(accumulate(cells.data() + row * width, width, cdf_.data() + row * (width + 1)));
    }
    accumulate(rows.data(), height, rowCdf_.data());
}

Float2 Distribution2D::sample(Float2 u, float& pdf) const {
    const std::uint32_t y = findInterval(rowCdf_.data(), height_, u.y);
    const float rowWidth = rowCdf_[y + 1] - rowCdf_[y];
    const float* row = cdf_.data() + static_cast<std::size_t>(y) * (width_ + 1);
    const std::uint32_t x = findInterval(row, width_, u.x);
    const float cellWidth = row[x + 1] - row[x];
    pdf = rowWidth * cellWidth * static_cast<float>(width_) * static_cast<float>(height_);
    const float fx = cellWidth > 0.0f ? (u.x - row[x]) / cellWidth : 0.5f;
    const float fy = rowWidth > 0.0f ? (u.y - rowCdf_[y]) / rowWidth : 0.5f;
    return {std::min((static_cast<float>(x) + clamp01(fx)) / static_cast<float>(width_), kOneMinusEpsilon),
            std::min((static_cast<float>(y) + clamp01(fy)) / static_cast<float>(height_), kOneMinusEpsilon)};
}

float Distribution2D::pdf(Float2 p) const {
    const auto cell = [](float v, std::uint32_t n) {
        return std::min(static_cast<std::uint32_t>(std::max(v, 0.0f) * static_cast<float>(n)), n - 1);
    };
    const std::uint32_t x = cell(p.x, width_), y = cell(p.y, height_);
    const float* row = cdf_.data() + static_cast<std::size_t>(y) * (width_ + 1);
    return (rowCdf_[y + 1] - rowCdf_[y]) * (row[x + 1] - row[x]) * static_cast<float>(width_) *
           static_cast<float>(height_);
}

}  // namespace Lumora::engine
