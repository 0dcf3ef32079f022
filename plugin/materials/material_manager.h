// The memory of which host materials became which engine nodes.
//
// Three instances live as long as the plug-in: "matMngr" for the document that is rendered, "prevMatMngr" for material
// previews, "lghtMatMngr" for shaders of light and environment tags (only its shader builder is used, with
// `reuseNodes` off).
//
//   setDocument -> createMatLink for each material -> generateMaterial for each link     (a send)
//   checkAndUpdate                                                                      (as often as one likes)
//   clearAll                                                                            (before the next send)
//
// An edit costs the engine the pins that it changed. So a pass looks at the change counters first, at the content only
// where they moved, generates only where the content moved, and every write of a generation compares first.
//
// Threads: the sending thread, or the main thread in a check. `lock` guards the document and the links against a clear
// from another one. The busy bytes may be polled from anywhere.
#pragma once

#include <atomic>
#include <memory>
#include <unordered_map>
#include <vector>

#include "plugin/core/locks.h"
#include "plugin/materials/mat_link.h"
#include "plugin/materials/material_sums.h"

namespace lumora {

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
    /// Forgets every link and the images that were written for them. Engine nodes stay: the caller resets the project
    /// or clears the graph.
    void clearAll();
    /// The engine's project was emptied: nothing of it may be touched again.
    void forgetNodes();

    // --- Links ----------------------------------------------------------------------------------------------------
    /// Makes the material's graph, engine node and link, and gives the material a uid. Null when the engine refuses.
    MatLink* createMatLink(BaseMaterial* material);
    /// The same for a preview: the node stands in the caller's graph, without a graph and an output linker of its own.
    MatLink* createPreviewLink(ApiNodeGraph& graph, BaseMaterial* material);
    /// The link's material is the render copy of `source`, which stands in the document.
    void setSource(MatLink& link, BaseMaterial* source);
    /// Queues a material, and before a mix its sub materials, for the next pass. False when it is known or queued.
    bool addNewMaterial(BaseMaterial* material, BaseDocument* document);
    /// An engine node of the material's type, named after it.
    ApiNode* createMaterialNode(ApiNodeGraph* graph, const BaseMaterial& material, NodeType* type);
    /// By the material itself, else by the uid that it or its copy in another document carries. Null and -1 when there
    /// is none. Constant time.
    MatLink* findLinkByMaterial(const BaseMaterial* material);
    Int32 findLinkIndex(const BaseMaterial* material) const;
    MatLink* findLinkByPointer(const BaseMaterial* material);
    MatLink* findLinkByNode(const ApiNode* node);
    MatLink* findLinkByShader(const BaseShader* shader);
    /// The engine material, also of a material that has left the document.
    ApiNode* findNodeByMaterial(const BaseMaterial* material);
    /// Null past the end. An index stays good until a link is removed, a pointer until its own link is.
    MatLink* linkAt(Int32 index);
    Int32 linkCount() const { return static_cast<Int32>(links_.size()); }
    bool isLink(const MatLink* link) const;

    /// Adds the material's content to the sums.
    void hashMaterial(const BaseMaterial& material, ContentHash& hash);

    /// What meshes get that have no material: a grey diffuse one, made on first use in the project's root graph.
    ApiNode* defaultMaterial();

    // --- Update ---------------------------------------------------------------------------------------------------
    /// One pass: brings engine materials up to date with the document's. True when anything changed. False also without
    /// a document, and while another pass, a clear or a preview runs: then it is left for the next time.
    bool checkAndUpdate();

    // --- What the node editor shows alone -------------------------------------------------------------------------
    BaseLink& soloTextureLink() { return soloTexture_; }
    void setSoloTexture(BaseList2D* shader);
    BaseLink& soloMaterialLink() { return soloMaterial_; }
    void setSoloMaterial(BaseList2D* material);

    // --- Nodes of a generation ------------------------------------------------------------------------------------
    /// The node made for that owner and pin, or a new one in the link's graph.
    ApiNode* reuseOrCreate(MatLink& link, const BaseList2D* owner, UInt32 pin, NodeType type);
    /// The same for a graph inside the link's graph, named after the owner.
    ApiNodeGraph* reuseOrCreateGraph(MatLink& link, const BaseList2D* owner, UInt32 pin);
    /// A colour or a number that several pins may share, keyed by `pin`.
    ApiNode* rgbNode(MatLink& link, UInt32 pin, const Vector& rgb);
    ApiNode* floatNode(MatLink& link, UInt32 pin, float value);
    /// A colour inside a pin of the link's node. True when it was written.
    static bool materialRgbPin(MatLink& link, PinId pin, const Vector& rgb);

    /// Document colours are converted to linear when the document keeps them as sRGB.
    Vector toLinear(const Vector& colour) const;
    bool colorsAreSrgb() const { return colorProfile == 0; }

    OwnerSpinLock lock;
    Int32 colorProfile = 2;  ///< the document's: 0 sRGB, to be converted; 1 linear; 2 disabled
    BaseDocument* doc = nullptr;
    BaseDocument* renderDoc = nullptr;
    BaseLink docLink;
    bool reuseNodes = true;   ///< off: a node is made anew each time
    bool keepNodes = false;   ///< a preview of the node editor shows nodes: none is collected any more
    bool batchMode = false;   ///< a final render or an export: change counters alone decide
    bool skipUnused = false;  ///< in batch mode, materials that no object uses get no link
    bool moGraphUsed = false;
    bool soloTextureChanged = false, soloMaterialActive = false;
    bool inDisplacement = false;  ///< a displacement shader is being built
    bool stackedSeen = false;     ///< some link is a layer
    std::atomic<bool> cancelPreview{false};
    std::atomic<bool> busyPreview{false};
    std::atomic<bool> busyUpdate{false};
    Int32 passCounter = 0;
    BaseTime time;
    Int64 frame = 0, lastFrame = 0;  ///< of the document; at the end of the last pass
    Int32 fps = 30;
    Filename docPath;
    float unitScale = 0.01f;  ///< metres per scene unit
    MaterialPrefs prefs;
    std::vector<BaseMaterial*> unusedMaterials;  ///< compared only
    const void* paintTexture = nullptr;          ///< selected in the host's paint tool
    const BaseMaterial* paintedMaterial = nullptr;
    /// Called at the end of a pass that built instance colours from clones.
    void (*updateCloneColors)(Int32 colorProfile, Int32 passCounter) = nullptr;

private:
    struct Pending {
        BaseMaterial* material;  ///< compared only, until it was found in its document
        BaseDocument* document;
    };
    void indexLink(std::size_t at);
    void reindex();
    void readColorProfile();
    MatLink* keepLink(std::unique_ptr<MatLink> link, BaseMaterial& material, bool tellBit);
    BaseDocument* document() const { return static_cast<BaseDocument*>(docLink.ForceGetLink()); }
    // Steps of a pass.
    void queueUnknownMaterials();
    void linkPendingMaterials();
    bool updateLinks(std::size_t first);
    bool updateLink(MatLink& link);
    bool contentChanged(MatLink& link, const BaseMaterial& material);
    bool dependenciesChanged(MatLink& link, const BaseMaterial& material);
    void regenerate(MatLink& link, BaseMaterial& material);
    bool changeMaterialType(MatLink& link, BaseMaterial& material);
    void touchMixesOf(const BaseMaterial& material);
    void removeDeadLinks();

    String name_;
    std::vector<std::unique_ptr<MatLink>> links_;
    std::unordered_map<UInt64, std::size_t> byGuid_, byUid_;  ///< index of the first link
    std::vector<Pending> pending_;
    std::vector<std::size_t> dead_;  ///< links without a material, of the running pass
    VisitedElements visited_;
    BaseLink soloTexture_, soloMaterial_;
    ApiNode* defaultMaterial_ = nullptr;
    Int32 generatedProfile_ = 2;  ///< colour profile that the links were generated with
};

}  // namespace lumora
