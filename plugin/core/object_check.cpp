#include "plugin/core/object_check.h"

#include <utility>

namespace lumora {

namespace {
constexpr std::size_t kFirstMovable = 1;
}

void ObjectCheck::clear() {
    for (ObjectLinkTable& table : slotLinks) table.clear();
    slotState.fill(SlotState::CountChanged);
    lastSizes_.fill(0);
    lists_.fill(nullptr);
    collections_ = {};
    document_ = nullptr;
    passStamp = 0;
}

Int32 ObjectCheck::check(BaseDocument* document, const CollectOptions& options) {
    if (!document) return 0;
    collectScene(document, collections_, options);
    return checkCollected(document, collections_);
}

Int32 ObjectCheck::checkCollected(BaseDocument* document, const SceneCollections& found) {
    if (!document) return 0;
    document_ = document;
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
    }
}

}  // namespace lumora
