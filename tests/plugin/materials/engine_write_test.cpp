// One place writes to the engine.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

/// The build folder lies in the repository. Empty elsewhere.
fs::path pluginSources() {
    for (fs::path at = LUMORA_TEST_PLUGIN_DIR; at.has_relative_path(); at = at.parent_path())
        if (fs::exists(at / "plugin/materials/engine_write.h")) return at / "plugin";
    return {};
}

bool has(const std::string& line, const std::string& text) {
    return line.find(text) != std::string::npos;
}

/// A call of one of the engine's setters.
bool writesDirectly(const std::string& line) {
    for (const char* name :
         {"setPinValue", "connectTo", "connectToIx", "createInternal", "createInternalIx", "setPluginData",
          "setPluginDataStr", "destroy", "unfold", "evaluate", "setAnim", "clearAllAttr", "deleteUnconnectedItems",
          "setName", "configureEmptyPins", "set(A_", "set(Lumora::A_"}) {
        const std::string call = name + std::string(has(name, "(") ? "" : "(");
        if (has(line, "->" + call)) return true;
    }
    return has(line, "ApiNode::create(") || has(line, "ApiNodeGraph::create(") || has(line, "rootNodeGraph().clear(");
}

TEST(EngineWriteTest, ThePluginWritesThroughItsHelpersOnly) {
    if (pluginSources().empty()) GTEST_SKIP() << "the sources are not here";
    int files = 0;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(pluginSources())) {
        const fs::path& path = entry.path();
        if ((path.extension() != ".cpp" && path.extension() != ".h") || path.stem() == "engine_write") continue;
        ++files;
        std::ifstream in(path);
        std::string line;
        for (int number = 1; std::getline(in, line); ++number)
            EXPECT_FALSE(writesDirectly(line)) << path << ":" << number << ": " << line;
    }
    EXPECT_GT(files, 50);
}

}  // namespace
