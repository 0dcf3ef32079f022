// The movable path: each object of the slots 1 to 3 as an engine mesh of its own, in object space, under a scatter that
// places it.
//
//   "Main Group" pin 1 + slot
//     group, one pin for each object
//       scatter (A_TRANSFORM)
//         object layer map, when the object needs one
//           mesh, or a plane for a floor
//
// An edit costs what it is worth: a moved object one A_TRANSFORM, a changed one its mesh's attributes on the node that
// it has, an unchanged one nothing.
//
// Threads: the sending thread.
#pragma once

#include "plugin/core/object_check.h"
#include "plugin/geometry/mesh_collector.h"

namespace lumora {

/// What the motion processor does for the movable objects of an update.
class ObjectMotionWriter : public VertexMotion {
public:
    /// Writes the object's animated transform, when it differs, to the scatter. False: it has none and stands still.
    virtual bool writeTransform(const SceneObjectInfo& info, ApiNode* scatter, float scale) = 0;
    /// Times at which vertices are sampled, one for each frame of the motion's span.
    virtual const Lumora::ApiTimeSampling* vertexTimes() const = 0;
};

struct MovableUpdateOptions {
    float scale = 0.01f;                   ///< metres per scene unit
    bool finalRender = false;              ///< every marked mesh is built, whatever its signature
    bool deformation = true;               ///< vertex motion is wanted where an object's tag asks for it
    ObjectMotionWriter* motion = nullptr;  ///< null: motion blur is off
    /// Brings the package of a loader object into the project: an output linker in a graph of its own, or null. Null:
    /// loaders stay empty.
    ApiNode* (*importGeometry)(BaseObject& loader) = nullptr;
};

/// What an update did.
struct MovableUpdateResult {
    bool sent = false;        ///< something was served; the engine may hold the same as before
    bool broken = false;      ///< broken off; what is left stays marked
    Int32 meshesBuilt = 0;    ///< made or made anew
    Int32 transforms = 0;     ///< rewritten
    Int64 triangleCount = 0;  ///< of all movable objects
};

/// Makes the groups of slots 1 to 3 on `mainGroup` agree with the last check, and destroys the nodes of the links that
/// wait for it. `force`: slots without a mark are gone through too.
MovableUpdateResult updateMovableObjects(ObjectCheck& state, ApiNode* mainGroup, MatManager& materials, bool force,
                                         const MovableUpdateOptions& options);

/// A floor object as an infinite plane with its main material: `held` when that is one, else a new node.
ApiNode* floorPlane(MatManager& materials, const SceneObjectInfo& info, ApiNode* held = nullptr);

/// The group of a slot on the main group's pin: the one that is there, or a new, empty one named "Group_" and the slot.
ApiNode* slotGroup(ApiNode* mainGroup, std::size_t slot);

}  // namespace lumora
