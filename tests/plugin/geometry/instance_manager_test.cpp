#include "plugin/geometry/instance_manager.h"

#include "plugin/geometry/engine_matrix.h"
#include "tests/plugin/geometry/instance_fixture.h"

namespace lumora::test {

namespace {

TEST_F(InstanceTest, OneBaseIsOneMeshAndOneMatrixForEachInstance) {
    PolygonObject* base = addTriangleAndQuad();
    base->SetMg(MatrixMove({100, 100, 100}));
    build({addInstance(base, {1, 2, 3}), addInstance(nullptr), addInstance(base, {4, 5, 6})});

    ApiNode* scatter = scatterOf(0);
    ASSERT_TRUE(scatter);
    EXPECT_EQ(matrices(scatter),
              (std::vector{toEngineMatrix(MatrixMove({1, 2, 3}), 0.5f), toEngineMatrix(MatrixMove({4, 5, 6}), 0.5f)}));
    EXPECT_EQ(ints(scatter, A_INSTANCE_IDS), (std::vector{1, 2}));
    EXPECT_EQ(scatter->connectedNode(P_GEOMETRY)->getInt(A_GROUP_PIN_COUNT), 1);
    ApiNode* sct = child(scatter, 0);
    EXPECT_EQ(matrices(sct), std::vector{EngineMatrix()}) << "where the base itself stands does not count";
    ApiNode* mesh = sct->connectedNode(P_GEOMETRY);
    EXPECT_STREQ(mesh->name(), "Shapes");
    expectNear(vectors(mesh, A_VERTICES)[5], {1.5f, 0.5f, 0}, 1e-6f, "mesh in object space");
    EXPECT_EQ(manager.triangles(), 3);
}

TEST_F(InstanceTest, ChildrenKeepTheirPlaceBelowTheBase) {
    BaseObject* base = addNull("Base");
    base->SetMl(MatrixMove({50, 0, 0}));
    BaseObject* arm = addNull("Arm", base);
    arm->SetMl(MatrixScale(Vector(2)));
    PolygonObject* hand = addTriangleAndQuad(arm);
    hand->SetMl(MatrixMove({0, 1, 0}));
    PolygonObject* hidden = addTriangleAndQuad(base);
    hidden->SetRenderMode(VisibilityMode::Off);
    build({addInstance(base)});
    EXPECT_EQ(scatterOf(0)->connectedNode(P_GEOMETRY)->getInt(A_GROUP_PIN_COUNT), 1) << "the hidden one drops out";
    EXPECT_EQ(matrices(child(scatterOf(0), 0)), std::vector{toEngineMatrix(arm->GetMl() * hand->GetMl(), 0.5f)});
}

TEST_F(InstanceTest, AHiddenBaseShowsInItsInstances) {
    PolygonObject* base = addTriangleAndQuad();
    base->SetRenderMode(VisibilityMode::Off);
    build({addInstance(base)});
    EXPECT_EQ(scatterOf(0)->connectedNode(P_GEOMETRY)->getInt(A_GROUP_PIN_COUNT), 1);
}

TEST_F(InstanceTest, InstancesOfInstancesMultiply) {
    PolygonObject* leaf = addTriangleAndQuad();
    BaseObject* row = addNull("Row");
    addInstance(leaf, {1, 0, 0}, row);
    addInstance(leaf, {2, 0, 0}, row);
    build({addInstance(row, {0, 10, 0}), addInstance(row, {0, 20, 0})});
    EXPECT_EQ(matrices(scatterOf(0)).size(), 2u);
    ASSERT_EQ(scatterOf(0)->connectedNode(P_GEOMETRY)->getInt(A_GROUP_PIN_COUNT), 1) << "one mesh";
    EXPECT_EQ(matrices(child(scatterOf(0), 0)),
              (std::vector{toEngineMatrix(MatrixMove({1, 0, 0}), 0.5f), toEngineMatrix(MatrixMove({2, 0, 0}), 0.5f)}));
}

TEST_F(InstanceTest, ACircleOfInstancesEnds) {
    BaseObject* a = addNull("A");
    BaseObject* b = addNull("B");
    addTriangleAndQuad(a);
    addInstance(b, {0, 1, 0}, a);
    addInstance(a, {0, 1, 0}, b);
    BaseObject* itself = addInstance(nullptr);
    itself->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, itself);
    build({addInstance(a), itself});
    EXPECT_EQ(matrices(child(scatterOf(0), 0)).size(), 1u);
}

TEST_F(InstanceTest, ExponentialNestingIsCutOff) {
    BaseObject* inner = addTriangleAndQuad();
    for (int level = 0; level < 40; ++level) {
        BaseObject* outer = addNull("Level");
        addInstance(inner, {1, 0, 0}, outer);
        addInstance(inner, {2, 0, 0}, outer);
        inner = outer;
    }
    build({addInstance(inner)});
    EXPECT_LE(matrices(child(scatterOf(0), 0)).size(), 1'000'000u);
}

TEST_F(InstanceTest, AHundredThousandAreOneArrayWrite) {
    PolygonObject* base = addTriangleAndQuad();
    BaseObject* one = addInstance(base);
    std::vector<SceneObjectInfo> records(100'000, record(one));
    for (std::size_t i = 0; i < records.size(); ++i)
        records[i].globalMatrix = MatrixMove({static_cast<Float>(i), 0, 0});
    Lumora::ApiWriteJournal::reset();
    options.scale = 1.0f;
    manager.buildInstances(doc, mainGroup, 5, records, options, false);
    EXPECT_LT(writes(), 60u);
    EXPECT_EQ(manager.instanceCount(), 100'000);
    EXPECT_EQ(matrices(scatterOf(0))[99'999].m[0][3], 99'999.0f);
}

TEST_F(InstanceTest, BuildingAgainLeavesNothingBehind) {
    PolygonObject* base = addTriangleAndQuad();
    BaseObject* instance = addInstance(base);
    materials.defaultMaterial();  // which stays
    const std::size_t empty = items();
    build({instance});
    const std::size_t first = items();
    Lumora::ApiWriteJournal::reset();
    build({instance});
    EXPECT_EQ(items(), first);
    EXPECT_EQ(writes(), 0u);
    // A base that is gone leaves an empty group.
    base->Remove();
    BaseObject* gone = base;
    BaseObject::Free(gone);
    build({instance});
    EXPECT_EQ(mainGroup->connectedNodeIx(5)->getInt(A_GROUP_PIN_COUNT), 0);
    EXPECT_EQ(items(), empty + 1);
}

}  // namespace

}  // namespace lumora::test
