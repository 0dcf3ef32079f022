// Nodes as plain data: what a picture shows, before any engine has been started.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace pictures {

using Lumora::AttributeId;
using Lumora::NodeType;
using Lumora::PinId;
using Float3 = Lumora::Vec3<float>;
using Float2 = Lumora::Vec2<float>;
using Int2 = Lumora::Vec2<int>;

/// Content of image nodes that the program makes itself.
enum class Chart {
    None,
    Colors,   ///< numbered fields with a frame and an arrow up: turns and mirrors are seen
    Letters,  ///< a mask: white figures on black, in the alpha channel too
    Bricks,   ///< heights
    Dents,    ///< a normal map
    Palette,  ///< one colour for each instance
    Sky,      ///< a whole surrounding: sky, hills, a bright sun
    Spot,     ///< photometric file: a narrow beam
    Batwing,  ///< photometric file: light to both sides
};

struct Recipe;
using RecipePtr = std::shared_ptr<const Recipe>;
using SettingValue = std::variant<bool, int, float, Int2, Float2, Float3, RecipePtr>;

/// A value for a pin, or the node that is connected to it.
struct Setting {
    PinId pin{};
    SettingValue value;

    template <typename T>
    Setting(PinId pin, T value) : pin(pin), value(value) {}
    Setting(PinId pin, const Recipe& recipe);
};

/// A knot of a gradient.
struct Knot {
    float position = 0;
    Float3 color;
};

struct Recipe {
    NodeType type{};
    std::vector<Setting> settings;
    std::vector<Knot> knots;
    Chart chart = Chart::None;
    std::vector<std::pair<AttributeId, Float3>> attributes;
};

inline Setting::Setting(PinId pin, const Recipe& recipe) : pin(pin), value(std::make_shared<const Recipe>(recipe)) {}

/// The recipe with further settings; of two for one pin the later one counts.
inline Recipe with(Recipe recipe, const std::vector<Setting>& more) {
    recipe.settings.insert(recipe.settings.end(), more.begin(), more.end());
    return recipe;
}

inline Recipe make(NodeType type, std::vector<Setting> settings) {
    return {type, std::move(settings), {}, Chart::None, {}};
}

inline Recipe image(Chart chart, std::vector<Setting> settings = {}) {
    return {Lumora::NT_TEX_IMAGE, std::move(settings), {}, chart, {}};
}

/// A grey or a colour as a node.
inline Recipe grey(float value) {
    return {Lumora::NT_TEX_FLOAT, {}, {}, Chart::None, {{Lumora::A_VALUE, {value, value, value}}}};
}
inline Recipe rgb(Float3 value) {
    return {Lumora::NT_TEX_RGB, {}, {}, Chart::None, {{Lumora::A_VALUE, value}}};
}

}  // namespace pictures
