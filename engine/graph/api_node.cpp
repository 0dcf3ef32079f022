// ApiNode over the engine's nodes.
#include <cstring>

#include "engine/graph/item.h"
#include "engine/graph/journal.h"
#include "engine/graph/log.h"
#include "engine/graph/pin_info.h"
#include "engine/graph/value.h"

namespace Lumora {

using namespace engine;

namespace {

Node& nodeOf(const ApiNode* node) {
    return *Item::of(node)->node();
}

ApiNode* api(Node* node) {
    return node ? &node->handle : nullptr;
}

constexpr unsigned kNoPin = ~0u;

unsigned pinOf(Node& node, PinId id) {
    const int index = node.schema.pinIndex(id);
    if (index >= 0) {
        return static_cast<unsigned>(index);
    }
    logLine(LOGLEVEL_ERRORS, "%s has no pin %d.", node.label().c_str(), static_cast<int>(id));
    return kNoPin;
}

unsigned pinAt(Node& node, unsigned index) {
    if (index < node.pins.size()) {
        return index;
    }
    logLine(LOGLEVEL_ERRORS, "%s has no pin at index %u.", node.label().c_str(), index);
    return kNoPin;
}

bool connect(Node& node, unsigned index, ApiNode* input, bool evaluate) {
    if (index == kNoPin || !node.connect(index, input ? &nodeOf(input) : nullptr)) {
        return false;
    }
    if (evaluate && (node.schema.dynamic == DynamicPins::LayerMap || node.schema.role == NodeRole::Linker)) {
        node.evaluate();
    } else if (node.schema.dynamic == DynamicPins::LayerMap) {
        node.needsEvaluation();
    }
    return true;
}

ApiNode* createInside(Node& node, unsigned index, NodeType type, bool evaluate, bool configure) {
    Node* made = index == kNoPin ? nullptr : node.createInside(index, type, configure);
    if (made && evaluate) {
        node.evaluate();
        // Pins that an attribute no longer asks for go, with what was just made inside of them.
        if (index >= node.pins.size() || node.pins[index].input != made) {
            logLine(LOGLEVEL_ERRORS, "%s has no pin at index %u any more.", node.label().c_str(), index);
            return nullptr;
        }
    }
    return api(made);
}

Value read(Node& node, unsigned index) {
    return index == kNoPin ? Value() : node.pinValue(index);
}

bool write(Node& node, unsigned index, const Value& value) {
    return index != kNoPin && node.setPinValue(index, value);
}

}  // namespace

namespace engine {

ApiNodePinInfo pinInfo(const PinSchema& pin, const char* name, bool dynamic) {
    ApiNodePinInfo info;
    info.id = pin.id;
    info.name = name;
    info.type = pin.type;
    info.dynamic = dynamic;
    info.dimension = pin.dimension;
    info.defaultValue = pin.defaultValue;
    info.minValue = info.sliderMin = pin.minValue;
    info.maxValue = info.sliderMax = pin.maxValue;
    const float span = pin.maxValue - pin.minValue;
    info.sliderStep = pin.type == PT_FLOAT || pin.type == PT_TEXTURE ? (span < 1000 ? span / 100 : 1) : 1;
    return info;
}

}  // namespace engine

ApiNode* ApiNode::create(NodeType type, ApiNodeGraph& graph, bool configure) {
    LUMORA_GRAPH_GUARD;
    Graph& owner = *Item::of(graph).graph();
    Node* node = type == NT_PREFERENCES ? nullptr : newNode(type, owner.scene);
    if (!node) {
        logLine(LOGLEVEL_ERRORS, "There is no node type %d.", static_cast<int>(type));
        return nullptr;
    }
    owner.adopt(node);
    journal(JOURNAL_CREATE, &node->handle, type);
    if (configure) {
        node->configure();
    }
    return &node->handle;
}

ApiNode* ApiNode::createInternal(PinId id, NodeType type, bool evaluate, bool configure) {
    LUMORA_GRAPH_GUARD;
    Node& node = nodeOf(this);
    return createInside(node, pinOf(node, id), type, evaluate, configure);
}

ApiNode* ApiNode::createInternalIx(unsigned index, NodeType type, bool evaluate, bool configure) {
    LUMORA_GRAPH_GUARD;
    Node& node = nodeOf(this);
    return createInside(node, pinAt(node, index), type, evaluate, configure);
}

void ApiNode::configureEmptyPins() {
    LUMORA_GRAPH_GUARD;
    nodeOf(this).configure();
}

NodeType ApiNode::type() const {
    return nodeOf(this).schema.type;
}

bool ApiNode::connectTo(PinId id, ApiNode* node, bool evaluate, bool) {
    LUMORA_GRAPH_GUARD;
    return connect(nodeOf(this), pinOf(nodeOf(this), id), node, evaluate);
}

bool ApiNode::connectToIx(unsigned index, ApiNode* node, bool evaluate, bool) {
    LUMORA_GRAPH_GUARD;
    return connect(nodeOf(this), pinAt(nodeOf(this), index), node, evaluate);
}

ApiNode* ApiNode::connectedNode(PinId id) const {
    LUMORA_GRAPH_GUARD;
    const unsigned index = pinOf(nodeOf(this), id);
    return index == kNoPin ? nullptr : api(nodeOf(this).connected(index));
}

ApiNode* ApiNode::connectedNode(const char* pinName) const {
    LUMORA_GRAPH_GUARD;
    unsigned index = 0;
    return findPin(pinName, index) ? api(nodeOf(this).connected(index)) : nullptr;
}

ApiNode* ApiNode::connectedNodeIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    // Walks over pins end with a null node: no line in the log.
    return index < nodeOf(this).pins.size() ? api(nodeOf(this).connected(index)) : nullptr;
}

ApiNode* ApiNode::inputNode(PinId id) const {
    LUMORA_GRAPH_GUARD;
    const unsigned index = pinOf(nodeOf(this), id);
    return index == kNoPin ? nullptr : api(nodeOf(this).input(index));
}

ApiNode* ApiNode::inputNodeIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    return index < nodeOf(this).pins.size() ? api(nodeOf(this).input(index)) : nullptr;
}

unsigned ApiNode::pinCount() const {
    LUMORA_GRAPH_GUARD;
    return static_cast<unsigned>(nodeOf(this).pins.size());
}

unsigned ApiNode::staticPinCount() const {
    return nodeOf(this).staticPins();
}

unsigned ApiNode::dynPinCount() const {
    return pinCount() - staticPinCount();
}

bool ApiNode::hasPin(PinId id) const {
    return nodeOf(this).schema.pinIndex(id) >= 0;
}

bool ApiNode::hasPinIx(unsigned index) const {
    return index < pinCount();
}

bool ApiNode::findPin(const char* name, unsigned& index) const {
    LUMORA_GRAPH_GUARD;
    const Node& node = nodeOf(this);
    for (unsigned i = 0; name && i < node.pins.size(); ++i) {
        if (std::strcmp(node.pinName(i), name) == 0) {
            index = i;
            return true;
        }
    }
    return false;
}

const char* ApiNode::pinNameIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    return hasPinIx(index) ? nodeOf(this).pinName(index) : "";
}

NodePinType ApiNode::pinTypeIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    return hasPinIx(index) ? nodeOf(this).pinSchema(index).type : PT_UNKNOWN;
}

PinId ApiNode::pinIdIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    return hasPinIx(index) ? nodeOf(this).pinSchema(index).id : P_DYNAMIC;
}

ApiNodePinInfo ApiNode::pinInfoIx(unsigned index) const {
    LUMORA_GRAPH_GUARD;
    if (!hasPinIx(index)) {
        return {};
    }
    const Node& node = nodeOf(this);
    return pinInfo(node.pinSchema(index), node.pinName(index), index >= node.staticPins());
}

#define LUMORA_READ_PIN(Type, function, reader)                     \
    Type ApiNode::function(PinId id) const {                        \
        LUMORA_GRAPH_GUARD;                                         \
        return reader(read(nodeOf(this), pinOf(nodeOf(this), id))); \
    }
LUMORA_READ_PIN(bool, getPinBool, asBool)
LUMORA_READ_PIN(int, getPinInt, asInt)
LUMORA_READ_PIN(Vec2<int>, getPinInt2, asInt2)
LUMORA_READ_PIN(float, getPinFloat, asFloat)
LUMORA_READ_PIN(Vec2<float>, getPinFloat2, asFloat2)
LUMORA_READ_PIN(Vec3<float>, getPinFloat3, asFloat3)
#undef LUMORA_READ_PIN

#define LUMORA_READ_PIN_INDEX(Type, function, reader)                  \
    Type ApiNode::function(unsigned index) const {                     \
        LUMORA_GRAPH_GUARD;                                            \
        return reader(read(nodeOf(this), pinAt(nodeOf(this), index))); \
    }
LUMORA_READ_PIN_INDEX(float, getPinFloatIx, asFloat)
LUMORA_READ_PIN_INDEX(Vec2<float>, getPinFloat2Ix, asFloat2)
LUMORA_READ_PIN_INDEX(Vec3<float>, getPinFloat3Ix, asFloat3)
#undef LUMORA_READ_PIN_INDEX

bool ApiNode::getPinValue(PinId id, Vec2<int>& value) const {
    LUMORA_GRAPH_GUARD;
    const unsigned index = pinOf(nodeOf(this), id);
    if (index != kNoPin) {
        value = asInt2(nodeOf(this).pinValue(index));
    }
    return index != kNoPin;
}

#define LUMORA_WRITE_PIN(Type)                                             \
    bool ApiNode::setPinValue(PinId id, Type value, bool) {                \
        LUMORA_GRAPH_GUARD;                                                \
        return write(nodeOf(this), pinOf(nodeOf(this), id), Value(value)); \
    }
LUMORA_WRITE_PIN(bool)
LUMORA_WRITE_PIN(int)
LUMORA_WRITE_PIN(float)
LUMORA_WRITE_PIN(Vec2<int>)
LUMORA_WRITE_PIN(Vec2<float>)
LUMORA_WRITE_PIN(Vec3<float>)
#undef LUMORA_WRITE_PIN

}  // namespace Lumora
