#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "host/sdk/host_sdk.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

using test::ScratchFolder;
using test::TestApplication;

std::string bytesOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void store(const std::string& folder, Int32 id, Int32 value) {
    TestApplication app(folder);
    BaseContainer data;
    data.SetInt32(1, value);
    data.SetString(2, "text");
    EXPECT_TRUE(SetWorldPluginData(id, data));
}

TEST(WorldData, LastsFromOneRunToTheNext) {
    const ScratchFolder folder;
    store(folder.path(), 42, 7);
    TestApplication app(folder.path());
    ASSERT_NE(GetWorldPluginData(42), nullptr);
    EXPECT_EQ(GetWorldPluginData(42)->GetInt32(1), 7);
    EXPECT_EQ(GetWorldPluginData(43), nullptr);

    BaseContainer more;
    more.SetInt32(3, 9);
    EXPECT_TRUE(SetWorldPluginData(42, more, true));
    EXPECT_EQ(GetWorldPluginData(42)->GetString(2).str(), "text");
    EXPECT_EQ(GetWorldPluginData(42)->GetInt32(3), 9);
    EXPECT_TRUE(SetWorldPluginData(42, more, false));
    EXPECT_FALSE(GetWorldPluginData(42)->Has(1));
}

TEST(WorldData, ABrokenFileIsKeptAsideAndDefaultsAreUsed) {
    const ScratchFolder folder;
    const std::string file = folder / "world.prefs";
    store(folder.path(), 42, 7);
    const std::string whole = bytesOf(file);
    ASSERT_GT(whole.size(), 20U);
    std::string flipped = whole;
    flipped[whole.size() / 2] = static_cast<char>(flipped[whole.size() / 2] ^ 0x55);
    Int32 kept = 0;
    for (const std::string& broken : {whole.substr(0, whole.size() - 5), std::string("no preferences"), flipped}) {
        std::ofstream(file, std::ios::binary) << broken;
        TestApplication app(folder.path());
        EXPECT_EQ(GetWorldPluginData(42), nullptr);
        EXPECT_TRUE(app.said("defaults are used"));
        const std::string spare = file + ".broken-" + std::to_string(++kept);
        EXPECT_EQ(bytesOf(spare), broken) << spare;
        EXPECT_TRUE(SetWorldPluginData(42, BaseContainer()));
    }
}

TEST(Paths, TheFirstExistingPlaceOfAnImageIsTaken) {
    const ScratchFolder folder;
    TestApplication app(folder / "preferences");
    const std::string scene = folder / "scene", other = folder / "other";
    for (const std::string& sub : {scene + "/tex", scene + "/maps", other}) std::filesystem::create_directories(sub);
    const auto touch = [](const std::string& name) { std::ofstream(name) << "x"; };
    touch(scene + "/tex/a.png");
    touch(scene + "/maps/b.png");
    touch(other + "/c.png");
    touch(other + "/a.png");
    struct Case {
        std::string file, found;
    };
    for (const Case& c :
         {Case{"a.png", scene + "/tex/a.png"}, Case{other + "/a.png", other + "/a.png"},
          Case{"maps/b.png", scene + "/maps/b.png"}, Case{"c.png", other + "/c.png"},
          Case{"/nowhere/a.png", scene + "/tex/a.png"}, Case{"tex", ""}, Case{"d.png", ""}, Case{"", ""}}) {
        Filename found("left over");
        EXPECT_EQ(GenerateTexturePath(Filename(scene), Filename(c.file), Filename(other), &found), !c.found.empty());
        EXPECT_EQ(found.str(), c.found) << c.file;
    }
}

TEST(Paths, PreferencesThatCannotBeWrittenAreReplacedAndSaid) {
    TestApplication app("/proc/no/such/folder");
    EXPECT_TRUE(app.said("cannot be written"));
    EXPECT_TRUE(GeFExist(GeGetC4DPath(HostPath::Preferences)));
    EXPECT_FALSE(GeFKill(Filename("/")));
    EXPECT_FALSE(GeFKill(Filename("")));
}

}  // namespace
}  // namespace host
