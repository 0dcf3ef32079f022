#include "tools/node_pictures/builder.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

#include "tools/node_pictures/charts.h"

namespace pictures {

using namespace Lumora;

namespace {

/// The ball is as large as a ball that one holds in a hand: bumps and displacements are told in centimetres.
constexpr float kMetres = 0.1f;

template <typename... Parts>
[[noreturn]] void refuse(const ApiNode* node, Parts... parts) {
    throw std::runtime_error(
        (std::string("the node \"") + ApiInfo::getNodeTypeName(node->type()) + "\" " + ... + std::string(parts)));
}

/// Whether a texture pin takes so many numbers as its own value; others take a node that holds them.
bool takesItself(const ApiNode* node, PinId pin, unsigned numbers) {
    for (unsigned i = 0; i < node->staticPinCount(); ++i) {
        if (node->pinIdIx(i) != pin) continue;
        const ApiNodePinInfo info = node->pinInfoIx(i);
        return info.type != PT_TEXTURE || info.dimension == numbers;
    }
    return true;
}

bool isNumber(const ApiNode* node, AttributeId id) {
    for (unsigned i = 0; i < node->attrCount(); ++i)
        if (node->attrIdIx(i) == id) return node->attrTypeIx(i) == AT_FLOAT;
    return false;
}

void check(bool done, const ApiNode* node, PinId pin) {
    if (!done) refuse(node, "refuses what is put on its pin ", std::to_string(pin));
}

}  // namespace

ApiNode* Builder::node(NodeType type) {
    ApiNode* made = ApiNode::create(type, ApiProjectManager::rootNodeGraph(), false);
    if (!made) throw std::runtime_error("the engine has no node of type " + std::to_string(type));
    return made;
}

ApiNode* Builder::node(const Recipe& recipe) {
    ApiNode* made = node(recipe.type);
    for (const auto& [id, value] : recipe.attributes) {
        if (!(isNumber(made, id) ? made->set(id, value.x) : made->set(id, value)))
            refuse(made, "refuses its attribute ", std::to_string(id));
    }
    if (recipe.chart != Chart::None) fill(made, recipe.chart);
    if (!recipe.knots.empty()) {
        made->set(A_PIN_COUNT, static_cast<int>(recipe.knots.size()));
        unsigned pin = made->staticPinCount();
        for (const Knot& knot : recipe.knots) {
            ApiNode* position = node(NT_FLOAT);
            position->set(A_VALUE, Float3{knot.position, 0, 0});
            if (!made->connectToIx(pin, position) || !made->connectToIx(pin + 1, node(rgb(knot.color))))
                refuse(made, "refuses a knot");
            pin += 2;
        }
    }
    for (const Setting& setting : recipe.settings) apply(made, setting);
    return made;
}

void Builder::apply(ApiNode* target, const Setting& setting) {
    const PinId pin = setting.pin;
    const bool done = std::visit(
        [&](const auto& value) {
            using T = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<T, RecipePtr>) return target->connectTo(pin, node(*value));
            if constexpr (std::is_same_v<T, Float3>)
                if (!takesItself(target, pin, 3)) return target->connectTo(pin, node(rgb(value)));
            if constexpr (std::is_same_v<T, float>)
                if (!takesItself(target, pin, 1)) return target->connectTo(pin, node(grey(value)));
            if constexpr (!std::is_same_v<T, RecipePtr>) return target->setPinValue(pin, value);
        },
        setting.value);
    check(done, target, pin);
}

void Builder::fill(ApiNode* target, Chart chart) {
    if (const std::string text = photometricText(chart); !text.empty()) {
        const std::filesystem::path path = scratch_ / (std::to_string(static_cast<int>(chart)) + ".ies");
        std::ofstream file(path);
        file << text << std::flush;
        if (!file) throw std::runtime_error("the file " + path.string() + " cannot be written");
        target->set(A_FILENAME, path.c_str());
        return;
    }
    const ChartImage image = chartImage(chart);
    target->set(A_SIZE, Int2{image.width, image.height});
    target->set(A_IMAGE_TYPE, image.bytes.empty() ? 2 : 0);
    const bool done = image.bytes.empty() ? target->set(A_BUFFER, image.floats.data(), image.floats.size())
                                          : target->set(A_BUFFER, image.bytes.data(), image.bytes.size());
    if (!done) refuse(target, "refuses an image");
}

ApiNode* Builder::meshNode(const Shape& shape, const std::vector<ApiNode*>& materials, float scale) {
    ApiNode* mesh = node(NT_GEO_MESH);
    std::vector<Float3> vertices;
    for (const Float3 v : shape.vertices) vertices.push_back(v * scale);
    const std::vector<int>& corners = shape.indices;
    mesh->set(A_VERTICES, vertices.data(), vertices.size(), false);
    mesh->set(A_NORMALS, shape.normals.data(), shape.normals.size(), false);
    mesh->set(A_UVWS, shape.uvs.data(), shape.uvs.size(), false);
    for (const AttributeId indices : {A_POLY_VERTEX_INDICES, A_POLY_NORMAL_INDICES, A_POLY_UVW_INDICES})
        mesh->set(indices, corners.data(), corners.size(), false);
    mesh->set(A_VERTICES_PER_POLY, shape.perPolygon.data(), shape.perPolygon.size(), false);
    mesh->set(A_POLY_MATERIAL_INDICES, shape.materials.data(), shape.materials.size(), false);
    const std::vector<const char*> names(materials.size(), "material");
    mesh->set(A_MATERIAL_NAMES, names.data(), names.size(), false);
    mesh->evaluate();
    for (unsigned i = 0; i < materials.size(); ++i)
        if (!mesh->connectToIx(mesh->staticPinCount() + i, materials[i])) refuse(mesh, "refuses a material");
    return mesh;
}

void Builder::mesh(const Shape& shape, const std::vector<ApiNode*>& materials) {
    parts_.push_back(meshNode(shape, materials, kMetres));
}

void Builder::instances(const Shape& shape, ApiNode* material, const std::vector<Matrix<float>>& places,
                        const std::vector<int>& ids) {
    ApiNode* scatter = node(NT_GEO_SCATTER);
    scatter->connectTo(P_GEOMETRY, meshNode(shape, {material}, 1));
    scatter->set(A_TRANSFORM, places.data(), places.size());
    if (!ids.empty()) scatter->set(A_INSTANCE_IDS, ids.data(), ids.size());
    parts_.push_back(scatter);
}

void Builder::lamp(Float3 at, Float3 towards, float width, float height, Float3 radiance) {
    const Recipe shine = make(NT_EMIS_TEXTURE, {{P_EMIS_TEXTURE, radiance}, {P_POWER, 1.0f}});
    const Recipe black = make(NT_MAT_DIFFUSE, {{P_DIFFUSE, Float3{}}, {P_EMISSION, shine}});
    mesh(panel(at, towards, width, height), {node(black)});
}

void Builder::camera(Float3 position, Float3 target, float field) {
    camera_ = node(NT_CAM_THINLENS);
    camera_->setPinValue(P_POSITION, position * kMetres);
    camera_->setPinValue(P_TARGET, target * kMetres);
    camera_->setPinValue(P_FOV, field);
}

void Builder::environment(Float3 radiance) {
    environment_ = node(NT_ENV_TEXTURE);
    environment_->setPinValue(P_TEXTURE, radiance);
}

ApiNode* Builder::finish(Int2 size, int samples, bool denoise) {
    ApiNode* group = node(NT_GEO_GROUP);
    group->set(A_GROUP_PIN_COUNT, static_cast<int>(parts_.size()));
    for (unsigned i = 0; i < parts_.size(); ++i)
        if (!group->connectToIx(group->staticPinCount() + i, parts_[i])) refuse(group, "refuses a part");
    ApiNode* film = node(NT_FILM_SETTINGS);
    film->setPinValue(P_RESOLUTION, size);
    ApiNode* kernel = node(NT_KERNEL_PATH);
    kernel->setPinValue(P_MAX_SAMPLES, samples);
    kernel->setPinValue(P_GI_CLAMP, 20.0f);
    // The backdrop is clean long before the things before it.
    kernel->setPinValue(P_ADAPTIVE_SAMPLING, denoise);
    kernel->setPinValue(P_MIN_ADAPTIVE_SAMPLES, std::min(16, samples));
    kernel->setPinValue(P_NOISE_THRESHOLD, 0.04f);
    ApiNode* imager = node(NT_IMAGER);
    imager->setPinValue(P_EXPOSURE, exposure_);
    imager->setPinValue(P_HIGHLIGHT_COMPRESSION, 0.4f);
    imager->setPinValue(P_DENOISER, denoise);
    ApiNode* target = node(NT_RENDER_TARGET);
    const std::pair<PinId, ApiNode*> parts[] = {{P_RENDER_GEOMETRY, group},
                                                {P_CAMERA, camera_},
                                                {P_ENVIRONMENT, environment_},
                                                {P_VISIBLE_ENVIRONMENT, visible_},
                                                {P_FILM_SETTINGS, film},
                                                {P_KERNEL, kernel},
                                                {P_IMAGER, imager}};
    for (const auto& [pin, part] : parts)
        if (part && !target->connectTo(pin, part)) refuse(part, "does not fit the render target");
    return target;
}

Matrix<float> Builder::place(Float3 at, float scale, float turnDegrees) {
    const float c = std::cos(turnDegrees * kPi / 180) * scale * kMetres;
    const float s = std::sin(turnDegrees * kPi / 180) * scale * kMetres;
    Matrix<float> m;
    m.m[0][0] = c, m.m[0][2] = s, m.m[2][0] = -s, m.m[2][2] = c, m.m[1][1] = scale * kMetres;
    m.m[0][3] = at.x * kMetres, m.m[1][3] = at.y * kMetres, m.m[2][3] = at.z * kMetres;
    return m;
}

}  // namespace pictures
