// Picks one of many lights by what it may contribute to a point: a tree of bounds in space and direction, walked at
// random from the top (Conty Estevez and Kulla, "Importance Sampling of Many Lights with Adaptive Tree Splitting",
// 2018, without the splitting). Nodes have eight children, which are judged side by side.
//
// A tree knows nothing of what its items are. The lights of a scene hang in two levels: a tree over the lamps of the
// world, and under each lamp of very many polygons a tree over these, in object space, that all instances of its mesh
// share.
#pragma once

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

#include "engine/render/shared_table.h"
#include "engine/render/vec.h"

namespace Lumora::engine {

/// Where lights are and where they shine: a sphere around them, and a cone around the normals of their surfaces. Each
/// surface shines into the hemisphere over its normal, or with `bothSides` over its back too.
struct LightBounds {
    Float3 center;
    float radius = 0.0f;
    Float3 axis;             ///< of the cone; zero: normals of all directions
    float cosine = -1.0f;    ///< of the angle between the axis and the outermost normal
    float power = 0.0f;      ///< flux up to a factor; not negative
    float sharpness = 0.0f;  ///< how fast light falls off beyond the cone, beside the cosine; 0: it does not
    float least = 0.0f;      ///< what takes the cosine's place where it is less: axes that are no normals cannot tell
    std::uint16_t mask = 0xffff;
    bool bothSides = false;
};

/// Bounds of all of `count` > 0 lights; those without power do not count.
LightBounds unite(const LightBounds* lights, std::size_t count);

/// The place that is lit, in the space of the tree.
struct LightReceiver {
    Float3 point, normal;  ///< zero normal: light is welcome from all around
    bool bothSides = false;
    std::uint32_t mask = 0xffff;  ///< lights with none of these bits are not chosen
};

/// A guess of the irradiance that reaches a point; zero only where no light can arrive.
float importance(const LightBounds& light, const LightReceiver& at);

class LightTree {
public:
    LightTree() = default;
    /// Items without power are never picked. The same on any number of threads.
    explicit LightTree(const std::vector<LightBounds>& items);

    bool empty() const { return trails_.empty(); }
    std::size_t size() const { return trails_.size(); }
    LightBounds bounds() const;             ///< of all items
    LightBounds item(std::uint32_t) const;  ///< of one, as it was given
    /// An item and the chance with which it is picked from there; zero: no light can arrive, and no item is picked.
    /// `u` in [0, 1) comes back as a fresh number.
    std::uint32_t sample(const LightReceiver& at, double& u, float& probability) const;
    float probability(const LightReceiver& at, std::uint32_t item) const;

    using Changes = std::vector<std::pair<std::uint32_t, LightBounds>>;
    /// A tree of the same shape with other bounds for some items; it shares what they leave alone. The more items move,
    /// and the farther, the less the shape suits them; their number since the tree was built is told by changes().
    LightTree with(const Changes& changes) const;
    std::size_t changes() const { return changes_; }
    /// The same with all powers times a factor.
    LightTree scaled(float factor) const;
    std::uint64_t bytes() const { return nodes_.bytes() + shares_.bytes() + trails_.bytes(); }
    /// Nodes that the two do not share.
    std::size_t differences(const LightTree& other) const { return nodes_.differences(other.nodes_); }

private:
    static constexpr int kWidth = 8;
    using Lanes = std::array<float, kWidth>;
    /// The bounds of the children lie lane by lane. Lanes that are not used have no power.
    struct Node {
        Lanes x{}, y{}, z{}, radius{}, axisX{}, axisY{}, axisZ{}, cosine{}, power{}, sharpness{}, least{};
        Lanes sides{};                              ///< 1: both, -1: one
        std::array<std::uint32_t, kWidth> child{};  ///< a node, or an item
        std::array<std::uint16_t, kWidth> mask{};
        std::uint8_t count = 0;
        std::uint8_t leaves = 0;  ///< a bit for each lane: its child is an item

        void set(int lane, const LightBounds& b);
        LightBounds lane(int lane) const;
        bool leaf(int lane) const { return leaves >> lane & 1; }
    };
    class Builder;

    static constexpr int kTurnBits = 3;

    Lanes weigh(std::uint32_t node, const LightReceiver& at) const;
    /// Fills in the lane of a parent from the child, shares too.
    void sumUp(std::uint32_t node, int lane, std::uint32_t child);
    void setItem(std::uint32_t node, int lane, const LightBounds& bounds);
    LightBounds boundsOf(const Node& node) const;

    SharedTable<Node, 3> nodes_;
    SharedTable<std::uint64_t, 8> trails_;  ///< of each item: the lanes from the root, first in the lowest bits
    /// Where lights differ in their bits: for each node and each of the tree's bits, the share of the power of each
    /// lane that has it.
    SharedTable<Lanes, 4> shares_;
    std::vector<std::uint16_t> bits_;  ///< in use, one at a time
    std::uint16_t mask_ = 0;           ///< all bits
    float scale_ = 1.0f;               ///< of the powers in the nodes
    std::size_t changes_ = 0;
};

}  // namespace Lumora::engine
