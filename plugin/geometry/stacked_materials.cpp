#include "plugin/geometry/stacked_materials.h"

#include <algorithm>
#include <cstdint>

#include "plugin/geometry/object_tags.h"
#include "plugin/geometry/tag_projection.h"
#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_manager.h"

namespace lumora {

namespace {

/// Marks the graphs that are stacks.
void* const kStackMark = reinterpret_cast<void*>(std::uintptr_t{101});

/// The stack graph behind the pin, or null.
ApiNodeGraph* stackOnPin(const ApiNode* mesh, unsigned pin) {
    const ApiNode* linker = mesh->connectedNodeIx(pin);
    if (!linker || linker->type() != NT_OUT_MATERIAL) return nullptr;
    ApiNodeGraph* graph = linker->graphOwner();
    return graph && graph->pluginData() == kStackMark ? graph : nullptr;
}

/// One layer of a stack in the engine.
struct BuiltLayer {
    ApiNode* material = nullptr;  ///< output linker of the copy
    ApiNode* alpha = nullptr;     ///< output linker of its opacity, of layers with alpha
};

/// Takes the opacity out of the copy and hands it to a linker: the mix shows it instead.
ApiNode* moveOpacity(ApiNodeGraph& inner, ApiNode* material, const TextureTag& tag) {
    ApiNode* opacity = material && material->hasPin(P_OPACITY) ? material->connectedNode(P_OPACITY) : nullptr;
    if (!opacity) return nullptr;
    if (!opacity->graphOwned()) {
        // A plain number lives inside the pin and goes with it.
        const float value = material->getPinFloat(P_OPACITY);
        opacity = createNode(NT_TEX_FLOAT, inner);
        setAttrIfChanged(opacity, A_VALUE, value);
    }
    ApiNode* linker = createNode(NT_OUT_TEXTURE, inner);
    connectIfChanged(linker, P_INPUT, opacity);
    disconnectPin(material, P_OPACITY);
    if (!tag.GetDataInstance()->GetBool(TEXTURETAG_TILE, true)) setIntIfChanged(opacity, P_BORDER_MODE, 1);
    return linker;
}

/// A stack in the making.
struct Stack {
    const BaseObject* object = nullptr;
    const TextureTag* meshTag = nullptr;  ///< whose coordinates the polygons have
    std::vector<TextureTag*> tags;
    std::vector<bool> alphas;
};

BuiltLayer buildLayer(MatManager& materials, ApiNodeGraph& outer, const Stack& stack, const TextureTag& tag,
                      bool alpha) {
    BuiltLayer built;
    BaseMaterial* material = tag.GetMaterial();
    if (MatLink* source = materials.findLinkByMaterial(material)) {
        source->stacked = true;
        materials.stackedSeen = true;
    }
    ApiNodeGraph* inner = createGraph(outer, material->GetName().c_str());
    if (!inner) return built;
    // The copy is generated once with the mesh: its records are not kept.
    MatLink copy;
    copy.graph = inner;
    copy.material = material;
    copy.link.SetLink(material);
    copy.name = material->GetName();
    copy.node = materials.createMaterialNode(inner, *material, &copy.nodeType);
    if (!copy.node) return built;
    built.material = copy.outNode = createNode(NT_OUT_MATERIAL, *inner);
    connectIfChanged(copy.outNode, P_INPUT, copy.node);
    generateMaterial(materials, material, &copy);
    if (&tag != stack.meshTag)
        for (const MatNodeRec& record : copy.nodes())
            if (record.node && record.node->isNode())
                applyTagProjection(record.node->toNode(), stack.object, tag, stack.meshTag, materials.unitScale);
    if (alpha) built.alpha = moveOpacity(*inner, copy.node, tag);
    return built;
}

void buildStack(MatManager& materials, ApiNode* mesh, unsigned pin, const Stack& stack) {
    ApiNodeGraph* outer = createGraph(ApiProjectManager::rootNodeGraph(), "Stacked");
    if (!outer) return;
    setPluginDataIfChanged(outer, kStackMark);
    ApiNode* linker = createNode(NT_OUT_MATERIAL, *outer);
    ApiNode* result = nullptr;
    for (std::size_t i = 0; i < stack.tags.size(); ++i) {
        const TextureTag* tag = stack.tags[i];
        if (!tag || !tag->GetMaterial()) continue;
        const BuiltLayer layer = buildLayer(materials, *outer, stack, *tag, stack.alphas[i]);
        if (!layer.material) continue;
        if (!result) {
            result = layer.material;
            continue;
        }
        ApiNode* mix = createNode(NT_MAT_MIX, *outer);
        if (layer.alpha)
            connectIfChanged(mix, P_AMOUNT, layer.alpha);
        else
            setFloatNode(mix, P_AMOUNT, 1.0f);  // a layer without alpha covers what lies below
        connectIfChanged(mix, P_MATERIAL1, layer.material);
        connectIfChanged(mix, P_MATERIAL2, result);
        result = mix;
    }
    connectIfChanged(linker, P_INPUT, result);
    connectIxIfChanged(mesh, pin, linker);
    unfoldGraph(outer, true);
}

}  // namespace

void destroyStackedGraphs(ApiNode* mesh) {
    if (!mesh) return;
    for (unsigned pin = mesh->staticPinCount(); pin < mesh->pinCount(); ++pin)
        if (ApiNodeGraph* graph = stackOnPin(mesh, pin)) destroyItem(graph);
}

void buildStackedMaterials(MatManager& materials, ApiNode* mesh, const SceneObjectInfo& info) {
    if (!mesh || info.stackedTagIndex == -1) return;
    const std::vector<TextureTag*> seen = visibleTextureTags(info.object);
    for (const TextureTagEntry& entry : info.textureTags) {
        if (!entry.stacked || entry.tags.empty() || !slotIsOfLevel(entry, seen)) continue;
        const unsigned pin = mesh->staticPinCount() + static_cast<unsigned>(entry.slot);
        if (!mesh->hasPinIx(pin)) continue;
        const bool ownTag = entry.selection.Content() && entry.primaryTag;
        Stack stack{info.object, ownTag ? entry.primaryTag : info.mainTextureTag, entry.tags, entry.alphaFlags};
        if (stack.alphas.front() && info.mainTextureTag) {
            stack.tags.insert(stack.tags.begin(), info.mainTextureTag);
            stack.alphas.insert(stack.alphas.begin(), false);
        }
        buildStack(materials, mesh, pin, stack);
    }
}

}  // namespace lumora
