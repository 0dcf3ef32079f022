// The lists and trees under the nodes: who hangs where, insertion and removal, freeing and copying of branches.
//
// A node has branches: its children, and what it owns beside them (tags, shaders, tracks, video posts, caches). A
// document has a list for each family that stands at its top. All walks are loops, so that deep trees cost no stack.
#pragma once

#include <vector>

#include "host/sdk/document.h"

namespace host {

enum class Branch : UChar { Children, Tags, Shaders, Tracks, VideoPosts, Cache, DeformCache };
/// The branches that documents keep, in the order in which they are copied and written.
inline constexpr Branch kKeptBranches[] = {Branch::Children, Branch::Tags, Branch::Shaders, Branch::Tracks,
                                           Branch::VideoPosts};

/// Families that stand in a list of the document, in the order in which they are copied and written.
inline constexpr NodeFamily kDocumentFamilies[] = {NodeFamily::Layer, NodeFamily::Material, NodeFamily::RenderData,
                                                   NodeFamily::Object};

/// Where a node hangs: in a branch of another node, or (owner is the document) in the document's list of its family.
struct Place {
    BaseList2D* owner = nullptr;  ///< null: the node is loose
    Branch branch = Branch::Children;
    BaseList2D* pred = nullptr;
};

class ListAccess {
public:
    /// First element of a branch; null when the node has no such branch.
    static BaseList2D* first(const BaseList2D& node, Branch branch);
    static BaseList2D* last(const BaseList2D& node, Branch branch);
    /// First element of one of the document's lists.
    static BaseList2D* firstInDocument(const BaseDocument& document, NodeFamily family);
    static BaseList2D* lastInDocument(const BaseDocument& document, NodeFamily family);

    static Place placeOf(const BaseList2D& node);
    static Bool stands(const BaseList2D& node) { return placeOf(node).owner != nullptr; }
    /// Whether `node` is `ancestor` or hangs below it.
    static Bool isWithin(const BaseList2D& node, const BaseList2D& ancestor);
    /// Inserts a node behind place.pred, or first. A node that stands elsewhere is removed there first. False when the
    /// place is inside the node's own branch, or cannot hold the node.
    static Bool insert(BaseList2D& node, const Place& place);
    static Bool append(BaseList2D& node, BaseList2D& owner, Branch branch);
    static void remove(BaseList2D& node);
    /// Hooks a fresh, loose node of a copy behind `last` without counting or registering anything.
    static void linkRaw(BaseList2D& node, BaseList2D& owner, Branch branch, BaseList2D* last);
    /// Hooks a loose branch of fresh nodes into a document's list at its end.
    static void linkIntoDocument(BaseList2D& node, BaseDocument& document);

    /// Replaces a cache, marks and numbers its objects, frees the old one. `cache` is loose, or null. Counts a change
    /// of the cache.
    static void setCache(BaseObject& object, Branch branch, BaseObject* cache);

    /// Frees a node with all below it; one that an undo step keeps is only removed.
    static void destroy(BaseList2D* node);
    /// What a destructor does first: removes the node and frees its branches.
    static void retire(BaseList2D& node);

    static void raise(BaseList2D& node, UInt32 dirtyFlags);
    static const std::array<UInt32, BaseList2D::kSums>& branchSums(const BaseList2D& node);

    /// Copies of one node, and of a whole branch. Loose. `clones` gets every pair.
    static BaseList2D* cloneNode(const BaseList2D& source, UInt32 flags, AliasTrans& clones);
    static BaseList2D* cloneBranch(const BaseList2D& source, UInt32 flags, AliasTrans& clones);
    /// A loose copy of one node with its private data, links leading where they led (undo).
    static BaseList2D* cloneContent(const BaseList2D& source, UInt32 flags);
    static void cloneLists(const BaseDocument& source, BaseDocument& copy, UInt32 flags, AliasTrans& clones);
    static void translateNode(BaseList2D& node, const AliasTrans& clones);
    static void connect(AliasTrans& clones);

    /// Copies everything that is the node's own: CopyContent, and the private data of its data class.
    static void copyContent(BaseList2D& node, const BaseList2D& source, UInt32 flags);
    static void setUndoOwned(BaseList2D& node, Bool owned) { node.undoOwned_ = owned; }
    static Bool isUndoOwned(const BaseList2D& node) { return node.undoOwned_; }
    static void setGuid(BaseList2D& node, UInt64 guid) { node.guid_ = guid; }
    /// For what stands in no list: the view and its camera.
    static void setOwner(BaseList2D& node, BaseDocument* document, BaseList2D* main) {
        node.document_ = document;
        node.main_ = main;
    }
    static UInt64 newGuid();
    /// Points all links that are known by GUID only at the document's elements.
    static void resolveLinks(BaseDocument& document);

    /// `node` and all below it, owners before what they own.
    static void gather(BaseList2D& node, Bool caches, std::vector<BaseList2D*>& nodes);
    /// All nodes of a document's lists, without the document.
    static void gatherDocument(const BaseDocument& document, Bool caches, std::vector<BaseList2D*>& nodes);

private:
    /// Marks the objects of a cache and puts them into their generator's document, or undoes that (null).
    static void markCache(BaseObject& cache, BaseObject* generator);
    static void setFirst(BaseList2D& node, Branch branch, BaseList2D* first);
    static void hookIn(BaseList2D& node, const Place& place);
    static void hookOut(BaseList2D& node, const Place& place);
    static void adopt(BaseList2D& node, BaseDocument* document);
    static void registerGuid(BaseDocument& document, BaseList2D& node);
    static void forgetGuid(BaseDocument& document, const BaseList2D& node);
    static void raisePlace(const Place& place, NodeFamily family);
};

}  // namespace host
