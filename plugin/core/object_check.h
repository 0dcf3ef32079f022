// The object check: which movable objects came, went, moved or changed since the last pass.
//
//   check: walk -> match records with links, slot by slot -> prune -> compare      (reads the host only)
//   update (plugin/geometry/movable_objects.h): serves what the links' flags ask for     (writes the engine)
//
// Threads: the main thread, or the thread of a final render's send.
#pragma once

#include <array>

#include "plugin/core/object_link.h"
#include "plugin/core/scene_collector.h"
#include "plugin/core/session.h"

namespace lumora {

/// What a slot's update has to look at.
enum class SlotState : Int32 { Same = 0, Matrices = 1, CountChanged = 2 };

class ObjectCheck {
public:
    /// Walks the document and compares. UPDATE_GEOMETRY when a movable object came, went or changed, else 0.
    Int32 check(BaseDocument* document, CollectOptions options);
    /// The same with the records of a walk that has just been made. They must outlive the update that follows.
    Int32 checkCollected(BaseDocument* document, const SceneCollections& found);
    /// Forgets all links, those that wait for their nodes' destruction too: the project was emptied.
    void clear();

    /// Records of slot 0 to 3 of the last pass. Null before the first.
    const RecordList* slotList(std::size_t slot) const { return lists_[slot]; }
    /// Everything that the last walk of check() found: instances, lights and the rest have checks of their own.
    const SceneCollections& collections() const { return collections_; }

    std::array<ObjectLinkTable, 4> slotLinks;
    std::array<SlotState, 4> slotState{};
    Int32 colourTotal = 0;  ///< colours in the tables of colour ids, as of the last walk
    Int32 passStamp = 0;

private:
    void matchSlot(std::size_t slot);
    void markStrandsOf(ObjectLinkTable& table, const BaseObject* object);
    ObjectLink* moveFromOtherSlot(std::size_t slot, const SceneObjectInfo& info);

    SceneCollections collections_;
    std::array<const RecordList*, 4> lists_{};
    std::array<std::size_t, 4> lastSizes_{};
    std::vector<const BaseObject*> changedStrands_;  ///< of the slot that is being matched
    BaseDocument* document_ = nullptr;
};

}  // namespace lumora
