// The reference of the nodes says what the tables say.
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "engine/schema/texts.h"
#include "tools/node_reference/reference.h"

namespace Lumora::engine {
namespace {

TEST(NodeReference, IsCurrent) {
    std::ifstream file(LUMORA_DOCS "/engine-nodes.md", std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_TRUE(text.str() == nodeReference())
        << "docs/engine-nodes.md is not what the tables say: run lumora_node_reference docs/engine-nodes.md";
}

TEST(NodeReference, EveryPinAndAttributeHasOneText) {
    for (const NodeSchema* node : allNodeSchemas()) {
        if (node->role == NodeRole::Linker) continue;
        EXPECT_STRNE(nodeText(node->type), "") << node->name;
        for (const PinSchema& pin : node->pins) {
            EXPECT_STRNE(pinText(node->type, pin.id).effect, "") << node->name << ": " << pin.name;
        }
        for (const AttributeSchema& a : node->attributes) {
            EXPECT_STRNE(attributeText(a.id).effect, "") << node->name << ": " << a.name;
        }
    }
    std::set<std::pair<PinId, NodeType>> seen;
    for (const auto rows : {schema::texturePinTexts(), schema::materialPinTexts(), schema::renderPinTexts()}) {
        for (const schema::PinTextRow& row : rows) {
            EXPECT_TRUE(seen.insert({row.pin, row.type}).second) << "pin " << row.pin << " of type " << row.type;
            if (row.type == NT_UNKNOWN) continue;
            ASSERT_NE(nodeSchema(row.type), nullptr);
            EXPECT_GE(nodeSchema(row.type)->pinIndex(row.pin), 0) << "pin " << row.pin << " of type " << row.type;
        }
    }
}

}  // namespace
}  // namespace Lumora::engine
