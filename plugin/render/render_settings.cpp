#include "plugin/render/render_settings.h"

#include <cmath>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/windows.h"
#include "plugin/render/container_range.h"
#include "plugin/render/document_conversion.h"
#include "plugin/render/settings_controls.h"

namespace lumora {

namespace {

/// Container ids written beside the table, for readers of older versions.
constexpr Int32 kAlwaysWritten[] = {3219, 3222};
constexpr const char* kOldSettingsObject = "myLumoraSettings";
constexpr Int32 kOldFirstId = 1000, kOldLastId = 4000;
constexpr Int32 kHostDeleteCommand = 12109;
/// Containers of this version and newer need no look at what they hold.
constexpr Int32 kNoCheckFrom = 2221004;

const SettingRow& rowAt(Int32 index) {
    return settingRows()[static_cast<std::size_t>(index)];
}

Int32 rowOfKey(const String& group, const String& key) {
    const Int32 g = findGroup(group);
    return g < 0 ? -1 : findSetting(static_cast<SettingGroup>(g), key);
}

Int32 ifType(Int32 row, SettingType type) {
    return row >= 0 && rowAt(row).type == type ? row : -1;
}

bool contains(SettingGroups groups, SettingGroup group) {
    return (groups & groupBit(group)) != 0;
}

/// Files may hold anything: what no picture can be made of reads as the default.
Float readNumber(const BaseContainer& bc, const SettingRow& row) {
    if (row.type == SettingType::Bit) {
        const Int32 set = bc.GetInt32(row.id);
        return bc.Has(row.id) ? set >> row.bit & 1 : row.stored;
    }
    const Float value = bc.GetFloat(row.id, row.stored);
    const bool isKernel = row.id == SETTING_KERNEL;
    if (!std::isfinite(value) || (isKernel && (value < row.minimum || value > row.maximum))) return row.stored;
    // Whole numbers are handed to the engine as such.
    return row.isWhole() && std::abs(value) > INT32_MAX ? row.stored : value;
}

void writeValue(BaseContainer& bc, const SettingRow& row, const SettingValue& value) {
    switch (row.type) {
        case SettingType::Colour:
            return bc.SetVector(row.id, value.colour);
        case SettingType::File:
            return bc.SetFilename(row.id, Filename(value.text));
        case SettingType::Float:
            return bc.SetFloat(row.id, value.number);
        case SettingType::Bool:
            return bc.SetBool(row.id, value.number != 0);
        case SettingType::Int:
            return bc.SetInt32(row.id, static_cast<Int32>(value.number));
        case SettingType::Bit: {
            // Bits of the set that no row has stay as they are.
            const Int32 bit = 1 << row.bit;
            const Int32 others = bc.GetInt32(row.id) & ~bit;
            return bc.SetInt32(row.id, value.number != 0 ? others | bit : others);
        }
    }
}

/// Top-level objects in which earlier versions kept the settings: the first one. All others are deleted.
BaseObject* takeOldSettings(BaseDocument& doc) {
    BaseObject* first = nullptr;
    for (BaseObject *o = doc.GetFirstObject(), *next = nullptr; o; o = next) {
        next = o->GetNext();
        if (!(o->GetName() == String(kOldSettingsObject))) continue;
        if (!first) {
            first = o;
            continue;
        }
        // The host's command deletes what is selected in the active document, and can be undone.
        BaseObject* selected = doc.GetActiveObject();
        doc.SetActiveObject(o);
        if (&doc != GetActiveDocument() || !CallCommand(kHostDeleteCommand)) {
            o->Remove();
            BaseObject::Free(o);
        }
        doc.SetActiveObject(selected == o ? nullptr : selected);
    }
    return first;
}

}  // namespace

void RenderSettings::resetDefaults() {
    const auto rows = settingRows();
    values_.resize(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) values_[i] = {rows[i].record, rows[i].colour, {}};
    storedVersion_ = kPluginVersionStamp;
}

void RenderSettings::setDocument(BaseDocument* doc, bool engineReady) {
    if (!doc) logLine("Settings's doc is NULL");
    doc_ = doc;
    engineReady_ = engineReady;
    conversionDue_ = doc != nullptr;
}

Int32 RenderSettings::kernel() const {
    return static_cast<Int32>(number(SETTING_KERNEL));
}

Float RenderSettings::number(Int32 id) const {
    const Int32 row = findSettingById(id);
    return row < 0 ? 0 : numberAt(row);
}

Vector RenderSettings::colour(Int32 id) const {
    const Int32 row = findSettingById(id);
    return row < 0 ? Vector() : valueAt(row).colour;
}

String RenderSettings::text(Int32 id) const {
    const Int32 row = findSettingById(id);
    return row < 0 ? String() : valueAt(row).text;
}

Int32 RenderSettings::maxSamples() const {
    const Int32 row = findSetting(kernelGroup(kernel()), "maxsamples");
    return row < 0 ? 1 : static_cast<Int32>(numberAt(row));
}

// --- Setting values -------------------------------------------------------------------------------------------------

bool RenderSettings::setValueAt(Int32 row, const SettingValue& value, bool apply) {
    // First the container: one that is made now may bring values of earlier versions, and so may one of an old version.
    if (doc_ && !container() && ensureContainer()) readFromContainer(*container());
    if (row >= 0) {
        SettingValue& held = values_[static_cast<std::size_t>(row)];
        held = value;
        if (rowAt(row).type == SettingType::Bit) held.number = static_cast<Float>(static_cast<Int64>(value.number) & 1);
    }
    writeToDocument();
    if (row >= 0 && apply) applyGroup(rowAt(row).group);
    return row >= 0;
}

bool RenderSettings::setValueByKey(const String& group, const String& key, Float value, bool apply) {
    // The kernel group has one number, whatever the key.
    if (group == String(groupName(SettingGroup::Kernel))) return setKernel(static_cast<Int32>(value), apply);
    const Int32 row = rowOfKey(group, key);
    return setValueAt(row >= 0 && rowAt(row).isNumber() ? row : -1, {value, {}, {}}, apply);
}

bool RenderSettings::setValueById(const String& group, Int32 code, Float value, bool apply) {
    const Int32 g = findGroup(group);
    return setValueAt(g < 0 ? -1 : findSettingByCode(static_cast<SettingGroup>(g), code), {value, {}, {}}, apply);
}

bool RenderSettings::setValueByStoredId(Int32 id, Float value, bool apply) {
    const Int32 row = findSettingById(id);
    return setValueAt(row >= 0 && rowAt(row).isNumber() ? row : -1, {value, {}, {}}, apply);
}

bool RenderSettings::setKernel(Int32 type, bool apply) {
    return setValueByStoredId(SETTING_KERNEL, type, apply);
}

bool RenderSettings::setPass(const String& key, Int32 passId, bool on, bool apply) {
    const Int32 row = key.IsEmpty() ? findPassSwitch(passId) : findSetting(SettingGroup::Pass, key);
    return setValueAt(ifType(row, SettingType::Bool), {on ? 1.0 : 0.0, {}, {}}, apply);
}

bool RenderSettings::applyColour(const String& group, const String& key, const Vector& colour, bool apply) {
    return setValueAt(ifType(rowOfKey(group, key), SettingType::Colour), {0, colour, {}}, apply);
}

bool RenderSettings::setFile(const String& group, const String& key, const Filename& file, bool apply) {
    return setValueAt(ifType(rowOfKey(group, key), SettingType::File), {0, {}, file.GetString()}, apply);
}

bool RenderSettings::applyGroup(SettingGroup group) {
    switch (group) {
        case SettingGroup::Imager:
            return applyImager();
        case SettingGroup::Post:
            return applyPost();
        case SettingGroup::Pass:
            return applyPasses(false);
        default:
            return applyKernelSettings();
    }
}

// --- Storage --------------------------------------------------------------------------------------------------------

void RenderSettings::readFromContainer(const BaseContainer& bc, SettingGroups groups) {
    storedVersion_ = bc.GetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        if (!r.id || !contains(groups, r.group)) continue;
        if (r.type == SettingType::Colour)
            values_[i].colour = bc.GetVector(r.id, r.colour);
        else if (r.type == SettingType::File)
            values_[i].text = bc.GetFilename(r.id).GetString();
        else
            values_[i].number = readNumber(bc, r);
    }
}

void RenderSettings::writeToContainer(BaseContainer& bc, SettingGroups groups) const {
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        if (r.id && contains(groups, r.group)) writeValue(bc, r, values_[i]);
    }
    for (Int32 id : kAlwaysWritten) bc.SetInt32(id, 0);
    bc.SetInt32(SETTING_STORED_VERSION, storedVersion_);
}

BaseContainer* RenderSettings::container() {
    BaseContainer* bc = doc_ ? doc_->GetDataInstance()->GetContainerInstance(ID_LUMORA_SESSION) : nullptr;
    if (bc && conversionDue_) {
        // The conversion may touch the document's data, in which the container lies.
        BaseContainer checked = *bc;
        checkVersion(checked);
        if (!(checked == *bc)) doc_->GetDataInstance()->SetContainer(ID_LUMORA_SESSION, checked);
        bc = doc_->GetDataInstance()->GetContainerInstance(ID_LUMORA_SESSION);
    }
    return bc;
}

void RenderSettings::checkVersion(BaseContainer& bc) {
    if (!conversionDue_) return;
    const Int32 version = bc.GetInt32(SETTING_STORED_VERSION);
    if (version >= 1 && version < kPluginVersionStamp) {
        logLine("Scene created in plugin version " + String::IntToString(version));
        if (version < kVersionExposure)
            logLine(
                "Scene plugin version is older than 2.16.\n Plugin will convert the some parameters of "
                "Daylight/Camera tags to keep compatibility.\n Animated attributes should be changed by manually!");
        else if (version > kVersionExposure)
            logLine(String("Scene plugin version is older than version:") + kPluginVersionText +
                    "\n Plugin will convert the parameters of displacement texture.\n Animated attributes should be "
                    "changed by manually!");
        convertDocument(*doc_, version);
        readFromContainer(bc);
        if (version < kVersionExposure) {
            const Int32 row = findSettingById(SETTING_EXPOSURE);
            values_[static_cast<std::size_t>(row)].number =
                convertedExposure(numberAt(row), number(SETTING_FSTOP), number(SETTING_ISO));
            bc.SetFloat(SETTING_EXPOSURE, numberAt(row));
        }
    }
    // A document of a newer version keeps its stamp, so that the newer version does not convert it again.
    if (version < kPluginVersionStamp) {
        bc.SetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
        storedVersion_ = kPluginVersionStamp;
    }
    if (version >= kNoCheckFrom) conversionDue_ = false;
}

bool RenderSettings::ensureContainer() {
    if (!doc_) return false;
    if (container()) return true;
    BaseContainer bc;
    if (const BaseObject* old = takeOldSettings(*doc_))
        copyRange(*old->GetDataInstance(), bc, kOldFirstId, kOldLastId);
    else
        writeToContainer(bc);
    checkVersion(bc);
    bc.SetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
    doc_->GetDataInstance()->SetContainer(ID_LUMORA_SESSION, bc);
    return container() != nullptr;
}

bool RenderSettings::readFromDocument(bool create) {
    if (create) ensureContainer();
    const BaseContainer* bc = container();
    if (bc) readFromContainer(*bc);
    return bc != nullptr;
}

bool RenderSettings::writeToDocument(SettingGroups groups) {
    BaseContainer* bc = container();
    if (!bc) {
        values_[static_cast<std::size_t>(findSettingById(SETTING_KERNEL))].number = KERNEL_DIRECT;
        if (ensureContainer()) bc = container();
    }
    if (bc) writeToContainer(*bc, groups);
    return bc != nullptr;
}

void RenderSettings::writeToDialog(SessionWindow& dialog) const {
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        const SettingValue& value = values_[i];
        if (r.id == SETTING_SHADOW_AMBIENT)
            for (const Int32 element : shadowAmbientControls()) dialog.setColour(element, value.colour);
        else if (r.element == 0)
            continue;
        else if (r.type == SettingType::Colour)
            dialog.setColour(r.element, value.colour);
        else if (r.type == SettingType::File)
            dialog.setText(r.element, value.text);
        else
            dialog.setValue(r.element, value.number);
    }
}

bool RenderSettings::restoreDefaults() {
    if (!doc_) {
        resetDefaults();
        return false;
    }
    if (BaseObject* old = takeOldSettings(*doc_)) {
        old->Remove();
        BaseObject::Free(old);
    }
    doc_->GetDataInstance()->RemoveData(ID_LUMORA_SESSION);
    resetDefaults();
    return ensureContainer() && writeToDocument() && readFromDocument(false);
}

}  // namespace lumora
