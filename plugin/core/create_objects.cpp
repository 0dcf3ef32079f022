#include "plugin/core/create_objects.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/scene/tag_presets.h"

namespace lumora {

namespace {

constexpr Int32 kTargetTag = 5676, kTargetLink = 1001;
constexpr Int32 kVolumeSource = 10031, kVolumeGenerated = 1, kVolumeFile = 2;
constexpr Int32 kMaterialType = 2509;

struct ObjectRow {
    std::string_view keyword;
    const char* name;
    Int32 type, tag;
    Int32 parameter = 0, value = 0;  ///< of the object; 0: none is set
    void (*preset)(BaseTag&) = nullptr;
    bool aimed = false;  ///< at a target object
};
constexpr ObjectRow kObjects[] = {
    {"daylight", "Lumora DayLight", Olight, ID_LUMORA_DAYLIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_DISTANT},
    {"arealight", "Lumora AreaLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_AREA, setAreaLightPreset},
    {"tarealight", "Lumora Targetted AreaLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_AREA,
     setAreaLightPreset, true},
    {"ieslight", "Lumora IesLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_AREA, setIesLightPreset},
    {"ToonDirect", "Lumora ToonDirectLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_DISTANT},
    {"ToonOmni", "Lumora ToonOmniLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE, LIGHT_TYPE_OMNI},
    {"camera", "Lumora Camera", Ocamera, ID_LUMORA_CAMERA_TAG},
    {"env", "Lumora Sky", Osky, ID_LUMORA_ENVIRONMENT_TAG, 0, 0, setGreyEnvironmentPreset},
    {"env2", "Lumora Sky", Osky, ID_LUMORA_ENVIRONMENT_TAG, 0, 0, setHdrEnvironmentPreset},
    {"scatter", "Lumora Scatter", ID_LUMORA_SCATTER_OBJECT, 0},
    {"fogvolume", "Lumora FogVolume", ID_LUMORA_VOLUME_OBJECT, 0, kVolumeSource, kVolumeGenerated},
    {"vdbvolume", "Lumora VdbVolume", ID_LUMORA_VOLUME_OBJECT, 0, kVolumeSource, kVolumeFile},
};

struct MaterialRow {
    std::string_view keyword;
    const char* name;
    Int32 type;
    Int32 kind = 0;  ///< of the universal plug-in material; 0: another plug-in material
};
constexpr MaterialRow kMaterials[] = {
    {"diffuse", "LumDiffuse", ID_LUMORA_MATERIAL, 2510},
    {"glossy", "LumGlossy", ID_LUMORA_MATERIAL, 2511},
    {"specular", "LumSpecular", ID_LUMORA_MATERIAL, 2513},
    {"metal", "LumMetallic", ID_LUMORA_MATERIAL, 2514},
    {"toon", "LumToon", ID_LUMORA_MATERIAL, 2515},
    {"univ", "LumUniversal", ID_LUMORA_MATERIAL, 2516},
    {"mix", "LumMix", ID_LUMORA_MIX_MATERIAL},
    {"blend", "LumBlend", ID_LUMORA_BLEND_MATERIAL},
    {"portal", "LumPortal", ID_LUMORA_PORTAL},
};
constexpr Int32 kSpecular = 2513;

/// Looks along +z at a point. A point at the object's own place leaves it as it stands.
void lookAt(BaseObject& object, const Vector& point) {
    const Vector offset = point - object.GetMg().off;
    if (offset.GetLength() < 1e-6) return;
    const Vector forward = offset.GetNormalized();
    const Vector up = std::abs(forward.y) > 0.999 ? Vector(0, 0, 1) : Vector(0, 1, 0);
    Matrix place = object.GetMg();
    place.v3 = forward;
    place.v1 = Cross(up, forward).GetNormalized();
    place.v2 = Cross(forward, place.v1);
    object.SetMg(place);
}

/// Aims the light at a new target, which stands where the selected object is.
BaseObject* aim(BaseDocument& document, BaseObject& light, const BaseObject* selected) {
    BaseObject* target = BaseObject::Alloc(Onull);
    if (!target) return nullptr;
    target->SetName("LightTarget");
    if (selected) {
        const Matrix place = selected->GetMg();
        const Vector centre = selected->GetMp(), half = selected->GetRad();
        target->SetAbsPos(place * centre);
        constexpr Float kShare = 0.33;
        light.SetAbsPos((place * (centre - half) + place * (centre + half)) * kShare);
    }
    document.InsertObject(target);
    document.AddUndo(UNDOTYPE_NEW, target);
    lookAt(light, target->GetMg().off);
    // The tag keeps the light aimed when either is moved; a host without it has the light aimed once.
    if (BaseTag* tag = light.MakeTag(kTargetTag)) tag->SetParameter(kTargetLink, GeData(target));
    return target;
}

BaseList2D* createObject(BaseDocument& document, const ObjectRow& row) {
    const BaseObject* selected = document.GetActiveObject();
    if (row.aimed && selected && selected->GetType() == Olight) {
        MessageDialog("Don't select a Light for targetting!");
        return nullptr;
    }
    BaseObject* object = BaseObject::Alloc(row.type);
    if (!object) return nullptr;
    object->SetName(row.name);
    if (row.parameter) object->SetParameter(row.parameter, GeData(row.value));
    if (BaseTag* tag = row.tag ? object->MakeTag(row.tag) : nullptr)
        if (row.preset) row.preset(*tag);
    document.StartUndo();
    if (row.aimed) aim(document, *object, selected);
    document.InsertObject(object);
    document.AddUndo(UNDOTYPE_NEW, object);
    document.EndUndo();
    document.SetActiveObject(object);
    return object;
}

BaseList2D* createMaterial(BaseDocument& document, const MaterialRow& row) {
    BaseMaterial* material = BaseMaterial::Alloc(row.type);
    if (!material) return nullptr;
    material->SetName(row.name);
    if (row.kind) material->SetParameter(kMaterialType, GeData(row.kind));
    if (row.kind == kSpecular) {
        // Glass: all light passes, and what is reflected is sharp.
        constexpr Int32 kTransmission = 2554, kReflection = 2527, kRoughness = 2532;
        material->SetParameter(kTransmission, GeData(Vector(1.0)));
        material->SetParameter(kReflection, GeData(1.0));
        material->SetParameter(kRoughness, GeData(0.0));
    }
    document.StartUndo();
    document.InsertMaterial(material);
    document.AddUndo(UNDOTYPE_NEW, material);
    document.EndUndo();
    document.SetActiveMaterial(material);
    return material;
}

template <typename Rows>
auto find(const Rows& rows, std::string_view keyword) {
    const auto* found =
        std::find_if(std::begin(rows), std::end(rows), [&](const auto& row) { return row.keyword == keyword; });
    return found == std::end(rows) ? nullptr : found;
}

}  // namespace

BaseList2D* createByKeyword(BaseDocument& document, std::string_view keyword) {
    const ObjectRow* object = find(kObjects, keyword);
    const MaterialRow* material = object ? nullptr : find(kMaterials, keyword);
    if (!object && !material) {
        logLine("Lumora: there is nothing to create under the name " + String(std::string(keyword)));
        return nullptr;
    }
    BaseList2D* made = object ? createObject(document, *object) : createMaterial(document, *material);
    if (made) EventAdd();
    return made;
}

}  // namespace lumora
