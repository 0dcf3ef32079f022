// The memory of what became of a host object: one link for each object, or for each mesh slot.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"
#include "plugin/core/scene_object_info.h"

namespace lumora {

struct ObjectLink {
    String name;                            ///< the object's name at creation
    Matrix matrix;                          ///< that was used at creation; identity without an object
    const SceneObjectInfo* info = nullptr;  ///< record of the check that runs; only valid during it
    bool meshDirty = false, matrixDirty = false, layerWanted = false, reuseNode = false;
    bool isImported = false;  ///< the mesh node is really a graph
    Int32 tableCode = 0;      ///< 0 for static meshes, slot + 2 for objects
    Int32 listIndex = -1;
    Int32 kind = 0;
    Int32 count = 0;  ///< objects in the mesh
    Int32 passStamp = 0;
    ObjectDirtySums dirty;  ///< snapshot
    BaseObject* object = nullptr;
    BaseObject* objectOfLink = nullptr;  ///< what the link gave at the last refresh; the key of searches
    BaseLink link;
    ApiNode* meshNode = nullptr;
    ApiNode* transformNode = nullptr;  ///< the scatter that places the mesh
    ApiNode* layerNode = nullptr;      ///< the object layer map
    Int32 triangleCount = 0;
    Int32 materialCount = 0;
    std::vector<BaseMaterial*> materials;  ///< that the mesh was made with
};

/// Searches go forward from the last hit and then round: look-ups in table order cost one step each.
class ObjectLinkTable {
public:
    /// Appends a link. `linkObject`, when given, is what the weak link names instead of the object.
    ObjectLink& add(Int32 kind, BaseObject* linkObject, BaseObject* object, const Matrix& matrix, Int32 tableCode);
    ObjectLink* findByObject(const BaseObject* object, Int32* index = nullptr);
    ObjectLink* findByNode(const ApiNode* node);
    /// Points every link at its object in the document, or at nothing.
    void refresh();
    void removeByNode(const ApiNode* node);
    void clear();
    Int32 count() const { return static_cast<Int32>(links_.size()); }
    const std::vector<ObjectLink>& links() const { return links_; }

    BaseDocument* document = nullptr;
    bool changed = false;

private:
    template <typename Match>
    ObjectLink* search(Match match, Int32* index);

    std::vector<ObjectLink> links_;
    std::size_t cursor_ = 0;
};

}  // namespace lumora
