#include "tests/plugin/support/graph_content.h"

#include <cstdint>
#include <cstring>
#include <map>
#include <sstream>

namespace lumora::test {

namespace {

using Lumora::ApiNode;

struct Digest {
    std::uint64_t value = 1469598103934665603ull;  // FNV-1a
    void add(const void* data, std::size_t bytes) {
        for (std::size_t i = 0; i < bytes; ++i)
            value = (value ^ static_cast<const unsigned char*>(data)[i]) * 1099511628211ull;
    }
};

std::uint64_t digestOf(const ApiNode* node, Lumora::AttributeId id, Lumora::AttributeType type, std::size_t size) {
    Digest digest;
    const auto add = [&](const auto& array) { digest.add(array.data, array.size * sizeof(array.data[0])); };
    switch (type) {
        case Lumora::AT_INT_ARRAY:
            add(node->getIntArray(id));
            break;
        case Lumora::AT_FLOAT_ARRAY:
            add(node->getFloatArray(id));
            break;
        case Lumora::AT_FLOAT2_ARRAY:
            add(node->getFloat2Array(id));
            break;
        case Lumora::AT_FLOAT3_ARRAY:
            add(node->getFloat3Array(id));
            break;
        case Lumora::AT_MATRIX_ARRAY:
            add(node->getMatrixArray(id));
            break;
        case Lumora::AT_STRING_ARRAY:
            for (unsigned i = 0; i < size; ++i) {
                const char* text = node->getStringArrayEntry(id, i);
                digest.add(text, std::strlen(text) + 1);
            }
            break;
        default:
            break;
    }
    return digest.value;
}

void write(const ApiNode* node, std::map<const ApiNode*, int>& seen, std::ostringstream& out) {
    const auto [place, isNew] = seen.try_emplace(node, static_cast<int>(seen.size()));
    if (!isNew) {
        out << "#" << place->second << "\n";
        return;
    }
    out << node->type();
    for (unsigned a = 0; a < node->attrCount(); ++a) {
        const Lumora::AttributeId id = node->attrIdIx(a);
        const Lumora::AttributeType type = node->attrTypeIx(a);
        if (type >= Lumora::AT_INT_ARRAY) {
            const std::size_t size = node->getArraySize(id);
            if (size) out << " " << id << "x" << size << ":" << std::hex << digestOf(node, id, type, size) << std::dec;
        } else if (type == Lumora::AT_STRING) {
            out << " " << id << "=" << node->getString(id);
        } else {
            const Lumora::Vec3<float> value = node->getFloat3(id);
            out << " " << id << "=" << value.x << "," << value.y << "," << value.z;
        }
    }
    out << "\n";
    for (unsigned pin = 0; pin < node->pinCount(); ++pin)
        if (const ApiNode* input = node->inputNodeIx(pin)) {
            out << "pin " << pin << ": ";
            write(input, seen, out);
        }
}

}  // namespace

std::string graphContent(const ApiNode* root) {
    std::ostringstream out;
    std::map<const ApiNode*, int> seen;
    if (root) write(root, seen, out);
    return out.str();
}

}  // namespace lumora::test
