// A polygon object of the host as plain records: everything that conversion reads, gathered on the host's thread.
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "plugin/core/scene_object_info.h"
#include "plugin/materials/engine_write.h"

namespace lumora {

class MatManager;

/// Frees a tag that hangs on nothing.
struct LooseUvwTag {
    void operator()(UVWTag* tag) const { UVWTag::Free(tag); }
};

/// One texture tag laid on an object, or on a selection of its polygons.
struct TagLayer {
    UInt32 material = 0;  ///< slot of the mesh; 0 is the default
    Float u0 = 0, v0 = 0, tu = 1, tv = 1;
    const UVWTag* uvw = nullptr;                     ///< null: polygons keep zero coordinates
    std::unique_ptr<UVWTag, LooseUvwTag> generated;  ///< what `uvw` points at when a projection made it
    bool restricted = false;
    std::vector<BaseSelect::Range> ranges;  ///< polygons, when restricted; within the polygon count
};

/// Points stay the host's: the record is valid as long as the object is not touched.
struct MeshSource {
    const PolygonObject* polygonObject = nullptr;
    const Vector* points = nullptr;
    const CPolygon* polygons = nullptr;
    Int32 pointCount = 0, polygonCount = 0;
    Int64 cornerCount = 0;               ///< filled by countCorners
    std::vector<Vector32> phongNormals;  ///< four a polygon; empty with `faceted`
    bool faceted = false;                ///< no phong and no normal tag: face normals
    std::vector<TagLayer> layers;        ///< later ones overwrite earlier ones
    Matrix matrix, inverse;
    Int32 objectIndex = 0;
    Int32 colorId = -1;
};

/// Place of a texture tag's projection in the space of `object`, which sees the tag on itself or on what it stands
/// below.
Matrix tagPlace(const BaseObject* object, const TextureTag& tag);

/// Why an object has no mesh.
enum class MeshRefusal : UChar { None, NoPolygons, NoSize, NotFinite, BadIndices };

/// The polygon object that stands for a host object: its cache, or itself. Null when it has no mesh.
PolygonObject* polygonObjectOf(const BaseObject* object);

/// The polygon object of the record's object, checked: polygons, size, finite coordinates, indices within range.
MeshRefusal findMeshSource(const SceneObjectInfo& info, MeshSource* source);
/// Normals of a source that findMeshSource accepted. False when the host has none for it.
bool gatherNormals(MeshSource& source);
/// Slots are those of the manager's links: link s is slot s + 1.
void gatherLayersForStatic(const SceneObjectInfo& info, const MatManager& materials, MeshSource& source);
/// Slots are tag indices from 1; `materials` gets the material of each slot.
void gatherLayersForObject(const SceneObjectInfo& info, MeshSource& source, std::vector<BaseMaterial*>& materials);

}  // namespace lumora
