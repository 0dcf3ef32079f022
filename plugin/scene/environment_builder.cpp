#include "plugin/scene/environment_builder.h"

#include "plugin/core/log.h"
#include "plugin/materials/material_generation.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

// What an update reports.
enum UpdateCode : Int32 { ENV_UNCHANGED = 0, ENV_CHANGED = 1, ENV_NEW_SKY = 2, ENV_VALUES = 3 };

/// What the sky's last texture tag with a material lays on it.
struct SkyMaterial {
    const TextureTag* tag = nullptr;
    BaseMaterial* material = nullptr;
};

SkyMaterial findSkyMaterial(const BaseObject* sky) {
    SkyMaterial found;
    if (!sky) return found;
    for (const BaseTag* t = sky->GetFirstTag(); t; t = t->GetNext()) {
        if (t->GetType() != Ttexture) continue;
        const auto* tag = static_cast<const TextureTag*>(t);
        if (BaseMaterial* material = tag->GetMaterial()) found = {tag, material};
    }
    return found;
}

PinId environmentPin(bool visible) {
    return visible ? P_VISIBLE_ENVIRONMENT : P_ENVIRONMENT;
}

/// Keeps the builder's busy flag for a scope.
struct BusyGuard {
    bool& flag;
    explicit BusyGuard(bool& f) : flag(f) { flag = true; }
    ~BusyGuard() { flag = false; }
};

}  // namespace

void EnvironmentBuilder::setDocument(BaseDocument* doc) {
    doc_ = doc;
    updateCount_ = 0;
}

void EnvironmentBuilder::setVisible(bool visible) {
    visible_ = visible;
}

void EnvironmentBuilder::reset() {
    renderTarget_ = envNode_ = outputLinker_ = nullptr;
    graph_ = textureGraph_ = nullptr;
    doc_ = nullptr;
    skyLink_ = sunLink_ = BaseLink();
    built_ = busy_ = softSky_ = false;
    stateSum_ = 0;
    updateCount_ = 0;
}

void EnvironmentBuilder::setSky(BaseObject* sky) {
    if (skyLink_.ForceGetLink() == sky) return;
    updated_ = ENV_NEW_SKY;
    built_ = false;
    skyLink_.SetLink(sky);
    debugLine(String("SET SKY=") + (sky ? sky->GetName() : String()));
}

void EnvironmentBuilder::setSun(BaseObject* sun) {
    sunLink_.SetLink(sun);
}

bool EnvironmentBuilder::ensureNodes() {
    const PinId pin = environmentPin(visible_);
    ApiNode* held = renderTarget_->connectedNode(pin);
    if (held && held == outputLinker_ && envNode_) return true;
    graph_ = createGraph(ApiProjectManager::rootNodeGraph(), visible_ ? "Visible environment" : "Environment");
    if (!graph_) return false;
    outputLinker_ = createNode(NT_OUT_ENVIRONMENT, *graph_);
    envNode_ = createNode(NT_ENV_TEXTURE, *graph_);
    textureGraph_ = nullptr;
    built_ = false;
    connectIfChanged(outputLinker_, P_INPUT, envNode_);
    connectIfChanged(renderTarget_, pin, outputLinker_);
    return outputLinker_ && envNode_;
}

void EnvironmentBuilder::removeEnvironment() {
    disconnectPin(renderTarget_, environmentPin(visible_));
    destroyItem(graph_);
    textureGraph_ = nullptr;
    envNode_ = outputLinker_ = nullptr;
    built_ = false;
}

UInt32 EnvironmentBuilder::stateSum(const BaseObject* sky) const {
    if (!sky) return 0;
    const SkyMaterial laid = findSkyMaterial(sky);
    return sky->GetHDirty(HDIRTYFLAGS_ALL) + (laid.material ? dirtySum(*laid.material) : 0) + 1;
}

bool EnvironmentBuilder::buildTexture(const BaseObject* sky) {
    const SkyMaterial laid = findSkyMaterial(sky);
    softSky_ = !laid.material;
    if (softSky_) {
        // A plain colour is one node that stays.
        if (textureGraph_) {
            disconnectPin(envNode_, P_TEXTURE);
            destroyItem(textureGraph_);
        }
        const Vector colour = shaders_.toLinear(colour_);
        if (!visible_) logLine("The scene has no sky: a soft sky of one colour lights it.");
        return setRgbNode(envNode_, P_TEXTURE, toFloat3(colour));
    }
    if (!laid.material->GetDataInstance()->GetBool(MATERIAL_USE_COLOR)) return disconnectPin(envNode_, P_TEXTURE);

    ApiNodeGraph* old = textureGraph_;
    textureGraph_ = createGraph(*graph_, "Sky");
    if (!textureGraph_) return false;
    ApiNode* linker = createNode(NT_OUT_TEXTURE, *textureGraph_);
    MatLink link;
    link.name = laid.material->GetName();
    link.graph = textureGraph_;
    ApiNode* texture = channelColorNode(shaders_, *laid.material, link);
    connectIfChanged(linker, P_INPUT, texture);
    connectIfChanged(envNode_, P_TEXTURE, linker);
    destroyItem(old);

    const BaseContainer& tag = *laid.tag->GetDataInstance();
    const Float3 move{static_cast<float>(tag.GetFloat(TEXTURETAG_OFFSETX, 0.0)),
                      static_cast<float>(tag.GetFloat(TEXTURETAG_OFFSETY, 0.0)), 0.0f};
    if (texture && texture->hasPin(P_TRANSFORM) && (move.x != 0 || move.y != 0))
        setAttrIfChanged(ownedInput(texture, P_TRANSFORM, NT_TRANSFORM_VALUE), A_TRANSLATION, move, false);
    return true;
}

Int32 EnvironmentBuilder::update(bool force, ApiNode* renderTarget, bool /*primary*/) {
    if (!doc_ || !renderTarget || busy_) return ENV_UNCHANGED;
    const BusyGuard guard(busy_);
    renderTarget_ = renderTarget;
    Int32 result = updated_;
    updated_ = ENV_UNCHANGED;
    const auto* sky = static_cast<const BaseObject*>(skyLink_.GetLink(doc_));

    if (visible_ && !sky) {
        if (!envNode_) return ENV_UNCHANGED;
        removeEnvironment();
        return ENV_CHANGED;
    }
    if (!ensureNodes()) return ENV_UNCHANGED;
    const UInt32 sum = stateSum(sky);
    const Vector colour = settings_ ? settings_->environmentColour() : Vector(0.9);
    if (force || !built_ || sum != stateSum_ || !(colour == colour_)) {
        shaders_.setDocument(doc_, nullptr);
        shaders_.reuseNodes = false;
        stateSum_ = sum;
        colour_ = colour;
        built_ = true;
        if (buildTexture(sky) && result == ENV_UNCHANGED) result = ENV_VALUES;
    }
    if (setFloatIfChanged(envNode_, P_POWER, 1.0f) && result == ENV_UNCHANGED) result = ENV_CHANGED;
    // The first updates of a scene belong to its send.
    if (updateCount_ < 2) result = ENV_UNCHANGED;
    ++updateCount_;
    return result;
}

}  // namespace lumora
