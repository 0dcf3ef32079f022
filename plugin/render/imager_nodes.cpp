// Render settings on the camera imager, its LUT, and post-processing.
#include <cstring>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/render/document_conversion.h"
#include "plugin/render/pin_write.h"
#include "plugin/render/render_settings.h"

namespace lumora {

ApiNode* RenderSettings::createImagerNode() {
    return ownedInput(target(), P_IMAGER, NT_IMAGER);
}

ApiNode* RenderSettings::createPostNode() {
    return ownedInput(target(), P_POST_PROCESSING, NT_POST_PROCESSING);
}

Float RenderSettings::imagerExposure() const {
    const auto value = [this](Int32 id) { return static_cast<float>(number(id)); };
    const float exposure = value(SETTING_EXPOSURE), fstop = value(SETTING_FSTOP);
    if (storedVersion_ >= kVersionExposure || fstop == 0) return exposure;
    // Earlier versions stored the factors of a photographic exposure.
    const float converted = exposure / (fstop * fstop) * value(SETTING_ISO) * 0.1f * 118.0f / 255.0f;
    logLine("Apply new exposure:" + String::FloatToString(converted) + " from:" + String::FloatToString(exposure) +
            "  version:" + String::IntToString(storedVersion_) +
            "  resp:" + String::IntToString(static_cast<Int64>(number(SETTING_RESPONSE))));
    return converted;
}

bool RenderSettings::applyLutFile(ApiNode* imager, const String& name) {
    if (name.IsEmpty()) return disconnectPin(imager, P_LUT);
    Filename file;
    const Filename folder = doc_ ? doc_->GetDocumentPath() : Filename();
    if (!GenerateTexturePath(folder, Filename(name), {}, &file)) file = {};
    if (file.IsEmpty()) {
        if (!(missingLut_ == name)) logLine("Warning: the LUT file \"" + name + "\" was not found; it is left out.");
        missingLut_ = name;
        return disconnectPin(imager, P_LUT);
    }
    missingLut_ = {};
    ApiNode* lut = ownedInput(imager, P_LUT, NT_LUT);
    if (!lut) return false;
    bool changed = false;
    const char* held = lut->pluginDataStr();
    if (!held || std::strcmp(held, file.c_str()) != 0) {
        changed = setAttrIfChanged(lut, A_FILENAME, file.c_str());
        setPluginDataStrIfChanged(lut, file.c_str());
    }
    return writeGroupPins(lut, SettingGroup::Imager, PinHome::Lut) || changed;
}

bool RenderSettings::writeGroupPins(ApiNode* node, SettingGroup group, PinHome home) {
    bool changed = false;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group != group || row.home != home || row.pass) continue;
        if (row.type == SettingType::File)
            changed |= applyLutFile(node, text(SETTING_LUT_FILE));
        else if (row.pin == 0)
            continue;
        else if (row.type == SettingType::Colour)
            changed |= setFloat3IfChanged(node, static_cast<PinId>(row.pin), toFloat3(values_[i].colour));
        else
            changed |= writePin(node, row, row.id == SETTING_EXPOSURE ? imagerExposure() : values_[i].number);
    }
    return changed;
}

bool RenderSettings::applyImager() {
    if (imagerOverridden) return false;
    ApiNode* node = createImagerNode();
    return node && writeGroupPins(node, SettingGroup::Imager, PinHome::Group);
}

bool RenderSettings::applyPost() {
    ApiNode* rt = target();
    if (!rt || postOverridden) return false;
    // Off is what a target without the node shows: it is made when it is first wanted.
    const bool on = flag(SETTING_POST_ENABLED);
    ApiNode* node = on ? createPostNode() : rt->connectedNode(P_POST_PROCESSING);
    if (!node) return false;
    bool switched = false, changed = false;
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& row = settingRows()[i];
        if (row.group != SettingGroup::Post || !row.pin) continue;
        if (row.pin == P_POST_ENABLED)
            switched = writePin(node, row, values_[i].number);
        else if (on)
            changed |= writePin(node, row, values_[i].number);
    }
    if (changed)
        SpecialEventAdd(MSG_REFRESH_DIALOGS);
    else if (switched)
        SpecialEventAdd(MSG_POST_SWITCHED);
    return changed || switched;
}

}  // namespace lumora
