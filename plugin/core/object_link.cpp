#include "plugin/core/object_link.h"

#include <algorithm>
#include <cstring>
#include <utility>

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
        // Nothing stands in the engine yet, whatever the counters say.
        link.meshDirty = link.matrixDirty = true;
    }
    changed = true;
    return link;
}

ObjectLink& ObjectLinkTable::adopt(ObjectLink&& link) {
    changed = true;
    return links_.emplace_back(std::move(link));
}

template <typename Match>
ObjectLink* ObjectLinkTable::search(Match match, Int32* index) {
    if (links_.empty()) return nullptr;
    if (cursor_ >= links_.size()) cursor_ = 0;
    const auto look = [&](std::size_t first, std::size_t last) -> ObjectLink* {
        for (std::size_t i = first; i < last; ++i) {
            if (!match(links_[i])) continue;
            cursor_ = i;
            if (index) *index = static_cast<Int32>(i);
            return &links_[i];
        }
        return nullptr;
    };
    if (ObjectLink* found = look(cursor_, links_.size())) return found;
    return look(0, cursor_);
}

ObjectLink* ObjectLinkTable::findByObject(const BaseObject* object, Int32* index) {
    if (!object) return nullptr;
    return search([object](const ObjectLink& link) { return link.objectOfLink == object; }, index);
}

ObjectLink* ObjectLinkTable::findByNode(const ApiNode* node) {
    if (!node) return nullptr;
    return search([node](const ObjectLink& link) { return link.meshNode == node; }, nullptr);
}

ObjectLink* ObjectLinkTable::findByResolvedObject(const BaseObject* object, Int32* index) {
    if (!object) return nullptr;
    return search(
        [this, object](ObjectLink& link) {
            link.objectOfLink = static_cast<BaseObject*>(link.link.GetLink(document));
            return link.objectOfLink == object;
        },
        index);
}

ObjectLink* ObjectLinkTable::findForRecord(const SceneObjectInfo& info, Int32 stamp, Int32* index) {
    const BaseObject* key = linkTarget(info);
    if (!key || taken_ == count()) return nullptr;
    const UInt32 number = info.generator ? info.uniqueIp : 0;
    return search(
        [key, number, stamp](const ObjectLink& link) {
            return link.objectOfLink == key && link.cacheNumber == number && link.passStamp != stamp;
        },
        index);
}

void ObjectLinkTable::take(ObjectLink& link, const SceneObjectInfo& info, Int32 listIndex, Int32 stamp) {
    if (link.passStamp != stamp) ++taken_;
    link.info = &info;
    link.listIndex = listIndex;
    link.passStamp = stamp;
}

void ObjectLinkTable::refresh() {
    taken_ = 0;
    for (ObjectLink& link : links_) link.objectOfLink = static_cast<BaseObject*>(link.link.GetLink(document));
}

void ObjectLinkTable::removeByNode(const ApiNode* node) {
    if (std::erase_if(links_, [node](const ObjectLink& link) { return link.meshNode == node; }) > 0) changed = true;
}

void ObjectLinkTable::removeAt(Int32 index) {
    links_.erase(links_.begin() + index);
    changed = true;
}

void ObjectLinkTable::prune(Int32 stamp) {
    std::erase_if(links_, [this, stamp](ObjectLink& link) {
        if (link.hasLink() && link.passStamp == stamp && link.link.GetLink(document)) return false;
        changed = true;
        if (link.hasLink() && link.transformNode) {
            link.info = nullptr;
            removed_.push_back(std::move(link));
        }
        return true;
    });
}

void ObjectLinkTable::sortByList() {
    const auto before = [](const ObjectLink& a, const ObjectLink& b) { return a.listIndex < b.listIndex; };
    if (!std::is_sorted(links_.begin(), links_.end(), before)) std::sort(links_.begin(), links_.end(), before);
}

void ObjectLinkTable::clear() {
    links_.clear();
    removed_.clear();
    cursor_ = 0;
    lastCount_ = taken_ = 0;
    changed = false;
}

bool ObjectLinkTable::compareAll(Int32 colourTotal) {
    bool different = count() != lastCount_;
    lastCount_ = count();
    changed = false;
    for (ObjectLink& link : links_) {
        if (!link.info || !link.link.GetLink(document)) return false;
        if (compareOne(link, colourTotal, link.info->object) == LinkChange::Same) continue;
        different = link.changed = true;
    }
    return different;
}

namespace {

/// Bit for bit: what is not a number equals itself too.
bool sameMatrix(const Matrix& a, const Matrix& b) {
    return std::memcmp(&a, &b, sizeof(Matrix)) == 0;
}

bool hasTextureTag(const SceneObjectInfo& info, const BaseObject* object) {
    const BaseObject* tagged = info.parentObject ? info.parentObject : object;
    return tagged && tagged->GetTag(Ttexture);
}

Int32 mainProjection(const SceneObjectInfo& info) {
    return info.mainTextureTag ? info.mainTextureTag->GetDataInstance()->GetInt32(TEXTURETAG_PROJECTION, P_UVW) : P_UVW;
}

Float shareOf(const SceneObjectInfo& info, Int32 colourTotal) {
    return colourTotal > 0 ? static_cast<Float>(info.colorId) / colourTotal : 0.0;
}

/// Whether the tags, what they show, the hair material, the layer or the generator changed.
bool surroundingsDiffer(const ObjectLink& link, const SceneObjectInfo& info) {
    return info.geometryFlags != 0 || info.dirty.tags != link.dirty.tags ||
           info.dirty.hierarchy != link.dirty.hierarchy || info.hairMaterial != link.hairMaterial ||
           info.needsLayer != link.layerWanted || info.generator != link.cacheGenerator;
}

void takeSnapshot(ObjectLink& link, const SceneObjectInfo& info, Int32 colourTotal, BaseObject* object) {
    link.layerWanted = info.needsLayer;
    link.dirty = info.dirty;
    link.hairMaterial = info.hairMaterial;
    link.cacheGenerator = info.generator;
    link.opacity = info.opacity;
    link.cameraVisible = info.cameraVisible;
    link.shadowVisible = info.shadowVisible;
    link.colourShare = shareOf(info, colourTotal);
    link.object = object;
}

}  // namespace

LinkChange compareOne(ObjectLink& link, Int32 colourTotal, BaseObject* object) {
    const SceneObjectInfo& info = *link.info;
    const bool meshWaits = link.meshDirty, forceWaits = meshWaits && link.forceGeometry;
    link.rebuildHint = link.forceGeometry = false;
    bool rebuild = false, snapshot = false;
    LinkChange level = link.matrixDirty ? LinkChange::Matrix : LinkChange::Same;

    const bool moved = !sameMatrix(info.globalMatrix, link.savedMatrix);
    if (info.dirty.matrix != link.dirty.matrix || moved) {
        const Int32 projection = mainProjection(info);
        // Coordinates of a projection that lies on something else depend on where the object stands.
        if (projection != P_UVW && !hasTextureTag(info, object)) rebuild = link.forceGeometry = true;
        if (projection == P_CAMERAMAP) rebuild = link.forceGeometry = true;
        if (moved) {
            link.matrixDirty = true;
            level = LinkChange::Matrix;
        }
        link.dirty.matrix = info.dirty.matrix;
        link.savedMatrix = info.globalMatrix;
    }
    if (colourTotal > 0 && link.colourShare != shareOf(info, colourTotal)) rebuild = link.forceGeometry = true;
    if (info.dirty.data != link.dirty.data || object != link.object) rebuild = link.forceGeometry = true;
    if (info.stackedTagIndex != -1 && info.dirty.poly != link.dirty.poly) {
        snapshot = true;
    } else if (surroundingsDiffer(link, info)) {
        snapshot = true;
        // What a camera sees of the object is no content of its tags.
        if (mainProjection(info) == P_CAMERAMAP) link.forceGeometry = true;
    }
    if (!rebuild && !snapshot) {
        if (info.opacity != link.opacity)
            level = LinkChange::Opacity;
        else if (info.cameraVisible != (link.cameraVisible != 0))
            level = LinkChange::CameraVisibility;
        else if (info.shadowVisible != (link.shadowVisible != 0))
            level = LinkChange::ShadowVisibility;
        // One write of the layer serves all three.
        link.opacity = info.opacity;
        link.cameraVisible = info.cameraVisible;
        link.shadowVisible = info.shadowVisible;
        link.object = object;
        link.forceGeometry = forceWaits;
        return meshWaits ? LinkChange::Rebuild : level;
    }
    link.meshDirty = true;
    link.forceGeometry = link.forceGeometry || forceWaits;
    takeSnapshot(link, info, colourTotal, object);
    return LinkChange::Rebuild;
}

}  // namespace lumora
