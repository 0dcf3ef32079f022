// The pass that brings engine materials up to date, material by material:
//
//   counters as they were ------------------------------> what it depends on moved? -- no --> done
//   counters moved -> content as it was (not in batch) -> the same question            |
//                  -> content differs ----------------------------------------------> generate
//
// A material whose counters moved without a change of content (a selection, a name) keeps its old sum, so its content
// is looked at again in the next pass.
#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/material_manager.h"
#include "plugin/materials/unused_materials.h"

namespace lumora {

namespace {

struct BusyByte {
    std::atomic<bool>& byte;
    explicit BusyByte(std::atomic<bool>& b) : byte(b) { byte = true; }
    ~BusyByte() { byte = false; }
};

bool isIn(const std::vector<BaseMaterial*>& materials, const BaseMaterial* material) {
    return std::find(materials.begin(), materials.end(), material) != materials.end();
}

/// Geometry nodes under `top`, each once, `top` not among them.
std::vector<ApiNode*> geometryBelow(const ApiNode* top) {
    std::vector<ApiNode*> found;
    std::unordered_set<const ApiNode*> seen;
    const auto addInputs = [&](const ApiNode* node) {
        for (unsigned pin = 0; pin < node->pinCount(); ++pin) {
            if (node->pinTypeIx(pin) != Lumora::PT_GEOMETRY) continue;
            ApiNode* input = node->inputNodeIx(pin);
            if (input && seen.insert(input).second) found.push_back(input);
        }
    };
    if (top) addInputs(top);
    for (std::size_t i = 0; i < found.size(); ++i) addInputs(found[i]);
    return found;
}

/// Meshes that show the material itself, and not its output linker, show the new one. True when there was one.
bool repointMeshes(const ApiNode* from, ApiNode* to) {
    const ApiNode* target = Lumora::ApiRenderEngine::getRenderTargetNode();
    bool any = false;
    for (ApiNode* mesh : geometryBelow(target ? target->inputNode(P_RENDER_GEOMETRY) : nullptr))
        for (unsigned pin = mesh->staticPinCount(); pin < mesh->pinCount(); ++pin)
            if (mesh->pinTypeIx(pin) == Lumora::PT_MATERIAL && mesh->connectedNodeIx(pin) == from)
                any |= connectIxIfChanged(mesh, pin, to);
    return any;
}

}  // namespace

bool MatManager::addNewMaterial(BaseMaterial* material, BaseDocument* document) {
    const std::lock_guard guard(lock);
    const auto pending = [this](const BaseMaterial* m) {
        return std::any_of(pending_.begin(), pending_.end(), [m](const Pending& p) { return p.material == m; });
    };
    if (!material || pending(material)) return false;
    for (const auto& link : links_)
        if (link->link.GetLink(doc) == material) return false;
    for (BaseMaterial* entry : expandMaterial(*material, cancelPreview)) {
        filteredLine(kLogMaterials, "++++ add New Material ->> " + entry->GetName());
        pending_.push_back({entry, document});
    }
    return true;
}

bool MatManager::checkAndUpdate() {
    const std::lock_guard guard(lock);
    doc = document();
    readColorProfile();
    if (!doc || busyPreview || busyUpdate) return false;
    ++passCounter;
    const BusyByte busy(busyUpdate);
    if (debugLog()) debugLine("<<< Mat checkAndUpdate  STARTED >>> ");
    syncDocState();
    const Float started = GeGetMilliSeconds();
    if (generatedProfile_ != colorProfile)
        for (const auto& link : links_) link->bit = MatLink::kNeverGenerated;
    generatedProfile_ = colorProfile;

    queueUnknownMaterials();
    linkPendingMaterials();
    bool changed = updateLinks(0);
    if (!dead_.empty()) {
        changed = true;
        removeDeadLinks();
        // One deleted and one made since the last pass: only now do the numbers differ.
        const std::size_t before = links_.size();
        queueUnknownMaterials();
        linkPendingMaterials();
        changed |= updateLinks(before);
    }
    if (moGraphUsed && updateCloneColors) updateCloneColors(colorProfile, passCounter);
    moGraphUsed = false;
    lastFrame = frame;
    paintedMaterial = nullptr;
    if (debugLog())
        debugLine("<<< Mat checkAndUpdate  FINISHED >>> time= " +
                  String::FloatToString(GeGetMilliSeconds() - started, 1) + " ms");
    return changed;
}

/// Notes the links without a material for removal, and looks at the others.
bool MatManager::updateLinks(std::size_t first) {
    bool changed = false;
    dead_.clear();
    for (std::size_t i = first; i < links_.size(); ++i) {
        MatLink& link = *links_[i];
        link.stamp = static_cast<UInt32>(passCounter);
        link.generated = false;
        if (link.link.GetLink(doc))
            changed |= updateLink(link);
        else
            dead_.push_back(i);
        link.generated = true;
    }
    return changed;
}

void MatManager::queueUnknownMaterials() {
    std::size_t count = 0;
    for (const BaseMaterial* m = doc->GetFirstMaterial(); m; m = m->GetNext()) ++count;
    if (count == links_.size()) return;
    std::unordered_set<const BaseList2D*> known;
    for (const auto& link : links_) known.insert(link->link.GetLink(doc));
    for (const Pending& p : pending_) known.insert(p.material);
    Int64 added = 0;
    for (BaseMaterial* m = doc->GetFirstMaterial(); m; m = m->GetNext()) {
        if (known.contains(m)) continue;
        pending_.push_back({m, doc});
        ++added;
    }
    if (added && debugLog()) debugLine(" mat added" + String::IntToString(added));
}

void MatManager::linkPendingMaterials() {
    if (pending_.empty()) return;
    std::unordered_set<const BaseList2D*> standing, linked;
    for (BaseMaterial* m = doc->GetFirstMaterial(); m; m = m->GetNext()) standing.insert(m);
    for (const auto& link : links_) linked.insert(link->link.GetLink(doc));
    const bool skips = batchMode && skipUnused;
    for (const Pending& p : pending_) {
        if (!standing.contains(p.material) || !linked.insert(p.material).second) continue;
        if (skips && isIn(unusedMaterials, p.material)) continue;
        if (MatLink* link = createMatLink(p.material)) {
            link->generated = false;
            link->bit = MatLink::kNeverGenerated;
        }
    }
    pending_.clear();
}

bool MatManager::updateLink(MatLink& link) {
    auto* standing = static_cast<BaseMaterial*>(link.link.GetLink(doc));
    if (standing != link.material) {
        // Another element stands for it now: a reloaded or restored one.
        link.material = standing;
        link.bit = MatLink::kNeverGenerated;
    }
    BaseMaterial* twin = link.renderMaterial();
    BaseMaterial& material = twin ? *twin : *standing;
    std::fill(link.linkedUse.begin(), link.linkedUse.end(), 0u);
    bool changed = link.bit != dirtySum(material);
    if (changed && !batchMode) {
        // An undo may have brought back a block of before the link.
        if (materialUid(material) != link.uid) writeMaterialUid(material, link.uid);
        changed = contentChanged(link, material);
        if (changed) {
            link.linkedObjects.clear();
            link.linkedUse.clear();
        }
    }
    if (!changed) changed = dependenciesChanged(link, material);
    if (changed) regenerate(link, material);
    return changed;
}

/// The painted material's pixels change while its parameters stand.
bool MatManager::contentChanged(MatLink& link, const BaseMaterial& material) {
    if (paintTexture && paintedMaterial == &material) return true;
    ContentHash hash;
    hashMaterial(material, hash);
    if (link.bit != MatLink::kNeverGenerated && hash == link.hash) return false;
    link.hash = hash;
    return true;
}

bool MatManager::dependenciesChanged(MatLink& link, const BaseMaterial& material) {
    bool changed = false;
    if (link.hasLinkedObjects || link.hasInstanceColor) {
        const UInt32 sum = dependencySum(link, material, *doc);
        changed = sum != link.linkedSum;
        link.linkedSum = sum;
    }
    if ((link.hasAnimatedImage || link.hasInstanceColor) && frame != lastFrame) changed = true;
    if (!link.hasRefShader) return changed;
    // What a reference leads to is no part of the material's counters.
    ContentHash hash;
    hashMaterial(material, hash);
    if (!(hash == link.hash)) changed = true;
    link.hash = hash;
    return changed;
}

void MatManager::regenerate(MatLink& link, BaseMaterial& material) {
    const UInt32 bit = dirtySum(material);
    filteredLine(kLogMaterials, "MATCHANGE: " + material.GetName() + "  BIT:" + String::IntToString(bit) +
                                    "  LUM:" + (link.node ? link.node->name() : ""));
    const NodeType type = matNodeType(material);
    stackedSeen |= link.stacked;
    link.clearMarks();
    link.hasAnimatedImage = link.hasLinkedObjects = link.hasInstanceColor = link.hasRefShader = false;
    if (type == link.nodeType) {
        generateMaterial(*this, &material, &link);
        // What was destroyed may have been what a pin still showed.
        if (link.purgeUnused(keepNodes)) generateMaterial(*this, &material, &link);
    } else {
        changeMaterialType(link, material);
        link.purgeUnused(keepNodes);
        touchMixesOf(*link.material);
    }
    // Generation writes into the material too: its address, the names of the images that it found.
    link.bit = dirtySum(material);
    link.linkedSum = dependencySum(link, material, *doc);
}

bool MatManager::changeMaterialType(MatLink& link, BaseMaterial& material) {
    ApiNode* old = link.node;
    ApiNode* made = createMaterialNode(link.graph, material, &link.nodeType);
    if (!made) return false;
    connectIfChanged(link.outNode, P_INPUT, made);
    link.node = made;
    generateMaterial(*this, &material, &link);
    filteredLine(kLogMaterials, "CHANGE MAT TIP");
    const bool repointed = repointMeshes(old, made);
    if (old && link.standsInGraph(old)) destroyItem(old);
    return repointed;
}

/// A mix that shows the material is generated again: later in this pass, or in the next one.
void MatManager::touchMixesOf(const BaseMaterial& material) {
    for (const auto& link : links_) {
        const auto* mix = static_cast<const BaseMaterial*>(link->link.GetLink(doc));
        if (!mix || mix->GetType() != ID_LUMORA_MIX_MATERIAL) continue;
        for (Int32 part : kMixParts)
            if (mix->GetDataInstance()->GetLink(part, doc) == &material) link->bit = MatLink::kNeverGenerated;
    }
}

void MatManager::removeDeadLinks() {
    if (dead_.empty()) return;
    // The user may have emptied the project meanwhile: pointers are compared with what the root graph owns.
    Lumora::ApiItemArray items;
    ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    std::unordered_set<const ApiItem*> owned;
    for (std::size_t i = 0; i < items.size(); ++i) owned.insert(items.get(i));
    for (auto it = dead_.rbegin(); it != dead_.rend(); ++it) {
        MatLink& link = *links_[*it];
        if (link.graph && owned.contains(link.graph))
            destroyItem(link.graph);
        else if (link.node && owned.contains(link.node))
            destroyItem(link.node);
        links_.erase(links_.begin() + static_cast<std::ptrdiff_t>(*it));
    }
    reindex();
}

}  // namespace lumora
