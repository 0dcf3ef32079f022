// Accessors of glTF: typed elements in a buffer view, with the sparse values laid over them.
#include <cmath>
#include <cstring>
#include <unordered_map>

#include "host/io/import/gltf_file.h"

namespace host::importer {
namespace {

enum ComponentType : int { kByte = 5120, kUByte, kShort, kUShort, kInt, kUInt, kFloat };

/// Elements of one accessor at most: what indices of 32 bits can name, well below what memory holds.
constexpr Int64 kMostElements = Int64(1) << 31;

std::size_t componentBytes(int type, Int64 accessor) {
    switch (type) {
        case kByte:
        case kUByte:
            return 1;
        case kShort:
        case kUShort:
            return 2;
        case kUInt:
        case kFloat:
            return 4;
        default:
            throw ImportError("accessors[" + std::to_string(accessor) + "] has the unknown component type " +
                              std::to_string(type));
    }
}

struct TypeName {
    const char* name;
    std::size_t components, columns;
};
constexpr TypeName kTypes[] = {{"SCALAR", 1, 1}, {"VEC2", 2, 1}, {"VEC3", 3, 1}, {"VEC4", 4, 1},
                               {"MAT2", 4, 2},   {"MAT3", 9, 3}, {"MAT4", 16, 4}};

template <typename S>
S load(const UChar* at) {
    S value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
T component(const UChar* at, int type, bool normalised) {
    if constexpr (std::is_floating_point_v<T>) {
        switch (type) {
            case kByte:
                return normalised ? std::max(static_cast<T>(load<std::int8_t>(at)) / T(127), T(-1))
                                  : load<std::int8_t>(at);
            case kUByte:
                return normalised ? static_cast<T>(*at) / T(255) : *at;
            case kShort:
                return normalised ? std::max(static_cast<T>(load<std::int16_t>(at)) / T(32767), T(-1))
                                  : load<std::int16_t>(at);
            case kUShort:
                return normalised ? static_cast<T>(load<std::uint16_t>(at)) / T(65535) : load<std::uint16_t>(at);
            case kUInt:
                return static_cast<T>(load<UInt32>(at));
            default:
                return load<Float32>(at);
        }
    } else {
        switch (type) {
            case kUByte:
                return *at;
            case kUShort:
                return load<std::uint16_t>(at);
            case kUInt:
                return load<UInt32>(at);
            default:
                throw ImportError("indices are not unsigned integers");
        }
    }
}

}  // namespace

/// Where the elements of an accessor lie. Without data: all zeros.
struct GltfFile::Layout {
    Accessor accessor;
    std::span<const UChar> data;
    std::size_t stride = 0, element = 0, component = 0, columns = 1;
    std::unordered_map<UInt32, const UChar*> sparse;
};

GltfFile::Accessor GltfFile::accessor(Int64 index) const {
    const Json& json = at("accessors", index);
    const std::string label = "accessors[" + std::to_string(index) + "]";
    Accessor a;
    const Int64 count = intOr(json, "count", -1);
    if (count < 0 || count > kMostElements) throw ImportError(label + " has no usable count");
    a.count = static_cast<std::size_t>(count);
    a.componentType = static_cast<int>(intOr(json, "componentType", 0));
    a.normalised = boolOr(json, "normalized", false);
    const std::string type = textOr(json, "type", "");
    for (const TypeName& t : kTypes)
        if (type == t.name) a.components = t.components;
    if (a.components == 0) throw ImportError(label + " has the unknown type \"" + cleanName(type) + "\"");
    componentBytes(a.componentType, index);
    return a;
}

GltfFile::Layout GltfFile::layout(Int64 index) {
    const Json& json = at("accessors", index);
    const std::string label = "accessors[" + std::to_string(index) + "]";
    Layout l;
    l.accessor = accessor(index);
    l.component = componentBytes(l.accessor.componentType, index);
    const std::string type = textOr(json, "type", "");
    for (const TypeName& t : kTypes)
        if (type == t.name) l.columns = t.columns;
    // Columns of matrices begin at multiples of four bytes.
    const std::size_t rows = l.accessor.components / l.columns;
    l.element = l.columns == 1 ? rows * l.component : l.columns * ((rows * l.component + 3) / 4 * 4);

    if (const Int64 viewIndex = intOr(json, "bufferView", -1); viewIndex >= 0) {
        const std::span<const UChar> bytes = view(viewIndex);
        const Int64 offset = intOr(json, "byteOffset", 0);
        const Int64 stride = intOr(at("bufferViews", viewIndex), "byteStride", 0);
        if (offset < 0 || stride < 0 || stride > 65536) throw ImportError(label + " has a bad offset or stride");
        l.stride = stride > 0 ? static_cast<std::size_t>(stride) : l.element;
        const auto start = static_cast<std::size_t>(offset);
        const std::size_t need = l.accessor.count == 0 ? 0 : (l.accessor.count - 1) * l.stride + l.element;
        if (start > bytes.size() || need > bytes.size() - start)
            throw ImportError(label + " reaches past the end of its data");
        l.data = bytes.subspan(start, need);
    }
    if (const Json* sparse = member(json, "sparse"); sparse && sparse->is_object()) {
        const Json* indices = member(*sparse, "indices");
        const Json* values = member(*sparse, "values");
        const Int64 count = intOr(*sparse, "count", 0);
        if (!indices || !values || count < 0 || count > static_cast<Int64>(l.accessor.count))
            throw ImportError(label + " has broken sparse data");
        const int indexType = static_cast<int>(intOr(*indices, "componentType", 0));
        const std::size_t indexBytes = componentBytes(indexType, index), n = static_cast<std::size_t>(count);
        const auto part = [&](const Json& from, std::size_t bytes) {
            const std::span<const UChar> all = view(intOr(from, "bufferView", -1));
            const Int64 offset = intOr(from, "byteOffset", 0);
            if (offset < 0 || static_cast<std::size_t>(offset) > all.size() ||
                n * bytes > all.size() - static_cast<std::size_t>(offset))
                throw ImportError(label + " has sparse data that reaches past its end");
            return all.data() + offset;
        };
        const UChar* which = part(*indices, indexBytes);
        const UChar* what = part(*values, l.element);
        for (std::size_t i = 0; i < n; ++i) {
            const UInt32 at = component<UInt32>(which + i * indexBytes, indexType, false);
            if (at >= l.accessor.count) throw ImportError(label + " has a sparse index out of range");
            l.sparse[at] = what + i * l.element;
        }
    }
    return l;
}

template <typename T>
std::vector<T> GltfFile::decode(Int64 index, std::size_t components, const std::vector<UInt32>* which) {
    if (const auto known = replacements_.find(index); known != replacements_.end()) {
        const Replacement& r = known->second;
        const auto& own = [&]() -> const std::vector<T>& {
            if constexpr (std::is_same_v<T, Float32>)
                return r.floats;
            else
                return r.integers;
        }();
        const std::size_t have = own.size() / std::max<std::size_t>(1, r.components);
        const std::size_t n = which ? which->size() : have;
        std::vector<T> out(n * components);
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t e = which ? (*which)[i] : i;
            if (e >= have) throw ImportError("accessors[" + std::to_string(index) + "] is too short");
            for (std::size_t k = 0; k < std::min(components, r.components); ++k)
                out[i * components + k] = own[e * r.components + k];
        }
        return out;
    }
    const Layout l = layout(index);
    const std::size_t n = which ? which->size() : l.accessor.count;
    const std::size_t common = std::min(components, l.accessor.components);
    const int type = l.accessor.componentType;
    // An accessor without data is a short text that asks for any amount of zeros.
    if (l.data.empty() && n > (std::size_t(1) << 26)) throw ImportError("an accessor without data is too long");
    std::vector<T> out(n * components);
    if constexpr (std::is_same_v<T, UInt32>)
        if (type == kFloat || type == kByte || type == kShort)
            throw ImportError("accessors[" + std::to_string(index) + "] should hold unsigned integers");
    if (type == kFloat && std::is_same_v<T, Float32> && !which && l.sparse.empty() && l.columns == 1 &&
        common == components && l.stride == components * 4 && !l.data.empty()) {
        std::memcpy(out.data(), l.data.data(), n * components * 4);
        return out;
    }
    const std::size_t rows = l.accessor.components / l.columns, column = l.element / l.columns;
    for (std::size_t i = 0; i < n; ++i) {
        const std::size_t e = which ? (*which)[i] : i;
        if (e >= l.accessor.count) throw ImportError("accessors[" + std::to_string(index) + "] is too short");
        const UChar* at = l.data.empty() ? nullptr : l.data.data() + e * l.stride;
        if (!l.sparse.empty())
            if (const auto it = l.sparse.find(static_cast<UInt32>(e)); it != l.sparse.end()) at = it->second;
        for (std::size_t k = 0; at && k < common; ++k) {
            const std::size_t offset =
                l.columns == 1 ? k * l.component : (k / rows) * column + (k % rows) * l.component;
            out[i * components + k] = component<T>(at + offset, type, l.accessor.normalised);
        }
    }
    return out;
}

std::vector<Float32> GltfFile::floats(Int64 index, std::size_t components, const std::vector<UInt32>* which) {
    return decode<Float32>(index, components, which);
}

std::vector<UInt32> GltfFile::integers(Int64 index, std::size_t components, const std::vector<UInt32>* which) {
    return decode<UInt32>(index, components, which);
}

void GltfFile::replaceFloats(Int64 index, std::size_t components, std::vector<Float32> values) {
    replacements_[index] = {components, std::move(values), {}};
}

void GltfFile::replaceIntegers(Int64 index, std::vector<UInt32> values, std::size_t components) {
    replacements_[index] = {components, {}, std::move(values)};
}

}  // namespace host::importer
