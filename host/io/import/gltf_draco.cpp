#include <draco/compression/decode.h>

#include <algorithm>

#include "host/io/import/gltf_mesh.h"

namespace host::importer {

void decodeDraco(GltfFile& file, const Json& primitive, const Json& extension) {
    const std::span<const UChar> bytes = file.view(intOr(extension, "bufferView", -1));
    draco::DecoderBuffer buffer;
    buffer.Init(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    draco::Decoder decoder;
    auto decoded = decoder.DecodeMeshFromBuffer(&buffer);
    if (!decoded.ok()) throw ImportError("a primitive compressed with KHR_draco_mesh_compression cannot be decoded");
    const std::unique_ptr<draco::Mesh> mesh = std::move(decoded).value();

    if (const Int64 indices = intOr(primitive, "indices", -1); indices >= 0) {
        std::vector<UInt32> values;
        values.reserve(static_cast<std::size_t>(mesh->num_faces()) * 3);
        for (draco::FaceIndex f(0); f < mesh->num_faces(); ++f)
            for (const draco::PointIndex& corner : mesh->face(f)) values.push_back(corner.value());
        // A file may have been cut to fewer corners than its accessor says, never to vertices that do not exist.
        file.replaceIntegers(indices, std::move(values));
    }
    const Json* names = member(extension, "attributes");
    const Json* attributes = member(primitive, "attributes");
    if (!names || !attributes || !names->is_object()) return;
    for (const auto& [name, id] : names->items()) {
        const Int64 accessor = intOr(*attributes, name.c_str(), -1);
        if (accessor < 0 || !id.is_number_unsigned()) continue;
        const draco::PointAttribute* attribute = mesh->GetAttributeByUniqueId(id.get<UInt32>());
        if (!attribute) throw ImportError("a compressed primitive lacks its attribute " + cleanName(name));
        if (mesh->num_points() != file.accessor(accessor).count)
            throw ImportError("a compressed primitive has another number of vertices than the file says");
        const auto components = static_cast<std::size_t>(attribute->num_components());
        std::vector<Float32> values(static_cast<std::size_t>(mesh->num_points()) * components);
        std::vector<UInt32> integers;
        const bool joints = name.starts_with("JOINTS_");
        if (joints) integers.resize(values.size());
        for (draco::PointIndex p(0); p < mesh->num_points(); ++p) {
            const draco::AttributeValueIndex at = attribute->mapped_index(p);
            const std::size_t offset = p.value() * components;
            const bool good = joints
                                  ? attribute->ConvertValue<UInt32>(at, attribute->num_components(), &integers[offset])
                                  : attribute->ConvertValue<float>(at, attribute->num_components(), &values[offset]);
            if (!good) throw ImportError("the values of a compressed primitive cannot be converted");
        }
        // The conversion makes fractions of integers that the compressed data calls normalised; the file may do so too.
        if (const GltfFile::Accessor a = file.accessor(accessor); a.normalised && !attribute->normalized()) {
            const float largest = a.componentType == 5120   ? 127.0f
                                  : a.componentType == 5121 ? 255.0f
                                  : a.componentType == 5122 ? 32767.0f
                                                            : 65535.0f;
            for (Float32& v : values) v = std::max(v / largest, -1.0f);
        }
        if (joints)
            file.replaceIntegers(accessor, std::move(integers), components);
        else
            file.replaceFloats(accessor, components, std::move(values));
    }
}

}  // namespace host::importer
