// The session's states, its progress line and the flow of a render.
#include "plugin/core/session.h"

#include <atomic>
#include <mutex>
#include <thread>

#include "plugin/core/engine_binding.h"
#include "plugin/core/engine_devices.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class SessionTest : public PluginTest {};

TEST_F(SessionTest, EventsLeadFromStateToState) {
    BaseDocument* document = makeLitCube();
    ASSERT_EQ(setRendererSetting(*app, document, "samples", "1000000").str(), "");  // no sample target is reached
    startLive(document);
    using S = LiveState;
    using Event = std::function<void(lumoraLive&)>;
    const Event stop = [](lumoraLive& s) { s.stopRender(); };
    const Event pauseOn = [](lumoraLive& s) { s.pauseRender(true); };
    const Event pauseOff = [](lumoraLive& s) { s.pauseRender(false); };
    const Event stopReset = [](lumoraLive& s) { s.stopAndReset(); };
    const Event reset = [](lumoraLive& s) { s.resetScene(true); };
    const Event restart = [](lumoraLive&) { SpecialEventAdd(MSG_RESTART_RENDER); };
    const Event fail = [](lumoraLive&) {
        globals().renderFailed = true;
        SpecialEventAdd(MSG_REDRAW);
    };
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
        {"restart while rendering", S::Rendering, false, restart, S::Rendering},
        {"restart when stopped", S::Idle, false, restart, S::Rendering},
        {"restart when finished", S::Finished, false, restart, S::Rendering},
        {"stop before the engine", S::NotInit, false, stop, S::Idle},
        {"stop when nothing was sent", S::Ready, false, stop, S::Idle},
        {"stop when stopped", S::Idle, false, stop, S::Idle},
        {"stop after a final render", S::FinalEnded, false, stop, S::Idle},
        {"failure while rendering", S::Rendering, false, fail, S::Idle},
        {"failure when finished", S::Finished, false, fail, S::Idle},
        {"failure while exporting", S::Exporting, false, fail, S::Idle},
        {"failure when ready", S::Ready, false, fail, S::Idle},
        {"reset while rendering", S::Rendering, false, reset, S::Exporting},
        {"reset when stopped", S::Idle, false, reset, S::Exporting},
        {"reset after a final render", S::FinalEnded, false, reset, S::Exporting},
        {"stop and reset while rendering", S::Rendering, false, stopReset, S::Idle},
        {"stop and reset after a final render", S::FinalEnded, false, stopReset, S::Idle},
    };
    live().setRenderEnabled(false);  // so that no tick looks at the samples
    for (const auto& row : rows) {
        globals().renderFailed = globals().renderError = false;
        row.paused ? pauseLocked(live()) : continueLocked(live());
        ASSERT_TRUE(waitFor([&] { return !live().updateInProgress; })) << row.what;
        live().setState(row.from);
        row.event(live());
        app->processEvents();
        EXPECT_EQ(live().state(), row.to) << row.what;
        live().setRenderEnabled(false);
    }
    globals().renderFailed = globals().renderError = false;
    for (const S from : {S::Ready, S::Idle, S::Rendering, S::Finished, S::FinalEnded}) {
        live().setState(from);
        const int sent = consoleCount("RESET PROJECT");
        startLive(GetActiveDocument());
        EXPECT_EQ(consoleCount("RESET PROJECT"), sent + 1) << "a start sends from state " << static_cast<int>(from);
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

/// Keeps what the session told it.
class RecordingWindow : public SessionWindow {
public:
    struct Record {
        std::vector<std::string> texts, progress;
        std::vector<bool> devicePage;
        int made = 0, destroyed = 0, opened = 0, refreshed = 0;
        WindowPlace place;
        int filmWidth = 0;
        bool open = false;
    };
    explicit RecordingWindow(Record& record) : record_(record) { ++record_.made; }
    ~RecordingWindow() override { ++record_.destroyed; }
    bool open(const WindowPlace& place) override {
        record_.place = place;
        ++record_.opened;
        return record_.open = true;
    }
    bool isOpen() const override { return record_.open; }
    void close() override { record_.open = false; }
    void setText(Int32 element, const String& text) override {
        if (element == ELEMENT_STATUS_LINE) record_.texts.push_back(text.str());
    }
    void setEnabled(Int32 element, bool on) override {
        if (element == ELEMENT_DEVICE_PAGE) record_.devicePage.push_back(on);
    }
    void refresh(Int32) override { ++record_.refreshed; }
    void showProgress(const String& text, bool) override { record_.progress.push_back(text.str()); }
    void filmResized(Int32 width, Int32) override { record_.filmWidth = width; }

private:
    Record& record_;
};

TEST_F(SessionTest, LiveViewerIsOpenedToldAndDestroyed) {
    RecordingWindow::Record viewer, settings;
    const auto maker = [](RecordingWindow::Record& record) {
        return [&record](lumoraLive&) { return std::make_unique<RecordingWindow>(record); };
    };
    live().windows.registerWindow(WindowKind::LiveViewer, maker(viewer));
    live().windows.registerWindow(WindowKind::Settings, maker(settings));
    ASSERT_TRUE(CallCommand(ID_LUMORA_SESSION));
    EXPECT_TRUE(live().engineReady);
    EXPECT_EQ(viewer.opened, 1);
    EXPECT_EQ(viewer.place.x, 400);
    EXPECT_EQ(viewer.place.width, 400) << "the size of the first render";
    ASSERT_TRUE(CallCommand(ID_LUMORA_SESSION));
    EXPECT_EQ(viewer.made, 1);
    EXPECT_EQ(viewer.opened, 1);
    SpecialEventAdd(MSG_OPEN_SETTINGS);
    app->processEvents();
    ASSERT_FALSE(settings.devicePage.empty());
    EXPECT_TRUE(settings.devicePage.back());

    viewer.progress.clear();
    live().setProgress(STAGE_COLLECT, UPDATE_CAMERA, true);
    ASSERT_EQ(viewer.progress.size(), 1u);
    EXPECT_EQ(viewer.progress.back(), "[C] Collect");
    std::thread([this] { live().setProgress(STAGE_MATERIALS, 0, true); }).join();
    EXPECT_EQ(viewer.progress.size(), 1u) << "windows belong to the main thread";
    app->processEvents();
    EXPECT_EQ(viewer.progress.back(), "[C] Export Materials");

    statusLine("one");
    statusLine("two");
    SpecialEventAdd(MSG_REDRAW);
    app->processEvents();
    ASSERT_FALSE(viewer.texts.empty());
    EXPECT_EQ(viewer.texts.back(), "[READY] two");
    const std::size_t shown = viewer.texts.size();
    SpecialEventAdd(MSG_REDRAW);
    app->processEvents();
    EXPECT_EQ(viewer.texts.size(), shown);

    live().finalRender = true;
    const std::size_t told = viewer.progress.size();
    live().setProgress(STAGE_GEOMETRY, 0, true);
    EXPECT_EQ(viewer.progress.size(), told) << "a final render reports to its own status";
    EXPECT_FALSE(live().Execute(nullptr));
    live().finalRender = false;

    viewer.open = false;  // as a user closes it
    ASSERT_TRUE(CallCommand(ID_LUMORA_SESSION));
    EXPECT_EQ(viewer.made, 2);
    EXPECT_EQ(viewer.destroyed, 1);
    SpecialEventAdd(MSG_CLOSE_SETTINGS);
    app->processEvents();
    EXPECT_EQ(settings.destroyed, 1);
    end();
    EXPECT_EQ(viewer.destroyed, 2);
}

TEST_F(SessionTest, RestoredLayoutHasADefaultSceneAndCanStart) {
    ASSERT_TRUE(live().RestoreLayout(nullptr));
    EXPECT_EQ(live().renderWidth, 400);
    EXPECT_EQ(live().renderHeight, 300);
    const ApiNode* target = Lumora::ApiRenderEngine::getRenderTargetNode();
    ASSERT_NE(target, nullptr);
    EXPECT_EQ(target, live().renderTarget);
    const ApiNode* camera = target->inputNode(Lumora::P_CAMERA);
    ASSERT_NE(camera, nullptr);
    EXPECT_EQ(camera->getPinFloat3(Lumora::P_POSITION), (Lumora::Vec3<float>{4.0f, 1.0f, 0.8f}));
    EXPECT_EQ(camera->getPinFloat3(Lumora::P_TARGET), (Lumora::Vec3<float>{0.8f, 0.8f, 0.8f}));
    startLive(makeLitCube());
}

TEST_F(SessionTest, ResetWithoutDefaultsLeavesNothing) {
    startLive(makeLitCube());
    live().resetScene(false);
    EXPECT_EQ(live().state(), LiveState::Exporting);
    EXPECT_EQ(live().renderTarget, nullptr);
    EXPECT_EQ(Lumora::ApiRenderEngine::getRenderTargetNode(), nullptr);
    Lumora::ApiItemArray items;
    Lumora::ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    EXPECT_EQ(items.size(), 0u);
    live().setState(LiveState::Idle);
    startLive(GetActiveDocument());
}

TEST_F(SessionTest, StopAndResetDuringASendWaitsForStageEight) {
    startLive(makeLitCube());
    for (const Int32 stage : {STAGE_COPYING, STAGE_GEOMETRY, STAGE_UPDATING}) {
        live().setState(LiveState::Exporting);
        live().setProgress(stage, 0, false);
        live().stopAndReset();
        const bool ignored = stage < STAGE_UPDATING;
        EXPECT_EQ(live().state(), ignored ? LiveState::Exporting : LiveState::Idle) << stage;
        EXPECT_EQ(live().renderTarget == nullptr, !ignored) << stage;
    }
    EXPECT_FALSE(live().renderEnabled);
    EXPECT_TRUE(live().guiBusy);
    EXPECT_EQ(live().stage(), STAGE_UPDATED);
    startLive(GetActiveDocument());
    live().finalRender = true;
    live().stopAndReset();
    EXPECT_NE(live().renderTarget, nullptr) << "a final render owns the session";
    live().finalRender = false;
}

TEST_F(SessionTest, LockedResolutionFollowsTheDocumentAndTruncates) {
    BaseDocument* document = makeLitCube();
    BaseContainer* data = document->GetActiveRenderData()->GetDataInstance();
    data->SetFloat(RDATA_XRES, 101.0);
    data->SetFloat(RDATA_YRES, 51.0);
    live().renderScale = 0.5;
    live().readDocumentResolution(document);
    EXPECT_EQ(live().renderWidth, 101) << "not locked";
    live().lockResolution = true;
    live().readDocumentResolution(document);
    EXPECT_EQ(live().renderWidth, 50);
    EXPECT_EQ(live().renderHeight, 25);
    live().readDocumentResolution(nullptr);
    EXPECT_EQ(live().renderWidth, 50);
    BaseDocument::Free(document);
}

TEST_F(SessionTest, ThreadsRacingForTheLocksTakeTurns) {
    startLive(makeLitCube());
    constexpr int kThreads = 2, kRounds = 200;
    std::atomic<int> inside{0}, overlaps{0}, flow{0};
    ApiNode* camera = live().renderTarget->inputNode(Lumora::P_CAMERA);
    const auto race = [&](int number) {
        for (int i = 0; i < kRounds; ++i) {
            if (number % 2 ? pauseLocked(live()) : continueLocked(live())) ++flow;
            {
                const std::lock_guard guard(live().updateLock);
                const std::lock_guard again(live().updateLock);  // the owner enters again
                if (++inside != 1) ++overlaps;
                camera->setPinValue(Lumora::P_FOV, 1.0f + static_cast<float>(i + 1000 * number));
                callUpdate(live(), false, "race");
                --inside;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(race, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(overlaps, 0);
    EXPECT_EQ(flow, kThreads * kRounds) << "no round was so long that a taker gave up";
    EXPECT_EQ(consoleCount("lock failed..."), 0);
    continueLocked(live());
    EXPECT_TRUE(waitFor([&] { return updateAccepted(live()); }));
    callUpdate(live(), true, "race over");
    EXPECT_TRUE(waitFor([&] { return !live().updateInProgress; }));
}

TEST_F(SessionTest, FilmRegionIsWrittenAndReadBack) {
    EXPECT_TRUE(initLive(live()));
    using Size = Lumora::Vec2<int>;
    setFilmRegion(live(), true, {1, 2}, {3, 4});
    EXPECT_EQ(consoleCount("Null film_settings"), 1);
    startLive(makeLitCube(), 64, 48);
    Size resolution, start, size;
    EXPECT_FALSE(getFilmRegion(live(), &resolution, &start, &size));
    EXPECT_EQ(resolution, (Size{64, 48}));
    setFilmRegion(live(), true, {10, 20}, {30, 44});
    EXPECT_TRUE(getFilmRegion(live(), &resolution, &start, &size));
    EXPECT_EQ(start, (Size{10, 20}));
    EXPECT_EQ(size, (Size{20, 24}));
    setFilmRegion(live(), false, {}, {});
    EXPECT_FALSE(getFilmRegion(live(), &resolution, &start, &size));
    EXPECT_EQ(size, (Size{65536, 65536}));
}

TEST_F(SessionTest, DeviceBlockIsAppliedByItsRules) {
    ASSERT_TRUE(initLive(live()));
    using Engine = Lumora::ApiRenderEngine;
    DeviceBlock& block = live().devices;
    EXPECT_FALSE(applyDeviceBlock(block)) << "the engine's own choice is no change";
    block.tonemap[0] = false;
    block.denoise[0] = false;
    applyDeviceBlock(block);
    EXPECT_TRUE(Engine::isDeviceUsedForTonemapping(0)) << "one render device tonemaps";
    EXPECT_TRUE(Engine::isDeviceUsedForDenoising(0)) << "device 0 denoises when none does";
    block.renderPriority = block.renderPriority == 0 ? 1 : 0;
    EXPECT_TRUE(applyDeviceBlock(block));
    EXPECT_EQ(Engine::renderPriority(), block.renderPriority);

    block.render[0] = false;
    applyDeviceBlock(block);
    String why;
    EXPECT_FALSE(checkDevices(block, &why));
    EXPECT_GE(why.Find("There is no CUDA device which is selected..."), 0);
    useAllDevices();
    EXPECT_TRUE(Engine::isDeviceUsedForRendering(0));
    giveDevicesBack();
    EXPECT_FALSE(Engine::isDeviceUsedForRendering(0)) << "the stored choice";
    block.render[0] = true;
    block.renderPriority = 2;
    applyDeviceBlock(block);
    EXPECT_TRUE(checkDevices(block, &why));
}

TEST_F(SessionTest, SendWithoutADeviceEndsFinished) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    live().stopRender();
    live().devices.render[0] = false;
    SpecialEventAdd(MSG_START_RENDER);
    app->processEvents();
    EXPECT_EQ(live().state(), LiveState::Finished);
    EXPECT_TRUE(globals().renderError);
    live().devices.render[0] = true;
    applyDeviceBlock(live().devices);
    startLive(document);
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
