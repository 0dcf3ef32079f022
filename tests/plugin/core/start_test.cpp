// Start and end of the plug-in, its options, and an engine that is not there.
#include <cstdlib>

#include "engine/api/delayload.h"
#include "host/sdk/render.h"
#include "plugin/core/command_line.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/ids.h"
#include "plugin/core/prefs.h"
#include "plugin/core/singletons.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class StartTest : public PluginTest {
protected:
    void SetUp() override {}

    /// Renders the document as the command line does and returns the error text.
    String renderError(BaseDocument* document) {
        document->GetActiveRenderData()->GetDataInstance()->SetInt32(RDATA_RENDERENGINE, ID_LUMORA_VP_RENDERER);
        const BaseContainer data = document->GetActiveRenderData()->GetData();
        MultipassBitmap picture(32, 24);
        String error;
        EXPECT_NE(RenderDocument(document, data, picture, {}, RENDERFLAGS_NONE, nullptr, &error), RenderResult::Ok);
        return error;
    }
};

TEST_F(StartTest, MissingEngineLibraryLeavesThePluginLoaded) {
    if (Lumora::engineLibraryLoaded()) GTEST_SKIP() << "the library is loaded once for the process";
    ScratchFolder empty;
    start(empty.path().str());
    EXPECT_EQ(live().state(), LiveState::NotInit);
    EXPECT_FALSE(initLive(live()));
    EXPECT_TRUE(live().engineError.Content());
    EXPECT_GE(consoleCount("could not be loaded"), 1);
    BaseDocument* document = makeLitCube();
    EXPECT_GE(renderError(document).Find("could not be started"), 0);
    BaseDocument::Free(document);
    SpecialEventAdd(MSG_START_RENDER);
    app->processEvents();
    EXPECT_EQ(live().state(), LiveState::NotInit);
}

TEST_F(StartTest, EngineThatDoesNotStartIsTriedAgainByTheNextRender) {
    setenv("LUMORA_ENGINE_FAIL_START", "no such processor", 1);
    start();
    BaseDocument* document = makeLitCube();
    EXPECT_GE(renderError(document).Find("no such processor"), 0);
    EXPECT_EQ(live().state(), LiveState::NotInit);
    EXPECT_FALSE(live().finalRender);
    SpecialEventAdd(MSG_START_RENDER);
    app->processEvents();
    EXPECT_EQ(live().state(), LiveState::NotInit);
    unsetenv("LUMORA_ENGINE_FAIL_START");
    startLive(document);
    EXPECT_TRUE(live().engineError.IsEmpty());
}

TEST_F(StartTest, StartsAndEndsManyTimesInOneProcess) {
    for (int i = 0; i < 5; ++i) {
        start();
        startLive(makeLitCube());
        end();
    }
}

TEST_F(StartTest, EndOfActivityStopsARunningRenderOnce) {
    start();
    startLive(makeLitCube());
    app->sendMessage(C4DPL_ENDACTIVITY, nullptr);
    EXPECT_FALSE(live().engineReady);
    app->sendMessage(C4DPL_ENDPROGRAM, nullptr);
    SpecialEventAdd(MSG_START_RENDER);
    app->processEvents();
    EXPECT_FALSE(live().engineReady);
}

TEST_F(StartTest, ExportOptionTakesItsValuesAndLeavesTheRest) {
    start();
    const struct {
        std::vector<std::string> arguments;
        bool consumed, pending;
        const char* name;
        int start, end, step;
        std::vector<std::string> left;
    } rows[] = {
        {{"-exportLPAK", "a.lpak", "1", "20", "2"}, true, true, "a.lpak", 1, 20, 2, {}},
        {{"-exportLPAK", "a.lpak"}, true, true, "a.lpak", 0, 0, 0, {}},
        {{"x.l3d", "-exportLPAK", "a.lpak", "1", "2", "3", "4", "-other"},
         true,
         true,
         "a.lpak",
         1,
         2,
         3,
         {"x.l3d", "-other"}},
        {{"-exportLPAK", ""}, false, false, "", 0, 0, 0, {}},
        {{"-exportLPAK"}, false, false, "", 0, 0, 0, {}},
        {{"-other", "a"}, false, false, "", 0, 0, 0, {"-other", "a"}},
    };
    for (const auto& row : rows) {
        live().exportRequest = {};
        std::vector<std::string> texts = row.arguments;
        std::vector<char*> argv;
        for (std::string& text : texts) argv.push_back(text.data());
        CommandLineArgs arguments{static_cast<Int32>(argv.size()), argv.data()};
        EXPECT_EQ(parseCommandLine(live(), arguments), row.consumed);
        EXPECT_EQ(live().exportRequest.pending, row.pending);
        EXPECT_STREQ(live().exportRequest.name.c_str(), row.name);
        EXPECT_EQ(live().exportRequest.start, row.start);
        EXPECT_EQ(live().exportRequest.end, row.end);
        EXPECT_EQ(live().exportRequest.step, row.step);
        std::vector<std::string> left;
        for (const char* argument : argv)
            if (argument) left.emplace_back(argument);
        EXPECT_EQ(left, row.left);
    }
}

TEST_F(StartTest, PreferencesLastAndDamagedOnesTakeTheirDefaults) {
    start();
    BaseContainer stored;
    stored.SetInt32(PREF_OPENGL_SAMPLES, 0);
    stored.SetInt32(PREF_PREVIEW_SAMPLES, -5);
    stored.SetString(PREF_REFRESH_TIME, "soon");
    stored.SetFloat(PREF_HEAD_ROOM, 128.0);
    stored.SetVector(67, Vector(0.1, 0.2, 0.3));
    stored.SetVector(PREF_COLOR_OTHERS, Vector(0.5, 0.5, 0.5));
    ASSERT_TRUE(SetWorldPluginData(ID_LUMORA_SESSION, stored));
    PluginPrefs prefs;
    prefs.load();
    EXPECT_EQ(prefs.getInt(PREF_OPENGL_SAMPLES), 32);
    EXPECT_EQ(prefs.getInt(PREF_PREVIEW_SAMPLES), 32);
    EXPECT_EQ(prefs.getInt(PREF_REFRESH_TIME), 50);
    EXPECT_EQ(prefs.getFloat(PREF_HEAD_ROOM), 128.0);
    EXPECT_EQ(prefs.getFloat(PREF_RAM_LIMIT), 4.0);
    EXPECT_EQ(prefs.getColour(67), Vector(0.1, 0.2, 0.3));
    prefs.resetColours();
    EXPECT_EQ(prefs.getColour(67), Vector(1, 1, 1));
    EXPECT_EQ(prefs.getColour(PREF_COLOR_OTHERS), Vector(0.5, 0.5, 0.5));

    prefs.set(PREF_BACKUP_TIME, GeData(Int32(5)));
    ASSERT_TRUE(prefs.save());
    PluginPrefs again;
    again.load();
    EXPECT_EQ(again.getInt(PREF_BACKUP_TIME), 5);
}

}  // namespace
}  // namespace lumora::test
