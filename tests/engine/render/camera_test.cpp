// Cameras: film points to rays, against the formulas of their projections.
#include <gtest/gtest.h>

#include <cmath>

#include "engine/render/camera.h"
#include "engine/render/sampler.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr Film kFilm{.width = 400, .height = 200};

/// Looks along -z from the origin, the target four metres away.
Camera atOrigin() {
    Camera c;
    c.position = {};
    c.target = {0, 0, -4};
    return c;
}

Ray through(const Camera& camera, std::uint32_t x, std::uint32_t y, Float2 lens = {}, const Film& film = kFilm) {
    const CameraSample s = CameraRays(camera, film, camera.focalDepth).generate(x, y, {-0.5f, -0.5f}, lens);
    EXPECT_TRUE(s.valid);
    return s.ray;
}

void expectNear(Float3 a, Float3 b, const char* what, float tolerance = 1e-4f) {
    EXPECT_LT(length(a - b), tolerance) << what << ": " << a.x << ' ' << a.y << ' ' << a.z << " instead of " << b.x
                                        << ' ' << b.y << ' ' << b.z;
}

Float3 atAngles(float longitude, float latitude) {
    const float a = longitude * kPi / 180.0f, b = latitude * kPi / 180.0f;
    return {std::cos(b) * std::sin(a), std::sin(b), -std::cos(b) * std::cos(a)};
}

TEST(Camera, ThinLensFieldShiftAndAspect) {
    Camera c = atOrigin();
    c.fov = 90.0f;
    expectNear(through(c, 400, 100).direction, normalize(Float3{1, 0, -1}), "right edge at half the field");
    expectNear(through(c, 200, 0).direction, normalize(Float3{0, 0.5f, -1}), "upper edge by the film's shape");
    c.pixelAspect = 2.0f;
    expectNear(through(c, 200, 0).direction, normalize(Float3{0, 0.25f, -1}), "wide pixels");
    c.pixelAspect = 1.0f;
    c.lensShift = {0.5f, 0.25f};
    expectNear(through(c, 200, 100).direction, normalize(Float3{1, 0.25f, -1}), "shift in widths and heights");
    c.lensShift = {};
    c.orthographic = true;
    const Ray ray = through(c, 400, 100);
    expectNear(ray.direction, {0, 0, -1}, "parallel");
    expectNear(ray.origin, {4, 0, 0}, "spans what the perspective view spans at the target");
}

TEST(Camera, ClippingIsAlongTheAxis) {
    Camera c = atOrigin();
    c.fov = 90.0f;
    c.nearClip = 1.0f;
    c.farClip = 3.0f;
    const Ray ray = through(c, 400, 100);
    EXPECT_NEAR(ray.at(ray.tmin).z, -1.0f, 1e-4f);
    EXPECT_NEAR(ray.at(ray.tmax).z, -3.0f, 1e-4f);
}

TEST(Camera, FullDistortionMakesDistancesAngles) {
    Camera c = atOrigin();
    c.fov = 100.0f;
    c.distortion = 1.0f;
    expectNear(through(c, 400, 100).direction, atAngles(50, 0), "the sides stay");
    expectNear(through(c, 300, 100).direction, atAngles(25, 0), "half way is half the angle");
    c.distortion = 0.5f;
    const float straight = std::atan(0.5f * std::tan(50 * kPi / 180)) * 180 / kPi;
    expectNear(through(c, 300, 100).direction, atAngles(0.5f * (25 + straight), 0), "half distorted");
}

TEST(Camera, PerspectiveCorrectionKeepsUprightLinesUpright) {
    Camera c = atOrigin();
    c.target = {0, 3, -4};
    c.fov = 60.0f;
    c.perspectiveCorrection = true;
    expectNear(through(c, 200, 100).direction, normalize(Float3{0, 3, -4}), "the middle still shows the target");
    // Points of one column of the film lie in one upright plane.
    const Ray low = through(c, 300, 190), high = through(c, 300, 10);
    EXPECT_NEAR(low.direction.x / low.direction.z, high.direction.x / high.direction.z, 1e-5f);
    c.perspectiveCorrection = false;
    const Ray tilted = through(c, 300, 190), tiltedHigh = through(c, 300, 10);
    EXPECT_GT(std::abs(tilted.direction.x / tilted.direction.z - tiltedHigh.direction.x / tiltedHigh.direction.z),
              0.05f);
}

TEST(Camera, PanoramicProjections) {
    Camera c = atOrigin();
    c.kind = CameraKind::Panoramic;
    struct Case {
        Panorama projection;
        float fovX, fovY;
        std::uint32_t x, y;
        Float3 direction;
    };
    const float tan40 = std::atan(0.5f * std::tan(40 * kPi / 180)) * 180 / kPi;
    const Case cases[] = {
        {Panorama::Spherical, 360, 180, 200, 100, {0, 0, -1}},
        {Panorama::Spherical, 360, 180, 300, 100, {1, 0, 0}},
        {Panorama::Spherical, 360, 180, 250, 50, atAngles(45, 45)},
        {Panorama::Spherical, 180, 90, 300, 150, atAngles(45, -22.5f)},
        {Panorama::Cylindrical, 360, 80, 300, 50, atAngles(90, tan40)},
        {Panorama::CubeRight, 0, 0, 200, 100, {1, 0, 0}},
        {Panorama::CubeLeft, 0, 0, 200, 100, {-1, 0, 0}},
        {Panorama::CubeUp, 0, 0, 200, 100, {0, 1, 0}},
        {Panorama::CubeUp, 0, 0, 200, 200, normalize(Float3{0, 1, -1})},
        {Panorama::CubeDown, 0, 0, 200, 0, normalize(Float3{0, -1, -1})},
        {Panorama::CubeBack, 0, 0, 200, 100, {0, 0, 1}},
        {Panorama::CubeFront, 0, 0, 400, 0, normalize(Float3{1, 1, -1})},
        {Panorama::Fisheye, 180, 0, 400, 100, {1, 0, 0}},
        {Panorama::Fisheye, 180, 0, 200, 50, atAngles(0, 45.0f * 0.5f)},
    };
    for (const Case& k : cases) {
        c.projection = k.projection;
        c.fovX = k.fovX;
        c.fovY = k.fovY;
        const std::string name = "projection " + std::to_string(static_cast<int>(k.projection)) + " at " +
                                 std::to_string(k.x) + "," + std::to_string(k.y);
        expectNear(through(c, k.x, k.y).direction, k.direction, name.c_str());
    }
    c.projection = Panorama::Fisheye;
    EXPECT_FALSE(CameraRays(c, {.width = 200, .height = 200}, 1.0f).generate(2, 2, {}, {}).valid)
        << "outside the circle";

    // The faces of a map of all six are those of the single pictures.
    const Film strip{.width = 1200, .height = 200}, square{.width = 200, .height = 200};
    for (int face = 0; face < 6; ++face) {
        c.projection = Panorama::CubeMap;
        const Float3 in =
            CameraRays(c, strip, 1.0f).generate(200u * static_cast<unsigned>(face) + 30, 70, {}, {}).ray.direction;
        c.projection = static_cast<Panorama>(static_cast<int>(Panorama::CubeRight) + face);
        expectNear(in, CameraRays(c, square, 1.0f).generate(30, 70, {}, {}).ray.direction, "face");
    }

    c.projection = Panorama::Spherical;
    c.fovX = 360;
    c.fovY = 180;
    c.target = {0, 4, -4};
    expectNear(through(c, 200, 100).direction, atAngles(0, 45), "a tilted view");
    c.keepUpright = true;
    expectNear(through(c, 200, 100).direction, atAngles(0, 0), "kept upright");
}

TEST(Camera, StereoPlacesAndParts) {
    Camera c = atOrigin();
    c.fov = 90.0f;
    c.stereo.eyeDistance = 0.2f;
    c.stereo.output = StereoOutput::Left;
    for (const StereoMode mode : {StereoMode::OffAxis, StereoMode::ToeIn}) {
        c.stereo.mode = mode;
        const Ray ray = through(c, 200, 100);
        expectNear(ray.origin, {-0.1f, 0, 0}, "left eye");
        expectNear(ray.direction, normalize(Float3{0.1f, 0, -4}), "both eyes meet at the target");
    }
    c.stereo.mode = StereoMode::OffAxis;
    const Ray edge = through(c, 400, 100);
    expectNear(edge.at(4.0f / -edge.direction.z), {4, 0, -4}, "no parallax anywhere in the target's plane", 1e-3f);
    c.stereo.mode = StereoMode::Parallel;
    expectNear(through(c, 200, 100).direction, {0, 0, -1}, "parallel");
    c.stereo.swapEyes = true;
    expectNear(through(c, 200, 100).origin, {0.1f, 0, 0}, "swapped");
    c.stereo.swapEyes = false;

    c.stereo.output = StereoOutput::SideBySide;
    expectNear(through(c, 100, 100).origin, {-0.1f, 0, 0}, "left half");
    expectNear(through(c, 300, 100).origin, {0.1f, 0, 0}, "right half");
    expectNear(through(c, 300, 100).direction, {0, 0, -1}, "each half is a picture of its own");
    expectNear(through(c, 100, 0).direction, normalize(Float3{0, 1, -1}), "square halves");
    c.stereo.output = StereoOutput::SideBySideSqueezed;
    expectNear(through(c, 100, 0).direction, normalize(Float3{0, 0.5f, -1}), "squeezed halves");
    c.stereo.output = StereoOutput::OverUnder;
    expectNear(through(c, 200, 50).origin, {-0.1f, 0, 0}, "upper half");
    expectNear(through(c, 200, 150).origin, {0.1f, 0, 0}, "lower half");

    c.stereo.output = StereoOutput::Anaglyph;
    const CameraRays both(c, kFilm, 1.0f);
    ASSERT_EQ(both.layers(), 2);
    expectNear(both.generate(7, 7, {}, {}, 0).weight + both.generate(7, 7, {}, {}, 1).weight, splat(1), "filters");

    // Around a panorama the eyes turn with the view and meet at the poles.
    c.kind = CameraKind::Panoramic;
    c.stereo.output = StereoOutput::Right;
    expectNear(through(c, 300, 100).origin, {0, 0, 0.1f}, "looking right");
    expectNear(through(c, 200, 50).origin, {0.1f * std::sqrt(0.5f), 0, 0}, "by the cosine of the latitude");
    c.stereo.blackoutLatitude = 30.0f;
    EXPECT_FALSE(CameraRays(c, kFilm, 1.0f).generate(200, 50, {}, {}).valid);
}

/// All rays through one pixel meet at the focal depth, and at other depths fill a disc by the rule of similar
/// triangles.
TEST(Camera, CircleOfConfusion) {
    Camera c = atOrigin();
    c.apertureRadius = 0.05f;
    c.focalDepth = 2.0f;
    for (const CameraKind kind : {CameraKind::ThinLens, CameraKind::Panoramic}) {
        c.kind = kind;
        const CameraRays rays(c, kFilm, 2.0f);
        float widest = 0.0f, moment = 0.0f;
        constexpr std::uint32_t kRays = 4096;
        for (std::uint32_t i = 0; i < kRays; ++i) {
            Sampler sampler(1, 2, i, 3);
            const Ray ray = rays.generate(200, 100, {-0.5f, -0.5f}, sampler.next2()).ray;
            expectNear(ray.at(-(2.0f + ray.origin.z) / ray.direction.z), {0, 0, -2}, "in focus");
            const Float3 p = ray.at(-(3.0f + ray.origin.z) / ray.direction.z);
            const float r = std::sqrt(p.x * p.x + p.y * p.y);
            widest = std::max(widest, r);
            moment += r * r / kRays;
        }
        const float radius = 0.05f * (3.0f - 2.0f) / 2.0f;
        EXPECT_LT(widest, radius * 1.0001f);
        EXPECT_GT(widest, radius * 0.98f);
        EXPECT_NEAR(moment / (radius * radius), 0.5f, 0.01f) << "evenly filled";
    }
}

TEST(Camera, ApertureShapes) {
    const auto points = [](const Camera& c) {
        const Aperture aperture(c);
        std::vector<Float2> all;
        for (std::uint32_t i = 0; i < 16384; ++i) {
            Sampler sampler(5, 6, i, 7);
            all.push_back(aperture.sample(sampler.next2()));
        }
        return all;
    };
    Camera c;
    c.apertureAspect = 0.5f;
    for (const Float2 p : points(c)) EXPECT_LE(p.x * p.x + 4 * p.y * p.y, 1.0001f);
    c.apertureAspect = 1.0f;
    // Half of the light beyond the radius where the share of the area is half; with a bright rim further out.
    const auto beyond = [&](float radius) {
        std::size_t n = 0;
        const auto all = points(c);
        for (const Float2 p : all) n += p.x * p.x + p.y * p.y > radius * radius;
        return static_cast<float>(n) / static_cast<float>(all.size());
    };
    EXPECT_NEAR(beyond(std::sqrt(0.5f)), 0.5f, 0.01f);
    c.apertureEdge = 3.0f;
    EXPECT_NEAR(beyond(std::sqrt(0.5f)), 0.75f, 0.01f);

    // A square: inside it, and evenly filled.
    c.apertureEdge = 1.0f;
    c.bokehSides = 4;
    c.bokehRoundness = 0.0f;
    const float side = std::sqrt(0.5f);
    std::size_t inner = 0;
    const auto filled = [&](float turn) {
        inner = 0;
        const auto all = points(c);
        for (const Float2 p : all) {
            const Float2 q = {p.x * std::cos(turn) + p.y * std::sin(turn), p.y * std::cos(turn) - p.x * std::sin(turn)};
            const float d = std::abs(q.x) + std::abs(q.y);
            EXPECT_LE(d, 1.001f);
            inner += d < side;
        }
        return static_cast<float>(inner) / static_cast<float>(all.size());
    };
    EXPECT_NEAR(filled(0), 0.5f, 0.02f) << "corners on the axes";
    c.bokehRotation = 0.25f;
    EXPECT_NEAR(filled(kPi / 4), 0.5f, 0.02f) << "turned by an eighth";
}

/// A strip of light, seen by a camera that passes it: as wide as the way while the shutter is open, and as much darker.
TEST(Camera, MotionBlursWhatTheShutterSees) {
    Scene scene(64, 16, 256);
    MeshData mesh;
    mesh.quad({-0.25f, -4, 0}, {0.25f, -4, 0}, {0.25f, 4, 0}, {-0.25f, 4, 0});
    const NodeRecordPtr strip = scene.keep(mesh.node({scene.emitter({1, 1, 1}, true)}));
    const auto track = [&](Float3 from, Float3 to) {
        return scene.keep(Node(NT_FLOAT).animate(A_VALUE, {0, 1}, shared(std::vector<Float3>{from, to})));
    };
    scene.camera.set(P_ORTHOGRAPHIC, true).set(P_FOV, 90.0f);
    scene.camera.connect(P_POSITION, track({-2, 0, 4}, {2, 0, 4})).connect(P_TARGET, track({-2, 0, 0}, {2, 0, 0}));
    const auto picture = [&](float frames, int alignment) {
        Node animation(NT_ANIMATION_SETTINGS);
        animation.set(P_SHUTTER_TIME, frames).set(P_SHUTTER_ALIGNMENT, alignment);
        scene.target.connect(P_ANIMATION, scene.keep(animation));
        SceneDelta delta = scene.delta(strip);
        delta.time = 0.5f;
        delta.fps = 10;
        Render render;
        return render.picture(delta);
    };
    // Half width 4 on 32 pixels. Half a second of the four metres a second, around the middle.
    const Image blurred = picture(5, 2);
    EXPECT_NEAR(mean(blurred, 28, 0, 8, 16).x, 0.25f, 0.01f) << "the strip is there a quarter of the time";
    EXPECT_NEAR(mean(blurred, 0, 0, 64, 16).x, 0.5f / 8, 0.003f) << "no light is lost";
    EXPECT_EQ(mean(blurred, 44, 0, 20, 16).x, 0.0f) << "beyond the way";
    const Image before = picture(5, 1);
    EXPECT_NEAR(mean(before, 34, 0, 12, 16).x, 0.25f, 0.01f) << "the camera comes from the left";
    EXPECT_EQ(mean(before, 0, 0, 27, 16).x, 0.0f);
    const Image still = picture(0, 2);
    EXPECT_NEAR(mean(still, 31, 0, 2, 16).x, 1.0f, 0.01f) << "closed at once: as at the project's time";
}

/// Baking: the picture is the texture plane, whatever the objects' places.
TEST(Camera, BakingShowsTheSurfaceOfEachTexel) {
    Scene scene(64, 64, 4);
    const NodeRecordPtr red = scene.emitter({1, 0, 0}), green = scene.emitter({0, 1, 0});
    // Two triangles that share the texture plane along its diagonal, far apart in space and facing different ways.
    MeshData mesh;
    mesh.triangle({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 0);
    mesh.triangle({5, 0, 9}, {5, 0, 8}, {5, 3, 9}, 1);
    mesh.uvs = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {1, 1, 0}, {0.2f, 1, 0}, {1, 0.2f, 0}};
    const NodeRecordPtr node = scene.keep(mesh.node({red, green}));
    Node camera(NT_CAM_BAKING);
    camera.set(P_BAKE_PADDING, 2);
    scene.camera = camera;
    scene.kernel.set(P_ALPHA_CHANNEL, true);
    Render render;
    const Image image = render.picture(scene.delta(node));
    expectNear(pixel(image, 10, 50), {1, 0, 0}, "lower left");
    expectNear(pixel(image, 60, 10), {0, 1, 0}, "upper right");
    // Across the gap between (0.6, 0.6) and (0.5, 0.5) the padding stops after two pixels.
    EXPECT_EQ((*image.floats)[4 * (28 * 64 + 35) + 3], 0.0f) << "nothing there";
    EXPECT_GT(pixel(image, 32, 31).x, 0.9f) << "padding";
}

TEST(Camera, BakingGroupsSetsAndRegions) {
    Scene scene(32, 32, 4);
    const NodeRecordPtr red = scene.emitter({1, 0, 0}), green = scene.emitter({0, 1, 0});
    const auto inGroup = [&](const NodeRecordPtr& material, int group) {
        // One behind the other: of two in one place a ray may meet either.
        const float z = -static_cast<float>(group);
        MeshData whole;
        whole.quad({0, 0, z}, {1, 0, z}, {1, 1, z}, {0, 1, z});
        const NodeRecordPtr mesh = scene.keep(whole.node({material}));
        const NodeRecordPtr layer = scene.keep(Node(NT_OBJECT_LAYER).set(P_BAKING_GROUP_ID, group));
        return scene.keep(Node(NT_GEO_LAYER_MAP).connect(P_GEOMETRY, mesh).dynamic(layer));
    };
    const NodeRecordPtr both = scene.group({inGroup(red, 1), inGroup(green, 2)});
    Render render;
    std::uint64_t level = 0;
    const auto shot = [&](int group, Vec2<float> start, Vec2<float> size, bool fromPosition) {
        Node camera(NT_CAM_BAKING);
        camera.set(P_BAKING_GROUP_ID, group).set(P_UV_REGION_START, start).set(P_UV_REGION_SIZE, size);
        camera.set(P_BAKE_FROM_POSITION, fromPosition).set(P_POSITION, Float3{0.5f, 0.5f, 3}).set(P_BAKE_PADDING, 0);
        camera.set(P_TOLERANCE, 0.0f);
        scene.camera = camera;
        return render.picture(scene.delta(both, ++level));
    };
    for (const bool fromPosition : {false, true}) {
        expectNear(mean(shot(1, {0, 0}, {1, 1}, fromPosition), 0, 0, 32, 32), {1, 0, 0}, "group 1");
        expectNear(mean(shot(2, {0, 0}, {1, 1}, fromPosition), 0, 0, 32, 32), {0, 1, 0}, "group 2");
    }
    const Image half = shot(1, {0.5f, 0.0f}, {1, 1}, false);
    expectNear(mean(half, 0, 0, 16, 32), {1, 0, 0}, "inside");
    expectNear(mean(half, 16, 0, 16, 32), {}, "beyond the texture plane's edge");
}

}  // namespace
}  // namespace Lumora::engine::test
