// What the graph hands to the render side: immutable records of nodes, and the difference between two states.
//
// ApiChangeManager::update() turns every item that changed since the last call into a NodeRecord. Large arrays are
// shared, never copied: an attribute that did not change has the same pointer in the old and the new record, so the
// render side finds what changed by comparing pointers. Records are immutable and may be read on any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace Lumora::engine {

/// Identity of an item for the life of the process. Never used twice; 0 is no item.
using ItemUid = std::uint64_t;

/// An array that is written once and shared from then on. Null stands for an empty array. Arrays of Vec3<float> have
/// room behind their last element, so that 16 bytes can be loaded from every element.
template <typename T>
using SharedArray = std::shared_ptr<const std::vector<T>>;

using Value = std::variant<std::monostate, bool, int, Vec2<int>, float, Vec2<float>, Vec3<float>, std::string,
                           SharedArray<int>, SharedArray<float>, SharedArray<unsigned char>, SharedArray<Vec2<float>>,
                           SharedArray<Vec3<float>>, SharedArray<Matrix<float>>, SharedArray<std::string>>;

/// A plain value node (NT_FLOAT, NT_INT, NT_BOOL, NT_ENUM, NT_STRING, NT_FILE) on a pin has no record of its own: its
/// value is the pin's value, in the pin's type. Only when it is animated does it have a record and stands in `input`
/// too.
struct PinRecord {
    PinId id{};         ///< P_*; dynamic pins have P_DYNAMIC
    ItemUid input = 0;  ///< the connected node, linkers already followed to the node that produces the value; 0: none
    Value value;        ///< the pin's own value, used when nothing is connected; monostate on pure link pins
};

/// The time points of an animated attribute, seconds.
struct TimeSampling {
    std::vector<float> times;
    float period = 0;  ///< of a looping animation; 0: from the first to the last time point
    float endTime = 0;
    AnimationType type{};
    friend bool operator==(const TimeSampling&, const TimeSampling&) = default;
};

struct AttributeRecord {
    AttributeId id{};
    Value value;  ///< animated: an array; element after element, each with times.size() samples
    std::shared_ptr<const TimeSampling> sampling;  ///< null when not animated
};

struct NodeRecord {
    ItemUid uid = 0;
    NodeType type{};
    std::string name;
    std::vector<PinRecord> pins;  ///< static pins in schema order, then the dynamic ones
    std::uint32_t staticPinCount = 0;
    std::uint32_t reloads = 0;                ///< grows when the node's file is to be read again
    std::vector<AttributeRecord> attributes;  ///< every attribute of the type, in schema order

    /// The pin of that id or null. Static pins only.
    const PinRecord* pin(PinId id) const;
    /// The attribute's value or null when the type has no such attribute.
    const Value* attribute(AttributeId id) const;
    /// Typed forms: the value when present and of that type, else the fallback.
    template <typename T>
    T pinValue(PinId id, T fallback) const {
        const PinRecord* p = pin(id);
        const T* v = p ? std::get_if<T>(&p->value) : nullptr;
        return v ? *v : fallback;
    }
    template <typename T>
    T attributeValue(AttributeId id, T fallback) const {
        const Value* value = attribute(id);
        const T* v = value ? std::get_if<T>(value) : nullptr;
        return v ? *v : fallback;
    }
    ItemUid input(PinId id) const {
        const PinRecord* p = pin(id);
        return p ? p->input : 0;
    }
};

using NodeRecordPtr = std::shared_ptr<const NodeRecord>;

/// What changed between two updates. A record replaces the record of the same uid.
struct SceneDelta {
    std::uint64_t changeLevel = 0;
    ItemUid renderTarget = 0;  ///< the render target in force; 0: none
    std::vector<NodeRecordPtr> changed;
    std::vector<ItemUid> removed;
    int clayMode = 0;
    int subSampleMode = 1;
    float time = 0;  ///< seconds, of the project
    float fps = 25;  ///< frames a second
};

}  // namespace Lumora::engine
