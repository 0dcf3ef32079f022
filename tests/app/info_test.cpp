// What the program tells about scenes, and that a converted scene is the same scene.
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/app/program.h"

namespace {

using nlohmann::json;
using test::Outcome;
using test::run;
using test::ScratchFolder;

const std::string kExamples = LUMORA_EXAMPLES;

/// All but the file's name.
json facts(const std::string& file) {
    const Outcome outcome = run({"info", "--json", file});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    json document = json::parse(outcome.out, nullptr, false);
    EXPECT_FALSE(document.is_discarded()) << outcome.out;
    if (document.is_object()) document.erase("file");
    return document;
}

TEST(Info, TellsWhatTheSceneHolds) {
    const Outcome outcome = run({"info", kExamples + "/cornell/cornell.gltf"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    for (const char* text : {"\"Tall block\"", "\"Back wall\"", "\"Red\"", "\"Light\"", "\"Camera\"", "luminance",
                             "Unit: 0.01 m", "Missing files: none", "Animation: none"})
        EXPECT_NE(outcome.out.find(text), std::string::npos) << text << "\n" << outcome.out;
    EXPECT_EQ(facts(kExamples + "/cornell/cornell.gltf")["cameras"].size(), 1u);
}

TEST(Info, CountsInstancesButHoldsTheirMeshOnce) {
    const json scene = facts(kExamples + "/still-life/still-life.gltf");
    EXPECT_GT(scene["instances"], 20);
    EXPECT_GT(scene["polygonsWithInstances"], scene["polygons"]);
    EXPECT_TRUE(scene["missingFiles"].empty());
}

TEST(Info, NamesMissingTextures) {
    const ScratchFolder folder;
    folder.write("m.mtl", "newmtl paint\nKd 1 1 1\nmap_Kd lost.png\n");
    const std::string file = folder.write("m.obj",
                                          "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\nusemtl paint\n"
                                          "f 1/1 2/1 3/1\n");
    const Outcome outcome = run({"info", file});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("lost.png (missing)"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("lost.png"), std::string::npos) << "a warning: " << outcome.err;
}

TEST(Convert, AConvertedSceneIsTheSameScene) {
    const ScratchFolder folder;
    for (const char* scene : {"/cornell/cornell.gltf", "/still-life/still-life.gltf"}) {
        const std::string first = folder / "first.lumdoc", second = folder / "second.lumdoc";
        ASSERT_EQ(run({"convert", kExamples + scene, first}).exitCode, 0);
        EXPECT_EQ(facts(first), facts(kExamples + scene)) << scene;
        ASSERT_EQ(run({"convert", first, second}).exitCode, 0);
        EXPECT_EQ(facts(second), facts(first)) << scene;
    }
}

TEST(Convert, AConvertedSceneGivesTheSamePicture) {
    const ScratchFolder folder;
    const std::string original = kExamples + "/still-life/still-life.gltf", converted = folder / "a.lumdoc";
    ASSERT_EQ(run({"convert", original, converted}).exitCode, 0);
    std::string pictures[2];
    for (const int i : {0, 1}) {
        const std::string file = folder / ("p" + std::to_string(i) + ".png");
        ASSERT_EQ(run({"render", i ? converted : original, "-o", file, "--size", "48x32", "--samples", "4"}).exitCode,
                  0);
        pictures[i] = test::readFile(file);
    }
    EXPECT_TRUE(pictures[0] == pictures[1]);
}

}  // namespace
