// Render passes, render layer, LUT and post-processing on the engine's nodes.
#include <fstream>
#include <utility>

#include "plugin/core/ids.h"
#include "plugin/core/singletons.h"
#include "plugin/materials/engine_write.h"
#include "plugin/render/render_settings.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class PassNodesTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        ASSERT_TRUE(app);
        ApiProjectManager::resetProject();
        Lumora::ApiWriteJournal::enable(true);
        target = createNode(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph());
        document = BaseDocument::Alloc();
        settings.setDocument(document, true);
        settings.renderTarget = target;
        settings.setKernel(KERNEL_PATH, false);
        settings.apply(nullptr, nullptr);
        Lumora::ApiWriteJournal::reset();
    }
    void TearDown() override {
        Lumora::ApiWriteJournal::enable(false);
        ApiProjectManager::resetProject();
        BaseDocument::Free(document);
        PluginTest::TearDown();
    }

    void adaptive(bool on) { settings.setValueById("Pt", fourCC('A', 'S', 'M', 'P'), on, true); }
    void passesOn(bool on) { settings.setPass("enable", 0, on, true); }
    ApiNode* passes() const { return target->connectedNode(P_RENDER_PASSES); }
    /// How many switches of the node are on.
    int switchesOn() const {
        int count = 0;
        for (const SettingRow& r : settingRows())
            count += r.kind == kPassKind && passes()->hasPin(static_cast<PinId>(r.pin)) &&
                     passes()->getPinBool(static_cast<PinId>(r.pin));
        return count;
    }
    static std::size_t writes() { return Lumora::ApiWriteJournal::total(); }

    ApiNode* target = nullptr;
    BaseDocument* document = nullptr;
    RenderSettings settings;
};

TEST_F(PassNodesTest, TheNodeIsThereWhilePassesAreOnAndASwitchIs) {
    settings.setPass("", Lumora::RP_Z_DEPTH, true, true);
    EXPECT_FALSE(passes()) << "passes are off";
    passesOn(true);
    ASSERT_TRUE(passes());
    EXPECT_EQ(switchesOn(), 1);
    EXPECT_TRUE(passes()->getPinBool(P_PASS_Z_DEPTH));
    settings.setValueByKey("pass", "rpZmax", 12, true);
    EXPECT_FLOAT_EQ(passes()->getPinFloat(P_Z_DEPTH_MAX), 12);

    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(settings.applyPasses(false));
    EXPECT_FALSE(settings.apply(nullptr, nullptr));
    EXPECT_EQ(writes(), 0u) << "nothing changed, nothing is written";
    settings.setPass("", Lumora::RP_Z_DEPTH, false, true);
    EXPECT_FALSE(passes()) << "every switch is off";
}

TEST_F(PassNodesTest, AdaptiveSamplingHoldsTheNoisePassOn) {
    adaptive(true);
    ASSERT_TRUE(passes()) << "with passes off";
    EXPECT_EQ(switchesOn(), 1);
    EXPECT_TRUE(passes()->getPinBool(P_PASS_NOISE));
    settings.setPass("", Lumora::RP_Z_DEPTH, true, false);
    passesOn(true);
    EXPECT_EQ(switchesOn(), 2);
    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(settings.apply(nullptr, nullptr));
    EXPECT_EQ(writes(), 0u);
    passesOn(false);
    ASSERT_TRUE(passes());
    EXPECT_EQ(switchesOn(), 1) << "only the noise pass stays";
    adaptive(false);
    settings.applyPasses(false);
    EXPECT_FALSE(passes());
}

TEST_F(PassNodesTest, AShownPassStaysOnWhateverItsSwitchSays) {
    passesOn(true);
    settings.setPass("", Lumora::RP_Z_DEPTH, true, true);
    settings.setPass("", Lumora::RP_AO, true, true);
    settings.shownPassPin = P_PASS_AO;
    Lumora::ApiWriteJournal::reset();
    settings.setPass("", Lumora::RP_AO, false, true);
    EXPECT_TRUE(passes()->getPinBool(P_PASS_AO));
    EXPECT_EQ(writes(), 0u);
    settings.shownPassPin = 0;
    settings.applyPasses(false);
    EXPECT_FALSE(passes()->getPinBool(P_PASS_AO));
    EXPECT_TRUE(settings.setAllPasses(true));
    EXPECT_GT(switchesOn(), 60);
    EXPECT_TRUE(settings.setAllPasses(false));
    EXPECT_EQ(switchesOn(), 0);
}

TEST_F(PassNodesTest, TheLayerNodeFollowsItsSwitch) {
    passesOn(true);
    settings.setValueByKey("pass", "RndLyrId", 7, false);
    settings.setValueByKey("pass", "invRndLyr", 1, false);
    settings.setValueByKey("pass", "rndLyr", 1, true);
    ApiNode* layer = target->connectedNode(P_RENDER_LAYER);
    ASSERT_TRUE(layer);
    EXPECT_TRUE(layer->getPinBool(P_ENABLED));
    EXPECT_TRUE(layer->getPinBool(P_INVERT));
    EXPECT_EQ(layer->getPinInt(P_LAYER_ID), 7);
    settings.setValueByKey("pass", "rndLyr", 0, true);
    EXPECT_FALSE(target->connectedNode(P_RENDER_LAYER));

    live().motionAnalysis = true;  // nothing is sent to the engine
    settings.setLayerPass(true, 3, false);
    layer = target->connectedNode(P_RENDER_LAYER);
    ASSERT_TRUE(layer);
    EXPECT_EQ(layer->getPinInt(P_LAYER_ID), 3);
    EXPECT_FALSE(layer->getPinBool(P_INVERT));
    EXPECT_TRUE(passes()->getPinBool(P_PASS_LAYER_MASK));
    settings.setLayerPass(false, 0, false);
    EXPECT_FALSE(target->connectedNode(P_RENDER_LAYER));
    live().motionAnalysis = false;
}

TEST_F(PassNodesTest, TheLutNodeIsThereWhileItsFileIs) {
    ApiNode* imager = target->connectedNode(P_IMAGER);
    const std::string file = preferences.path().str() + "/warm.cube";
    std::ofstream(file) << "LUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 1 1\n1 1 1\n";
    document->SetDocumentPath(preferences.path());
    settings.setFile("Ci", "lut", Filename("warm.cube"), true);
    ApiNode* lut = imager->connectedNode(P_LUT);
    ASSERT_TRUE(lut);
    EXPECT_STREQ(lut->getString(A_FILENAME), file.c_str());
    settings.setValueByKey("Ci", "lutStr", 0.5, true);
    EXPECT_FLOAT_EQ(lut->getPinFloat(P_STRENGTH), 0.5f);
    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(settings.applyImager());
    EXPECT_EQ(writes(), 0u);
    settings.setFile("Ci", "lut", Filename("cold.cube"), true);
    EXPECT_FALSE(imager->connectedNode(P_LUT)) << "there is no such file";
    settings.applyImager();
    EXPECT_EQ(consoleCount("Warning: the LUT file"), 1) << "said once";
    settings.setFile("Ci", "lut", Filename("warm.cube"), true);
    EXPECT_TRUE(imager->connectedNode(P_LUT));
    settings.setFile("Ci", "lut", Filename(), true);
    EXPECT_FALSE(imager->connectedNode(P_LUT));
}

/// Counts the messages that dialogs listen to.
class Listener : public MessageData {
public:
    Bool CoreMessage(Int32 id, const BaseContainer&) override {
        switched += id == MSG_POST_SWITCHED ? 1 : 0;
        refreshed += id == MSG_REFRESH_DIALOGS ? 1 : 0;
        return true;
    }
    int switched = 0, refreshed = 0;
};
Listener listener;

bool listenerPlugin(PluginCall* call) {
    constexpr Int32 kListenerId = 1999999;
    return call->action != PluginAction::Start || RegisterMessagePlugin(kListenerId, "listener", 0, &listener);
}

TEST_F(PassNodesTest, DialogsAreToldApartWhetherPostProcessingWasSwitchedOrChanged) {
    ASSERT_TRUE(app->startPlugin(&listenerPlugin, preferences.path()));
    listener.switched = listener.refreshed = 0;
    const auto told = [this] {
        waitFor([] { return false; }, 0.05);
        return std::pair(std::exchange(listener.switched, 0), std::exchange(listener.refreshed, 0));
    };
    settings.setValueByKey("Post", "enable", 1, true);
    EXPECT_EQ(told(), std::pair(1, 0));
    settings.setValueByKey("Post", "bloompower", 9, true);
    EXPECT_EQ(told(), std::pair(0, 1));
    settings.setValueByKey("Post", "bloompower", 9, true);
    EXPECT_EQ(told(), std::pair(0, 0));
    settings.setValueByKey("Post", "enable", 0, true);
    EXPECT_EQ(told(), std::pair(1, 0));
    EXPECT_FLOAT_EQ(target->connectedNode(P_POST_PROCESSING)->getPinFloat(P_BLOOM_POWER), 9);
}

}  // namespace
}  // namespace lumora::test
