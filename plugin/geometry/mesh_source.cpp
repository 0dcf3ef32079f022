#include "plugin/geometry/mesh_source.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "plugin/geometry/mesh_convert.h"
#include "plugin/geometry/object_tags.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

namespace {

// Beyond this a coordinate does not fit the engine's 32-bit floats with room for arithmetic.
constexpr Float kHuge = 3.4e37;
// Below this many elements a second thread costs more than it brings.
constexpr Int32 kParallelFrom = 1 << 18;

bool allFinite(const Vector* points, Int32 count) {
    bool finite = true;
#pragma omp parallel for schedule(static) reduction(&& : finite) if (count >= kParallelFrom)
    for (Int32 i = 0; i < count; ++i) {
        const Vector& p = points[i];
        // Comparisons with a NaN are false.
        finite = finite && std::abs(p.x) < kHuge && std::abs(p.y) < kHuge && std::abs(p.z) < kHuge;
    }
    return finite;
}

bool allCoincide(const Vector* points, Int32 count) {
    for (Int32 i = 1; i < count; ++i)
        if (!(points[i] == points[0])) return false;
    return true;
}

bool indicesInRange(const CPolygon* polygons, Int32 count, Int32 pointCount) {
    const auto n = static_cast<UInt32>(pointCount);
    bool good = true;
#pragma omp parallel for schedule(static) reduction(&& : good) if (count >= kParallelFrom)
    for (Int32 i = 0; i < count; ++i) {
        const CPolygon& p = polygons[i];
        good = good && static_cast<UInt32>(p.a) < n && static_cast<UInt32>(p.b) < n && static_cast<UInt32>(p.c) < n &&
               static_cast<UInt32>(p.d) < n;
    }
    return good;
}

/// Coordinates for a UVW tag: the first one behind the texture tag on the same object, round to the front of the list;
/// the first one of the object for a texture tag of a parent.
const UVWTag* findUvwTag(const PolygonObject& object, const TextureTag* tag) {
    if (!tag || tag->GetObject() != &object) return static_cast<const UVWTag*>(object.GetTag(Tuvw));
    for (const BaseTag* t = tag->GetNext(); t; t = t->GetNext())
        if (t->GetType() == Tuvw) return static_cast<const UVWTag*>(t);
    for (const BaseTag* t = object.GetFirstTag(); t && t != tag; t = t->GetNext())
        if (t->GetType() == Tuvw) return static_cast<const UVWTag*>(t);
    return nullptr;
}

const SelectionTag* findSelection(const PolygonObject& object, const String& name) {
    for (const BaseTag* t = object.GetFirstTag(); t; t = t->GetNext())
        if (t->GetType() == Tpolygonselection && t->GetName() == name) return static_cast<const SelectionTag*>(t);
    return nullptr;
}

/// Place of an object in the space of one above it, through caches; the identity when it is not above it.
Matrix placeBelow(const BaseObject* object, const BaseObject* above) {
    Matrix place;
    for (const BaseObject* o = object; o; o = o->GetCacheParent() ? o->GetCacheParent() : o->GetUp()) {
        if (o == above) return place;
        place = o->GetMl() * place;
    }
    return {};
}

/// Lays a tag (null: plain UVW coordinates) on the source. False, and nothing laid, when its selection is missing or
/// empty.
bool addLayer(const SceneObjectInfo& info, TextureTag* tag, UInt32 slot, MeshSource& source) {
    const PolygonObject& object = *source.polygonObject;
    TagLayer layer;
    layer.material = slot;
    Int32 projection = P_UVW;
    if (tag) {
        const BaseContainer& d = *tag->GetDataInstance();
        layer.u0 = d.GetFloat(TEXTURETAG_OFFSETX, 0.0);
        layer.v0 = d.GetFloat(TEXTURETAG_OFFSETY, 0.0);
        layer.tu = d.GetFloat(TEXTURETAG_TILESX, 1.0);
        layer.tv = d.GetFloat(TEXTURETAG_TILESY, 1.0);
        projection = d.GetInt32(TEXTURETAG_PROJECTION, P_UVW);
        const String restriction = d.GetString(TEXTURETAG_RESTRICTION);
        if (restriction.Content()) {
            const SelectionTag* selection = findSelection(object, restriction);
            if (!selection) return false;
            layer.restricted = true;
            for (BaseSelect::Range r : selection->GetBaseSelect()->Ranges()) {
                r.first = std::max(r.first, 0);
                r.last = std::min(r.last, source.polygonCount - 1);
                if (r.first <= r.last) layer.ranges.push_back(r);
            }
            if (layer.ranges.empty()) return false;
        }
    }
    // The host's v grows downwards and the engine's upwards: the tile's far edge becomes its origin.
    if (layer.tv != 0.0) layer.v0 += 1.0 / layer.tv;

    if (projection == P_UVW) {
        layer.uvw = findUvwTag(object, tag);
    } else {
        const Matrix place = tagPlace(info.object, *tag);
        const auto* camera =
            static_cast<const BaseObject*>(tag->GetDataInstance()->GetLink(TEXTURETAG_CAMERA, tag->GetDocument()));
        layer.generated.reset(GenerateUVW(object, projection, place, camera));
        layer.uvw = layer.generated.get();
    }
    source.layers.push_back(std::move(layer));
    return true;
}

TextureTag* lastPlainTag(const std::vector<TextureTag*>& tags) {
    TextureTag* found = nullptr;
    for (TextureTag* tag : tags)
        if (tag->GetMaterial() && tag->GetDataInstance()->GetString(TEXTURETAG_RESTRICTION).IsEmpty()) found = tag;
    return found;
}

}  // namespace

Matrix tagPlace(const BaseObject* object, const TextureTag& tag) {
    return ~placeBelow(object, tag.GetObject()) * tag.GetMl();
}

PolygonObject* polygonObjectOf(const BaseObject* object) {
    if (!object) return nullptr;
    if (BaseObject* cache = object->GetCache()) return ToPoly(cache);
    return ToPoly(const_cast<BaseObject*>(object));
}

MeshRefusal findMeshSource(const SceneObjectInfo& info, MeshSource* source) {
    const PolygonObject* object = polygonObjectOf(info.object);
    if (!object || object->GetPolygonCount() <= 0 || object->GetPointCount() <= 0) return MeshRefusal::NoPolygons;
    source->polygonObject = object;
    source->points = object->GetPointR();
    source->polygons = object->GetPolygonR();
    source->pointCount = object->GetPointCount();
    source->polygonCount = object->GetPolygonCount();
    if (!allFinite(source->points, source->pointCount)) return MeshRefusal::NotFinite;
    if (allCoincide(source->points, source->pointCount)) return MeshRefusal::NoSize;
    if (!indicesInRange(source->polygons, source->polygonCount, source->pointCount)) return MeshRefusal::BadIndices;
    source->cornerCount = countCorners(source->polygons, source->polygonCount);
    source->matrix = info.globalMatrix;
    source->inverse = ~info.globalMatrix;
    source->colorId = info.colorId;
    return MeshRefusal::None;
}

bool gatherNormals(MeshSource& source) {
    const PolygonObject& object = *source.polygonObject;
    source.faceted = !object.GetTag(Tphong) && !object.GetTag(Tnormal);
    if (source.faceted) return true;
    source.phongNormals = object.CreatePhongNormals();
    return source.phongNormals.size() >= static_cast<std::size_t>(source.polygonCount) * 4;
}

void gatherLayersForStatic(const SceneObjectInfo& info, const MatManager& materials, MeshSource& source) {
    const auto slotOf = [&](const TextureTag* tag) {
        return static_cast<UInt32>(materials.findLinkIndex(tag->GetMaterial()) + 1);
    };
    if (info.mainTextureTag && info.mainTextureTag->GetMaterial())
        addLayer(info, info.mainTextureTag, slotOf(info.mainTextureTag), source);
    if (info.hasRestrictions)
        for (TextureTag* tag : visibleTextureTags(info.object))
            if (tag->GetMaterial()) addLayer(info, tag, slotOf(tag), source);
    if (!source.layers.empty()) return;
    TextureTag* tag = lastPlainTag(visibleTextureTags(info.object));
    addLayer(info, tag, tag ? slotOf(tag) : 0, source);
}

void gatherLayersForObject(const SceneObjectInfo& info, MeshSource& source, std::vector<BaseMaterial*>& materials) {
    const std::vector<TextureTag*> seen = visibleTextureTags(info.object);
    std::vector<const TextureTag*> slots(seen.begin(), seen.end());
    materials.clear();
    for (const TextureTag* tag : seen) materials.push_back(tag->GetMaterial());
    // Slot n is the n-th tag; a tag of another level, which the record inherited, gets a slot behind them.
    const auto slotOf = [&](const TextureTag* tag) {
        const auto it = std::find(slots.begin(), slots.end(), tag);
        if (it != slots.end()) return static_cast<UInt32>(it - slots.begin()) + 1;
        slots.push_back(tag);
        materials.push_back(tag->GetMaterial());
        return static_cast<UInt32>(slots.size());
    };
    // A stack has the slot of its entry, which is that of its last layer.
    const auto slotOfEntry = [&](const TextureTagEntry& entry, const TextureTag* tag) {
        return entry.stacked && slotIsOfLevel(entry, seen) ? static_cast<UInt32>(entry.slot) : slotOf(tag);
    };
    if (info.mainTextureTag && info.mainTextureTag->GetMaterial()) {
        const auto whole = std::find_if(info.textureTags.begin(), info.textureTags.end(),
                                        [](const TextureTagEntry& e) { return e.selection.IsEmpty(); });
        const UInt32 slot =
            whole != info.textureTags.end() ? slotOfEntry(*whole, info.mainTextureTag) : slotOf(info.mainTextureTag);
        addLayer(info, info.mainTextureTag, slot, source);
    }
    for (const TextureTagEntry& entry : info.textureTags) {
        if (entry.selection.IsEmpty()) continue;
        TextureTag* tag = entry.primaryTag ? entry.primaryTag : info.mainTextureTag;
        if (tag && tag->GetMaterial()) addLayer(info, tag, slotOfEntry(entry, tag), source);
    }
    if (!source.layers.empty()) return;
    TextureTag* tag = lastPlainTag(seen);
    addLayer(info, tag, tag ? slotOf(tag) : 0, source);
}

}  // namespace lumora
