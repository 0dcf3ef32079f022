#include "plugin/core/object_link.h"

#include <algorithm>

namespace lumora {

ObjectLink& ObjectLinkTable::add(Int32 kind, BaseObject* linkObject, BaseObject* object, const Matrix& matrix,
                                 Int32 tableCode) {
    ObjectLink& link = links_.emplace_back();
    link.kind = kind;
    link.tableCode = tableCode;
    link.matrix = matrix;
    link.object = link.objectOfLink = object;
    if (object) {
        link.name = object->GetName();
        link.dirty.data = object->GetDirty(DIRTYFLAGS_DATA) + object->GetDirty(DIRTYFLAGS_DESCENDANTS) +
                          object->GetHDirty(HDIRTYFLAGS_TAG);
        link.dirty.matrix = object->GetDirty(DIRTYFLAGS_MATRIX);
        link.link.SetLink(linkObject ? linkObject : object);
    }
    changed = true;
    return link;
}

template <typename Match>
ObjectLink* ObjectLinkTable::search(Match match, Int32* index) {
    if (links_.empty()) return nullptr;
    if (cursor_ >= links_.size()) cursor_ = 0;
    for (std::size_t n = 0; n < links_.size(); ++n) {
        const std::size_t i = (cursor_ + n) % links_.size();
        if (!match(links_[i])) continue;
        cursor_ = i;
        if (index) *index = static_cast<Int32>(i);
        return &links_[i];
    }
    return nullptr;
}

ObjectLink* ObjectLinkTable::findByObject(const BaseObject* object, Int32* index) {
    if (!object) return nullptr;
    return search([object](const ObjectLink& link) { return link.objectOfLink == object; }, index);
}

ObjectLink* ObjectLinkTable::findByNode(const ApiNode* node) {
    if (!node) return nullptr;
    return search([node](const ObjectLink& link) { return link.meshNode == node; }, nullptr);
}

void ObjectLinkTable::refresh() {
    for (ObjectLink& link : links_) link.objectOfLink = static_cast<BaseObject*>(link.link.GetLink(document));
}

void ObjectLinkTable::removeByNode(const ApiNode* node) {
    const auto removed = std::erase_if(links_, [node](const ObjectLink& link) { return link.meshNode == node; });
    if (removed > 0) changed = true;
}

void ObjectLinkTable::clear() {
    links_.clear();
    cursor_ = 0;
    changed = false;
}

}  // namespace lumora
