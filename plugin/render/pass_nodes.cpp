// Render settings on the nodes of the render passes and of the render layer.
#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/render/pass_table.h"
#include "plugin/render/pin_write.h"
#include "plugin/render/render_settings.h"

namespace lumora {

using Engine = Lumora::ApiRenderEngine;

namespace {

constexpr Int32 kWaitMs = 10;

bool isPassSwitch(const SettingRow& row) {
    return row.kind == kPassKind;
}

PinId pinOf(const SettingRow& row) {
    return static_cast<PinId>(row.pin);
}

/// Pictures are made of this pass alone; 0: of the beauty pass.
void showPass(Int32 pin) {
    Lumora::ApiArray<Lumora::RenderPassId> shown;
    Lumora::RenderPassId pass{};
    for (const PassRow& row : passRows())
        if (pin != 0 && row.pin == pin) {
            pass = static_cast<Lumora::RenderPassId>(row.pass);
            shown.data = &pass;
            shown.size = 1;
        }
    Engine::setAsyncTonemapRenderPasses(shown);
}

}  // namespace

/// Switches and shared settings. Pins that the node does not have are left out: the table may be longer than the node.
bool RenderSettings::writePasses(ApiNode* passes) {
    bool changed = false;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (!isPassSwitch(row) || !passes->hasPin(pinOf(row))) continue;
        const bool held = (noisePass_ && row.pin == P_PASS_NOISE) || row.pin == shownPassPin;
        changed |= setBoolIfChanged(passes, pinOf(row), held || values_[i].number != 0);
    }
    changed |= writeGroupPins(passes, SettingGroup::Pass, PinHome::Group);
    return setIntIfChanged(passes, P_UV_SET, static_cast<int>(number(SETTING_INFO_UV_SET))) || changed;
}

/// The layer node is there while the layer is on.
bool RenderSettings::writeLayer(ApiNode* rt) {
    if (!flag(SETTING_LAYER_ON)) return disconnectPin(rt, P_RENDER_LAYER);
    const bool isNew = !rt->connectedNode(P_RENDER_LAYER);
    ApiNode* layer = ownedInput(rt, P_RENDER_LAYER, NT_RENDER_LAYER);
    return layer && (writeGroupPins(layer, SettingGroup::Pass, PinHome::Layer) || isNew);
}

bool RenderSettings::applyPasses(bool notify) {
    ApiNode* rt = target();
    if (!rt) return false;
    bool changed = false;
    const bool on = flag(SETTING_PASSES_ON);
    ApiNode* passes = rt->connectedNode(P_RENDER_PASSES);
    if (on) {
        bool any = noisePass_ || shownPassPin != 0;
        for (std::size_t i = 0; i < settingRows().size() && !any; ++i)
            any = isPassSwitch(settingRows()[i]) && values_[i].number != 0;
        if (any) {
            changed |= !passes;
            passes = ownedInput(rt, P_RENDER_PASSES, NT_RENDER_PASSES);
            if (passes) changed |= writePasses(passes);
        } else {
            changed |= disconnectPin(rt, P_RENDER_PASSES);
        }
        changed |= writeLayer(rt);
    } else {
        if (passes && !noisePass_) {
            changed |= disconnectPin(rt, P_RENDER_PASSES);
        } else if (passes) {
            for (const SettingRow& row : settingRows())
                if (isPassSwitch(row) && row.pin != P_PASS_NOISE && passes->hasPin(pinOf(row)))
                    changed |= setBoolIfChanged(passes, pinOf(row), false);
        }
        changed |= disconnectPin(rt, P_RENDER_LAYER);
    }
    if (notify && changed) {
        if (on) showPass(shownPassPin);
        if (lumoraLive* live = session()) callUpdate(*live, false, "RPass");
    }
    return changed;
}

bool RenderSettings::setAllPasses(bool on) {
    ApiNode* rt = target();
    ApiNode* passes = rt ? rt->connectedNode(P_RENDER_PASSES) : nullptr;
    if (!passes) return false;
    bool changed = false;
    for (const SettingRow& row : settingRows())
        if (isPassSwitch(row) && passes->hasPin(pinOf(row))) changed |= setBoolIfChanged(passes, pinOf(row), on);
    return changed;
}

bool RenderSettings::setLayerPass(bool on, Int32 layerId, bool invert) {
    ApiNode* rt = target();
    ApiNode* passes = rt ? ownedInput(rt, P_RENDER_PASSES, NT_RENDER_PASSES) : nullptr;
    if (!passes) return false;
    bool changed = false;
    if (on) {
        ApiNode* layer = ownedInput(rt, P_RENDER_LAYER, NT_RENDER_LAYER);
        changed |= setBoolIfChanged(layer, P_ENABLED, true);
        changed |= setBoolIfChanged(layer, P_INVERT, invert);
        changed |= setIntIfChanged(layer, P_LAYER_ID, layerId);
        changed |= writeGroupPins(passes, SettingGroup::Pass, PinHome::Group);
        changed |= setBoolIfChanged(passes, P_PASS_LAYER_MASK, true);
    } else {
        changed |= disconnectPin(rt, P_RENDER_LAYER);
    }
    lumoraLive* live = session();
    if (!live || live->motionAnalysis) return changed;
    if (!callUpdate(*live, false, "RLayer")) return changed;
    const unsigned long long level = Engine::getCurrentChangeLevel();
    while (Engine::getRenderImageChangeLevel() < level && !sendBroken() && !globals().renderFailed) GeSleep(kWaitMs);
    return changed;
}

bool RenderSettings::setNoisePass(bool on) {
    noisePass_ = false;
    lumoraLive* live = session();
    if (live && live->finalRender) return false;
    ApiNode* rt = target();
    if (!rt) return false;
    if (on) {
        ApiNode* passes = ownedInput(rt, P_RENDER_PASSES, NT_RENDER_PASSES);
        noisePass_ = passes != nullptr;
        return setBoolIfChanged(passes, P_PASS_NOISE, true);
    }
    ApiNode* passes = rt->connectedNode(P_RENDER_PASSES);
    const bool wanted = flag(SETTING_NOISE_PASS) && flag(SETTING_PASSES_ON);
    const bool changed = passes && setBoolIfChanged(passes, P_PASS_NOISE, wanted);
    if (changed && shownPassPin == P_PASS_NOISE) {
        // The view goes back to the picture.
        shownPassPin = 0;
        showPass(0);
    }
    return changed;
}

}  // namespace lumora
