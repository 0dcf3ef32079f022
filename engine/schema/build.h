// The small language in which the tables are written.
#pragma once

#include <initializer_list>

#include "engine/schema/schema.h"

namespace Lumora::engine::schema {

constexpr float kBig = 1e9f;

// Pins: of plain values ...
constexpr PinSchema boolean(PinId id, const char* name, bool value = false) {
    return {id, name, PT_BOOL, 1, {value ? 1.f : 0.f, 0, 0}, 0, 1};
}
constexpr PinSchema integer(PinId id, const char* name, int value, int low = 0, int high = 1000000) {
    return {id, name, PT_INT, 1, {static_cast<float>(value), 0, 0}, static_cast<float>(low), static_cast<float>(high)};
}
constexpr PinSchema integer2(PinId id, const char* name, Vec2<int> value, int low, int high) {
    return {id,
            name,
            PT_INT,
            2,
            {static_cast<float>(value.x), static_cast<float>(value.y), 0},
            static_cast<float>(low),
            static_cast<float>(high)};
}
constexpr PinSchema choice(PinId id, const char* name, int value, int high) {
    return {id, name, PT_ENUM, 1, {static_cast<float>(value), 0, 0}, 0, static_cast<float>(high)};
}
constexpr PinSchema number(PinId id, const char* name, float value, float low = 0, float high = kBig) {
    return {id, name, PT_FLOAT, 1, {value, 0, 0}, low, high};
}
constexpr PinSchema number2(PinId id, const char* name, Vec2<float> value, float low = -kBig, float high = kBig) {
    return {id, name, PT_FLOAT, 2, {value.x, value.y, 0}, low, high};
}
constexpr PinSchema number3(PinId id, const char* name, Vec3<float> value, float low = -kBig, float high = kBig) {
    return {id, name, PT_FLOAT, 3, value, low, high};
}
// ... of textures: empty, a number, a colour ...
constexpr PinSchema texture(PinId id, const char* name) {
    return {id, name, PT_TEXTURE, 0, {}, 0, 0};
}
constexpr PinSchema grey(PinId id, const char* name, float value, float high = 1) {
    return {id, name, PT_TEXTURE, 1, {value, 0, 0}, 0, high};
}
constexpr PinSchema colour(PinId id, const char* name, float value) {
    return {id, name, PT_TEXTURE, 3, {value, value, value}, 0, 1};
}
// ... and of other nodes.
constexpr PinSchema link(PinId id, const char* name, NodePinType type, NodeType defaultNode = NT_UNKNOWN) {
    return {id, name, type, 0, {}, 0, 0, defaultNode};
}

constexpr AttributeSchema attribute(AttributeId id, const char* name, AttributeType type,
                                    Vec3<float> value = {0, 0, 0}) {
    return {id, name, type, value};
}

/// Rows that several types share.
using Pins = std::vector<PinSchema>;
using Attributes = std::vector<AttributeSchema>;
inline Pins join(std::initializer_list<Pins> parts) {
    Pins all;
    for (const Pins& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

struct Row {
    NodeType type{};
    const char* name = "";
    NodePinType output{};
    Pins pins;
    Attributes attributes = {};
    DynamicPins dynamic = DynamicPins::None;
    NodeRole role = NodeRole::Normal;
};

using Rows = std::vector<Row>;

Rows geometryRows();
Rows renderRows();
Rows cameraRows();
Rows materialRows();
Rows textureRows();
Rows valueRows();

}  // namespace Lumora::engine::schema
