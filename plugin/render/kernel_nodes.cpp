// Render settings on the nodes of the render target: kernels, imager, post-processing.
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

/// Documents of this version and newer store the exposure as the imager takes it.
constexpr Int32 kExposureStandsFrom = 2160000;

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

bool directlyOwnedByProject(const ApiNode* node) {
    Lumora::ApiItemArray items;
    ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items.get(i) == node) return true;
    return false;
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

bool writePin(ApiNode* node, const SettingRow& row, Float value) {
    const auto pin = static_cast<PinId>(row.pin);
    switch (row.type) {
        case SettingType::Bool:
            return setBoolIfChanged(node, pin, value != 0);
        case SettingType::Int:
            return setIntIfChanged(node, pin, static_cast<int>(value));
        default:
            return setFloatIfChanged(node, pin, static_cast<float>(value));
    }
}

/// The ten switches of a light id set, first code `first`, as the bits of the mask on the pin.
bool writeLightIds(const RenderSettings& settings, ApiNode* kernel, SettingGroup group, Int32 first, PinId pin) {
    if (!kernel->hasPin(pin)) return false;
    const Int32 start = findSettingByCode(group, first);
    if (start < 0) return false;
    int mask = 0;
    for (Int32 bit = 0; bit < 10; ++bit)
        if (settings.numberAt(start + bit) != 0) mask |= 1 << bit;
    return setAttrIfChanged(ownedInput(kernel, pin, NT_BIT_MASK), A_VALUE, mask);
}

}  // namespace

ApiNode* RenderSettings::target() {
    if (renderTarget && directlyOwnedByProject(renderTarget)) return renderTarget;
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

ApiNode* RenderSettings::createImagerNode() {
    return ownedInput(target(), P_IMAGER, NT_IMAGER);
}

ApiNode* RenderSettings::createPostNode() {
    return ownedInput(target(), P_POST_PROCESSING, NT_POST_PROCESSING);
}

bool RenderSettings::applyKernelNodes() {
    if (!target()) return false;
    const bool changed = createKernelNode(kernel());
    createImagerNode();
    return connectKernel() || changed;
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
        if (row.group != info->group || !row.pin || (isAdaptiveDetail(row.pin) && !adaptive)) continue;
        changed |= writePin(node, row, pinValue(row, values_[i].number));
    }
    changed |= writeLightIds(*this, node, info->group, fourCC('L', 'I', 'D', 'S'), P_LIGHT_IDS);
    changed |= writeLightIds(*this, node, info->group, fourCC('L', 'L', 'I', 'S'), P_LIGHT_IDS_INVERTED);
    const Int32 ambient = findSetting(SettingGroup::Kernel, "tShdAmb");
    changed |= setFloat3IfChanged(node, P_SHADOW_AMBIENT, toFloat3(values_[static_cast<std::size_t>(ambient)].colour));
    return changed;
}

Float RenderSettings::imagerExposure() const {
    const auto value = [this](const char* key) {
        return static_cast<float>(numberAt(findSetting(SettingGroup::Imager, key)));
    };
    const float exposure = value("exposure");
    if (storedVersion_ >= kExposureStandsFrom) return exposure;
    // Earlier versions stored the factors of a photographic exposure.
    const float fstop = value("fstop"), iso = value("iso");
    const float converted = exposure / (fstop * fstop) * iso * 0.1f * 118.0f / 255.0f;
    logLine("Apply new exposure:" + String::FloatToString(converted) + " from:" + String::FloatToString(exposure) +
            "  version:" + String::IntToString(storedVersion_) +
            "  resp:" + String::IntToString(static_cast<Int64>(value("response"))));
    return converted;
}

bool RenderSettings::applyImager() {
    ApiNode* node = createImagerNode();
    if (!node) return false;
    bool changed = false;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group != SettingGroup::Imager || !row.pin) continue;
        if (row.type == SettingType::Colour)
            changed |= setFloat3IfChanged(node, static_cast<PinId>(row.pin), toFloat3(values_[i].colour));
        else
            changed |= writePin(node, row, row.pin == P_EXPOSURE ? imagerExposure() : values_[i].number);
    }
    const Int32 lut = findSetting(SettingGroup::Imager, "lut");
    if (values_[static_cast<std::size_t>(lut)].text.IsEmpty()) return disconnectPin(node, P_LUT) || changed;
    return changed;
}

bool RenderSettings::applyPost() {
    ApiNode* rt = target();
    if (!rt) return false;
    // Off is what a target without the node shows: it is made when it is first wanted.
    const bool on = flag(SETTING_POST_ENABLED);
    ApiNode* node = on ? createPostNode() : rt->connectedNode(P_POST_PROCESSING);
    if (!node) return false;
    bool changed = false;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group != SettingGroup::Post || !row.pin) continue;
        if (on || row.pin == P_POST_ENABLED) changed |= writePin(node, row, values_[i].number);
    }
    return changed;
}

bool RenderSettings::applyAll() {
    bool changed = applyKernelNodes();
    changed |= applyKernelSettings();
    changed |= applyImager();
    return applyPost() || changed;
}

}  // namespace lumora
