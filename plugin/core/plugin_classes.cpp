#include "plugin/core/plugin_classes.h"

#include <deque>

#include "plugin/core/class_descriptions.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/node_graph_data.h"
#include "plugin/render/vp_renderer.h"
#include "plugin/scene/camera_tag.h"

namespace lumora {

namespace {

/// One class. Nodes of a class without a mind of its own keep their parameters, in documents and in copies.
struct ClassRow {
    Int32 id;
    PluginKind kind;
    const char* name;  ///< of the class; shown when the string table has no text
    Int32 nameId;      ///< in the string table
    const char* icon = "";
    const Description* (*description)() = nullptr;
    Int32 flags = 0;
};

/// Not shown in the host's menus: made by other nodes only.
constexpr Int32 kHidden = 0x20000000;

constexpr ClassRow kClasses[] = {
    {ID_LUMORA_SCENE_HOOK, PluginKind::SceneHook, "Lumora Render", 0},
    {1029525, PluginKind::VideoPost, "VPrenderer", 10005, "", vpRendererDescription},
    {1029622, PluginKind::Material, "LumoraMixMaterial", 10035},
    {1029524, PluginKind::Tag, "lumoracameraexp", 10002, "lumCameraTag.png", cameraTagDescription},
    {1029504, PluginKind::Shader, "RgbSpectrum", 10011},
    {1029507, PluginKind::Shader, "GaussianSpectrum", 10021},
    {1029506, PluginKind::Shader, "FloatTexture", 10020},
    {1029508, PluginKind::Shader, "ImageTexture", 10025},
    {1029503, PluginKind::Shader, "lumoraFalloffMap", 10012},
    {1029518, PluginKind::Shader, "RidgedFractal", 10029},
    {1029522, PluginKind::Shader, "TurbulenceTexture", 10033},
    {1033698, PluginKind::Shader, "NoiseTexture", 10063},
    {1039681, PluginKind::Shader, "BakingTexture", 10064},
    {1029523, PluginKind::Shader, "MarbleTexture", 10027},
    {1029505, PluginKind::Shader, "MixTexture", 10013},
    {1029511, PluginKind::Shader, "ClampTexture", 10016},
    {1029512, PluginKind::Shader, "ColorCorrectionTexture", 10017},
    {1029517, PluginKind::Shader, "ChecksMixTexture", 10014},
    {1029515, PluginKind::Shader, "CosinemixTexture", 10018},
    {1029516, PluginKind::Shader, "MultiplyTexture", 10028},
    {1029514, PluginKind::Shader, "InvertTexture", 10026},
    {1029623, PluginKind::Material, "LumoraPortal", 10034},
    {1029510, PluginKind::Shader, "AbsorptionMedium", 10036},
    {1029509, PluginKind::Shader, "ScatteringMedium", 10037},
    {1029641, PluginKind::Shader, "BlackBodyEmission", 10038},
    {1029642, PluginKind::Shader, "TextureEmission", 10039},
    {1029643, PluginKind::Tag, "LumoraEnvironmentTag", 10040, "lumEnvTag.png", environmentTagDescription},
    {1029754, PluginKind::Tag, "LumoraDayLightTag", 10043, "lumDayLightTag.png", daylightTagDescription},
    {1029975, PluginKind::Shader, "DirtTexture", 10044},
    {1029526, PluginKind::Tag, "LumoraLightTag", 10045, "lumLightTag.png", lightTagDescription},
    {1029520, PluginKind::Shader, "SineWaveTexture", 10031},
    {1038090, PluginKind::Shader, "WCoordinate", 10062},
    {1030961, PluginKind::Shader, "Transform", 10053},
    {1039678, PluginKind::Shader, "UvwTransform", 10054},
    {1031460, PluginKind::Shader, "TextureProjection", 10055},
    {1029603, PluginKind::Tag, "LumoraObjectTag", 10048, "lumObjectTag.png", objectTagDescription},
    {1030680, PluginKind::CustomGui, "LumoraFloatSlider", 0},
    {1029945, PluginKind::CustomGui, "LumoraColorGui", 0},
    {1030909, PluginKind::CustomGui, "LumoraFloat3Slider", 0},
    {1029513, PluginKind::Shader, "GradientTexture", 10022},
    {1031605, PluginKind::Shader, "RefShader", 10059},
    {1036940, PluginKind::Shader, "VolumeMedium", 10067},
    {1036942, PluginKind::Shader, "VolumeGradient", 10068},
    {1035356, PluginKind::Preference, "LumoraPrefs", 10066},
    {1031901, PluginKind::Shader, "LumoraDisplacement", 10049, "", nullptr, kHidden},
    {1032069, PluginKind::Shader, "RandomColor", 10060},
    {1034143, PluginKind::Shader, "PolygonSide", 10061},
    {kNodeGraphDataType, PluginKind::CustomDataType, "Node graph", 0},
    {1029501, PluginKind::Material, "LumoraMaterial", 10001, "", materialDescription},
    {1038623, PluginKind::Shader, "NodeGraphTexture", 10069, "", nullptr, kHidden},
    {1038877, PluginKind::Shader, "AddTexture", 10070},
    {1038878, PluginKind::Shader, "SubtractTexture", 10072},
    {1038879, PluginKind::Shader, "CompareTexture", 10073},
    {1038882, PluginKind::Shader, "TriplanarTexture", 10074},
    {1039376, PluginKind::Shader, "InstanceRange", 10071},
    {1039377, PluginKind::Shader, "InstanceColor", 10046},
    {1040369, PluginKind::Material, "Sub material", 0, "", nullptr, kHidden},
    {1040075, PluginKind::Material, "LumoraBlendMaterial", 10075, "", blendMaterialDescription},
    {1039813, PluginKind::Shader, "OslTexture", 10047},
    {1040143, PluginKind::Shader, "ToonRampTexture", 10076},
    {1035792, PluginKind::Object, "Volume", 0, "vdb.png", volumeObjectDescription},
    {1035961, PluginKind::Object, "Lumora Scatter", 0, "sctrObj.tif"},
};

class MySceneHook : public SceneHookData {};
class LumoraObject : public ObjectData {};
class LumoraTag : public TagData {};
class LumoraShader : public ShaderData {};
class LumoraMaterialData : public MaterialData {};
class LumoraPreferences : public PreferenceData {};

class LumoraGui : public CustomGuiData {
public:
    explicit LumoraGui(Int32 id) : id_(id) {}
    Int32 GetId() override { return id_; }

private:
    Int32 id_;
};

/// The host borrows them until the plug-in has ended.
std::deque<LumoraGui>& guis() {
    static std::deque<LumoraGui> all;
    return all;
}

template <typename Base, typename Class>
Allocator<Base> makes() {
    return [] { return std::make_unique<Class>(); };
}

/// The scene that shows a material in the host's material manager, in the plug-in's resources.
constexpr const char* kPreviewScene = "scene/Stairs.c4d";

bool registerClass(const ClassRow& row, const String& name) {
    const Description* rows = row.description ? row.description() : nullptr;
    switch (row.kind) {
        case PluginKind::SceneHook:
            return RegisterSceneHookPlugin(row.id, name, row.flags, makes<SceneHookData, MySceneHook>(), 0);
        case PluginKind::VideoPost:
            return RegisterVideoPostPlugin(row.id, name, row.flags, makes<VideoPostData, LumoraVpRenderer>(), rows, 0);
        case PluginKind::Material:
            return RegisterMaterialPlugin(row.id, name, row.flags, makes<MaterialData, LumoraMaterialData>(), rows, 0,
                                          GeGetPluginResourcePath() + kPreviewScene);
        case PluginKind::Tag:
            return RegisterTagPlugin(
                row.id, name, row.flags,
                row.id == ID_LUMORA_CAMERA_TAG ? makes<TagData, LumoraCameraTag>() : makes<TagData, LumoraTag>(), rows,
                row.icon, 0);
        case PluginKind::Shader:
            return RegisterShaderPlugin(row.id, name, row.flags, makes<ShaderData, LumoraShader>(), rows, 0);
        case PluginKind::Object:
            return RegisterObjectPlugin(row.id, name, row.flags, makes<ObjectData, LumoraObject>(), rows, row.icon, 0);
        case PluginKind::CustomGui:
            return RegisterCustomGuiPlugin(name, row.flags, &guis().emplace_back(row.id));
        case PluginKind::CustomDataType:
            return RegisterCustomDataTypePlugin(row.id, name, makes<CustomDataType, NodeGraphData>(), 0);
        case PluginKind::Preference:
            // Only the kind of host that shows plug-ins' preferences.
            return GetAppType() != AppType::Viewer ||
                   RegisterPreferencePlugin(row.id, name, makes<PreferenceData, LumoraPreferences>(), rows, 0);
        default:
            return false;
    }
}

}  // namespace

bool registerClasses(const GeResource& texts) {
    guis().clear();
    for (const ClassRow& row : kClasses) {
        String name = row.nameId ? texts.Load(row.nameId) : String();
        if (name.IsEmpty()) name = row.name;
        if (registerClass(row, name)) continue;
        logLine("Lumora: the class " + name + " could not be registered.");
        return false;
    }
    return true;
}

}  // namespace lumora
