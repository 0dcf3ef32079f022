// The memory of what became of a host object in the engine.
//
// A link ties one object, as it stands in the tree, to the nodes made for it, and keeps a snapshot of its change
// counters, so that the next check can say what changed. There are five tables: the session's, with one link for each
// static mesh, and one for each mesh slot with a link for each object of it.
//
// Identity of an object. Generators make their caches anew, so a pointer does not outlive a check: the weak link names
// the object of the tree (itself, or the generator in whose cache it stands), and its number within the cache tells the
// objects of one generator apart.
//
// A link's life:
//
//   add (all dirty) -> compareOne of each check sets meshDirty, matrixDirty -> the object update serves and clears them
//   not seen by a check, or its object is gone -> prune -> `removed`, until the object update has destroyed the nodes
//
// A dirty flag stays until it was served: a check whose update was broken off is not lost.
//
// Threads: the main thread, inside a send, a check or an update.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"
#include "plugin/core/scene_object_info.h"

namespace lumora {

/// How much of a link changed, of compareOne. Everything but Same counts as changed.
enum class LinkChange : Int32 {
    Same = 0,
    Matrix = 1,
    Opacity = 4,
    CameraVisibility = 5,
    ShadowVisibility = 6,
    Rebuild = 7
};

struct ObjectLink {
    String name;                            ///< the object's name at creation
    String materialKey;                     ///< carried along
    Matrix matrix;                          ///< that was used at creation; identity without an object
    const SceneObjectInfo* info = nullptr;  ///< record of the check that runs; valid until its update is done
    bool meshDirty = false;                 ///< the geometry must be built again
    bool matrixDirty = false;               ///< the transform must be written again
    bool layerWanted = false;               ///< snapshot of the record's `needsLayer`
    bool rebuildHint = false;
    bool changed = true;         ///< a comparison found something that no update has served yet
    bool reuseNode = false;      ///< kept while a link moves
    bool isImported = false;     ///< the mesh node is really a graph
    bool forceGeometry = false;  ///< the cause of the change is one that the mesh signature does not see
    bool refused = false;        ///< the last build found no mesh in the object
    Int32 tableCode = 0;         ///< 0 for static meshes, slot + 2 for objects
    Int32 listIndex = -1;        ///< of the object in the slot list of this pass
    Int32 cameraVisible = -1, shadowVisible = -1;  ///< snapshots; -1 before the first
    Int32 kind = 0;                                ///< as given to add
    Int32 passStamp = 0;                           ///< check pass that last saw the link
    Float colourShare = 0;                         ///< snapshot of colour id / colour total
    Float opacity = 1;                             ///< snapshot
    ObjectDirtySums dirty;                         ///< snapshot
    BaseObject* object = nullptr;                  ///< that the mesh was made from
    BaseObject* objectOfLink = nullptr;            ///< what the link gave at the last refresh; the key of searches
    UInt32 cacheNumber = 0;                        ///< of the object within its generator's cache; 0 in the tree
    BaseLink link;
    ApiNode* meshNode = nullptr;       ///< the mesh, or for a slot its single mesh
    ApiNode* transformNode = nullptr;  ///< the scatter that places the mesh
    ApiNode* layerNode = nullptr;      ///< the object layer map
    Int32 triangleCount = 0;
    Int32 sharedMesh = -1;                       ///< instances: which of the meshes that bases share it shows; -1: none
    Int32 count = 0;                             ///< static meshes: objects in the mesh
    Int32 materialCount = 0;                     ///< static meshes: material pins
    Vector signature;                            ///< of the mesh, see meshSignature
    Matrix savedMatrix;                          ///< matrix compared last
    const BaseMaterial* hairMaterial = nullptr;  ///< snapshot
    const BaseObject* cacheGenerator = nullptr;  ///< snapshot of the record's generator
    std::vector<BaseMaterial*> materials;        ///< that the mesh was made with

    bool hasLink() const { return link.GetGUID() != 0; }
};

/// Searches go forward from the last hit and then round: a check walks the objects in the order of the table, so that a
/// look-up costs one step and no map is needed.
class ObjectLinkTable {
public:
    /// Appends a link. `linkObject`, when given, is what the weak link names instead of the object.
    ObjectLink& add(Int32 kind, BaseObject* linkObject, BaseObject* object, const Matrix& matrix, Int32 tableCode);
    /// Appends a link of another table, which gives it up.
    ObjectLink& adopt(ObjectLink&& link);

    /// By the key of searches, by the mesh; null for a null key and when there is none. `index` is set on a hit.
    ObjectLink* findByObject(const BaseObject* object, Int32* index = nullptr);
    ObjectLink* findByNode(const ApiNode* node);
    /// As findByObject, against what the weak links give now.
    ObjectLink* findByResolvedObject(const BaseObject* object, Int32* index = nullptr);
    /// The link of a record that no record of pass `stamp` has taken yet. Costs nothing when all links are taken.
    ObjectLink* findForRecord(const SceneObjectInfo& info, Int32 stamp, Int32* index = nullptr);
    /// Marks the link as the record's for this pass.
    void take(ObjectLink& link, const SceneObjectInfo& info, Int32 listIndex, Int32 stamp);

    /// Points every link at its object in the document, or at nothing. Starts a pass: no link is taken.
    void refresh();
    void removeByNode(const ApiNode* node);
    void removeAt(Int32 index);
    /// Drops the links whose object is gone or was not seen by pass `stamp`; those with nodes go to `removed`.
    void prune(Int32 stamp);
    /// Puts the links into the order of the slot list, when they are not.
    void sortByList();
    /// Compares every link with its record and marks what changed. True when one changed, or the number of links.
    bool compareAll(Int32 colourTotal);
    void clear();
    void clearRemoved() { removed_.clear(); }

    Int32 count() const { return static_cast<Int32>(links_.size()); }
    std::vector<ObjectLink>& links() { return links_; }
    const std::vector<ObjectLink>& links() const { return links_; }
    std::vector<ObjectLink>& removed() { return removed_; }  ///< their nodes wait to be destroyed
    Int32 cursor() const { return static_cast<Int32>(cursor_); }

    BaseDocument* document = nullptr;  ///< weak links are resolved against it
    bool changed = false;              ///< a link was added or removed since the last comparison

private:
    template <typename Match>
    ObjectLink* search(Match match, Int32* index);

    std::vector<ObjectLink> links_, removed_;
    std::size_t cursor_ = 0;  ///< of the last hit
    Int32 lastCount_ = 0;     ///< links at the last comparison
    Int32 taken_ = 0;         ///< links that the pass has taken
};

/// What the weak link of a record's link names: the object itself, or the generator in whose cache it stands.
inline BaseObject* linkTarget(const SceneObjectInfo& info) {
    return info.generator ? info.generator : info.object;
}

/// Compares a link with its record, marks what is dirty and takes the snapshots. `colourTotal`: colours in the tables
/// of colour ids, 0 when there are none.
LinkChange compareOne(ObjectLink& link, Int32 colourTotal, BaseObject* object);

}  // namespace lumora
