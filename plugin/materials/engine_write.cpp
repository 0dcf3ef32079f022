#include "plugin/materials/engine_write.h"

#include <atomic>
#include <cstring>

namespace lumora {

namespace {

// Equality as the engine will see it: bits for zero signs do not matter, a NaN differs from everything and is written.
template <typename T>
bool sameValues(const T* a, const T* b, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i)
        if (!(a[i] == b[i])) return false;
    return true;
}

template <typename T>
bool setAttr(ApiItem* item, AttributeId id, const T& held, const T& value, bool evaluate) {
    if (held == value) return false;
    return item->set(id, value, evaluate);
}

template <typename T>
bool setArray(ApiItem* item, AttributeId id, const Lumora::ApiArray<const T>& held, const T* values, std::size_t count,
              bool evaluate) {
    const bool same = item->getSampleCount(id) <= 1 && held.size == count &&
                      (held.data == values || sameValues(held.data, values, count));
    return !same && item->set(id, values, count, evaluate);
}

std::atomic<std::uint64_t> destroyed{0};

template <typename T>
void destroyAndForget(T*& item) {
    if (!item) return;
    ++destroyed;
    item->destroy();
    item = nullptr;
}

}  // namespace

bool connectIfChanged(ApiNode* node, PinId pin, ApiNode* target) {
    if (!node || !target || node == target || node->connectedNode(pin) == target) return false;
    return node->connectTo(pin, target, true, false);
}

bool connectIxIfChanged(ApiNode* node, unsigned index, ApiNode* target) {
    if (!node || !target || node == target || node->connectedNodeIx(index) == target) return false;
    return node->connectToIx(index, target, true, false);
}

bool disconnectPin(ApiNode* node, PinId pin) {
    return node && node->connectedNode(pin) && node->connectTo(pin, nullptr, true, false);
}

bool disconnectPinIx(ApiNode* node, unsigned index) {
    return node && node->connectedNodeIx(index) && node->connectToIx(index, nullptr, true, false);
}

ApiNode* ownedInput(ApiNode* node, PinId pin, NodeType type) {
    if (!node || !node->hasPin(pin)) return nullptr;
    ApiNode* held = node->connectedNode(pin);
    const bool keep = held && held->type() == type && !held->graphOwned();
    return keep ? held : node->createInternal(pin, type, true, true);
}

ApiNode* ownedInputIx(ApiNode* node, unsigned index, NodeType type) {
    if (!node || !node->hasPinIx(index)) return nullptr;
    ApiNode* held = node->connectedNodeIx(index);
    const bool keep = held && held->type() == type && !held->graphOwned();
    return keep ? held : node->createInternalIx(index, type, true, true);
}

bool setBoolIfChanged(ApiNode* node, PinId pin, bool value) {
    return node && node->hasPin(pin) && node->getPinBool(pin) != value && node->setPinValue(pin, value, true);
}

bool setIntIfChanged(ApiNode* node, PinId pin, int value) {
    return node && node->hasPin(pin) && node->getPinInt(pin) != value && node->setPinValue(pin, value, true);
}

bool setFloatIfChanged(ApiNode* node, PinId pin, float value) {
    return node && node->hasPin(pin) && node->getPinFloat(pin) != value && node->setPinValue(pin, value, true);
}

bool setFloat2IfChanged(ApiNode* node, PinId pin, Float2 value) {
    return node && node->hasPin(pin) && !(node->getPinFloat2(pin) == value) && node->setPinValue(pin, value, true);
}

bool setFloat3IfChanged(ApiNode* node, PinId pin, Float3 value) {
    if (!node || !node->hasPin(pin)) return false;
    // An animation ends with the write, also where its first sample is the value.
    if (node->getPinFloat3(pin) == value && !isPinAnimated(node, pin)) return false;
    return node->setPinValue(pin, value, true);
}

bool isPinAnimated(const ApiNode* node, PinId pin) {
    const ApiNode* value = node && node->hasPin(pin) ? node->inputNode(pin) : nullptr;
    return value && value->type() == NT_FLOAT && value->getSampleCount(A_VALUE) > 1;
}

bool setInt2IfChanged(ApiNode* node, PinId pin, Int2 value) {
    return node && node->hasPin(pin) && !(node->getPinInt2(pin) == value) && node->setPinValue(pin, value, true);
}

bool setFloatNode(ApiNode* node, PinId pin, float value) {
    return setAttrIfChanged(ownedInput(node, pin, Lumora::NT_TEX_FLOAT), Lumora::A_VALUE, value);
}

bool setRgbNode(ApiNode* node, PinId pin, Float3 value) {
    return setAttrIfChanged(ownedInput(node, pin, Lumora::NT_TEX_RGB), Lumora::A_VALUE, value);
}

bool setValueNode(ApiNode* node, PinId pin, float value) {
    return setAttrIfChanged(ownedInput(node, pin, Lumora::NT_FLOAT), Lumora::A_VALUE, value);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, bool value, bool evaluate) {
    return item && setAttr(item, id, item->getBool(id), value, evaluate);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, int value, bool evaluate) {
    return item && setAttr(item, id, item->getInt(id), value, evaluate);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, float value, bool evaluate) {
    return item && setAttr(item, id, item->getFloat(id), value, evaluate);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, Int2 value, bool evaluate) {
    return item && setAttr(item, id, item->getInt2(id), value, evaluate);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, Float3 value, bool evaluate) {
    return item && setAttr(item, id, item->getFloat3(id), value, evaluate);
}

bool setAttrIfChanged(ApiItem* item, AttributeId id, const char* value, bool evaluate) {
    if (!item || std::strcmp(item->getString(id), value ? value : "") == 0) return false;
    return item->set(id, value ? value : "", evaluate);
}

bool setArrayIfChanged(ApiItem* item, AttributeId id, const int* values, std::size_t count, bool evaluate) {
    return item && setArray(item, id, item->getIntArray(id), values, count, evaluate);
}

bool setArrayIfChanged(ApiItem* item, AttributeId id, const Float3* values, std::size_t count, bool evaluate) {
    return item && setArray(item, id, item->getFloat3Array(id), values, count, evaluate);
}

bool setArrayIfChanged(ApiItem* item, AttributeId id, const EngineMatrix* values, std::size_t count, bool evaluate) {
    return item && setArray(item, id, item->getMatrixArray(id), values, count, evaluate);
}

bool setArrayIfChanged(ApiItem* item, AttributeId id, const char* const* values, std::size_t count, bool evaluate) {
    if (!item) return false;
    bool same = item->getArraySize(id) == count;
    for (std::size_t i = 0; same && i < count; ++i) {
        const char* held = item->getStringArrayEntry(id, static_cast<unsigned>(i));
        same = held && std::strcmp(held, values[i]) == 0;
    }
    return !same && item->set(id, values, count, evaluate);
}

bool setNameIfChanged(ApiItem* item, const String& name) {
    if (!item || name.str() == item->name()) return false;
    item->setName(name.c_str());
    return true;
}

bool writeAnimation(ApiItem* item, AttributeId id, const Lumora::ApiTimeSampling& sampling, std::size_t sampleCount,
                    const Float3* values, std::size_t count, bool evaluate) {
    return item && item->setAnim(id, sampling, sampleCount, values, count, evaluate);
}

bool writeAnimation(ApiItem* item, AttributeId id, const Lumora::ApiTimeSampling& sampling, std::size_t sampleCount,
                    const EngineMatrix* values, std::size_t count, bool evaluate) {
    return item && item->setAnim(id, sampling, sampleCount, values, count, evaluate);
}

bool setPluginDataIfChanged(ApiItem* item, void* data) {
    if (!item || item->pluginData() == data) return false;
    item->setPluginData(data);
    return true;
}

bool setPluginDataStrIfChanged(ApiItem* item, const char* text) {
    if (!item || !text || std::strcmp(item->pluginDataStr(), text) == 0) return false;
    item->setPluginDataStr(text);
    return true;
}

ApiNode* createNode(NodeType type, ApiNodeGraph& graph, const char* name) {
    ApiNode* node = ApiNode::create(type, graph, true);
    if (node && name) node->setName(name);
    return node;
}

ApiNodeGraph* createGraph(ApiNodeGraph& owner, const char* name) {
    ApiNodeGraph* graph = ApiNodeGraph::create(Lumora::NG_STANDARD, owner);
    if (graph && name) graph->setName(name);
    return graph;
}

void destroyItem(ApiNode*& node) {
    destroyAndForget(node);
}

void destroyItem(ApiNodeGraph*& graph) {
    destroyAndForget(graph);
}

void destroyItem(ApiItem*& item) {
    destroyAndForget(item);
}

void clearGraph(ApiNodeGraph& graph) {
    ++destroyed;
    graph.clear();
}

std::uint64_t destroyCount() {
    return destroyed;
}

void evaluateItem(ApiItem* item) {
    if (item) item->evaluate();
}

void unfoldGraph(ApiNodeGraph* graph, bool recurse) {
    if (graph) graph->unfold(recurse);
}

bool setFpsIfChanged(float fps) {
    if (!(fps > 0) || Lumora::ApiRenderEngine::fps() == fps) return false;
    Lumora::ApiRenderEngine::setFps(fps);
    return true;
}

bool setTimeIfChanged(float seconds) {
    auto& root = ApiProjectManager::rootNodeGraph();
    if (root.time() == seconds) return false;
    root.updateTime(seconds, true);
    return true;
}

bool ownedDirectly(const ApiItem* item, const ApiNodeGraph& graph) {
    if (!item) return false;
    Lumora::ApiItemArray items;
    graph.getOwnedItems(items);
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items.get(i) == item) return true;
    return false;
}

bool ownedBy(const ApiItem* item, const ApiNodeGraph& graph) {
    while (item) {
        unsigned pin = 0;
        if (const ApiNode* holder = item->pinOwner(pin)) {
            item = holder;
            continue;
        }
        const ApiNodeGraph* owner = item->graphOwner();
        if (owner == &graph) return true;
        item = owner;
    }
    return false;
}

}  // namespace lumora
