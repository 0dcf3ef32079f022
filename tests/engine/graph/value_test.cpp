// Values of pins and attributes: what is written, what is refused, and that equal values write nothing.
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/engine/graph/graph_fixture.h"

namespace Lumora::engine {

using ValueTest = GraphTest;

TEST_F(ValueTest, EqualValuesWriteNothing) {
    ApiNode* kernel = make(NT_KERNEL_PATH);
    ApiNode* transform = make(NT_TRANSFORM_VALUE);
    ApiNode* mesh = make(NT_GEO_MESH);
    const int indices[] = {0, 1, 2};
    const char* names[] = {"a", "b"};
    for (int round = 0; round < 3; ++round) {
        EXPECT_TRUE(kernel->setPinValue(P_MAX_SAMPLES, 500));
        EXPECT_TRUE(kernel->setPinValue(P_ALPHA_CHANNEL, true));
        EXPECT_TRUE(kernel->setPinValue(P_SHADOW_AMBIENT, Vec3<float>{0.1f, 0.2f, 0.3f}));
        EXPECT_TRUE(transform->set(A_SCALE, Vec3<float>{2, 2, 2}));
        EXPECT_TRUE(mesh->set(A_POLY_VERTEX_INDICES, indices, 3));
        EXPECT_TRUE(mesh->set(A_MATERIAL_NAMES, names, 2));
        EXPECT_TRUE(mesh->set(A_FILENAME, "x"));
    }
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_PIN), 3u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_PIN, kernel, P_MAX_SAMPLES), 1u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_ATTRIBUTE), 4u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_ATTRIBUTE, mesh), 3u);

    // The defaults are there from the beginning.
    ApiWriteJournal::reset();
    EXPECT_TRUE(make(NT_IMAGER)->setPinValue(P_RESPONSE, 401));
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_PIN), 0u);

    const int longer[] = {0, 1, 2, 3};
    EXPECT_TRUE(mesh->set(A_POLY_VERTEX_INDICES, longer, 4));
    EXPECT_TRUE(mesh->set(A_POLY_VERTEX_INDICES, indices, 0));
    EXPECT_EQ(mesh->getArraySize(A_POLY_VERTEX_INDICES), 0u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_ATTRIBUTE), 2u);
}

TEST_F(ValueTest, ValueNodesHoldWhatThePinSays) {
    ApiNode* kernel = make(NT_KERNEL_PATH);
    kernel->setPinValue(P_RAY_EPSILON, 0.25f);
    ApiWriteJournal::reset();
    ApiNode* value = kernel->connectedNode(P_RAY_EPSILON);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(value->type(), NT_FLOAT);
    EXPECT_FALSE(value->graphOwned());
    unsigned index = 99;
    EXPECT_EQ(value->pinOwner(index), kernel);
    EXPECT_EQ(kernel->pinIdIx(index), P_RAY_EPSILON);
    EXPECT_EQ(value->getFloat(A_VALUE), 0.25f);
    EXPECT_EQ(kernel->connectedNode(P_RAY_EPSILON), value);
    EXPECT_EQ(ApiWriteJournal::total(), 0u) << "asking is not writing";

    value->set(A_VALUE, 0.5f);
    EXPECT_EQ(kernel->getPinFloat(P_RAY_EPSILON), 0.5f);
    kernel->setPinValue(P_RAY_EPSILON, 0.75f);
    EXPECT_EQ(value->getFloat(A_VALUE), 0.75f);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_PIN, kernel, P_RAY_EPSILON), 1u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_ATTRIBUTE, value, A_VALUE), 1u);

    // An emptied pin has its default and no node, until it is configured again.
    EXPECT_TRUE(kernel->connectTo(P_RAY_EPSILON, nullptr));
    EXPECT_EQ(kernel->connectedNode(P_RAY_EPSILON), nullptr);
    EXPECT_EQ(kernel->getPinFloat(P_RAY_EPSILON), 0.0001f);
    kernel->configureEmptyPins();
    EXPECT_NE(kernel->connectedNode(P_RAY_EPSILON), nullptr);

    EXPECT_EQ(make(NT_MAT_DIFFUSE)->connectedNode(P_DIFFUSE)->type(), NT_TEX_RGB);
    EXPECT_EQ(make(NT_MAT_DIFFUSE, false)->connectedNode(P_DIFFUSE), nullptr);
}

TEST_F(ValueTest, NumbersConvertWhereNothingIsLost) {
    ApiNode* diffuse = make(NT_MAT_DIFFUSE);
    EXPECT_TRUE(diffuse->setPinValue(P_SMOOTH, 0));
    EXPECT_FALSE(diffuse->getPinBool(P_SMOOTH));
    EXPECT_TRUE(diffuse->setPinValue(P_EDGES_ROUNDING, 2));
    EXPECT_EQ(diffuse->getPinFloat(P_EDGES_ROUNDING), 2.f);
    EXPECT_TRUE(diffuse->setPinValue(P_DIFFUSE, 0.5f));
    EXPECT_EQ(diffuse->getPinFloat3(P_DIFFUSE), (Vec3<float>{0.5f, 0.5f, 0.5f}));

    ApiNode* film = make(NT_FILM_SETTINGS);
    EXPECT_TRUE(film->setPinValue(P_RESOLUTION, Vec2<int>{640, 480}));
    Vec2<int> size;
    EXPECT_TRUE(film->getPinValue(P_RESOLUTION, size));
    EXPECT_EQ(size, (Vec2<int>{640, 480}));
    EXPECT_EQ(film->connectedNode(P_RESOLUTION)->getInt2(A_VALUE), (Vec2<int>{640, 480}));

    EXPECT_TRUE(film->setPinValue(P_RESOLUTION, Vec2<float>{64, 32})) << "whole floats";
    EXPECT_FALSE(film->setPinValue(P_RESOLUTION, Vec2<float>{64.5f, 32})) << "a fraction would be lost";
    EXPECT_FALSE(diffuse->setPinValue(P_EDGES_ROUNDING, Vec3<float>{1, 2, 3})) << "components would be lost";
    EXPECT_FALSE(diffuse->setPinValue(P_EDGES_ROUNDING, std::nanf("")));
    EXPECT_FALSE(diffuse->setPinValue(P_EDGES_ROUNDING, std::numeric_limits<float>::infinity()));
    EXPECT_EQ(diffuse->getPinFloat(P_EDGES_ROUNDING), 2.f);
}

TEST_F(ValueTest, WrongUseIsRefusedWithALine) {
    ApiNode* mesh = make(NT_GEO_MESH);
    ApiNode* group = make(NT_GEO_GROUP);
    ApiNode* diffuse = make(NT_MAT_DIFFUSE);
    ApiNode* image = make(NT_TEX_IMAGE);
    diffuse->connectTo(P_DIFFUSE, image);
    const float some[] = {1, 2};
    const float times[] = {0, 1}, falling[] = {1, 0};
    const Vec3<float> points[3] = {};
    const ApiTimeSampling sampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE);
    const ApiTimeSampling backwards(falling, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE);
    const std::size_t before = ApiWriteJournal::total();
    lines().clear();

    const bool results[] = {
        mesh->set(A_VALUE, 1.f),                                                // no such attribute
        mesh->set(static_cast<AttributeId>(100000), 1),                         // no such number
        mesh->set(static_cast<AttributeId>(-5), 1),                             //
        mesh->set(A_VERTICES, some, 2),                                         // another element type
        mesh->set(A_VERTICES, 1.f),                                             // no array
        mesh->set(A_SUBD_LEVEL, "two"),                                         // no number
        mesh->set(A_POLY_VERTEX_INDICES, static_cast<const int*>(nullptr), 4),  // no data
        mesh->set(A_VERTICES, points, std::size_t{1} << 40),                    // too many
        group->set(A_GROUP_PIN_COUNT, -1),                                      //
        group->set(A_GROUP_PIN_COUNT, 2000000000),                              //
        mesh->setAnim(A_VERTICES, sampling, 2, points, 3),                      // 3 is no multiple of 2
        mesh->setAnim(A_VERTICES, backwards, 2, points, 2),                     // time runs backwards
        mesh->setAnim(A_SUBD_LEVEL, sampling, points, 2),                       // cannot be animated
        diffuse->setPinValue(P_FOV, 1.f),                                       // no such pin
        diffuse->setPinValue(P_DIFFUSE, 1.f),                                   // an image is connected
        diffuse->setPinValue(P_DISPLACEMENT, 1.f),                              // takes no value
        diffuse->connectTo(P_MEDIUM, image),                                    // another kind
        diffuse->connectTo(P_FOV, image),                                       // no such pin
        diffuse->connectToIx(1000, image),                                      //
        diffuse->createInternal(P_MEDIUM, NT_TEX_RGB, true, true) != nullptr,   // another kind
        diffuse->createInternalIx(1000, NT_TEX_RGB, true, true) != nullptr,     //
        ApiNode::create(static_cast<NodeType>(4711), *root, true) != nullptr,   // no such type
        ApiNode::create(NT_PREFERENCES, *root, true) != nullptr,                // there is one already
    };
    for (std::size_t i = 0; i < std::size(results); ++i) {
        EXPECT_FALSE(results[i]) << "case " << i;
    }
    EXPECT_EQ(lines().size(), std::size(results));
    EXPECT_EQ(ApiWriteJournal::total(), before);

    EXPECT_EQ(mesh->getFloat(A_VALUE), 0.f);
    EXPECT_STREQ(mesh->getString(A_VALUE), "");
    EXPECT_EQ(mesh->getMatrixArray(A_VERTICES).size, 0u);
    EXPECT_EQ(diffuse->connectedNode(P_FOV), nullptr);
    EXPECT_EQ(diffuse->connectedNodeIx(1000), nullptr);
    EXPECT_STREQ(diffuse->pinNameIx(1000), "");
    EXPECT_STREQ(diffuse->attrNameIx(1000), "");
}

TEST_F(ValueTest, AnimatedValuesComeBack) {
    ApiNode* camera = make(NT_CAM_THINLENS);
    ApiNode* position = camera->connectedNode(P_POSITION);
    const float times[] = {0.5f, 1, 2};
    const Vec3<float> places[] = {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}};
    const ApiTimeSampling sampling(times, 3, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE);
    for (int round = 0; round < 2; ++round) {
        EXPECT_TRUE(position->setAnim(A_VALUE, sampling, places, 3));
    }
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_ATTRIBUTE, position, A_VALUE), 1u);
    EXPECT_EQ(position->getSampleCount(A_VALUE), 3u);
    EXPECT_EQ(camera->getPinFloat3(P_POSITION), places[0]);

    // A plain value ends the animation, even when it is the first sample's.
    EXPECT_TRUE(camera->setPinValue(P_POSITION, places[0]));
    EXPECT_EQ(position->getSampleCount(A_VALUE), 1u);
    EXPECT_EQ(ApiWriteJournal::count(JOURNAL_PIN, camera, P_POSITION), 1u);
}

TEST_F(ValueTest, FloatPixelsGoIntoTheBuffer) {
    ApiNode* image = make(NT_TEX_IMAGE);
    const float pixel[] = {0.25f, 0.5f, 1, 1};
    EXPECT_TRUE(image->set(A_BUFFER, pixel, 4));
    const ApiArray<const unsigned char> bytes = image->getByteArray(A_BUFFER);
    ASSERT_EQ(bytes.size, sizeof pixel);
    EXPECT_EQ(std::memcmp(bytes.data, pixel, sizeof pixel), 0);
}

}  // namespace Lumora::engine
