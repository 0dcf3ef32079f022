// Compare first, then write: the only way in which the plug-in writes to the engine.
//
// A write to a pin or attribute costs the render a restart, so every helper here reads what the engine holds and writes
// a difference only. A test refuses direct setter calls elsewhere in the plug-in. The result says whether anything was
// written. Null nodes and pins that a node does not have are refused quietly (false or null): one table of pins serves
// node types of which some lack a row.
//
// Threads: as the engine's items, any thread; callers write on the sending thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/api/lumora_api.h"
#include "plugin/core/prelude.h"

namespace lumora {

using Lumora::ApiProjectManager;
using Lumora::AttributeId;
using Lumora::NodeType;
using Lumora::PinId;
// The engine's ids have prefixes of their own (NT_, P_, A_) and may stand without its namespace.
using enum Lumora::NodeType;
using enum Lumora::PinId;
using enum Lumora::AttributeId;
using Float2 = Lumora::Vec2<float>;
using Float3 = Lumora::Vec3<float>;
using Int2 = Lumora::Vec2<int>;
using EngineMatrix = Lumora::Matrix<float>;

inline Float3 toFloat3(const Vector& v) {
    return {static_cast<float>(v.x), static_cast<float>(v.y), static_cast<float>(v.z)};
}

// --- Connections ----------------------------------------------------------------------------------------------------
/// Null targets are ignored: a channel that could not be built leaves its pin as it stands.
bool connectIfChanged(ApiNode* node, PinId pin, ApiNode* target);
bool connectIxIfChanged(ApiNode* node, unsigned index, ApiNode* target);
/// Empties the pin when it shows anything.
bool disconnectPin(ApiNode* node, PinId pin);
bool disconnectPinIx(ApiNode* node, unsigned index);

/// The node that the pin owns when it has that type, else a new one inside the pin. A node of a graph that is connected
/// there may serve others and is left alone. Null when the pin refuses the type.
ApiNode* ownedInput(ApiNode* node, PinId pin, NodeType type);
ApiNode* ownedInputIx(ApiNode* node, unsigned index, NodeType type);

// --- Pin values -----------------------------------------------------------------------------------------------------
bool setBoolIfChanged(ApiNode* node, PinId pin, bool value);
bool setIntIfChanged(ApiNode* node, PinId pin, int value);
bool setFloatIfChanged(ApiNode* node, PinId pin, float value);
bool setFloat2IfChanged(ApiNode* node, PinId pin, Float2 value);
bool setFloat3IfChanged(ApiNode* node, PinId pin, Float3 value);
bool setInt2IfChanged(ApiNode* node, PinId pin, Int2 value);
/// Whether the value node on the pin holds samples over time.
bool isPinAnimated(const ApiNode* node, PinId pin);

/// A number on a texture pin: the NT_TEX_FLOAT inside it.
bool setFloatNode(ApiNode* node, PinId pin, float value);
/// A colour on a texture pin: the NT_TEX_RGB inside it.
bool setRgbNode(ApiNode* node, PinId pin, Float3 value);
/// A number on a value pin: the NT_FLOAT inside it.
bool setValueNode(ApiNode* node, PinId pin, float value);

// --- Attributes -----------------------------------------------------------------------------------------------------
bool setAttrIfChanged(ApiItem* item, AttributeId id, bool value, bool evaluate = true);
bool setAttrIfChanged(ApiItem* item, AttributeId id, int value, bool evaluate = true);
bool setAttrIfChanged(ApiItem* item, AttributeId id, float value, bool evaluate = true);
bool setAttrIfChanged(ApiItem* item, AttributeId id, Int2 value, bool evaluate = true);
bool setAttrIfChanged(ApiItem* item, AttributeId id, Float3 value, bool evaluate = true);
bool setAttrIfChanged(ApiItem* item, AttributeId id, const char* value, bool evaluate = true);

// Arrays. The comparison is one pass over memory that ends at the first difference; what a caller built anew because
// its source changed goes through writeArray, which does not look.
bool setArrayIfChanged(ApiItem* item, AttributeId id, const int* values, std::size_t count, bool evaluate = true);
bool setArrayIfChanged(ApiItem* item, AttributeId id, const Float3* values, std::size_t count, bool evaluate = true);
bool setArrayIfChanged(ApiItem* item, AttributeId id, const EngineMatrix* values, std::size_t count,
                       bool evaluate = true);
bool setArrayIfChanged(ApiItem* item, AttributeId id, const char* const* values, std::size_t count,
                       bool evaluate = true);

template <typename T>
bool writeArray(ApiItem* item, AttributeId id, const T* values, std::size_t count, bool evaluate = false) {
    return item && item->set(id, values, count, evaluate);
}

/// Values at several times, element after element. Not looked at: whoever animates built them anew.
bool writeAnimation(ApiItem* item, AttributeId id, const Lumora::ApiTimeSampling& sampling, std::size_t sampleCount,
                    const Float3* values, std::size_t count, bool evaluate = false);
bool writeAnimation(ApiItem* item, AttributeId id, const Lumora::ApiTimeSampling& sampling, std::size_t sampleCount,
                    const EngineMatrix* values, std::size_t count, bool evaluate = false);

bool setNameIfChanged(ApiItem* item, const String& name);
/// A mark of ours that the engine keeps with an item.
bool setPluginDataIfChanged(ApiItem* item, void* data);
/// The text that the engine keeps for us with an item.
bool setPluginDataStrIfChanged(ApiItem* item, const char* text);

// --- Items ----------------------------------------------------------------------------------------------------------
/// A node in the graph, named when a name is given. Null when the engine refuses the type.
ApiNode* createNode(NodeType type, ApiNodeGraph& graph, const char* name = nullptr);
/// A graph inside a graph, named when a name is given.
ApiNodeGraph* createGraph(ApiNodeGraph& owner, const char* name = nullptr);
/// Destroys the item with what it owns and empties the caller's pointer. Null is fine.
void destroyItem(ApiNode*& node);
void destroyItem(ApiNodeGraph*& graph);
void destroyItem(ApiItem*& item);
/// Destroys everything in the graph.
void clearGraph(ApiNodeGraph& graph);
/// Moves with every destroyItem and clearGraph: while it stands, a pointer to an item that a graph or the caller owns
/// is as good as before. What a pin owns goes with its connection and is not counted.
std::uint64_t destroyCount();

/// Applies what was written with `evaluate` off: dynamic pins come and go.
void evaluateItem(ApiItem* item);
/// Rate and time of the project: frames a second, seconds.
bool setFpsIfChanged(float fps);
bool setTimeIfChanged(float seconds);
/// Lays the graph out for the node graph window.
void unfoldGraph(ApiNodeGraph* graph, bool recurse);

/// Whether the graph itself owns `item`: nothing inside pins or nested graphs. `item` is compared only and may be gone.
bool ownedDirectly(const ApiItem* item, const ApiNodeGraph& graph);
/// Whether `item` stands in `graph` at any depth, inside pins included.
bool ownedBy(const ApiItem* item, const ApiNodeGraph& graph);

}  // namespace lumora
