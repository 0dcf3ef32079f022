#include <algorithm>

#include "engine/graph/item.h"
#include "engine/graph/journal.h"
#include "engine/graph/log.h"
#include "engine/graph/value.h"

namespace Lumora::engine {

Node::Node(const NodeSchema& schema, Scene* scene) : Item(Kind::Node, scene), schema(schema), handle(this) {
    pins.resize(schema.pins.size());
    for (std::size_t i = 0; i < pins.size(); ++i) {
        pins[i].value = defaultValue(schema.pins[i]);
    }
    attributes.resize(schema.attributes.size());
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        attributes[i].value = defaultValue(schema.attributes[i]);
    }
}

const PinSchema& Node::pinSchema(unsigned index) const {
    return index < staticPins() ? schema.pins[index] : dynamicPinSchema(schema.dynamic, index - staticPins());
}

const char* Node::pinName(unsigned index) const {
    const std::size_t position = index - staticPins();
    if (index >= staticPins() && schema.dynamic == DynamicPins::Mesh && pinNames && position < pinNames->size()) {
        return (*pinNames)[position].c_str();
    }
    return pinSchema(index).name;
}

// --- Connections ----------------------------------------------------------------------------------------------------

void Node::attach(unsigned index, Node* input, bool inside) {
    Pin& pin = pins[index];
    pin.input = input;
    pin.owned = inside;
    pin.configured = false;
    pin.useIndex = static_cast<std::uint32_t>(input->uses.size());
    input->uses.push_back({this, index});
    if (inside) {
        input->pinOwner = this;
        input->pinOwnerIndex = index;
    }
    if (liveRefs > 0) {
        input->addLive(1);
    }
}

void Node::detach(unsigned index) {
    Pin& pin = pins[index];
    Node* input = pin.input;
    if (!input) {
        return;
    }
    const Use moved = input->uses.back();
    input->uses[pin.useIndex] = moved;
    moved.node->pins[moved.pin].useIndex = pin.useIndex;
    input->uses.pop_back();
    if (pin.owned) {
        input->pinOwner = nullptr;
    }
    pin.input = nullptr;
    pin.owned = false;
    if (liveRefs > 0) {
        input->addLive(-1);
    }
}

bool Node::feeds(Node* other) {
    // Two walks, up from here and down from there, one step each in turn: whichever has less to see ends the search.
    // Where they meet, or one arrives, there is a way.
    if (this == other) {
        return true;
    }
    const std::uint64_t up = nextVisit(), down = nextVisit();
    visit = up;
    other->visit = down;
    std::vector<Node*> above{this}, below{other};
    while (!above.empty() && !below.empty()) {
        Node* node = above.back();
        above.pop_back();
        for (const Use& use : node->uses) {
            if (use.node->visit == down) {
                return true;
            }
            if (use.node->visit != up) {
                use.node->visit = up;
                above.push_back(use.node);
            }
        }
        node = below.back();
        below.pop_back();
        for (const Pin& pin : node->pins) {
            if (!pin.input || pin.input->visit == down) {
                continue;
            }
            if (pin.input->visit == up) {
                return true;
            }
            pin.input->visit = down;
            below.push_back(pin.input);
        }
    }
    return false;
}

bool Node::connect(unsigned index, Node* input) {
    Pin& pin = pins[index];
    if (pin.input == input && input) {
        return true;
    }
    Node* old = pin.input;
    Node* dropped = pin.owned ? old : nullptr;
    if (input) {
        if (input->scene != scene) {
            logLine(LOGLEVEL_ERRORS, "%s belongs to another project than %s: not connected.", input->label().c_str(),
                    label().c_str());
            return false;
        }
        if (!pinAccepts(pinSchema(index), input->schema)) {
            logLine(LOGLEVEL_ERRORS, "Pin '%s' of %s does not take %s.", pinName(index), label().c_str(),
                    input->label().c_str());
            return false;
        }
        for (Node* holder = input->pinOwner; dropped && holder; holder = holder->pinOwner) {
            if (holder == dropped) {
                logLine(LOGLEVEL_ERRORS, "%s lies inside the node that it would replace on pin '%s' of %s.",
                        input->label().c_str(), pinName(index), label().c_str());
                return false;
            }
        }
        if (feeds(input)) {
            logLine(LOGLEVEL_ERRORS, "Connecting %s to pin '%s' of %s would close a circle.", input->label().c_str(),
                    pinName(index), label().c_str());
            return false;
        }
    }
    detach(index);
    Value own = defaultValue(pinSchema(index));
    const bool changes = old || input || own != pin.value;
    pin.value = std::move(own);
    pin.configured = false;
    if (input) {
        attach(index, input, false);
    }
    if (dropped) {
        destroyItems({dropped});
    }
    if (changes) {
        journal(JOURNAL_CONNECT, &handle, schema.type, pinSchema(index).id, index);
        markChanged();
    }
    return true;
}

Node* Node::createInside(unsigned index, NodeType type, bool withNodes) {
    const PinSchema& place = pinSchema(index);
    const NodeSchema* what = nodeSchema(type);
    if (!what || !pinAccepts(place, *what)) {
        logLine(LOGLEVEL_ERRORS, "Pin '%s' of %s does not take a node of type %d.", pinName(index), label().c_str(),
                static_cast<int>(type));
        return nullptr;
    }
    auto* node = new Node(*what, scene);
    if (type == valueNodeType(place)) {
        node->attributes.front().value =
            convertTo(what->attributes.front().type, defaultValue(place)).value_or(node->attributes.front().value);
    }
    Node* dropped = pins[index].owned ? pins[index].input : nullptr;
    detach(index);
    pins[index].value = defaultValue(place);
    attach(index, node, true);
    if (dropped) {
        destroyItems({dropped});
    }
    journal(JOURNAL_CREATE, &node->handle, type);
    journal(JOURNAL_CONNECT, &handle, schema.type, place.id, index);
    markChanged();
    if (withNodes) {
        node->configure();
    }
    return node;
}

Node* Node::connected(unsigned index) {
    Pin& pin = pins[index];
    if (pin.input || !pin.configured) {
        return pin.input;
    }
    const NodeSchema* what = nodeSchema(valueNodeType(pinSchema(index)));
    if (!what) {
        return nullptr;
    }
    // The node says what the pin said before, so nothing has changed for anybody.
    auto* node = new Node(*what, scene);
    node->implied = true;
    node->attributes.front().value =
        convertTo(what->attributes.front().type, pin.value).value_or(node->attributes.front().value);
    attach(index, node, true);
    return node;
}

Node* Node::input(unsigned index) {
    return throughLinkers(connected(index));
}

void Node::configure() {
    for (unsigned i = 0; i < pins.size(); ++i) {
        if (pins[i].input) {
            continue;
        }
        pins[i].configured = true;
        if (const NodeType type = pinSchema(i).defaultNode; type != NT_UNKNOWN) {
            createInside(i, type, true);
        }
    }
}

// --- Values ---------------------------------------------------------------------------------------------------------

Value Node::pinValue(unsigned index) const {
    const Node* source = throughLinkers(pins[index].input);
    if (source && source->schema.role == NodeRole::Value) {
        return source->attributes.front().value;
    }
    return pins[index].value;
}

bool Node::setPinValue(unsigned index, const Value& value) {
    Pin& pin = pins[index];
    const PinSchema& place = pinSchema(index);
    Node* source = throughLinkers(pin.input);
    if (!isFinite(value)) {
        logLine(LOGLEVEL_ERRORS, "Pin '%s' of %s: the value is not finite.", pinName(index), label().c_str());
        return false;
    }
    std::optional<Value> converted;
    if (source && source->schema.role == NodeRole::Value) {
        const AttributeType type = source->schema.attributes.front().type;
        converted = place.dimension > 0 && place.type != PT_TEXTURE ? convertTo(place, value) : value;
        converted = converted ? convertTo(type, *converted) : std::nullopt;
    } else if (!pin.input) {
        converted = convertTo(place, value);
    }
    if (!converted) {
        logLine(LOGLEVEL_ERRORS, "Pin '%s' of %s does not take %s%s.", pinName(index), label().c_str(),
                valueTypeName(value), pin.input ? " with what is connected to it" : "");
        return false;
    }
    if (source) {
        Attribute& attribute = source->attributes.front();
        if (attribute.value == *converted && !attribute.sampling) {
            return true;
        }
        attribute.value = std::move(*converted);
        attribute.sampling = nullptr;
        source->markChanged();
    } else {
        if (pin.value == *converted) {
            return true;
        }
        pin.value = std::move(*converted);
        markChanged();
    }
    journal(JOURNAL_PIN, &handle, schema.type, place.id, index);
    return true;
}

bool Node::setAttribute(unsigned index, Value value, std::shared_ptr<const TimeSampling> sampling, bool evaluateNow) {
    const AttributeId id = schema.attributes[index].id;
    Attribute& attribute = attributes[index];
    attribute.value = std::move(value);
    attribute.sampling = std::move(sampling);
    journal(JOURNAL_ATTRIBUTE, &handle, schema.type, id);
    markChanged();
    if (id == A_GROUP_PIN_COUNT || id == A_PIN_COUNT || id == A_MATERIAL_NAMES || id == A_OBJECT_NAMES ||
        id == A_RELOAD) {
        needsEvaluation();
    }
    if (evaluateNow && unevaluated) {
        evaluate();
    }
    return true;
}

void Node::clearAttributes() {
    for (unsigned i = 0; i < attributes.size(); ++i) {
        Value value = defaultValue(schema.attributes[i]);
        if (attributes[i].value != value || attributes[i].sampling) {
            setAttribute(i, std::move(value), nullptr, false);
        }
    }
}

// --- Evaluation -----------------------------------------------------------------------------------------------------

void Node::needsEvaluation() {
    if (!unevaluated) {
        unevaluated = true;
        scene->unevaluated.push_back(this);
    }
}

void Node::evaluate() {
    if (unevaluated) {
        unevaluated = false;
        std::vector<Node*>& list = scene->unevaluated;
        const auto found = std::find(list.rbegin(), list.rend(), this);
        if (found != list.rend()) {
            *found = list.back();
            list.pop_back();
        }
    }
    const int reload = schema.attributeIndex(A_RELOAD);
    if (reload >= 0 && asBool(attributes[static_cast<std::size_t>(reload)].value)) {
        attributes[static_cast<std::size_t>(reload)].value = Value(false);
        ++reloads;
        markChanged();
    }
    if (schema.dynamic != DynamicPins::None && updateDynamicPins()) {
        markChanged();
    }
    updateLayerMaps();
}

unsigned Node::wantedDynamicPins() const {
    const auto countAttribute = [this](AttributeId id) {
        return static_cast<unsigned>(
            std::max(0, asInt(attributes[static_cast<std::size_t>(schema.attributeIndex(id))].value)));
    };
    const auto arrayAttribute = [](const Node& node, AttributeId id) {
        return static_cast<unsigned>(
            arraySize(node.attributes[static_cast<std::size_t>(node.schema.attributeIndex(id))].value));
    };
    switch (schema.dynamic) {
        case DynamicPins::Group:
            return countAttribute(A_GROUP_PIN_COUNT);
        case DynamicPins::Gradient:
            return 2 * countAttribute(A_PIN_COUNT);
        case DynamicPins::Mesh:
            return arrayAttribute(*this, A_MATERIAL_NAMES);
        case DynamicPins::LayerMap: {
            const Node* geometry = throughLinkers(pins.front().input);
            if (!geometry) {
                return static_cast<unsigned>(pins.size()) - staticPins();
            }
            // A mesh has a layer for each of its objects, other geometry one for all of it.
            return geometry->schema.type == NT_GEO_MESH ? std::max(1u, arrayAttribute(*geometry, A_OBJECT_NAMES)) : 1u;
        }
        default:
            return 0;
    }
}

bool Node::updateDynamicPins() {
    const unsigned base = staticPins(), had = static_cast<unsigned>(pins.size()) - base, wanted = wantedDynamicPins();
    SharedArray<std::string> names;
    if (schema.dynamic == DynamicPins::Mesh) {
        names = std::get<SharedArray<std::string>>(
            attributes[static_cast<std::size_t>(schema.attributeIndex(A_MATERIAL_NAMES))].value);
        if (names == pinNames || (names && pinNames && *names == *pinNames)) {
            pinNames = names;
            return false;
        }
    } else if (had == wanted) {
        return false;
    }

    // Where each old pin goes: a pin keeps its connection by its name, a renamed one by its place.
    constexpr unsigned kGone = ~0u;
    std::vector<unsigned> target(had, kGone);
    std::vector<bool> taken(wanted, false);
    for (unsigned i = 0; i < std::min(had, wanted); ++i) {
        if (!names || !pinNames || (*names)[i] == (*pinNames)[i]) {
            target[i] = i;
            taken[i] = true;
        }
    }
    if (names && pinNames) {
        for (unsigned i = 0; i < had; ++i) {
            if (target[i] != kGone || !pins[base + i].input) {
                continue;
            }
            for (unsigned j = 0; j < wanted; ++j) {
                if (!taken[j] && (*names)[j] == (*pinNames)[i]) {
                    target[i] = j;
                    taken[j] = true;
                    break;
                }
            }
        }
        for (unsigned i = 0; i < std::min(had, wanted); ++i) {
            if (target[i] == kGone && !taken[i]) {
                target[i] = i;
                taken[i] = true;
            }
        }
    }

    std::vector<Item*> dropped;
    for (unsigned i = 0; i < had; ++i) {
        if (target[i] == kGone) {
            if (pins[base + i].owned) {
                dropped.push_back(pins[base + i].input);
            }
            detach(base + i);
        }
    }
    std::vector<Pin> fresh(base + wanted);
    std::move(pins.begin(), pins.begin() + base, fresh.begin());
    for (unsigned i = 0; i < had; ++i) {
        if (target[i] != kGone) {
            fresh[base + target[i]] = std::move(pins[base + i]);
        }
    }
    pins = std::move(fresh);
    pinNames = names;
    for (unsigned i = base; i < pins.size(); ++i) {
        Pin& pin = pins[i];
        if (pin.input) {
            pin.input->uses[pin.useIndex].pin = i;
            if (pin.owned) {
                pin.input->pinOwnerIndex = i;
            }
        } else if (std::holds_alternative<std::monostate>(pin.value)) {
            pin.value = defaultValue(pinSchema(i));
        }
    }
    destroyItems(dropped);
    return true;
}

void Node::updateLayerMaps() {
    if (schema.output != PT_GEOMETRY) {
        return;
    }
    std::vector<Node*> walk{this};
    while (!walk.empty()) {
        Node* node = walk.back();
        walk.pop_back();
        for (const Use& use : std::vector<Use>(node->uses)) {
            if (use.node->schema.role == NodeRole::Linker) {
                walk.push_back(use.node);
            } else if (use.node->schema.dynamic == DynamicPins::LayerMap && use.node->updateDynamicPins()) {
                use.node->markChanged();
            }
        }
    }
}

}  // namespace Lumora::engine
