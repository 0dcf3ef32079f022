// The plug-in's own kinds of materials in the manager, and materials that are alike.
#include "host/runtime/plugin_registry.h"
#include "plugin/core/ids.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/unused_materials.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {
namespace {

constexpr PluginOwner kOwner = 78;
constexpr Int32 kFirstPart = 1271, kSecondPart = 1272, kKind = 2509;

class MixTest : public SceneTest {
protected:
    void SetUp() override {
        // The classes of the materials, without the rest of the plug-in.
        const PluginScope scope(kOwner);
        for (const Int32 id : {ID_LUMORA_MATERIAL, ID_LUMORA_MIX_MATERIAL, ID_LUMORA_BLEND_MATERIAL, ID_LUMORA_PORTAL})
            ASSERT_TRUE(RegisterMaterialPlugin(
                id, "Material", 0, [] { return std::make_unique<MaterialData>(); }, nullptr, 0));
    }
    void TearDown() override { removeRegistrations(kOwner); }

    BaseMaterial* addOf(Int32 type, const char* name) {
        BaseMaterial* material = BaseMaterial::Alloc(type);
        material->SetName(name);
        doc->InsertMaterial(material);
        return material;
    }
    BaseMaterial* addMix(const char* name, BaseMaterial* first, BaseMaterial* second) {
        BaseMaterial* mix = addOf(ID_LUMORA_MIX_MATERIAL, name);
        mix->GetDataInstance()->SetLink(kFirstPart, first);
        mix->GetDataInstance()->SetLink(kSecondPart, second);
        return mix;
    }
    MatLink* linkOf(const BaseMaterial* material) { return materials.findLinkByMaterial(material); }
};

TEST_F(MixTest, AMixStandsInTheRootGraphBehindItsParts) {
    BaseMaterial *first = addMaterial("First"), *second = addMaterial("Second");
    BaseMaterial* inner = addMix("Inner", first, second);
    BaseMaterial* outer = addMix("Outer", inner, first);
    outer->GetDataInstance()->SetLink(kSecondPart, outer);  // names itself
    EXPECT_TRUE(materials.addNewMaterial(outer, doc));
    EXPECT_FALSE(materials.addNewMaterial(inner, doc)) << "waits already, as a part";
    EXPECT_TRUE(materials.checkAndUpdate());
    ASSERT_EQ(materials.linkCount(), 4);
    const BaseMaterial* order[] = {first, second, inner, outer};
    for (Int32 i = 0; i < 4; ++i) EXPECT_EQ(materials.linkAt(i)->material, order[i]) << i;
    for (const BaseMaterial* mix : {inner, outer}) {
        const MatLink* link = linkOf(mix);
        EXPECT_EQ(link->graph, nullptr);
        EXPECT_EQ(link->outNode, nullptr);
        EXPECT_EQ(link->node->type(), NT_MAT_MIX);
        EXPECT_EQ(link->node->graphOwner(), &ApiProjectManager::rootNodeGraph());
        EXPECT_EQ(link->meshNode(), link->node);
    }
    const BaseMaterial* gone = outer;
    const ApiNode* node = linkOf(gone)->node;
    outer->Remove();
    EXPECT_TRUE(materials.checkAndUpdate());
    Lumora::ApiItemArray items;
    ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    for (std::size_t i = 0; i < items.size(); ++i) EXPECT_NE(items.get(i), node);
    BaseMaterial::Free(outer);
}

TEST_F(MixTest, ABlendsGraphIsMarked) {
    BaseMaterial* blend = addOf(ID_LUMORA_BLEND_MATERIAL, "Blend");
    materials.checkAndUpdate();
    const MatLink* link = linkOf(blend);
    ASSERT_TRUE(link->graph);
    EXPECT_STREQ(link->graph->pluginDataStr(), "C4DBlendMat");
    EXPECT_STREQ(link->graph->name(), "Blend");
    EXPECT_EQ(link->node->type(), NT_MAT_MIX);
    EXPECT_EQ(link->outNode->connectedNode(P_INPUT), link->node);
}

TEST_F(MixTest, OwnMaterialsChooseTheirNode) {
    BaseMaterial* own = addOf(ID_LUMORA_MATERIAL, "Own");
    BaseMaterial* mix = addMix("Mix", own, nullptr);
    // The mix comes first in the list: it is looked at before its part has turned.
    mix->Remove();
    doc->InsertMaterial(mix);
    materials.checkAndUpdate();
    struct Case {
        Int32 kind;
        NodeType type;
    };
    for (const Case& c : {Case{2511, NT_MAT_GLOSSY}, Case{2513, NT_MAT_SPECULAR}, Case{2514, NT_MAT_METALLIC},
                          Case{2515, NT_MAT_TOON}, Case{2516, NT_MAT_UNIVERSAL}, Case{2510, NT_MAT_DIFFUSE}}) {
        const UInt32 before = linkOf(mix)->bit;
        own->GetDataInstance()->SetInt32(kKind, c.kind);
        EXPECT_TRUE(materials.checkAndUpdate());
        EXPECT_EQ(linkOf(own)->node->type(), c.type);
        EXPECT_EQ(linkOf(own)->outNode->connectedNode(P_INPUT), linkOf(own)->node);
        const bool served = linkOf(mix)->generated && linkOf(mix)->bit == before;
        EXPECT_TRUE(served || materials.checkAndUpdate()) << "what shows it is made again, now or in the next pass";
        EXPECT_FALSE(materials.checkAndUpdate());
    }
    EXPECT_EQ(matNodeType(*addOf(ID_LUMORA_PORTAL, "Portal")), NT_MAT_PORTAL);
}

TEST_F(MixTest, PartsOfAUsedMixAreUsedAtAnyDepth) {
    BaseMaterial *first = addMaterial("First"), *second = addMaterial("Second"), *third = addMaterial("Third");
    BaseMaterial* outer = addMix("Outer", addMix("Inner", first, second), nullptr);
    BaseObject* object = addNull("Object");
    addTexture(object, outer);
    std::vector<BaseMaterial*> unused;
    collectUnusedMaterials(*doc, unused, true, true);
    EXPECT_EQ(unused, std::vector<BaseMaterial*>{third});

    // Objects that no picture shows use nothing: opacity 0 is as good as hidden.
    BaseTag* display = BaseTag::Alloc(Tdisplay);
    object->InsertTag(display);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.0);
    unused.clear();
    collectUnusedMaterials(*doc, unused, true, false);
    EXPECT_EQ(unused.size(), 5u);
    unused.clear();
    collectUnusedMaterials(*doc, unused, false, false);
    EXPECT_EQ(unused.size(), 1u);
}

TEST_F(MixTest, LikeMaterialsBecomeOneButPartsOfMixesStay) {
    BaseDocument* document = BaseDocument::Alloc();
    InsertBaseDocument(document);
    SetActiveDocument(document);
    const auto addLike = [&](const char* name, const Vector& colour) {
        BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
        material->SetName(name);
        BaseShader* shader = BaseShader::Alloc(Xcolor);
        shader->GetDataInstance()->SetVector(COLORSHADER_COLOR, colour);
        material->InsertShader(shader);
        material->GetDataInstance()->SetLink(MATERIAL_COLOR_SHADER, shader);
        document->InsertMaterial(material);
        writeMaterialUid(*material, nextMaterialUid());
        writeMaterialAddress(*material);
        return material;
    };
    BaseMaterial *one = addLike("One", Vector(0.5)), *two = addLike("Two", Vector(0.5));
    BaseMaterial *other = addLike("Other", Vector(0.25)), *part = addLike("Part", Vector(0.5));
    BaseMaterial* mix = BaseMaterial::Alloc(ID_LUMORA_MIX_MATERIAL);
    mix->GetDataInstance()->SetLink(kFirstPart, part);
    document->InsertMaterial(mix);
    storeMaterialPointers(*document);
    bindMaterialSlots();
    part->GetDataInstance()->SetInt64(99004, 4711);
    BaseObject* object = BaseObject::Alloc(Onull);
    document->AppendObject(object);
    TextureTag* tag = addTexture(object, two);

    removeDuplicatedMaterials();
    std::vector<const BaseMaterial*> left;
    for (const BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext()) left.push_back(m);
    EXPECT_EQ(left, (std::vector<const BaseMaterial*>{one, other, part, mix}));
    EXPECT_EQ(tag->GetMaterial(), one);
    EXPECT_EQ(part->GetDataInstance()->GetInt64(99004), 4711);
    EXPECT_FALSE(one->GetDataInstance()->Has(99010));

    document->DoUndo();
    EXPECT_EQ(tag->GetMaterial(), two);
    EXPECT_EQ(document->SearchMaterial("Two"), two);
    KillDocument(document);
}

TEST_F(MixTest, APreviewsNodesStandInItsOwnGraph) {
    BaseMaterial* material = addMaterial("Previewed");
    ApiNodeGraph* graph = createGraph(ApiProjectManager::rootNodeGraph());
    MatManager previews("prevMatMngr");
    previews.setDocument(doc, nullptr);
    MatLink* link = previews.createPreviewLink(*graph, material);
    ASSERT_TRUE(link);
    EXPECT_EQ(link->node->graphOwner(), graph);
    EXPECT_EQ(link->outNode, nullptr);
    EXPECT_STREQ(graph->name(), "Previewed");
    EXPECT_EQ(link->meshNode(), link->node);
    previews.clearAll();
}

}  // namespace
}  // namespace lumora::test
