// What was made in the engine of one host material.
//
// A material is generated again and again, and each time it must find the nodes that it made before. A record says
// which node stands for which pair of owner (a shader, the material, or nothing for helpers) and pin (a host
// parameter). A generation marks the records that it uses; what stays unmarked is garbage.
//
//   clearMarks -> { GenerationScope; findRec, addRec ... } -> purgeUnused
//
// Threads: the one that holds the manager's lock.
#pragma once

#include <unordered_map>
#include <vector>

#include "plugin/materials/engine_write.h"

namespace lumora {

/// One engine node or graph made for a material.
struct MatNodeRec {
    ApiItem* node = nullptr;            ///< null once it was found to be gone
    const BaseList2D* owner = nullptr;  ///< shader or material, for comparing only; null: a helper, told apart by `pin`
    UInt32 pin = 0;                     ///< the host parameter that the node stands for; 0 when the owner says enough
    UInt32 dirty = 0;                   ///< of the owner, when pixels were made from it
    UInt32 stamp = 0;                   ///< pass that used it last
    bool used = false;                  ///< by the generation that runs
    bool animated = false;              ///< the owner is an animated bitmap
    bool baked = false;                 ///< its pixels were rendered from a shader
    Float width = 0, height = 0, bitDepth = 0;
};

/// Sums over a material's parameters: equal sums count as no change.
struct ContentHash {
    Float a = 0, b = 0, c = 0;
    friend bool operator==(const ContentHash&, const ContentHash&) = default;
};

struct MatLink {
    /// `bit` of a link whose material has to be generated whatever its sums say.
    static constexpr UInt32 kNeverGenerated = 0xFFFFFFFFu;

    String name;                    ///< of the material when the link was made
    bool generated = false;         ///< the pass has looked at it
    bool hasAnimatedImage = false;  ///< an image plays a sequence or a film
    bool hasLinkedObjects = false;  ///< `linkedObjects` is in use
    bool hasInstanceColor = false;  ///< an image is filled from scene data
    bool hasRefShader = false;      ///< a shader of elsewhere was followed: the content hash is made in every pass
    bool imagesEnabled = true;      ///< off: image shaders give no node
    bool stacked = false;           ///< is a layer of a stacked material
    UInt32 bit = kNeverGenerated;   ///< dirty sum of the material when it was generated
    UInt32 linkedSum = 0;           ///< of what the material depends on beside itself
    UInt32 stamp = 0;               ///< pass that looked at it last
    UInt64 uid = 0;                 ///< stands in the material's private block too, and so in its copies
    NodeType nodeType = Lumora::NT_UNKNOWN;
    BaseMaterial* material = nullptr;
    BaseLink link;        ///< to the material: says whether it still exists
    BaseLink renderLink;  ///< to the same material in the render's copy of the document; empty when that is the same
    ApiNode* node = nullptr;
    ApiNodeGraph* graph = nullptr;       ///< owns the nodes; null: the root graph, or another's graph
    ApiNodeGraph* savedGraph = nullptr;  ///< the outer graph while `graph` is one inside it
    ApiNode* outNode = nullptr;          ///< output linker of `graph`; what meshes connect to when there is one
    ContentHash hash;
    std::vector<BaseLink> linkedObjects;  ///< objects that the material depends on
    std::vector<UInt32> linkedUse;        ///< uses by the running generation, index as above

    ApiNode* meshNode() const { return outNode ? outNode : node; }
    BaseMaterial* renderMaterial() const { return static_cast<BaseMaterial*>(renderLink.ForceGetLink()); }
    ApiNodeGraph& owningGraph() const;

    /// Whether the item, which may be gone, stands in the graph, at any depth.
    bool standsInGraph(const ApiItem* item) const;

    /// In the order in which they were made.
    const std::vector<MatNodeRec>& nodes() const { return nodes_; }
    /// The first record of that owner and pin (0: of that owner). Null when there is none, when its node is gone from
    /// the graph or, with a type, has another type. Marks it used. Good until the next addRec or purgeUnused.
    MatNodeRec* findRec(NodeType type, const BaseList2D* owner, UInt32 pin);
    /// A record for a node that was just made. An older one of the same key is found no longer, and purged.
    MatNodeRec& addRec(const BaseList2D* owner, UInt32 pin, ApiItem* node);
    /// Before a generation: no record is used, and those whose node is gone forget it.
    void clearMarks();
    /// Destroys the nodes that the last generation did not use. True when a node was destroyed.
    bool purgeUnused(bool keep);
    /// The engine's project was emptied.
    void forgetNodes();
    /// Notes that the material depends on the object; several uses are one entry.
    void dependOn(const BaseList2D* object);

private:
    friend class GenerationScope;
    struct Key {
        const BaseList2D* owner;
        UInt32 pin;
        friend bool operator==(const Key&, const Key&) = default;
    };
    struct KeyHash {
        std::size_t operator()(const Key& k) const {
            return std::hash<const void*>()(k.owner) ^ (std::size_t{k.pin} * 0x9E3779B97F4A7C15ull);
        }
    };
    void index(std::size_t at);
    void reindex();
    void lookForNodes();

    std::vector<MatNodeRec> nodes_;
    std::unordered_map<Key, std::size_t, KeyHash> byKey_;
    std::unordered_map<const BaseList2D*, std::size_t> byOwner_;  ///< first record of each owner
    int generations_ = 0;                                         ///< scopes that are open
    bool looked_ = false;                                         ///< `standing` holds, as of `lookedAt_`
    std::uint64_t lookedAt_ = 0;                                  ///< destroyCount() then
};

/// While one lives, the link asks its graph only once, and after a destruction, which of its nodes are still there.
class GenerationScope {
public:
    explicit GenerationScope(MatLink& link) : link_(link) {
        if (link_.generations_++ == 0) link_.looked_ = false;
    }
    ~GenerationScope() { --link_.generations_; }
    GenerationScope(const GenerationScope&) = delete;
    GenerationScope& operator=(const GenerationScope&) = delete;

private:
    MatLink& link_;
};

}  // namespace lumora
