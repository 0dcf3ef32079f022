#include "engine/render/light_tree.h"

#include <numeric>

namespace Lumora::engine {

LightTree::LightTree(const std::vector<Item>& items) : trails_(items.size()) {
    if (items.empty()) return;
    std::vector<std::uint32_t> order(items.size());
    std::iota(order.begin(), order.end(), 0u);
    nodes_.reserve(2 * items.size());
    build(items, order, 0, items.size(), 0, 0);
}

/// Splits at the median of the longest axis, so the depth is the logarithm of the count and a trail fits 64 bits.
std::uint32_t LightTree::build(const std::vector<Item>& items, std::vector<std::uint32_t>& order, std::size_t first,
                               std::size_t last, std::uint64_t trail, unsigned depth) {
    const auto index = static_cast<std::uint32_t>(nodes_.size());
    nodes_.emplace_back();
    if (last - first == 1) {
        const Item& item = items[order[first]];
        nodes_[index] = {item.center, item.radius, item.power, order[first], true};
        trails_[order[first]] = trail;
        return index;
    }
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    double power = 0.0;
    for (std::size_t i = first; i < last; ++i) {
        const Item& item = items[order[i]];
        power += item.power;
        const Float3 c = item.center;
        lower = {std::min(lower.x, c.x), std::min(lower.y, c.y), std::min(lower.z, c.z)};
        upper = {std::max(upper.x, c.x), std::max(upper.y, c.y), std::max(upper.z, c.z)};
    }
    const Float3 extent = upper - lower, center = (lower + upper) * 0.5f;
    float radius = 0.0f;
    for (std::size_t i = first; i < last; ++i) {
        const Item& item = items[order[i]];
        radius = std::max(radius, length(item.center - center) + item.radius);
    }
    const auto along = [&](std::uint32_t i) {
        const Float3 c = items[i].center;
        if (extent.x >= extent.y && extent.x >= extent.z) return c.x;
        return extent.y >= extent.z ? c.y : c.z;
    };
    const std::size_t middle = first + (last - first) / 2;
    std::nth_element(order.begin() + static_cast<std::ptrdiff_t>(first),
                     order.begin() + static_cast<std::ptrdiff_t>(middle),
                     order.begin() + static_cast<std::ptrdiff_t>(last), [&](std::uint32_t a, std::uint32_t b) {
                         const float x = along(a), y = along(b);
                         return x != y ? x < y : a < b;  // the same tree on every machine
                     });
    build(items, order, first, middle, trail, depth + 1);
    const std::uint32_t second = build(items, order, middle, last, trail | (1ull << depth), depth + 1);
    nodes_[index] = {center, radius, static_cast<float>(power), second, false};
    return index;
}

float LightTree::importance(const Node& node, Float3 from) {
    const Float3 d = node.center - from;
    // Inside the sphere distance says nothing about what is near.
    return node.power / std::max(dot(d, d), std::max(node.radius * node.radius, 1e-12f));
}

std::uint32_t LightTree::sample(Float3 from, Float2 u, float& probability) const {
    std::uint32_t at = 0;
    float pick = u.x;
    probability = 1.0f;
    for (int level = 0; !nodes_[at].leaf; ++level) {
        if (level == 10) pick = u.y;  // the first number has few bits left
        const std::uint32_t second = nodes_[at].second;
        const float a = importance(nodes_[at + 1], from), b = importance(nodes_[second], from);
        const float chance = a / (a + b);
        if (pick < chance) {
            pick = std::min(pick / chance, 0x1.fffffep-1f);
            probability *= chance;
            ++at;
        } else {
            pick = std::min((pick - chance) / (1.0f - chance), 0x1.fffffep-1f);
            probability *= 1.0f - chance;
            at = second;
        }
    }
    return nodes_[at].second;
}

float LightTree::probability(Float3 from, std::uint32_t item) const {
    std::uint32_t at = 0;
    float result = 1.0f;
    for (std::uint64_t trail = trails_[item]; !nodes_[at].leaf; trail >>= 1) {
        const std::uint32_t second = nodes_[at].second;
        const float a = importance(nodes_[at + 1], from), b = importance(nodes_[second], from);
        const float chance = a / (a + b);
        result *= trail & 1 ? 1.0f - chance : chance;
        at = trail & 1 ? second : at + 1;
    }
    return result;
}

}  // namespace Lumora::engine
