#include "plugin/render/settings_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

namespace lumora {

namespace {

constexpr const char* kKernelNames[] = {"info", "direct", "path", "pmc"};  // by KernelType
constexpr Int32 kKernels = 4;

constexpr const char* kChannelNames[] = {"geometric-normals",
                                         "shading-normals",
                                         "position",
                                         "depth",
                                         "material-id",
                                         "uv",
                                         "tangent",
                                         "wireframe",
                                         "vertex-normals",
                                         "object-id",
                                         "ao",
                                         "motion",
                                         "layer-id",
                                         "layer-mask",
                                         "light-id",
                                         "tangent-normals",
                                         "opacity",
                                         "baking-group",
                                         "roughness",
                                         "ior",
                                         "diffuse-filter",
                                         "reflection-filter",
                                         "refraction-filter",
                                         "transmission-filter",
                                         "object-color"};  // by type

/// The number that a word stands for, by its place; -1: none.
Int32 placeOf(std::span<const char* const> words, const String& word) {
    for (std::size_t i = 0; i < words.size(); ++i)
        if (word == String(words[i])) return static_cast<Int32>(i);
    return -1;
}

/// Keys that stand for a row whatever the kernel.
constexpr std::pair<const char*, Int32> kShortKeys[] = {
    {"exposure", SETTING_EXPOSURE}, {"response", SETTING_RESPONSE}, {"channel", SETTING_INFO_CHANNEL}};

/// How a person writes a switch, beside 0 and 1.
constexpr std::pair<const char*, const char*> kSwitchWords[] = {{"on", "1"},    {"off", "0"}, {"true", "1"},
                                                                {"false", "0"}, {"yes", "1"}, {"no", "0"}};

const SettingRow& rowAt(Int32 index) {
    return settingRows()[static_cast<std::size_t>(index)];
}

bool isSwitch(const SettingRow& r) {
    return r.type == SettingType::Bool || r.type == SettingType::Bit;
}

String codeText(Int32 code) {
    String text;
    for (int shift = 24; shift >= 0; shift -= 8)
        text += String(std::string(1, static_cast<char>(code >> shift & 0xFF)));
    return text;
}

/// By the key, else the code, else the pass, else the stored id.
String addressOf(const SettingRow& r) {
    String name = r.key;
    if (name.IsEmpty() && r.code) name = codeText(r.code);
    if (name.IsEmpty() && r.pass) name = String::IntToString(r.pass);
    if (name.IsEmpty()) name = String::IntToString(r.id);
    const String group = groupName(r.group);
    return group.IsEmpty() ? name : group + "." + name;
}

/// With as many digits as a person ever typed, and exponents only where zeros would hide the number.
String floatText(Float value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

String numberText(const SettingRow& r, Float value) {
    return r.isWhole() ? String::IntToString(static_cast<Int64>(value)) : floatText(value);
}

String colourText(const Vector& c) {
    return floatText(c.x) + ", " + floatText(c.y) + ", " + floatText(c.z);
}

String valueText(const SettingRow& r, const SettingValue& value) {
    if (r.type == SettingType::Colour) return colourText(value.colour);
    return r.type == SettingType::File ? value.text : numberText(r, value.number);
}

/// The numbers of the response curves, runs of them as "from to".
String responseRange() {
    String text = "0";
    const auto curves = filmResponses();
    for (std::size_t i = 0; i < curves.size(); ++i) {
        std::size_t last = i;
        while (last + 1 < curves.size() && curves[last + 1].id == curves[last].id + 1) ++last;
        text += ", " + String::IntToString(curves[i].id) + " to " + String::IntToString(curves[last].id);
        i = last;
    }
    return text;
}

String kernelRange() {
    String text;
    for (const char* name : kKernelNames) text += (text.IsEmpty() ? "" : ", ") + String(name);
    return text;
}

String rangeText(const SettingRow& r) {
    if (r.id == SETTING_RESPONSE) return responseRange();
    if (isSwitch(r)) return "0, 1";
    if (r.type == SettingType::Colour) return "three numbers";
    if (r.type == SettingType::File) return "a file";
    if (r.minimum == r.maximum) return {};
    return numberText(r, r.minimum) + " to " + numberText(r, r.maximum);
}

Int32 findAddress(const RenderSettings& settings, const String& key) {
    if (key == String("kernel")) return findSettingById(SETTING_KERNEL);
    String wanted = key == String("samples") ? samplesKey(settings.kernel()) : key;
    for (const auto& [shortKey, address] : shortKeys())
        if (key == shortKey) wanted = address;
    for (std::size_t i = 0; i < settingRows().size(); ++i)
        if (addressOf(settingRows()[i]) == wanted) return static_cast<Int32>(i);
    return -1;
}

/// The text of a number, where words stand for numbers.
String spelledOut(const SettingRow& r, const String& text) {
    if (r.id == SETTING_RESPONSE)
        for (const FilmResponse& curve : filmResponses())
            if (text == String(curve.name)) return String::IntToString(curve.id);
    const Int32 place = r.id == SETTING_KERNEL         ? placeOf(kKernelNames, text)
                        : r.id == SETTING_INFO_CHANNEL ? placeOf(kChannelNames, text)
                                                       : -1;
    if (place >= 0) return String::IntToString(place);
    if (isSwitch(r))
        for (const auto& [word, number] : kSwitchWords)
            if (text.ToLower() == String(word)) return number;
    return text;
}

bool readColour(const String& text, Vector& colour) {
    char rest = 0;
    if (std::sscanf(text.c_str(), "%lf , %lf , %lf %c", &colour.x, &colour.y, &colour.z, &rest) != 3) return false;
    return std::isfinite(colour.x) && std::isfinite(colour.y) && std::isfinite(colour.z) && colour.x >= 0 &&
           colour.y >= 0 && colour.z >= 0;
}

/// Whether a number is one of those that the setting takes.
bool isInRange(const SettingRow& r, Float number) {
    if (!std::isfinite(number) || (r.isWhole() && number != std::floor(number))) return false;
    if (r.id == SETTING_RESPONSE) {
        const auto curves = filmResponses();
        return number == 0 || std::any_of(curves.begin(), curves.end(),
                                          [number](const FilmResponse& curve) { return curve.id == number; });
    }
    return r.minimum == r.maximum || (number >= r.minimum && number <= r.maximum);
}

/// Levenshtein's distance between two texts.
std::size_t editDistance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t corner = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t above = row[j];
            row[j] = std::min({above + 1, row[j - 1] + 1, corner + (a[i - 1] == b[j - 1] ? 0u : 1u)});
            corner = above;
        }
    }
    return row.back();
}

}  // namespace

const char* kernelName(Int32 kernel) {
    return kernel >= 0 && kernel < kKernels ? kKernelNames[kernel] : "";
}

String samplesKey(Int32 kernel) {
    return addressOf(rowAt(findSetting(kernelGroup(kernel), "maxsamples")));
}

String nearestText(const String& text, const std::vector<String>& candidates) {
    const String* nearest = nullptr;
    std::size_t best = 0;
    for (const String& candidate : candidates) {
        const std::size_t distance = editDistance(text.ToLower().str(), candidate.ToLower().str());
        if (nearest && distance >= best) continue;
        best = distance;
        nearest = &candidate;
    }
    return nearest ? *nearest : String();
}

std::vector<std::pair<String, String>> shortKeys() {
    std::vector<std::pair<String, String>> keys;
    for (const auto& [key, row] : kShortKeys) keys.emplace_back(key, addressOf(rowAt(findSettingById(row))));
    return keys;
}

std::vector<String> settingChoices(const String& key) {
    std::vector<String> words;
    if (key == String("kernel")) words.assign(std::begin(kKernelNames), std::end(kKernelNames));
    if (key == String("channel")) words.assign(std::begin(kChannelNames), std::end(kChannelNames));
    if (key == String("response"))
        for (const FilmResponse& curve : filmResponses()) words.push_back(curve.name);
    return words;
}

std::vector<RendererSetting> listSettings(const RenderSettings& settings) {
    std::vector<RendererSetting> result;
    const auto rows = settingRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SettingRow& r = rows[i];
        result.push_back({addressOf(r), valueText(r, settings.valueAt(static_cast<Int32>(i))),
                          valueText(r, {r.record, r.colour, {}}), rangeText(r), r.label, groupTitle(r.group)});
    }
    return result;
}

bool setFromText(RenderSettings& settings, const String& key, const String& value, String* error) {
    const auto fail = [error](const String& why) {
        if (error) *error = why;
        return false;
    };
    const Int32 row = findAddress(settings, key);
    if (row < 0) return fail("There is no setting \"" + key + "\".");
    const SettingRow& r = rowAt(row);
    if (r.type == SettingType::File) return settings.setValueAt(row, {0, {}, value}, false);
    if (r.type == SettingType::Colour) {
        Vector colour;
        if (!readColour(value, colour))
            return fail("The setting " + key + " is a colour: three numbers from 0 on with commas between, not \"" +
                        value + "\".");
        return settings.setValueAt(row, {0, colour, {}}, false);
    }
    const String text = spelledOut(r, value);
    Bool isNumber = false;
    const Float number = text.ToFloat(&isNumber);
    if (!isNumber || !isInRange(r, number)) {
        String wanted = rangeText(r);
        if (r.id == SETTING_KERNEL)
            wanted = kernelRange();
        else if (r.id == SETTING_INFO_CHANNEL)
            wanted += ", or the name of a channel such as \"" + nearestText(value, settingChoices("channel")) + "\"";
        else if (r.id == SETTING_RESPONSE)
            wanted += ", or the name of a curve";
        else if (r.isWhole() && !isSwitch(r))
            wanted = "whole numbers from " + wanted;
        return fail("The setting " + key + " takes " + wanted + ", not \"" + value + "\".");
    }
    return settings.setValueAt(row, {number, {}, {}}, false);
}

}  // namespace lumora
