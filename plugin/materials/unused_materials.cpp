#include "plugin/materials/unused_materials.h"

#include <algorithm>
#include <unordered_set>

#include "plugin/core/ids.h"
#include "plugin/geometry/object_tags.h"
#include "plugin/materials/material_identity.h"

namespace lumora {

namespace {

constexpr Int32 kHairMaterialTag = 1017729, kHairMaterialLink = 1000;
constexpr Int32 kMergeLikeMaterials = 12211;

using MaterialSet = std::unordered_set<const BaseList2D*>;

BaseMaterial* partOf(const BaseMaterial& mix, Int32 part) {
    BaseList2D* target = mix.GetDataInstance()->GetLink(part, mix.GetDocument());
    return target && target->GetFamily() == NodeFamily::Material ? static_cast<BaseMaterial*>(target) : nullptr;
}

/// The material behind the parts that it is mixed of. `seen` ends circles.
void addWithParts(BaseMaterial* material, MaterialSet& seen, std::vector<BaseMaterial*>& out) {
    if (!material || !seen.insert(material).second) return;
    if (material->GetType() == ID_LUMORA_MIX_MATERIAL)
        for (Int32 part : kMixParts) addWithParts(partOf(*material, part), seen, out);
    out.push_back(material);
}

/// Finds what objects show.
class UseWalk {
public:
    UseWalk(BaseDocument& document, bool onlyRendered, bool skipConsumed)
        : document_(document), onlyRendered_(onlyRendered), skipConsumed_(skipConsumed) {}

    MaterialSet run() {
        const SceneObjectInfo nothingSaid;
        for (BaseObject* object = document_.GetFirstObject(); object; object = object->GetNext())
            walk(object, nothingSaid, false);
        return std::move(used_);
    }

private:
    /// As the walk of a send sees it: `parent` says what holds where the object itself does not.
    void walk(BaseObject* object, const SceneObjectInfo& parent, bool inHiddenGenerator) {
        SceneObjectInfo record = parent;
        record.object = object;
        readObjectTags(&document_, object, record);
        if (const LayerObject* layer = object->GetLayerObject())
            if (!layer->GetDataInstance()->GetBool(ID_LAYER_RENDER, true)) record.renderVisible = false;
        const bool counts = record.renderVisible && !inHiddenGenerator;
        if ((counts || !onlyRendered_) && !(skipConsumed_ && object->GetBit(BIT_CONTROL_OBJECT))) gather(object);
        if (BaseObject* cache = object->GetDeformCache() ? object->GetDeformCache() : object->GetCache())
            walk(cache, record, !counts);
        for (BaseObject* down = object->GetDown(); down; down = down->GetNext()) walk(down, record, inHiddenGenerator);
    }

    void gather(BaseObject* object) {
        if (!gathered_.insert(object).second) return;
        for (const BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext()) {
            if (tag->GetType() == Ttexture) use(static_cast<const TextureTag*>(tag)->GetMaterial());
            if (tag->GetType() == kHairMaterialTag) use(tag->GetDataInstance()->GetLink(kHairMaterialLink, &document_));
        }
        if (object->GetType() != Oinstance) return;
        BaseList2D* base = object->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, &document_);
        if (base && base->GetFamily() == NodeFamily::Object) gatherTree(static_cast<BaseObject*>(base));
    }

    /// An instance shows its base with all that is below it, whether the base itself is rendered or not.
    void gatherTree(BaseObject* object) {
        if (!trees_.insert(object).second) return;
        gather(object);
        if (BaseObject* cache = object->GetDeformCache() ? object->GetDeformCache() : object->GetCache())
            gatherTree(cache);
        for (BaseObject* down = object->GetDown(); down; down = down->GetNext()) gatherTree(down);
    }

    void use(BaseList2D* element) {
        if (!element || element->GetFamily() != NodeFamily::Material) return;
        std::vector<BaseMaterial*> parts;
        addWithParts(static_cast<BaseMaterial*>(element), used_, parts);
    }

    BaseDocument& document_;
    bool onlyRendered_, skipConsumed_;
    MaterialSet used_;
    std::unordered_set<const BaseObject*> gathered_, trees_;
};

bool isOwnOrMix(const BaseMaterial& material) {
    return material.GetType() == ID_LUMORA_MATERIAL || material.GetType() == ID_LUMORA_MIX_MATERIAL;
}

}  // namespace

std::vector<BaseMaterial*> expandMaterial(BaseMaterial& material, const std::atomic<bool>& cancel) {
    std::vector<BaseMaterial*> entries;
    if (cancel) return entries;
    MaterialSet seen;
    addWithParts(&material, seen, entries);
    if (cancel) entries.clear();
    return entries;
}

void collectUnusedMaterials(BaseDocument& document, std::vector<BaseMaterial*>& unused, bool onlyRendered,
                            bool skipConsumed) {
    const MaterialSet used = UseWalk(document, onlyRendered, skipConsumed).run();
    for (BaseMaterial* m = document.GetFirstMaterial(); m; m = m->GetNext())
        if (!used.contains(m)) unused.push_back(m);
}

Int32 removeUnusedMaterials(BaseDocument& document) {
    std::vector<BaseMaterial*> unused;
    collectUnusedMaterials(document, unused, false, false);
    if (unused.empty()) return 0;
    document.StartUndo();
    for (BaseMaterial* material : unused) {
        document.AddUndo(UndoType::Delete, material);
        material->Remove();
    }
    document.EndUndo();
    EventAdd();
    return static_cast<Int32>(unused.size());
}

void removeDuplicatedMaterials() {
    const BaseDocument* document = GetActiveDocument();
    if (!document) return;
    MaterialSet parts;
    std::vector<BaseMaterial*> mixed;
    for (BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext())
        if (m->GetType() == ID_LUMORA_MIX_MATERIAL)
            for (Int32 part : kMixParts) addWithParts(partOf(*m, part), parts, mixed);
    for (BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext()) {
        if (parts.contains(m)) continue;
        BaseContainer& data = *m->GetDataInstance();
        data.SetInt32(MATERIAL_SLOT_STATE, 0);
        data.SetInt64(MATERIAL_SLOT_ADDRESS, 0);
        data.RemoveData(MATERIAL_MERGE_MARK);
        data.RemoveData(MATERIAL_SOURCE);
    }
    CallCommand(kMergeLikeMaterials);
}

void bindMaterialSlots() {
    const BaseDocument* document = GetActiveDocument();
    if (!document) return;
    for (BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext()) {
        if (!isOwnOrMix(*m)) continue;
        m->GetDataInstance()->SetInt32(MATERIAL_SLOT_STATE, 0);
        writeMaterialAddress(*m);
        m->GetDataInstance()->SetInt64(MATERIAL_SLOT_ADDRESS, static_cast<Int64>(reinterpret_cast<UInt64>(m)));
    }
}

}  // namespace lumora
