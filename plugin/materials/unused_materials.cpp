#include "plugin/materials/unused_materials.h"

#include <unordered_set>

#include "plugin/core/ids.h"

namespace lumora {

namespace {

constexpr Int32 kHairMaterialTag = 1017729, kHairMaterial = 1000;
constexpr Int32 kMixFirst = 1271, kMixSecond = 1272;

using MaterialSet = std::unordered_set<const BaseList2D*>;

/// The set ends every descent: a mix material may name itself.
void use(const BaseList2D* material, const BaseDocument& document, MaterialSet& used) {
    std::vector<const BaseList2D*> open{material};
    while (!open.empty()) {
        const BaseList2D* next = open.back();
        open.pop_back();
        if (!next || next->GetFamily() != NodeFamily::Material || !used.insert(next).second) continue;
        if (next->GetType() != ID_LUMORA_MIX_MATERIAL) continue;
        for (const Int32 id : {kMixFirst, kMixSecond}) open.push_back(next->GetDataInstance()->GetLink(id, &document));
    }
}

/// The next object in tree order; null at the end.
const BaseObject* following(const BaseObject* object) {
    if (object->GetDown()) return object->GetDown();
    while (object && !object->GetNext()) object = object->GetUp();
    return object ? object->GetNext() : nullptr;
}

}  // namespace

std::vector<BaseMaterial*> collectUnusedMaterials(const BaseDocument& document) {
    MaterialSet used;
    for (const BaseObject* object = document.GetFirstObject(); object; object = following(object))
        for (const BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext()) {
            if (tag->GetType() == Ttexture)
                use(tag->GetDataInstance()->GetLink(TEXTURETAG_MATERIAL, &document), document, used);
            else if (tag->GetType() == kHairMaterialTag)
                use(tag->GetDataInstance()->GetLink(kHairMaterial, &document), document, used);
        }
    std::vector<BaseMaterial*> unused;
    for (BaseMaterial* material = document.GetFirstMaterial(); material; material = material->GetNext())
        if (!used.contains(material)) unused.push_back(material);
    return unused;
}

Int32 removeUnusedMaterials(BaseDocument& document) {
    const std::vector<BaseMaterial*> unused = collectUnusedMaterials(document);
    if (unused.empty()) return 0;
    document.StartUndo();
    for (BaseMaterial* material : unused) {
        document.AddUndo(UNDOTYPE_DELETE, material);
        material->Remove();
    }
    document.EndUndo();
    EventAdd();
    return static_cast<Int32>(unused.size());
}

}  // namespace lumora
