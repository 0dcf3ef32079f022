// The tables: every type can be made, set, read and destroyed, and nothing in them contradicts itself.
#include <set>

#include "engine/graph/value.h"
#include "engine/schema/passes.h"
#include "tests/engine/graph/graph_fixture.h"

namespace Lumora::engine {

using SchemaTest = GraphTest;

TEST_F(SchemaTest, RowsAreSound) {
    std::set<std::string> names;
    for (const NodeSchema* type : allNodeSchemas()) {
        EXPECT_TRUE(names.insert(type->name).second) << type->name;
        std::set<int> pins, attributes;
        for (const PinSchema& pin : type->pins) {
            EXPECT_TRUE(pins.insert(pin.id).second) << type->name << ": pin " << pin.id << " twice";
            EXPECT_STRNE(pinTypeName(pin.type), "") << type->name << ": " << pin.name;
            EXPECT_LE(pin.minValue, pin.maxValue) << type->name << ": " << pin.name;
            if (pin.dimension > 0) {
                EXPECT_FALSE(std::holds_alternative<std::monostate>(defaultValue(pin)))
                    << type->name << ": " << pin.name;
                const NodeSchema* value = nodeSchema(valueNodeType(pin));
                ASSERT_NE(value, nullptr);
                EXPECT_TRUE(pinAccepts(pin, *value)) << type->name << ": " << pin.name;
                EXPECT_GE(pin.defaultValue.x, pin.minValue) << type->name << ": " << pin.name;
                EXPECT_LE(pin.defaultValue.x, pin.maxValue) << type->name << ": " << pin.name;
            }
            if (pin.defaultNode != NT_UNKNOWN) {
                EXPECT_EQ(nodeSchema(pin.defaultNode)->output, pin.type);
            }
        }
        for (const AttributeSchema& attribute : type->attributes) {
            EXPECT_TRUE(attributes.insert(attribute.id).second) << type->name << ": attribute " << attribute.id;
            EXPECT_NE(defaultValue(attribute).index(), 0u) << type->name << ": " << attribute.name;
        }
    }
    std::set<int> passPins, passIds;
    for (std::size_t i = 0; i < kRenderPassCount; ++i) {
        EXPECT_TRUE(passIds.insert(kRenderPasses[i].id).second) << kRenderPasses[i].name;
        EXPECT_TRUE(passPins.insert(kRenderPasses[i].pin).second) << kRenderPasses[i].name;
    }
}

TEST_F(SchemaTest, EveryTypeIsMadeSetReadAndDestroyed) {
    for (unsigned i = 0; ApiInfo::nodeTypeIx(i) != NT_UNKNOWN; ++i) {
        const NodeType type = ApiInfo::nodeTypeIx(i);
        for (const bool configured : {true, false}) {
            ApiNode* node = make(type, configured);
            ASSERT_NE(node, nullptr) << type;
            for (unsigned p = 0; p < node->pinCount(); ++p) {
                const ApiNodePinInfo info = node->pinInfoIx(p);
                SCOPED_TRACE(std::string(ApiInfo::getNodeTypeName(type)) + ": " + info.name);
                if (info.dimension == 0 || info.type == PT_STRING) {
                    continue;
                }
                if (configured && p % 2 == 0) {
                    EXPECT_NE(node->connectedNodeIx(p), nullptr);
                }
                const float value = info.defaultValue.x == 1 ? 0.f : 1.f;
                EXPECT_TRUE(node->setPinValue(info.id, value));
                EXPECT_EQ(node->getPinFloat(info.id), value);
                EXPECT_TRUE(node->setPinValue(info.id, 3));
                EXPECT_EQ(node->getPinInt(info.id), info.type == PT_BOOL ? 1 : 3);
            }
            node->clearAllAttr(true);
            node->evaluate();
            node->destroy();
        }
    }
    EXPECT_TRUE(lines().empty()) << lines().front();
    ApiItemArray items;
    root->getOwnedItems(items);
    EXPECT_EQ(items.size(), 0u);
}

// The numbers that scenes and plug-ins are written with.
TEST_F(SchemaTest, TypesHaveThePinsThatTheirUsersWrite) {
    const struct {
        int type;
        std::vector<int> pins;
        std::vector<int> attributes;
    } kRows[] = {
        {1, {}, {31, 190, 121, 189, 120, 80,  115, 184, 119, 182, 117, 183, 118, 114, 116,
                 82, 63,  34,  124, 161, 162, 163, 280, 40,  44,  45,  46,  47,  49,  188}},
        {3, {}, {113}},
        {5, {59}, {170, 279}},
        {13,
         {133, 235, 248, 53, 132, 130, 35,  127, 95,  8,   9,   93,  200, 116,
          315, 12,  51,  10, 335, 333, 334, 228, 224, 316, 227, 225, 226},
         {}},
        {62, {133, 235, 248, 20, 54, 55, 87, 8, 9, 93, 200, 116, 315, 12, 51, 10, 335, 333, 334, 228, 224, 316}, {}},
        {94, {262, 272, 242, 259, 260, 133, 288, 289}, {}},
        {14, {231, 138, 114, 246, 120, 233, 332, 330, 331, 217, 232, 79, 317, 318, 319, 269, 110, 240}, {}},
        {37, {138, 79, 269, 110, 240, 317, 318, 319}, {}},
        {15,
         {199, 45, 57, 73, 252, 208, 74, 139, 310, 112, 38, 207, 255, 268, 389, 444, 388, 391, 392, 390, 369, 370, 271},
         {}},
        {16, {30, 222, 204, 49, 203, 358, 377, 387, 437, 438, 439, 125, 18, 34, 119, 48, 80, 218, 39, 357}, {}},
        {17, {30, 245, 110, 41, 125, 18, 34, 119, 218, 102, 39}, {}},
        {18, {145, 245, 110, 204, 49, 48, 80, 33, 218, 46, 146, 125, 18, 34, 119, 357}, {}},
        {120, {222, 363, 204, 49, 48, 80, 374, 375, 376, 218, 203, 358, 377, 437}, {}},
        {121, {30, 222, 364, 365, 366, 367, 256, 125, 18, 119}, {}},
        {130, {409, 222, 410, 411, 440, 80, 374, 375, 376, 33, 102, 46, 146, 245, 110, 41, 377, 437}, {}},
        {19, {6, 100, 101, 34}, {}},
        {20, {42}, {}},
        {23,
         {108, 104, 105, 144, 50, 129, 22, 60, 3, 2, 86, 381, 386, 384, 435, 434, 433, 44, 32, 107, 128, 281, 368},
         {}},
        {24,
         {108, 29,  66,  221, 61,  7,   50,  144, 129, 25,  3,   2,   86,  381, 223, 273,
          267, 270, 347, 349, 351, 353, 350, 386, 384, 385, 435, 434, 433, 368, 326},
         {}},
        {25,
         {108, 104, 105, 50,  144, 129, 25,  22,  60,  3,   2,   86,  381, 223,
          273, 267, 270, 347, 349, 351, 353, 350, 386, 384, 435, 434, 433, 368},
         {}},
        {26, {81, 108, 2, 329, 72, 18, 50, 250, 249, 144, 257, 109, 7, 270, 125, 273, 267}, {}},
        {34, {138, 57, 83, 15, 243, 141}, {34, 124, 13, 147, 173, 290}},
        {49, {82, 299, 113, 106}, {81}},
        {50, {119, 68, 47, 324, 327}, {}},
        {53, {236, 138, 206, 118, 234, 77, 360, 359, 314, 361, 436, 97, 37, 237}, {}},
        {54, {138, 206, 234, 77, 360, 359, 314, 361, 436, 97, 37, 237}, {}},
        {56, {19, 43, 303, 111, 311, 307, 89, 147, 158, 78, 136}, {}},
        {58, {1, 209, 302, 274}, {}},
        {59, {1, 211, 41, 131, 209, 302, 274}, {}},
        {61, {124, 14, 64, 65, 62, 63, 219, 220}, {}},
        {65, {58, 21, 213, 92, 262, 433, 297}, {}},
        {67, {}, {137, 139, 172}},
        {80, {13, 6, 96, 371, 336, 50, 240}, {}},
        {86, {155, 157, 276, 153, 152, 154, 346, 389, 197, 187, 298, 277, 258, 329, 161, 7, 250, 257, 109, 249}, {}},
        {90, {42, 92, 83, 324}, {}},
        {91, {110, 328}, {34,  124, 43,  198, 207, 200, 199, 208, 201, 211, 212, 213,
                          234, 233, 241, 242, 243, 238, 239, 240, 205, 206, 232, 170}},
        {98, {1, 211, 41, 291, 292, 293, 131, 302, 209, 274}, {}},
        {99, {305, 304}, {}},
        {103, {230}, {34}},
        {109, {345, 339, 342, 340, 343, 341, 344, 135, 243}, {}},
        {115, {240, 42, 355, 206, 356, 15, 198, 138, 57, 243, 141}, {}},
        {117, {}, {281, 282, 283}},
        {123, {237}, {}},
        {124, {237, 231, 138}, {}},
        {132, {}, {185}},
    };
    for (const auto& row : kRows) {
        const NodeSchema* type = nodeSchema(static_cast<NodeType>(row.type));
        ASSERT_NE(type, nullptr) << row.type;
        for (const int pin : row.pins) {
            EXPECT_GE(type->pinIndex(static_cast<PinId>(pin)), 0) << type->name << ": pin " << pin;
        }
        for (const int attribute : row.attributes) {
            EXPECT_GE(type->attributeIndex(static_cast<AttributeId>(attribute)), 0)
                << type->name << ": attribute " << attribute;
        }
    }
}

TEST_F(SchemaTest, ATargetIsConfiguredToRender) {
    ApiNode* target = make(NT_RENDER_TARGET);
    EXPECT_EQ(target->connectedNode(P_CAMERA)->type(), NT_CAM_THINLENS);
    EXPECT_EQ(target->connectedNode(P_FILM_SETTINGS)->type(), NT_FILM_SETTINGS);
    EXPECT_EQ(target->connectedNode(P_ENVIRONMENT)->type(), NT_ENV_TEXTURE);
    EXPECT_EQ(target->connectedNode(P_VISIBLE_ENVIRONMENT), nullptr);
    EXPECT_NE(target->createInternal(P_ANIMATION, NT_ANIMATION_SETTINGS, true, true), nullptr);
}

}  // namespace Lumora::engine
