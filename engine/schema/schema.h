// What each node type has: pins, attributes, defaults, value ranges. Tables only; nothing here knows a scene.
//
// The tables are built once, at first use, and never change: they may be read on any thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace Lumora::engine {

struct PinSchema {
    PinId id{};
    const char* name = "";
    NodePinType type{};
    std::uint8_t dimension = 0;  ///< numbers of the pin's own value; 0: it has none
    Vec3<float> defaultValue{};
    float minValue = 0, maxValue = 0;   ///< range that makes sense, for sliders and for whoever uses the value
    NodeType defaultNode = NT_UNKNOWN;  ///< made on configuring; value pins have theirs by type
};

struct AttributeSchema {
    AttributeId id{};
    const char* name = "";
    AttributeType type{};
    Vec3<float> defaultValue{};
};

/// Where a node's dynamic pins come from.
enum class DynamicPins : std::uint8_t {
    None,
    Group,     ///< A_GROUP_PIN_COUNT geometry pins
    Gradient,  ///< A_PIN_COUNT knots, each a position and a value
    Mesh,      ///< a material pin for each of A_MATERIAL_NAMES
    LayerMap,  ///< an object layer for each object of the geometry on P_GEOMETRY
};

/// What a node is to its neighbours.
enum class NodeRole : std::uint8_t {
    Normal,
    Value,   ///< holds one plain value in A_VALUE
    Linker,  ///< hands on what is on P_INPUT
};

struct NodeSchema {
    static constexpr int kMaxId = 512;

    NodeType type{};
    const char* name = "";
    NodePinType output{};
    DynamicPins dynamic = DynamicPins::None;
    NodeRole role = NodeRole::Normal;
    bool outputLinker = false;
    std::vector<PinSchema> pins;
    std::vector<AttributeSchema> attributes;

    /// Position of the static pin or the attribute of that id, -1 when there is none.
    int pinIndex(PinId id) const { return find(pinIndices, id); }
    int attributeIndex(AttributeId id) const { return find(attributeIndices, id); }

    std::array<std::int16_t, kMaxId> pinIndices, attributeIndices;

private:
    static int find(const std::array<std::int16_t, kMaxId>& table, int id) {
        return id > 0 && id < kMaxId ? table[static_cast<std::size_t>(id)] : -1;
    }
};

/// Null for a type that cannot be created.
const NodeSchema* nodeSchema(NodeType type);
/// All types, in order of their numbers.
const std::vector<const NodeSchema*>& allNodeSchemas();

const char* pinTypeName(NodePinType type);
/// The node type that holds the own value of a pin; NT_UNKNOWN for pins without one.
NodeType valueNodeType(const PinSchema& pin);
/// Whether what a node of `source` gives may feed the pin.
bool pinAccepts(const PinSchema& pin, const NodeSchema& source);

/// Templates of the dynamic pins.
const PinSchema& dynamicPinSchema(DynamicPins kind, unsigned position);

}  // namespace Lumora::engine
