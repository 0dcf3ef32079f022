// Copies of nodes, branches and documents.
#include <algorithm>

#include "host/io/private_data.h"
#include "host/model/document_lists.h"
#include "host/model/list_access.h"
#include "host/model/node_factory.h"
#include "host/model/same_value.h"
#include "host/sdk/node_data.h"

namespace host {
namespace {

/// Bits that describe where a node stands, not what it is.
constexpr UInt32 kPlaceBits = BIT_CACHE_OBJECT | BIT_CONTROL_OBJECT | BIT_DELETED_CHILD | BIT_EXPORTED;

Bool isCopied(Branch branch, UInt32 flags) {
    switch (branch) {
        case Branch::Children:
            return !(flags & COPYFLAGS_NO_HIERARCHY);
        case Branch::Tracks:
            return !(flags & COPYFLAGS_NO_ANIMATION);
        case Branch::Tags:
        case Branch::Shaders:
        case Branch::VideoPosts:
            return !(flags & COPYFLAGS_NO_BRANCHES);
        default:
            return false;
    }
}

}  // namespace

void BaseList2D::CopyContent(const BaseList2D& source, UInt32 flags) {
    SetName(source.name_);
    data_ = source.data_;
    if (!(layer_ == source.layer_)) {
        layer_ = source.layer_;
        ListAccess::raise(*this, DIRTYFLAGS_SELECT);
    }
    if (!(flags & COPYFLAGS_NO_BITS)) bits_ = (bits_ & kPlaceBits) | (source.bits_ & ~kPlaceBits);
    uniqueIds_ = source.uniqueIds_;
    privateData_ = source.privateData_;
    privateLevel_ = source.privateLevel_;
}

void BaseList2D::TranslateLinks(const AliasTrans& translation) {
    layer_.Translate(translation);
}

void BaseTrack::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseList2D::CopyContent(source, flags);
    const auto& other = static_cast<const BaseTrack&>(source);
    const Bool same =
        parameter_ == other.parameter_ &&
        std::equal(keys_.begin(), keys_.end(), other.keys_.begin(), other.keys_.end(), [](const Key& a, const Key& b) {
            return a.time == b.time && a.value == b.value && a.interpolation == b.interpolation &&
                   sameValue(a.leftSlope, b.leftSlope) && sameValue(a.rightSlope, b.rightSlope);
        });
    if (same) return;
    parameter_ = other.parameter_;
    keys_ = other.keys_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

void BaseTrack::TranslateLinks(const AliasTrans& translation) {
    BaseList2D::TranslateLinks(translation);
    for (Key& key : keys_) {
        if (const BaseLink* link = key.value.GetBaseLink()) {
            BaseLink translated = *link;
            translated.Translate(translation);
            key.value = GeData(translated);
        }
    }
}

void BaseDraw::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseList2D::CopyContent(source, flags);
    const auto& other = static_cast<const BaseDraw&>(source);
    if (!(sceneCamera_ == other.sceneCamera_) || !std::equal(frame_, frame_ + 4, other.frame_)) {
        sceneCamera_ = other.sceneCamera_;
        std::copy(other.frame_, other.frame_ + 4, frame_);
        ListAccess::raise(*this, DIRTYFLAGS_DATA);
    }
    ListAccess::copyContent(*editorCamera_, *other.editorCamera_, flags);
}

void BaseDraw::TranslateLinks(const AliasTrans& translation) {
    BaseList2D::TranslateLinks(translation);
    sceneCamera_.Translate(translation);
    ListAccess::translateNode(*editorCamera_, translation);
}

void BaseDocument::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseList2D::CopyContent(source, flags);
    const auto& other = static_cast<const BaseDocument&>(source);
    if (!(time_ == other.time_)) {
        time_ = other.time_;
        ListAccess::raise(*this, DIRTYFLAGS_SELECT);
    }
    path_ = other.path_;
    activeRenderData_ = other.activeRenderData_;
    activeObject_ = other.activeObject_;
    activeMaterial_ = other.activeMaterial_;
    ListAccess::copyContent(*draw_, *other.draw_, flags);
}

void BaseDocument::TranslateLinks(const AliasTrans& translation) {
    BaseList2D::TranslateLinks(translation);
    activeRenderData_.Translate(translation);
    activeObject_.Translate(translation);
    activeMaterial_.Translate(translation);
    ListAccess::translateNode(*draw_, translation);
}

void ListAccess::copyContent(BaseList2D& node, const BaseList2D& source, UInt32 flags) {
    node.CopyContent(source, flags);
}

BaseList2D* ListAccess::cloneNode(const BaseList2D& source, UInt32 flags, AliasTrans& clones) {
    BaseList2D* clone = NodeFactory::makeOrKeep(source.family_, source.type_);
    if (!clone) return nullptr;
    // The copy starts with the counters of the original: equal sums keep meaning equal content.
    std::destroy_at(&clone->data_);
    std::construct_at(&clone->data_, source.data_);
    if (flags & COPYFLAGS_KEEP_GUID) clone->guid_ = source.guid_;
    clone->CopyContent(source, flags);
    clone->dirtyData_ = source.dirtyData_;
    clone->dirtyMatrix_ = source.dirtyMatrix_;
    clone->dirtyCache_ = source.dirtyCache_;
    clone->dirtyDescendants_ = source.dirtyDescendants_;
    clone->dirtySelect_ = source.dirtySelect_;
    clone->gone_ = source.gone_;
    clones.flags_ = flags;
    clones.Add(&source, clone);
    return clone;
}

BaseList2D* ListAccess::cloneContent(const BaseList2D& source, UInt32 flags) {
    AliasTrans unused, unchanged;
    BaseList2D* clone = cloneNode(source, flags, unused);
    if (clone && source.nodeData_ && clone->nodeData_) {
        source.nodeData_->CopyTo(clone->nodeData_.get(), &source, clone, flags, &unchanged);
    }
    return clone;
}

BaseList2D* ListAccess::cloneBranch(const BaseList2D& source, UInt32 flags, AliasTrans& clones) {
    BaseList2D* top = cloneNode(source, flags, clones);
    if (!top) return nullptr;
    std::vector<std::pair<const BaseList2D*, BaseList2D*>> pairs{{&source, top}};
    for (std::size_t at = 0; at < pairs.size(); ++at) {
        const auto [original, copy] = pairs[at];
        for (const Branch branch : kKeptBranches) {
            if (!isCopied(branch, flags)) continue;
            BaseList2D* last = nullptr;
            for (const BaseList2D* below = first(*original, branch); below; below = below->next_) {
                BaseList2D* belowCopy = cloneNode(*below, flags, clones);
                if (!belowCopy) continue;
                linkRaw(*belowCopy, *copy, branch, last);
                last = belowCopy;
                pairs.emplace_back(below, belowCopy);
            }
        }
    }
    return top;
}

void ListAccess::cloneLists(const BaseDocument& source, BaseDocument& copy, UInt32 flags, AliasTrans& clones) {
    copy.lists_->byGuid.reserve(source.lists_->byGuid.size());
    for (const NodeFamily family : kDocumentFamilies) {
        for (const BaseList2D* node = firstInDocument(source, family); node; node = node->next_) {
            if (BaseList2D* clone = cloneBranch(*node, flags, clones)) linkIntoDocument(*clone, copy);
        }
    }
    BaseList2D* last = nullptr;
    for (const BaseList2D* track = source.firstTrack_; track; track = track->next_) {
        BaseList2D* clone = cloneNode(*track, flags, clones);
        linkRaw(*clone, copy, Branch::Tracks, last);
        adopt(*clone, &copy);
        last = clone;
    }
}

void ListAccess::translateNode(BaseList2D& node, const AliasTrans& clones) {
    clones.translate(node.data_);
    node.TranslateLinks(clones);
}

void ListAccess::connect(AliasTrans& clones) {
    // Data classes may make clones of their own, which are connected too.
    for (; clones.connected_ < clones.order_.size(); ++clones.connected_) {
        const auto [original, clone] = clones.order_[clones.connected_];
        translateNode(*clone, clones);
        if (original->nodeData_ && clone->nodeData_) {
            original->nodeData_->CopyTo(clone->nodeData_.get(), original, clone, clones.flags_, &clones);
        }
    }
}

void AliasTrans::Connect() {
    ListAccess::connect(*this);
}

void ListAccess::resolveLinks(BaseDocument& document) {
    AliasTrans resolver;
    resolver.resolveIn_ = &document;
    std::vector<BaseList2D*> nodes{&document};
    gatherDocument(document, false, nodes);
    for (BaseList2D* node : nodes) translateNode(*node, resolver);
}

BaseList2D* BaseList2D::GetClone(UInt32 flags, AliasTrans* translation) const {
    if (family_ == NodeFamily::Document) return static_cast<const BaseDocument*>(this)->CloneDocument();
    if (translation) return ListAccess::cloneBranch(*this, flags, *translation);
    AliasTrans own;
    BaseList2D* clone = ListAccess::cloneBranch(*this, flags, own);
    own.Connect();
    return clone;
}

Bool BaseList2D::CopyFrom(const BaseList2D& source, UInt32 flags, AliasTrans* translation) {
    if (&source == this) return true;
    if (source.family_ != family_ || source.type_ != type_ || family_ == NodeFamily::Document) return false;
    AliasTrans own;
    AliasTrans& clones = translation ? *translation : own;
    CopyContent(source, flags);
    if (source.nodeData_ && nodeData_) {
        // Whether private data differ is known from what they would write.
        const std::vector<UChar> before = privateBytes(*this);
        source.nodeData_->CopyTo(nodeData_.get(), &source, this, flags, &clones);
        if (privateBytes(*this) != before) ListAccess::raise(*this, DIRTYFLAGS_DATA);
    }
    clones.Add(&source, this);
    for (const Branch branch : kKeptBranches) {
        if (!isCopied(branch, flags)) continue;
        while (BaseList2D* old = ListAccess::first(*this, branch)) ListAccess::destroy(old);
        for (const BaseList2D* below = ListAccess::first(source, branch); below; below = below->next_) {
            BaseList2D* copy = ListAccess::cloneBranch(*below, flags, clones);
            if (copy) ListAccess::append(*copy, *this, branch);
        }
    }
    if (!translation) clones.Connect();
    return true;
}

}  // namespace host
