// A glTF 2.0 file as it lies on the disk: the JSON tree, its buffers, and the decoding of accessors.
//
// The tree is read with a JSON library and walked here: loaders that map all of glTF refuse legal files (buffers longer
// than they say, accessors without views, scenes without buffers) that are common among files from strangers.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/io/import/context.h"

namespace host::importer {

using Json = nlohmann::json;

// Members of JSON objects, checked: a member of the wrong type is an error that names it.
const Json* member(const Json& object, const char* name);  ///< null when absent
Int64 intOr(const Json& object, const char* name, Int64 fallback);
Float floatOr(const Json& object, const char* name, Float fallback);
bool boolOr(const Json& object, const char* name, bool fallback);
std::string textOr(const Json& object, const char* name, const std::string& fallback);
/// Numbers of an array; `count` of them or an error. Empty when absent.
std::vector<Float> floatsOf(const Json& object, const char* name, std::size_t count);
/// An extension of the object, or null.
const Json* extension(const Json& object, const char* name);

/// What is behind "data:...", decoded; empty optional for another kind of URI.
std::optional<std::vector<UChar>> decodeDataUri(const std::string& uri);
std::string decodePercent(const std::string& uri);

class GltfFile {
public:
    /// Reads .gltf and .glb, told apart by their first bytes. Throws ImportError.
    GltfFile(const Filename& file, Context& context);

    const Json& root() const { return root_; }
    /// Element `index` of a top-level array; an index out of range is an error that names array and index.
    const Json& at(const char* array, Int64 index) const;
    std::size_t count(const char* array) const;

    /// The bytes of a buffer view.
    std::span<const UChar> view(Int64 index);

    /// What an accessor says about its elements.
    struct Accessor {
        std::size_t count = 0, components = 0;
        int componentType = 0;
        bool normalised = false;
    };
    Accessor accessor(Int64 index) const;

    /// Elements of an accessor as floats, `components` each; missing components are left 0. Normalised integers become
    /// fractions. With `which` those elements, in that order; they must exist.
    std::vector<Float32> floats(Int64 index, std::size_t components, const std::vector<UInt32>* which = nullptr);
    /// Unsigned integers of one component (indices) or of `components` (joints).
    std::vector<UInt32> integers(Int64 index, std::size_t components = 1, const std::vector<UInt32>* which = nullptr);

    /// Puts decoded values (of a compressed primitive) in the place of an accessor's own.
    void replaceFloats(Int64 index, std::size_t components, std::vector<Float32> values);
    void replaceIntegers(Int64 index, std::vector<UInt32> values, std::size_t components = 1);

private:
    struct Layout;
    void readGlb(std::vector<UChar> bytes);
    const std::vector<UChar>& buffer(Int64 index);
    Layout layout(Int64 index);
    template <typename T>
    std::vector<T> decode(Int64 index, std::size_t components, const std::vector<UInt32>* which);

    Filename file_;
    Context& context_;
    Json root_;
    std::vector<UChar> glbChunk_;
    bool hasChunk_ = false;
    std::map<Int64, std::vector<UChar>> buffers_;
    struct Replacement {
        std::size_t components;
        std::vector<Float32> floats;
        std::vector<UInt32> integers;
    };
    std::map<Int64, Replacement> replacements_;
};

}  // namespace host::importer
