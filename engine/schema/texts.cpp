#include "engine/schema/texts.h"

namespace Lumora::engine {

Text pinText(NodeType type, PinId pin) {
    const schema::PinTextRow* shared = nullptr;
    for (const auto rows : {schema::texturePinTexts(), schema::materialPinTexts(), schema::renderPinTexts()}) {
        for (const schema::PinTextRow& row : rows) {
            if (row.pin != pin) continue;
            if (row.type == type) return {row.unit, row.effect};
            if (row.type == NT_UNKNOWN) shared = &row;
        }
    }
    if (type == NT_RENDER_PASSES &&
        (!shared ||
         nodeSchema(type)->pins[static_cast<std::size_t>(nodeSchema(type)->pinIndex(pin))].type == PT_BOOL)) {
        return {"", "Renders this pass beside the picture."};
    }
    return shared ? Text{shared->unit, shared->effect} : Text{};
}

Text attributeText(AttributeId attribute) {
    for (const schema::AttributeTextRow& row : schema::attributeTexts()) {
        if (row.attribute == attribute) return {row.unit, row.effect};
    }
    return {};
}

const char* nodeText(NodeType type) {
    for (const schema::NodeTextRow& row : schema::nodeTexts()) {
        if (row.type == type) return row.effect;
    }
    return "";
}

}  // namespace Lumora::engine
