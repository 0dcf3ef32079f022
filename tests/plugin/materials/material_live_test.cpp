// Materials of a document that renders live.
#include "engine/api/write_journal.h"
#include "plugin/core/singletons.h"
#include "plugin/core/update_pass.h"
#include "plugin/materials/material_identity.h"
#include "plugin/materials/material_manager.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {

namespace {

using Lumora::ApiWriteJournal;

class MaterialLiveTest : public PluginTest {
protected:
    /// True when the pass had something to do; the engine has taken it then.
    bool check() {
        ApiWriteJournal::reset();
        EXPECT_TRUE(waitFor([&] { return live().state() != LiveState::Exporting; }));
        return updatePass(live(), CHECK_MATERIALS, false, true);
    }
    void TearDown() override {
        ApiWriteJournal::enable(false);
        PluginTest::TearDown();
    }
};

TEST_F(MaterialLiveTest, ASentDocumentIsUpToDateAndAnEditIsOneWrite) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    ApiWriteJournal::enable(true);
    EXPECT_FALSE(check()) << "the send left nothing to do";
    EXPECT_EQ(ApiWriteJournal::total(), 0u);

    BaseMaterial* glow = document->SearchMaterial("Glow");
    ASSERT_TRUE(glow);
    glow->SetName("Lamp");
    EXPECT_FALSE(check());
    EXPECT_EQ(ApiWriteJournal::total(), 0u);

    glow->SetParameter(MATERIAL_LUMINANCE_BRIGHTNESS, GeData(7.0));
    EXPECT_TRUE(check());
    EXPECT_EQ(ApiWriteJournal::total(), 1u);
    const MatLink* link = singletons().matMngr->findLinkByMaterial(glow);
    ASSERT_TRUE(link);
    EXPECT_FLOAT_EQ(link->node->connectedNode(Lumora::P_EMISSION)->getPinFloat(Lumora::P_POWER), 7.0f);
}

TEST_F(MaterialLiveTest, CopiesOfASentDocumentNameItsMaterials) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    BaseDocument* clone = document->CloneDocument();
    BaseMaterial* copy = clone->SearchMaterial("Glow");
    BaseMaterial* glow = document->SearchMaterial("Glow");
    EXPECT_EQ(sourceOfCopy(*copy, *document), glow);
    MatManager& materials = *singletons().matMngr;
    EXPECT_EQ(materials.findLinkByMaterial(copy), materials.findLinkByMaterial(glow));
    BaseDocument::Free(clone);

    live().stopAndReset();
    EXPECT_EQ(materials.linkCount(), 0);
    EXPECT_FALSE(materials.busyUpdate);
}

}  // namespace

}  // namespace lumora::test
