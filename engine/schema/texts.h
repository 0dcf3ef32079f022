// What pins, attributes and node types do, in a line each, and in which unit. One text serves every node type that has
// the pin, unless a type has one of its own.
#pragma once

#include <span>

#include "engine/schema/schema.h"

namespace Lumora::engine {

struct Text {
    const char* unit = "";    ///< empty: a plain number, a switch, a link
    const char* effect = "";  ///< never empty for what is in the schema
};

Text pinText(NodeType type, PinId pin);
Text attributeText(AttributeId attribute);
const char* nodeText(NodeType type);

namespace schema {

struct PinTextRow {
    PinId pin{};
    const char* unit = "";
    const char* effect = "";
    NodeType type = NT_UNKNOWN;  ///< NT_UNKNOWN: for all types without a row of their own
};
struct AttributeTextRow {
    AttributeId attribute{};
    const char* unit = "";
    const char* effect = "";
};
struct NodeTextRow {
    NodeType type{};
    const char* effect = "";
};

std::span<const PinTextRow> texturePinTexts();
std::span<const PinTextRow> materialPinTexts();
std::span<const PinTextRow> renderPinTexts();
std::span<const AttributeTextRow> attributeTexts();
std::span<const NodeTextRow> nodeTexts();

}  // namespace schema
}  // namespace Lumora::engine
