#include <cmath>

#include "plugin/render/render_settings.h"
#include "plugin/scene/camera_node.h"
#include "plugin/scene/environment_builder.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

namespace {

Float3 operator-(const Float3& a, const Float3& b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
float dot(const Float3& a, const Float3& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
Float3 cross(const Float3& a, const Float3& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
Float3 unit(const Float3& a) {
    const float l = std::sqrt(dot(a, a));
    return {a.x / l, a.y / l, a.z / l};
}

/// Where a point of the host lands on a picture: x and y in half picture widths from its centre.
Float2 projectPoint(const CameraFrame& c, const Vector& point, float scale) {
    const Float3 p = Float3{static_cast<float>(point.x * scale), static_cast<float>(point.y * scale),
                            static_cast<float>(-point.z * scale)} -
                     c.position;
    const Float3 forward = unit(c.target - c.position), right = unit(cross(forward, c.up)), up = cross(right, forward);
    float half = std::tan(0.5f * c.fov / 57.29578f);
    const float depth = dot(p, forward);
    if (c.orthographic)
        half *= std::sqrt(dot(c.target - c.position, c.target - c.position));
    else
        half *= depth;
    return {dot(p, right) / half, dot(p, up) / half};
}

class CameraTest : public SceneTest {
protected:
    CameraTest() : camera(add(BaseObject::Alloc(Ocamera))) {
        BaseContainer& d = *camera->GetDataInstance();
        d.SetFloat(CAMERA_FOCUS, 36.0);
        d.SetFloat(CAMERAOBJECT_APERTURE, 36.0);
        d.SetFloat(CAMERAOBJECT_FOV_VERTICAL, 0.0);
        d.SetFloat(CAMERAOBJECT_TARGETDISTANCE, 1000.0);
        d.SetInt32(CAMERA_PROJECTION, 0);
        d.SetFloat(CAMERAOBJECT_FILM_OFFSET_X, 0.0);
        d.SetFloat(CAMERAOBJECT_FILM_OFFSET_Y, 0.0);
    }
    BaseContainer& data() { return *camera->GetDataInstance(); }
    BaseObject* camera;
};

TEST_F(CameraTest, PointsLandWhereTheHostSeesThem) {
    const Matrix poses[] = {
        {},
        MatrixMove({100, -50, 300}),
        MatrixMove({1, 2, 3}) * MatrixRotY(0.7) * MatrixRotX(-0.4) * MatrixRotZ(0.9),  // rolled
        MatrixRotX(kPi / 2),                                                           // straight down
    };
    for (const Matrix& pose : poses) {
        camera->SetMg(pose);
        const CameraFrame frame = readCameraFrame(*camera, 0.01f, 2.0);
        // In the camera: ahead; to the right edge (half the sensor at the focal length); up.
        const Float2 centre = projectPoint(frame, pose * Vector(0, 0, 500), 0.01f);
        EXPECT_NEAR(centre.x, 0, 1e-4);
        EXPECT_NEAR(centre.y, 0, 1e-4);
        const Float2 edge = projectPoint(frame, pose * Vector(250, 0, 500), 0.01f);
        EXPECT_NEAR(edge.x, 1, 1e-4);
        EXPECT_NEAR(edge.y, 0, 1e-4);
        const Float2 above = projectPoint(frame, pose * Vector(0, 125, 500), 0.01f);
        EXPECT_NEAR(above.x, 0, 1e-4);
        EXPECT_NEAR(above.y, 0.5, 1e-4);
    }
}

TEST_F(CameraTest, VerticalAngleFollowsThePicture) {
    data().SetFloat(CAMERAOBJECT_FOV_VERTICAL, kPi / 2);
    const CameraFrame wide = readCameraFrame(*camera, 0.01f, 2.0);
    EXPECT_NEAR(wide.fov, 2 * std::atan(2.0) * kDegreesPerRadian, 1e-3);
    EXPECT_NEAR(readCameraFrame(*camera, 0.01f, 1.0).fov, 90, 1e-3);
}

TEST_F(CameraTest, AParallelViewHasItsWidth) {
    data().SetInt32(CAMERA_PROJECTION, 1);
    for (Float width : {2.0, 500.0, 100000.0}) {
        data().SetFloat(CAMERA_ZOOM, width);
        const CameraFrame frame = readCameraFrame(*camera, 0.01f, 1.0);
        EXPECT_TRUE(frame.orthographic);
        EXPECT_NEAR(projectPoint(frame, {width / 2, 0, 7}, 0.01f).x, 1, 1e-3) << width;
    }
}

TEST_F(CameraTest, Focus) {
    data().SetFloat(CAMERAOBJECT_TARGETDISTANCE, 0.0);
    EXPECT_FLOAT_EQ(readCameraFrame(*camera, 0.01f, 1.0).focalDepth, 0.01f) << "no distance counts as one unit";
    BaseObject* object = addNull("Focus");
    object->SetMg(MatrixMove({300, 0, -400}));
    data().SetLink(CAMERAOBJECT_TARGETOBJECT, object);
    EXPECT_FLOAT_EQ(readCameraFrame(*camera, 0.01f, 1.0).focalDepth, 4.0f) << "along the view, also behind it";
}

TEST_F(CameraTest, TheNodeIsWrittenOnce) {
    ApiNode* target = createNode(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph());
    camera->SetMg(MatrixMove({100, 200, 300}));
    EXPECT_TRUE(updateCamera(target, camera, 0.01f, 640, 480));
    setFilmResolution(target, 640, 480);
    ApiNode* node = target->connectedNode(P_CAMERA);
    ASSERT_TRUE(node);
    EXPECT_EQ(node->type(), NT_CAM_THINLENS);
    expectNear(node->getPinFloat3(P_POSITION), {1, 2, -3}, 1e-6f, "position");
    expectNear(node->getPinFloat3(P_TARGET), {1, 2, -13}, 1e-5f, "target");
    EXPECT_NEAR(node->getPinFloat(P_FOV), 53.130102, 1e-4);
    EXPECT_EQ(target->connectedNode(P_FILM_SETTINGS)->getPinInt2(P_RESOLUTION), (Int2{640, 480}));
    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(updateCamera(target, camera, 0.01f, 640, 480));
    EXPECT_FALSE(setFilmResolution(target, 640, 480));
    EXPECT_EQ(writes(), 0u);
    camera->SetMg(MatrixMove({100, 200, 310}));
    updateCamera(target, camera, 0.01f, 640, 480);
    EXPECT_EQ(writes(), 2u) << "position and target";
}

TEST_F(CameraTest, TheViewsSceneCameraComesFirst) {
    EXPECT_EQ(renderCamera(doc), doc->GetActiveBaseDraw()->GetEditorCamera());
    doc->GetActiveBaseDraw()->SetSceneCamera(camera);
    EXPECT_EQ(renderCamera(doc), camera);
    EXPECT_EQ(renderCamera(nullptr), nullptr);
}

class EnvironmentTest : public SceneTest {
protected:
    EnvironmentTest() : target(createNode(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph())) {
        doc->GetDataInstance()->SetInt32(DOCUMENT_COLORPROFILE, 0);
        shaders.reuseNodes = false;
        main.setSettings(&settings);
        main.setDocument(doc);
        behind.setVisible(true);
        behind.setSettings(&settings);
        behind.setDocument(doc);
    }
    ApiNode* environment() const { return target->inputNode(P_ENVIRONMENT); }

    ApiNode* target;
    RenderSettings settings;
    MatManager shaders{"lghtMatMngr"};
    EnvironmentBuilder main{shaders}, behind{shaders};
};

TEST_F(EnvironmentTest, WithoutASkyTheSettingsColour) {
    main.update(false, target, true);
    behind.update(false, target, false);
    ASSERT_TRUE(environment());
    EXPECT_EQ(environment()->type(), NT_ENV_TEXTURE);
    EXPECT_EQ(environment()->getPinFloat3(P_TEXTURE), (Float3{0.9f, 0.9f, 0.9f}));
    EXPECT_FLOAT_EQ(environment()->getPinFloat(P_POWER), 1.0f);
    EXPECT_TRUE(main.softSky());
    EXPECT_FALSE(target->connectedNode(P_VISIBLE_ENVIRONMENT));

    Lumora::ApiWriteJournal::reset();
    EXPECT_EQ(main.update(false, target, true), 0);
    EXPECT_EQ(writes(), 0u);
    settings.applyColour("Other", "envClr", {0.1, 0.2, 0.3}, false);
    EXPECT_NE(main.update(false, target, true), 0);
    EXPECT_EQ(environment()->getPinFloat3(P_TEXTURE), (Float3{0.1f, 0.2f, 0.3f}));
    EXPECT_EQ(writes(), 1u);
}

TEST_F(EnvironmentTest, ASkyObjectsMaterialIsTheTexture) {
    BaseObject* sky = add(BaseObject::Alloc(Osky));
    BaseMaterial* material = addMaterial("Sky", {0.2, 0.4, 0.8});
    addTexture(sky, material);
    main.setSky(sky);
    main.update(false, target, true);
    EXPECT_FALSE(main.softSky());
    ASSERT_TRUE(environment()->inputNode(P_TEXTURE));
    EXPECT_EQ(environment()->inputNode(P_TEXTURE)->getFloat3(A_VALUE), (Float3{0.2f, 0.4f, 0.8f}));
    material->SetParameter(DescID(MATERIAL_COLOR_COLOR), Vector(0.5));
    main.update(false, target, true);
    EXPECT_EQ(environment()->inputNode(P_TEXTURE)->getFloat3(A_VALUE), (Float3{0.5f, 0.5f, 0.5f}));
    main.setSky(nullptr);
    main.update(false, target, true);
    EXPECT_TRUE(main.softSky());
    EXPECT_EQ(environment()->getPinFloat3(P_TEXTURE), (Float3{0.9f, 0.9f, 0.9f}));
}

}  // namespace

}  // namespace lumora::test
