#include "engine/schema/schema.h"

#include <map>
#include <memory>
#include <string>

#include "engine/schema/build.h"

namespace Lumora::engine {

namespace {

struct PinTypeRow {
    NodePinType type;
    const char* name;
    bool linkers;  ///< graphs can have inputs and outputs of it
};

constexpr PinTypeRow kPinTypes[] = {
    {PT_BOOL, "Bool", true},
    {PT_FLOAT, "Float", true},
    {PT_INT, "Int", true},
    {PT_TRANSFORM, "Transform", true},
    {PT_TEXTURE, "Texture", true},
    {PT_EMISSION, "Emission", true},
    {PT_MATERIAL, "Material", true},
    {PT_CAMERA, "Camera", true},
    {PT_ENVIRONMENT, "Environment", true},
    {PT_IMAGER, "Imager", true},
    {PT_KERNEL, "Kernel", true},
    {PT_GEOMETRY, "Geometry", true},
    {PT_MEDIUM, "Medium", true},
    {PT_PHASE, "Phase function", true},
    {PT_FILM_SETTINGS, "Film settings", true},
    {PT_ENUM, "Enum", true},
    {PT_OBJECT_LAYER, "Object layer", true},
    {PT_POST_PROCESSING, "Post processing", true},
    {PT_RENDER_TARGET, "Render target", true},
    {PT_PROJECTION, "Projection", true},
    {PT_DISPLACEMENT, "Displacement", true},
    {PT_STRING, "String", true},
    {PT_RENDER_PASSES, "Render passes", true},
    {PT_RENDER_LAYER, "Render layer", true},
    {PT_VOLUME_RAMP, "Volume ramp", true},
    {PT_ANIMATION_SETTINGS, "Animation settings", true},
    {PT_LUT, "LUT", true},
    {PT_TOON_RAMP, "Toon ramp", true},
    {PT_BIT_MASK, "Bit mask", true},
};

struct Tables {
    std::map<int, std::unique_ptr<NodeSchema>> byType;
    std::vector<const NodeSchema*> all;
    std::vector<std::unique_ptr<std::string>> names;  ///< of the linkers
    std::array<const NodeSchema*, 256> low{};         ///< the common numbers, found without a search

    void add(const schema::Row& row, bool outputLinker = false) {
        auto node = std::make_unique<NodeSchema>();
        node->type = row.type;
        node->name = row.name;
        node->output = row.output;
        node->dynamic = row.dynamic;
        node->role = row.role;
        node->outputLinker = outputLinker;
        node->pins = row.pins;
        node->attributes = row.attributes;
        node->pinIndices.fill(-1);
        node->attributeIndices.fill(-1);
        for (std::size_t i = 0; i < node->pins.size(); ++i) {
            node->pinIndices[static_cast<std::size_t>(node->pins[i].id)] = static_cast<std::int16_t>(i);
        }
        for (std::size_t i = 0; i < node->attributes.size(); ++i) {
            node->attributeIndices[static_cast<std::size_t>(node->attributes[i].id)] = static_cast<std::int16_t>(i);
        }
        byType[row.type] = std::move(node);
    }

    void addLinker(const PinTypeRow& type, bool output) {
        names.push_back(std::make_unique<std::string>(std::string(type.name) + (output ? " output" : " input")));
        schema::Row row;
        row.type =
            static_cast<NodeType>(static_cast<int>(output ? NT_OUT_BASE : NT_IN_BASE) + static_cast<int>(type.type));
        row.name = names.back()->c_str();
        row.output = type.type;
        row.role = NodeRole::Linker;
        row.pins = {schema::link(P_INPUT, "Input", type.type)};
        add(row, output);
    }

    Tables() {
        for (const auto& rows : {schema::geometryRows(), schema::renderRows(), schema::cameraRows(),
                                 schema::materialRows(), schema::textureRows(), schema::valueRows()}) {
            for (const schema::Row& row : rows) {
                add(row);
            }
        }
        for (const PinTypeRow& type : kPinTypes) {
            if (type.linkers) {
                addLinker(type, false);
                addLinker(type, true);
            }
        }
        for (const auto& [type, node] : byType) {
            all.push_back(node.get());
            if (type >= 0 && type < static_cast<int>(low.size())) {
                low[static_cast<std::size_t>(type)] = node.get();
            }
        }
    }
};

const Tables& tables() {
    static const Tables instance;
    return instance;
}

bool isNumber(NodePinType type) {
    return type == PT_BOOL || type == PT_INT || type == PT_ENUM || type == PT_FLOAT;
}

}  // namespace

const NodeSchema* nodeSchema(NodeType type) {
    const Tables& t = tables();
    if (type >= 0 && type < static_cast<int>(t.low.size())) {
        return t.low[static_cast<std::size_t>(type)];
    }
    const auto found = t.byType.find(type);
    return found == t.byType.end() ? nullptr : found->second.get();
}

const std::vector<const NodeSchema*>& allNodeSchemas() {
    return tables().all;
}

const char* pinTypeName(NodePinType type) {
    for (const PinTypeRow& row : kPinTypes) {
        if (row.type == type) {
            return row.name;
        }
    }
    return "";
}

NodeType valueNodeType(const PinSchema& pin) {
    if (pin.dimension == 0) {
        return NT_UNKNOWN;
    }
    switch (pin.type) {
        case PT_BOOL:
            return NT_BOOL;
        case PT_INT:
            return NT_INT;
        case PT_ENUM:
            return NT_ENUM;
        case PT_FLOAT:
            return NT_FLOAT;
        case PT_STRING:
            return NT_STRING;
        case PT_TEXTURE:
            return pin.dimension == 1 ? NT_TEX_FLOAT : NT_TEX_RGB;
        default:
            return NT_UNKNOWN;
    }
}

bool pinAccepts(const PinSchema& pin, const NodeSchema& source) {
    if (pin.type == source.output) {
        return true;
    }
    // Plain numbers go wherever a number is wanted, a plain number or colour texture too; a texture pin takes a plain
    // number as a grey.
    if (isNumber(pin.type)) {
        return isNumber(source.output) || source.type == NT_TEX_FLOAT || source.type == NT_TEX_RGB;
    }
    return pin.type == PT_TEXTURE && isNumber(source.output);
}

const PinSchema& dynamicPinSchema(DynamicPins kind, unsigned position) {
    static const PinSchema geometry = schema::link(P_DYNAMIC, "Geometry", PT_GEOMETRY);
    static const PinSchema material = schema::link(P_DYNAMIC, "Material", PT_MATERIAL);
    static const PinSchema layer = schema::link(P_DYNAMIC, "Object layer", PT_OBJECT_LAYER);
    static const PinSchema knotPosition = schema::number(P_DYNAMIC, "Position", 0, 0, 1);
    static const PinSchema knotValue = schema::texture(P_DYNAMIC, "Value");
    switch (kind) {
        case DynamicPins::Mesh:
            return material;
        case DynamicPins::LayerMap:
            return layer;
        case DynamicPins::Gradient:
            return position % 2 == 0 ? knotPosition : knotValue;
        default:
            return geometry;
    }
}

}  // namespace Lumora::engine
