#include "host/model/list_access.h"

#include <algorithm>
#include <random>

#include "host/model/change_epoch.h"
#include "host/model/document_lists.h"
#include "host/sdk/node_data.h"

namespace host {
namespace {

constexpr Branch kAllBranches[] = {Branch::Children,   Branch::Tags,  Branch::Shaders,    Branch::Tracks,
                                   Branch::VideoPosts, Branch::Cache, Branch::DeformCache};

Bool standsInDocumentList(NodeFamily family) {
    return std::find(std::begin(kDocumentFamilies), std::end(kDocumentFamilies), family) != std::end(kDocumentFamilies);
}

/// The branch that holds a family under its owner.
Branch branchOf(NodeFamily family) {
    switch (family) {
        case NodeFamily::Tag:
            return Branch::Tags;
        case NodeFamily::Shader:
            return Branch::Shaders;
        case NodeFamily::Track:
            return Branch::Tracks;
        case NodeFamily::VideoPost:
            return Branch::VideoPosts;
        default:
            return Branch::Children;
    }
}

}  // namespace

UInt64 ListAccess::newGuid() {
    // Ids must differ between runs, since files of several runs meet in one document.
    thread_local std::mt19937_64 generator = [] {
        std::random_device device;
        std::seed_seq seed{device(), device(), device(), device(), device(), device()};
        return std::mt19937_64(seed);
    }();
    UInt64 guid = 0;
    while (guid == 0) guid = generator();
    return guid;
}

BaseList2D* ListAccess::first(const BaseList2D& node, Branch branch) {
    const Bool object = node.family_ == NodeFamily::Object;
    switch (branch) {
        case Branch::Children:
            return node.down_;
        case Branch::Shaders:
            return node.firstShader_;
        case Branch::Tracks:
            return node.firstTrack_;
        case Branch::Tags:
            return object ? static_cast<const BaseObject&>(node).firstTag_ : nullptr;
        case Branch::Cache:
            return object ? static_cast<const BaseObject&>(node).cache_ : nullptr;
        case Branch::DeformCache:
            return object ? static_cast<const BaseObject&>(node).deformCache_ : nullptr;
        case Branch::VideoPosts:
            return node.family_ == NodeFamily::RenderData ? static_cast<const RenderData&>(node).firstVideoPost_
                                                          : nullptr;
    }
    return nullptr;
}

BaseList2D* ListAccess::last(const BaseList2D& node, Branch branch) {
    if (branch == Branch::Children) return node.downLast_;
    BaseList2D* element = first(node, branch);
    while (element && element->next_) element = element->next_;
    return element;
}

void ListAccess::setFirst(BaseList2D& node, Branch branch, BaseList2D* element) {
    switch (branch) {
        case Branch::Children:
            node.down_ = element;
            break;
        case Branch::Shaders:
            node.firstShader_ = static_cast<BaseShader*>(element);
            break;
        case Branch::Tracks:
            node.firstTrack_ = static_cast<BaseTrack*>(element);
            break;
        case Branch::Tags:
            static_cast<BaseObject&>(node).firstTag_ = static_cast<BaseTag*>(element);
            break;
        case Branch::Cache:
            static_cast<BaseObject&>(node).cache_ = static_cast<BaseObject*>(element);
            break;
        case Branch::DeformCache:
            static_cast<BaseObject&>(node).deformCache_ = static_cast<BaseObject*>(element);
            break;
        case Branch::VideoPosts:
            static_cast<RenderData&>(node).firstVideoPost_ = static_cast<BaseVideoPost*>(element);
            break;
    }
}

BaseList2D* ListAccess::firstInDocument(const BaseDocument& document, NodeFamily family) {
    return document.lists_->byFamily[static_cast<std::size_t>(family)].first;
}

BaseList2D* ListAccess::lastInDocument(const BaseDocument& document, NodeFamily family) {
    return document.lists_->byFamily[static_cast<std::size_t>(family)].last;
}

Place ListAccess::placeOf(const BaseList2D& node) {
    if (node.up_) return {node.up_, Branch::Children, node.pred_};
    if (node.main_) {
        if (node.family_ == NodeFamily::Draw) return {};
        if (node.family_ != NodeFamily::Object) return {node.main_, branchOf(node.family_), node.pred_};
        if (node.main_->family_ != NodeFamily::Object) return {};  // the camera of a view
        const Bool deformed = static_cast<const BaseObject*>(node.main_)->deformCache_ == &node;
        return {node.main_, deformed ? Branch::DeformCache : Branch::Cache, nullptr};
    }
    if (node.document_ && standsInDocumentList(node.family_)) return {node.document_, Branch::Children, node.pred_};
    return {};
}

Bool ListAccess::isWithin(const BaseList2D& node, const BaseList2D& ancestor) {
    for (const BaseList2D* at = &node; at; at = at->up_ ? at->up_ : at->main_) {
        if (at == &ancestor) return true;
    }
    return false;
}

void ListAccess::hookIn(BaseList2D& node, const Place& place) {
    BaseList2D& owner = *place.owner;
    node.pred_ = place.pred;
    if (owner.family_ == NodeFamily::Document && place.branch == Branch::Children) {
        auto& list = static_cast<BaseDocument&>(owner).lists_->byFamily[static_cast<std::size_t>(node.family_)];
        node.next_ = place.pred ? place.pred->next_ : list.first;
        if (!place.pred) list.first = &node;
        if (!node.next_) list.last = &node;
    } else {
        node.next_ = place.pred ? place.pred->next_ : first(owner, place.branch);
        if (!place.pred) setFirst(owner, place.branch, &node);
        if (place.branch == Branch::Children) {
            node.up_ = &owner;
            if (!node.next_) owner.downLast_ = &node;
        } else {
            node.main_ = &owner;
        }
    }
    if (node.pred_) node.pred_->next_ = &node;
    if (node.next_) node.next_->pred_ = &node;
}

void ListAccess::hookOut(BaseList2D& node, const Place& place) {
    BaseList2D& owner = *place.owner;
    if (owner.family_ == NodeFamily::Document && place.branch == Branch::Children) {
        auto& list = static_cast<BaseDocument&>(owner).lists_->byFamily[static_cast<std::size_t>(node.family_)];
        if (list.first == &node) list.first = node.next_;
        if (list.last == &node) list.last = node.pred_;
    } else {
        if (first(owner, place.branch) == &node) setFirst(owner, place.branch, node.next_);
        if (place.branch == Branch::Children && owner.downLast_ == &node) owner.downLast_ = node.pred_;
    }
    if (node.pred_) node.pred_->next_ = node.next_;
    if (node.next_) node.next_->pred_ = node.pred_;
    node.next_ = node.pred_ = node.up_ = node.main_ = nullptr;
}

void ListAccess::registerGuid(BaseDocument& document, BaseList2D& node) {
    while (true) {
        const auto [place, inserted] = document.lists_->byGuid.try_emplace(node.guid_, &node);
        if (inserted || place->second == &node) return;
        node.guid_ = newGuid();  // a second copy of something that stands here already
    }
}

void ListAccess::forgetGuid(BaseDocument& document, const BaseList2D& node) {
    const auto found = document.lists_->byGuid.find(node.guid_);
    if (found != document.lists_->byGuid.end() && found->second == &node) document.lists_->byGuid.erase(found);
}

void ListAccess::gather(BaseList2D& node, Bool caches, std::vector<BaseList2D*>& nodes) {
    std::size_t at = nodes.size();
    nodes.push_back(&node);
    for (; at < nodes.size(); ++at) {
        for (const Branch branch : kAllBranches) {
            if (!caches && (branch == Branch::Cache || branch == Branch::DeformCache)) continue;
            for (BaseList2D* below = first(*nodes[at], branch); below; below = below->next_) nodes.push_back(below);
        }
    }
}

void ListAccess::gatherDocument(const BaseDocument& document, Bool caches, std::vector<BaseList2D*>& nodes) {
    for (const NodeFamily family : kDocumentFamilies) {
        for (BaseList2D* node = firstInDocument(document, family); node; node = node->next_) {
            gather(*node, caches, nodes);
        }
    }
    for (BaseList2D* track = document.firstTrack_; track; track = track->next_) nodes.push_back(track);
    for (BaseList2D* shader = document.firstShader_; shader; shader = shader->next_) gather(*shader, caches, nodes);
}

void ListAccess::adopt(BaseList2D& node, BaseDocument* document) {
    if (node.document_ == document) return;
    thread_local std::vector<BaseList2D*> nodes;
    nodes.clear();
    gather(node, true, nodes);
    for (BaseList2D* element : nodes) {
        const Bool kept = !element->GetBit(BIT_CACHE_OBJECT);
        if (element->document_ && kept) forgetGuid(*element->document_, *element);
        element->document_ = document;
        if (document && kept) registerGuid(*document, *element);
    }
}

void ListAccess::raisePlace(const Place& place, NodeFamily family) {
    switch (place.branch) {
        case Branch::Children:
            raise(*place.owner, family == NodeFamily::Object ? DIRTYFLAGS_CACHE : DIRTYFLAGS_SELECT);
            break;
        case Branch::Tags:
            raise(*place.owner, DIRTYFLAGS_DESCENDANTS);
            break;
        case Branch::Shaders:
            raise(*place.owner, DIRTYFLAGS_DATA);
            break;
        default:
            nextChangeEpoch();
            break;
    }
}

Bool ListAccess::insert(BaseList2D& node, const Place& place) {
    if (!place.owner || place.owner == &node) return false;
    // Only what has something below it can be put below itself; the walk up would make deep trees slow to build.
    const Bool leaf = !node.down_ && !node.firstShader_ && !first(node, Branch::Cache);
    if (!leaf && isWithin(*place.owner, node)) return false;
    if (place.owner->family_ == NodeFamily::Document && place.branch == Branch::Children &&
        !standsInDocumentList(node.family_))
        return false;
    if (place.pred == &node) return true;
    remove(node);
    hookIn(node, place);
    adopt(node, place.owner->document_);
    raisePlace(place, node.family_);
    return true;
}

Bool ListAccess::append(BaseList2D& node, BaseList2D& owner, Branch branch) {
    BaseList2D* pred = owner.family_ == NodeFamily::Document && branch == Branch::Children
                           ? lastInDocument(static_cast<BaseDocument&>(owner), node.family_)
                           : last(owner, branch);
    if (pred == &node) return true;  // stands there already
    return insert(node, {&owner, branch, pred});
}

void ListAccess::remove(BaseList2D& node) {
    const Place place = placeOf(node);
    if (!place.owner) return;
    // What leaves takes its counts along, unless the owner keeps them.
    if (place.branch == Branch::Cache || place.branch == Branch::DeformCache) {
        markCache(static_cast<BaseObject&>(node), nullptr);
    } else {
        const auto& leaving = branchSums(node);
        for (std::size_t i = 0; i < leaving.size(); ++i) place.owner->gone_[i] += leaving[i];
    }
    hookOut(node, place);
    adopt(node, nullptr);
    raisePlace(place, node.family_);
}

void ListAccess::linkRaw(BaseList2D& node, BaseList2D& owner, Branch branch, BaseList2D* last) {
    hookIn(node, {&owner, branch, last});
}

void ListAccess::linkIntoDocument(BaseList2D& node, BaseDocument& document) {
    hookIn(node, {&document, Branch::Children, lastInDocument(document, node.family_)});
    adopt(node, &document);
    nextChangeEpoch();
}

void ListAccess::markCache(BaseObject& cache, BaseObject* generator) {
    std::vector<BaseList2D*> nodes;
    gather(cache, true, nodes);
    for (BaseList2D* node : nodes) {
        node->bits_ = generator ? node->bits_ | BIT_CACHE_OBJECT : node->bits_ & ~BIT_CACHE_OBJECT;
        node->document_ = generator ? generator->document_ : nullptr;
    }
    nodes.clear();
    gather(cache, false, nodes);
    UInt32 number = 0;
    for (BaseList2D* node : nodes) {
        if (node->family_ == NodeFamily::Object) static_cast<BaseObject*>(node)->uniqueIp_ = generator ? ++number : 0;
    }
    cache.cacheParent_ = generator;
}

void ListAccess::setCache(BaseObject& object, Branch branch, BaseObject* cache) {
    BaseObject*& slot = branch == Branch::DeformCache ? object.deformCache_ : object.cache_;
    if (slot == cache && !cache) return;
    if (BaseObject* old = slot) {
        slot = nullptr;
        old->main_ = nullptr;
        markCache(*old, nullptr);
        destroy(old);
    }
    if (cache) {
        remove(*cache);
        markCache(*cache, &object);
        cache->main_ = &object;
        slot = cache;
    }
    raise(object, DIRTYFLAGS_CACHE);
}

void ListAccess::retire(BaseList2D& node) {
    if (node.retired_) return;
    node.retired_ = true;
    std::vector<BaseList2D*> nodes;
    if (node.family_ == NodeFamily::Document) {
        nodes.push_back(&node);
        gatherDocument(static_cast<BaseDocument&>(node), true, nodes);
    } else {
        remove(node);
        if (BaseObject* generator =
                node.family_ == NodeFamily::Object ? static_cast<BaseObject&>(node).cacheParent_ : nullptr) {
            if (generator->cache_ == &node) generator->cache_ = nullptr;
            if (generator->deformCache_ == &node) generator->deformCache_ = nullptr;
        }
        gather(node, true, nodes);
    }
    for (BaseList2D* element : nodes) {
        element->retired_ = true;
        if (element->nodeData_) element->nodeData_->Free(element);
    }
    for (BaseList2D* element : nodes) {
        element->document_ = nullptr;
        element->next_ = element->pred_ = element->up_ = element->down_ = element->downLast_ = element->main_ = nullptr;
        for (const Branch branch : kAllBranches) {
            if (first(*element, branch)) setFirst(*element, branch, nullptr);
        }
    }
    if (node.family_ == NodeFamily::Document) {
        auto& lists = *static_cast<BaseDocument&>(node).lists_;
        lists.byFamily = {};
        lists.byGuid.clear();
    }
    for (auto element = nodes.rbegin(); element != nodes.rend(); ++element) {
        if (*element != &node) delete *element;
    }
    nextChangeEpoch();
}

void ListAccess::destroy(BaseList2D* node) {
    if (!node) return;
    if (node->undoOwned_) {
        remove(*node);
        return;
    }
    retire(*node);
    delete node;
}

}  // namespace host
