#include "plugin/materials/material_manager.h"

#include <algorithm>
#include <mutex>
#include <unordered_set>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"

namespace lumora {

namespace {

// The plug-in's private parameters of a material are no content.
constexpr Int32 kPrivateFirst = 99000, kPrivateLast = 99020;

bool directlyOwned(const ApiNodeGraph& graph, const ApiItem* item) {
    Lumora::ApiItemArray items;
    graph.getOwnedItems(items);
    for (std::size_t i = 0; i < items.size(); ++i)
        if (items.get(i) == item) return true;
    return false;
}

Float characterSum(const std::string& text) {
    Float sum = 0;
    for (char c : text) sum += static_cast<UChar>(c);
    return sum;
}

void addContent(const BaseList2D& element, ContentHash& hash, std::unordered_set<const BaseList2D*>& seen);

void addValue(const BaseList2D& element, const GeData& value, ContentHash& hash,
              std::unordered_set<const BaseList2D*>& seen) {
    switch (value.GetType()) {
        case DataType::Int:
            hash.a += static_cast<Float>(value.GetInt64());
            break;
        case DataType::Float:
            hash.b += value.GetFloat();
            break;
        case DataType::Vector: {
            const Vector v = value.GetVector();
            hash.a += v.x, hash.b += v.y, hash.c += v.z;
            break;
        }
        case DataType::String:
            hash.a += characterSum(value.GetString().str());
            break;
        case DataType::Filename:
            hash.b += characterSum(value.GetFilename().str());
            break;
        case DataType::Link:
            if (const BaseList2D* target = value.GetLink(element.GetDocument())) {
                hash.b += static_cast<Float>(target->GetGUID() & 0xFFFFFFFFu);
                addContent(*target, hash, seen);
            }
            break;
        case DataType::Custom:
            if (const auto* gradient = static_cast<const Gradient*>(value.GetCustom(CUSTOMDATATYPE_GRADIENT)))
                for (const Gradient::Knot& k : gradient->knots)
                    hash.c += k.colour.x + 2 * k.colour.y + 3 * k.colour.z + 5 * k.position + 7 * k.brightness +
                              11 * k.bias + 13 * static_cast<Float>(k.interpolation);
            break;
        default:
            break;
    }
}

void addContent(const BaseList2D& element, ContentHash& hash, std::unordered_set<const BaseList2D*>& seen) {
    if (!seen.insert(&element).second) return;
    const BaseContainer& data = *element.GetDataInstance();
    for (Int32 i = 0; i < data.GetCount(); ++i) {
        const Int32 id = data.GetIndexId(i);
        if (id < kPrivateFirst || id > kPrivateLast) addValue(element, data.GetIndexData(i), hash, seen);
    }
}

NodeType ownMaterialType(Int32 choice) {
    switch (choice) {
        case 2511:
            return NT_MAT_GLOSSY;
        case 2513:
            return NT_MAT_SPECULAR;
        case 2514:
            return NT_MAT_METALLIC;
        case 2515:
            return NT_MAT_TOON;
        case 2516:
            return NT_MAT_UNIVERSAL;
        default:
            return NT_MAT_DIFFUSE;
    }
}

NodeType standardMaterialType(const BaseMaterial& material) {
    const BaseContainer& d = *material.GetDataInstance();
    if (d.GetBool(MATERIAL_USE_TRANSPARENCY) && d.GetFloat(MATERIAL_TRANSPARENCY_REFRACTION, 1.0) != 1.0)
        return NT_MAT_SPECULAR;
    if (d.GetBool(MATERIAL_USE_LUMINANCE)) return NT_MAT_DIFFUSE;
    if (!d.GetBool(MATERIAL_USE_REFLECTION)) return NT_MAT_DIFFUSE;
    // A surface that is metal all over reflects its colour and scatters none.
    const bool metal = d.GetFloat(MATERIAL_REFLECTION_METALNESS, 0.0) >= 0.5 &&
                       !material.GetShader(MATERIAL_REFLECTION_METALNESS_SHADER);
    return metal ? NT_MAT_METALLIC : NT_MAT_GLOSSY;
}

}  // namespace

// --- MatLink --------------------------------------------------------------------------------------------------------

ApiNodeGraph& MatLink::owningGraph() const {
    return graph ? *graph : ApiProjectManager::rootNodeGraph();
}

MatNodeRec* MatLink::findRec(NodeType type, const BaseList2D* owner, UInt32 pin) {
    for (MatNodeRec& rec : nodes) {
        if (!rec.node) return nullptr;
        if (rec.owner != owner || (pin != 0 && rec.pin != pin)) continue;
        // The node may be gone behind the record's back: asked of the graph, never of the pointer.
        if (!directlyOwned(owningGraph(), rec.node)) return nullptr;
        const ApiNode* node = rec.node->toNode();
        if (type != NT_UNKNOWN && (!node || node->type() != type)) return nullptr;
        rec.used = true;
        return &rec;
    }
    return nullptr;
}

MatNodeRec& MatLink::addRec(const BaseList2D* owner, UInt32 pin, ApiItem* node) {
    // A record whose node is gone, or has become another type, gives its place to the new one.
    std::erase_if(nodes, [&](const MatNodeRec& r) { return r.owner == owner && r.pin == pin; });
    MatNodeRec rec;
    rec.node = node;
    rec.owner = owner;
    rec.pin = pin;
    rec.dirty = owner ? owner->GetDirty(DIRTYFLAGS_ALL) : 0;
    rec.stamp = stamp;
    nodes.push_back(rec);
    return nodes.back();
}

void MatLink::clearMarks() {
    for (MatNodeRec& rec : nodes) {
        rec.used = false;
        rec.stamp = stamp;
    }
}

bool MatLink::purgeUnused(bool keep) {
    if (keep) return false;
    bool destroyed = false;
    for (std::size_t i = nodes.size(); i-- > 0;) {
        if (nodes[i].used || !nodes[i].node) continue;
        if (directlyOwned(owningGraph(), nodes[i].node)) {
            nodes[i].node->destroy();
            destroyed = true;
        } else {
            debugLine("REM:" + String::IntToString(static_cast<Int64>(i)));
        }
        nodes.erase(nodes.begin() + static_cast<std::ptrdiff_t>(i));
    }
    return destroyed;
}

// --- MatManager: document -------------------------------------------------------------------------------------------

void MatManager::setDocument(BaseDocument* document, BaseDocument* copy) {
    const std::lock_guard guard(lock);
    doc = document;
    renderDoc = copy;
    docLink.SetLink(document);
    const bool srgb = document && document->GetDataInstance()->GetInt32(DOCUMENT_COLORPROFILE, 1) == 1;
    colorProfile = srgb ? 0 : 2;
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
    doc = renderDoc = nullptr;
    docLink.SetLink(nullptr);
    links_.clear();
}

void MatManager::forgetNodes() {
    const std::lock_guard guard(lock);
    defaultMaterial_ = nullptr;
    for (const auto& link : links_) {
        link->node = link->outNode = nullptr;
        link->graph = nullptr;
        link->nodes.clear();
    }
}

// --- MatManager: links ----------------------------------------------------------------------------------------------

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
        if (material->GetType() == ID_LUMORA_BLEND_MATERIAL) link->graph->setPluginDataStr("C4DBlendMat");
    }
    link->node = createMaterialNode(link->graph, *material, &link->nodeType);
    if (!link->node) return nullptr;
    connectIfChanged(link->outNode, P_INPUT, link->node);
    link->name = material->GetName();
    link->uid = material->GetGUID();
    link->material = material;
    link->link.SetLink(material);
    link->bit = dirtySum(*material);
    link->stamp = passCounter;
    if (link->graph) link->graph->unfold(false);
    filteredLine(kLogMaterials, String("Create MatLink ") + link->node->name() + " -> " + material->GetName() +
                                    " bit:" + String::IntToString(link->bit));
    links_.push_back(std::move(link));
    return links_.back().get();
}

Int32 MatManager::findLinkIndex(const BaseMaterial* material) const {
    if (!material) return -1;
    const UInt64 uid = material->GetGUID();
    for (std::size_t i = 0; i < links_.size(); ++i)
        if (links_[i]->material == material) return static_cast<Int32>(i);
    for (std::size_t i = 0; i < links_.size(); ++i)
        if (links_[i]->uid == uid) return static_cast<Int32>(i);
    return -1;
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
        for (const MatNodeRec& rec : link->nodes)
            if (rec.node == node) return link.get();
    return nullptr;
}

MatLink* MatManager::findLinkByShader(const BaseShader* shader) {
    for (const auto& link : links_)
        for (const MatNodeRec& rec : link->nodes)
            if (rec.owner == shader && rec.node) return link.get();
    return nullptr;
}

ApiNode* MatManager::findNodeByMaterial(const BaseMaterial* material) {
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

// --- MatManager: nodes ----------------------------------------------------------------------------------------------

ApiNode* MatManager::reuseOrCreate(MatLink& link, const BaseList2D* owner, UInt32 pin, NodeType type) {
    if (reuseNodes)
        if (MatNodeRec* rec = link.findRec(type, owner, pin)) return rec->node->toNode();
    ApiNode* node = createNode(type, link.owningGraph());
    if (!node) return nullptr;
    MatNodeRec& rec = link.addRec(owner, pin, node);
    rec.used = true;
    rec.stamp = passCounter;
    return node;
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

// --- Free functions -------------------------------------------------------------------------------------------------

UInt32 dirtySum(const BaseList2D& element) {
    return element.GetDirty(DIRTYFLAGS_ALL) + element.GetHDirty(HDIRTYFLAGS_ALL);
}

ContentHash hashParameters(const BaseList2D& element) {
    ContentHash hash;
    std::unordered_set<const BaseList2D*> seen;
    addContent(element, hash, seen);
    return hash;
}

NodeType matNodeType(const BaseMaterial& material) {
    switch (material.GetType()) {
        case ID_LUMORA_MIX_MATERIAL:
        case ID_LUMORA_BLEND_MATERIAL:
            return NT_MAT_MIX;
        case 1029623:
            return NT_MAT_PORTAL;
        case ID_LUMORA_MATERIAL:
            return ownMaterialType(material.GetDataInstance()->GetInt32(2509, 2510));
        default:
            return standardMaterialType(material);
    }
}

}  // namespace lumora
