// What an edit costs the instances in writes to the engine, and that a series of edits ends where a fresh build would.
#include <functional>
#include <limits>
#include <random>

#include "plugin/geometry/engine_matrix.h"
#include "tests/plugin/geometry/instance_fixture.h"
#include "tests/plugin/support/graph_content.h"

namespace lumora::test {
namespace {

class InstanceUpdateTest : public InstanceTest {
protected:
    static void movePoint(PolygonObject* object, const Vector& to) {
        object->GetPointW()[1] = to;
        object->SetDirty(DIRTYFLAGS_DATA);
    }
    static std::size_t attributeWrites(const ApiNode* node, AttributeId id) {
        return Journal::count(Lumora::JOURNAL_ATTRIBUTE, node, id);
    }
};

TEST_F(InstanceUpdateTest, MovingOneOfManyIsOneArrayWrite) {
    PolygonObject* base = addTriangleAndQuad();
    std::vector<BaseObject*> all;
    for (int i = 0; i < 1000; ++i) all.push_back(addInstance(base, {static_cast<Float>(i), 0, 0}));
    EXPECT_EQ(pass(), UPDATE_INSTANCES | UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(pass(), 0) << "nothing changed";
    all[500]->SetMl(MatrixMove({0, 7, 0}));
    EXPECT_EQ(pass(), UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(Journal::total(), 1u);
    EXPECT_EQ(attributeWrites(scatterOf(0), A_TRANSFORM), 1u);
    EXPECT_EQ(matrices(scatterOf(0))[500].m[1][3], 3.5f);
    // One that goes takes its matrix and the last number along.
    all[0]->Remove();
    BaseObject::Free(all[0]);
    EXPECT_EQ(pass(), UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(Journal::total(), 2u);
    EXPECT_EQ(matrices(scatterOf(0)).size(), 999u);
    EXPECT_EQ(ints(scatterOf(0), A_INSTANCE_IDS).back(), 999);
}

TEST_F(InstanceUpdateTest, AnEditOfTheBaseIsSeenByAllAndCostsItsMesh) {
    BaseObject* base = addNull("Base");
    PolygonObject* shape = addTriangleAndQuad(base);
    addTriangleAndQuad(base);
    for (int i = 0; i < 3; ++i) addInstance(base, {static_cast<Float>(i), 0, 0});
    pass();
    ApiNode* mesh = meshOf(0, 0);
    movePoint(shape, {0, 5, 1});
    EXPECT_EQ(pass(), UPDATE_INSTANCES);
    EXPECT_EQ(manager.meshesBuilt(), 1);
    EXPECT_EQ(meshOf(0, 0), mesh);
    EXPECT_EQ(Journal::total(), 2u) << "points and normals of the triangle";
    expectNear(vectors(mesh, A_VERTICES)[1], {0, 2.5f, -0.5f}, 1e-6f, "the moved point");

    struct Edit {
        const char* what;
        std::function<void()> make;
        Int32 flags;
        std::size_t writes;
    };
    const Edit edits[] = {
        {"move of the base itself",
         [&] {
             base->SetMl(MatrixMove({100, 0, 0}));
         },
         0, 0},
        {"move of a child",
         [&] {
             shape->SetMl(MatrixMove({0, 1, 0}));
         },
         UPDATE_INSTANCES, 1},
        {"nothing", [] {}, 0, 0},
        {"name", [&] { shape->SetName("Another"); }, 0, 0},
    };
    for (const Edit& edit : edits) {
        edit.make();
        EXPECT_EQ(pass(), edit.flags) << edit.what;
        EXPECT_EQ(Journal::total(), edit.writes) << edit.what;
    }
    EXPECT_EQ(matrices(child(scatterOf(0), 0)), std::vector{toEngineMatrix(MatrixMove({0, 1, 0}), 0.5f)});
}

TEST_F(InstanceUpdateTest, WhatAGeneratorMakesKeepsItsNode) {
    BaseObject* cube = BaseObject::Alloc(Ocube);
    add(cube);
    addInstance(cube);
    pass();
    ApiNode* mesh = meshOf(0);
    cube->GetDataInstance()->SetVector(PRIM_CUBE_LEN, Vector(400.0));
    cube->SetDirty(DIRTYFLAGS_DATA);
    EXPECT_EQ(pass(), UPDATE_INSTANCES);
    EXPECT_EQ(meshOf(0), mesh);
    EXPECT_EQ(attributeWrites(mesh, A_VERTICES), 1u);
    EXPECT_EQ(vectors(mesh, A_VERTICES)[0].x, vectors(mesh, A_VERTICES)[0].x > 0 ? 100.0f : -100.0f);
}

TEST_F(InstanceUpdateTest, ChildrenAndBasesComeAndGoAndLeaveTheOthersAlone) {
    BaseObject* base = addNull("Base");
    addTriangleAndQuad(base);
    BaseObject* instance = addInstance(base);
    pass();
    const std::size_t first = items();
    ApiNode* mesh = meshOf(0, 0);
    PolygonObject* second = addTriangleAndQuad();
    second->Remove();
    doc->InsertObject(second, base);  // in front of the first
    EXPECT_EQ(pass(), UPDATE_INSTANCES);
    EXPECT_EQ(manager.meshesBuilt(), 1);
    EXPECT_EQ(meshOf(0, 1), mesh) << "found again behind the new one";
    second->SetRenderMode(VisibilityMode::Off);
    EXPECT_EQ(pass(), UPDATE_INSTANCES);
    EXPECT_EQ(childCount(scatterOf(0)), 1);
    EXPECT_EQ(meshOf(0, 0), mesh);
    EXPECT_EQ(items(), first) << "the hidden child's nodes are gone";

    // A new base in front of the first.
    PolygonObject* other = addTriangleAndQuad();
    BaseObject* early = addInstance(other);
    early->Remove();
    doc->InsertObject(early);
    EXPECT_EQ(pass(), UPDATE_INSTANCES | UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(manager.meshesBuilt(), 1);
    EXPECT_EQ(meshOf(1, 0), mesh);
    // The instance goes, and its base with it.
    instance->Remove();
    BaseObject::Free(instance);
    EXPECT_NE(pass(), 0);
    EXPECT_EQ(mainGroup->connectedNodeIx(kPin)->pinCount(), 1u);
    EXPECT_EQ(manager.meshesBuilt(), 0);
    EXPECT_EQ(items(), first);
    // No instance is left.
    early->Remove();
    BaseObject::Free(early);
    EXPECT_NE(pass(), 0);
    EXPECT_EQ(items(), first - 4) << "scatter, group, placement and mesh";
}

TEST_F(InstanceUpdateTest, BasesShareTheMeshesOfWhatTheyBothShow) {
    PolygonObject* leaf = addTriangleAndQuad();
    std::vector<BaseObject*> instances;
    for (int row = 0; row < 5; ++row) {
        BaseObject* parent = addNull("Row");
        addInstance(leaf, {1, 0, 0}, parent);
        addInstance(leaf, {2, 0, 0}, parent);
        instances.push_back(addInstance(parent, {0, static_cast<Float>(row), 0}));
    }
    for (const bool reuse : {true, false}) {
        options.reuseMeshes = reuse;
        manager.resetForSend();
        build(instances);
        EXPECT_EQ(manager.meshesBuilt(), reuse ? 1 : 5);
        std::set<ApiNode*> meshes;
        for (unsigned b = 0; b < 5; ++b) meshes.insert(meshOf(b));
        EXPECT_EQ(meshes.size(), reuse ? 1u : 5u);
    }
    options.reuseMeshes = true;
    manager.resetForSend();
    build(instances);
    movePoint(leaf, {0, 5, 1});
    Journal::reset();
    build(instances);
    EXPECT_EQ(manager.meshesBuilt(), 1) << "once for all bases";
    EXPECT_EQ(writes(), 2u) << "points and normals";
    // The mesh outlives the base that brought it.
    ApiNode* mesh = meshOf(0);
    build({instances[3], instances[4]});
    EXPECT_EQ(meshOf(0), mesh);
    EXPECT_EQ(meshOf(1), mesh);
    EXPECT_STREQ(mesh->name(), "Shapes");
}

TEST_F(InstanceUpdateTest, WhatAMeshInheritsTellsMeshesApart) {
    PolygonObject* leaf = addTriangleAndQuad();
    BaseMaterial* red = addMaterial("red", {1, 0, 0});
    generate(red);
    BaseObject* row = addNull("Row");
    BaseObject* inner = addInstance(leaf, {}, row);
    addTexture(row, red);
    addInstance(leaf);
    addInstance(row);
    pass();
    EXPECT_NE(meshOf(0), meshOf(1)) << "the row's material reaches the row's mesh only";
    // Without the row's tag both are the same again, and the spare mesh goes.
    const std::size_t before = items();
    row->KillTag(Ttexture);
    EXPECT_NE(pass(), 0);
    EXPECT_EQ(meshOf(0), meshOf(1));
    EXPECT_EQ(items(), before - 1);
    EXPECT_NE(inner, nullptr);
}

TEST_F(InstanceUpdateTest, LayersOfTheBaseFollowIt) {
    PolygonObject* base = addTriangleAndQuad();
    BaseTag* display = base->MakeTag(Tdisplay);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.5);
    addInstance(base);
    pass();
    ApiNode* map = meshOf(0);
    ASSERT_EQ(map->type(), NT_GEO_LAYER_MAP);
    EXPECT_EQ(map->connectedNodeIx(1)->getPinFloat(P_LAYER_OPACITY), 0.5f);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.25);
    EXPECT_EQ(pass(), UPDATE_INSTANCES);
    EXPECT_EQ(Journal::total(), 1u) << "the opacity";
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 1.0);
    pass();
    EXPECT_EQ(meshOf(0)->type(), NT_GEO_MESH);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.0);
    pass();
    EXPECT_EQ(childCount(scatterOf(0)), 0);
}

TEST_F(InstanceUpdateTest, WhatHasNoPlaceIsLeftOut) {
    PolygonObject* base = addTriangleAndQuad();
    BaseObject* broken = addInstance(base);
    addInstance(base, {1, 0, 0});
    BaseObject* flat = addInstance(base);
    broken->SetMl(MatrixScale(Vector(std::numeric_limits<Float>::quiet_NaN())));
    flat->SetMl(MatrixScale(Vector(0.0)));
    pass();
    EXPECT_EQ(matrices(scatterOf(0)).size(), 2u) << "without the one that is no number";
    EXPECT_EQ(ints(scatterOf(0), A_INSTANCE_IDS), (std::vector{1, 2}));
    EXPECT_EQ(pass(), 0);
    broken->SetMl(Matrix());
    EXPECT_EQ(pass(), UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(matrices(scatterOf(0)).size(), 3u);
}

TEST_F(InstanceUpdateTest, NodesThatSomeoneElseDestroyedAreMadeAgain) {
    PolygonObject* base = addTriangleAndQuad();
    BaseObject* instance = addInstance(base);
    pass();
    const std::string whole = graphContent(mainGroup->connectedNodeIx(kPin));
    const std::function<ApiNode*()> victims[] = {[&] { return meshOf(0); }, [&] { return child(scatterOf(0), 0); },
                                                 [&] { return scatterOf(0)->connectedNode(P_GEOMETRY); },
                                                 [&] { return scatterOf(0); },
                                                 [&] { return mainGroup->connectedNodeIx(kPin); }};
    Float step = 0;
    for (const auto& victim : victims) {
        ApiNode* node = victim();
        destroyItem(node);
        // An edit anywhere below brings them back.
        movePoint(base, {0, ++step, 0});
        instance->SetMl(MatrixMove({step, 0, 0}));
        EXPECT_NE(pass(), 0);
        movePoint(base, {0, 1, 0});
        instance->SetMl(Matrix());
        pass();
        if (step > 1) {
            EXPECT_EQ(graphContent(mainGroup->connectedNodeIx(kPin)), whole) << step;
        }
    }
}

/// Moves everything by 10 units along x in the second of two samples; one instance has none.
class TwoSamples : public InstanceMotion {
public:
    TwoSamples() : times_(seconds_, 2, 0.0f, Lumora::ApiTimeSampling::endTimeAuto(), Lumora::ANIMATION_ONCE) {}
    const Lumora::ApiTimeSampling* times() const override { return &times_; }
    std::size_t timeCount() const override { return 2; }
    bool appendInstance(const SceneObjectInfo& record, float scale, std::vector<EngineMatrix>& out) override {
        if (record.object == without) return false;
        for (const Float x : {0.0, 10.0})
            out.push_back(toEngineMatrix(MatrixMove({x, 0, 0}) * record.globalMatrix, scale));
        return true;
    }
    bool writePlacement(const InstanceBase&, const SceneObjectInfo&, ApiNode*, float) override { return false; }
    bool fill(const SceneObjectInfo&, std::size_t, std::size_t, float, Float3*) override { return false; }
    const BaseObject* without = nullptr;

private:
    float seconds_[2] = {0.0f, 0.04f};
    Lumora::ApiTimeSampling times_;
};

TEST_F(InstanceUpdateTest, MotionGivesEachInstanceItsSamples) {
    PolygonObject* base = addTriangleAndQuad();
    addInstance(base, {1, 0, 0});
    TwoSamples motion;
    motion.without = addInstance(base, {2, 0, 0});
    addInstance(base, {3, 0, 0});
    options.motion = &motion;
    EXPECT_NE(pass(), 0);
    EXPECT_EQ(scatterOf(0)->getSampleCount(A_TRANSFORM), 2u);
    ASSERT_EQ(matrices(scatterOf(0)).size(), 4u);
    EXPECT_EQ(matrices(scatterOf(0))[3].m[0][3], 6.5f);
    EXPECT_EQ(ints(scatterOf(0), A_INSTANCE_IDS), (std::vector{1, 2}));
    options.motion = nullptr;
    pass();
    EXPECT_EQ(scatterOf(0)->getSampleCount(A_TRANSFORM), 1u);
    EXPECT_EQ(matrices(scatterOf(0)).size(), 3u);
}

TEST_F(InstanceUpdateTest, SeriesOfEditsEndsWhereAFreshBuildDoes) {
    std::mt19937 random(11);
    const auto pick = [&](std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(random); };
    const auto place = [&] { return MatrixMove({static_cast<Float>(pick(50)), static_cast<Float>(pick(50)), 0}); };
    std::vector<BaseObject*> bases, instances;
    std::vector<PolygonObject*> shapes;
    for (int b = 0; b < 4; ++b) {
        bases.push_back(addNull("Base"));
        for (int i = 0; i < 3; ++i) shapes.push_back(addTriangleAndQuad(bases.back()));
    }
    addInstance(bases[1], {3, 0, 0}, bases[0]);
    addInstance(bases[1], {4, 0, 0}, bases[2]);
    const std::function<void()> edits[] = {
        [&] { instances.push_back(addInstance(bases[pick(4)], {})); },
        [&] {
            if (instances.empty()) return;
            const std::size_t i = pick(instances.size());
            instances[i]->Remove();
            BaseObject::Free(instances[i]);
            instances.erase(instances.begin() + static_cast<std::ptrdiff_t>(i));
        },
        [&] {
            if (!instances.empty()) instances[pick(instances.size())]->SetMl(place());
        },
        [&] {
            if (!instances.empty())
                instances[pick(instances.size())]->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, bases[pick(4)]);
        },
        [&] { shapes[pick(shapes.size())]->SetMl(place()); },
        [&] {
            movePoint(shapes[pick(shapes.size())], {0, 1.0 + static_cast<Float>(pick(9)), 0});
        },
        [&] {
            BaseObject* shape = shapes[pick(shapes.size())];
            const bool hidden = shape->GetRenderMode() == VisibilityMode::Off;
            shape->SetRenderMode(hidden ? VisibilityMode::Undefined : VisibilityMode::Off);
        },
        [&] {
            BaseObject* shape = shapes[pick(shapes.size())];
            if (BaseTag* tag = shape->GetTag(Tdisplay)) {
                tag->Remove();
                BaseTag::Free(tag);
            } else {
                shape->MakeTag(Tdisplay)->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.5);
            }
        },
        [&] {  // to another base
            PolygonObject* shape = shapes[pick(shapes.size())];
            shape->Remove();
            doc->AppendObject(shape, bases[pick(4)]);
        },
    };
    for (int round = 0; round < 120; ++round) {
        for (std::size_t n = pick(3) + 1; n > 0; --n) edits[pick(std::size(edits))]();
        pass();
        if (round % 8 != 7) continue;
        ApiNode* group = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), "Fresh");
        setAttrIfChanged(group, A_GROUP_PIN_COUNT, 8);
        InstanceManager fresh(materials);
        fresh.buildInstances(doc, group, kPin, collections.instances, options, false);
        ASSERT_EQ(graphContent(mainGroup->connectedNodeIx(kPin)), graphContent(group->connectedNodeIx(kPin))) << round;
        EXPECT_EQ(fresh.triangles(), manager.triangles());
        deleteGeometry(group);
        Journal::reset();
        EXPECT_EQ(pass(), 0);
        EXPECT_EQ(Journal::total(), 0u);
    }
}

}  // namespace
}  // namespace lumora::test
