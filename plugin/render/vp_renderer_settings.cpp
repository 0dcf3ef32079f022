// The video post's parameters, and its settings as a person types them.
#include <algorithm>
#include <iterator>

#include "plugin/core/ids.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/render/presets.h"
#include "plugin/render/settings_text.h"
#include "plugin/render/vp_renderer.h"

namespace lumora {

namespace {

constexpr ParameterChoice kDepths[] = {
    {VPDEPTH_8_BIT, "8 bit"}, {VPDEPTH_FLOAT, "32 bit float"}, {VPDEPTH_HALF, "16 bit half float"}};
constexpr ParameterChoice kFrameModes[] = {{1, "Send only changes"}, {2, "Send the whole scene"}};
constexpr ParameterChoice kMotionModes[] = {{0, "Disabled"}, {1, "Camera motion blur"}, {2, "Full motion blur"}};
constexpr ParameterChoice kClayModes[] = {{0, "Off"}, {1, "Grey"}, {2, "Color"}};
constexpr ParameterChoice kAnalysisModes[] = {{0, "Off"}, {1, "Fast"}, {2, "Full"}};
constexpr ParameterChoice kKernels[] = {{KERNEL_INFO, "Info channels"},
                                        {KERNEL_DIRECT, "Direct lighting"},
                                        {KERNEL_PATH, "Path tracing"},
                                        {KERNEL_PMC, "PMC"}};

using Kind = ParameterKind;

const Parameter kRows[] = {
    {.id = VP_UPDATE_MATERIALS, .kind = Kind::Bool, .label = "Update materials at each frame", .value = 1},
    {.id = VP_OVERRIDE_KERNEL, .kind = Kind::Bool, .label = "Override kernel settings"},
    {.id = VP_ALL_DEVICES, .kind = Kind::Bool, .label = "Use all devices"},
    {.id = VP_DEPTH, .kind = Kind::Choice, .label = "Depth", .value = VPDEPTH_FLOAT, .choices = kDepths},
    {.id = VP_INFO_BAR, .kind = Kind::Bool, .label = "Info bar"},
    {.id = VP_FRAME_MODE, .kind = Kind::Choice, .label = "Frames", .value = 1, .choices = kFrameModes},
    {.id = VP_TIME_LIMIT, .kind = Kind::Float, .label = "Time limit of a frame", .minimum = 0, .maximum = 1e7},
    {.id = VP_MOTION_BLUR, .kind = Kind::Choice, .label = "Motion blur", .value = 2, .choices = kMotionModes},
    {.id = VP_MOTION_RATE,
     .kind = Kind::Float,
     .label = "Motion sampling rate",
     .value = 1,
     .minimum = 0.01,
     .maximum = 100},
    {.id = VP_CLAY_MODE, .kind = Kind::Choice, .label = "Clay mode", .choices = kClayModes},
    {.id = VP_REGION_LEFT, .kind = Kind::Float, .label = "Left edge of the region", .minimum = 0, .maximum = 1},
    {.id = VP_REGION_TOP, .kind = Kind::Float, .label = "Upper edge of the region", .minimum = 0, .maximum = 1},
    {.id = VP_REGION_RIGHT, .kind = Kind::Float, .label = "Right edge of the region", .minimum = 0, .maximum = 1},
    {.id = VP_REGION_BOTTOM, .kind = Kind::Float, .label = "Lower edge of the region", .minimum = 0, .maximum = 1},
    {.id = VP_MOTION_ANALYSIS, .kind = Kind::Choice, .label = "Motion analysis", .value = 1, .choices = kAnalysisModes},
    {.id = VP_KEEP_MATERIALS, .kind = Kind::Bool, .label = "Keep materials"},
    {.id = VP_FULL_TEMPERATURE,
     .kind = Kind::Int,
     .label = "Full temperature",
     .value = 90,
     .minimum = 1,
     .maximum = 200},
    {.id = VP_DENOISE, .kind = Kind::Bool, .label = "Denoise"},
    {.id = VP_KERNEL, .kind = Kind::Choice, .label = "Kernel", .value = KERNEL_DIRECT, .choices = kKernels},
};

constexpr const char *kKernelKey = "kernel", *kSamplesKey = "samples", *kHeading = "Renderer";

/// Parameters of the video post that have a key of their own.
struct KeyRow {
    const char* key;
    Int32 id;
};
constexpr KeyRow kKeys[] = {{"depth", VP_DEPTH},
                            {"timelimit", VP_TIME_LIMIT},
                            {"clay", VP_CLAY_MODE},
                            {"denoise", VP_DENOISE},
                            {"region.left", VP_REGION_LEFT},
                            {"region.top", VP_REGION_TOP},
                            {"region.right", VP_REGION_RIGHT},
                            {"region.bottom", VP_REGION_BOTTOM}};

const KeyRow* findKey(const String& key) {
    for (const KeyRow& row : kKeys)
        if (key == row.key) return &row;
    return nullptr;
}

String rangeText(const Parameter& row) {
    if (row.kind == Kind::Bool) return "0, 1";
    if (row.choices.empty()) return String::FloatToString(row.minimum) + " to " + String::FloatToString(row.maximum);
    String text;
    for (const ParameterChoice& choice : row.choices)
        text += (text.IsEmpty() ? "" : ", ") + String::IntToString(choice.value);
    return text;
}

bool accepts(const Parameter& row, Float value) {
    if (row.kind == Kind::Bool) return value == 0 || value == 1;
    if (row.choices.empty()) return value >= row.minimum && value <= row.maximum;
    return std::any_of(row.choices.begin(), row.choices.end(),
                       [value](const ParameterChoice& choice) { return choice.value == value; });
}

String numberText(const Parameter& row, Float value) {
    return row.kind == Kind::Float ? String::FloatToString(value) : String::IntToString(static_cast<Int64>(value));
}

RendererSetting describe(const KeyRow& key, const BaseContainer* stored) {
    const Parameter& row = *vpRendererDescription()->Find(key.id);
    const Float now = stored ? stored->GetFloat(key.id, row.value) : row.value;
    return {key.key, numberText(row, now), numberText(row, row.value), rangeText(row), row.label, kHeading};
}

/// The short keys, from the rows that they stand for.
void addShortRows(const RenderSettings& settings, std::vector<RendererSetting>& rows) {
    const Int32 kernel = settings.kernel();
    const auto shortRow = [&rows](const String& key, const String& standsFor) {
        const auto at = std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.key == standsFor; });
        RendererSetting row = at != rows.end() ? *at : RendererSetting();
        row.key = key;
        row.group = kHeading;
        return row;
    };
    std::vector<RendererSetting> first = {
        {kKernelKey, kernelName(kernel), kernelName(KERNEL_DIRECT), "path, direct, pmc, info", "Kernel", kHeading},
        shortRow(kSamplesKey, samplesKey(kernel))};
    first.back().label = "Samples per pixel of the kernel in force";
    for (const auto& [key, standsFor] : shortKeys()) first.push_back(shortRow(key, standsFor));
    rows.insert(rows.begin(), first.begin(), first.end());
}

/// The sentence for a key that no row has.
String unknownKey(const String& key, const std::vector<RendererSetting>& rows) {
    std::vector<String> keys;
    for (const RendererSetting& row : rows) keys.push_back(row.key);
    return "There is no setting \"" + key + "\"; did you mean \"" + nearestText(key, keys) + "\"?";
}

BaseVideoPost* findPost(BaseDocument* document) {
    for (BaseVideoPost* post = document->GetActiveRenderData()->GetFirstVideoPost(); post; post = post->GetNext())
        if (post->GetType() == ID_LUMORA_VP_RENDERER) return post;
    return nullptr;
}

/// Everything that this renderer keeps in the document, the short keys first.
std::vector<RendererSetting> listAll(const RenderSettings& settings, BaseDocument* document) {
    std::vector<RendererSetting> rows;
    const BaseVideoPost* post = findPost(document);
    for (const KeyRow& key : kKeys) rows.push_back(describe(key, post ? post->GetDataInstance() : nullptr));
    for (RendererSetting& row : listSettings(settings)) rows.push_back(std::move(row));
    addShortRows(settings, rows);
    return rows;
}

/// A post that is made now holds what the document holds: live renders read the post when there is one.
BaseVideoPost* ensurePost(BaseDocument* document, const RenderSettings& settings) {
    if (BaseVideoPost* post = findPost(document)) return post;
    BaseVideoPost* post = BaseVideoPost::Alloc(ID_LUMORA_VP_RENDERER);
    if (!post) return nullptr;
    settings.writeToContainer(*post->GetDataInstance());
    document->GetActiveRenderData()->InsertVideoPost(post);
    return post;
}

/// The document's settings changed: the post follows.
void syncPost(BaseDocument* document, const RenderSettings& settings) {
    if (BaseVideoPost* post = findPost(document)) settings.writeToContainer(*post->GetDataInstance());
}

void setPostValue(RendererSettingsCall& call, const RenderSettings& settings, const KeyRow& key) {
    const Parameter& row = *vpRendererDescription()->Find(key.id);
    Bool isNumber = false;
    const Float value = call.value.ToFloat(&isNumber);
    if (!isNumber || !accepts(row, value)) {
        call.error = "The setting " + String(key.key) + " takes " + rangeText(row) + ", not \"" + call.value + "\".";
        return;
    }
    BaseVideoPost* post = ensurePost(call.document, settings);
    if (!post) {
        call.error = "The renderer's settings could not be added to the document.";
        return;
    }
    post->SetParameter(key.id, row.kind == Kind::Float ? GeData(value) : GeData(static_cast<Int32>(value)));
}

void setValue(RendererSettingsCall& call, RenderSettings& settings) {
    const std::vector<RendererSetting> known = listAll(settings, call.document);
    const bool isKnown =
        std::any_of(known.begin(), known.end(), [&](const RendererSetting& row) { return row.key == call.key; });
    if (!isKnown) {
        call.error = unknownKey(call.key, known);
    } else if (const KeyRow* key = findKey(call.key)) {
        setPostValue(call, settings, *key);
    } else if (setFromText(settings, call.key, call.value, &call.error)) {
        syncPost(call.document, settings);
    }
}

String presetNames(const std::vector<BaseContainer>& presets) {
    String names;
    for (const BaseContainer& preset : presets) names += (names.IsEmpty() ? "\"" : ", \"") + presetName(preset) + "\"";
    return names;
}

void usePreset(RendererSettingsCall& call, RenderSettings& settings) {
    std::vector<BaseContainer> presets = readPresets();
    const BaseContainer* preset = findPreset(presets, call.preset);
    if (!preset) {
        call.error = "There is no preset \"" + call.preset + "\"; " +
                     (presets.empty() ? String("none was saved.") : "those saved are " + presetNames(presets) + ".");
        return;
    }
    if (applyPreset(settings, *preset, false))
        syncPost(call.document, settings);
    else
        call.error = "The preset could not be put into the document.";
}

void savePreset(RendererSettingsCall& call, RenderSettings& settings) {
    if (call.preset.IsEmpty()) {
        call.error = "A preset needs a name.";
        return;
    }
    std::vector<BaseContainer> presets = readPresets();
    BaseContainer fresh = makePreset(settings, call.preset);
    if (BaseContainer* held = findPreset(presets, call.preset))
        *held = std::move(fresh);
    else
        presets.push_back(std::move(fresh));
    if (!writePresets(presets)) call.error = "The presets could not be written to the folder of the preferences.";
}

}  // namespace

const Description* vpRendererDescription() {
    static const Description description{kRows};
    return &description;
}

bool answerRendererSettings(RendererSettingsCall& call) {
    if (call.renderer != ID_LUMORA_VP_RENDERER) return false;
    if (call.task == RendererSettingsTask::ListPresets) {
        for (const BaseContainer& preset : readPresets()) call.presets.push_back(presetName(preset));
        return true;
    }
    if (call.task == RendererSettingsTask::ListChoices) {
        call.choices = settingChoices(call.key);
        return true;
    }
    if (!call.document) return false;
    RenderSettings settings;
    settings.setDocument(call.document, false);
    settings.readFromDocument(true);
    switch (call.task) {
        case RendererSettingsTask::ApplyPreset:
            usePreset(call, settings);
            break;
        case RendererSettingsTask::SavePreset:
            savePreset(call, settings);
            break;
        default:
            if (call.key.Content()) setValue(call, settings);
            break;
    }
    call.rows = listAll(settings, call.document);
    return true;
}

}  // namespace lumora
