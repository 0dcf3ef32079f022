// ApiItem over the engine's items.
#include <cmath>
#include <cstring>
#include <limits>
#include <unordered_set>

#include "engine/api/large_pages.h"
#include "engine/graph/item.h"
#include "engine/graph/journal.h"
#include "engine/graph/log.h"
#include "engine/graph/value.h"

namespace Lumora {

using namespace engine;

namespace {

constexpr std::size_t kMaxElements = std::numeric_limits<int>::max();
constexpr int kMaxDynamicPins = 1 << 22;

/// The attribute of a node, or null with a line in the log.
struct Place {
    Node* node = nullptr;
    unsigned index = 0;
    explicit operator bool() const { return node != nullptr; }
    const AttributeSchema& schema() const { return node->schema.attributes[index]; }
    const Attribute& attribute() const { return node->attributes[index]; }
};

Place placeOf(const ApiItem* api, AttributeId id) {
    Item* item = Item::of(api);
    Node* node = item->node();
    const int index = node ? node->schema.attributeIndex(id) : -1;
    if (index < 0) {
        logLine(LOGLEVEL_ERRORS, "%s has no attribute %d.", item->label().c_str(), static_cast<int>(id));
        return {};
    }
    return {node, static_cast<unsigned>(index)};
}

Place placeOf(const ApiItem* api, const char* name) {
    Item* item = Item::of(api);
    if (Node* node = item->node(); node && name) {
        for (unsigned i = 0; i < node->schema.attributes.size(); ++i) {
            if (std::strcmp(node->schema.attributes[i].name, name) == 0) {
                return {node, i};
            }
        }
    }
    logLine(LOGLEVEL_ERRORS, "%s has no attribute '%s'.", item->label().c_str(), name ? name : "");
    return {};
}

Place placeAt(const ApiItem* api, unsigned index) {
    Item* item = Item::of(api);
    Node* node = item->node();
    if (node && index < node->attributes.size()) {
        return {node, index};
    }
    logLine(LOGLEVEL_ERRORS, "%s has no attribute at index %u.", item->label().c_str(), index);
    return {};
}

/// Reads a plain attribute; empty, with a line in the log, when it holds an array of its own right.
const Value& plain(const Place& place) {
    static const Value kNothing;
    if (!place) {
        return kNothing;
    }
    if (isArrayType(place.schema().type)) {
        logLine(LOGLEVEL_ERRORS, "Attribute '%s' of %s is an array.", place.schema().name, place.node->label().c_str());
        return kNothing;
    }
    return place.attribute().value;
}

bool refuse(const Place& place, const char* why) {
    logLine(LOGLEVEL_ERRORS, "Attribute '%s' of %s: %s.", place.schema().name, place.node->label().c_str(), why);
    return false;
}

bool write(const Place& place, const Value& value, bool evaluate) {
    if (!place) {
        return false;
    }
    std::optional<Value> converted = convertTo(place.schema().type, value);
    if (!converted) {
        return refuse(place, (std::string("does not take ") + valueTypeName(value)).c_str());
    }
    if (!isFinite(value)) {
        return refuse(place, "the value is not finite");
    }
    if (const AttributeId id = place.schema().id; id == A_GROUP_PIN_COUNT || id == A_PIN_COUNT) {
        if (const int pins = asInt(*converted); pins < 0 || pins > kMaxDynamicPins) {
            return refuse(place, ("a node cannot have " + std::to_string(pins) + " pins").c_str());
        }
    }
    if (place.attribute().value == *converted && !place.attribute().sampling) {
        if (evaluate && place.node->unevaluated) {
            place.node->evaluate();
        }
        return true;
    }
    return place.node->setAttribute(place.index, std::move(*converted), nullptr, evaluate);
}

template <typename T>
SharedArray<T> copyArray(const T* values, std::size_t count) {
    if (count == 0) {
        return nullptr;
    }
    auto copy = std::make_shared<std::vector<T>>();
    // Room for a 16-byte load of the last element.
    copy->reserve(count + (16 + sizeof(T) - 1) / sizeof(T));
    adviseLargePages(copy->data(), copy->capacity() * sizeof(T));
    copy->assign(values, values + count);
    return copy;
}

template <typename T>
bool sameArray(const SharedArray<T>& stored, const T* values, std::size_t count) {
    const std::size_t size = stored ? stored->size() : 0;
    if (size != count) {
        return false;
    }
    if constexpr (std::is_trivially_copyable_v<T>) {
        return count == 0 || std::memcmp(stored->data(), values, count * sizeof(T)) == 0;
    } else {
        return std::equal(values, values + count, stored ? stored->begin() : std::vector<T>().begin());
    }
}

bool usableArray(const Place& place, const void* values, std::size_t count) {
    if (count > 0 && !values) {
        return refuse(place, "null array");
    }
    return count <= kMaxElements || refuse(place, "too many elements");
}

template <typename T>
bool writeArray(const Place& place, const T* values, std::size_t count, bool evaluate,
                std::shared_ptr<const TimeSampling> sampling = nullptr) {
    if (!place || !usableArray(place, values, count)) {
        return false;
    }
    const auto* stored = std::get_if<SharedArray<T>>(&place.attribute().value);
    const bool single = sampling && !isArrayType(place.schema().type);  // one animated value
    if (!stored && !single) {
        return refuse(place, (std::string("does not take ") + valueTypeName(Value(SharedArray<T>()))).c_str());
    }
    const std::shared_ptr<const TimeSampling>& had = place.attribute().sampling;
    const bool sameTimes = had && sampling ? *had == *sampling : !had && !sampling;
    if (stored && sameTimes && sameArray(*stored, values, count)) {
        if (evaluate && place.node->unevaluated) {
            place.node->evaluate();
        }
        return true;
    }
    return place.node->setAttribute(place.index, Value(copyArray(values, count)), std::move(sampling), evaluate);
}

template <typename T>
bool writeAnimated(const Place& place, const ApiTimeSampling& times, std::size_t sampleCount, const T* values,
                   std::size_t count, bool evaluate) {
    if (!place || !usableArray(place, values, count)) {
        return false;
    }
    if (sampleCount == 0 || sampleCount != times.count || !times.times || count == 0 || count % sampleCount != 0) {
        return refuse(place, "the number of values does not fit the number of time samples");
    }
    for (std::size_t i = 0; i < times.count; ++i) {
        if (!std::isfinite(times.times[i]) || (i > 0 && !(times.times[i] > times.times[i - 1]))) {
            return refuse(place, "the time points do not rise");
        }
    }
    const bool animatable = isArrayType(place.schema().type) || place.schema().type == AT_FLOAT3;
    if (!animatable || (place.schema().type == AT_FLOAT3 && count != sampleCount)) {
        return refuse(place, "cannot be animated in this way");
    }
    auto sampling = std::make_shared<TimeSampling>();
    sampling->times.assign(times.times, times.times + times.count);
    sampling->period = times.period;
    sampling->endTime = times.endTime == ApiTimeSampling::endTimeAuto() ? sampling->times.back() : times.endTime;
    sampling->type = times.type;
    return writeArray(place, values, count, evaluate, std::move(sampling));
}

template <typename T>
ApiArray<const T> readArray(const Place& place) {
    if (!place) {
        return {};
    }
    const auto* stored = std::get_if<SharedArray<T>>(&place.attribute().value);
    if (!stored) {
        refuse(place, "is no array of that type");
        return {};
    }
    return *stored ? ApiArray<const T>{(*stored)->data(), (*stored)->size()} : ApiArray<const T>{};
}

}  // namespace

float ApiTimeSampling::endTimeAuto() {
    return -std::numeric_limits<float>::max();
}

// --- Lifetime -------------------------------------------------------------------------------------------------------

void ApiItem::destroy() {
    LUMORA_GRAPH_GUARD;
    destroyItems({item_});
}

void ApiItem::evaluate() {
    LUMORA_GRAPH_GUARD;
    std::vector<Item*> walk{item_};
    while (!walk.empty()) {
        Item* item = walk.back();
        walk.pop_back();
        if (Graph* graph = item->graph()) {
            const std::vector<Item*> items = graph->items();
            walk.insert(walk.end(), items.begin(), items.end());
        } else {
            journal(JOURNAL_EVALUATE, item->api(), item->nodeType());
            item->node()->evaluate();
        }
    }
}

void ApiItem::deleteUnconnectedItems() {
    LUMORA_GRAPH_GUARD;
    Graph* graph = item_->graph();
    if (!graph) {
        return;
    }
    // Kept: what an output, a render target or anything outside of the graph needs, with all that feeds it.
    const std::uint64_t mark = nextVisit();
    std::vector<Node*> walk;
    const auto keep = [&](Node* node) {
        if (node->visit != mark) {
            node->visit = mark;
            walk.push_back(node);
        }
    };
    std::vector<Item*> all = graph->items();
    for (Item* item : all) {
        Node* node = item->node();
        if (!node) {
            continue;
        }
        bool needed = node->schema.outputLinker || node->schema.type == NT_RENDER_TARGET;
        for (const Use& use : node->uses) {
            const Item* user = use.node;
            while (user->pinOwner) {
                user = user->pinOwner;
            }
            needed = needed || user->owner != graph;
        }
        if (needed) {
            keep(node);
        }
    }
    while (!walk.empty()) {
        Node* node = walk.back();
        walk.pop_back();
        for (const Pin& pin : node->pins) {
            if (pin.input) {
                keep(pin.input);
            }
        }
    }
    std::erase_if(all, [mark](Item* item) { return item->graph() || item->visit == mark; });
    destroyItems(all);
}

void ApiItem::clearAllAttr(bool evaluate) {
    LUMORA_GRAPH_GUARD;
    if (Node* node = item_->node()) {
        node->clearAttributes();
        if (evaluate) {
            node->evaluate();
        }
    }
}

// --- Identity -------------------------------------------------------------------------------------------------------

const char* ApiItem::name() const {
    LUMORA_GRAPH_GUARD;
    return item_->name.c_str();
}

void ApiItem::setName(const char* name) {
    LUMORA_GRAPH_GUARD;
    item_->name = name ? name : "";
}

bool ApiItem::isGraph() const {
    return item_->kind == Item::Kind::Graph;
}

bool ApiItem::isNode() const {
    return item_->kind == Item::Kind::Node;
}

ApiNodeGraph* ApiItem::toGraph() const {
    Graph* graph = item_->graph();
    return graph ? &graph->handle : nullptr;
}

ApiNode* ApiItem::toNode() const {
    Node* node = item_->node();
    return node ? &node->handle : nullptr;
}

ApiNodeGraph* ApiItem::graphOwner() const {
    LUMORA_GRAPH_GUARD;
    return item_->owner ? &item_->owner->handle : nullptr;
}

bool ApiItem::graphOwned() const {
    LUMORA_GRAPH_GUARD;
    return item_->owner != nullptr;
}

bool ApiItem::isOutputLinker() const {
    Node* node = item_->node();
    return node && node->schema.outputLinker;
}

ApiNode* ApiItem::pinOwner(unsigned& pinIndex) const {
    LUMORA_GRAPH_GUARD;
    if (!item_->pinOwner) {
        return nullptr;
    }
    pinIndex = item_->pinOwnerIndex;
    return &item_->pinOwner->handle;
}

Vec2<float> ApiItem::position() const {
    LUMORA_GRAPH_GUARD;
    return item_->position;
}

float ApiItem::time() const {
    LUMORA_GRAPH_GUARD;
    return item_->scene->time;
}

void ApiItem::collectItemTree(ApiItemArray& items) const {
    LUMORA_GRAPH_GUARD;
    Item::fill(items, itemTree(item_));
}

// --- User data ------------------------------------------------------------------------------------------------------

void ApiItem::setPluginData(void* data) {
    LUMORA_GRAPH_GUARD;
    item_->pluginData = data;
}

void* ApiItem::pluginData() const {
    LUMORA_GRAPH_GUARD;
    return item_->pluginData;
}

void ApiItem::setPluginDataStr(const char* text) {
    LUMORA_GRAPH_GUARD;
    item_->pluginText = text ? text : "";
}

const char* ApiItem::pluginDataStr() const {
    LUMORA_GRAPH_GUARD;
    return item_->pluginText.c_str();
}

// --- Attribute reflection -------------------------------------------------------------------------------------------

unsigned ApiItem::attrCount() const {
    Node* node = item_->node();
    return node ? static_cast<unsigned>(node->schema.attributes.size()) : 0;
}

const char* ApiItem::attrNameIx(unsigned index) const {
    return index < attrCount() ? item_->node()->schema.attributes[index].name : "";
}

AttributeType ApiItem::attrTypeIx(unsigned index) const {
    return index < attrCount() ? item_->node()->schema.attributes[index].type : AT_UNKNOWN;
}

AttributeId ApiItem::attrIdIx(unsigned index) const {
    return index < attrCount() ? item_->node()->schema.attributes[index].id : A_UNKNOWN;
}

bool ApiItem::hasAttr(AttributeId id) const {
    Node* node = item_->node();
    return node && node->schema.attributeIndex(id) >= 0;
}

// --- Attribute read -------------------------------------------------------------------------------------------------

#define LUMORA_READ(Type, function, reader)        \
    Type ApiItem::function(AttributeId id) const { \
        LUMORA_GRAPH_GUARD;                        \
        return reader(plain(placeOf(this, id)));   \
    }
LUMORA_READ(bool, getBool, asBool)
LUMORA_READ(int, getInt, asInt)
LUMORA_READ(Vec2<int>, getInt2, asInt2)
LUMORA_READ(float, getFloat, asFloat)
LUMORA_READ(Vec2<float>, getFloat2, asFloat2)
LUMORA_READ(Vec3<float>, getFloat3, asFloat3)
LUMORA_READ(const char*, getString, asString)
#undef LUMORA_READ

#define LUMORA_READ_NAME(Type, function, reader)     \
    Type ApiItem::function(const char* name) const { \
        LUMORA_GRAPH_GUARD;                          \
        return reader(plain(placeOf(this, name)));   \
    }
LUMORA_READ_NAME(bool, getBool, asBool)
LUMORA_READ_NAME(int, getInt, asInt)
LUMORA_READ_NAME(Vec2<int>, getInt2, asInt2)
LUMORA_READ_NAME(Vec3<float>, getFloat3, asFloat3)
#undef LUMORA_READ_NAME

#define LUMORA_READ_INDEX(Type, function, reader)   \
    Type ApiItem::function(unsigned index) const {  \
        LUMORA_GRAPH_GUARD;                         \
        return reader(plain(placeAt(this, index))); \
    }
LUMORA_READ_INDEX(bool, getBoolIx, asBool)
LUMORA_READ_INDEX(int, getIntIx, asInt)
LUMORA_READ_INDEX(float, getFloatIx, asFloat)
LUMORA_READ_INDEX(Vec3<float>, getFloat3Ix, asFloat3)
#undef LUMORA_READ_INDEX

bool ApiItem::get(AttributeId id, int& value) const {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    if (place) {
        value = asInt(plain(place));
    }
    return static_cast<bool>(place);
}

bool ApiItem::get(AttributeId id, float& value) const {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    if (place) {
        value = asFloat(plain(place));
    }
    return static_cast<bool>(place);
}

bool ApiItem::get(AttributeId id, Vec3<float>& value) const {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    if (place) {
        value = asFloat3(plain(place));
    }
    return static_cast<bool>(place);
}

#define LUMORA_READ_ARRAY(Type, function)                          \
    ApiArray<const Type> ApiItem::function(AttributeId id) const { \
        LUMORA_GRAPH_GUARD;                                        \
        return readArray<Type>(placeOf(this, id));                 \
    }
LUMORA_READ_ARRAY(Matrix<float>, getMatrixArray)
LUMORA_READ_ARRAY(Vec3<float>, getFloat3Array)
LUMORA_READ_ARRAY(Vec2<float>, getFloat2Array)
LUMORA_READ_ARRAY(float, getFloatArray)
LUMORA_READ_ARRAY(int, getIntArray)
LUMORA_READ_ARRAY(unsigned char, getByteArray)
#undef LUMORA_READ_ARRAY

const char* ApiItem::getStringArrayEntry(AttributeId id, unsigned index) const {
    LUMORA_GRAPH_GUARD;
    const ApiArray<const std::string> strings = readArray<std::string>(placeOf(this, id));
    return index < strings.size ? strings[index].c_str() : nullptr;
}

std::size_t ApiItem::getArraySize(AttributeId id) const {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    return place ? arraySize(place.attribute().value) : 0;
}

unsigned ApiItem::getSampleCount(AttributeId id) const {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    return place && place.attribute().sampling ? static_cast<unsigned>(place.attribute().sampling->times.size()) : 1;
}

// --- Attribute write ------------------------------------------------------------------------------------------------

#define LUMORA_WRITE(Type)                                         \
    bool ApiItem::set(AttributeId id, Type value, bool evaluate) { \
        LUMORA_GRAPH_GUARD;                                        \
        return write(placeOf(this, id), Value(value), evaluate);   \
    }
LUMORA_WRITE(bool)
LUMORA_WRITE(int)
LUMORA_WRITE(float)
LUMORA_WRITE(Vec2<int>)
LUMORA_WRITE(Vec2<float>)
LUMORA_WRITE(Vec3<float>)
#undef LUMORA_WRITE

bool ApiItem::set(AttributeId id, const char* value, bool evaluate) {
    LUMORA_GRAPH_GUARD;
    return write(placeOf(this, id), Value(std::string(value ? value : "")), evaluate);
}

#define LUMORA_WRITE_ARRAY(Type)                                                              \
    bool ApiItem::set(AttributeId id, const Type* values, std::size_t count, bool evaluate) { \
        LUMORA_GRAPH_GUARD;                                                                   \
        return writeArray(placeOf(this, id), values, count, evaluate);                        \
    }
LUMORA_WRITE_ARRAY(int)
LUMORA_WRITE_ARRAY(unsigned char)
LUMORA_WRITE_ARRAY(Vec2<float>)
LUMORA_WRITE_ARRAY(Vec3<float>)
LUMORA_WRITE_ARRAY(Matrix<float>)
#undef LUMORA_WRITE_ARRAY

bool ApiItem::set(AttributeId id, const float* values, std::size_t count, bool evaluate) {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    if (place && place.schema().type == AT_BYTE_ARRAY) {
        // Pixels of a float image.
        return usableArray(place, values, count) &&
               writeArray(place, reinterpret_cast<const unsigned char*>(values), count * sizeof(float), evaluate);
    }
    return writeArray(place, values, count, evaluate);
}

bool ApiItem::set(AttributeId id, const char* const* values, std::size_t count, bool evaluate) {
    LUMORA_GRAPH_GUARD;
    const Place place = placeOf(this, id);
    if (!place || !usableArray(place, values, count)) {
        return false;
    }
    std::vector<std::string> strings;
    strings.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        strings.emplace_back(values[i] ? values[i] : "");
    }
    return writeArray(place, strings.data(), count, evaluate);
}

bool ApiItem::setAnim(AttributeId id, const ApiTimeSampling& sampling, std::size_t sampleCount,
                      const Vec3<float>* values, std::size_t count, bool evaluate) {
    LUMORA_GRAPH_GUARD;
    return writeAnimated(placeOf(this, id), sampling, sampleCount, values, count, evaluate);
}

bool ApiItem::setAnim(AttributeId id, const ApiTimeSampling& sampling, const Vec3<float>* values, std::size_t count,
                      bool evaluate) {
    LUMORA_GRAPH_GUARD;
    return writeAnimated(placeOf(this, id), sampling, count, values, count, evaluate);
}

bool ApiItem::setAnim(AttributeId id, const ApiTimeSampling& sampling, std::size_t sampleCount,
                      const Matrix<float>* values, std::size_t count, bool evaluate) {
    LUMORA_GRAPH_GUARD;
    return writeAnimated(placeOf(this, id), sampling, sampleCount, values, count, evaluate);
}

}  // namespace Lumora
