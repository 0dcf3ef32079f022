#include "plugin/render/render_settings.h"

#include <cmath>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"

namespace lumora {

namespace {

/// Kernels as a person types them.
constexpr std::pair<const char*, KernelType> kKernelNames[] = {
    {"info", KERNEL_INFO}, {"direct", KERNEL_DIRECT}, {"path", KERNEL_PATH}, {"pmc", KERNEL_PMC}};

/// Container ids written beside the table, for readers of older versions.
constexpr Int32 kAlwaysWritten[] = {3219, 3222};
constexpr const char* kOldSettingsObject = "myLumoraSettings";
constexpr Int32 kOldFirstId = 1000, kOldLastId = 4000;

const SettingRow& rowAt(Int32 index) {
    return settingRows()[static_cast<std::size_t>(index)];
}

bool isNumber(const SettingRow& r) {
    return r.type != SettingType::Colour && r.type != SettingType::File;
}

bool isWhole(const SettingRow& r) {
    return r.type == SettingType::Int || r.type == SettingType::Bool || r.type == SettingType::Bit;
}

SettingGroup kernelGroup(Int32 kernel) {
    switch (kernel) {
        case KERNEL_INFO:
            return SettingGroup::Info;
        case KERNEL_DIRECT:
            return SettingGroup::Direct;
        case KERNEL_PMC:
            return SettingGroup::Pmc;
        default:
            return SettingGroup::Path;
    }
}

String codeText(Int32 code) {
    String text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += String(std::string(1, static_cast<char>(code >> shift & 0xFF)));
    return text;
}

/// How a person names the setting: by its key, else its code, else its pass.
String addressOf(const SettingRow& r) {
    String name = r.key;
    if (name.IsEmpty() && r.code) name = codeText(r.code);
    if (name.IsEmpty() && r.pass) name = String::IntToString(r.pass);
    if (name.IsEmpty()) name = String::IntToString(r.id);
    const String group = groupName(r.group);
    return group.IsEmpty() ? name : group + "." + name;
}

String numberText(const SettingRow& r, Float value) {
    if (isWhole(r)) return String::IntToString(static_cast<Int64>(value));
    return String::FloatToString(value);
}

String rangeText(const SettingRow& r) {
    if (r.type == SettingType::Bool || r.type == SettingType::Bit) return "0, 1";
    if (!isNumber(r) || r.minimum == r.maximum) return {};
    return numberText(r, r.minimum) + " to " + numberText(r, r.maximum);
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
    return row < 0 ? Vector() : values_[static_cast<std::size_t>(row)].colour;
}

String RenderSettings::text(Int32 id) const {
    const Int32 row = findSettingById(id);
    return row < 0 ? String() : values_[static_cast<std::size_t>(row)].text;
}

Int32 RenderSettings::maxSamples() const {
    const Int32 row = findSetting(kernelGroup(kernel()), "maxsamples");
    return row < 0 ? 1 : static_cast<Int32>(numberAt(row));
}

// --- Setting values -------------------------------------------------------------------------------------------------

bool RenderSettings::change(Int32 row, const Value& value, bool apply) {
    // The container follows whether the address was known or not.
    if (row >= 0) values_[static_cast<std::size_t>(row)] = value;
    writeToDocument();
    if (row >= 0 && apply) applyGroup(rowAt(row).group);
    return row >= 0;
}

bool RenderSettings::setValueByKey(const String& group, const String& key, Float value, bool apply) {
    const Int32 g = findGroup(group);
    const Int32 row = g < 0 ? -1 : findSetting(static_cast<SettingGroup>(g), key);
    return change(row >= 0 && isNumber(rowAt(row)) ? row : -1, {value, {}, {}}, apply);
}

bool RenderSettings::setValueByCode(const String& group, Int32 code, Float value, bool apply) {
    const Int32 g = findGroup(group);
    const Int32 row = g < 0 ? -1 : findSettingByCode(static_cast<SettingGroup>(g), code);
    // A bit of a set takes the value's low bit.
    if (row >= 0 && rowAt(row).type == SettingType::Bit) value = static_cast<Float>(static_cast<Int64>(value) & 1);
    return change(row, {value, {}, {}}, apply);
}

bool RenderSettings::setValueById(Int32 id, Float value, bool apply) {
    const Int32 row = findSettingById(id);
    return change(row >= 0 && isNumber(rowAt(row)) ? row : -1, {value, {}, {}}, apply);
}

bool RenderSettings::setKernel(Int32 type, bool apply) {
    return setValueById(SETTING_KERNEL, type, apply);
}

bool RenderSettings::setPass(Int32 passId, bool on, bool apply) {
    return change(findPassSwitch(passId), {on ? 1.0 : 0.0, {}, {}}, apply);
}

bool RenderSettings::setColour(const String& group, const String& key, const Vector& colour, bool apply) {
    const Int32 g = findGroup(group);
    const Int32 row = g < 0 ? -1 : findSetting(static_cast<SettingGroup>(g), key);
    return change(row >= 0 && rowAt(row).type == SettingType::Colour ? row : -1, {0, colour, {}}, apply);
}

bool RenderSettings::setFile(const String& group, const String& key, const Filename& file, bool apply) {
    const Int32 g = findGroup(group);
    const Int32 row = g < 0 ? -1 : findSetting(static_cast<SettingGroup>(g), key);
    return change(row >= 0 && rowAt(row).type == SettingType::File ? row : -1, {0, {}, file.GetString()}, apply);
}

bool RenderSettings::applyGroup(SettingGroup group) {
    switch (group) {
        case SettingGroup::Imager:
            return applyImager();
        case SettingGroup::Post:
            return applyPost();
        default:
            return applyKernelSettings();
    }
}

bool RenderSettings::setFromText(const String& key, const String& value, String* error) {
    const auto fail = [&](const String& why) {
        if (error) *error = why;
        return false;
    };
    Int32 row = -1;
    String text = value;
    if (key == String("kernel")) {
        row = findSettingById(SETTING_KERNEL);
        for (const auto& [name, type] : kKernelNames)
            if (text == String(name)) text = String::IntToString(type);
    } else if (key == String("samples")) {
        row = findSetting(kernelGroup(kernel()), "maxsamples");
    } else {
        for (std::size_t i = 0; row < 0 && i < settingRows().size(); ++i)
            if (addressOf(settingRows()[i]) == key) row = static_cast<Int32>(i);
    }
    if (row < 0) return fail("There is no setting \"" + key + "\".");
    const SettingRow& r = rowAt(row);
    if (r.type == SettingType::File) return change(row, {0, {}, text}, false);
    if (r.type == SettingType::Colour) {
        Vector c;
        char rest = 0;
        if (std::sscanf(text.c_str(), "%lf , %lf , %lf %c", &c.x, &c.y, &c.z, &rest) != 3)
            return fail("\"" + text + "\" is no colour: three numbers with commas between, please.");
        return change(row, {0, c, {}}, false);
    }
    Bool good = false;
    const Float number = text.ToFloat(&good);
    if (!good || !std::isfinite(number)) return fail("\"" + text + "\" is no number for \"" + key + "\".");
    if (isWhole(r) && number != std::floor(number))
        return fail("\"" + key + "\" takes a whole number, not \"" + text + "\".");
    if (r.minimum != r.maximum && !(number >= r.minimum && number <= r.maximum))
        return fail("\"" + key + "\" takes " + rangeText(r) + ", not \"" + text + "\".");
    return change(row, {number, {}, {}}, false);
}

std::vector<RendererSetting> RenderSettings::list() const {
    std::vector<RendererSetting> result;
    const auto colourText = [](const Vector& c) {
        return String::FloatToString(c.x) + ", " + String::FloatToString(c.y) + ", " + String::FloatToString(c.z);
    };
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        const Value& v = values_[i];
        RendererSetting s;
        s.key = addressOf(r);
        s.label = r.label;
        s.range = rangeText(r);
        if (r.type == SettingType::Colour) {
            s.value = colourText(v.colour);
            s.fallback = colourText(r.colour);
        } else if (r.type == SettingType::File) {
            s.value = v.text;
        } else {
            s.value = numberText(r, v.number);
            s.fallback = numberText(r, r.record);
        }
        result.push_back(std::move(s));
    }

    // The short keys stand for rows of the table.
    const auto addShort = [&](const char* key, Int32 row) {
        if (row < 0) return;
        RendererSetting s = result[static_cast<std::size_t>(row)];
        s.key = key;
        result.push_back(std::move(s));
    };
    addShort("kernel", findSettingById(SETTING_KERNEL));
    for (const auto& [name, type] : kKernelNames)
        if (result.back().value == String::IntToString(type)) result.back().value = name;
    addShort("samples", findSetting(kernelGroup(kernel()), "maxsamples"));
    return result;
}

// --- Storage --------------------------------------------------------------------------------------------------------

void RenderSettings::readFromContainer(const BaseContainer& bc) {
    storedVersion_ = bc.GetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        if (!r.id) continue;
        if (r.type == SettingType::Colour)
            values_[i].colour = bc.GetVector(r.id, r.colour);
        else
            values_[i].number = bc.GetFloat(r.id, r.stored);
    }
}

void RenderSettings::writeToContainer(BaseContainer& bc) const {
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        if (!r.id) continue;
        if (r.type == SettingType::Colour)
            bc.SetVector(r.id, values_[i].colour);
        else if (r.type == SettingType::Float)
            bc.SetFloat(r.id, values_[i].number);
        else if (r.type == SettingType::Bool)
            bc.SetBool(r.id, values_[i].number != 0);
        else
            bc.SetInt32(r.id, static_cast<Int32>(values_[i].number));
    }
    for (Int32 id : kAlwaysWritten) bc.SetInt32(id, 0);
    bc.SetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
}

BaseContainer* RenderSettings::container() {
    return doc_ ? doc_->GetDataInstance()->GetContainerInstance(ID_LUMORA_SESSION) : nullptr;
}

bool RenderSettings::ensureContainer() {
    if (!doc_) return false;
    if (container()) return true;
    BaseContainer bc;
    // Earlier versions kept the settings in an object of the tree.
    const BaseObject* old = nullptr;
    for (const BaseObject* o = doc_->GetFirstObject(); o && !old; o = o->GetNext())
        if (o->GetName() == String(kOldSettingsObject)) old = o;
    if (old) {
        for (Int32 id = kOldFirstId; id <= kOldLastId; ++id)
            if (const GeData* value = old->GetDataInstance()->FindData(id)) bc.SetData(id, *value);
    } else {
        writeToContainer(bc);
    }
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

bool RenderSettings::writeToDocument() {
    BaseContainer* bc = container();
    if (!bc && ensureContainer()) bc = container();
    if (bc) writeToContainer(*bc);
    return bc != nullptr;
}

}  // namespace lumora
