// The pictures of the reference: the table of strips fits the schema, and each strip has its file.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "engine/schema/schema.h"
#include "tools/node_pictures/strips.h"

namespace Lumora::engine {
namespace {

/// What is wrong with a recipe, and with those that feed it; empty when all is well.
std::string faultOf(const pictures::Recipe& recipe) {
    const NodeSchema* node = nodeSchema(recipe.type);
    if (!node) return "no node type " + std::to_string(recipe.type);
    for (const auto& [attribute, value] : recipe.attributes)
        if (node->attributeIndex(attribute) < 0) return std::string(node->name) + " lacks an attribute";
    if (!recipe.knots.empty() && node->dynamic != DynamicPins::Gradient)
        return std::string(node->name) + " takes no knots";
    if (recipe.chart != pictures::Chart::None && node->attributeIndex(A_BUFFER) < 0)
        return std::string(node->name) + " is no image";
    for (const pictures::Setting& setting : recipe.settings) {
        const int index = node->pinIndex(setting.pin);
        if (index < 0) return std::string(node->name) + " has no pin " + std::to_string(setting.pin);
        const PinSchema& pin = node->pins[static_cast<std::size_t>(index)];
        const auto* input = std::get_if<pictures::RecipePtr>(&setting.value);
        if (!input) continue;
        const NodeSchema* source = nodeSchema((*input)->type);
        if (!source || source->output != pin.type) return std::string(node->name) + ": wrong node on " + pin.name;
        if (const std::string fault = faultOf(**input); !fault.empty()) return fault;
    }
    return {};
}

TEST(NodePictures, TheTableFitsTheSchema) {
    std::set<std::string> names;
    for (const pictures::Strip& strip : pictures::allStrips()) {
        EXPECT_TRUE(names.insert(strip.name).second) << strip.name << " is there twice";
        EXPECT_NE(nodeSchema(strip.node), nullptr) << strip.name;
        EXPECT_FALSE(strip.caption.empty()) << strip.name;
        EXPECT_FALSE(strip.columns.empty()) << strip.name;
        for (const pictures::Column& column : strip.columns)
            EXPECT_EQ(faultOf(column.recipe), "") << strip.name << ", " << column.label;
    }
}

TEST(NodePictures, EveryNodeThatIsSeenHasAPicture) {
    // Shaders, and what is seen only in volumes or as part of the triplanar map.
    const std::set<NodeType> without = {NT_TEX_OSL, NT_TEX_VOLUMEGRADIENT, NT_PROJ_OSL, NT_PROJ_OSL_DELAYED,
                                        NT_PROJ_TRIPLANAR};
    const std::set<NodePinType> seen = {PT_MATERIAL,   PT_TEXTURE,   PT_EMISSION,     PT_ENVIRONMENT,
                                        PT_PROJECTION, PT_TRANSFORM, PT_DISPLACEMENT, PT_TOON_RAMP};
    std::set<NodeType> pictured;
    for (const pictures::Strip& strip : pictures::allStrips()) pictured.insert(strip.node);
    for (const NodeSchema* node : allNodeSchemas()) {
        if (node->role == NodeRole::Linker || !seen.contains(node->output) || without.contains(node->type)) continue;
        EXPECT_TRUE(pictured.contains(node->type)) << node->name;
    }
}

TEST(NodePictures, FilesAndTableAgree) {
    const std::filesystem::path docs = LUMORA_DOCS;
    std::set<std::string> wanted, there;
    for (const pictures::Strip& strip : pictures::allStrips()) wanted.insert(pictures::pathInDocs(strip));
    for (const auto& entry : std::filesystem::directory_iterator(docs / "images/nodes"))
        there.insert("images/nodes/" + entry.path().filename().string());
    EXPECT_EQ(wanted, there) << "run lumora_node_pictures docs/images/nodes";
}

}  // namespace
}  // namespace Lumora::engine
