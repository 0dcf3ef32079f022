// Help, wrong command lines and files that cannot be read or written: the exit code and the sentence.
#include <gtest/gtest.h>
#include <csignal>

#include "tests/app/program.h"

namespace {

namespace fs = std::filesystem;
using test::Outcome;
using test::run;
using test::RunOptions;
using test::ScratchFolder;

const std::string kCornell = std::string(LUMORA_EXAMPLES) + "/cornell/cornell.gltf";

/// One line that starts with the program's name: no help page, no stack of messages.
void expectOneSentence(const Outcome& outcome) {
    EXPECT_EQ(outcome.err.find("lumora: "), 0u) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
}

TEST(Usage, HelpAndVersionGoToStdout) {
    const struct {
        std::vector<std::string> arguments;
        std::vector<std::string> said;
    } cases[] = {
        {{"--version"}, {"lumora "}},
        {{"--help"}, {"render", "settings", "info", "convert", "--version"}},
        {{"render", "--help"},
         {"SCENE", "--size", "--samples", "--kernel", "--camera", "--frame", "--threads", "--set", "--quiet",
          "--response", "--exposure", "--denoise", "--list", "--pass", "--region", "--preferences", "Ctrl-C",
          "Examples"}},
        {{"settings", "--help"}, {"SCENE", "--set", "--preset", "--save-preset", "--list-presets", "-o", "--json"}},
        {{"info", "--help"}, {"--json", "Examples"}},
        {{"convert", "--help"}, {"IN", "OUT", "Example"}},
    };
    for (const auto& row : cases) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.exitCode, 0);
        EXPECT_EQ(outcome.err, "");
        for (const std::string& word : row.said) EXPECT_NE(outcome.out.find(word), std::string::npos) << word;
    }
}

TEST(Usage, WrongCommandLinesExitWithTwo) {
    const ScratchFolder folder;
    const std::string png = folder / "a.png";
    const struct {
        std::vector<std::string> arguments;
        std::string said;
    } cases[] = {
        {{"draw"}, "draw"},
        {{"render"}, "SCENE"},
        {{"render", kCornell, "--colour"}, "--colour"},
        {{"render", kCornell, kCornell}, "cornell"},
        {{"render", kCornell, "--size", "10"}, "--size 10"},
        {{"render", kCornell, "--size", "0x10"}, "--size 0x10"},
        {{"render", kCornell, "--size", "10x-10"}, "--size 10x-10"},
        {{"render", kCornell, "--size", "32769x10"}, "32768"},
        {{"render", kCornell, "--size", "99999999999x10"}, "32768"},
        {{"render", kCornell, "--size", "10x10px"}, "10x10px"},
        {{"render", kCornell, "--samples", "0"}, "--samples"},
        {{"render", kCornell, "--samples", "many"}, "--samples"},
        {{"render", kCornell, "--samples", "99999999999"}, "--samples"},
        {{"render", kCornell, "--region", "1,2,3"}, "--region 1,2,3"},
        {{"render", kCornell, "--region", "1,2,0,4"}, "--region 1,2,0,4"},
        {{"render", kCornell, "--region", "1,2,3,4,5"}, "--region 1,2,3,4,5"},
        {{"render", kCornell, "--threads", "0"}, "--threads"},
        {{"render", kCornell, "--exposure", "-1"}, "--exposure"},
        {{"render", kCornell, "--exposure", "bright"}, "--exposure"},
        {{"render", "--list", "everything"}, "everything"},
        {{"render", "--list"}, "--list"},
        {{"render", kCornell, "--set", "novalue"}, "KEY=VALUE"},
        {{"render", kCornell, "-o", folder / "a.gif"}, "png"},
        {{"render", kCornell, "-o", folder / "a"}, "png"},
        {{"convert", kCornell, folder / "a.obj"}, ".lumdoc"},
        // These ask the scene or the renderer.
        {{"render", kCornell, "-o", png, "--set", "no.such.key=1"}, "no.such.key"},
        {{"render", kCornell, "-o", png, "--response", "Velvet"}, "Velvet"},
        {{"render", kCornell, "-o", png, "--kernel", "magic"}, "magic"},
        {{"render", kCornell, "-o", png, "--pass", "deph"}, "\"depth\""},
        {{"render", kCornell, "-o", png, "--pass", "depth", "--kernel", "pmc"}, "--kernel pmc"},
        {{"render", kCornell, "-o", png, "--size", "64x48", "--region", "60,0,5,5"}, "64x48"},
        {{"render", kCornell, "-o", png, "--camera", "Kamera"}, "\"Camera\""},
        {{"render", kCornell, "-o", png, "--frame", "1000000"}, "1000000"},
        {{"render", kCornell, "-o", png, "--", "-nobodyTakesThis"}, "-nobodyTakesThis"},
    };
    for (const auto& row : cases) {
        const Outcome outcome = run(row.arguments);
        EXPECT_EQ(outcome.exitCode, 2) << row.said << ": " << outcome.err;
        EXPECT_NE(outcome.err.find(row.said), std::string::npos) << outcome.err;
        expectOneSentence(outcome);
    }
    EXPECT_TRUE(fs::is_empty(folder.path()));
    EXPECT_EQ(run({}).exitCode, 2);
}

TEST(Usage, FilesThatCannotBeReadAreNamedAndNothingIsOverwritten) {
    const ScratchFolder folder;
    const std::string gltf = test::readFile(kCornell);
    const std::string cases[] = {
        folder / "missing.gltf",
        folder.path().string(),
        folder.write("empty.gltf", ""),
        folder.write("random.glb", std::string("\x01\x7f\xff\x00\x12\x99\xfe\x03\x41", 9)),
        folder.write("cut.gltf", gltf.substr(0, gltf.size() / 2)),
        folder.write("nobuffer.gltf", gltf),
        folder.write("broken.lumdoc", "LUM"),
        folder.write("scene.xyz", gltf),
        folder.write("nosuffix", gltf),
    };
    const std::string kept = folder.write("kept.png", "as it was");
    for (const std::string& file : cases) {
        for (const auto& command : {std::vector<std::string>{"info", file},
                                    {"render", file, "-o", kept},
                                    {"convert", file, folder / "out.lumdoc"}}) {
            const Outcome outcome = run(command);
            EXPECT_EQ(outcome.exitCode, 1) << file << ": " << outcome.err;
            EXPECT_NE(outcome.err.find(fs::path(file).filename().string()), std::string::npos) << outcome.err;
            expectOneSentence(outcome);
        }
    }
    EXPECT_EQ(test::readFile(kept), "as it was");
    EXPECT_FALSE(fs::exists(folder / "out.lumdoc"));
}

TEST(Usage, OutputThatCannotBeWrittenIsSaidBeforeRendering) {
    const ScratchFolder folder;
    const std::string file = folder.write("file", "x");
    fs::create_directory(folder / "folder.png");
    for (const std::string& output : {folder / "none/a.png", file + "/a.png", folder / "folder.png",
                                      std::string("/proc/lumora.png"), std::string("/proc/lumora.lumdoc")}) {
        const bool picture = fs::path(output).extension() == ".png";
        // So many samples that a render would not end in the time that the test has.
        const Outcome outcome =
            picture ? run({"render", kCornell, "-o", output, "--samples", "1000000", "--size", "4000x4000"})
                    : run({"convert", kCornell, output});
        EXPECT_EQ(outcome.exitCode, 1) << output;
        EXPECT_NE(outcome.err.find(fs::path(output).parent_path().string()), std::string::npos) << outcome.err;
        expectOneSentence(outcome);
    }
}

TEST(Usage, AnEngineThatDoesNotStartIsAFailureThatSaysWhy) {
    const ScratchFolder folder;
    RunOptions options;
    options.environment = {"LUMORA_ENGINE_FAIL_START=the processor is too old"};
    const Outcome outcome = run({"render", kCornell, "-o", folder / "a.png", "--size", "8x8"}, options);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_NE(outcome.err.find("the processor is too old"), std::string::npos) << outcome.err;
    EXPECT_TRUE(fs::is_empty(folder.path()));
    // Everything else works: the plug-in is loaded.
    EXPECT_EQ(run({"info", kCornell}, options).exitCode, 0);
}

}  // namespace
