#include "plugin/materials/material_manager.h"

#include <algorithm>
#include <mutex>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/materials/material_identity.h"

namespace lumora {

// --- Document -------------------------------------------------------------------------------------------------------

void MatManager::readColorProfile() {
    if (doc) colorProfile = doc->GetDataInstance()->GetInt32(DOCUMENT_COLORPROFILE, DOCUMENT_COLORPROFILE_SRGB);
}

void MatManager::setDocument(BaseDocument* document, BaseDocument* copy) {
    const std::lock_guard guard(lock);
    doc = document;
    renderDoc = copy;
    docLink.SetLink(document);
    readColorProfile();
    generatedProfile_ = colorProfile;
    syncDocState();
}

void MatManager::syncDocState() {
    if (!doc) return;
    time = doc->GetTime();
    fps = doc->GetFps();
    frame = time.GetFrame(fps);
    docPath = doc->GetDocumentPath();
    unitScale = static_cast<float>(doc->GetUnitScale());
}

void MatManager::clearAll() {
    const std::lock_guard guard(lock);
    busyUpdate = true;
    doc = renderDoc = nullptr;
    docLink.SetLink(nullptr);
    soloTextureChanged = false;
    links_.clear();
    pending_.clear();
    unusedMaterials.clear();
    reindex();
    GeFKill(GeGetStartupWritePath() + "tex" + "tmp");
    busyUpdate = false;
    cancelPreview = false;
}

void MatManager::forgetNodes() {
    const std::lock_guard guard(lock);
    defaultMaterial_ = nullptr;
    for (const auto& link : links_) link->forgetNodes();
}

void MatManager::setSoloTexture(BaseList2D* shader) {
    soloTexture_.SetLink(shader);
    soloTextureChanged = shader != nullptr;
}

void MatManager::setSoloMaterial(BaseList2D* material) {
    soloMaterial_.SetLink(material);
    soloMaterialActive = material != nullptr;
}

// --- Links ----------------------------------------------------------------------------------------------------------

ApiNode* MatManager::createMaterialNode(ApiNodeGraph* graph, const BaseMaterial& material, NodeType* type) {
    *type = matNodeType(material);
    ApiNodeGraph& owner = graph ? *graph : ApiProjectManager::rootNodeGraph();
    ApiNode* node = createNode(*type, owner, material.GetName().c_str());
    if (graph) setNameIfChanged(graph, material.GetName());
    return node;
}

MatLink* MatManager::createMatLink(BaseMaterial* material) {
    if (!material) return nullptr;
    auto link = std::make_unique<MatLink>();
    // A mix only refers to other materials, which stand in graphs of their own.
    if (material->GetType() != ID_LUMORA_MIX_MATERIAL) {
        link->graph = createGraph(ApiProjectManager::rootNodeGraph());
        if (!link->graph) return nullptr;
        link->outNode = createNode(NT_OUT_MATERIAL, *link->graph);
        if (material->GetType() == ID_LUMORA_BLEND_MATERIAL) setPluginDataStrIfChanged(link->graph, "C4DBlendMat");
    }
    link->node = createMaterialNode(link->graph, *material, &link->nodeType);
    if (!link->node) {
        destroyItem(link->graph);
        return nullptr;
    }
    connectIfChanged(link->outNode, P_INPUT, link->node);
    MatLink* kept = keepLink(std::move(link), *material, true);
    unfoldGraph(kept->graph, false);
    return kept;
}

MatLink* MatManager::createPreviewLink(ApiNodeGraph& graph, BaseMaterial* material) {
    if (!material) return nullptr;
    auto link = std::make_unique<MatLink>();
    link->node = createMaterialNode(&graph, *material, &link->nodeType);
    if (!link->node) return nullptr;
    // Its shader nodes stand beside the material, in a graph that is the caller's to destroy.
    link->graph = &graph;
    return keepLink(std::move(link), *material, false);
}

MatLink* MatManager::keepLink(std::unique_ptr<MatLink> link, BaseMaterial& material, bool tellBit) {
    link->name = material.GetName();
    link->uid = nextMaterialUid();
    writeMaterialUid(material, link->uid);
    link->material = &material;
    link->link.SetLink(&material);
    link->bit = dirtySum(material);
    link->stamp = static_cast<UInt32>(passCounter);
    String line = String("Create MatLink ") + link->node->name() + " -> " + material.GetName();
    if (tellBit) line += " bit:" + String::IntToString(link->bit);
    filteredLine(kLogMaterials, line);
    links_.push_back(std::move(link));
    indexLink(links_.size() - 1);
    return links_.back().get();
}

void MatManager::hashMaterial(const BaseMaterial& material, ContentHash& hash) {
    visited_.clear();
    addContent(material, hash, visited_);
}

void MatManager::setSource(MatLink& link, BaseMaterial* source) {
    if (!source || source == link.material) return;
    link.renderLink.SetLink(link.material);
    link.link.SetLink(source);
    link.material = source;
    if (const auto at = byUid_.find(link.uid); at != byUid_.end()) indexLink(at->second);
}

void MatManager::indexLink(std::size_t at) {
    byGuid_.try_emplace(links_[at]->link.GetGUID(), at);
    byUid_.try_emplace(links_[at]->uid, at);
}

void MatManager::reindex() {
    byGuid_.clear();
    byUid_.clear();
    for (std::size_t i = 0; i < links_.size(); ++i) indexLink(i);
}

Int32 MatManager::findLinkIndex(const BaseMaterial* material) const {
    if (!material) return -1;
    // A weak link leads to a material only when both have the same GUID.
    if (const auto found = byGuid_.find(material->GetGUID()); found != byGuid_.end())
        if (links_[found->second]->link.GetLink(document()) == material) return static_cast<Int32>(found->second);
    const UInt64 uid = materialUid(*material);
    const auto found = uid ? byUid_.find(uid) : byUid_.end();
    return found != byUid_.end() ? static_cast<Int32>(found->second) : -1;
}

MatLink* MatManager::findLinkByMaterial(const BaseMaterial* material) {
    return linkAt(findLinkIndex(material));
}

MatLink* MatManager::findLinkByPointer(const BaseMaterial* material) {
    for (const auto& link : links_)
        if (link->material == material) return link.get();
    return nullptr;
}

MatLink* MatManager::findLinkByNode(const ApiNode* node) {
    if (!node) return nullptr;
    for (const auto& link : links_)
        if (link->node == node) return link.get();
    for (const auto& link : links_)
        for (const MatNodeRec& rec : link->nodes())
            if (rec.node == node) return link.get();
    return nullptr;
}

MatLink* MatManager::findLinkByShader(const BaseShader* shader) {
    for (const auto& link : links_)
        for (const MatNodeRec& rec : link->nodes())
            if (rec.owner == shader && rec.node) return link.get();
    return nullptr;
}

ApiNode* MatManager::findNodeByMaterial(const BaseMaterial* material) {
    if (!material) return nullptr;
    for (const auto& link : links_)
        if (link->link.ForceGetLink() == material) return link->node;
    const MatLink* link = findLinkByMaterial(material);
    return link ? link->node : nullptr;
}

MatLink* MatManager::linkAt(Int32 index) {
    return index >= 0 && index < linkCount() ? links_[static_cast<std::size_t>(index)].get() : nullptr;
}

bool MatManager::isLink(const MatLink* link) const {
    return std::any_of(links_.begin(), links_.end(), [link](const auto& l) { return l.get() == link; });
}

ApiNode* MatManager::defaultMaterial() {
    if (!defaultMaterial_) {
        defaultMaterial_ = createNode(NT_MAT_DIFFUSE, ApiProjectManager::rootNodeGraph(), "Default material");
        setRgbNode(defaultMaterial_, P_DIFFUSE, {0.8f, 0.8f, 0.8f});
    }
    return defaultMaterial_;
}

// --- Nodes ----------------------------------------------------------------------------------------------------------

ApiNode* MatManager::reuseOrCreate(MatLink& link, const BaseList2D* owner, UInt32 pin, NodeType type) {
    if (reuseNodes)
        if (MatNodeRec* rec = link.findRec(type, owner, pin)) return rec->node->toNode();
    ApiNode* node = createNode(type, link.owningGraph());
    if (!node) return nullptr;
    MatNodeRec& rec = link.addRec(owner, pin, node);
    rec.used = true;
    rec.stamp = static_cast<UInt32>(passCounter);
    return node;
}

ApiNodeGraph* MatManager::reuseOrCreateGraph(MatLink& link, const BaseList2D* owner, UInt32 pin) {
    if (reuseNodes)
        if (MatNodeRec* rec = link.findRec(NT_UNKNOWN, owner, pin))
            if (ApiNodeGraph* graph = rec->node->toGraph()) return graph;
    ApiNodeGraph* graph = createGraph(link.owningGraph(), owner ? owner->GetName().c_str() : nullptr);
    if (!graph) return nullptr;
    MatNodeRec& rec = link.addRec(owner, pin, graph);
    rec.used = true;
    rec.stamp = static_cast<UInt32>(passCounter);
    return graph;
}

bool MatManager::materialRgbPin(MatLink& link, PinId pin, const Vector& rgb) {
    return setRgbNode(link.node, pin, toFloat3(rgb));
}

ApiNode* MatManager::rgbNode(MatLink& link, UInt32 pin, const Vector& rgb) {
    ApiNode* node = reuseOrCreate(link, nullptr, pin, NT_TEX_RGB);
    setAttrIfChanged(node, A_VALUE, toFloat3(rgb));
    return node;
}

ApiNode* MatManager::floatNode(MatLink& link, UInt32 pin, float value) {
    ApiNode* node = reuseOrCreate(link, nullptr, pin, NT_TEX_FLOAT);
    setAttrIfChanged(node, A_VALUE, value);
    return node;
}

Vector MatManager::toLinear(const Vector& colour) const {
    return TransformColor(colour, colorsAreSrgb() ? ColorTransform::SrgbToLinear : ColorTransform::None);
}

}  // namespace lumora
