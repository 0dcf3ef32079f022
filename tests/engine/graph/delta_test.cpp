// What an edit hands to the render side.
#include "tests/engine/graph/graph_fixture.h"

namespace Lumora::engine {

using DeltaTest = GraphTest;

TEST_F(DeltaTest, MovingOneObjectHandsOverOneRecordAndSharesTheRest) {
    ApiNode* group = nullptr;
    makeTarget(group, 2);
    ApiNode* scatters[2];
    ApiNode* mesh = make(NT_GEO_MESH);
    const Vec3<float> points[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    mesh->set(A_VERTICES, points, 3);
    const Matrix<float> there{};
    const int ids[] = {7};
    for (unsigned i = 0; i < 2; ++i) {
        scatters[i] = make(NT_GEO_SCATTER);
        scatters[i]->set(A_TRANSFORM, &there, 1);
        scatters[i]->set(A_INSTANCE_IDS, ids, 1);
        scatters[i]->connectTo(P_GEOMETRY, mesh);
        group->connectToIx(i, scatters[i]);
    }
    const SceneDelta first = delta();
    EXPECT_NE(recordOf(first, mesh), nullptr);
    EXPECT_EQ(recordOf(first, scatters[0])->input(P_GEOMETRY), uid(mesh));

    Matrix<float> moved{};
    moved.m[0][3] = 5;
    scatters[1]->set(A_TRANSFORM, &moved, 1);
    const SceneDelta second = delta();
    ASSERT_EQ(second.changed.size(), 1u);
    EXPECT_TRUE(second.removed.empty());
    const NodeRecord& before = *recordOf(first, scatters[1]);
    const NodeRecord& after = *second.changed.front();
    EXPECT_EQ(after.uid, uid(scatters[1]));
    EXPECT_EQ(*before.attribute(A_INSTANCE_IDS), *after.attribute(A_INSTANCE_IDS));
    EXPECT_NE(*before.attribute(A_TRANSFORM), *after.attribute(A_TRANSFORM));

    // The same values once more are no change.
    scatters[1]->set(A_TRANSFORM, &moved, 1);
    mesh->set(A_VERTICES, points, 3);
    mesh->setName("a name is no change");
    SceneDelta third;
    EXPECT_FALSE(takeDelta(scene(), third));
    EXPECT_FALSE(hasDelta(scene()));
}

TEST_F(DeltaTest, WhatTheTargetDoesNotLeadToIsNotHandedOver) {
    ApiNode* group = nullptr;
    makeTarget(group, 2);
    ApiNode* mesh = make(NT_GEO_MESH);
    delta();

    mesh->set(A_SUBD_LEVEL, 2);
    SceneDelta d;
    EXPECT_FALSE(takeDelta(scene(), d));

    group->connectToIx(0, mesh);
    d = delta();
    ASSERT_NE(recordOf(d, mesh), nullptr);
    EXPECT_EQ(recordOf(d, mesh)->attributeValue(A_SUBD_LEVEL, 0), 2);
    ASSERT_NE(recordOf(d, group), nullptr);

    // From one pin to the other it stays alive, and is not sent again.
    group->connectToIx(1, mesh);
    group->connectToIx(0, nullptr);
    d = delta();
    EXPECT_EQ(recordOf(d, mesh), nullptr);
    EXPECT_TRUE(d.removed.empty());

    group->connectToIx(1, nullptr);
    d = delta();
    EXPECT_EQ(d.removed, std::vector<ItemUid>{uid(mesh)});

    // Changed while nobody saw it, and back again.
    mesh->set(A_SUBD_LEVEL, 3);
    group->connectToIx(0, mesh);
    d = delta();
    ASSERT_NE(recordOf(d, mesh), nullptr);
    EXPECT_EQ(recordOf(d, mesh)->attributeValue(A_SUBD_LEVEL, 0), 3);

    const ItemUid gone = uid(mesh);
    mesh->destroy();
    d = delta();
    EXPECT_EQ(d.removed, std::vector<ItemUid>{gone});
    EXPECT_NE(recordOf(d, group), nullptr);

    setSceneTarget(scene(), nullptr);
    d = delta();
    EXPECT_EQ(d.renderTarget, 0u);
    EXPECT_TRUE(d.changed.empty());
    EXPECT_GT(d.removed.size(), 2u);
}

TEST_F(DeltaTest, PlainValuesArePartOfTheirPin) {
    ApiNode* group = nullptr;
    makeTarget(group, 1);
    ApiNode* mesh = make(NT_GEO_MESH);
    const char* names[] = {"m"};
    mesh->set(A_MATERIAL_NAMES, names, 1);
    group->connectToIx(0, mesh);
    ApiNodeGraph* nested = makeGraph();
    ApiNode* out = ApiNode::create(NT_OUT_MATERIAL, *nested, true);
    ApiNode* material = ApiNode::create(NT_MAT_GLOSSY, *nested, true);
    ApiNode* colour = ApiNode::create(NT_TEX_RGB, *nested, true);
    out->connectTo(P_INPUT, material);
    material->connectTo(P_DIFFUSE, colour);
    material->createInternal(P_SPECULAR, NT_TEX_FLOAT, true, true)->set(A_VALUE, 0.25f);
    material->createInternal(P_INDEX, NT_FLOAT, true, true)->set(A_VALUE, 1.5f);
    mesh->connectToIx(0, out);
    SceneDelta d = delta();

    const NodeRecordPtr meshRecord = recordOf(d, mesh);
    ASSERT_NE(meshRecord, nullptr);
    EXPECT_EQ(meshRecord->pins.at(meshRecord->staticPinCount).input, uid(material)) << "the linker is followed";
    NodeRecordPtr record = recordOf(d, material);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->input(P_DIFFUSE), 0u);
    EXPECT_EQ(record->pinValue(P_SPECULAR, 0.f), 0.25f);
    EXPECT_EQ(record->pinValue(P_INDEX, 0.f), 1.5f);
    EXPECT_EQ(recordOf(d, colour), nullptr);
    EXPECT_EQ(recordOf(d, out), nullptr);

    colour->set(A_VALUE, Vec3<float>{1, 0, 0});
    d = delta();
    ASSERT_EQ(d.changed.size(), 1u);
    record = recordOf(d, material);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->pinValue(P_DIFFUSE, Vec3<float>{}), (Vec3<float>{1, 0, 0}));

    // Looking at a pin makes its value node, and is no change.
    material->connectedNode(P_ROUGHNESS);
    material->connectedNode(P_FILM_INDEX);
    EXPECT_FALSE(hasDelta(scene()));
    EXPECT_FALSE(takeDelta(scene(), d));

    // Behind the linker another material: the mesh is told.
    ApiNode* diffuse = ApiNode::create(NT_MAT_DIFFUSE, *nested, true);
    out->connectTo(P_INPUT, diffuse);
    d = delta();
    EXPECT_NE(recordOf(d, mesh), nullptr);
    EXPECT_NE(recordOf(d, diffuse), nullptr);
    EXPECT_EQ(d.removed, std::vector<ItemUid>{uid(material)});
}

TEST_F(DeltaTest, AnimatedValuesHaveTheirTimes) {
    ApiNode* group = nullptr;
    ApiNode* target = makeTarget(group, 0);
    ApiNode* camera = target->connectedNode(P_CAMERA);
    ASSERT_EQ(camera->type(), NT_CAM_THINLENS);
    ApiNode* position = camera->connectedNode(P_POSITION);
    delta();

    const float times[] = {0, 0.04f};
    const Vec3<float> places[] = {{1, 0, 0}, {2, 0, 0}};
    position->setAnim(A_VALUE, {times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE}, places, 2);
    SceneDelta d = delta();
    ASSERT_NE(recordOf(d, position), nullptr);
    ASSERT_NE(recordOf(d, camera), nullptr);
    EXPECT_EQ(recordOf(d, camera)->input(P_POSITION), uid(position));
    EXPECT_EQ(recordOf(d, camera)->pinValue(P_POSITION, Vec3<float>{}), places[0]);
    const AttributeRecord& value = recordOf(d, position)->attributes.at(0);
    ASSERT_NE(value.sampling, nullptr);
    EXPECT_EQ(value.sampling->times, (std::vector<float>{0, 0.04f}));
    EXPECT_EQ(value.sampling->endTime, 0.04f);

    camera->setPinValue(P_POSITION, places[1]);
    d = delta();
    EXPECT_EQ(d.removed, std::vector<ItemUid>{uid(position)});
    EXPECT_EQ(recordOf(d, camera)->input(P_POSITION), 0u);
    EXPECT_EQ(recordOf(d, camera)->pinValue(P_POSITION, Vec3<float>{}), places[1]);
}

TEST_F(DeltaTest, ReloadIsHandedOverOnce) {
    ApiNode* group = nullptr;
    ApiNode* target = makeTarget(group, 0);
    ApiNode* image = make(NT_TEX_IMAGE);
    target->connectedNode(P_ENVIRONMENT)->connectTo(P_TEXTURE, image);
    image->set(A_FILENAME, "x.png");
    const std::uint32_t before = recordOf(delta(), image)->reloads;
    image->set(A_RELOAD, true, false);
    const SceneDelta d = delta();
    ASSERT_NE(recordOf(d, image), nullptr);
    EXPECT_EQ(recordOf(d, image)->reloads, before + 1);
    EXPECT_FALSE(image->getBool(A_RELOAD));
    image->set(A_RELOAD, false);
    EXPECT_FALSE(hasDelta(scene()));
}

TEST_F(DeltaTest, PinsOfTheTypeComeFirstInTheRecord) {
    ApiNode* group = nullptr;
    ApiNode* target = makeTarget(group, 1);
    ApiNode* gradient = make(NT_TEX_GRADIENT);
    gradient->set(A_PIN_COUNT, 1, false);
    target->connectedNode(P_ENVIRONMENT)->connectTo(P_TEXTURE, gradient);
    const SceneDelta d = delta();
    const NodeRecordPtr record = recordOf(d, gradient);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->pins.size(), record->staticPinCount + 2u) << "an update evaluates what was not";
    EXPECT_EQ(record->pin(P_INTERPOLATION), &record->pins[1]);
    EXPECT_EQ(record->pins.back().id, P_DYNAMIC);
}

TEST_F(DeltaTest, ManyNodesAndOneChange) {
    ApiNode* group = nullptr;
    makeTarget(group, 1000);
    std::vector<ApiNode*> scatters;
    for (unsigned i = 0; i < 1000; ++i) {
        scatters.push_back(make(NT_GEO_SCATTER));
        group->connectToIx(i, scatters.back());
    }
    EXPECT_GE(delta().changed.size(), 1001u);
    const Matrix<float> m{};
    scatters[500]->set(A_TRANSFORM, &m, 1);
    EXPECT_EQ(delta().changed.size(), 1u);

    root->clear();
    SceneDelta d = delta();
    EXPECT_EQ(d.renderTarget, 0u);
    EXPECT_TRUE(d.changed.empty());
    EXPECT_GE(d.removed.size(), 1001u);
}

}  // namespace Lumora::engine
