#include <cmath>

#include "host/runtime/plugin_registry.h"
#include "host/shading/projection.h"
#include "plugin/core/class_descriptions.h"
#include "plugin/core/ids.h"
#include "plugin/core/session.h"
#include "plugin/geometry/engine_matrix.h"
#include "plugin/render/render_settings.h"
#include "plugin/scene/camera_node.h"
#include "plugin/scene/camera_tag.h"
#include "plugin/scene/environment_builder.h"
#include "plugin/scene/motion_settings.h"
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

/// Where a point of the host lands on a picture: x and y in half picture widths from its centre, as the engine sees it.
Float2 projectPoint(const ApiNode* c, const Vector& point, float scale) {
    const Float3 position = c->getPinFloat3(P_POSITION), target = c->getPinFloat3(P_TARGET);
    const Float3 p = toEnginePoint(point, scale) - position;
    const Float3 forward = unit(target - position), right = unit(cross(forward, c->getPinFloat3(P_UP))),
                 up = cross(right, forward);
    const float depth =
        c->getPinBool(P_ORTHOGRAPHIC) ? std::sqrt(dot(target - position, target - position)) : dot(p, forward);
    const float half = std::tan(0.5f * c->getPinFloat(P_FOV) / 57.29578f) * depth;
    return {dot(p, right) / half, dot(p, up) / half};
}

class CameraTest : public SceneTest {
protected:
    CameraTest() : camera(add(BaseObject::Alloc(Ocamera))) {
        globals().unitScale = 0.01f;
        session.renderTarget = createNode(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph());
        session.animationNode = ownedInput(session.renderTarget, P_ANIMATION, NT_ANIMATION_SETTINGS);
        session.liveDoc = session.sendDoc = doc;
        session.renderWidth = 640;
        session.renderHeight = 320;
        settings.renderTarget = session.renderTarget;
        settings.createImagerNode();
        BaseContainer& d = data();
        d.SetFloat(CAMERA_FOCUS, 36.0);
        d.SetFloat(CAMERAOBJECT_APERTURE, 36.0);
        d.SetFloat(CAMERAOBJECT_TARGETDISTANCE, 1000.0);
    }
    void SetUp() override {
        // The class of the tag, without the rest of the plug-in.
        const PluginScope scope(kOwner);
        ASSERT_TRUE(RegisterTagPlugin(
            ID_LUMORA_CAMERA_TAG, "Camera tag", 0, [] { return std::make_unique<LumoraCameraTag>(); },
            cameraTagDescription(), "", 0));
    }
    void TearDown() override { removeRegistrations(kOwner); }
    static constexpr PluginOwner kOwner = 78;

    BaseContainer& data() { return *camera->GetDataInstance(); }
    BaseContainer& tag() {
        BaseTag* made = camera->GetTag(ID_LUMORA_CAMERA_TAG);
        if (!made) made = camera->MakeTag(ID_LUMORA_CAMERA_TAG);
        return *made->GetDataInstance();
    }
    bool update(bool force = false) { return updateCamera(session, camera, settings, force); }
    ApiNode* node() { return session.renderTarget->connectedNode(P_CAMERA); }
    ApiNode* updated() {
        update();
        return node();
    }

    lumoraLive session;
    RenderSettings settings;
    BaseObject* camera;
};

TEST_F(CameraTest, PointsLandWhereTheHostSeesThem) {
    const Matrix poses[] = {
        {},
        MatrixMove({100, -50, 300}),
        MatrixMove({1, 2, 3}) * MatrixRotY(0.7) * MatrixRotX(-0.4) * MatrixRotZ(0.9),  // rolled
        MatrixRotZ(2.8) * MatrixRotX(0.3),                                             // upside down
        MatrixRotX(kPi / 2),                                                           // straight down
    };
    for (const Matrix& pose : poses) {
        camera->SetMg(pose);
        const ApiNode* at = updated();
        // In the camera: ahead; to the right edge (half the sensor at the focal length); up.
        const Float2 centre = projectPoint(at, pose * Vector(0, 0, 500), 0.01f);
        EXPECT_NEAR(centre.x, 0, 1e-4);
        EXPECT_NEAR(centre.y, 0, 1e-4);
        const Float2 edge = projectPoint(at, pose * Vector(250, 0, 500), 0.01f);
        EXPECT_NEAR(edge.x, 1, 1e-4);
        EXPECT_NEAR(edge.y, 0, 1e-4);
        const Float2 above = projectPoint(at, pose * Vector(0, 125, 500), 0.01f);
        EXPECT_NEAR(above.x, 0, 1e-4);
        EXPECT_NEAR(above.y, 0.5, 1e-4);
    }
}

TEST_F(CameraTest, FieldOfView) {
    EXPECT_NEAR(updated()->getPinFloat(P_FOV), 53.130102, 1e-4);
    data().SetFloat(CAMERAOBJECT_FOV_VERTICAL, kPi / 2);
    EXPECT_NEAR(updated()->getPinFloat(P_FOV), 2 * std::atan(2.0) * kDegreesPerRadian, 1e-3) << "twice as wide as high";
    data().SetInt32(CAMERA_PROJECTION, 1);
    data().SetFloat(CAMERA_ZOOM, 2);
    EXPECT_NEAR(updated()->getPinFloat(P_FOV), 14.5, 1e-5);
    EXPECT_TRUE(node()->getPinBool(P_ORTHOGRAPHIC));
    for (const Float width : {2.0, 500.0, 3000.0}) {
        data().SetFloat(CAMERA_ZOOM, host::ParallelViewZoom(width, 1000));
        EXPECT_NEAR(projectPoint(updated(), {width / 2, 0, 7}, 0.01f).x, 1, 1e-3) << width;
    }
}

TEST_F(CameraTest, Focus) {
    data().SetFloat(CAMERAOBJECT_TARGETDISTANCE, 0.0);
    EXPECT_FLOAT_EQ(updated()->getPinFloat(P_FOCAL_DEPTH), 0.01f) << "no distance counts as one unit";
    tag().SetFloat(CAMERATAG_FOCAL_DEPTH, 700);
    EXPECT_FLOAT_EQ(updated()->getPinFloat(P_FOCAL_DEPTH), 7.0f);
    BaseObject* object = addNull("Focus");
    object->SetMg(MatrixMove({300, 0, -400}));
    data().SetLink(CAMERAOBJECT_TARGETOBJECT, object);
    EXPECT_FLOAT_EQ(updated()->getPinFloat(P_FOCAL_DEPTH), 4.0f) << "along the view, also behind it";
}

TEST_F(CameraTest, TheNodeIsWrittenOnce) {
    camera->SetMg(MatrixMove({100, 200, 300}));
    EXPECT_TRUE(update());
    EXPECT_EQ(node()->type(), NT_CAM_THINLENS);
    expectNear(node()->getPinFloat3(P_POSITION), {1, 2, -3}, 1e-6f, "position");
    expectNear(node()->getPinFloat3(P_TARGET), {1, 2, -13}, 1e-5f, "target");
    EXPECT_EQ(node()->getPinFloat(P_APERTURE), 0.0f) << "sharp all over without a tag";
    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(update());
    EXPECT_EQ(writes(), 0u);
    camera->SetMg(MatrixMove({100, 200, 310}));
    EXPECT_TRUE(update());
    EXPECT_EQ(writes(), 2u) << "position and target";
}

TEST_F(CameraTest, TheTagChoosesTheKind) {
    const auto count = [](NodeType type) {
        Lumora::ApiNodeArray found;
        ApiProjectManager::rootNodeGraph().findNodes(type, found, true);
        return found.size();
    };
    update();
    tag().SetInt32(CAMERATAG_KIND, CAMERA_PANORAMIC);
    tag().SetFloat(1441, 270);
    tag().SetInt32(CAMERATAG_STEREO_OUTPUT, 3);
    tag().SetFloat(1414, 0.07);
    EXPECT_EQ(updated()->type(), NT_CAM_PANORAMIC);
    EXPECT_EQ(count(NT_CAM_THINLENS), 0u) << "the old node is gone";
    EXPECT_EQ(node()->getPinFloat(P_FOV_X), 270.0f);
    EXPECT_EQ(node()->getPinFloat(P_STEREO_DISTANCE), 0.07f);
    expectNear(node()->getPinFloat3(P_TARGET), {0, 0, -10}, 1e-5f, "the place comes along");
    Lumora::ApiWriteJournal::reset();
    data().SetFloat(CAMERA_FOCUS, 50.0);
    EXPECT_FALSE(update()) << "a panorama has angles of its own";
    EXPECT_EQ(writes(), 0u);

    tag().SetInt32(CAMERATAG_KIND, CAMERA_BAKING);
    tag().SetInt32(1461, 7);
    tag().SetVector(1532, {0.5, 0.25, 0});
    EXPECT_EQ(updated()->type(), NT_CAM_BAKING);
    EXPECT_EQ(node()->getPinInt(P_BAKING_GROUP_ID), 7);
    EXPECT_EQ(node()->getPinFloat2(P_UV_REGION_SIZE), (Float2{0.5f, 0.25f}));
    tag().SetInt32(CAMERATAG_KIND, CAMERA_THIN_LENS);
    EXPECT_EQ(updated()->type(), NT_CAM_THINLENS);
    EXPECT_EQ(count(NT_CAM_PANORAMIC) + count(NT_CAM_BAKING), 0u);
}

TEST_F(CameraTest, ApertureAndFStopStayReciprocal) {
    tag();
    BaseTag* made = camera->GetTag(ID_LUMORA_CAMERA_TAG);
    made->SetParameter(CAMERATAG_FSTOP, GeData(2.8));
    EXPECT_NEAR(tag().GetFloat(CAMERATAG_APERTURE), 0.892857, 1e-6);
    EXPECT_NEAR(updated()->getPinFloat(P_APERTURE), 0.892857, 1e-6);
    made->SetParameter(CAMERATAG_APERTURE, GeData(0.25));
    EXPECT_NEAR(tag().GetFloat(CAMERATAG_FSTOP), 10.0, 1e-9);
    made->SetParameter(CAMERATAG_APERTURE, GeData(0.0));
    EXPECT_EQ(updated()->getPinFloat(P_APERTURE), 0.0f) << "a pinhole";
}

TEST_F(CameraTest, ClippingAndShift) {
    tag().SetFloat(CAMERATAG_NEAR_CLIP, 50);
    tag().SetVector(CAMERATAG_LENS_SHIFT, {0.1, 0.2, 0});
    EXPECT_FLOAT_EQ(updated()->getPinFloat(P_NEAR_CLIP), 0.5f);
    EXPECT_EQ(node()->getPinFloat2(P_LENS_SHIFT), (Float2{0.1f, 0.2f}));
    data().SetBool(CAMERAOBJECT_NEAR_CLIPPING_ENABLE, true);
    data().SetFloat(CAMERAOBJECT_NEAR_CLIPPING, 120);
    data().SetFloat(CAMERAOBJECT_FILM_OFFSET_Y, 0.3);
    EXPECT_FLOAT_EQ(updated()->getPinFloat(P_NEAR_CLIP), 1.2f) << "the host's switch comes first";
    EXPECT_EQ(node()->getPinFloat2(P_LENS_SHIFT), (Float2{0, -0.3f})) << "and so does its shift";
}

TEST_F(CameraTest, TheTagTakesOverImagerAndPost) {
    settings.setValueByKey("Ci", "exposure", 3.0, false);
    update();
    ApiNode* imager = session.renderTarget->connectedNode(P_IMAGER);
    EXPECT_EQ(imager->getPinFloat(P_EXPOSURE), 3.0f);
    BaseContainer& d = tag();
    d.SetBool(CAMERATAG_IMAGER, true);
    d.SetFloat(1424, 0.5);
    d.SetInt32(1428, 5400);
    d.SetFloat(1429, 1.0);
    d.SetBool(CAMERATAG_POST, true);
    d.SetFloat(1522, 7.5);
    settings.readFromContainer({});  // stored by this version
    update();
    EXPECT_EQ(imager->getPinInt(P_RESPONSE), 400);
    EXPECT_TRUE(session.postEnabled);
    const ApiNode* post = session.renderTarget->connectedNode(P_POST_PROCESSING);
    ASSERT_TRUE(post);
    EXPECT_TRUE(post->getPinBool(P_POST_ENABLED));
    EXPECT_EQ(post->getPinFloat(P_GLARE_POWER), 7.5f);
    Lumora::ApiWriteJournal::reset();
    settings.applyImager();
    settings.applyPost();
    EXPECT_EQ(writes(), 0u) << "the settings leave alone what the tag has taken";
    d.SetBool(CAMERATAG_IMAGER, false);
    d.SetBool(CAMERATAG_POST, false);
    update();
    EXPECT_EQ(imager->getPinInt(P_RESPONSE), static_cast<int>(settings.number(SETTING_RESPONSE)));
    EXPECT_FALSE(post->getPinBool(P_POST_ENABLED));
}

TEST_F(CameraTest, AMovingCameraIsSampledOverTheShutter) {
    BaseTrack* track = BaseTrack::Alloc(DescID(ID_BASEOBJECT_REL_POSITION, kVectorX));
    track->SetKey({BaseTime(0.0), GeData(0.0)});
    track->SetKey({BaseTime(1.0), GeData(3000.0)});
    camera->InsertTrack(track);
    doc->SetFps(30);
    doc->SetTime(BaseTime::FromFrame(10, 30));
    doc->ExecutePasses(true, true, true);
    const Vector before = camera->GetMg().off;
    BaseContainer& d = tag();
    d.SetBool(CAMERATAG_MOTION_BLUR, true);
    d.SetFloat(CAMERATAG_SHUTTER_TIME, 0.0);
    update();
    EXPECT_FALSE(isPinAnimated(node(), P_POSITION)) << "a shutter without length";
    d.SetFloat(CAMERATAG_SHUTTER_TIME, 0.05);
    d.SetInt32(CAMERATAG_SHUTTER_ALIGNMENT, ALIGN_SYMMETRIC);
    EXPECT_TRUE(update());
    ASSERT_TRUE(isPinAnimated(node(), P_POSITION));
    const ApiNode* value = node()->inputNode(P_POSITION);
    EXPECT_EQ(value->getSampleCount(A_VALUE), 3u) << "frames 9 to 11";
    const std::vector<Float3> samples = vectors(value, A_VALUE);
    EXPECT_LT(samples.front().x, samples.back().x);
    EXPECT_FLOAT_EQ(session.animationNode->getPinFloat(P_SHUTTER_TIME), 1.5f) << "frames";
    EXPECT_EQ(session.animationNode->getPinInt(P_SHUTTER_ALIGNMENT), ALIGN_SYMMETRIC);
    EXPECT_EQ(camera->GetMg().off, before) << "the document is not stepped";
    EXPECT_EQ(doc->GetTime(), BaseTime::FromFrame(10, 30));
    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(update());
    EXPECT_EQ(writes(), 0u) << "nothing moved: no new samples";
    d.SetBool(CAMERATAG_NO_SAMPLES, true);
    EXPECT_TRUE(update());
    EXPECT_FALSE(isPinAnimated(node(), P_POSITION));
    EXPECT_EQ(session.animationNode->getPinFloat(P_SHUTTER_TIME), 0.0f);
}

TEST_F(CameraTest, Span) {
    MotionSettings m;
    const auto span = [&](Float shutter, Int32 alignment) {
        m.shutterTime = shutter;
        m.alignment = alignment;
        const MotionSpan s = motionSpan(m, 25, 10);
        return std::pair(s.first, s.last);
    };
    EXPECT_EQ(span(0.02, ALIGN_SYMMETRIC), std::pair(9.0f, 11.0f));
    EXPECT_EQ(span(0.0, ALIGN_BEFORE), std::pair(10.0f, 10.0f));
    EXPECT_EQ(span(0.04, ALIGN_AFTER), std::pair(10.0f, 11.0f));
    EXPECT_EQ(span(0.1, 0), std::pair(7.0f, 10.0f));
    EXPECT_EQ(motionTimes({9, 11}, 2).size(), 5u);
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
        doc->GetDataInstance()->SetInt32(DOCUMENT_COLORPROFILE, DOCUMENT_COLORPROFILE_LINEAR);
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
