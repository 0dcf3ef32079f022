#include "plugin/render/document_conversion.h"

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/render/container_range.h"
#include "plugin/render/settings_table.h"

namespace lumora {

namespace {

constexpr Int32 kMessageUpdate = 5;  // of the host: the node's parameters were changed from outside

/// What a rule looks at. A tag comes with the object that carries it.
struct Subject {
    BaseDocument& document;
    BaseObject* object;
    BaseContainer& data;
};

// --- Camera tag -----------------------------------------------------------------------------------------------------

constexpr Int32 kCameraExposure = 1424, kCameraFstop = 1425, kCameraIso = 1426, kCamera1460 = 1460;

void convertCameraExposure(const Subject& s) {
    const Float exposure = s.data.GetFloat(kCameraExposure, 1.0), fstop = s.data.GetFloat(kCameraFstop, 2.8),
                iso = s.data.GetFloat(kCameraIso, 100);
    s.data.SetFloat(kCameraExposure, convertedExposure(exposure, fstop, iso));
    s.data.SetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
}

void clearCamera1460(const Subject& s) {
    s.data.SetInt32(kCamera1460, 0);
}

// --- Daylight and light tags ----------------------------------------------------------------------------------------

// Defaults are those of tags that lack the value.
constexpr Int32 kDaylightPower = 1231, kDaylightPowerMode = 1233, kDaylightMediumThickness = 1241, kDaylight1247 = 1247,
                kLight1166 = 1166;

void convertDaylightPower(const Subject& s) {
    const Float factor = s.data.GetBool(kDaylightPowerMode, true) ? 0.6 : 0.8;
    s.data.SetFloat(kDaylightPower, s.data.GetFloat(kDaylightPower, 1.0) / factor);
}

void setDaylight1247(const Subject& s) {
    s.data.SetFloat(kDaylight1247, 90.0);
}

void convertMediumThickness(const Subject& s) {
    const Float old = s.data.GetFloat(kDaylightMediumThickness, 1.0), now = old * 100;
    s.data.SetFloat(kDaylightMediumThickness, now);
    logLine("Convert " + s.object->GetName() + " medium thickness from:" + String::FloatToString(old) +
            "  to:" + String::FloatToString(now));
}

void clearLight1166(const Subject& s) {
    logLine("Convert light tag parameters for " + s.object->GetName());
    s.data.SetBool(kLight1166, false);
}

// --- Materials ------------------------------------------------------------------------------------------------------

constexpr Int32 kDisplacementAmount = 2052, kDisplacementShift = 2053, kMaterialDisplacement = 2581;

void convertDisplacement(const Subject& s) {
    const Float scale = s.document.GetUnitScale();
    if (scale == 0) return;
    for (const Int32 id : {kDisplacementAmount, kDisplacementShift})
        if (s.data.Has(id)) s.data.SetFloat(id, s.data.GetFloat(id) / scale);
}

void convertMaterialDisplacement(const Subject& s) {
    const Float amount = s.data.GetFloat(kMaterialDisplacement);
    if (amount != 0) s.data.SetFloat(kMaterialDisplacement, amount / 0.01);
}

void move(BaseContainer& data, Int32 from, Int32 to) {
    const GeData* value = data.FindData(from);
    if (!value) return;
    data.SetData(to, GeData(*value));
    data.RemoveData(from);
}

/// The layers' masks and materials moved together.
void convertBlendLayers(const Subject& s) {
    for (Int32 k = 0; k < 5; ++k) {
        move(s.data, 1401 + 100 * k, 1340 + 2 * k);
        move(s.data, 1402 + 100 * k, 1341 + 2 * k);
    }
}

// --- Rules ----------------------------------------------------------------------------------------------------------

enum class On { CameraTag, DaylightTag, LightTag, Displacement, Material, BlendMaterial };

struct Rule {
    Int32 from, before;  ///< of versions
    On on;
    void (*convert)(const Subject& subject);
};

constexpr Rule kRules[] = {
    {0, 2160000, On::CameraTag, convertCameraExposure},        {0, 3000000, On::CameraTag, clearCamera1460},
    {0, 2160000, On::DaylightTag, convertDaylightPower},       {0, 3050100, On::DaylightTag, setDaylight1247},
    {0, 3070006, On::DaylightTag, convertMediumThickness},     {0, 2242002, On::LightTag, clearLight1166},
    {0, 2221004, On::Displacement, convertDisplacement},       {0, 2221004, On::Material, convertMaterialDisplacement},
    {3080000, 3080008, On::BlendMaterial, convertBlendLayers},
};
/// Before this version final renders took the settings of the live ones.
constexpr Int32 kOwnPostSettings = 2242003;

constexpr Int32 kDisplacementShader = 1031901;

void apply(On on, Int32 version, const Subject& subject) {
    for (const Rule& rule : kRules)
        if (rule.on == on && version >= rule.from && version < rule.before) rule.convert(subject);
}

void convertTags(BaseDocument& document, BaseObject* object, Int32 version) {
    for (BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext()) {
        const Subject subject{document, object, *tag->GetDataInstance()};
        const BaseContainer& light = *object->GetDataInstance();
        switch (tag->GetType()) {
            case ID_LUMORA_CAMERA_TAG:
                apply(On::CameraTag, version, subject);
                break;
            case ID_LUMORA_DAYLIGHT_TAG:
                if (object->GetType() == Olight && light.GetInt32(LIGHT_TYPE) == LIGHT_TYPE_DISTANT)
                    apply(On::DaylightTag, version, subject);
                break;
            case ID_LUMORA_LIGHT_TAG:
                apply(On::LightTag, version, subject);
                break;
            default:
                break;
        }
    }
}

BaseList2D* nextInTree(BaseList2D* node) {
    if (node->GetDown()) return node->GetDown();
    while (node && !node->GetNext()) node = node->GetUp();
    return node ? node->GetNext() : nullptr;
}

/// Shaders own shaders: those are visited too.
void convertShaders(BaseDocument& document, BaseList2D& owner, Int32 version) {
    for (BaseList2D* shader = owner.GetFirstShader(); shader; shader = nextInTree(shader)) {
        if (shader->GetType() == kDisplacementShader)
            apply(On::Displacement, version, {document, nullptr, *shader->GetDataInstance()});
        convertShaders(document, *shader, version);
    }
}

BaseVideoPost* findPost(RenderData* data) {
    for (BaseVideoPost* post = data->GetFirstVideoPost(); post; post = post->GetNext())
        if (post->GetType() == ID_LUMORA_VP_RENDERER) return post;
    return nullptr;
}

/// Render data with a video post that holds the passes of the live render beside what the old post holds.
void transferLiveSettings(BaseDocument& document) {
    BaseVideoPost* old = findPost(document.GetActiveRenderData());
    if (!old) return;
    BaseVideoPost* post = BaseVideoPost::Alloc(ID_LUMORA_VP_RENDERER);
    if (!post) return;
    RenderData* data = RenderData::Alloc();
    data->GetDataInstance()->SetInt32(RDATA_RENDERENGINE, ID_LUMORA_VP_RENDERER);
    data->InsertVideoPost(post);
    data->SetName("Lumora LV_passes");
    document.InsertRenderData(data);
    copyRange(*old->GetDataInstance(), *post->GetDataInstance(), 0, 4000);
    if (const BaseContainer* live = document.GetDataInstance()->GetContainerInstance(ID_LUMORA_SESSION)) {
        logLine("Transfer LV settings to Lumora VPost...");
        copyRange(*live, *post->GetDataInstance(), 3000, 4000);
    }
    old->Message(kMessageUpdate);
    post->Message(kMessageUpdate);
}

}  // namespace

Float convertedExposure(Float exposure, Float fstop, Float iso) {
    return fstop == 0 ? exposure : exposure / (fstop * fstop) * iso * 0.1 * 118 / 255;
}

void convertDocument(BaseDocument& document, Int32 version) {
    for (BaseList2D* node = document.GetFirstObject(); node; node = nextInTree(node))
        convertTags(document, static_cast<BaseObject*>(node), version);
    for (BaseMaterial* material = document.GetFirstMaterial(); material; material = material->GetNext()) {
        const Subject subject{document, nullptr, *material->GetDataInstance()};
        apply(On::Material, version, subject);
        if (material->GetType() == ID_LUMORA_BLEND_MATERIAL) apply(On::BlendMaterial, version, subject);
        convertShaders(document, *material, version);
    }
    if (version < kOwnPostSettings) transferLiveSettings(document);
}

}  // namespace lumora
