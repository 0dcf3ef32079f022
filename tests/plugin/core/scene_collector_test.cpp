// The walk: what goes where, and what stays out.
#include "plugin/core/scene_collector.h"

#include "plugin/core/ids.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class CollectorTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        document = BaseDocument::Alloc();
    }
    void TearDown() override {
        BaseDocument::Free(document);
        PluginTest::TearDown();
    }

    BaseObject* append(Int32 type, BaseObject* parent = nullptr) {
        BaseObject* object = BaseObject::Alloc(type);
        document->AppendObject(object, parent);
        return object;
    }
    const SceneCollections& collect(bool paths = false) {
        document->ExecutePasses(true, true, true);
        CollectOptions options;
        options.instancePaths = paths;
        collectScene(document, collections, options);
        return collections;
    }

    BaseDocument* document = nullptr;
    SceneCollections collections;
};

TEST_F(CollectorTest, HiddenLayerAddsNothingButIsWalked) {
    LayerObject* layer = LayerObject::Alloc();
    document->InsertLayer(layer);
    layer->SetParameter(ID_LAYER_RENDER, GeData(false));
    BaseObject* hidden = append(Ocube);
    hidden->SetLayerObject(layer);
    BaseObject* child = append(Ocube, hidden);
    child->SetRenderMode(VisibilityMode::On);
    append(Ocube);
    const auto& found = collect().meshSlots[0];
    ASSERT_EQ(found.size(), 2u) << "the child that is switched on and the other cube";
    EXPECT_EQ(found[0].generator, child);
}

TEST_F(CollectorTest, AFloorIsNeverPartOfTheStaticMesh) {
    BaseObject* floor = append(Ofloor);
    append(Ocube, floor);
    const auto& found = collect().meshSlots;
    ASSERT_EQ(found[1].size(), 1u);
    EXPECT_EQ(found[1][0].object, floor);
    EXPECT_EQ(found[0].size(), 1u) << "what hangs below it stays where it was";
}

TEST_F(CollectorTest, CacheOfAHiddenGeneratorStaysOut) {
    append(Ocube)->SetRenderMode(VisibilityMode::Off);
    EXPECT_TRUE(collect().meshSlots[0].empty());
}

TEST_F(CollectorTest, PlacementsAddUpThroughParentsAndCaches) {
    BaseObject* parent = append(Onull);
    parent->SetAbsPos(Vector(10, 0, 0));
    BaseObject* cube = append(Ocube, parent);
    cube->SetAbsPos(Vector(0, 5, 0));
    const auto& found = collect(true).meshSlots[0];
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].globalMatrix.off, Vector(10, 5, 0));
    EXPECT_EQ(found[0].parentObject, cube);
    EXPECT_STREQ(found[0].instancePath.c_str(), "0.0.0.");
    EXPECT_EQ(found[0].guid, found[0].object->GetGUID() + cube->GetGUID());
}

TEST_F(CollectorTest, LightsGoByTypeTagAndSwitch) {
    const struct {
        Int32 type;
        bool tagged, enabled;
        std::size_t lights, suns;
    } rows[] = {
        {LIGHT_TYPE_AREA, false, true, 1, 0},    {LIGHT_TYPE_AREA, false, false, 0, 0},
        {LIGHT_TYPE_OMNI, false, true, 0, 0},    {LIGHT_TYPE_OMNI, true, true, 1, 0},
        {LIGHT_TYPE_DISTANT, false, true, 0, 1}, {LIGHT_TYPE_DISTANT, true, true, 1, 0},
        {LIGHT_TYPE_SPOT, true, true, 0, 0},
    };
    BaseObject* light = append(Olight);
    for (const auto& row : rows) {
        light->SetParameter(LIGHT_TYPE, GeData(row.type));
        light->SetParameter(ID_BASEOBJECT_GENERATOR_FLAG, GeData(row.enabled));
        if (row.tagged) light->MakeTag(ID_LUMORA_LIGHT_TAG);
        const SceneCollections& found = collect();
        EXPECT_EQ(found.lights.size(), row.lights) << row.type << row.tagged << row.enabled;
        EXPECT_EQ(found.sunLights.size(), row.suns) << row.type << row.tagged << row.enabled;
        light->KillTag(ID_LUMORA_LIGHT_TAG);
    }
}

TEST_F(CollectorTest, SourcesOfInstancesAreListedWhenTheyAreWanted) {
    BaseObject* scatter = append(ID_LUMORA_SCATTER_OBJECT);
    BaseObject* emitter = append(Oparticle);
    EXPECT_EQ(collect().particleSources.size(), 1u) << "an emitter only when its tag asks for it";
    emitter->MakeTag(ID_LUMORA_OBJECT_TAG)->SetParameter(OBJTAG_PARTICLE_MODE, GeData(1));
    const auto& found = collect().particleSources;
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].object, scatter);
    EXPECT_FALSE(found[1].singleTransform);
    scatter->SetParameter(ID_BASEOBJECT_GENERATOR_FLAG, GeData(false));
    emitter->SetRenderMode(VisibilityMode::Off);
    EXPECT_TRUE(collect().particleSources.empty());
}

TEST_F(CollectorTest, DeepHierarchyIsWalkedToItsEnd) {
    BaseObject* parent = nullptr;
    for (int depth = 0; depth < 500; ++depth) parent = append(Onull, parent);
    append(Ocube, parent);
    EXPECT_EQ(collect().meshSlots[0].size(), 1u);
}

}  // namespace
}  // namespace lumora::test
