// Start and end of the plug-in, its options, and an engine that is not there.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>

#include "engine/api/delayload.h"
#include "host/runtime/plugin_registry.h"
#include "host/sdk/render.h"
#include "plugin/core/command_line.h"
#include "plugin/core/commands.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/prefs.h"
#include "plugin/core/remote_control.h"
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
    CallCommand(ID_LUMORA_DIALOG);
    EXPECT_EQ(consoleCount("Lumora could not be initialised"), 1);
    EXPECT_GE(consoleCount("no window for the settings dialog"), 1) << "where devices are chosen";
    SpecialEventAdd(MSG_START_RENDER);
    app->processEvents();
    EXPECT_EQ(live().state(), LiveState::NotInit);
    unsetenv("LUMORA_ENGINE_FAIL_START");
    startLive(document);
    EXPECT_TRUE(live().engineError.IsEmpty());
}

TEST_F(StartTest, StartsAndEndsManyTimesInOneProcess) {
    for (int i = 0; i < 20; ++i) {
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

TEST_F(StartTest, EndOfActivityDuringAnExportEndsTheSendAndWaitsForIt) {
    start();
    std::vector<std::string> states;
    onStatus = [&](const String& text) { states.push_back(text.str()); };
    BaseDocument* document = BaseDocument::Alloc();
    for (int i = 0; i < 60; ++i) {
        BaseObject* sphere = BaseObject::Alloc(Osphere);
        sphere->SetParameter(PRIM_SPHERE_SUB, GeData(160 + i));  // meshes that share nothing
        document->AppendObject(sphere);
    }
    document->ExecutePasses(true, true, true);
    std::atomic<bool> done{false};
    String error;
    std::thread render([&] {
        error = renderError(document);
        done = true;
    });
    ASSERT_TRUE(waitFor([&] { return live().sendBusy || done; }));
    EXPECT_EQ(live().state(), LiveState::Exporting);
    app->sendMessage(C4DPL_ENDACTIVITY, nullptr);
    EXPECT_TRUE(globals().pluginExited);
    EXPECT_FALSE(live().finalRender);
    EXPECT_EQ(consoleCount("Update of Lumora Scene is still in progress."), 1);
    EXPECT_NE(std::find(states.begin(), states.end(), "..."), states.end());
    app->sendMessage(C4DPL_ENDPROGRAM, nullptr);
    EXPECT_EQ(consoleCount("Update of Lumora Scene is still in progress."), 1);
    render.join();
    EXPECT_TRUE(renderError(document).Content()) << "nothing renders after the end";
    BaseDocument::Free(document);
}

TEST_F(StartTest, CommandsAndMessagesAfterTheEndDoNothing) {
    start();
    startLive(makeLitCube());
    app->sendMessage(C4DPL_ENDACTIVITY, nullptr);
    for (const CommandRow* row : commandRows()) CallCommand(row->id);
    CallCommand(ID_LUMORA_SESSION);
    for (Int32 id = 18000; id < 18090; ++id) SpecialEventAdd(id);
    app->processEvents();
    EXPECT_FALSE(live().engineReady);
    EXPECT_EQ(live().state(), LiveState::NotInit);
}

TEST_F(StartTest, WorldDataIsStampedWithTheVersion) {
    start();
    const BaseContainer* stamp = GetWorldPluginData(ID_LUMORA_SETTINGS);
    ASSERT_NE(stamp, nullptr);
    EXPECT_EQ(stamp->GetInt32(5000), 4000021);
    EXPECT_EQ(stamp->GetString(5001).str(), "V4.00");
    EXPECT_EQ(stamp->GetInt32(5002), 4000021);
    BaseContainer older;
    older.SetInt32(5000, 3080000);
    older.SetInt32(6000, 1);
    ASSERT_TRUE(SetWorldPluginData(ID_LUMORA_SETTINGS, older));
    end();
    start();
    EXPECT_EQ(GetWorldPluginData(ID_LUMORA_SETTINGS)->GetInt32(5000), 4000021);
    EXPECT_FALSE(GetWorldPluginData(ID_LUMORA_SETTINGS)->Has(6000)) << "the stamp is written afresh";
}

TEST_F(StartTest, AClassWhoseIdIsTakenEndsTheStart) {
    ApplicationOptions options;
    options.preferences = preferences.path();
    options.loadPlugins = false;
    std::vector<std::string> lines;
    std::mutex lock;
    options.console = [&](const String& line) {
        const std::lock_guard guard(lock);
        lines.push_back(line.str());
    };
    Application application(options);
    constexpr Int32 kTaken = 1039376, kCommandTaken = 1031194;
    CommandData command;
    constexpr PluginOwner kOther = 9999;
    {
        const PluginScope another(kOther);
        ASSERT_TRUE(RegisterShaderPlugin(
            kTaken, "Squatter", 0, [] { return std::make_unique<ShaderData>(); }, nullptr, 0));
        ASSERT_TRUE(RegisterCommandPlugin(kCommandTaken, "Squatter", 0, "", "", &command));
    }
    EXPECT_FALSE(application.startPlugin(&c4d_main, Filename(LUMORA_TEST_PLUGIN_DIR)));
    const auto said = [&](const std::string& text) {
        const std::lock_guard guard(lock);
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) { return line == text; });
    };
    EXPECT_TRUE(said("Register ID_LUMORA_TEST_PLUGIN ERROR!!!!")) << "a command's failure ends nothing";
    EXPECT_TRUE(said("Lumora: the class Instance Range could not be registered."));
    EXPECT_TRUE(globals().pluginExited) << "no thread of a refused plug-in may run on";
    application.end();
    removeRegistrations(kOther);
}

TEST_F(StartTest, CrashHookSaysWhereItIsAndHandsOn) {
    static int handedOn = 0;
    handedOn = 0;
    start();
    const CrashHandler ours = GetCrashHandler();
    ASSERT_NE(ours, nullptr);
    end();
    const CrashHandler before = GetCrashHandler();
    EXPECT_NE(before, ours) << "the hook went with the plug-in";
    SetCrashHandler([](const char*) { ++handedOn; });
    start();
    GetCrashHandler()("at address 12");
    EXPECT_EQ(handedOn, 1);
    EXPECT_EQ(consoleCount("Crash..."), 1);
    EXPECT_EQ(consoleCount("SDK CrashInfo:"), 1);
    EXPECT_EQ(consoleCount("at address 12"), 1);
    end();
    SetCrashHandler(before);
}

/// Titles and commands of a menu, in order.
std::vector<std::string> entriesOf(const BaseContainer& menu) {
    std::vector<std::string> entries;
    for (Int32 i = 0; i < menu.GetCount(); ++i) {
        const GeData& entry = menu.GetIndexData(i);
        switch (menu.GetIndexId(i)) {
            case MENURESOURCE_SEPARATOR:
                entries.emplace_back("-");
                break;
            case MENURESOURCE_SUBMENU:
                entries.push_back("> " + entry.GetContainer()->GetString(MENURESOURCE_SUBTITLE).str());
                break;
            default:
                entries.push_back(entry.GetString().str());
        }
    }
    return entries;
}

TEST_F(StartTest, MenuIsInsertedOnceInFrontOfThePlugins) {
    start();
    BaseContainer* editor = GetMenuResource("M_EDITOR");
    ASSERT_NE(editor, nullptr);
    const std::vector<std::string> entries = entriesOf(*editor);
    const auto plugins = std::find(entries.begin(), entries.end(), "> IDS_EDITOR_PLUGINS");
    ASSERT_NE(plugins, entries.end());
    EXPECT_EQ(*(plugins - 1), "> Lumora");
    const BaseContainer* ours = editor->GetIndexData(static_cast<Int32>(plugins - entries.begin()) - 1).GetContainer();
    EXPECT_EQ(entriesOf(*ours),
              (std::vector<std::string>{"Lumora", "ID_LUMORA_MATERIAL_CONVERT", "-", "PLUGIN_CMD_1031193",
                                        "PLUGIN_CMD_1029499", "PLUGIN_CMD_1031195"}));
    app->sendMessage(C4DPL_BUILDMENU, nullptr);
    EXPECT_EQ(entriesOf(*editor), entries);

    // A user's own menu that holds the command counts too; without the plug-ins' menu the end is the place.
    editor->FlushAll();
    editor->InsData(MENURESOURCE_COMMAND, GeData("PLUGIN_CMD_1029499"));
    app->sendMessage(C4DPL_BUILDMENU, nullptr);
    EXPECT_EQ(editor->GetCount(), 1);
    editor->FlushAll();
    editor->InsData(MENURESOURCE_COMMAND, GeData("OTHER"));
    app->sendMessage(C4DPL_BUILDMENU, nullptr);
    EXPECT_EQ(entriesOf(*editor), (std::vector<std::string>{"OTHER", "> Lumora"}));
}

TEST_F(StartTest, DeviceOptionNamesDevicesOneByOne) {
    start();
    const auto parse = [this](std::vector<std::string> texts) {
        std::vector<char*> argv;
        for (std::string& text : texts) argv.push_back(text.data());
        CommandLineArgs arguments{static_cast<Int32>(argv.size()), argv.data()};
        return parseCommandLine(live(), arguments);
    };
    EXPECT_FALSE(parse({"-lumoraGPU", "0:0:TRUE"})) << "the engine is not up";
    ASSERT_TRUE(initLive(live()));
    using Engine = Lumora::ApiRenderEngine;
    const struct {
        std::vector<std::string> arguments;
        bool render, denoise;
    } rows[] = {
        {{"-lumoraGPU", "0:0:TRUE"}, true, true},
        {{"-lumoraGPU"}, false, false},
        {{"-lumoraGPU", "0:1:TRUE 1:0:FALSE"}, true, false},
        {{"-lumoraGPU", "-other"}, false, false},
        {{"-lumoraGPU", "0:0:true"}, false, false},
        {{"-lumoraGPU", "5:0:TRUE"}, false, true},
        {{"-lumoraGPU", "999999999999999999999:16:TRUE :: 3 a:b:TRUE"}, true, true},
        {{"-lumoraGPU", ""}, false, false},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(parse(row.arguments));
        EXPECT_EQ(Engine::isDeviceUsedForRendering(0), row.render) << row.arguments.back();
        EXPECT_EQ(Engine::isDeviceUsedForDenoising(0), row.denoise) << row.arguments.back();
    }
    Engine::setDevicesActivity(nullptr, 0, nullptr, 0);
}

TEST_F(StartTest, RemoteControlServesItsCommands) {
    start();
    startLive(makeLitCube());
    const auto send = [this](Int32 command, Int32 a = 0, Int32 b = 0) {
        BaseContainer request;
        request.SetInt32(kRemoteCommand, command);
        request.SetInt32(12, a);
        request.SetInt32(13, b);
        EXPECT_FALSE(app->sendMessage(ID_LUMORA_SESSION, &request));
        EXPECT_GE(consoleCount("cmd=" + std::to_string(command)), 1);
        app->processEvents();
    };
    send(100, 96, 72);
    EXPECT_EQ(live().renderWidth, 96);
    EXPECT_EQ(live().renderHeight, 72);
    send(100, -5, 1 << 20);
    EXPECT_EQ(live().renderWidth, 96) << "sizes that no film has are refused";
    send(104, 4711);
    EXPECT_EQ(live().externalWindow, 4711);
    const Int32 checks = live().checkCount;
    send(105);
    EXPECT_EQ(live().checkCount, checks + 1);
    send(103);
    EXPECT_EQ(live().state(), LiveState::Idle);
    send(102);
    EXPECT_EQ(live().state(), LiveState::Rendering);
    send(106);
    EXPECT_GE(consoleCount("no window for the settings dialog"), 1);
    send(103);
    send(101);
    EXPECT_TRUE(waitForState(LiveState::Rendering));
    send(107);
    EXPECT_FALSE(app->sendMessage(ID_LUMORA_SESSION, nullptr));
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
