// One collected host object, with what its tags and its place in the tree say.
//
// The record is copied for each child during a walk: what a tag of a parent says holds for the children unless a tag of
// their own says otherwise, and a generator's settings reach the objects of its cache.
#pragma once

#include <vector>

#include "plugin/core/kept_vector.h"
#include "plugin/core/prelude.h"

namespace lumora {

/// The material layers of one selection; an empty selection stands for the whole object.
struct TextureTagEntry {
    bool stacked = false;  ///< several tags lie on this selection as layers
    Int32 slot = 0;        ///< 1-based tag index; the material slot in a per-object mesh
    String selection;
    TextureTag* primaryTag = nullptr;  ///< stands for the entry
    std::vector<TextureTag*> tags;     ///< the layers, in tag order
    std::vector<bool> alphaFlags;      ///< for each layer: it carries alpha
};

/// Sums of the host's change counters of one object, read by a walk and compared by the next.
struct ObjectDirtySums {
    UInt32 data = 0;       ///< points, polygons, parameters, caches and tags, those of the generator above too
    UInt32 matrix = 0;     ///< own placement
    UInt32 tags = 0;       ///< tags of the object and below it, texture tags above it and what they project from
    UInt32 hierarchy = 0;  ///< caches and children, and the main texture tag
    UInt32 poly = 0;       ///< materials of the texture tags
};

/// Objects live as long as the document that was walked; the record holds plain pointers and does not outlive a send
/// or a check.
struct SceneObjectInfo {
    // Visibility and layers.
    bool cameraVisible = true;
    bool shadowVisible = true;
    bool needsLayer = false;       ///< an object layer of the engine has to carry opacity, visibility, ids or colour
    bool hasRestrictions = false;  ///< a texture tag with a selection, or without a material, was seen
    bool renderVisible = true;
    bool inHiddenGenerator = false;  ///< stands in the cache of a generator that is not rendered
    bool isControlObject = false;    ///< consumed by the generator above it

    bool useInstancePath = true;  ///< motion is found by `instancePath`, else by `guid`
    bool singleTransform = true;  ///< may be moved as one piece
    bool hairSpline = false;      ///< a line object that renders as hair

    Int32 meshGroupSlot = 0;  ///< 0 static, 1 to 3 movable
    Int32 subdLevel = 0;
    Int32 subdBoundary = 0;
    Int32 motionType = 0;  ///< 0 none, 1 transform, 2 deformation, 3 velocity maps
    Int32 layerId = 1;
    Int32 bakingGroupId = 1;
    Int32 colorId = -1;  ///< index in colour tables
    Int32 particleMode = 0;
    Int32 geometryFlags = 0;
    Int32 mainTagIndex = 0;      ///< 1-based index of `mainTextureTag` among the texture tags
    Int32 stackedTagIndex = -1;  ///< 1-based index of the last stacked texture tag
    Int32 lightPassMask = 1023;
    Int32 particleIndex = -1;

    UInt32 dirtySum = 0, materialDirtySum = 0, tagDirtySum = 0;  ///< of the tags, by readObjectTags
    ObjectDirtySums dirty;                                       ///< of the object, by the walk

    Float opacity = 1.0;
    Float subdSharpness = 0.0;
    Vector objectColor;

    BaseObject* object = nullptr;
    BaseObject* parentObject = nullptr;  ///< the generator when `object` stands in its cache
    BaseObject* generator = nullptr;     ///< the object of the tree whose cache, at any depth, holds `object`
    UInt64 guid = 0;                     ///< with the parent's added when the walk comes through a cache
    UInt32 uniqueIp = 0;                 ///< the same sum of GetUniqueIP

    TextureTag* mainTextureTag = nullptr;  ///< last unrestricted, unstacked texture tag
    BaseTag* objectTag = nullptr;
    BaseTag* vertexMapTag = nullptr;  ///< last vertex map or vertex colour tag
    BaseMaterial* mainMaterial = nullptr;
    BaseMaterial* hairMaterial = nullptr;

    Matrix globalMatrix;
    Matrix textureMatrix;    ///< the global matrix, or global times tag matrix
    Vector hierarchyOffset;  ///< sum of the positions on the way down
    String instancePath;     ///< child indices of the walk, each followed by "."; only built when motion needs it
    KeptVector<TextureTagEntry> textureTags;  ///< one for each distinct selection name
};

using RecordList = KeptVector<SceneObjectInfo>;

}  // namespace lumora
