// The memory of which host materials became which engine nodes.
//
// Three instances live as long as the plug-in: "matMngr" for the document that is rendered, "prevMatMngr" for material
// previews, "lghtMatMngr" for shaders of light and environment tags (only its shader builder is used, with
// `reuseNodes` off).
//
//   setDocument -> createMatLink for each material -> generateMaterial for each link     (a send)
//   clearAll                                                                            (before the next one)
//
// Threads: the sending thread; `lock` guards the document and the links against a clear from another one.
#pragma once

#include <memory>
#include <vector>

#include "plugin/core/locks.h"
#include "plugin/materials/engine_write.h"

namespace lumora {

/// One engine node made for a material, found again by the pair of owner and pin.
struct MatNodeRec {
    ApiItem* node = nullptr;
    const BaseList2D* owner = nullptr;  ///< shader or material, for comparing only; null: a helper, told apart by `pin`
    UInt32 pin = 0;                     ///< the host parameter that the node stands for; 0 when the owner says enough
    UInt32 dirty = 0;                   ///< of the owner, when pixels were made from it
    UInt32 stamp = 0;
    bool used = false;      ///< by the generation that runs
    bool animated = false;  ///< the owner is an animated bitmap
    bool baked = false;
    Float width = 0, height = 0, bitDepth = 0;
};

/// Sums over a material's parameters: equal sums count as no change.
struct ContentHash {
    Float a = 0, b = 0, c = 0;
    friend bool operator==(const ContentHash&, const ContentHash&) = default;
};

/// One host material and everything made for it.
struct MatLink {
    String name;
    bool generated = false;
    bool hasAnimatedImage = false;
    bool hasLinkedObjects = false;
    bool hasInstanceColor = false;
    bool hasRefShader = false;
    bool imagesEnabled = true;
    bool stacked = false;
    UInt32 bit = 0;  ///< dirty sum of the material when it was generated
    UInt32 linkedSum = 0;
    UInt32 stamp = 0;
    UInt64 uid = 0;  ///< the material's GUID: its copy in another document has the same
    NodeType nodeType = Lumora::NT_UNKNOWN;
    BaseMaterial* material = nullptr;
    BaseMaterial* renderMaterial = nullptr;  ///< the same material in the render's copy of the document
    ApiNode* node = nullptr;
    BaseLink link;
    ApiNodeGraph* graph = nullptr;  ///< owns the nodes; null: the root graph
    ApiNode* outNode = nullptr;     ///< output linker of `graph`; what meshes connect to when there is one
    ContentHash hash;
    std::vector<BaseLink> linkedObjects;
    std::vector<UInt32> linkedUse;
    std::vector<MatNodeRec> nodes;

    ApiNode* meshNode() const { return outNode ? outNode : node; }
    ApiNodeGraph& owningGraph() const;
    /// Null when there is none, when its node is gone from the graph or, with a type, has another type. Marks it used.
    MatNodeRec* findRec(NodeType type, const BaseList2D* owner, UInt32 pin);
    MatNodeRec& addRec(const BaseList2D* owner, UInt32 pin, ApiItem* node);
    void clearMarks();
    /// Destroys the nodes that the last generation did not use. True when a node was destroyed.
    bool purgeUnused(bool keep);
};

/// Numbers that generation takes from the document and the preferences.
struct MaterialPrefs {
    float imagePower = 1.0f;     ///< factor of every image
    float emissionPower = 1.0f;  ///< factor of host materials' luminance
};

class MatManager {
public:
    explicit MatManager(const char* name) : name_(name) {}

    const String& name() const { return name_; }

    // --- Document -------------------------------------------------------------------------------------------------
    /// `renderDoc` is the copy that the engine is fed from during a final render, else null.
    void setDocument(BaseDocument* doc, BaseDocument* renderDoc);
    /// Time, frame rate, frame and folder of the document again.
    void syncDocState();
    /// Forgets every link. Engine nodes stay: the caller resets the project or clears the graph.
    void clearAll();
    /// The engine's project was emptied: nothing of it may be touched again.
    void forgetNodes();

    // --- Links ----------------------------------------------------------------------------------------------------
    /// Makes the material's graph, engine node and link. Null when the engine refuses.
    MatLink* createMatLink(BaseMaterial* material);
    /// An engine node of the material's type, named after it.
    ApiNode* createMaterialNode(ApiNodeGraph* graph, const BaseMaterial& material, NodeType* type);
    /// By the material itself or its copy in another document. Null and -1 when there is none.
    MatLink* findLinkByMaterial(const BaseMaterial* material);
    Int32 findLinkIndex(const BaseMaterial* material) const;
    MatLink* findLinkByPointer(const BaseMaterial* material);
    MatLink* findLinkByNode(const ApiNode* node);
    MatLink* findLinkByShader(const BaseShader* shader);
    ApiNode* findNodeByMaterial(const BaseMaterial* material);
    MatLink* linkAt(Int32 index);
    Int32 linkCount() const { return static_cast<Int32>(links_.size()); }
    bool isLink(const MatLink* link) const;

    /// What meshes get that have no material: a grey diffuse one, made on first use in the project's root graph.
    ApiNode* defaultMaterial();

    // --- Nodes of a generation ------------------------------------------------------------------------------------
    /// The node made for that owner and pin, or a new one in the link's graph.
    ApiNode* reuseOrCreate(MatLink& link, const BaseList2D* owner, UInt32 pin, NodeType type);
    ApiNode* rgbNode(MatLink& link, UInt32 pin, const Vector& rgb);
    ApiNode* floatNode(MatLink& link, UInt32 pin, float value);

    /// Document colours are converted to linear when the document keeps them as sRGB.
    Vector toLinear(const Vector& colour) const;
    bool colorsAreSrgb() const { return colorProfile == 0; }

    OwnerSpinLock lock;
    Int32 colorProfile = 2;  ///< 0: document colours are sRGB; 2: they are linear
    BaseDocument* doc = nullptr;
    BaseDocument* renderDoc = nullptr;
    BaseLink docLink;
    bool reuseNodes = true;
    bool keepNodes = false;
    UInt32 passCounter = 0;
    BaseTime time;
    Int64 frame = 0;
    Int32 fps = 30;
    Filename docPath;
    float unitScale = 0.01f;  ///< metres per scene unit
    MaterialPrefs prefs;

private:
    String name_;
    std::vector<std::unique_ptr<MatLink>> links_;
    ApiNode* defaultMaterial_ = nullptr;
};

/// Sum of an element's change counters: moves when anything of it may have changed.
UInt32 dirtySum(const BaseList2D& element);
/// Content sums of an element's parameters, with those of the shaders that it links.
ContentHash hashParameters(const BaseList2D& element);
/// The engine material that stands for a host material.
NodeType matNodeType(const BaseMaterial& material);

}  // namespace lumora
