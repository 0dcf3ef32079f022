// Settings in documents, and presets, from the command line.
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/app/program.h"

namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::run;
using test::RunOptions;
using test::ScratchFolder;

const std::string kCornell = std::string(LUMORA_EXAMPLES) + "/cornell/cornell.gltf";

/// "value" and "default" of a key; empty when it is not listed exactly once.
std::pair<std::string, std::string> listed(const std::string& file, const std::string& key) {
    const Outcome outcome = run({"settings", file, "--json"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    std::pair<std::string, std::string> found;
    int times = 0;
    const nlohmann::json document = nlohmann::json::parse(outcome.out);
    for (const auto& row : document["settings"]) {
        if (row["key"] != key) continue;
        ++times;
        found = {row["value"], row["default"]};
    }
    return times == 1 ? found : std::pair<std::string, std::string>();
}

TEST(Settings, AreShownAndChangedInADocument) {
    const ScratchFolder folder;
    const std::string scene = folder / "a.lumdoc", copy = folder / "b.lumdoc";
    ASSERT_EQ(run({"convert", kCornell, scene, "-q"}).exitCode, 0);
    const std::string before = test::readFile(scene);

    const Outcome shown = run({"settings", scene});
    EXPECT_EQ(shown.exitCode, 0);
    EXPECT_EQ(shown.err, "");
    for (const char* text : {"\nPath tracing\n", "\n  Pt.ASMP ", "\n* Krn.type ", "\n* kernel ", "1 to 1000000"})
        EXPECT_NE(shown.out.find(text), std::string::npos) << text;
    EXPECT_TRUE(before == test::readFile(scene)) << "looking changes nothing";

    const Outcome changed =
        run({"settings", scene, "--set", "Pt.maxsamples=3", "--set", "Pt.ASMP=on", "--set", "Ci.wBalance=1,0.5,0.25"});
    EXPECT_EQ(changed.exitCode, 0) << changed.err;
    EXPECT_NE(changed.out.find("Pt.ASMP: 0 -> 1\n"), std::string::npos) << changed.out;
    EXPECT_NE(changed.out.find(scene), std::string::npos) << changed.out;
    EXPECT_EQ(listed(scene, "Pt.maxsamples"), std::pair(std::string("3"), std::string("64000")));
    EXPECT_EQ(listed(scene, "samples").first, "3");
    EXPECT_EQ(listed(scene, "Ci.wBalance").first, "1, 0.5, 0.25");

    EXPECT_EQ(run({"settings", scene, "--set", "Pt.maxsamples=5", "-o", copy, "-q"}).exitCode, 0);
    EXPECT_EQ(listed(scene, "samples").first, "3") << "the other file was written";
    EXPECT_EQ(listed(copy, "samples").first, "5");

    // A render takes what the document says, and the command line before that.
    const std::vector<std::string> render = {"render", scene, "-o", folder / "a.png", "--size", "8x8"};
    EXPECT_NE(run(render).err.find(", 3 samples"), std::string::npos);
    std::vector<std::string> more = render;
    more.insert(more.end(), {"--set", "Pt.maxsamples=7"});
    EXPECT_NE(run(more).err.find(", 7 samples"), std::string::npos);
}

TEST(Settings, WhatIsRefusedWritesNothing) {
    const ScratchFolder folder;
    const std::string scene = folder / "a.lumdoc";
    ASSERT_EQ(run({"convert", kCornell, scene, "-q"}).exitCode, 0);
    const std::string before = test::readFile(scene);
    const struct {
        std::vector<std::string> arguments;
        std::string said;
    } cases[] = {
        {{"settings"}, "SCENE"},
        {{"settings", scene, "--set", "pt.maxsample=5"}, "\"Pt.maxsamples\""},
        {{"settings", scene, "--set", "Pt.maxsamples=4", "--set", "Pt.maxsamples=0"}, "1 to 1000000"},
        {{"settings", scene, "--set", "Pt.maxsamples=1.5"}, "whole numbers"},
        {{"settings", scene, "--set", "Pt.alphachan=2"}, "0, 1"},
        {{"settings", scene, "--set", "Ci.exposure=nan"}, "0.001 to 4096"},
        {{"settings", scene, "--set", "Ci.wBalance=red"}, "three numbers"},
        {{"settings", scene, "--set", "Ci.response=500"}, "400 to 403"},
        {{"settings", scene, "--set", "kernel=fast"}, "path, pmc"},
        {{"settings", scene, "--preset", "fine"}, "\"fine\""},
        {{"settings", scene, "--save-preset", ""}, "needs a name"},
        {{"settings", scene, "-o", folder / "a.gltf"}, ".lumdoc"},
        {{"settings", kCornell, "--set", "Pt.maxsamples=5"}, "-o"},
    };
    for (const auto& row : cases) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.exitCode, 2) << row.said << ": " << outcome.err;
        EXPECT_NE(outcome.err.find(row.said), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    }
    EXPECT_TRUE(before == test::readFile(scene));
}

TEST(Settings, PresetsGoFromSceneToScene) {
    const ScratchFolder folder, preferences;
    const std::string scene = folder / "a.lumdoc";
    const auto call = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.end(), {"--preferences", preferences.path().string()});
        return run(arguments);
    };
    EXPECT_EQ(call({"settings", "--list-presets"}).out, "");
    ASSERT_EQ(call({"settings", kCornell, "--set", "kernel=direct", "--set", "DL.maxsamples=6", "--save-preset",
                    "rough", "-o", scene})
                  .exitCode,
              0);
    EXPECT_EQ(call({"settings", "--list-presets"}).out, "rough\n");
    EXPECT_EQ(call({"settings", "--list-presets", "--json"}).out, "[\n  \"rough\"\n]\n");
    const std::string other = folder / "b.lumdoc";
    ASSERT_EQ(call({"settings", kCornell, "--preset", "rough", "-o", other, "-q"}).exitCode, 0);
    EXPECT_EQ(listed(other, "kernel").first, "direct");
    EXPECT_EQ(listed(other, "samples").first, "6");
    const Outcome picture =
        call({"render", kCornell, "--preset", "rough", "-o", folder / "a.png", "--size", "8x8", "--set", "samples=4"});
    EXPECT_NE(picture.err.find(", 4 samples"), std::string::npos) << picture.err;

    // A file of presets that cannot be read is said, kept, and stands in nobody's way.
    std::ofstream(preferences.path() / "presets.dat") << "no presets";
    const Outcome damaged = call({"settings", "--list-presets"});
    EXPECT_EQ(damaged.exitCode, 0);
    EXPECT_NE(damaged.err.find("Warning: the presets in"), std::string::npos) << damaged.err;
    EXPECT_EQ(test::readFile(preferences.path() / "presets.dat.broken-1"), "no presets");
    EXPECT_EQ(call({"settings", kCornell, "--save-preset", "new", "-q"}).exitCode, 0);
    EXPECT_EQ(call({"settings", "--list-presets"}).out, "new\n");
}

TEST(Settings, DamagedPreferencesAreKeptAsideAndTheDefaultsUsed) {
    const ScratchFolder folder, preferences;
    const std::vector<std::string> command = {"settings", kCornell, "--preferences", preferences.path().string()};
    ASSERT_EQ(run(command).exitCode, 0);
    const std::string file = preferences / "world.prefs";
    ASSERT_TRUE(fs::exists(file)) << "the preferences are written when the program ends";
    std::ofstream(file) << "not preferences";
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_NE(outcome.err.find("Warning: the preferences"), std::string::npos) << outcome.err;
    EXPECT_EQ(test::readFile(file + ".broken-1"), "not preferences");
    EXPECT_EQ(run(command).err, "") << "the next start finds good ones";
}

}  // namespace
