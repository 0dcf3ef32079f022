// Nodes: a type, attributes, and pins that other nodes are connected to.
//
// A pin either takes a value (bool, integer, float, string), or a texture that may be a plain number or colour, or
// another kind of node. The value of a value pin is held by a node inside the pin (NT_FLOAT, NT_INT, NT_BOOL, NT_ENUM,
// NT_STRING, NT_FILE; NT_TEX_FLOAT or NT_TEX_RGB on texture pins), which comes into being when it is first asked for;
// setPinValue and getPin... work without it. A pin that was emptied has its default value and no node.
//
// Pins made by an attribute (dynamic pins) come after the static ones and are addressed by index.
#pragma once

#include "engine/api/api_item.h"

namespace Lumora {

/// Description of a pin. The strings live as long as the engine runs, those of dynamic pins as long as the pin.
struct ApiNodePinInfo {
    PinId id{};
    const char* name = "";
    NodePinType type{};
    bool dynamic = false;
    unsigned dimension = 0;  ///< numbers that a value pin takes, 1 to 3; 0 for pins without a value
    Vec3<float> defaultValue{};
    float minValue = 0;  ///< range that makes sense; a value outside is kept, and limited where it is used
    float maxValue = 0;
    float sliderMin = 0;  ///< range that makes sense on a slider
    float sliderMax = 0;
    float sliderStep = 0;
    const char* defaultString = "";
};

class ApiNode : public ApiItem {
public:
    // --- Creation -----------------------------------------------------------------------------------------------
    /// A new node in the graph. `configure` fills its pins as configureEmptyPins() does. Null for an unknown type.
    LUMORA_API static ApiNode* create(NodeType type, ApiNodeGraph& graph, bool configure);
    /// A new node inside a pin of this node, replacing what is connected there. The pin owns it: it goes when something
    /// else is connected. Null when the pin does not exist or does not take that type.
    LUMORA_API ApiNode* createInternal(PinId id, NodeType type, bool evaluate, bool configure);
    LUMORA_API ApiNode* createInternalIx(unsigned index, NodeType type, bool evaluate, bool configure);
    /// Gives every empty pin that has one its default node.
    LUMORA_API void configureEmptyPins();

    // --- Identity -----------------------------------------------------------------------------------------------
    LUMORA_API NodeType type() const;

    // --- Connection ---------------------------------------------------------------------------------------------
    /// Connects the node to the pin; null empties the pin. A node inside the pin is destroyed. `evaluate` false leaves
    /// dynamic pins that follow from it until evaluate() is called; `unfold` only lays out the node graph window.
    /// False when refused: no such pin, another kind of node, another project, a circle.
    LUMORA_API bool connectTo(PinId id, ApiNode* node, bool evaluate = true, bool unfold = false);
    LUMORA_API bool connectToIx(unsigned index, ApiNode* node, bool evaluate = true, bool unfold = false);
    /// The node on the pin itself, which may be a linker; null when there is none.
    LUMORA_API ApiNode* connectedNode(PinId id) const;
    LUMORA_API ApiNode* connectedNode(const char* pinName) const;
    LUMORA_API ApiNode* connectedNodeIx(unsigned index) const;
    /// The node that feeds the pin: linkers are followed to what is connected to them.
    LUMORA_API ApiNode* inputNode(PinId id) const;
    LUMORA_API ApiNode* inputNodeIx(unsigned index) const;

    // --- Pin reflection -----------------------------------------------------------------------------------------
    LUMORA_API unsigned pinCount() const;
    LUMORA_API unsigned staticPinCount() const;
    LUMORA_API unsigned dynPinCount() const;
    LUMORA_API bool hasPin(PinId id) const;
    LUMORA_API bool hasPinIx(unsigned index) const;
    LUMORA_API bool findPin(const char* name, unsigned& index) const;
    /// Empty past the end.
    LUMORA_API const char* pinNameIx(unsigned index) const;
    LUMORA_API NodePinType pinTypeIx(unsigned index) const;
    LUMORA_API PinId pinIdIx(unsigned index) const;
    LUMORA_API ApiNodePinInfo pinInfoIx(unsigned index) const;

    // --- Pin values ---------------------------------------------------------------------------------------------
    // What the value node on the pin holds, through linkers, else the pin's own value. Conversions as for attributes.
    LUMORA_API bool getPinBool(PinId id) const;
    LUMORA_API int getPinInt(PinId id) const;
    LUMORA_API Vec2<int> getPinInt2(PinId id) const;
    LUMORA_API float getPinFloat(PinId id) const;
    LUMORA_API Vec2<float> getPinFloat2(PinId id) const;
    LUMORA_API Vec3<float> getPinFloat3(PinId id) const;
    LUMORA_API float getPinFloatIx(unsigned index) const;
    LUMORA_API Vec2<float> getPinFloat2Ix(unsigned index) const;
    LUMORA_API Vec3<float> getPinFloat3Ix(unsigned index) const;
    LUMORA_API bool getPinValue(PinId id, Vec2<int>& value) const;

    // A value that equals the stored one writes nothing. False when the pin takes no value of that kind, or shows a
    // node that is no plain value.
    LUMORA_API bool setPinValue(PinId id, bool value, bool evaluate = true);
    LUMORA_API bool setPinValue(PinId id, int value, bool evaluate = true);
    LUMORA_API bool setPinValue(PinId id, float value, bool evaluate = true);
    LUMORA_API bool setPinValue(PinId id, Vec2<int> value, bool evaluate = true);
    LUMORA_API bool setPinValue(PinId id, Vec2<float> value, bool evaluate = true);
    LUMORA_API bool setPinValue(PinId id, Vec3<float> value, bool evaluate = true);

private:
    friend class engine::Node;
    explicit ApiNode(engine::Item* item) : ApiItem(item) {}
    ~ApiNode() = default;
};

}  // namespace Lumora
