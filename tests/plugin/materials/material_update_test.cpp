// What a pass of the material manager costs the engine, and which nodes survive which edit.
#include <cstdio>
#include <filesystem>
#include <functional>

#include "plugin/core/ids.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/unused_materials.h"
#include "tests/plugin/scene_fixture.h"
#include "tests/plugin/support/allocation_count.h"

namespace lumora::test {

namespace {

using Lumora::ApiWriteJournal;

class MaterialUpdateTest : public SceneTest {
protected:
    MaterialUpdateTest() {
        image = (std::filesystem::temp_directory_path() / ("lumora_update_test" + std::to_string(getpid()) + ".png"))
                    .string();
        // Begins as a file that the engine reads itself; it is not asked to.
        if (std::FILE* f = std::fopen(image.c_str(), "wb")) {
            std::fputs("\x89PNG\r\n\x1a\n", f);
            std::fclose(f);
        }
    }
    ~MaterialUpdateTest() override { std::filesystem::remove(image); }

    BaseShader* addShader(BaseMaterial* material, Int32 parameter, Int32 type) {
        BaseShader* shader = BaseShader::Alloc(type);
        if (type == Xbitmap) shader->GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, Filename(image));
        if (type == Xcolor) shader->GetDataInstance()->SetVector(COLORSHADER_COLOR, Vector(0.5));
        material->InsertShader(shader);
        material->GetDataInstance()->SetLink(parameter, shader);
        return shader;
    }
    /// With an image on its colour, mixed with a plain one.
    BaseMaterial* addTextured(const char* name) {
        BaseMaterial* material = addMaterial(name);
        addShader(material, MATERIAL_COLOR_SHADER, Xbitmap);
        material->GetDataInstance()->SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.5);
        return material;
    }
    bool check() {
        ApiWriteJournal::reset();
        return materials.checkAndUpdate();
    }
    MatLink* linkOf(const BaseMaterial* material) { return materials.findLinkByMaterial(material); }
    static std::size_t projectItems() {
        Lumora::ApiItemArray items;
        ApiProjectManager::rootNodeGraph().getOwnedItems(items);
        return items.size();
    }
    std::string image;
};

TEST_F(MaterialUpdateTest, AnUnchangedDocumentCostsNothing) {
    std::size_t allocations[2] = {};
    for (int round = 0; round < 2; ++round) {
        for (int i = materials.linkCount(); i < (round == 0 ? 10 : 200); ++i)
            addTextured(("Material " + std::to_string(i)).c_str());
        EXPECT_TRUE(check());
        EXPECT_FALSE(check());
        EXPECT_EQ(writes(), 0u);
        EXPECT_EQ(ApiWriteJournal::count(Lumora::JOURNAL_EVALUATE), 0u);
        const std::size_t before = allocationCount();
        materials.checkAndUpdate();
        allocations[round] = allocationCount() - before;
    }
    EXPECT_EQ(materials.linkCount(), 200);
    EXPECT_EQ(allocations[0], allocations[1]) << "no allocation for each link";
}

TEST_F(MaterialUpdateTest, AnEditCostsWhatItIsWorth) {
    BaseMaterial* material = addTextured("Edited");
    BaseMaterial* other = addTextured("Bystander");
    BaseShader* emission = addShader(material, MATERIAL_LUMINANCE_SHADER, Xcolor);
    BaseContainer& d = *material->GetDataInstance();
    d.SetBool(MATERIAL_USE_LUMINANCE, true);
    ASSERT_TRUE(check());
    ASSERT_FALSE(check());

    struct Case {
        const char* what;
        std::function<void()> edit;
        bool changed;
        std::size_t writes;
    };
    const Case cases[] = {
        {"renamed", [&] { material->SetName("Renamed"); }, false, 0},
        {"selected", [&] { material->SetDirty(DIRTYFLAGS_SELECT); }, false, 0},
        {"touched", [&] { material->SetDirty(DIRTYFLAGS_DATA); }, false, 0},
        {"the plug-in's own parameter", [&] { d.SetInt32(99004, 77); }, false, 0},
        {"renamed and edited",
         [&] {
             material->SetName("Again");
             d.SetVector(MATERIAL_COLOR_COLOR, {0.1, 0.2, 0.3});
         },
         true, 1},
        {"a value of a shader",
         [&] {
             emission->GetDataInstance()->SetVector(COLORSHADER_COLOR, {0.9, 0.1, 0.1});
         },
         true, 1},
        {"a very small change of it",
         [&] {
             emission->GetDataInstance()->SetVector(COLORSHADER_COLOR, {0.9, 0.10001, 0.1});
         },
         true, 1},
        {"strength of an image", [&] { d.SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.25); }, true, 1},
        {"the border of an image",
         [&] {
             for (Int32 id : {BITMAPSHADER_WRAPX, BITMAPSHADER_WRAPY})
                 material->GetShader(MATERIAL_COLOR_SHADER)->GetDataInstance()->SetInt32(id, 1);
         },
         true, 1},
        {"a colour of its own instead",
         [&] {
             d.RemoveData(MATERIAL_LUMINANCE_SHADER);
             d.SetVector(MATERIAL_LUMINANCE_COLOR, Vector(0.5));
         },
         true, 4},
        {"its brightness", [&] { d.SetFloat(MATERIAL_LUMINANCE_BRIGHTNESS, 3.0); }, true, 1},
        {"that colour", [&] { d.SetVector(MATERIAL_LUMINANCE_COLOR, Vector(0.25)); }, true, 1},
        {"a parameter that nothing shows", [&] { d.SetFloat(MATERIAL_BUMP_STRENGTH, 0.7); }, true, 0},
        {"the other material", [&] { other->GetDataInstance()->SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.75); }, true,
         1},
    };
    for (const Case& c : cases) {
        c.edit();
        EXPECT_EQ(check(), c.changed) << c.what;
        EXPECT_EQ(writes(), c.writes) << c.what;
        EXPECT_FALSE(check()) << c.what << ", again";
        EXPECT_EQ(writes(), 0u) << c.what << ", again";
    }
}

TEST_F(MaterialUpdateTest, AChangedColourProfileReachesEveryMaterial) {
    for (const char* name : {"One", "Two"}) addMaterial(name);
    check();
    doc->GetDataInstance()->SetInt32(
        DOCUMENT_COLORPROFILE, materials.colorsAreSrgb() ? DOCUMENT_COLORPROFILE_LINEAR : DOCUMENT_COLORPROFILE_SRGB);
    materials.busyPreview = true;
    EXPECT_FALSE(check()) << "put off";
    materials.busyPreview = false;
    EXPECT_TRUE(check());
    EXPECT_EQ(writes(), 2u);
    EXPECT_FALSE(check());
}

TEST_F(MaterialUpdateTest, OneDeletedAndOneMadeIsSeenInOnePass) {
    BaseMaterial* gone = addTextured("Goes");
    check();
    gone->Remove();
    BaseMaterial::Free(gone);
    BaseMaterial* made = addTextured("Comes");
    EXPECT_TRUE(check());
    ASSERT_TRUE(linkOf(made));
    EXPECT_EQ(linkOf(made)->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_MIX);
    EXPECT_EQ(materials.linkCount(), 1);
    EXPECT_FALSE(check());
}

TEST_F(MaterialUpdateTest, ADeletedMaterialTakesItsNodes) {
    addTextured("Stays");
    check();
    const std::size_t before = projectItems();
    BaseMaterial* gone = addTextured("Goes");
    check();
    const MatLink* link = linkOf(gone);
    ASSERT_TRUE(link);
    const ApiNode* mixed = link->node->connectedNode(P_DIFFUSE);
    EXPECT_EQ(mixed->type(), NT_TEX_MIX);
    EXPECT_EQ(projectItems(), before + 1);

    doc->StartUndo();
    doc->AddUndo(UndoType::Delete, gone);
    gone->Remove();
    doc->EndUndo();
    EXPECT_TRUE(check());
    EXPECT_EQ(projectItems(), before);
    EXPECT_EQ(materials.linkCount(), 1);
    EXPECT_EQ(linkOf(gone), nullptr);
    EXPECT_FALSE(check());

    doc->DoUndo();
    EXPECT_TRUE(check()) << "it is back";
    ASSERT_TRUE(linkOf(gone));
    EXPECT_EQ(linkOf(gone)->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_MIX);
    EXPECT_EQ(projectItems(), before + 1);
}

TEST_F(MaterialUpdateTest, DeletedAndBackBetweenTwoPassesIsNoChange) {
    BaseMaterial* material = addTextured("Back");
    check();
    const MatLink* link = linkOf(material);
    const ApiNode* node = link->node;
    doc->StartUndo();
    doc->AddUndo(UndoType::Delete, material);
    material->Remove();
    doc->EndUndo();
    doc->DoUndo();
    check();
    EXPECT_EQ(writes(), 0u);
    EXPECT_EQ(linkOf(material), link);
    EXPECT_EQ(link->node, node);
}

TEST_F(MaterialUpdateTest, UndoOfAnEditCostsTheEdit) {
    BaseMaterial* material = addTextured("Undone");
    doc->StartUndo();  // the step keeps the material as it was before it had an identity
    doc->AddUndo(UndoType::Change, material);
    material->SetParameter(MATERIAL_COLOR_COLOR, GeData(Vector(0.25)));
    doc->EndUndo();
    check();
    MatLink* link = linkOf(material);
    const ApiNode* texture = link->node->connectedNode(P_DIFFUSE);
    const UInt64 uid = link->uid;

    doc->DoUndo();
    EXPECT_TRUE(check());
    EXPECT_EQ(writes(), 1u);
    EXPECT_EQ(link->node->connectedNode(P_DIFFUSE), texture);
    EXPECT_EQ(materialUid(*material), uid) << "a copy made now is found";
    doc->DoRedo();
    EXPECT_TRUE(check());
    EXPECT_EQ(writes(), 1u);
    EXPECT_EQ(link->node->connectedNode(P_DIFFUSE), texture);
}

TEST_F(MaterialUpdateTest, ADuplicateGetsAnIdentityOfItsOwn) {
    BaseMaterial* source = addTextured("Source");
    check();
    MatLink* link = linkOf(source);
    auto* copy = static_cast<BaseMaterial*>(source->GetClone(COPYFLAGS_NONE));
    doc->InsertMaterial(copy, source);
    ASSERT_EQ(materialUid(*copy), link->uid) << "the host copies the block";
    EXPECT_EQ(linkOf(copy), link) << "until a pass has seen it";
    EXPECT_TRUE(check());
    ASSERT_NE(linkOf(copy), link);
    EXPECT_EQ(linkOf(source), link);
    EXPECT_NE(materialUid(*copy), materialUid(*source));
    EXPECT_NE(linkOf(copy)->node, link->node);

    copy->GetDataInstance()->SetVector(MATERIAL_COLOR_COLOR, {1, 0, 0});
    EXPECT_TRUE(check());
    EXPECT_EQ(writes(), 1u) << "the source is left alone";
}

TEST_F(MaterialUpdateTest, TwoDocuments) {
    BaseMaterial* material = addTextured("Shared");
    BaseMaterial* stranger = BaseMaterial::Alloc(Mmaterial);
    BaseDocument* second = BaseDocument::Alloc();
    second->InsertMaterial(stranger);
    check();
    MatLink* link = linkOf(material);
    EXPECT_EQ(linkOf(stranger), nullptr);
    EXPECT_TRUE(materials.addNewMaterial(stranger, doc));
    EXPECT_FALSE(check()) << "a material of elsewhere is dropped";
    EXPECT_EQ(materials.linkCount(), 1);

    storeMaterialPointers(*doc);
    BaseDocument* clone = doc->CloneDocument();
    BaseDocument* cloneOfClone = clone->CloneDocument();
    for (BaseDocument* other : {clone, cloneOfClone}) {
        BaseMaterial* copy = other->GetFirstMaterial();
        EXPECT_EQ(linkOf(copy), link);
        EXPECT_EQ(materials.findNodeByMaterial(copy), link->node);
        EXPECT_EQ(sourceOfCopy(*copy, *doc), material);
        EXPECT_EQ(sourceOfCopy(*copy, *second), nullptr);
    }

    // The clone becomes the document: its materials leave the old identity.
    const UInt64 uid = link->uid;
    materials.clearAll();
    materials.setDocument(clone, nullptr);
    EXPECT_TRUE(check());
    EXPECT_NE(linkOf(clone->GetFirstMaterial())->uid, uid);
    EXPECT_EQ(materialUid(*material), uid);
    BaseDocument::Free(cloneOfClone);
    BaseDocument::Free(clone);
    EXPECT_FALSE(materials.checkAndUpdate()) << "without its document";
    EXPECT_EQ(linkOf(material), nullptr) << "and nothing is followed into it";
    BaseDocument::Free(second);
}

TEST_F(MaterialUpdateTest, ARenderCopyFeedsTheNodesOfTheDocument) {
    BaseMaterial* material = addTextured("Filmed");
    BaseDocument* copy = doc->CloneDocument();
    BaseMaterial* twin = copy->GetFirstMaterial();
    materials.batchMode = true;
    materials.setDocument(doc, copy);
    MatLink* link = materials.createMatLink(twin);
    materials.setSource(*link, material);
    generateMaterial(materials, link->renderMaterial(), link);
    EXPECT_EQ(linkOf(material), link);
    EXPECT_EQ(linkOf(twin), link);
    EXPECT_FALSE(check());
    twin->GetDataInstance()->SetVector(MATERIAL_COLOR_COLOR, {0.1, 0.2, 0.3});
    EXPECT_TRUE(check()) << "a frame changed the copy";
    EXPECT_EQ(writes(), 1u);
    BaseDocument::Free(copy);
    EXPECT_EQ(link->renderMaterial(), nullptr);
}

TEST_F(MaterialUpdateTest, ANewTypeKeepsAssignmentsAndTextures) {
    BaseMaterial* material = addTextured("Turned");
    check();
    MatLink* link = linkOf(material);
    ApiNode* texture = link->node->connectedNode(P_DIFFUSE);
    const ApiNode *out = link->outNode, *old = link->node;
    // One mesh is connected to the linker, as the plug-in does, the other to the material itself, as a user may.
    ApiNodeGraph& root = ApiProjectManager::rootNodeGraph();
    ApiNode *target = createNode(NT_RENDER_TARGET, root), *group = createNode(NT_GEO_GROUP, root);
    setAttrIfChanged(group, A_GROUP_PIN_COUNT, 2);
    connectIfChanged(target, P_RENDER_GEOMETRY, group);
    Lumora::ApiRenderEngine::setRenderTargetNode(target);
    ApiNode* meshes[2] = {};
    const char* names[] = {"default", "one"};
    for (unsigned i = 0; i < 2; ++i) {
        meshes[i] = createNode(NT_GEO_MESH, root);
        setArrayIfChanged(meshes[i], A_MATERIAL_NAMES, names, 2);
        connectIxIfChanged(group, i, meshes[i]);
        ASSERT_GT(meshes[i]->dynPinCount(), 1u);
        connectIxIfChanged(meshes[i], meshes[i]->staticPinCount() + 1, i == 0 ? link->outNode : link->node);
    }

    material->GetDataInstance()->SetBool(MATERIAL_USE_REFLECTION, true);
    EXPECT_TRUE(check());
    EXPECT_EQ(linkOf(material), link);
    EXPECT_EQ(link->nodeType, NT_MAT_GLOSSY);
    EXPECT_NE(link->node, old);
    EXPECT_EQ(link->node->connectedNode(P_DIFFUSE), texture) << "shader nodes do not belong to the material node";
    EXPECT_EQ(out->connectedNode(P_INPUT), link->node);
    EXPECT_EQ(link->graph->findFirstNode(NT_MAT_DIFFUSE), nullptr) << "the old one is gone";
    for (ApiNode* mesh : meshes) EXPECT_EQ(mesh->inputNodeIx(mesh->staticPinCount() + 1), link->node);
    EXPECT_FALSE(check());
    Lumora::ApiRenderEngine::setRenderTargetNode(nullptr);
}

TEST_F(MaterialUpdateTest, NodesDeletedBehindItsBackAreMadeAnew) {
    BaseMaterial* material = addTextured("Damaged");
    check();
    MatLink* link = linkOf(material);
    link->graph->findFirstNode(NT_TEX_IMAGE)->destroy();
    link->graph->findFirstNode(NT_TEX_MIX)->destroy();
    material->GetDataInstance()->SetVector(MATERIAL_COLOR_COLOR, {0, 1, 0});
    EXPECT_TRUE(check());
    ApiNode* mix = link->node->connectedNode(P_DIFFUSE);
    ASSERT_TRUE(mix);
    EXPECT_EQ(mix->type(), NT_TEX_MIX);
    EXPECT_EQ(mix->connectedNode(P_TEXTURE2)->type(), NT_TEX_IMAGE);
    for (const MatNodeRec& rec : link->nodes()) EXPECT_TRUE(link->standsInGraph(rec.node));
    EXPECT_FALSE(check());

    // A whole graph that the user emptied and deleted, and then the material.
    link->graph->destroy();
    material->Remove();
    EXPECT_TRUE(check());
    EXPECT_EQ(materials.linkCount(), 0);
    BaseMaterial::Free(material);
}

TEST_F(MaterialUpdateTest, WhatAChannelNoLongerUsesIsCollectedUnlessNodesAreKept) {
    for (const bool keep : {true, false}) {
        materials.keepNodes = keep;
        BaseMaterial* material = addTextured("Simplified");
        check();
        MatLink* link = linkOf(material);
        const std::size_t before = link->nodes().size();
        material->GetDataInstance()->SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 1.0);
        EXPECT_TRUE(check());
        EXPECT_EQ(link->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_IMAGE);
        EXPECT_EQ(link->graph->findFirstNode(NT_TEX_MIX) != nullptr, keep);
        EXPECT_EQ(link->nodes().size() == before, keep);
        material->GetDataInstance()->RemoveData(MATERIAL_COLOR_SHADER);
        check();
        EXPECT_FLOAT_EQ(link->node->getPinFloat3(P_DIFFUSE).x, toFloat3(materials.toLinear(Vector(0.5))).x);
    }
}

TEST_F(MaterialUpdateTest, ABusyManagerLeavesTheChangeForTheNextPass) {
    BaseMaterial* material = addMaterial("Waiting");
    check();
    material->GetDataInstance()->SetVector(MATERIAL_COLOR_COLOR, {1, 0, 0});
    for (std::atomic<bool>* byte : {&materials.busyPreview, &materials.busyUpdate}) {
        *byte = true;
        EXPECT_FALSE(check());
        EXPECT_EQ(writes(), 0u);
        EXPECT_TRUE(*byte);
        *byte = false;
    }
    EXPECT_TRUE(check());
    EXPECT_FALSE(materials.busyUpdate);
}

TEST_F(MaterialUpdateTest, ObjectsAndFramesThatAMaterialDependsOn) {
    BaseMaterial* material = addMaterial("Projected");
    BaseObject* parent = addNull("Parent");
    BaseObject* object = addNull("Projector", parent);
    check();
    MatLink* link = linkOf(material);
    const auto depend = [&] {
        for (int use = 0; use < 2; ++use) link->dependOn(object);
        ASSERT_EQ(link->linkedObjects.size(), 1u);
        link->linkedSum = dependencySum(*link, *material, *doc);
    };
    const std::function<void()> moves[] = {[&] {
                                               object->SetAbsPos({1, 0, 0});
                                           },
                                           [&] {
                                               parent->SetAbsPos({0, 0.001, 0});
                                           },
                                           [&] {
                                               parent->SetAbsRot({0.5, 0, 0});
                                           }};
    for (const auto& move : moves) {
        depend();
        EXPECT_FALSE(check());
        move();
        EXPECT_TRUE(check());
    }
    BaseShader* film = addShader(material, MATERIAL_COLOR_SHADER, Xbitmap);
    film->GetDataInstance()->SetInt32(BITMAPSHADER_TIMING_TO, 10);
    EXPECT_TRUE(check());
    EXPECT_FALSE(check());
    for (int frame = 1; frame < 3; ++frame) {
        doc->SetTime(BaseTime::FromFrame(frame, doc->GetFps()));
        EXPECT_TRUE(check()) << "another picture of the film";
        EXPECT_FALSE(check());
    }
}

TEST_F(MaterialUpdateTest, QueuedMaterialsAreLinkedOnce) {
    BaseMaterial* material = addMaterial("Queued");
    EXPECT_TRUE(materials.addNewMaterial(material, doc));
    EXPECT_FALSE(materials.addNewMaterial(material, doc));
    EXPECT_TRUE(check());
    EXPECT_EQ(materials.linkCount(), 1);
    EXPECT_FALSE(materials.addNewMaterial(material, doc));
    EXPECT_EQ(materials.findLinkByPointer(material), linkOf(material));
    EXPECT_TRUE(materials.isLink(linkOf(material)));
    EXPECT_EQ(materials.linkAt(1), nullptr);
    EXPECT_EQ(materials.findLinkIndex(nullptr), -1);

    materials.cancelPreview = true;
    BaseMaterial* cancelled = BaseMaterial::Alloc(Mmaterial);
    doc->InsertMaterial(cancelled);
    materials.addNewMaterial(cancelled, doc);
    EXPECT_TRUE(check()) << "the document is looked at anyway";
    EXPECT_EQ(materials.linkCount(), 2);
}

TEST_F(MaterialUpdateTest, RecordsAreFoundByOwnerAndPin) {
    BaseMaterial* material = addMaterial("Many");
    check();
    MatLink* link = linkOf(material);
    BaseShader* shader = addShader(material, MATERIAL_COLOR_SHADER, Xcolor);
    const GenerationScope scope(*link);
    ApiNode* first = materials.reuseOrCreate(*link, shader, 5, NT_TEX_RGB);
    ApiNode* second = materials.reuseOrCreate(*link, shader, 6, NT_TEX_FLOAT);
    ApiNode* helper = materials.reuseOrCreate(*link, nullptr, 5, NT_TEX_RGB);
    EXPECT_EQ(materials.reuseOrCreate(*link, shader, 5, NT_TEX_RGB), first);
    EXPECT_EQ(materials.reuseOrCreate(*link, shader, 6, NT_TEX_FLOAT), second);
    EXPECT_EQ(materials.reuseOrCreate(*link, nullptr, 5, NT_TEX_RGB), helper);
    EXPECT_EQ(materials.reuseOrCreate(*link, shader, 0, NT_UNKNOWN), first) << "without a pin the first decides";
    EXPECT_EQ(materials.findLinkByShader(shader), link);
    EXPECT_EQ(materials.findLinkByNode(second), link);

    // Another type under the same key: both users of the new node share it, and the old one is garbage.
    ApiNode* turned = materials.reuseOrCreate(*link, shader, 6, NT_TEX_INVERT);
    EXPECT_NE(turned, second);
    EXPECT_EQ(materials.reuseOrCreate(*link, shader, 6, NT_TEX_INVERT), turned);
    ApiNodeGraph* graph = materials.reuseOrCreateGraph(*link, shader, 7);
    for (int pass = 0; pass < 3; ++pass) {
        link->clearMarks();
        materials.reuseOrCreate(*link, shader, 5, NT_TEX_RGB);
        materials.reuseOrCreate(*link, shader, 6, NT_TEX_INVERT);
        EXPECT_EQ(materials.reuseOrCreateGraph(*link, shader, 7), graph);
        EXPECT_EQ(link->purgeUnused(false), pass == 0);
    }
    EXPECT_EQ(link->graph->findFirstNode(NT_TEX_FLOAT), nullptr);
    EXPECT_EQ(link->nodes().size(), 3u);

    materials.reuseNodes = false;
    EXPECT_NE(materials.reuseOrCreate(*link, shader, 5, NT_TEX_RGB), first);
}

TEST_F(MaterialUpdateTest, ANodeOfTheGraphIsNoPinsOwn) {
    BaseMaterial* material = addMaterial("Sharing");
    check();
    MatLink* link = linkOf(material);
    ApiNode* shared = materials.rgbNode(*link, 42, Vector(0.25));
    connectIfChanged(link->node, P_DIFFUSE, shared);
    MatManager::materialRgbPin(*link, P_DIFFUSE, Vector(0.75));
    EXPECT_FLOAT_EQ(shared->getFloat3(A_VALUE).x, 0.25f);
    EXPECT_FLOAT_EQ(link->node->getPinFloat3(P_DIFFUSE).x, 0.75f);
}

TEST_F(MaterialUpdateTest, UnusedMaterials) {
    BaseMaterial* used = addMaterial("Used");
    BaseMaterial* hidden = addMaterial("On a hidden object");
    BaseMaterial* instanced = addMaterial("Below the base of an instance");
    BaseMaterial* unused = addMaterial("Unused");
    addTexture(addNull("Shown"), used);
    BaseObject* dark = addNull("Dark");
    dark->SetRenderMode(VisibilityMode::Off);
    addTexture(dark, hidden);
    BaseObject* base = addNull("Base");
    base->SetRenderMode(VisibilityMode::Off);
    addTexture(addNull("Part", base), instanced);
    BaseObject* instance = add(BaseObject::Alloc(Oinstance));
    instance->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, base);

    std::vector<BaseMaterial*> found;
    collectUnusedMaterials(*doc, found, false, false);
    EXPECT_EQ(found, std::vector<BaseMaterial*>{unused});
    found.clear();
    collectUnusedMaterials(*doc, found, true, false);
    EXPECT_EQ(found, (std::vector<BaseMaterial*>{hidden, unused}));

    materials.batchMode = materials.skipUnused = true;
    materials.unusedMaterials = found;
    check();
    EXPECT_EQ(materials.linkCount(), 2);
    EXPECT_EQ(linkOf(hidden), nullptr);

    EXPECT_EQ(removeUnusedMaterials(*doc), 1);
    EXPECT_EQ(doc->SearchMaterial("Unused"), nullptr);
    doc->DoUndo();
    EXPECT_EQ(doc->SearchMaterial("Unused"), unused);
}

}  // namespace

}  // namespace lumora::test
