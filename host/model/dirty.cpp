// Change counters of nodes, and their sums over branches.
//
// Every node counts its own changes. The sum over a branch is made by a walk and kept with the change epoch; while
// nothing changes anywhere it is read back, and after a change one walk over a branch renews the sums of all nodes in
// it. A node that leaves adds its sum to its owner's `gone_`, so that sums only grow.
#include <bit>

#include "host/model/change_epoch.h"
#include "host/model/document_lists.h"
#include "host/model/list_access.h"

namespace host {
namespace {

enum SumIndex : std::size_t { kObject, kMatrix, kHierarchy, kTag, kShader, kMaterial, kSettings };

SumIndex indexOf(NodeFamily family) {
    switch (family) {
        case NodeFamily::Object:
            return kObject;
        case NodeFamily::Tag:
            return kTag;
        case NodeFamily::Shader:
            return kShader;
        case NodeFamily::Material:
            return kMaterial;
        default:
            return kSettings;
    }
}

}  // namespace

void ListAccess::raise(BaseList2D& node, UInt32 flags) {
    if (flags & DIRTYFLAGS_DATA) ++node.dirtyData_;
    if (flags & DIRTYFLAGS_MATRIX) ++node.dirtyMatrix_;
    if (flags & DIRTYFLAGS_CACHE) ++node.dirtyCache_;
    if (flags & DIRTYFLAGS_DESCENDANTS) ++node.dirtyDescendants_;
    if (flags & DIRTYFLAGS_SELECT) ++node.dirtySelect_;
    nextChangeEpoch();
    constexpr UInt32 kNoEdit = DIRTYFLAGS_CACHE;
    if ((flags & ~kNoEdit) && node.document_ && !node.GetBit(BIT_CACHE_OBJECT)) node.document_->changed_ = true;
}

const std::array<UInt32, BaseList2D::kSums>& ListAccess::branchSums(const BaseList2D& top) {
    const UInt64 epoch = changeEpoch.load(std::memory_order_relaxed);
    if (top.sums_.epoch == epoch) return top.sums_.value;

    thread_local std::vector<const BaseList2D*> stale;
    stale.clear();
    stale.push_back(&top);
    const auto forEachBelow = [](const BaseList2D& node, const auto& visit) {
        for (const Branch branch : kKeptBranches) {
            for (const BaseList2D* below = first(node, branch); below; below = below->next_) visit(*below);
        }
        if (node.family_ == NodeFamily::Document) {
            for (const NodeFamily family : kDocumentFamilies) {
                const auto& document = static_cast<const BaseDocument&>(node);
                for (const BaseList2D* at = firstInDocument(document, family); at; at = at->next_) visit(*at);
            }
        }
    };
    for (std::size_t i = 0; i < stale.size(); ++i) {
        forEachBelow(*stale[i], [&](const BaseList2D& below) {
            if (below.sums_.epoch != epoch) stale.push_back(&below);
        });
    }
    for (auto at = stale.rbegin(); at != stale.rend(); ++at) {
        const BaseList2D& node = **at;
        auto& sums = node.sums_.value;
        sums = node.gone_;
        // Being there counts one, so that coming and going changes the sum.
        sums[indexOf(node.family_)] += node.dirtyData_ + node.data_.GetDirty() + 1;
        sums[kMatrix] += node.dirtyMatrix_;
        sums[kHierarchy] += node.dirtyCache_;
        sums[kTag] += node.dirtyDescendants_;
        forEachBelow(node, [&](const BaseList2D& below) {
            for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += below.sums_.value[i];
        });
        node.sums_.epoch = epoch;
    }
    return top.sums_.value;
}

UInt32 BaseList2D::GetDirty(UInt32 mask) const {
    UInt32 sum = 0;
    if (mask & DIRTYFLAGS_DATA) sum += dirtyData_ + data_.GetDirty();
    if (mask & DIRTYFLAGS_MATRIX) sum += dirtyMatrix_;
    if (mask & DIRTYFLAGS_CACHE) sum += dirtyCache_;
    if (mask & DIRTYFLAGS_DESCENDANTS) sum += ListAccess::branchSums(*this)[kTag];
    if (mask & DIRTYFLAGS_SELECT) sum += dirtySelect_;
    return sum;
}

UInt32 BaseList2D::GetHDirty(UInt32 mask) const {
    const auto& sums = ListAccess::branchSums(*this);
    UInt32 sum = 0;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (mask & (UInt32{HDIRTYFLAGS_OBJECT} << i)) sum += sums[i];
    }
    return sum;
}

void BaseList2D::SetDirty(UInt32 mask) {
    ListAccess::raise(*this, mask);
}

}  // namespace host
