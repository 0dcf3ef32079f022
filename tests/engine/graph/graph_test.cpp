// Items, connections, dynamic pins, copies.
#include "tests/engine/graph/graph_fixture.h"

namespace Lumora::engine {

using NodeGraphTest = GraphTest;

TEST_F(NodeGraphTest, CirclesAreRefused) {
    ApiNode* a = make(NT_TEX_ADD);
    ApiNode* b = make(NT_TEX_ADD);
    ApiNode* c = make(NT_TEX_ADD);
    EXPECT_TRUE(a->connectTo(P_TEXTURE1, b));
    EXPECT_TRUE(b->connectTo(P_TEXTURE1, c));
    EXPECT_FALSE(c->connectTo(P_TEXTURE1, a));
    EXPECT_FALSE(a->connectTo(P_TEXTURE2, a));
    EXPECT_TRUE(a->connectTo(P_TEXTURE2, c)) << "two ways to one node are no circle";

    // Through a graph's output, and from inside a pin.
    ApiNodeGraph* graph = makeGraph();
    ApiNode* out = ApiNode::create(NT_OUT_TEXTURE, *graph, true);
    ApiNode* inner = ApiNode::create(NT_TEX_ADD, *graph, true);
    EXPECT_TRUE(out->connectTo(P_INPUT, inner));
    EXPECT_TRUE(c->connectTo(P_TEXTURE1, out));
    EXPECT_FALSE(inner->connectTo(P_TEXTURE1, a));
    ApiNode* inside = a->createInternal(P_TEXTURE1, NT_TEX_INVERT, true, true);
    EXPECT_FALSE(inside->connectTo(P_TEXTURE, a));
    EXPECT_TRUE(inside->connectTo(P_TEXTURE, c));
}

TEST_F(NodeGraphTest, NodesInsidePinsGoWithWhatReplacesThem) {
    ApiNode* material = make(NT_MAT_DIFFUSE);
    ApiNode* image = make(NT_TEX_IMAGE);
    material->createInternal(P_OPACITY, NT_TEX_FLOAT, true, true);
    ApiWriteJournal::reset();
    EXPECT_TRUE(material->connectTo(P_OPACITY, image));
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_DESTROY), 1u);
    EXPECT_EQ(material->connectedNode(P_OPACITY), image);
    image->destroy();
    EXPECT_EQ(material->connectedNode(P_OPACITY), nullptr);

    // Comparing before connecting makes no node that would have to be counted.
    ApiWriteJournal::reset();
    EXPECT_NE(material->connectedNode(P_ROUGHNESS), nullptr);
    EXPECT_TRUE(material->connectTo(P_ROUGHNESS, nullptr));
    EXPECT_EQ(ApiWriteJournal::total(), 1u);

    // A node cannot take the place of the node that holds it.
    ApiNode* invert = material->createInternal(P_DIFFUSE, NT_TEX_INVERT, true, true);
    ApiNode* deep = invert->createInternal(P_TEXTURE, NT_TEX_CHECKS, true, true);
    EXPECT_FALSE(material->connectTo(P_DIFFUSE, deep));
    EXPECT_EQ(material->connectedNode(P_DIFFUSE), invert);

    ApiItemArray items;
    root->getOwnedItems(items);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items.get(0), material);
}

TEST_F(NodeGraphTest, DynamicPinsKeepTheirConnections) {
    ApiNode* group = make(NT_GEO_GROUP);
    ApiNode* meshes[3];
    EXPECT_EQ(group->pinCount(), 0u);
    group->set(A_GROUP_PIN_COUNT, 3, false);
    EXPECT_EQ(group->pinCount(), 0u) << "not before the evaluation";
    group->evaluate();
    ASSERT_EQ(group->dynPinCount(), 3u);
    for (unsigned i = 0; i < 3; ++i) {
        meshes[i] = make(NT_GEO_MESH);
        EXPECT_TRUE(group->connectToIx(i, meshes[i]));
    }
    group->set(A_GROUP_PIN_COUNT, 5);
    group->set(A_GROUP_PIN_COUNT, 2);
    group->set(A_GROUP_PIN_COUNT, 3);
    EXPECT_EQ(group->connectedNodeIx(0), meshes[0]);
    EXPECT_EQ(group->connectedNodeIx(1), meshes[1]);
    EXPECT_EQ(group->connectedNodeIx(2), nullptr);
    meshes[1]->destroy();
    EXPECT_EQ(group->connectedNodeIx(1), nullptr);
    EXPECT_EQ(group->connectedNodeIx(0), meshes[0]);
}

TEST_F(NodeGraphTest, MaterialPinsFollowTheirNames) {
    ApiNode* mesh = make(NT_GEO_MESH);
    const auto names = [mesh](std::vector<const char*> list) {
        mesh->set(A_MATERIAL_NAMES, list.data(), list.size(), false);
        mesh->evaluate();
    };
    names({"default", "wood", "glass"});
    ASSERT_EQ(mesh->pinCount(), mesh->staticPinCount() + 3);
    const unsigned base = mesh->staticPinCount();
    ApiNode* wood = make(NT_MAT_DIFFUSE);
    ApiNode* glass = make(NT_MAT_SPECULAR);
    mesh->connectToIx(base + 1, wood);
    mesh->connectToIx(base + 2, glass);
    EXPECT_EQ(mesh->connectedNode("glass"), glass);

    names({"default", "stone", "glass", "wood"});
    EXPECT_EQ(mesh->connectedNodeIx(base + 1), nullptr);
    EXPECT_EQ(mesh->connectedNodeIx(base + 2), glass);
    EXPECT_EQ(mesh->connectedNodeIx(base + 3), wood);
    EXPECT_STREQ(mesh->pinNameIx(base + 3), "wood");

    names({"default", "stone", "oak"});
    EXPECT_EQ(mesh->connectedNodeIx(base + 2), glass) << "a renamed pin keeps its place";
    glass->destroy();
    EXPECT_EQ(mesh->connectedNodeIx(base + 2), nullptr);
    wood->destroy();
}

TEST_F(NodeGraphTest, GradientsAndLayerMapsMakeTheirPins) {
    ApiNode* gradient = make(NT_TEX_GRADIENT);
    gradient->set(A_PIN_COUNT, 2);
    const unsigned base = gradient->staticPinCount();
    ASSERT_EQ(gradient->pinCount(), base + 4);
    EXPECT_EQ(gradient->pinTypeIx(base), PT_FLOAT);
    EXPECT_EQ(gradient->pinTypeIx(base + 1), PT_TEXTURE);
    gradient->createInternalIx(base, NT_FLOAT, true, true)->set(A_VALUE, 0.25f);
    EXPECT_EQ(gradient->getPinFloatIx(base), 0.25f);
    EXPECT_NE(gradient->createInternalIx(base + 1, NT_TEX_RGB, true, true), nullptr);

    ApiNode* map = make(NT_GEO_LAYER_MAP);
    ApiNode* mesh = make(NT_GEO_MESH);
    EXPECT_TRUE(map->connectTo(P_GEOMETRY, mesh));
    EXPECT_EQ(map->pinCount(), 2u) << "a mesh without object names is one object";
    ApiNode* layer = map->createInternalIx(1, NT_OBJECT_LAYER, true, true);
    ASSERT_NE(layer, nullptr);
    EXPECT_TRUE(layer->setPinValue(P_LAYER_OPACITY, 0.5f));
    const char* names[] = {"obje0", "obje1", "obje2"};
    mesh->set(A_OBJECT_NAMES, names, 3, false);
    mesh->evaluate();
    EXPECT_EQ(map->pinCount(), 4u) << "the map follows the mesh";
    EXPECT_EQ(map->connectedNodeIx(1), layer);
}

TEST_F(NodeGraphTest, NothingIsMadeInsideAPinThatGoes) {
    ApiNode* group = make(NT_GEO_GROUP);
    group->set(A_GROUP_PIN_COUNT, 3);
    group->set(A_GROUP_PIN_COUNT, 1, false);
    EXPECT_EQ(group->createInternalIx(2, NT_GEO_MESH, true, true), nullptr);
    EXPECT_EQ(group->pinCount(), 1u);
    EXPECT_NE(group->createInternalIx(0, NT_GEO_MESH, true, true), nullptr);
}

TEST_F(NodeGraphTest, LinkersLeadOn) {
    ApiNodeGraph* graph = makeGraph();
    ApiNode* out = ApiNode::create(NT_OUT_MATERIAL, *graph, true);
    ApiNode* material = ApiNode::create(NT_MAT_DIFFUSE, *graph, true);
    out->connectTo(P_INPUT, material);
    ApiNode* mix = make(NT_MAT_MIX);
    EXPECT_TRUE(mix->connectTo(P_MATERIAL1, out));
    EXPECT_EQ(mix->connectedNode(P_MATERIAL1), out);
    EXPECT_EQ(mix->inputNode(P_MATERIAL1), material);
    EXPECT_TRUE(out->isOutputLinker());
    EXPECT_EQ(graph->findFirstOutputNode(PT_MATERIAL), out);
    EXPECT_EQ(graph->findFirstNode(NT_MAT_DIFFUSE), material);
    graph->destroy();
    EXPECT_EQ(mix->connectedNode(P_MATERIAL1), nullptr);
}

TEST_F(NodeGraphTest, CopiesAreWholeAndOnTheirOwn) {
    // target -> mesh -> (graph: out <- material <- image)
    ApiNode* mesh = make(NT_GEO_MESH);
    const char* names[] = {"m"};
    mesh->set(A_MATERIAL_NAMES, names, 1);
    const Vec3<float> points[] = {{1, 2, 3}};
    mesh->set(A_VERTICES, points, 1);
    ApiNodeGraph* nested = makeGraph();
    nested->setName("nested");
    int mine = 0;
    nested->setPluginData(&mine);
    nested->setPluginDataStr("kept");
    ApiNode* out = ApiNode::create(NT_OUT_MATERIAL, *nested, true);
    ApiNode* material = ApiNode::create(NT_MAT_DIFFUSE, *nested, true);
    ApiNode* image = make(NT_TEX_IMAGE);
    out->connectTo(P_INPUT, material);
    material->connectTo(P_DIFFUSE, image);
    material->createInternal(P_OPACITY, NT_TEX_FLOAT, true, true)->set(A_VALUE, 0.5f);
    mesh->connectToIx(0, out);

    ApiRootNodeGraph* other = ApiRootNodeGraph::create(4000021);
    ApiItem* copied = other->copyItemTree(*mesh);
    ASSERT_NE(copied, nullptr);
    ApiNode* mesh2 = copied->toNode();
    ASSERT_NE(mesh2, nullptr);
    EXPECT_EQ(mesh2->graphOwner(), other);
    ApiNode* material2 = mesh2->inputNodeIx(0);
    ASSERT_NE(material2, nullptr);
    EXPECT_NE(material2, material);
    EXPECT_STREQ(material2->graphOwner()->name(), "nested");
    EXPECT_EQ(material2->graphOwner()->pluginData(), &mine);
    EXPECT_STREQ(material2->graphOwner()->pluginDataStr(), "kept");
    EXPECT_EQ(material2->getPinFloat(P_OPACITY), 0.5f);
    ApiNode* image2 = material2->connectedNode(P_DIFFUSE);
    ASSERT_NE(image2, nullptr);
    EXPECT_NE(image2, image);
    EXPECT_EQ(mesh2->getFloat3Array(A_VERTICES).data, mesh->getFloat3Array(A_VERTICES).data)
        << "arrays are shared, not copied";

    // The copy of one item leads nowhere in another project, and to the same nodes in its own.
    EXPECT_EQ(other->copyFrom(*mesh)->toNode()->connectedNodeIx(0), nullptr);
    EXPECT_EQ(root->copyFrom(*mesh)->toNode()->connectedNodeIx(0), out);
    EXPECT_FALSE(mesh2->connectToIx(0, material)) << "projects are not connected to each other";
    EXPECT_EQ(nested->copyFrom(*root), nullptr) << "nothing is copied into itself";

    root->clear();
    EXPECT_EQ(material2->connectedNode(P_DIFFUSE), image2);
    other->destroy();
}

TEST_F(NodeGraphTest, EveryItemOfATreeCanBeDestroyed) {
    ApiNode* scatter = make(NT_GEO_SCATTER);
    ApiNode* mesh = make(NT_GEO_MESH);
    const char* names[] = {"a", "b"};
    mesh->set(A_MATERIAL_NAMES, names, 2);
    scatter->connectTo(P_GEOMETRY, mesh);
    ApiNodeGraph* nested = makeGraph();
    ApiNode* out = ApiNode::create(NT_OUT_MATERIAL, *nested, true);
    out->connectTo(P_INPUT, ApiNode::create(NT_MAT_DIFFUSE, *nested, true));
    mesh->connectToIx(0, out);
    mesh->connectToIx(1, out);
    ApiNode* other = make(NT_MAT_DIFFUSE);

    ApiItemArray tree;
    scatter->collectItemTree(tree);
    ASSERT_EQ(tree.size(), 3u);
    EXPECT_EQ(tree.get(0), scatter);
    for (std::size_t i = 0; i < tree.size(); ++i) {
        tree.get(i)->destroy();
    }
    ApiItemArray left;
    root->getOwnedItems(left);
    ASSERT_EQ(left.size(), 1u);
    EXPECT_EQ(left.get(0), other);
    EXPECT_EQ(tree.get(3), nullptr);
}

TEST_F(NodeGraphTest, UnconnectedItemsAreFound) {
    ApiNodeGraph* graph = makeGraph();
    ApiNode* out = ApiNode::create(NT_OUT_TEXTURE, *graph, true);
    ApiNode* used = ApiNode::create(NT_TEX_INVERT, *graph, true);
    ApiNode* outside = ApiNode::create(NT_TEX_CHECKS, *graph, true);
    ApiNode* lost = ApiNode::create(NT_TEX_INVERT, *graph, true);
    lost->connectTo(P_TEXTURE, ApiNode::create(NT_TEX_CHECKS, *graph, true));
    out->connectTo(P_INPUT, used);
    make(NT_MAT_DIFFUSE)->connectTo(P_BUMP, outside);
    graph->deleteUnconnectedItems();
    ApiItemArray items;
    graph->getOwnedItems(items);
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items.get(2), outside);
}

TEST_F(NodeGraphTest, NamesAreFoundAtAnyDepth) {
    ApiNodeGraph* nested = makeGraph();
    ApiNode* deep = ApiNode::create(NT_TEX_INVERT, *nested, true);
    ApiNode* deepest = deep->createInternal(P_TEXTURE, NT_TEX_CHECKS, true, true);
    deepest->setName("x");
    nested->setName("x");
    ApiItemArray found;
    root->findItemsByName("x", found, false);
    EXPECT_EQ(found.size(), 1u);
    root->findItemsByName("x", found, true);
    EXPECT_EQ(found.size(), 2u);
    ApiNodeArray nodes;
    root->findNodes(NT_TEX_CHECKS, nodes, true);
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes.get(0), deepest);
}

// A scene of any size must go as it came: in one pass, leaving nothing behind for the sanitizer to find.
TEST_F(NodeGraphTest, ManyNodesOnOneMaterialAreDestroyedTogetherAndOneByOne) {
    constexpr int kCount = 10000;
    for (const bool together : {true, false}) {
        ApiNode* group = make(NT_GEO_GROUP);
        ApiNode* material = make(NT_MAT_DIFFUSE);
        group->set(A_GROUP_PIN_COUNT, kCount);
        std::vector<ApiNode*> meshes;
        const char* names[] = {"m"};
        for (unsigned i = 0; i < kCount; ++i) {
            meshes.push_back(make(NT_GEO_MESH));
            meshes.back()->set(A_MATERIAL_NAMES, names, 1);
            meshes.back()->connectToIx(0, material);
            group->connectToIx(i, meshes.back());
        }
        if (together) {
            root->clear();
        } else {
            for (ApiNode* mesh : meshes) {
                mesh->destroy();
            }
            EXPECT_EQ(group->connectedNodeIx(kCount / 2), nullptr);
            group->destroy();
            material->destroy();
        }
        ApiItemArray items;
        root->getOwnedItems(items);
        EXPECT_EQ(items.size(), 0u);
    }
}

}  // namespace Lumora::engine
