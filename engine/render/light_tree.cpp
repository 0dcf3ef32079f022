#include "engine/render/light_tree.h"

#include <tbb/parallel_for.h>

namespace Lumora::engine {

namespace {

constexpr double kBelowOne = 0x1.fffffffffffffp-1;
/// More would overflow where many such lights are summed up.
constexpr float kMostPower = 1e15f;

float sineOf(float cosine) {
    return std::sqrt(std::max(0.0f, 1.0f - cosine * cosine));
}

/// What importance() asks of a receiver, worked out once for all lights.
struct Viewer {
    Float3 point, normal;
    float sides, always;  ///< 1: light from behind is of use, else -1; 1: so is light from everywhere
    explicit Viewer(const LightReceiver& at)
        : point(at.point),
          normal(at.normal),
          sides(at.bothSides ? 1.0f : -1.0f),
          always(at.normal == Float3{} ? 1.0f : 0.0f) {}
};

/// Without branches, so that eight of them are one. `sides`: of the light.
inline float importanceOf(const Viewer& v, float x, float y, float z, float radius, float axisX, float axisY,
                          float axisZ, float cone, float power, float sharpness, float least, float sides) {
    const float dx = x - v.point.x, dy = y - v.point.y, dz = z - v.point.z;
    const float distance2 = dx * dx + dy * dy + dz * dz, radius2 = radius * radius;
    const float inverse = 1.0f / std::sqrt(std::max(distance2, 1e-30f));
    // Inside the sphere direction says nothing, and it fills all directions. What is near counts for more than what is
    // far, so a set of lights is worth more to a point in its midst than its mean distance tells; the limit was found
    // by trying.
    const float sinSpan = distance2 <= radius2 ? 1.0f : radius * inverse;
    const float cosSpan = distance2 <= radius2 ? -1.0f : std::sqrt(std::max(0.0f, 1.0f - sinSpan * sinSpan));
    const float reach = power / std::max(std::max(distance2, 0.04f * radius2), 1e-20f);
    const float along = -(axisX * dx + axisY * dy + axisZ * dz) * inverse;
    const float view = std::min(std::max(along, -along * sides), 1.0f);
    const float sinView = std::sqrt(std::max(0.0f, 1.0f - view * view));
    const float sinCone = std::sqrt(std::max(0.0f, 1.0f - cone * cone));
    // Angle of the nearest normal of the cone, then of the nearest point of the sphere.
    const float c1 = view > cone ? 1.0f : view * cone + sinView * sinCone;
    const float s1 = view > cone ? 0.0f : sinView * cone - view * sinCone;
    const float c2 = c1 > cosSpan ? 1.0f : c1 * cosSpan + s1 * sinSpan;
    const float leaves = std::max(c2, least), fall = 1.0f + sharpness * (1.0f - leaves);
    const float facing = (v.normal.x * dx + v.normal.y * dy + v.normal.z * dz) * inverse;
    const float c = std::min(std::max(facing, -facing * v.sides), 1.0f);
    const float c3 = c > cosSpan ? 1.0f : c * cosSpan + std::sqrt(std::max(0.0f, 1.0f - c * c)) * sinSpan;
    return reach * std::max(leaves, 0.0f) / (fall * fall) * std::max(std::max(c3, v.always), 0.0f);
}

struct Box {
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    void add(Float3 p) { add(p, 0.0f); }
    void add(Float3 p, float r) {
        lower = {std::min(lower.x, p.x - r), std::min(lower.y, p.y - r), std::min(lower.z, p.z - r)};
        upper = {std::max(upper.x, p.x + r), std::max(upper.y, p.y + r), std::max(upper.z, p.z + r)};
    }
    void add(const Box& b) {
        lower = {std::min(lower.x, b.lower.x), std::min(lower.y, b.lower.y), std::min(lower.z, b.lower.z)};
        upper = {std::max(upper.x, b.upper.x), std::max(upper.y, b.upper.y), std::max(upper.z, b.upper.z)};
    }
};

/// What a split asks of an item.
struct Record {
    Float3 center, axis;
    float radius, power;
    std::uint32_t item;
};

/// What the cost of a split asks of a set of lights, summed up without the unions of cones, which are dear: box, power,
/// and how far the axes agree.
struct Summary {
    Box box;
    Float3 axes;
    float power = 0.0f;
    std::size_t count = 0;

    void add(const Record& r) {
        box.add(r.center, r.radius);
        axes += r.axis * r.power;
        power += r.power;
        ++count;
    }
    void add(const Summary& s) {
        box.add(s.box);
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

float importance(const LightBounds& b, const LightReceiver& at) {
    if (!(b.mask & at.mask)) return 0.0f;
    return importanceOf(Viewer(at), b.center.x, b.center.y, b.center.z, b.radius, b.axis.x, b.axis.y, b.axis.z,
                        b.cosine, b.power, b.sharpness, b.least, b.bothSides ? 1.0f : -1.0f);
}

LightBounds unite(const LightBounds* lights, std::size_t count) {
    LightBounds r;
    r.mask = 0;
    r.cosine = 1.0f;
    Box box;
    Float3 axes;
    bool first = true, turned = false;
    for (std::size_t i = 0; i < count; ++i) {
        const LightBounds& b = lights[i];
        if (!(b.power > 0.0f)) continue;
        box.add(b.center, b.radius);
        r.power += b.power;
        r.mask |= b.mask;
        r.bothSides = r.bothSides || b.bothSides;
        r.sharpness = first ? b.sharpness : std::min(r.sharpness, b.sharpness);
        r.least = std::max(r.least, b.least);
        turned = turned || b.axis == Float3{};
        first = false;
    }
    if (first) return lights[0];
    r.center = (box.lower + box.upper) * 0.5f;
    // Of what shines to both sides an axis may as well be turned about.
    const auto axisOf = [&](const LightBounds& b) {
        return r.bothSides && dot(b.axis, axes) < 0.0f ? -b.axis : b.axis;
    };
    for (std::size_t i = 0; i < count; ++i) {
        const LightBounds& b = lights[i];
        if (!(b.power > 0.0f)) continue;
        r.radius = std::max(r.radius, length(b.center - r.center) + b.radius);
        axes += axisOf(b);
    }
    // Not the least cone around all cones, but one that needs no angles. A little wider, for what rounding took.
    r.radius *= 1.0f + 1e-6f;
    r.axis = turned ? Float3{} : normalize(axes);
    for (std::size_t i = 0; i < count && r.axis != Float3{}; ++i) {
        const LightBounds& b = lights[i];
        if (!(b.power > 0.0f)) continue;
        const float between = std::clamp(dot(r.axis, axisOf(b)), -1.0f, 1.0f);
        // Together half a turn or more: no cone.
        if (between <= -b.cosine) {
            r.axis = {};
            break;
        }
        r.cosine = std::min(r.cosine, between * b.cosine - sineOf(between) * sineOf(b.cosine) - 1e-5f);
    }
    if (r.axis == Float3{} || r.cosine <= -1.0f) {
        r.axis = {};
        r.cosine = -1.0f;
    }
    return r;
}

void LightTree::Node::set(int lane, const LightBounds& b) {
    const auto i = static_cast<std::size_t>(lane);
    x[i] = b.center.x;
    y[i] = b.center.y;
    z[i] = b.center.z;
    radius[i] = b.radius;
    axisX[i] = b.axis.x;
    axisY[i] = b.axis.y;
    axisZ[i] = b.axis.z;
    cosine[i] = b.axis == Float3{} ? -1.0f : b.cosine;
    power[i] = std::min(b.power, kMostPower);
    sharpness[i] = b.sharpness;
    least[i] = b.least;
    sides[i] = b.bothSides ? 1.0f : -1.0f;
    mask[i] = b.mask;
}

LightBounds LightTree::Node::lane(int lane) const {
    const auto i = static_cast<std::size_t>(lane);
    LightBounds b;
    b.center = {x[i], y[i], z[i]};
    b.radius = radius[i];
    b.axis = {axisX[i], axisY[i], axisZ[i]};
    b.cosine = cosine[i];
    b.power = power[i];
    b.sharpness = sharpness[i];
    b.least = least[i];
    b.bothSides = sides[i] > 0.0f;
    b.mask = mask[i];
    return b;
}

/// From the top down, a level of the tree at a time: a node's items are split where the cost of the two halves is
/// least, the largest part again, until there are eight parts. The nodes of a level are made side by side.
class LightTree::Builder {
public:
    Builder(const std::vector<LightBounds>& items, LightTree& tree)
        : items_(items), tree_(tree), records_(items.size()) {
        for (std::size_t i = 0; i < items.size(); ++i) {
            const LightBounds& b = items[i];
            records_[i] = {b.center, b.axis, b.radius, std::min(b.power, kMostPower), static_cast<std::uint32_t>(i)};
            if (b.power > 0.0f) tree.mask_ |= b.mask;
        }
        for (unsigned bit = 1; bit <= tree.mask_; bit <<= 1) {
            if (tree.mask_ & bit) tree.bits_.push_back(static_cast<std::uint16_t>(bit));
        }
        tree.trails_ = SharedTable<std::uint64_t, 8>(items.size());
        shape();
        fill();
    }

private:
    static constexpr std::size_t kBins = 16;
    /// Below this depth parts are of equal size, which bounds the length of a trail.
    static constexpr int kMaxFreeDepth = 10;

    struct Part {
        std::size_t first = 0, last = 0;
        std::size_t size() const { return last - first; }
    };
    struct Shape {
        std::array<Part, kWidth> parts;
        int count = 0;
        std::uint64_t trail = 0;
    };

    void shape() {
        std::vector<Shape> level(1);
        level[0].parts[0] = {0, records_.size()};
        for (int depth = 0; !level.empty(); ++depth) {
            tbb::parallel_for(std::size_t{0}, level.size(), [&](std::size_t i) { open(level[i], depth); });
            firsts_.push_back(shapes_.size());
            std::vector<Shape> next;
            for (const Shape& s : level) {
                for (int lane = 0; lane < s.count; ++lane) {
                    const Part& part = s.parts[static_cast<std::size_t>(lane)];
                    const std::uint64_t trail = s.trail | static_cast<std::uint64_t>(lane)
                                                              << static_cast<unsigned>(depth * kTurnBits);
                    if (part.size() == 1) {
                        tree_.trails_.edit(records_[part.first].item) = trail;
                    } else {
                        next.emplace_back();
                        next.back().parts[0] = part;
                        next.back().trail = trail;
                    }
                }
                shapes_.push_back(s);
            }
            level = std::move(next);
        }
        firsts_.push_back(shapes_.size());
    }

    void open(Shape& s, int depth) {
        s.count = 1;
        while (s.count < kWidth) {
            int largest = 0;
            for (int i = 1; i < s.count; ++i) {
                if (part(s, i).size() > part(s, largest).size()) largest = i;
            }
            const Part whole = part(s, largest);
            if (whole.size() < 2) return;
            const std::size_t middle = split(whole.first, whole.last, depth < kMaxFreeDepth);
            for (int i = s.count; i > largest + 1; --i) part(s, i) = part(s, i - 1);
            part(s, largest) = {whole.first, middle};
            part(s, largest + 1) = {middle, whole.last};
            ++s.count;
        }
    }
    static Part& part(Shape& s, int i) { return s.parts[static_cast<std::size_t>(i)]; }

    std::size_t split(std::size_t first, std::size_t last, bool freely) {
        Box box;
        for (std::size_t i = first; i < last; ++i) box.add(records_[i].center);
        const Float3 extent = box.upper - box.lower;
        const int axis = extent.x >= extent.y && extent.x >= extent.z ? 0 : extent.y >= extent.z ? 1 : 2;
        const float low = along(box.lower, axis), size = along(extent, axis);
        const auto begin = records_.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end = records_.begin() + static_cast<std::ptrdiff_t>(last);
        if (last - first > 4 && freely && size > 0.0f && std::isfinite(size)) {
            const float steps = static_cast<float>(kBins) / size;
            const auto binOf = [&](const Record& r) {
                const float t = (along(r.center, axis) - low) * steps;
                return std::min(static_cast<std::size_t>(std::max(t, 0.0f)), kBins - 1);
            };
            if (const std::size_t best = cheapest(first, last, binOf); best > 0) {
                const auto middle = std::partition(begin, end, [&](const Record& r) { return binOf(r) < best; });
                return first + static_cast<std::size_t>(middle - begin);
            }
        }
        const std::size_t half = first + (last - first) / 2;
        std::nth_element(begin, records_.begin() + static_cast<std::ptrdiff_t>(half), end,
                         [&](const Record& a, const Record& b) {
                             const float x = along(a.center, axis), y = along(b.center, axis);
                             return x != y ? x < y : a.item < b.item;
                         });
        return half;
    }

    /// First bin of the second half; 0: no split leaves lights on both sides.
    template <typename BinOf>
    std::size_t cheapest(std::size_t first, std::size_t last, BinOf binOf) const {
        std::array<Summary, kBins> bins;
        for (std::size_t i = first; i < last; ++i) bins[binOf(records_[i])].add(records_[i]);
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

    /// The bounds of the nodes, from the bottom up.
    void fill() {
        tree_.nodes_ = SharedTable<Node, 3>(shapes_.size());
        if (tree_.bits_.size() > 1) tree_.shares_ = SharedTable<Lanes, 4>(shapes_.size() * tree_.bits_.size());
        // The children of the nodes of a level come in their order.
        std::vector<std::uint32_t> children(shapes_.size());
        std::uint32_t next = 1;
        for (std::size_t n = 0; n < shapes_.size(); ++n) {
            children[n] = next;
            for (int lane = 0; lane < shapes_[n].count; ++lane) next += part(shapes_[n], lane).size() > 1;
        }
        for (std::size_t level = firsts_.size() - 1; level-- > 0;) {
            tbb::parallel_for(firsts_[level], firsts_[level + 1], [&](std::size_t n) {
                Node& node = tree_.nodes_.edit(n);
                node.count = static_cast<std::uint8_t>(shapes_[n].count);
                std::uint32_t child = children[n];
                for (int lane = 0; lane < shapes_[n].count; ++lane) {
                    const Part& p = part(shapes_[n], lane);
                    const auto index = static_cast<std::uint32_t>(n);
                    if (p.size() > 1) {
                        node.child[static_cast<std::size_t>(lane)] = child;
                        tree_.sumUp(index, lane, child++);
                    } else {
                        const std::uint32_t item = records_[p.first].item;
                        node.child[static_cast<std::size_t>(lane)] = item;
                        node.leaves = static_cast<std::uint8_t>(node.leaves | 1u << static_cast<unsigned>(lane));
                        tree_.setItem(index, lane, items_[item]);
                    }
                }
            });
        }
    }

    const std::vector<LightBounds>& items_;
    LightTree& tree_;
    std::vector<Record> records_;
    std::vector<Shape> shapes_;        ///< of all nodes, a level after the other
    std::vector<std::size_t> firsts_;  ///< first node of each level, and the number of nodes
};

LightTree::LightTree(const std::vector<LightBounds>& items) {
    if (!items.empty()) Builder(items, *this);
}

LightBounds LightTree::boundsOf(const Node& node) const {
    std::array<LightBounds, kWidth> lanes;
    for (int i = 0; i < node.count; ++i) lanes[static_cast<std::size_t>(i)] = node.lane(i);
    return unite(lanes.data(), node.count);
}

LightBounds LightTree::bounds() const {
    LightBounds b = boundsOf(nodes_[0]);
    b.power *= scale_;
    return b;
}

LightBounds LightTree::item(std::uint32_t item) const {
    std::uint32_t node = 0;
    for (std::uint64_t trail = trails_[item];; trail >>= kTurnBits) {
        const int lane = static_cast<int>(trail & (kWidth - 1));
        if (nodes_[node].leaf(lane)) {
            LightBounds b = nodes_[node].lane(lane);
            b.power *= scale_;
            return b;
        }
        node = nodes_[node].child[static_cast<std::size_t>(lane)];
    }
}

void LightTree::setItem(std::uint32_t node, int lane, const LightBounds& bounds) {
    nodes_.edit(node).set(lane, bounds);
    if (shares_.empty()) return;
    for (std::size_t b = 0; b < bits_.size(); ++b) {
        shares_.edit(node * bits_.size() + b)[static_cast<std::size_t>(lane)] = bounds.mask & bits_[b] ? 1.0f : 0.0f;
    }
}

void LightTree::sumUp(std::uint32_t node, int lane, std::uint32_t child) {
    const Node& below = nodes_[child];
    const LightBounds bounds = boundsOf(below);
    nodes_.edit(node).set(lane, bounds);
    if (shares_.empty()) return;
    for (std::size_t b = 0; b < bits_.size(); ++b) {
        const Lanes& shares = shares_[child * bits_.size() + b];
        float sum = 0.0f;
        for (std::size_t i = 0; i < below.count; ++i) sum += below.power[i] * shares[i];
        shares_.edit(node * bits_.size() + b)[static_cast<std::size_t>(lane)] =
            bounds.power > 0.0f ? sum / bounds.power : 0.0f;
    }
}

LightTree LightTree::with(const Changes& changes) const {
    LightTree tree = *this;
    tree.changes_ += changes.size();
    std::vector<std::pair<std::uint32_t, int>> path;
    for (const auto& [item, bounds] : changes) {
        path.clear();
        std::uint32_t node = 0;
        for (std::uint64_t trail = trails_[item];; trail >>= kTurnBits) {
            const int lane = static_cast<int>(trail & (kWidth - 1));
            path.emplace_back(node, lane);
            if (nodes_[node].leaf(lane)) break;
            node = nodes_[node].child[static_cast<std::size_t>(lane)];
        }
        LightBounds b = bounds;
        b.power /= scale_;
        tree.setItem(path.back().first, path.back().second, b);
        for (std::size_t i = path.size() - 1; i-- > 0;) tree.sumUp(path[i].first, path[i].second, path[i + 1].first);
    }
    return tree;
}

LightTree LightTree::scaled(float factor) const {
    LightTree tree = *this;
    tree.scale_ *= factor;
    return tree;
}

LightTree::Lanes LightTree::weigh(std::uint32_t index, const LightReceiver& at) const {
    const Node& n = nodes_[index];
    const Viewer viewer(at);
    Lanes weights;
    for (std::size_t i = 0; i < kWidth; ++i) {
        weights[i] = importanceOf(viewer, n.x[i], n.y[i], n.z[i], n.radius[i], n.axisX[i], n.axisY[i], n.axisZ[i],
                                  n.cosine[i], n.power[i], n.sharpness[i], n.least[i], n.sides[i]);
    }
    if (!(mask_ & ~at.mask)) return weights;
    Lanes wanted{};
    if (shares_.empty()) {
        for (float& w : wanted) w = mask_ & at.mask ? 1.0f : 0.0f;
    }
    for (std::size_t b = 0; b < bits_.size() && !shares_.empty(); ++b) {
        if (!(bits_[b] & at.mask)) continue;
        const Lanes& shares = shares_[index * bits_.size() + b];
        for (std::size_t i = 0; i < kWidth; ++i) wanted[i] += shares[i];
    }
    for (std::size_t i = 0; i < kWidth; ++i) weights[i] *= std::min(wanted[i], 1.0f);
    return weights;
}

namespace {

float sumOf(const std::array<float, 8>& w) {
    return ((w[0] + w[1]) + (w[2] + w[3])) + ((w[4] + w[5]) + (w[6] + w[7]));
}

}  // namespace

std::uint32_t LightTree::sample(const LightReceiver& at, double& u, float& probability) const {
    probability = 0.0f;
    if (empty()) return 0;
    float chance = 1.0f;
    for (std::uint32_t node = 0;;) {
        const Lanes weights = weigh(node, at);
        const float sum = sumOf(weights);
        if (!(sum > 0.0f)) return 0;
        double rest = u * static_cast<double>(sum);
        // The last lane with a weight takes what rounding leaves over.
        std::size_t pick = 0;
        for (std::size_t i = 0; i < kWidth; ++i) {
            if (!(weights[i] > 0.0f)) continue;
            pick = i;
            if (rest < static_cast<double>(weights[i])) break;
            rest -= static_cast<double>(weights[i]);
        }
        u = std::clamp(rest / static_cast<double>(weights[pick]), 0.0, kBelowOne);
        chance *= weights[pick] / sum;
        const std::uint32_t child = nodes_[node].child[pick];
        if (nodes_[node].leaf(static_cast<int>(pick))) {
            probability = chance;
            return child;
        }
        node = child;
    }
}

float LightTree::probability(const LightReceiver& at, std::uint32_t item) const {
    if (empty()) return 0.0f;
    float chance = 1.0f;
    std::uint32_t node = 0;
    for (std::uint64_t trail = trails_[item];; trail >>= kTurnBits) {
        const Lanes weights = weigh(node, at);
        const float sum = sumOf(weights);
        if (!(sum > 0.0f)) return 0.0f;
        const std::size_t lane = trail & (kWidth - 1);
        chance *= weights[lane] / sum;
        if (nodes_[node].leaf(static_cast<int>(lane)) || !(chance > 0.0f)) return chance;
        node = nodes_[node].child[lane];
    }
}

}  // namespace Lumora::engine
