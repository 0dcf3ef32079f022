#include "plugin/core/object_check.h"

#include <utility>

namespace lumora {

namespace {
constexpr std::size_t kFirstMovable = 1;

/// Hair, and line objects that render as hair.
bool isStrands(const BaseObject& object) {
    constexpr Int32 kHair = 1017305;
    return object.GetType() == kHair || object.GetType() == Oline;
}
}  // namespace

void ObjectCheck::clear() {
    for (ObjectLinkTable& table : slotLinks) table.clear();
    slotState.fill(SlotState::CountChanged);
    lastSizes_.fill(0);
    lists_.fill(nullptr);
    collections_.release();
    document_ = nullptr;
    colourTotal = passStamp = 0;
}

Int32 ObjectCheck::check(BaseDocument* document, CollectOptions options) {
    if (!document) return 0;
    options.forCheck = true;
    collectScene(document, collections_, options);
    return checkCollected(document, collections_);
}

Int32 ObjectCheck::checkCollected(BaseDocument* document, const SceneCollections& found) {
    if (!document) return 0;
    document_ = document;
    colourTotal = found.colourTotal;
    ++passStamp;
    for (std::size_t slot = 0; slot < lists_.size(); ++slot) {
        lists_[slot] = &found.meshSlots[slot];
        slotLinks[slot].document = document;
        slotLinks[slot].refresh();
    }
    for (std::size_t slot = kFirstMovable; slot < lists_.size(); ++slot) matchSlot(slot);
    for (ObjectLinkTable& table : slotLinks) {
        table.prune(passStamp);
        table.sortByList();
    }

    bool different = false;
    for (std::size_t slot = kFirstMovable; slot < lists_.size(); ++slot) {
        ObjectLinkTable& table = slotLinks[slot];
        const bool counted = table.changed;
        if (table.compareAll(colourTotal)) {
            different = true;
            slotState[slot] = SlotState::Matrices;
        }
        if (counted || lists_[slot]->size() != lastSizes_[slot]) slotState[slot] = SlotState::CountChanged;
        lastSizes_[slot] = lists_[slot]->size();
        different = different || slotState[slot] != SlotState::Same || !table.removed().empty();
    }
    return different ? UPDATE_GEOMETRY : 0;
}

ObjectLink* ObjectCheck::moveFromOtherSlot(std::size_t slot, const SceneObjectInfo& info) {
    for (std::size_t other = kFirstMovable; other < slotLinks.size(); ++other) {
        if (other == slot) continue;
        Int32 index = -1;
        ObjectLink* held = slotLinks[other].findForRecord(info, passStamp, &index);
        if (!held) continue;
        ObjectLink moved = std::move(*held);
        slotLinks[other].removeAt(index);
        moved.info = nullptr;
        moved.passStamp = 0;
        moved.reuseNode = true;
        moved.tableCode = static_cast<Int32>(slot) + 2;
        return &slotLinks[slot].adopt(std::move(moved));
    }
    return nullptr;
}

void ObjectCheck::matchSlot(std::size_t slot) {
    ObjectLinkTable& table = slotLinks[slot];
    Int32 index = 0;
    for (const SceneObjectInfo& info : *lists_[slot]) {
        ObjectLink* link = table.findForRecord(info, passStamp);
        if (!link) {
            link = moveFromOtherSlot(slot, info);
            if (!link) {
                link = &table.add(0, linkTarget(info), info.object, info.globalMatrix, static_cast<Int32>(slot) + 2);
                link->cacheNumber = info.generator ? info.uniqueIp : 0;
            }
            slotState[slot] = SlotState::CountChanged;
        }
        table.take(*link, info, index++, passStamp);
        if (isStrands(*info.object) && info.dirty.data != link->dirty.data) changedStrands_.push_back(info.object);
    }
    for (const BaseObject* object : changedStrands_) markStrandsOf(table, object);
    changedStrands_.clear();
}

/// Strands of one object are built together: when they change in one place they change in all.
void ObjectCheck::markStrandsOf(ObjectLinkTable& table, const BaseObject* object) {
    for (ObjectLink& link : table.links())
        if (link.info && link.passStamp == passStamp && link.info->object == object)
            link.meshDirty = link.forceGeometry = true;
}

}  // namespace lumora
