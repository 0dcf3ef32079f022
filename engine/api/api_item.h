// Items: what nodes and node graphs have in common, and the arrays that list them.
//
// Ownership: every item belongs to the engine. A graph owns its items; a node owns the nodes that were made inside its
// pins. A pointer stays good until the item or an owner of it is destroyed.
//
// Threads: all calls on items may come from any thread and run one at a time under a lock of the engine. Nothing here
// waits for a render.
//
// Wrong use (an id that the item has not, a value of a type that cannot be converted, a null array with a count)
// changes nothing, writes one line to the engine's log, and returns false, zero or null.
#pragma once

#include <cstddef>

#include "engine/api/api_time_sampling.h"
#include "engine/api/ids.h"
#include "engine/api/types.h"

namespace Lumora {

namespace engine {
class Item;
class Node;
class Graph;
}  // namespace engine

class ApiItem;
class ApiNode;
class ApiNodeGraph;

/// A list of items that the engine fills. The items are not owned by it.
class ApiItemArray {
public:
    LUMORA_API ApiItemArray();
    LUMORA_API ~ApiItemArray();
    ApiItemArray(const ApiItemArray&) = delete;
    ApiItemArray& operator=(const ApiItemArray&) = delete;

    LUMORA_API std::size_t size() const;
    /// Null at or past the end.
    LUMORA_API ApiItem* get(std::size_t index) const;
    LUMORA_API void clear();

private:
    friend class engine::Item;
    struct Data;
    Data* data_;
};

/// A list of nodes that the engine fills. The nodes are not owned by it.
class ApiNodeArray {
public:
    LUMORA_API ApiNodeArray();
    LUMORA_API ~ApiNodeArray();
    ApiNodeArray(const ApiNodeArray&) = delete;
    ApiNodeArray& operator=(const ApiNodeArray&) = delete;

    LUMORA_API std::size_t size() const;
    /// Null at or past the end.
    LUMORA_API ApiNode* get(std::size_t index) const;
    LUMORA_API void clear();

private:
    friend class engine::Item;
    struct Data;
    Data* data_;
};

class ApiItem {
public:
    ApiItem(const ApiItem&) = delete;
    ApiItem& operator=(const ApiItem&) = delete;

    // --- Lifetime -----------------------------------------------------------------------------------------------
    /// Destroys the item with everything that it owns, disconnecting what was connected to it.
    LUMORA_API void destroy();
    /// Applies what was written with `evaluate` false: makes and drops dynamic pins.
    LUMORA_API void evaluate();
    /// Of a graph: destroys the nodes that lead to no output linker, to no render target and to nothing outside.
    LUMORA_API void deleteUnconnectedItems();
    /// Gives every attribute its default.
    LUMORA_API void clearAllAttr(bool evaluate);

    // --- Identity -----------------------------------------------------------------------------------------------
    /// Never null; good until the next setName().
    LUMORA_API const char* name() const;
    LUMORA_API void setName(const char* name);
    LUMORA_API bool isGraph() const;
    LUMORA_API bool isNode() const;
    /// The same item as a graph or a node, or null.
    LUMORA_API ApiNodeGraph* toGraph() const;
    LUMORA_API ApiNode* toNode() const;
    /// The graph that owns this item directly. Null for a root graph and for a node that a pin owns.
    LUMORA_API ApiNodeGraph* graphOwner() const;
    LUMORA_API bool graphOwned() const;
    LUMORA_API bool isOutputLinker() const;
    /// The node inside whose pin this node was made, and the pin's index; null when no pin owns it.
    LUMORA_API ApiNode* pinOwner(unsigned& pinIndex) const;
    /// Place in the node graph window.
    LUMORA_API Vec2<float> position() const;
    /// Time of the project that the item belongs to, in seconds.
    LUMORA_API float time() const;
    /// Of a node: the node itself and all that feeds it, each once, as far as it stands in the same graph; a nested
    /// graph that feeds it counts as one item. Of a graph: the items that it owns directly. Nodes that pins own are
    /// not listed, so every item of the array can be destroyed one after the other.
    LUMORA_API void collectItemTree(ApiItemArray& items) const;

    // --- User data ----------------------------------------------------------------------------------------------
    /// Two values of the caller's that the engine keeps and copies with the item, and never looks at.
    LUMORA_API void setPluginData(void* data);
    LUMORA_API void* pluginData() const;
    LUMORA_API void setPluginDataStr(const char* text);
    LUMORA_API const char* pluginDataStr() const;

    // --- Attribute reflection -----------------------------------------------------------------------------------
    LUMORA_API unsigned attrCount() const;
    LUMORA_API const char* attrNameIx(unsigned index) const;
    LUMORA_API AttributeType attrTypeIx(unsigned index) const;
    LUMORA_API AttributeId attrIdIx(unsigned index) const;
    LUMORA_API bool hasAttr(AttributeId id) const;

    // --- Attribute read -----------------------------------------------------------------------------------------
    // Integers and bools convert into each other and into floats; a shorter vector is filled up with zeros, a number
    // read as a vector fills every component, a vector read as a number gives its first component.
    LUMORA_API bool getBool(AttributeId id) const;
    LUMORA_API int getInt(AttributeId id) const;
    LUMORA_API Vec2<int> getInt2(AttributeId id) const;
    LUMORA_API float getFloat(AttributeId id) const;
    LUMORA_API Vec2<float> getFloat2(AttributeId id) const;
    LUMORA_API Vec3<float> getFloat3(AttributeId id) const;
    /// Never null; good until the attribute is written.
    LUMORA_API const char* getString(AttributeId id) const;
    /// False, and the value untouched, when there is no such attribute.
    LUMORA_API bool get(AttributeId id, int& value) const;
    LUMORA_API bool get(AttributeId id, float& value) const;
    LUMORA_API bool get(AttributeId id, Vec3<float>& value) const;
    /// The engine's own array, good until the attribute is written. An animated array holds, element after element, all
    /// time samples of that element.
    LUMORA_API ApiArray<const Matrix<float>> getMatrixArray(AttributeId id) const;
    LUMORA_API ApiArray<const Vec3<float>> getFloat3Array(AttributeId id) const;
    LUMORA_API ApiArray<const Vec2<float>> getFloat2Array(AttributeId id) const;
    LUMORA_API ApiArray<const float> getFloatArray(AttributeId id) const;
    LUMORA_API ApiArray<const int> getIntArray(AttributeId id) const;
    LUMORA_API ApiArray<const unsigned char> getByteArray(AttributeId id) const;
    /// Strings of a string array, by position; null past the end.
    LUMORA_API const char* getStringArrayEntry(AttributeId id, unsigned index) const;
    /// Number of elements of an array attribute, all time samples counted; 0 when it is none.
    LUMORA_API std::size_t getArraySize(AttributeId id) const;
    /// Time samples of an animated attribute, 1 when it is not animated.
    LUMORA_API unsigned getSampleCount(AttributeId id) const;

    LUMORA_API bool getBool(const char* name) const;
    LUMORA_API int getInt(const char* name) const;
    LUMORA_API Vec2<int> getInt2(const char* name) const;
    LUMORA_API Vec3<float> getFloat3(const char* name) const;

    LUMORA_API bool getBoolIx(unsigned index) const;
    LUMORA_API int getIntIx(unsigned index) const;
    LUMORA_API float getFloatIx(unsigned index) const;
    LUMORA_API Vec3<float> getFloat3Ix(unsigned index) const;

    // --- Attribute write ----------------------------------------------------------------------------------------
    // A value that equals the stored one writes nothing. `evaluate` false leaves dynamic pins as they are until
    // evaluate() is called. Arrays are copied; a count of 0 empties the attribute.
    LUMORA_API bool set(AttributeId id, bool value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, int value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, float value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, Vec2<int> value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, Vec2<float> value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, Vec3<float> value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const char* value, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const int* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const float* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const unsigned char* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const Vec2<float>* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const Vec3<float>* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const Matrix<float>* values, std::size_t count, bool evaluate = true);
    LUMORA_API bool set(AttributeId id, const char* const* values, std::size_t count, bool evaluate = true);

    // --- Animation ----------------------------------------------------------------------------------------------
    // `count` counts all values, time samples included: element after element, each with its `sampleCount` samples.
    // A plain set() ends the animation.
    LUMORA_API bool setAnim(AttributeId id, const ApiTimeSampling& sampling, std::size_t sampleCount,
                            const Vec3<float>* values, std::size_t count, bool evaluate = true);
    /// One animated value: `count` samples.
    LUMORA_API bool setAnim(AttributeId id, const ApiTimeSampling& sampling, const Vec3<float>* values,
                            std::size_t count, bool evaluate = true);
    LUMORA_API bool setAnim(AttributeId id, const ApiTimeSampling& sampling, std::size_t sampleCount,
                            const Matrix<float>* values, std::size_t count, bool evaluate = true);

protected:
    friend class engine::Item;
    explicit ApiItem(engine::Item* item) : item_(item) {}
    ~ApiItem() = default;
    engine::Item* item_;
};

}  // namespace Lumora
