// Render settings on the nodes of the render target: the kernels, and the order of all of them.
#include <algorithm>

#include "engine/api/lumora_api.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/prefs.h"
#include "plugin/render/pin_write.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

/// One of the four kernels.
struct KernelInfo {
    NodeType type;
    SettingGroup group;
    const char *used, *created;
};

// By kernel type.
constexpr KernelInfo kKernels[] = {
    {NT_KERNEL_INFO, SettingGroup::Info, "use active InfoChannelKernel", "create InfoChannelKernel"},
    {NT_KERNEL_DIRECT, SettingGroup::Direct, "use active DirectLighting Kernel", "create DirectLighting Kernel"},
    {NT_KERNEL_PATH, SettingGroup::Path, "use active PathTracing", "create PathTracing"},
    {NT_KERNEL_PMC, SettingGroup::Pmc, "use active PMCKernel", "create PMCKernel"},
};

const KernelInfo* kernelInfo(Int32 kernel) {
    return kernel >= 0 && kernel < 4 ? &kKernels[kernel] : nullptr;
}

/// Pins whose number is not the setting's own.
Float pinValue(const SettingRow& row, Float value) {
    switch (row.pin) {
        case P_GI_MODE:
            if (row.group == SettingGroup::Direct) return value <= 0 ? 0 : value == 1 ? 3 : 4;
            return value;
        case P_LIGHT_IDS_ACTION:
            return 1 - value;
        case P_PIXEL_GROUPING:
            return value + 1;
        default:
            return value;
    }
}

/// Details of adaptive sampling, sent only while it is on.
bool isAdaptiveDetail(Int32 pin) {
    return pin == P_NOISE_THRESHOLD || pin == P_MIN_ADAPTIVE_SAMPLES || pin == P_EXPECTED_EXPOSURE ||
           pin == P_PIXEL_GROUPING;
}

/// What of textures and geometry may stay in the machine's memory, and what the devices keep free. No scene change.
void applyOutOfCore(const PluginPrefs& prefs) {
    using Engine = Lumora::ApiRenderEngine;
    if (!prefs.getBool(PREF_OUT_OF_CORE)) {
        if (Engine::outOfCoreEnabled()) Engine::disableOutOfCore();
        return;
    }
    constexpr Float kGigabyte = 1024.0 * 1024.0 * 1024.0, kMegabyte = 1024.0 * 1024.0;
    constexpr Float kMostGigabytes = 64, kMostMegabytes = 1024;  // as the dialog allows; files may hold anything
    const auto bytes = [](Float value, Float most, Float unit) {
        return static_cast<unsigned long long>(std::clamp(value, 0.0, most) * unit);
    };
    const unsigned long long limit = bytes(prefs.getFloat(PREF_RAM_LIMIT), kMostGigabytes, kGigabyte),
                             headRoom = bytes(prefs.getFloat(PREF_HEAD_ROOM), kMostMegabytes, kMegabyte);
    unsigned long long used = 0, oldLimit = 0, textures = 0, geometry = 0, oldHeadRoom = 0;
    Engine::getOutOfCoreMemoryUsage(used, oldLimit, textures, geometry, oldHeadRoom);
    if (!Engine::outOfCoreEnabled() || limit != oldLimit || headRoom != oldHeadRoom)
        Engine::enableOutOfCore(limit, headRoom);
}

}  // namespace

ApiNode* RenderSettings::target() {
    if (ownedDirectly(renderTarget, ApiProjectManager::rootNodeGraph())) return renderTarget;
    renderTarget = ApiProjectManager::rootNodeGraph().findFirstNode(NT_RENDER_TARGET);
    return renderTarget;
}

bool RenderSettings::createKernelNode(Int32 type) {
    const KernelInfo* info = kernelInfo(type);
    if (!info) return false;
    ApiNode*& node = kernelNodes_[type];
    if (!target()) {
        node = nullptr;
        if (type == KERNEL_DIRECT) logLine("********* DL RenderTarget is NULL **********");
        return false;
    }
    auto& root = ApiProjectManager::rootNodeGraph();
    node = root.findFirstNode(info->type);
    if (node) {
        debugLine(info->used);
    } else {
        debugLine(info->created);
        node = createNode(info->type, root);
    }
    return connectKernel();
}

bool RenderSettings::connectKernel() {
    ApiNode* rt = target();
    if (!rt) {
        logLine("RT is NULL");
        return false;
    }
    const KernelInfo* info = kernelInfo(kernel());
    return info && connectIfChanged(rt, P_KERNEL, kernelNodes_[kernel()]);
}

bool RenderSettings::applyKernelNodes() {
    if (!target()) return false;
    bool changed = createKernelNode(kernel());
    createImagerNode();
    changed |= connectKernel();
    return applyPasses(false) || changed;
}

/// The ten switches of a light id set as the bits of the mask on the pin.
bool RenderSettings::writeLightIds(ApiNode* kernel, SettingGroup group, PinId pin) {
    if (!kernel->hasPin(pin)) return false;
    int mask = 0;
    for (std::size_t i = 0; i < values_.size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group == group && row.type == SettingType::Bit && row.pin == pin && values_[i].number != 0)
            mask |= 1 << row.bit;
    }
    return setAttrIfChanged(ownedInput(kernel, pin, NT_BIT_MASK), A_VALUE, mask);
}

bool RenderSettings::applyKernelSettings() {
    const KernelInfo* info = kernelInfo(kernel());
    if (!doc_ || !engineReady_ || !target() || !info) return false;
    bool changed = createKernelNode(kernel());
    ApiNode* node = kernelNodes_[kernel()];
    if (!node) return false;
    const Int32 adaptiveRow = findSettingByCode(info->group, fourCC('A', 'S', 'M', 'P'));
    const bool adaptive = adaptiveRow >= 0 && numberAt(adaptiveRow) != 0;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group != info->group || !row.pin || row.type == SettingType::Bit) continue;
        if (row.pin == P_ALPHA_CHANNEL) alphaChannel_ = values_[i].number != 0;
        if (isAdaptiveDetail(row.pin) && !adaptive) continue;
        changed |= writePin(node, row, pinValue(row, values_[i].number));
    }
    changed |= writeLightIds(node, info->group, P_LIGHT_IDS);
    changed |= writeLightIds(node, info->group, P_LIGHT_IDS_INVERTED);
    changed |= setFloat3IfChanged(node, P_SHADOW_AMBIENT, toFloat3(colour(SETTING_SHADOW_AMBIENT)));
    // Kernels without adaptive sampling need no noise pass.
    return setNoisePass(adaptive) || changed;
}

bool RenderSettings::apply(ApiNode* onTarget, const PluginPrefs* prefs) {
    if (onTarget) renderTarget = onTarget;
    if (prefs && engineReady_) applyOutOfCore(*prefs);
    bool changed = applyKernelNodes();
    changed |= applyKernelSettings();
    changed |= applyPasses(false);
    changed |= applyImager();
    return applyPost() || changed;
}

}  // namespace lumora
