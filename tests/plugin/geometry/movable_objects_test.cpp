// The movable path: what an edit of a document costs in writes to the engine, and that a series of edits ends where a
// fresh send would.
#include "plugin/geometry/movable_objects.h"

#include <functional>
#include <random>

#include "host/runtime/plugin_registry.h"
#include "plugin/core/ids.h"
#include "plugin/materials/uv_transform.h"
#include "tests/plugin/scene_fixture.h"
#include "tests/plugin/support/allocation_count.h"
#include "tests/plugin/support/graph_content.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

using Journal = Lumora::ApiWriteJournal;
constexpr PluginOwner kOwner = 77;

class MovableTest : public SceneTest {
protected:
    void SetUp() override {
        // The class of the object tag, without the rest of the plug-in.
        const PluginScope scope(kOwner);
        ASSERT_TRUE(RegisterTagPlugin(
            ID_LUMORA_OBJECT_TAG, "Object tag", 0, [] { return std::make_unique<TagData>(); }, nullptr, "", 0));
        mainGroup = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), "Main Group");
        setAttrIfChanged(mainGroup, A_GROUP_PIN_COUNT, 8);
        for (std::size_t slot = 1; slot < 4; ++slot) slotGroup(mainGroup, slot);
    }

    void TearDown() override { removeRegistrations(kOwner); }

    static BaseTag* addObjectTag(BaseObject* object, Int32 slot = 1) {
        BaseTag* tag = object->MakeTag(ID_LUMORA_OBJECT_TAG);
        tag->GetDataInstance()->SetInt32(OBJTAG_SLOT, slot);
        return tag;
    }
    PolygonObject* addMovable(const char* name, const Vector& at, Int32 slot = 1) {
        PolygonObject* object = addTriangleAndQuad();
        object->SetName(name);
        object->SetAbsPos(at);
        addObjectTag(object, slot);
        return object;
    }

    static Int32 checkWith(ObjectCheck& state, BaseDocument* document) {
        document->ExecutePasses(true, true, true);
        return state.check(document, CollectOptions{});
    }
    /// A check and its update; counts writes from here.
    MovableUpdateResult pass() {
        const Int32 flags = checkWith(check, doc);
        Journal::reset();
        if (!flags) return {};
        return updateMovableObjects(check, mainGroup, materials, false, options);
    }
    ApiNode* scatter(Int32 slot, unsigned pin) const {
        return mainGroup->connectedNodeIx(static_cast<unsigned>(slot) + 1)->connectedNodeIx(pin);
    }
    ObjectLink& link(std::size_t slot, std::size_t index) { return check.slotLinks[slot].links().at(index); }
    static std::string freshContent(BaseDocument* document, MatManager& materials,
                                    const MovableUpdateOptions& options) {
        ApiNode* group = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), "Fresh");
        setAttrIfChanged(group, A_GROUP_PIN_COUNT, 8);
        ObjectCheck state;
        checkWith(state, document);
        updateMovableObjects(state, group, materials, true, options);
        return graphContent(group);
    }

    ApiNode* mainGroup = nullptr;
    ObjectCheck check;
    MovableUpdateOptions options;
};

TEST_F(MovableTest, FirstPassBuildsEachObjectUnderItsScatterAndASecondWritesNothing) {
    addMovable("A", Vector(100, 0, 0));
    addMovable("B", Vector(0, 200, 0), 3);
    const MovableUpdateResult first = pass();
    EXPECT_EQ(first.meshesBuilt, 2);
    EXPECT_EQ(first.triangleCount, 6);
    ApiNode* a = scatter(1, 0);
    ASSERT_NE(a, nullptr);
    EXPECT_EQ(a->type(), NT_GEO_SCATTER);
    EXPECT_FLOAT_EQ(a->getMatrixArray(A_TRANSFORM)[0].m[0][3], 1.0f);
    ASSERT_NE(a->connectedNode(P_GEOMETRY), nullptr);
    EXPECT_EQ(a->connectedNode(P_GEOMETRY)->type(), NT_GEO_MESH);
    EXPECT_STREQ(a->connectedNode(P_GEOMETRY)->name(), "A");
    EXPECT_EQ(mainGroup->connectedNodeIx(4)->pinCount(), 1u);

    EXPECT_FALSE(pass().sent);
    EXPECT_EQ(Journal::total(), 0u);
    // Asked to go through everything, it finds nothing to write.
    updateMovableObjects(check, mainGroup, materials, true, options);
    EXPECT_EQ(Journal::total(), 0u);
}

TEST_F(MovableTest, CheckOfAnUnchangedDocumentAllocatesNothing) {
    BaseMaterial *base = addMaterial("Base"), *decal = addMaterial("Decal");
    decal->GetDataInstance()->SetBool(MATERIAL_USE_ALPHA, true);
    BaseShader* picture = BaseShader::Alloc(Xcolor);
    decal->InsertShader(picture);
    decal->GetDataInstance()->SetLink(MATERIAL_ALPHA_SHADER, picture);
    generate(base);
    generate(decal);
    for (int i = 0; i < 30; ++i) {
        PolygonObject* object = addMovable("Object", Vector(i, 0, 0), 1 + i % 3);
        addTexture(object, base);
        addTexture(object, i % 2 ? decal : base, "a selection");
        BaseObject* cube = add(BaseObject::Alloc(Ocube), object);
        addObjectTag(cube);
        if (i % 4 == 0) addTexture(cube, decal);
    }
    for (const bool paths : {false, true}) {
        CollectOptions walk;
        walk.instancePaths = paths;
        pass();
        check.check(doc, walk);
        Journal::reset();
        const std::size_t before = allocationCount();
        EXPECT_EQ(check.check(doc, walk), 0);
        EXPECT_EQ(paths ? before : allocationCount(), before) << "paths are made of text";
        updateMovableObjects(check, mainGroup, materials, true, options);
        EXPECT_EQ(Journal::total(), 0u);
    }
}

TEST_F(MovableTest, MovedObjectWritesOneTransformWhateverMovedIt) {
    BaseObject* parent = addNull("Parent");
    PolygonObject* child = addTriangleAndQuad(parent);
    addObjectTag(child);
    BaseObject* cube = BaseObject::Alloc(Ocube);
    add(cube);
    addObjectTag(cube);
    pass();
    for (BaseObject* moved : {static_cast<BaseObject*>(child), parent, cube}) {
        moved->SetAbsPos(moved->GetAbsPos() + Vector(10, 20, 30));
        EXPECT_EQ(pass().transforms, 1);
        EXPECT_EQ(Journal::total(), 1u) << moved->GetName().c_str();
        EXPECT_EQ(Journal::count(Lumora::JOURNAL_ATTRIBUTE, scatter(1, moved == cube ? 1 : 0), A_TRANSFORM), 1u);
    }
}

TEST_F(MovableTest, ChangedPointRewritesVerticesAndNormalsOfOneMeshAndKeepsItsNode) {
    PolygonObject* object = addMovable("A", Vector());
    addMovable("B", Vector(100, 0, 0));
    pass();
    ApiNode* mesh = link(1, 0).meshNode;
    object->GetPointW()[1] = Vector(0, 5, 1);
    object->SetDirty(DIRTYFLAGS_DATA);
    EXPECT_EQ(pass().meshesBuilt, 1);
    EXPECT_EQ(link(1, 0).meshNode, mesh);
    EXPECT_EQ(Journal::total(), 2u) << "the triangle's points and normals";
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_ATTRIBUTE, mesh, A_VERTICES), 1u);
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_ATTRIBUTE, mesh, A_NORMALS), 1u);
}

TEST_F(MovableTest, ChangesThatAMeshDoesNotShowWriteNothing) {
    PolygonObject* object = addMovable("A", Vector());
    pass();
    const std::function<void()> edits[] = {
        [&] { object->SetName("Other"); },
        [&] { object->SetDirty(DIRTYFLAGS_DATA); },
        [&] { object->SetDirty(DIRTYFLAGS_CACHE); },
        [&] { object->SetAbsPos(object->GetAbsPos()); },
        [&] { addNull("Null"); },
        [&] { object->GetFirstTag()->SetName("Tag"); },
    };
    for (std::size_t i = 0; i < std::size(edits); ++i) {
        edits[i]();
        pass();
        EXPECT_EQ(Journal::count(Lumora::JOURNAL_ATTRIBUTE) + Journal::count(Lumora::JOURNAL_PIN), 0u) << "edit " << i;
        EXPECT_EQ(Journal::count(Lumora::JOURNAL_CONNECT), 0u) << "edit " << i;
    }
}

TEST_F(MovableTest, DeletedObjectsNodesWaitForTheUpdate) {
    BaseObject* gone = addMovable("A", Vector());
    addMovable("B", Vector(100, 0, 0));
    pass();
    ApiNode* kept = scatter(1, 1);
    gone->Remove();
    BaseObject::Free(gone);
    Journal::reset();
    EXPECT_EQ(checkWith(check, doc), UPDATE_GEOMETRY);
    ASSERT_EQ(check.slotLinks[1].removed().size(), 1u);
    EXPECT_NE(check.slotLinks[1].removed()[0].meshNode, nullptr);
    EXPECT_EQ(Journal::total(), 0u) << "a check only looks";

    updateMovableObjects(check, mainGroup, materials, false, options);
    EXPECT_TRUE(check.slotLinks[1].removed().empty());
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_DESTROY), 2u) << "scatter and mesh";
    EXPECT_EQ(mainGroup->connectedNodeIx(2)->pinCount(), 1u);
    EXPECT_EQ(scatter(1, 0), kept);
}

TEST_F(MovableTest, HiddenObjectGoesAndComesBack) {
    BaseObject* object = addMovable("A", Vector());
    pass();
    const std::string before = graphContent(mainGroup);
    object->SetRenderMode(VisibilityMode::Off);
    pass();
    EXPECT_EQ(mainGroup->connectedNodeIx(2)->pinCount(), 0u);
    object->SetRenderMode(VisibilityMode::On);
    pass();
    EXPECT_EQ(graphContent(mainGroup), before);
}

TEST_F(MovableTest, ChangedSlotKeepsTheNodes) {
    PolygonObject* object = addMovable("A", Vector());
    BaseTag* tag = object->GetFirstTag();
    pass();
    ApiNode *mesh = link(1, 0).meshNode, *place = link(1, 0).transformNode;
    tag->GetDataInstance()->SetInt32(OBJTAG_SLOT, 2);
    pass();
    EXPECT_EQ(check.slotLinks[1].count(), 0);
    ASSERT_EQ(check.slotLinks[2].count(), 1);
    EXPECT_EQ(link(2, 0).meshNode, mesh);
    EXPECT_EQ(link(2, 0).tableCode, 4);
    EXPECT_EQ(scatter(2, 0), place);
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_CREATE) + Journal::count(Lumora::JOURNAL_DESTROY), 0u);
}

TEST_F(MovableTest, LayerFollowsTheTag) {
    PolygonObject* object = addMovable("A", Vector());
    BaseTag* tag = object->GetFirstTag();
    pass();
    tag->GetDataInstance()->SetFloat(OBJTAG_OPACITY, 0.5);
    pass();
    ApiNode* map = scatter(1, 0)->connectedNode(P_GEOMETRY);
    ASSERT_EQ(map->type(), NT_GEO_LAYER_MAP);
    EXPECT_EQ(map->connectedNode(P_GEOMETRY), link(1, 0).meshNode);
    ApiNode* layer = map->connectedNodeIx(1);
    ASSERT_NE(layer, nullptr);
    EXPECT_FLOAT_EQ(layer->getPinFloat(P_LAYER_OPACITY), 0.5f);

    BaseContainer& d = *tag->GetDataInstance();
    d.SetBool(OBJTAG_CAMERA_VISIBLE, false);
    d.SetInt32(OBJTAG_LAYER_ID, 7);
    d.SetInt32(OBJTAG_BAKING_GROUP, 3);
    d.SetInt32(OBJTAG_LIGHT_PASS_CHOICE, OBJTAG_LIGHT_PASS_CUSTOM);
    d.SetBool(OBJTAG_LIGHT_PASS_FIRST + 9, false);
    d.SetVector(OBJTAG_COLOR, Vector(1, 0.5, 0));
    pass();
    EXPECT_EQ(map->connectedNodeIx(1), layer);
    EXPECT_FALSE(layer->getPinBool(P_CAMERA_VISIBILITY));
    EXPECT_EQ(layer->getPinInt(P_LAYER_ID), 7);
    EXPECT_EQ(layer->getPinInt(P_BAKING_GROUP_ID), 3);
    EXPECT_EQ(layer->getPinInt(P_LIGHT_PASS_MASK), 511);
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_ATTRIBUTE, link(1, 0).meshNode), 0u) << "a layer is no mesh";
    if (ApiNode* colour = layer->connectedNode(P_OBJECT_COLOR))
        expectNear(colour->getFloat3(A_VALUE), {255, 127.5f, 0}, 1e-3f, "colour");
    else
        ADD_FAILURE() << "no colour node";

    object->KillTag(tag->GetType());
    addObjectTag(object);
    pass();
    EXPECT_EQ(scatter(1, 0)->connectedNode(P_GEOMETRY)->type(), NT_GEO_MESH);
    EXPECT_EQ(link(1, 0).layerNode, nullptr);
}

TEST_F(MovableTest, OpacityOfAParentReachesTheLayerOnly) {
    BaseObject* parent = addNull("Parent");
    BaseTag* tag = addObjectTag(parent);
    addTriangleAndQuad(parent);
    tag->GetDataInstance()->SetFloat(OBJTAG_OPACITY, 0.5);
    pass();
    tag->GetDataInstance()->SetFloat(OBJTAG_OPACITY, 0.25);
    pass();
    EXPECT_EQ(Journal::total(), 1u);
    EXPECT_EQ(Journal::count(Lumora::JOURNAL_PIN, nullptr, P_LAYER_OPACITY), 1u);
}

TEST_F(MovableTest, SubdivisionReachesTheMesh) {
    PolygonObject* object = addMovable("A", Vector());
    BaseContainer& d = *object->GetFirstTag()->GetDataInstance();
    d.SetInt32(OBJTAG_SUBD_LEVEL, 2);
    d.SetFloat(OBJTAG_SUBD_SHARPNESS, 1.5);
    d.SetInt32(OBJTAG_SUBD_BOUNDARY, 1);
    pass();
    const ApiNode* mesh = link(1, 0).meshNode;
    EXPECT_EQ(mesh->getInt(A_SUBD_LEVEL), 2);
    EXPECT_FLOAT_EQ(mesh->getFloat(A_SUBD_SHARPNESS), 1.5f);
    EXPECT_EQ(mesh->getInt(A_SUBD_BOUNDARY), 1);
    d.SetInt32(OBJTAG_SUBD_LEVEL, 0);
    pass();
    EXPECT_EQ(mesh->getInt(A_SUBD_LEVEL), 0);
}

TEST_F(MovableTest, FloorIsAPlaneWithItsMaterial) {
    BaseObject* floor = BaseObject::Alloc(Ofloor);
    add(floor);
    addObjectTag(floor);
    BaseMaterial* red = addMaterial("Red", Vector(1, 0, 0));
    addTexture(floor, red);
    const MatLink* made = generate(red);
    pass();
    ApiNode* plane = scatter(1, 0)->connectedNode(P_GEOMETRY);
    ASSERT_NE(plane, nullptr);
    EXPECT_EQ(plane->type(), NT_GEO_PLANE);
    EXPECT_EQ(plane->connectedNodeIx(1), made->meshNode());
    pass();
    EXPECT_EQ(Journal::total(), 0u);
}

TEST_F(MovableTest, ColourTablesAskForAThirdSetOfCoordinates) {
    addMovable("A", Vector())->GetFirstTag()->GetDataInstance()->SetInt32(OBJTAG_COLOR_ID, 5);
    doc->ExecutePasses(true, true, true);
    SceneCollections found;
    CollectOptions walk;
    walk.forCheck = true;
    for (const Int32 colours : {0, 2000, 0}) {
        collectScene(doc, found, walk);
        found.colourTotal = colours;
        const bool first = check.passStamp == 0;
        EXPECT_EQ(check.checkCollected(doc, found) != 0, first || colours != 0);
        updateMovableObjects(check, mainGroup, materials, false, options);
        if (colours == 0) continue;
        const auto uvs = vectors(link(1, 0).meshNode, A_UVWS_3);
        ASSERT_EQ(uvs.size(), 1u);
        EXPECT_NEAR(uvs[0].x, 5.0 / 1024 + 1.0 / 2048, 1e-6);
        EXPECT_NEAR(uvs[0].y, 0.25, 1e-6) << "the first of two rows";
    }
}

TEST_F(MovableTest, RefusedObjectIsTriedAgainOnlyWhenItChanges) {
    PolygonObject* object = addMovable("A", Vector());
    PolygonObject* empty = addMovable("Empty", Vector());
    std::vector<Vector> points = empty->Points();
    std::fill(empty->Points().begin(), empty->Points().end(), Vector());
    pass();
    EXPECT_EQ(mainGroup->connectedNodeIx(2)->pinCount(), 1u);
    object->SetAbsPos(Vector(1, 2, 3));
    pass();
    EXPECT_EQ(Journal::total(), 1u);
    empty->Points() = points;
    empty->SetDirty(DIRTYFLAGS_DATA);
    EXPECT_EQ(pass().meshesBuilt, 1);
    EXPECT_EQ(mainGroup->connectedNodeIx(2)->pinCount(), 2u);
}

TEST_F(MovableTest, BrokenUpdateIsDoneByTheNext) {
    PolygonObject* object = addMovable("A", Vector());
    pass();
    object->SetAbsPos(Vector(10, 0, 0));
    object->GetPointW()[1] = Vector(0, 5, 1);
    object->SetDirty(DIRTYFLAGS_DATA);
    globals().breakUpdate = true;
    EXPECT_TRUE(pass().broken);
    EXPECT_EQ(Journal::total(), 0u);
    globals().breakUpdate = false;
    const MovableUpdateResult next = pass();
    EXPECT_EQ(next.meshesBuilt, 1);
    EXPECT_EQ(next.transforms, 1);
    EXPECT_EQ(graphContent(mainGroup), freshContent(doc, materials, options));
}

TEST_F(MovableTest, VelocityMapsReachTheMeshOnlyWhenAllThreeFit) {
    PolygonObject* object = addMovable("A", Vector());
    BaseTag* tag = object->GetFirstTag();
    tag->GetDataInstance()->SetInt32(OBJTAG_MOTION_TYPE, MOTION_VELOCITY_MAPS);
    PolygonObject* carrier = addTriangleAndQuad();
    VertexTag* map = nullptr;
    for (Int32 axis = 0; axis < 3; ++axis) {
        map = VertexTag::Alloc(Tvertexmap, 7);
        for (std::size_t i = 0; i < 7; ++i) map->Data()[i] = static_cast<Float32>(10 * axis) + static_cast<Float32>(i);
        carrier->InsertTag(map);
        if (axis < 2) tag->GetDataInstance()->SetLink(OBJTAG_VELOCITY_X + axis, map);
    }
    pass();
    EXPECT_EQ(link(1, 0).meshNode->getArraySize(A_VERTEX_VELOCITIES), 0u) << "the third map is missing";
    tag->GetDataInstance()->SetLink(OBJTAG_VELOCITY_Z, map);
    pass();
    const std::vector<Float3> velocities = vectors(link(1, 0).meshNode, A_VERTEX_VELOCITIES);
    ASSERT_EQ(velocities.size(), 7u);
    expectNear(velocities[3], {3, 13, -23}, 0, "velocity");
    tag->GetDataInstance()->SetInt32(OBJTAG_MOTION_TYPE, MOTION_TRANSFORM);
    pass();
    EXPECT_EQ(link(1, 0).meshNode->getArraySize(A_VERTEX_VELOCITIES), 0u) << "a reused node keeps none";
}

TEST_F(MovableTest, StackIsBuiltOnThePinOfItsPolygonsAndGoesWithTheMesh) {
    BaseMaterial *base = addMaterial("Base"), *decal = addMaterial("Decal");
    decal->GetDataInstance()->SetBool(MATERIAL_USE_ALPHA, true);
    BaseShader* picture = BaseShader::Alloc(Xcolor);
    decal->InsertShader(picture);
    decal->GetDataInstance()->SetLink(MATERIAL_ALPHA_SHADER, picture);
    generate(base);
    generate(decal);
    PolygonObject* object = addMovable("A", Vector());
    addTexture(object, base);
    addTexture(object, decal);
    pass();
    ApiNode* mesh = link(1, 0).meshNode;
    EXPECT_EQ(ints(mesh, A_POLY_MATERIAL_INDICES), std::vector<int>(2, 2));
    ApiNode* linker = mesh->connectedNodeIx(mesh->staticPinCount() + 2);
    ASSERT_NE(linker, nullptr);
    ASSERT_EQ(linker->type(), NT_OUT_MATERIAL);
    EXPECT_STREQ(linker->graphOwner()->name(), "Stacked");
    ApiNode* mix = linker->connectedNode(P_INPUT);
    ASSERT_NE(mix, nullptr);
    EXPECT_EQ(mix->type(), NT_MAT_MIX);
    EXPECT_NE(mix->inputNode(P_MATERIAL1), nullptr);
    EXPECT_NE(mix->inputNode(P_MATERIAL2), nullptr);
    EXPECT_TRUE(materials.findLinkByMaterial(decal)->stacked);

    Lumora::ApiItemArray before, after;
    ApiProjectManager::rootNodeGraph().getOwnedItems(before);
    object->GetPointW()[1] = Vector(0, 5, 1);
    object->SetDirty(DIRTYFLAGS_DATA);
    pass();
    ApiProjectManager::rootNodeGraph().getOwnedItems(after);
    EXPECT_EQ(after.size(), before.size()) << "the old stack is gone";

    object->Remove();
    BaseObject* gone = object;
    BaseObject::Free(gone);
    pass();
    ApiProjectManager::rootNodeGraph().getOwnedItems(after);
    EXPECT_EQ(after.size(), before.size() - 3) << "scatter, mesh and stack";
}

/// The first image below a node.
const ApiNode* imageBelow(const ApiNode* node) {
    if (!node || node->type() == NT_TEX_IMAGE || node->type() == NT_TEX_ALPHAIMAGE) return node;
    for (unsigned pin = 0; pin < node->pinCount(); ++pin)
        if (const ApiNode* found = imageBelow(node->connectedNodeIx(pin))) return found;
    return nullptr;
}

TEST_F(MovableTest, LayersOfAStackLieWhereTheirTagsSay) {
    ScratchFolder folder;
    BaseBitmap bitmap;
    ASSERT_EQ(bitmap.Init(2, 2, PixelFormat::Rgb8), ImageResult::Ok);
    ASSERT_EQ(bitmap.Save(folder.path() + "decal.png"), ImageResult::Ok);
    BaseMaterial *base = addMaterial("Base"), *decal = addMaterial("Decal");
    decal->GetDataInstance()->SetBool(MATERIAL_USE_ALPHA, true);
    BaseShader* picture = BaseShader::Alloc(Xbitmap);
    picture->GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, folder.path() + "decal.png");
    decal->InsertShader(picture);
    decal->GetDataInstance()->SetLink(MATERIAL_ALPHA_SHADER, picture);
    generate(base);
    generate(decal);
    PolygonObject* object = addMovable("A", Vector());
    addUvs(object);
    struct Tiling {
        Float u0, v0, tu, tv;
        void put(TextureTag* tag) const {
            BaseContainer& d = *tag->GetDataInstance();
            d.SetFloat(TEXTURETAG_OFFSETX, u0);
            d.SetFloat(TEXTURETAG_OFFSETY, v0);
            d.SetFloat(TEXTURETAG_TILESX, tu);
            d.SetFloat(TEXTURETAG_TILESY, tv);
        }
        /// Of a point with these host coordinates, v upwards.
        Float2 at(Float u, Float v) const {
            return {static_cast<float>((u - u0) * tu), static_cast<float>(1 - (v - v0) * tv)};
        }
    };
    const Tiling under{0.1, 0.2, 2, 3}, over{0.25, -0.5, 5, 0.5};
    under.put(addTexture(object, base));
    TextureTag* tag = addTexture(object, decal);
    over.put(tag);
    tag->GetDataInstance()->SetBool(TEXTURETAG_TILE, false);
    pass();
    const auto layerImage = [&] {
        const ApiNode* mesh = link(1, 0).meshNode;
        const ApiNode* mix = mesh->connectedNodeIx(mesh->staticPinCount() + 2)->connectedNode(P_INPUT);
        return imageBelow(mix->connectedNode(P_AMOUNT));
    };
    const ApiNode* image = layerImage();
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->getPinInt(P_BORDER_MODE), 1) << "nothing beside the tile";
    const ApiNode* transform = image->connectedNode(P_TRANSFORM);
    ASSERT_NE(transform, nullptr);
    PictureTransform placed;
    placed.scale = transform->getFloat3(A_SCALE);
    placed.translation = transform->getFloat3(A_TRANSLATION);
    for (const Float u : {0.0, 0.3, 1.0}) {
        for (const Float v : {0.0, 0.7, 1.0}) {
            const Float2 got = lookUp(placed, under.at(u, v)), wanted = over.at(u, v);
            EXPECT_NEAR(got.x, wanted.x, 1e-5f) << u << " " << v;
            EXPECT_NEAR(got.y, wanted.y, 1e-5f) << u << " " << v;
        }
    }
    tag->GetDataInstance()->SetInt32(TEXTURETAG_PROJECTION, P_FLAT);
    pass();
    image = layerImage();
    ASSERT_NE(image, nullptr);
    ASSERT_NE(image->connectedNode(P_PROJECTION), nullptr);
    EXPECT_EQ(image->connectedNode(P_PROJECTION)->type(), NT_PROJ_FLAT);
}

TEST_F(MovableTest, SeriesOfEditsEndsWhereAFreshSendDoes) {
    BaseMaterial* colours[] = {addMaterial("Red", Vector(1, 0, 0)), addMaterial("Blue", Vector(0, 0, 1))};
    for (BaseMaterial* material : colours) generate(material);
    std::vector<BaseObject*> objects;
    const auto addOne = [&](std::mt19937& random) {
        BaseObject* object = nullptr;
        if (random() % 3 == 0)
            add(object = BaseObject::Alloc(Ocube));
        else
            object = addTriangleAndQuad(objects.empty() || random() % 2 ? nullptr : objects[random() % objects.size()]);
        addObjectTag(object, static_cast<Int32>(random() % 4));
        objects.push_back(object);
    };
    const auto forget = [&](const BaseObject* branch) {
        std::erase_if(objects, [&](const BaseObject* o) {
            for (; o; o = o->GetUp())
                if (o == branch) return true;
            return false;
        });
    };
    for (unsigned seed = 1; seed <= 8; ++seed) {
        std::mt19937 random(seed);
        for (int i = 0; i < 6; ++i) addOne(random);
        for (int step = 0; step < 40; ++step) {
            if (objects.empty()) addOne(random);
            BaseObject* object = objects[random() % objects.size()];
            switch (random() % 9) {
                case 0:
                    addOne(random);
                    break;
                case 1:
                    forget(object);
                    object->Remove();
                    BaseObject::Free(object);
                    break;
                case 2:
                    object->SetAbsPos(Vector(random() % 100, random() % 100, 0));
                    break;
                case 3:
                    object->SetRenderMode(random() % 2 ? VisibilityMode::Off : VisibilityMode::On);
                    break;
                case 4:
                    if (BaseTag* tag = object->GetTag(ID_LUMORA_OBJECT_TAG)) {
                        tag->GetDataInstance()->SetInt32(OBJTAG_SLOT, static_cast<Int32>(random() % 4));
                        tag->GetDataInstance()->SetFloat(OBJTAG_OPACITY, random() % 2 ? 1.0 : 0.5);
                    }
                    break;
                case 5:
                    if (PolygonObject* polygons = ToPoly(object)) {
                        polygons->GetPointW()[random() % 7] += Vector(0, 0, 1);
                        polygons->SetDirty(DIRTYFLAGS_DATA);
                    } else {
                        object->SetParameter(PRIM_CUBE_LEN, GeData(Vector(Float(50 + random() % 50))));
                    }
                    break;
                case 6:
                    if (!object->GetTag(Ttexture)) addTexture(object, colours[random() % 2]);
                    break;
                case 7:
                    object->KillTag(Ttexture);
                    break;
                default:
                    if (auto* texture = static_cast<TextureTag*>(object->GetTag(Ttexture)))
                        texture->SetMaterial(colours[random() % 2]);
                    break;
            }
            if (random() % 2) pass();
        }
        pass();
        ASSERT_EQ(graphContent(mainGroup), freshContent(doc, materials, options)) << "seed " << seed;
    }
}

}  // namespace
}  // namespace lumora::test
