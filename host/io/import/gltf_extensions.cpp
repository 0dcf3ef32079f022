#include "host/io/import/gltf_extensions.h"

#include <algorithm>
#include <string_view>

namespace host::importer {
namespace {

enum class Support {
    Read,      ///< understood, or without any effect on a picture
    Fallback,  ///< replaces something that the file holds as well; when required there is no such thing
};

struct Extension {
    std::string_view name;
    Support support;
};

constexpr Extension kExtensions[] = {
    {"EXT_mesh_gpu_instancing", Support::Read},
    {"EXT_texture_webp", Support::Read},
    {"KHR_draco_mesh_compression", Support::Read},
    {"KHR_lights_punctual", Support::Read},
    {"KHR_materials_emissive_strength", Support::Read},
    {"KHR_materials_ior", Support::Read},
    {"KHR_materials_pbrSpecularGlossiness", Support::Read},
    {"KHR_materials_transmission", Support::Read},
    {"KHR_materials_unlit", Support::Read},
    {"KHR_materials_variants", Support::Read},  // the default variant is what the primitives name
    {"KHR_materials_volume", Support::Read},
    {"KHR_mesh_quantization", Support::Read},
    {"KHR_texture_transform", Support::Read},
    {"KHR_xmp", Support::Read},
    {"KHR_xmp_json_ld", Support::Read},
    {"EXT_meshopt_compression", Support::Fallback},
    {"KHR_texture_basisu", Support::Fallback},
    {"MSFT_texture_dds", Support::Fallback},
    {"MSFT_lod", Support::Fallback},
};

const Extension* find(const std::string& name) {
    const auto it =
        std::find_if(std::begin(kExtensions), std::end(kExtensions), [&](const auto& e) { return e.name == name; });
    return it == std::end(kExtensions) ? nullptr : it;
}

std::vector<std::string> names(const Json& root, const char* list) {
    std::vector<std::string> out;
    if (const Json* values = member(root, list); values && values->is_array())
        for (const Json& value : *values)
            if (value.is_string()) out.push_back(value.get<std::string>());
    return out;
}

std::string joined(const std::vector<std::string>& list) {
    std::string text;
    for (const std::string& name : list) text += (text.empty() ? "" : ", ") + cleanName(name);
    return text;
}

}  // namespace

void checkGltfExtensions(const GltfFile& file, Context& context) {
    std::vector<std::string> missing, ignored;
    for (const std::string& name : names(file.root(), "extensionsRequired")) {
        const Extension* known = find(name);
        if (!known || known->support != Support::Read) missing.push_back(name);
    }
    if (!missing.empty()) throw ImportError("it requires " + joined(missing) + ", which cannot be read");
    for (const std::string& name : names(file.root(), "extensionsUsed"))
        if (!find(name)) ignored.push_back(name);
    if (!ignored.empty()) context.warn("left out: " + joined(ignored));
}

}  // namespace host::importer
