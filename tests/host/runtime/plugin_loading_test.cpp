#include <gtest/gtest.h>

#include <algorithm>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/host_sdk.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

using test::ScratchFolder;
using test::TestApplication;

std::vector<std::string> linesWith(TestApplication& app, const std::string& word) {
    std::vector<std::string> found;
    std::copy_if(app.lines.begin(), app.lines.end(), std::back_inserter(found), [&](const std::string& line) {
        return line.find(word) != std::string::npos && line.find("plug-in") == std::string::npos;
    });
    return found;
}

TEST(PluginLoading, StartsByPriorityAndUnloadsWhatRefuses) {
    const ScratchFolder folder;
    TestApplication app(folder.path(), LUMORA_TEST_PLUGINS);
    app.application->loadPlugins();

    EXPECT_EQ(linesWith(app, " start"), (std::vector<std::string>{"early start", "refusing start", "late start"}));
    ASSERT_EQ(app.application->failures().size(), 2U);
    EXPECT_NE(app.application->failures()[0].file.str().find("broken.so"), std::string::npos);
    EXPECT_NE(app.application->failures()[1].file.str().find("refusing.so"), std::string::npos);
    EXPECT_NE(FindPlugin(1500), nullptr);
    EXPECT_EQ(FindPlugin(1100), nullptr) << "a plug-in that refused to start left its registration behind";

    // What is told at the start, in this order, to each of those that run.
    EXPECT_EQ(linesWith(app, "late message"),
              (std::vector<std::string>{"late message 1", "late message 1000", "late message 1001188",
                                        "late message 1001062"}));
    EXPECT_EQ(linesWith(app, "refusing message"), (std::vector<std::string>{"refusing message 1"}));
}

TEST(PluginLoading, TextsAndFoldersAreThoseOfTheCallingPlugin) {
    const ScratchFolder folder;
    TestApplication app(folder.path(), LUMORA_TEST_PLUGINS);
    app.application->loadPlugins();
    EXPECT_TRUE(app.said("early texts one|a \"b\"\n\\|"));
    EXPECT_TRUE(app.said("c4d_strings.str:4: "));
    EXPECT_TRUE(CallCommand(1010));
    EXPECT_TRUE(CallCommand(1500));
    EXPECT_TRUE(app.said("late command in late"));
    EXPECT_TRUE(app.said("early command in early"));
    EXPECT_FALSE(CallCommand(430000731));
}

TEST(PluginLoading, CommandLineArgumentsThatAPluginConsumesAreGone) {
    const ScratchFolder folder;
    TestApplication app(folder.path(), LUMORA_TEST_PLUGINS);
    app.application->loadPlugins();
    std::vector<std::string> arguments{"a", "-late", "b", "-early", "-nobody"};
    app.application->sendCommandLine(arguments);
    EXPECT_EQ(arguments, (std::vector<std::string>{"a", "b", "-nobody"}));
}

TEST(PluginLoading, EndsOnceInReverseAfterBothEndMessages) {
    const ScratchFolder folder;
    TestApplication app(folder.path(), LUMORA_TEST_PLUGINS);
    app.application->loadPlugins();
    app.lines.clear();
    app.application->end();
    app.application->end();
    EXPECT_EQ(app.lines, (std::vector<std::string>{"early message 1001", "late message 1001", "early message 1001084",
                                                   "late message 1001084", "late end", "early end"}));
    EXPECT_EQ(FindPlugin(1500), nullptr);
    app.application.reset();

    TestApplication again(folder.path(), LUMORA_TEST_PLUGINS);
    again.application->loadPlugins();
    EXPECT_NE(FindPlugin(1500), nullptr);
}

TEST(PluginLoading, AnIdIsGivenOnce) {
    class Nothing final : public CommandData {
    } first, second;
    const ScratchFolder folder;
    TestApplication app(folder.path());
    EXPECT_TRUE(RegisterCommandPlugin(990001, "first", 0, "", "", &first));
    EXPECT_FALSE(RegisterCommandPlugin(990001, "second", 0, "", "", &second));
    EXPECT_EQ(FindPlugin(990001)->name.str(), "first");
    EXPECT_FALSE(RegisterCommandPlugin(990002, "null", 0, "", "", nullptr));
    removeRegistrations(0);
}

}  // namespace
}  // namespace host
