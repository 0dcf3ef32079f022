#include "engine/render/light_tree.h"

#include <tbb/task_group.h>

#include <array>
#include <numeric>

namespace Lumora::engine {

namespace {

constexpr double kBelowOne = 0x1.fffffffffffffp-1;

/// sin of an angle between 0 and pi from its cosine.
float sineOf(float cosine) {
    return std::sqrt(std::max(0.0f, 1.0f - cosine * cosine));
}

/// cos(max(0, a - b)) for angles between 0 and pi.
float cosineLess(float cosA, float sinA, float cosB, float sinB) {
    return cosA > cosB ? 1.0f : cosA * cosB + sinA * sinB;
}
float sineLess(float cosA, float sinA, float cosB, float sinB) {
    return cosA > cosB ? 0.0f : sinA * cosB - cosA * sinB;
}

struct Box {
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    void add(Float3 p) {
        lower = {std::min(lower.x, p.x), std::min(lower.y, p.y), std::min(lower.z, p.z)};
        upper = {std::max(upper.x, p.x), std::max(upper.y, p.y), std::max(upper.z, p.z)};
    }
};

/// What the cost of a split asks of a set of lights, summed up without the unions of cones, which are dear: box, power,
/// and how far the axes agree.
struct Summary {
    Box box;
    Float3 axes;
    float power = 0.0f;
    std::size_t count = 0;

    void add(const LightBounds& b) {
        box.add(b.center - splat(b.radius));
        box.add(b.center + splat(b.radius));
        axes += b.axis * b.power;
        power += b.power;
        ++count;
    }
    void add(const Summary& s) {
        if (s.count == 0) return;
        box.add(s.box.lower);
        box.add(s.box.upper);
        axes += s.axes;
        power += s.power;
        count += s.count;
    }
    float cost() const {
        const Float3 e = box.upper - box.lower;
        const float agreement = power > 0.0f ? std::min(length(axes) / power, 1.0f) : 1.0f;
        // Lights in a row have no area to compare; their length does.
        const float size = e.x * e.y + e.y * e.z + e.z * e.x + 0.01f * dot(e, e);
        return power * size * (2.0f - agreement);
    }
};

float along(Float3 v, int axis) {
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

}  // namespace

float LightBounds::importance(Float3 point, Float3 normal, bool receiveBoth, std::uint32_t lights) const {
    if (!(mask & lights)) return 0.0f;
    const Float3 d = center - point;
    const float distance2 = dot(d, d), radius2 = radius * radius;
    // Inside the sphere direction says nothing. What is near counts for more than what is far, so a set of lights is
    // worth more to a point in its midst than its mean distance tells; the limit was found by trying.
    if (distance2 <= radius2) return power / std::max(std::max(distance2, 0.04f * radius2), 1e-20f);
    const float inverse = 1.0f / std::sqrt(distance2);
    const Float3 toLight = d * inverse;
    // The sphere fills a cone of directions of this half angle.
    const float sinSpan = radius * inverse, cosSpan = std::sqrt(std::max(0.0f, 1.0f - sinSpan * sinSpan));
    float result = power * inverse * inverse;
    if (axis != Float3{}) {
        float cosView = -dot(axis, toLight);
        if (bothSides) cosView = std::abs(cosView);
        const float sinView = sineOf(cosView), sinCone = sineOf(cosine);
        // Angle of the nearest normal of the cone, then of the nearest point of the sphere.
        const float c1 = cosineLess(cosView, sinView, cosine, sinCone);
        const float s1 = sineLess(cosView, sinView, cosine, sinCone);
        const float c2 = cosineLess(c1, s1, cosSpan, sinSpan);
        if (!(c2 > 0.0f)) return 0.0f;
        result *= c2;
    }
    if (normal != Float3{}) {
        float c = dot(normal, toLight);
        if (receiveBoth) c = std::abs(c);
        const float c3 = cosineLess(c, sineOf(c), cosSpan, sinSpan);
        if (!(c3 > 0.0f)) return 0.0f;
        result *= c3;
    }
    return result;
}

LightBounds unite(const LightBounds& a, const LightBounds& b) {
    if (!(a.power > 0.0f) && !(b.power > 0.0f)) return a;
    if (!(a.power > 0.0f)) return b;
    if (!(b.power > 0.0f)) return a;
    LightBounds r;
    r.power = a.power + b.power;
    r.mask = a.mask | b.mask;
    r.bothSides = a.bothSides || b.bothSides;
    const Float3 d = b.center - a.center;
    const float distance = length(d);
    if (distance + b.radius <= a.radius) {
        r.center = a.center;
        r.radius = a.radius;
    } else if (distance + a.radius <= b.radius) {
        r.center = b.center;
        r.radius = b.radius;
    } else {
        r.radius = 0.5f * (distance + a.radius + b.radius);
        r.center = a.center + d * ((r.radius - a.radius) / distance);
    }
    // The cone around both cones; where it would pass half a turn there is none.
    if (a.axis == Float3{} || b.axis == Float3{}) return r;
    const LightBounds& wide = a.cosine <= b.cosine ? a : b;
    const LightBounds& slim = a.cosine <= b.cosine ? b : a;
    const float between = std::acos(std::clamp(dot(a.axis, b.axis), -1.0f, 1.0f));
    const float wideAngle = std::acos(std::clamp(wide.cosine, -1.0f, 1.0f));
    const float slimAngle = std::acos(std::clamp(slim.cosine, -1.0f, 1.0f));
    if (std::min(between + slimAngle, kPi) <= wideAngle) {
        r.axis = wide.axis;
        r.cosine = wide.cosine;
        return r;
    }
    const float angle = 0.5f * (wideAngle + between + slimAngle);
    if (angle >= kPi) return r;
    const Float3 side = slim.axis - wide.axis * dot(slim.axis, wide.axis);
    if (!(dot(side, side) > 1e-12f)) return r;
    const float turn = angle - wideAngle;
    r.axis = normalize(wide.axis * std::cos(turn) + normalize(side) * std::sin(turn));
    // A little wider, for what rounding took.
    r.cosine = std::max(std::cos(angle) - 1e-5f, -1.0f);
    return r;
}

/// Top down; splits the longest side of the centres where the cost of the two halves is least. The places of all nodes
/// follow from the counts alone, so halves are built side by side and come out the same on any number of threads.
class LightTree::Builder {
public:
    Builder(const std::vector<LightBounds>& items, LightTree& tree) : items_(items), tree_(tree), order_(items.size()) {
        std::iota(order_.begin(), order_.end(), 0u);
        tree_.nodes_.resize(2 * items.size() - 1);
        tree_.trails_.resize(items.size());
        build(0, 1, 0, items.size(), 0, 0);
    }

private:
    static constexpr std::size_t kBins = 16, kParallel = 8192;
    /// Below this depth halves are of equal size, which bounds the length of a trail.
    static constexpr unsigned kMaxFreeDepth = 36;

    /// Fills a node whose descendants lie from `next` on.
    void build(std::size_t node, std::size_t next, std::size_t first, std::size_t last, std::uint64_t trail,
               unsigned depth) {
        Node& n = tree_.nodes_[node];
        if (last - first == 1) {
            n.bounds = items_[order_[first]];
            n.leaf = true;
            n.child = order_[first];
            tree_.trails_[order_[first]] = trail;
            return;
        }
        const std::size_t middle = split(first, last, depth);
        n.child = static_cast<std::uint32_t>(next);
        const std::size_t leftNext = next + 2, rightNext = leftNext + 2 * (middle - first) - 2;
        const auto left = [&] { build(next, leftNext, first, middle, trail, depth + 1); };
        const auto right = [&] { build(next + 1, rightNext, middle, last, trail | (1ull << depth), depth + 1); };
        if (last - first > kParallel) {
            tbb::task_group group;
            group.run(left);
            right();
            group.wait();
        } else {
            left();
            right();
        }
        n.bounds = unite(tree_.nodes_[next].bounds, tree_.nodes_[next + 1].bounds);
    }

    std::size_t split(std::size_t first, std::size_t last, unsigned depth) {
        Box box;
        for (std::size_t i = first; i < last; ++i) box.add(items_[order_[i]].center);
        const Float3 extent = box.upper - box.lower;
        const int axis = extent.x >= extent.y && extent.x >= extent.z ? 0 : extent.y >= extent.z ? 1 : 2;
        const float low = along(box.lower, axis), size = along(extent, axis);
        const auto begin = order_.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end = order_.begin() + static_cast<std::ptrdiff_t>(last);
        if (last - first > 4 && depth < kMaxFreeDepth && size > 0.0f && std::isfinite(size)) {
            const auto binOf = [&](std::uint32_t i) {
                const float t = (along(items_[i].center, axis) - low) / size * static_cast<float>(kBins);
                return std::min(static_cast<std::size_t>(std::max(t, 0.0f)), kBins - 1);
            };
            if (const std::size_t best = cheapest(first, last, binOf); best > 0) {
                const auto middle = std::stable_partition(begin, end, [&](std::uint32_t i) { return binOf(i) < best; });
                return first + static_cast<std::size_t>(middle - begin);
            }
        }
        const std::size_t half = first + (last - first) / 2;
        std::nth_element(begin, order_.begin() + static_cast<std::ptrdiff_t>(half), end,
                         [&](std::uint32_t a, std::uint32_t b) {
                             const float x = along(items_[a].center, axis), y = along(items_[b].center, axis);
                             return x != y ? x < y : a < b;
                         });
        return half;
    }

    /// First bin of the second half; 0: no split leaves lights on both sides.
    template <typename BinOf>
    std::size_t cheapest(std::size_t first, std::size_t last, BinOf binOf) const {
        std::array<Summary, kBins> bins;
        for (std::size_t i = first; i < last; ++i) bins[binOf(order_[i])].add(items_[order_[i]]);
        std::array<float, kBins> below{};
        Summary sum;
        for (std::size_t b = 0; b + 1 < kBins; ++b) {
            sum.add(bins[b]);
            below[b + 1] = sum.count ? sum.cost() : kInfinity;
        }
        std::size_t best = 0;
        float least = kInfinity;
        sum = {};
        for (std::size_t b = kBins - 1; b > 0; --b) {
            sum.add(bins[b]);
            if (sum.count == 0 || sum.count == last - first) continue;
            if (const float c = below[b] + sum.cost(); c < least) {
                least = c;
                best = b;
            }
        }
        return best;
    }

    const std::vector<LightBounds>& items_;
    LightTree& tree_;
    std::vector<std::uint32_t> order_;
};

LightTree::LightTree(const std::vector<LightBounds>& items) {
    if (!items.empty()) Builder(items, *this);
}

LightTree LightTree::withPowers(const std::vector<LightBounds>& items) const {
    LightTree tree = *this;
    // Children lie behind their parents.
    for (std::size_t i = tree.nodes_.size(); i-- > 0;) {
        Node& n = tree.nodes_[i];
        n.bounds = n.leaf ? items[n.child] : unite(tree.nodes_[n.child].bounds, tree.nodes_[n.child + 1].bounds);
    }
    return tree;
}

std::uint32_t LightTree::sample(const LightReceiver& at, double& u, float& probability) const {
    probability = 0.0f;
    if (nodes_.empty() || !(importance(0, at) > 0.0f)) return 0;
    std::uint32_t node = 0;
    float chance = 1.0f;
    while (!nodes_[node].leaf) {
        const std::uint32_t child = nodes_[node].child;
        const float a = importance(child, at), b = importance(child + 1, at);
        if (!(a + b > 0.0f)) return 0;
        const float first = a / (a + b);
        const auto threshold = static_cast<double>(first);
        if (u < threshold) {
            u = std::min(u / threshold, kBelowOne);
            chance *= first;
            node = child;
        } else {
            u = std::min((u - threshold) / (1.0 - threshold), kBelowOne);
            chance *= 1.0f - first;
            node = child + 1;
        }
    }
    probability = chance;
    return nodes_[node].child;
}

float LightTree::probability(const LightReceiver& at, std::uint32_t item) const {
    if (nodes_.empty() || !(importance(0, at) > 0.0f)) return 0.0f;
    std::uint32_t node = 0;
    float chance = 1.0f;
    for (std::uint64_t trail = trails_[item]; !nodes_[node].leaf; trail >>= 1) {
        const std::uint32_t child = nodes_[node].child;
        const float a = importance(child, at), b = importance(child + 1, at);
        if (!(a + b > 0.0f)) return 0.0f;
        const float first = a / (a + b);
        chance *= trail & 1 ? 1.0f - first : first;
        node = child + static_cast<std::uint32_t>(trail & 1);
    }
    return chance;
}

}  // namespace Lumora::engine
