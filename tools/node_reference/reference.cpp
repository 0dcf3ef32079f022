#include "tools/node_reference/reference.h"

#include <cstdio>

#include "engine/schema/texts.h"
#include "tools/node_pictures/strips.h"

namespace Lumora::engine {

namespace {

constexpr const char* kHead =
    "# The engine's nodes\n\n"
    "Every node type with its pins and attributes. This page is written by `lumora_node_reference` from the tables in "
    "`engine/schema/`; a test compares the two. To change a text, change it there and run the program with the path of "
    "this file.\n\n"
    "A pin's own value counts while nothing is connected to it. A texture pin with a range takes plain numbers and "
    "textures alike; values outside the range are used as far as they make sense. Graphs also have inputs (node type "
    "20000 plus the number of the pin type) and outputs (30000 plus it), which hand on what is connected to their pin "
    "`Input` (82).\n\n"
    "A pin that says so has no effect on a processor.\n\n"
    "The pictures are rendered with the engine by `lumora_node_pictures docs/images/nodes`, which takes some minutes; "
    "`--only NAME` renders those whose names contain NAME.\n";

std::string number(float v) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(v));
    return text;
}

/// A value of as many numbers as the pin has; equal ones are told once where `shorten` is set.
std::string value(Vec3<float> v, int count, bool boolean) {
    if (boolean) return v.x != 0.0f ? "on" : "off";
    std::string text = number(v.x);
    if (count == 2) text += ", " + number(v.y);
    if (count == 3) text += ", " + number(v.y) + ", " + number(v.z);
    return text;
}

std::string typeOf(const PinSchema& pin) {
    std::string text = pinTypeName(pin.type);
    const bool plural = pin.dimension > 1 && pin.type != PT_TEXTURE;
    if (plural) text += " x " + std::to_string(pin.dimension);
    return text;
}

std::string rangeOf(const PinSchema& pin) {
    if (pin.dimension == 0 || pin.type == PT_BOOL) return "";
    constexpr float kUnbounded = 1e9f;
    const bool low = pin.minValue > -kUnbounded, high = pin.maxValue < kUnbounded;
    if (!low && !high) return "any";
    if (!high) return number(pin.minValue) + " and up";
    return (low ? number(pin.minValue) : "any") + std::string(" to ") + number(pin.maxValue);
}

const char* attributeType(AttributeType type) {
    switch (type) {
        case AT_BOOL:
            return "Bool";
        case AT_INT:
            return "Int";
        case AT_INT2:
            return "Int x 2";
        case AT_FLOAT:
            return "Float";
        case AT_FLOAT2:
            return "Float x 2";
        case AT_FLOAT3:
            return "Float x 3";
        case AT_STRING:
            return "String";
        case AT_INT_ARRAY:
            return "Ints";
        case AT_FLOAT_ARRAY:
            return "Floats";
        case AT_BYTE_ARRAY:
            return "Bytes, or floats";
        case AT_FLOAT2_ARRAY:
            return "Pairs";
        case AT_FLOAT3_ARRAY:
            return "Triples";
        case AT_MATRIX_ARRAY:
            return "Matrices";
        case AT_STRING_ARRAY:
            return "Strings";
        default:
            return "";
    }
}

std::string defaultOf(const AttributeSchema& a) {
    switch (a.type) {
        case AT_BOOL:
            return value(a.defaultValue, 1, true);
        case AT_INT:
        case AT_FLOAT:
            return value(a.defaultValue, 1, false);
        case AT_INT2:
        case AT_FLOAT2:
            return value(a.defaultValue, 2, false);
        case AT_FLOAT3:
            return value(a.defaultValue, 3, false);
        default:
            return "";
    }
}

void row(std::string& out, std::initializer_list<std::string> cells) {
    for (const std::string& cell : cells) out += cell.empty() ? "| " : "| " + cell + " ";
    out += "|\n";
}

void pinRow(std::string& out, const std::string& id, const PinSchema& pin, const Text& text) {
    row(out, {id, pin.name, typeOf(pin), text.unit, rangeOf(pin),
              pin.dimension ? value(pin.defaultValue, pin.dimension, pin.type == PT_BOOL) : "", text.effect});
}

/// The strips of the node, each under what it shows.
void strips(std::string& out, const NodeSchema& node) {
    for (const pictures::Strip& strip : pictures::allStrips()) {
        if (strip.node != node.type) continue;
        std::string labels;
        for (const pictures::Column& column : strip.columns) labels += (labels.empty() ? "" : "; ") + column.label;
        out += "\n" + strip.caption + ":\n\n![" + labels + "](" + pictures::pathInDocs(strip) + ")\n";
    }
}

void nodeSection(std::string& out, const NodeSchema& node) {
    out += "\n## " + std::to_string(node.type) + " " + node.name + "\n\n";
    if (const char* text = nodeText(node.type); *text) out += std::string(text) + " ";
    const std::string gives = pinTypeName(node.output);
    if (!gives.empty()) out += "Gives: " + gives + ".";
    while (out.ends_with(' ')) out.pop_back();
    out += "\n";
    strips(out, node);
    if (!node.pins.empty() || node.dynamic != DynamicPins::None) {
        out += "\n";
        row(out, {"Pin", "Name", "Type", "Unit", "Range", "Default", "Effect"});
        row(out, {"---", "---", "---", "---", "---", "---", "---"});
        for (const PinSchema& pin : node.pins) pinRow(out, std::to_string(pin.id), pin, pinText(node.type, pin.id));
        switch (node.dynamic) {
            case DynamicPins::Gradient:
                pinRow(out, "dynamic", dynamicPinSchema(node.dynamic, 0), {"", "Where the knot lies."});
                pinRow(out, "dynamic", dynamicPinSchema(node.dynamic, 1), {"", "What the knot shows."});
                break;
            case DynamicPins::Group:
                pinRow(out, "dynamic", dynamicPinSchema(node.dynamic, 0), {"", "A part of the group."});
                break;
            case DynamicPins::Mesh:
                pinRow(out, "dynamic", dynamicPinSchema(node.dynamic, 0),
                       {"", "Material of the polygons that name it."});
                break;
            case DynamicPins::LayerMap:
                pinRow(out, "dynamic", dynamicPinSchema(node.dynamic, 0), {"", "Layer of one object of the geometry."});
                break;
            case DynamicPins::None:
                break;
        }
    }
    if (node.attributes.empty()) return;
    out += "\n";
    row(out, {"Attribute", "Name", "Type", "Unit", "Default", "Effect"});
    row(out, {"---", "---", "---", "---", "---", "---"});
    for (const AttributeSchema& a : node.attributes) {
        const Text text = attributeText(a.id);
        row(out, {std::to_string(a.id), a.name, attributeType(a.type), text.unit, defaultOf(a), text.effect});
    }
}

}  // namespace

std::string nodeReference() {
    std::string out = kHead;
    for (const NodeSchema* node : allNodeSchemas()) {
        if (node->role != NodeRole::Linker) nodeSection(out, *node);
    }
    return out;
}

}  // namespace Lumora::engine
