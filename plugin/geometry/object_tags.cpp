#include "plugin/geometry/object_tags.h"

#include <algorithm>

#include "plugin/core/ids.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

namespace {

// Own materials keep their opacity under these numbers.
constexpr Int32 kOwnOpacityOn = 2571, kOwnOpacityShader = 2545;

bool carriesAlpha(const BaseMaterial* material) {
    if (!material) return false;
    if (material->GetType() == Mmaterial)
        return material->GetChannelState(MATERIAL_USE_ALPHA) && material->GetShader(MATERIAL_ALPHA_SHADER);
    if (material->GetType() == ID_LUMORA_MATERIAL)
        return material->GetDataInstance()->GetBool(kOwnOpacityOn, true) && material->GetShader(kOwnOpacityShader);
    return false;
}

/// What the texture tags of one object have said so far.
struct TextureTagReader {
    SceneObjectInfo& info;
    Int32 index = 0;              ///< of the tag in hand, from 1
    TextureTag* plain = nullptr;  ///< last unrestricted tag with a material that is no layer

    TextureTagEntry& entryFor(const String& selection) {
        for (TextureTagEntry& e : info.textureTags)
            if (e.selection == selection) return e;
        TextureTagEntry& entry = info.textureTags.grow();
        entry.stacked = false;
        entry.slot = 0;
        entry.selection = selection;
        entry.primaryTag = nullptr;
        entry.tags.clear();
        entry.alphaFlags.clear();
        return entry;
    }

    static void addLayer(TextureTagEntry& entry, TextureTag* tag) {
        entry.tags.push_back(tag);
        entry.alphaFlags.push_back(true);
        entry.stacked = true;
    }

    void addDirty(const BaseDocument* doc, TextureTag* tag) {
        const BaseContainer& data = *tag->GetDataInstance();
        if (data.GetInt32(TEXTURETAG_PROJECTION) == P_CAMERAMAP) {
            const BaseList2D* camera = data.GetLink(TEXTURETAG_CAMERA, doc);
            for (; camera; camera = camera->GetUp()) info.tagDirtySum += camera->GetDirty(DIRTYFLAGS_ALL);
        }
        info.tagDirtySum += tag->GetDirty(DIRTYFLAGS_DATA | DIRTYFLAGS_MATRIX);
    }

    void read(const BaseDocument* doc, TextureTag* tag) {
        BaseMaterial* material = tag->GetMaterial();
        const String restriction = tag->GetDataInstance()->GetString(TEXTURETAG_RESTRICTION);
        addDirty(doc, tag);
        ++index;
        const bool layer = plain && carriesAlpha(material);
        if (layer) info.stackedTagIndex = index;

        if (material && restriction.IsEmpty() && !layer) {
            plain = tag;
            info.mainTextureTag = tag;
            info.mainMaterial = material;
            info.mainTagIndex = index;
            info.textureMatrix = info.globalMatrix * tag->GetMl();
            info.textureTags.clear();  // it covers everything before it
        } else if (restriction.Content() || !material) {
            info.hasRestrictions = true;
            info.textureMatrix = info.globalMatrix;
        }

        TextureTagEntry& entry = entryFor(restriction);
        if (std::find(entry.tags.begin(), entry.tags.end(), tag) != entry.tags.end()) return;
        entry.slot = index;
        if (!layer) {
            entry.primaryTag = tag;
            entry.stacked = false;
            entry.tags.assign(1, tag);
            entry.alphaFlags.assign(1, false);
        } else if (restriction.Content()) {
            if (entry.tags.empty() && info.mainTextureTag) {
                entry.tags.push_back(info.mainTextureTag);
                entry.alphaFlags.push_back(false);
            }
            addLayer(entry, tag);
        } else {
            for (TextureTagEntry& e : info.textureTags) {
                addLayer(e, tag);
                e.primaryTag = tag;
            }
        }
        if (material) info.materialDirtySum += dirtySum(*material);
    }
};

void readObjectTag(BaseTag* tag, SceneObjectInfo& info) {
    const BaseContainer& d = *tag->GetDataInstance();
    info.objectTag = tag;
    info.meshGroupSlot = std::clamp(d.GetInt32(OBJTAG_SLOT, 1), 0, 3);
    info.opacity = d.GetFloat(OBJTAG_OPACITY, 1.0);
    info.cameraVisible = d.GetBool(OBJTAG_CAMERA_VISIBLE, true);
    info.shadowVisible = d.GetBool(OBJTAG_SHADOW_VISIBLE, true);
    info.motionType = d.GetInt32(OBJTAG_MOTION_TYPE, 1);
    info.layerId = d.GetInt32(OBJTAG_LAYER_ID, 1);
    info.bakingGroupId = d.GetInt32(OBJTAG_BAKING_GROUP, 1);
    info.subdLevel = d.GetInt32(OBJTAG_SUBD_LEVEL, 0);
    info.subdSharpness = d.GetFloat(OBJTAG_SUBD_SHARPNESS, 0.0);
    if (info.subdLevel > 0) info.subdBoundary = d.GetInt32(OBJTAG_SUBD_BOUNDARY, 0);
    info.colorId = d.GetInt32(OBJTAG_COLOR_ID, 0);
    info.particleMode = d.GetInt32(OBJTAG_PARTICLE_MODE, 0);
    info.geometryFlags = d.GetInt32(OBJTAG_GEOMETRY_FLAGS, 0);
    info.hairSpline = d.GetBool(OBJTAG_HAIR_SPLINE, false);
    if (d.GetBool(OBJTAG_NO_INSTANCE_PATH, false)) info.useInstancePath = false;

    GeData colour;
    if (tag->GetParameter(DescID(OBJTAG_COLOR), colour) && colour.GetType() == DataType::Vector)
        info.objectColor = colour.GetVector();

    info.lightPassMask = 1023;
    if (d.GetInt32(OBJTAG_LIGHT_PASS_CHOICE, OBJTAG_LIGHT_PASS_ALL) == OBJTAG_LIGHT_PASS_CUSTOM) {
        info.lightPassMask = 0;
        for (Int32 i = 0; i < 10; ++i)
            if (d.GetBool(OBJTAG_LIGHT_PASS_FIRST + i, true)) info.lightPassMask |= 1 << i;
    }
    if (info.layerId >= 2 || info.bakingGroupId >= 2 || !info.objectColor.IsZero() || info.lightPassMask != 1023)
        info.needsLayer = true;
}

}  // namespace

void readObjectTags(const BaseDocument* doc, BaseObject* object, SceneObjectInfo& info,
                    const ObjectTagContext& context) {
    if (!object) return;
    switch (object->GetRenderMode()) {
        case VisibilityMode::On:
            info.renderVisible = true;
            break;
        case VisibilityMode::Off:
            info.renderVisible = false;
            break;
        case VisibilityMode::Undefined:
            break;
    }
    TextureTagReader textures{info};
    for (BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext()) {
        __builtin_prefetch(tag->GetNext());
        switch (tag->GetType()) {
            case Ttexture:
                textures.read(doc, static_cast<TextureTag*>(tag));
                break;
            case ID_LUMORA_OBJECT_TAG:
                readObjectTag(tag, info);
                break;
            case Tvertexmap:
            case Tvertexcolor:
                info.vertexMapTag = tag;
                break;
            case Tdisplay:
                if (tag->GetDataInstance()->GetBool(DISPLAYTAG_USE_VISIBILITY, true))
                    info.opacity = tag->GetDataInstance()->GetFloat(DISPLAYTAG_VISIBILITY, 1.0);
                break;
            default:
                break;
        }
    }
    if (!context.finalRender && context.allMovable && info.meshGroupSlot == 0) info.meshGroupSlot = 1;
    if (!(info.opacity == 1.0 && info.cameraVisible && info.shadowVisible)) info.needsLayer = true;
    if (info.opacity == 0.0) info.renderVisible = false;
    if (textures.plain) {
        info.mainTextureTag = textures.plain;
        info.mainMaterial = textures.plain->GetMaterial();
        info.textureMatrix = info.globalMatrix;
    }
}

std::vector<TextureTag*> visibleTextureTags(const BaseObject* object) {
    std::vector<TextureTag*> tags;
    while (object && tags.empty()) {
        for (BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext())
            if (tag->GetType() == Ttexture) tags.push_back(static_cast<TextureTag*>(tag));
        const BaseObject* generator = object->GetCacheParent();
        object = generator ? generator : object->GetUp();
    }
    return tags;
}

bool slotIsOfLevel(const TextureTagEntry& entry, const std::vector<TextureTag*>& seen) {
    if (entry.slot < 1 || static_cast<std::size_t>(entry.slot) > seen.size()) return false;
    const TextureTag* tag = seen[static_cast<std::size_t>(entry.slot) - 1];
    return std::find(entry.tags.begin(), entry.tags.end(), tag) != entry.tags.end();
}

}  // namespace lumora
