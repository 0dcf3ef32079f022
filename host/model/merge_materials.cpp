#include "host/model/merge_materials.h"

#include <algorithm>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/sdk/custom_types.h"
#include "host/sdk/material.h"
#include "host/sdk/object.h"
#include "host/sdk/tag.h"
#include "host/sdk/thread.h"

namespace host {

namespace {

bool isOpaque(const GeData& value) {
    const CustomDataType* custom = value.GetCustomOfAnyType();
    return custom && custom->GetTypeId() == CUSTOMDATATYPE_BYTES;
}

Int32 settingCount(const BaseContainer& data) {
    Int32 count = 0;
    for (Int32 i = 0; i < data.GetCount(); ++i) count += !isOpaque(data.GetIndexData(i));
    return count;
}

/// Compares two materials with the shaders that they own.
class Comparison {
public:
    bool equal(const BaseList2D& a, const BaseList2D& b) {
        if (&a == &b) return true;
        if (a.GetType() != b.GetType() || a.GetFamily() != b.GetFamily()) return false;
        // Links in a circle: what is being compared already is taken as equal.
        const std::pair pair{&a, &b};
        if (std::find(open_.begin(), open_.end(), pair) != open_.end()) return true;
        open_.push_back(pair);
        const bool same = equalSettings(a, b);
        open_.pop_back();
        return same;
    }

private:
    bool equalSettings(const BaseList2D& a, const BaseList2D& b) {
        const BaseContainer &da = *a.GetDataInstance(), &db = *b.GetDataInstance();
        if (settingCount(da) != settingCount(db)) return false;
        for (Int32 i = 0; i < da.GetCount(); ++i) {
            const GeData& value = da.GetIndexData(i);
            if (isOpaque(value)) continue;
            const GeData* other = db.FindData(da.GetIndexId(i));
            if (!other || !equalValues(value, a, *other, b)) return false;
        }
        return true;
    }

    bool equalValues(const GeData& va, const BaseList2D& a, const GeData& vb, const BaseList2D& b) {
        if (va.GetType() != DataType::Link || vb.GetType() != DataType::Link) return va == vb;
        const BaseList2D *ta = va.GetLink(a.GetDocument()), *tb = vb.GetLink(b.GetDocument());
        if (!ta || !tb || ta == tb) return ta == tb;
        return ta->GetFamily() == NodeFamily::Shader && equal(*ta, *tb);
    }

    std::vector<std::pair<const BaseList2D*, const BaseList2D*>> open_;
};

using Replacements = std::unordered_map<const BaseList2D*, BaseMaterial*>;

/// Points the element's links at what stays.
void relink(BaseDocument& document, BaseList2D& element, const Replacements& replacements) {
    BaseContainer& data = *element.GetDataInstance();
    bool noted = false;
    for (Int32 i = 0; i < data.GetCount(); ++i) {
        if (data.GetIndexData(i).GetType() != DataType::Link) continue;
        const auto found = replacements.find(data.GetIndexData(i).GetLink(&document));
        if (found == replacements.end()) continue;
        if (!noted) document.AddUndo(UndoType::ChangeSmall, &element);
        noted = true;
        data.SetLink(data.GetIndexId(i), found->second);
    }
}

void relinkShaders(BaseDocument& document, BaseList2D* first, const Replacements& replacements) {
    for (BaseList2D* shader = first; shader; shader = shader->GetNext()) {
        relink(document, *shader, replacements);
        relinkShaders(document, shader->GetFirstShader(), replacements);
        relinkShaders(document, shader->GetDown(), replacements);
    }
}

void relinkObjects(BaseDocument& document, BaseObject* first, const Replacements& replacements) {
    for (BaseObject* object = first; object; object = object->GetNext()) {
        relink(document, *object, replacements);
        for (BaseTag* tag = object->GetFirstTag(); tag; tag = tag->GetNext()) relink(document, *tag, replacements);
        relinkObjects(document, object->GetDown(), replacements);
    }
}

}  // namespace

Int32 mergeEqualMaterials(BaseDocument& document) {
    std::vector<BaseMaterial*> kept, gone;
    Replacements replacements;
    Comparison comparison;
    for (BaseMaterial* material = document.GetFirstMaterial(); material; material = material->GetNext()) {
        const auto first = std::find_if(kept.begin(), kept.end(),
                                        [&](const BaseMaterial* k) { return comparison.equal(*k, *material); });
        if (first == kept.end()) {
            kept.push_back(material);
        } else {
            replacements.emplace(material, *first);
            gone.push_back(material);
        }
    }
    if (gone.empty()) return 0;
    document.StartUndo();
    relinkObjects(document, document.GetFirstObject(), replacements);
    for (BaseMaterial* material : kept) {
        relink(document, *material, replacements);
        relinkShaders(document, material->GetFirstShader(), replacements);
    }
    for (BaseMaterial* material : gone) {
        document.AddUndo(UndoType::Delete, material);
        material->Remove();
    }
    document.EndUndo();
    EventAdd();
    return static_cast<Int32>(gone.size());
}

}  // namespace host
