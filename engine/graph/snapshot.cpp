// Marks of change, and the records that updates are made of.
#include <algorithm>

#include "engine/graph/item.h"
#include "engine/graph/value.h"

namespace Lumora::engine {

bool Node::plainValue() const {
    return schema.role == NodeRole::Value && !attributes.front().sampling;
}

bool Node::hasRecord() const {
    return schema.role != NodeRole::Linker && !plainValue();
}

void Node::addPending() {
    if (!pending) {
        pending = true;
        pendingIndex = static_cast<std::uint32_t>(scene->pending.size());
        scene->pending.push_back(this);
    }
}

void Node::dropPending() {
    if (pending) {
        pending = false;
        Node* moved = scene->pending.back();
        scene->pending[pendingIndex] = moved;
        moved->pendingIndex = pendingIndex;
        scene->pending.pop_back();
    }
}

void Node::markChanged() {
    // Linkers and plain values are part of the records of those that they feed.
    std::vector<Node*> walk;
    for (Node* node = this; node;) {
        node->changed = true;
        if (node->liveRefs > 0 || node->sent) {
            node->addPending();
        }
        if (node->schema.role != NodeRole::Normal) {
            for (const Use& use : node->uses) {
                walk.push_back(use.node);
            }
        }
        node = walk.empty() ? nullptr : walk.back();
        if (node) {
            walk.pop_back();
        }
    }
}

void Node::addLive(int references) {
    struct Step {
        Node* node;
        int references;
    };
    std::vector<Step> walk{{this, references}};
    while (!walk.empty()) {
        const Step step = walk.back();
        walk.pop_back();
        Node* node = step.node;
        const bool was = node->liveRefs > 0;
        node->liveRefs = static_cast<std::uint32_t>(static_cast<int>(node->liveRefs) + step.references);
        const bool is = node->liveRefs > 0;
        if (was == is) {
            continue;
        }
        node->addPending();
        for (const Pin& pin : node->pins) {
            if (pin.input) {
                walk.push_back({pin.input, is ? 1 : -1});
            }
        }
    }
}

namespace {

/// What a plain value node gives to a pin.
Value givenTo(const PinSchema& pin, const Value& value) {
    switch (pin.type) {
        case PT_BOOL:
            return asBool(value);
        case PT_INT:
        case PT_ENUM:
            return pin.dimension == 2 ? Value(asInt2(value)) : Value(asInt(value));
        case PT_FLOAT:
            return pin.dimension == 1 ? Value(asFloat(value))
                                      : (pin.dimension == 2 ? Value(asFloat2(value)) : Value(asFloat3(value)));
        case PT_TEXTURE: {
            const Vec3<float> v = asFloat3(value);
            return pin.dimension == 3 || v.x != v.y || v.y != v.z ? Value(v) : Value(v.x);
        }
        default:
            return value;
    }
}

}  // namespace

NodeRecordPtr Node::makeRecord() const {
    auto record = std::make_shared<NodeRecord>();
    record->uid = uid;
    record->type = schema.type;
    record->name = name;
    record->staticPinCount = staticPins();
    record->reloads = reloads;
    record->pins.resize(pins.size());
    for (unsigned i = 0; i < pins.size(); ++i) {
        PinRecord& pin = record->pins[i];
        pin.id = pinSchema(i).id;
        pin.value = pins[i].value;
        const Node* source = throughLinkers(pins[i].input);
        if (!source) {
            continue;
        }
        if (source->schema.role == NodeRole::Value) {
            pin.value = givenTo(pinSchema(i), source->attributes.front().value);
        }
        pin.input = source->hasRecord() ? source->uid : 0;
    }
    record->attributes.resize(attributes.size());
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        record->attributes[i] = {schema.attributes[i].id, attributes[i].value, attributes[i].sampling};
    }
    return record;
}

void setSceneTarget(Scene& scene, Node* target) {
    if (scene.target == target) {
        return;
    }
    Node* old = scene.target;
    scene.target = target;
    // The new one first: what both lead to stays as it is.
    if (target) {
        target->addLive(1);
    }
    if (old) {
        old->addLive(-1);
    }
}

bool takeDelta(Scene& scene, SceneDelta& delta) {
    delta = {};
    while (!scene.unevaluated.empty()) {
        Node* node = scene.unevaluated.back();
        scene.unevaluated.pop_back();
        node->unevaluated = false;
        node->evaluate();
    }
    delta.removed = std::move(scene.removed);
    scene.removed.clear();
    for (Node* node : scene.pending) {
        node->pending = false;
        const bool wanted = node->liveRefs > 0 && node->hasRecord();
        if (wanted && (node->changed || !node->sent)) {
            delta.changed.push_back(node->makeRecord());
        } else if (!wanted && node->sent) {
            delta.removed.push_back(node->uid);
        }
        // Only what was handed over counts as handed over: a dead node stays changed until it lives again.
        node->sent = wanted;
        node->changed = node->changed && !wanted;
    }
    scene.pending.clear();
    delta.renderTarget = scene.target ? scene.target->uid : 0;
    const bool otherTarget = delta.renderTarget != scene.sentTarget;
    scene.sentTarget = delta.renderTarget;
    return otherTarget || !delta.changed.empty() || !delta.removed.empty();
}

bool hasDelta(const Scene& scene) {
    const bool written = std::any_of(scene.pending.begin(), scene.pending.end(), [](const Node* node) {
        const bool wanted = node->liveRefs > 0 && node->hasRecord();
        return wanted ? node->changed || !node->sent : node->sent;
    });
    return written || !scene.removed.empty() || (scene.target ? scene.target->uid : 0) != scene.sentTarget;
}

SceneDelta wholeDelta(Node* top) {
    SceneDelta delta;
    delta.renderTarget = top->uid;
    const std::uint64_t mark = nextVisit();
    std::vector<Node*> walk{top};
    top->visit = mark;
    while (!walk.empty()) {
        Node* node = walk.back();
        walk.pop_back();
        if (node->hasRecord()) {
            delta.changed.push_back(node->makeRecord());
        }
        for (const Pin& pin : node->pins) {
            if (pin.input && pin.input->visit != mark) {
                pin.input->visit = mark;
                walk.push_back(pin.input);
            }
        }
    }
    return delta;
}

}  // namespace Lumora::engine
