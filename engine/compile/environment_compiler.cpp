#include "engine/compile/environment_compiler.h"

namespace Lumora::engine {

namespace {

/// Every node that a node is made of, each once.
void collect(const NodeTable& nodes, ItemUid uid, std::unordered_set<ItemUid>& seen, std::vector<NodeRecordPtr>& out) {
    std::vector<ItemUid> open{uid};
    while (!open.empty()) {
        const ItemUid next = open.back();
        open.pop_back();
        if (next == 0 || !seen.insert(next).second) continue;
        const NodeRecordPtr& record = nodes.share(next);
        if (!record) continue;
        out.push_back(record);
        for (const PinRecord& pin : record->pins) open.push_back(pin.input);
    }
}

SkyParameters readSky(const NodeTable& nodes, const NodeRecord& node) {
    SkyParameters p;
    p.model = nodes.integer(node, P_SKY_MODEL, 1) == 0 ? SkyModel::Analytic : SkyModel::Scattering;
    const Float3 d = normalize(nodes.vector(node, P_SUN_DIRECTION, {0, 1, 0}));
    if (d != Float3{} && isFinite(d)) p.sunDirection = d;
    // One is half a turn, from above against the clock.
    const float turn = std::clamp(nodes.number(node, P_NORTH_OFFSET, 0.0f), -1.0f, 1.0f) * kPi;
    const float c = std::cos(turn), s = std::sin(turn);
    p.sunDirection = normalize(
        {p.sunDirection.x * c + p.sunDirection.z * s, p.sunDirection.y, p.sunDirection.z * c - p.sunDirection.x * s});
    p.turbidity = std::clamp(nodes.number(node, P_TURBIDITY, 2.2f), 2.0f, 15.0f);
    p.sunSize = std::clamp(nodes.number(node, P_SUN_SIZE, 1.0f), 0.1f, 30.0f);
    p.skyColor = clamp01(nodes.vector(node, P_SKY_COLOR, kNeutralSkyColor));
    p.sunsetColor = clamp01(nodes.vector(node, P_SUNSET_COLOR, kNeutralSunsetColor));
    p.groundColor = clamp01(nodes.vector(node, P_GROUND_COLOR, {}));
    p.groundStart = std::clamp(nodes.number(node, P_GROUND_START_ANGLE, 90.0f), 0.0f, 90.0f);
    p.groundBlend = std::clamp(nodes.number(node, P_GROUND_BLEND_ANGLE, 1.0f), 0.01f, 90.0f);
    return p;
}

}  // namespace

std::shared_ptr<const Environment> EnvironmentCompiler::compile(const NodeTable& nodes, ItemUid uid, ImageStore& images,
                                                                const LogFunction& log) {
    const NodeRecord* node = nodes.find(uid);
    if (!node) return nullptr;
    if (node->type != NT_ENV_DAYLIGHT && node->type != NT_ENV_TEXTURE) {
        if (log) log("Environments of node type " + std::to_string(node->type) + " are left out.");
        return nullptr;
    }
    auto source = std::make_shared<EnvironmentSource>();
    Key key;
    key.hasSky = node->type == NT_ENV_DAYLIGHT;
    TextureCompiler textures(nodes, images, source->textures, log);
    textures.withoutPyramids();
    std::unordered_set<ItemUid> seen;
    collect(nodes, node->input(P_TEXTURE), seen, key.records);
    if (key.hasSky) {
        source->texture = textures.connected(*node, P_TEXTURE);
        key.sky = readSky(nodes, *node);
    } else {
        source->texture = textures.onPin(*node, P_TEXTURE, splat(1.0f));
    }
    if (const PinRecord* pin = node->pin(P_TEXTURE)) key.hasValue = toVector(pin->value, key.value);
    for (const ImageLookup& lookup : source->textures.images) key.images.push_back(lookup.image);
    if (!source_ || key != key_) {
        if (key.hasSky) {
            const bool same = source_ && source_->sky && source_->sky->parameters() == key.sky;
            source->sky = same ? source_->sky : std::make_shared<const Sky>(key.sky);
        }
        source->measure();
        source_ = std::move(source);
        key_ = std::move(key);
    }
    auto e = std::make_shared<Environment>();
    e->source = source_;
    e->power = std::max(nodes.number(*node, P_POWER, 1.0f), 0.0f);
    e->sampled = nodes.flag(*node, P_IMPORTANCE_SAMPLING, true);
    e->showBackplate = nodes.flag(*node, P_VISIBLE_BACKPLATE, true);
    e->showReflections = nodes.flag(*node, P_VISIBLE_REFLECTIONS, false);
    e->showRefractions = nodes.flag(*node, P_VISIBLE_REFRACTIONS, false);
    if (const Sky* sky = source_->sky.get()) {
        e->sunDirection = sky->parameters().sunDirection;
        e->sunCosine = sky->sunCosine();
        e->sunRadiance = sky->sunRadiance() * e->power;
    }
    return e;
}

std::shared_ptr<const Environment> compileAmbient(const NodeTable& nodes, ItemUid uid, PinId pin, ImageStore& images,
                                                  const LogFunction& log) {
    const NodeRecord* node = nodes.find(uid);
    if (!node) return nullptr;
    auto source = std::make_shared<EnvironmentSource>();
    TextureCompiler textures(nodes, images, source->textures, log);
    textures.withoutPyramids();
    source->texture = textures.connected(*node, pin);
    if (source->texture == kNoTexture) return nullptr;
    source->measure();
    auto e = std::make_shared<Environment>();
    e->source = std::move(source);
    return e;
}

}  // namespace Lumora::engine
