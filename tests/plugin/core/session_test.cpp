// The session's states, its progress line and the flow of a render.
#include "plugin/core/session.h"

#include <thread>

#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class SessionTest : public PluginTest {};

TEST_F(SessionTest, EventsLeadFromStateToState) {
    startLive(makeLitCube());
    using S = LiveState;
    using Event = std::function<void(lumoraLive&)>;
    const Event stop = [](lumoraLive& s) { s.stopRender(); };
    const Event pauseOn = [](lumoraLive& s) { s.pauseRender(true); };
    const Event pauseOff = [](lumoraLive& s) { s.pauseRender(false); };
    const struct {
        const char* what;
        S from;
        bool paused;
        Event event;
        S to;
    } rows[] = {
        {"stop while rendering", S::Rendering, false, stop, S::Idle},
        {"stop when finished", S::Finished, false, stop, S::Idle},
        {"stop while exporting", S::Exporting, false, stop, S::Exporting},
        {"pause while rendering", S::Rendering, false, pauseOn, S::Idle},
        {"pause when finished", S::Finished, false, pauseOn, S::Idle},
        {"pause while exporting", S::Exporting, false, pauseOn, S::Exporting},
        {"pause when paused", S::Idle, true, pauseOn, S::Idle},
        {"continue when paused", S::Idle, true, pauseOff, S::Rendering},
        {"continue when running", S::Finished, false, pauseOff, S::Finished},
        {"continue while exporting", S::Exporting, true, pauseOff, S::Exporting},
    };
    for (const auto& row : rows) {
        row.paused ? pauseLocked(live()) : continueLocked(live());
        live().setState(row.from);
        row.event(live());
        EXPECT_EQ(live().state(), row.to) << row.what;
    }
}

TEST_F(SessionTest, RaisedSampleTargetGoesBackToRenderingUnlessTheRenderFailed) {
    BaseDocument* document = makeLitCube();
    ASSERT_EQ(setRendererSetting(*app, document, "samples", "2").str(), "");
    startLive(document);
    ASSERT_TRUE(waitForState(LiveState::Finished));
    ApiNode* kernel = live().renderTarget->inputNode(Lumora::P_KERNEL);
    ASSERT_NE(kernel, nullptr);
    kernel->setPinValue(Lumora::P_MAX_SAMPLES, 1000000);
    globals().renderError = true;
    callUpdate(live(), true, "test");
    EXPECT_FALSE(waitFor([&] { return live().state() != LiveState::Finished; }, 1.2));
    globals().renderError = false;
    EXPECT_TRUE(waitForState(LiveState::Rendering));
}

TEST_F(SessionTest, RenderFailureIsShownOnceAndEndsIdle) {
    startLive(makeLitCube());
    globals().renderFailed = true;
    ASSERT_TRUE(waitForState(LiveState::Idle));
    EXPECT_TRUE(globals().renderError);
    SpecialEventAdd(MSG_REDRAW);
    app->processEvents();
    EXPECT_EQ(consoleCount("Render Failure...Please check"), 1);

    live().stopAndReset();
    startLive(GetActiveDocument());
    EXPECT_FALSE(globals().renderFailed);
}

TEST_F(SessionTest, UpdatingShowsOneToFiveDotsInTurn) {
    const char* const rows[] = {"Updating.", "Updating..", "Updating...", "Updating....", "Updating.....", "Updating."};
    for (const char* text : rows) {
        live().setProgress(STAGE_UPDATING, 0, false);
        EXPECT_STREQ(live().progressText().c_str(), text);
    }
    live().setProgress(STAGE_COLLECT, UPDATE_CAMERA | UPDATE_MATERIALS | UPDATE_BACKGROUND, false);
    EXPECT_STREQ(live().progressText().c_str(), "[CMB] Collect");
    live().setProgress(STAGE_KEEP, UPDATE_LIGHTS, false);
    EXPECT_STREQ(live().progressText().c_str(), "[L] Collect");
}

TEST_F(SessionTest, StatusLineChangesOnlyWithTheStateOrTheLastMessage) {
    String line;
    while (takeLastMessage(&line)) {
    }
    live().takeStatusLine(&line);
    EXPECT_FALSE(live().takeStatusLine(&line));
    statusLine("first");
    statusLine("second");
    ASSERT_TRUE(live().takeStatusLine(&line));
    EXPECT_STREQ(line.c_str(), "[NOTINIT] second");
    EXPECT_FALSE(live().takeStatusLine(&line));
    live().setState(LiveState::Ready);
    ASSERT_TRUE(live().takeStatusLine(&line));
    EXPECT_STREQ(line.c_str(), "[READY] second");
    live().setState(LiveState::FinalEnded);
    EXPECT_FALSE(live().takeStatusLine(&line)) << "the end of a final render has no word of its own";
}

TEST_F(SessionTest, FlowLockThatAnotherThreadHoldsSkipsTheOperation) {
    ASSERT_TRUE(initLive(live()));
    ASSERT_TRUE(live().flowLock.take());
    EXPECT_TRUE(pauseLocked(live())) << "the owner enters again";
    bool other = true;
    std::thread([&] { other = continueLocked(live()); }).join();
    EXPECT_FALSE(other);
    EXPECT_TRUE(Lumora::ApiRenderEngine::isRenderingPaused());
    EXPECT_EQ(consoleCount("lock failed..."), 1);
    live().flowLock.release();
    EXPECT_TRUE(continueLocked(live()));
}

TEST_F(SessionTest, UpdateWithoutAChangePushesNothing) {
    startLive(makeLitCube());
    ASSERT_TRUE(waitFor([&] { return updateAccepted(live()); }));
    const auto level = Lumora::ApiRenderEngine::getCurrentChangeLevel();
    EXPECT_FALSE(callUpdate(live(), true, "nothing"));
    EXPECT_EQ(Lumora::ApiRenderEngine::getCurrentChangeLevel(), level);
    EXPECT_EQ(live().stage(), STAGE_UPDATED);
    EXPECT_FALSE(live().updateInProgress);
}

}  // namespace
}  // namespace lumora::test
