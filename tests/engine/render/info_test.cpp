// Info channels against known geometry.
#include <gtest/gtest.h>

#include <thread>

#include "engine/render/info_channel.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr unsigned kSize = 32;

/// A slope that rises to the right, from z = -1 at the left to 1 at the right, seen from five metres in front of it.
MeshData slope() {
    return MeshData().quad({-2, -2, -1}, {2, -2, 1}, {2, 2, 1}, {-2, 2, -1});
}

class InfoChannels : public testing::Test {
protected:
    InfoChannels() : scene(kSize, kSize, 16) {
        Node kernel(NT_KERNEL_INFO);
        kernel.set(P_MAX_SAMPLES, 16).set(P_FILTER_SIZE, 1.0f).set(P_ALPHA_CHANNEL, false);
        scene.kernel = kernel;
    }
    Image shot(InfoChannel channel, const NodeRecordPtr& geometry, TonemapType type = TONEMAP_HDR_LINEAR) {
        scene.kernel.set(P_INFO_CHANNEL, static_cast<int>(channel));
        Node fresh(NodeRecordPtr(scene.kernel));
        scene.kernel = fresh;
        return render.picture(scene.delta(geometry, ++level), type);
    }
    Float3 middle(InfoChannel channel, const NodeRecordPtr& geometry) {
        return mean(shot(channel, geometry), kSize / 2 - 1, kSize / 2 - 1, 2, 2);
    }

    Scene scene;
    Render render;
    std::uint64_t level = 0;
};

void expectNear(Float3 a, Float3 b, const char* what, float tolerance = 2e-3f) {
    EXPECT_LT(length(a - b), tolerance) << what << ": " << a.x << ' ' << a.y << ' ' << a.z << " instead of " << b.x
                                        << ' ' << b.y << ' ' << b.z;
}

TEST_F(InfoChannels, NormalsPlacesAndCoordinates) {
    MeshData data = slope();
    data.normals = {normalize(Float3{0.3f, 0.1f, 1})};
    data.normalIndices = {0, 0, 0, 0};
    const NodeRecordPtr mesh = scene.keep(data.node({scene.diffuse({0.2f, 0.4f, 0.6f})}));
    const Float3 flat = normalize(Float3{-1, 0, 2});
    expectNear(middle(InfoChannel::GeometricNormal, mesh), flat, "geometric normal");
    expectNear(middle(InfoChannel::SmoothNormal, mesh), data.normals[0], "interpolated normal");
    expectNear(middle(InfoChannel::ShadingNormal, mesh), data.normals[0], "shading normal");
    expectNear(middle(InfoChannel::TangentNormal, mesh), {0, 0, 1}, "tangent space");
    expectNear(middle(InfoChannel::Position, mesh), {0, 0, 0}, "position", 1e-2f);
    expectNear(middle(InfoChannel::Depth, mesh), splat(5), "depth", 1e-2f);
    expectNear(middle(InfoChannel::TextureCoordinate, mesh), {0.5f, 0.5f, 0}, "texture coordinate", 1e-2f);
    expectNear(middle(InfoChannel::Tangent, mesh), normalize(Float3{2, 0, 1}), "tangent");
    expectNear(middle(InfoChannel::MotionVector, mesh), {}, "nothing moves");
    expectNear(middle(InfoChannel::Opacity, mesh), splat(1), "opacity");

    // Depth runs along the camera's axis, not along the ray.
    scene.kernel.set(P_DISTRIBUTED_TRACING, static_cast<int>(InfoSampling::Plain));
    const Image depth = shot(InfoChannel::Depth, mesh), place = shot(InfoChannel::Position, mesh);
    for (unsigned x = 4; x < 28; x += 5) EXPECT_NEAR(pixel(depth, x, 9).x, 5.0f - pixel(place, x, 9).z, 1e-4f) << x;
}

TEST_F(InfoChannels, BytesShowValuesInTheirRange) {
    const NodeRecordPtr mesh = scene.keep(slope().node({scene.diffuse(splat(0.5f))}));
    scene.kernel.set(P_Z_DEPTH_MAX, 10.0f).set(P_UV_MAX, 2.0f);
    scene.imager.set(P_EXPOSURE, 3.0f);
    const auto at = [&](const Image& image) {
        const std::size_t i = 4 * (kSize / 2 * kSize + kSize / 2);
        return Float3{static_cast<float>((*image.bytes)[i]), static_cast<float>((*image.bytes)[i + 1]),
                      static_cast<float>((*image.bytes)[i + 2])};
    };
    expectNear(at(shot(InfoChannel::Depth, mesh, TONEMAP_LDR)), splat(127.5f), "half of the depth", 4);
    expectNear(at(shot(InfoChannel::TextureCoordinate, mesh, TONEMAP_LDR)), {64, 64, 0}, "a quarter", 5);
    const Float3 n = normalize(Float3{-1, 0, 2});
    expectNear(at(shot(InfoChannel::GeometricNormal, mesh, TONEMAP_LDR)), (n * 0.5f + splat(0.5f)) * 255.0f,
               "no exposure, no curve", 2);
    expectNear(at(shot(InfoChannel::MotionVector, mesh, TONEMAP_LDR)), splat(127.5f), "standing still is grey", 2);
}

TEST_F(InfoChannels, AlphaTellsWhereSomethingIs) {
    const NodeRecordPtr mesh =
        scene.keep(MeshData().quad({-2, -2, 0}, {0, -2, 0}, {0, 2, 0}, {-2, 2, 0}).node({scene.diffuse(splat(0.5f))}));
    scene.kernel.set(P_ALPHA_CHANNEL, true);
    const Image with = shot(InfoChannel::Depth, mesh);
    EXPECT_EQ((*with.floats)[4 * (16 * kSize + 8) + 3], 1.0f);
    EXPECT_EQ((*with.floats)[4 * (16 * kSize + 24) + 3], 0.0f);
    scene.kernel.set(P_ALPHA_CHANNEL, false).set(P_Z_DEPTH_MAX, 7.0f);
    const Image without = shot(InfoChannel::Depth, mesh);
    EXPECT_EQ((*without.floats)[4 * (16 * kSize + 24) + 3], 1.0f);
    EXPECT_EQ(pixel(without, 24, 16).x, 7.0f) << "as far as can be";
}

/// A point at the bottom of a right angle between two large walls sees half of the hemisphere; beyond the distance
/// nothing counts.
TEST_F(InfoChannels, AmbientOcclusionOfACorner) {
    MeshData data;
    data.quad({-50, 0, 50}, {50, 0, 50}, {50, 0, -50}, {-50, 0, -50});
    data.quad({-50, 0, -50}, {50, 0, -50}, {50, 50, -50}, {-50, 50, -50});
    const NodeRecordPtr mesh = scene.keep(data.node({scene.diffuse(splat(0.5f))}));
    scene.camera.set(P_POSITION, Float3{0, 5, -49}).set(P_TARGET, Float3{0, 0, -50 + 1e-2f}).set(P_FOV, 0.02f);
    scene.kernel.set(P_AO_DISTANCE, 1000.0f).set(P_MAX_SAMPLES, 64);
    EXPECT_NEAR(mean(shot(InfoChannel::AmbientOcclusion, mesh), 0, 0, kSize, kSize).x, 0.5f, 0.03f);
    scene.kernel.set(P_AO_DISTANCE, 1e-3f);
    EXPECT_NEAR(mean(shot(InfoChannel::AmbientOcclusion, mesh), 0, 0, kSize, kSize).x, 1.0f, 1e-3f);
}

TEST_F(InfoChannels, WireframeDrawsTheEdgesOfPolygonsOnly) {
    MeshData data;
    for (int i = 0; i < 4; ++i) {
        const float x = -2.0f + static_cast<float>(i);
        data.quad({x, -2, 0}, {x + 1, -2, 0}, {x + 1, 2, 0}, {x, 2, 0});
    }
    const NodeRecordPtr mesh = scene.keep(data.node({scene.diffuse(splat(0.5f))}));
    scene.film.set(P_RESOLUTION, Vec2<int>{128, 128});
    const Image image = shot(InfoChannel::Wireframe, mesh);
    // The picture spans 2 * 5 * tan(20 deg) = 3.64 metres.
    const auto column = [](float x) { return static_cast<unsigned>((x / 3.6397f + 0.5f) * 128.0f); };
    for (const float x : {-1.0f, 0.0f, 1.0f}) EXPECT_GT(pixel(image, column(x), 40).x, 0.45f) << "an edge at " << x;
    for (const float x : {-1.5f, -0.5f, 0.5f, 1.5f})
        EXPECT_LT(pixel(image, column(x), 64).x, 0.25f) << "no edge at " << x;
    scene.kernel.set(P_HIGHLIGHT_BACKFACES, true);
    scene.camera.set(P_POSITION, Float3{0, 0, -5});
    const Float3 behind = pixel(shot(InfoChannel::Wireframe, mesh), 64, 40);
    EXPECT_GT(behind.x, 1.4f * behind.y) << "edges of backs are red";
}

TEST_F(InfoChannels, NumbersOfMaterialsAndObjectsDiffer) {
    MeshData data;
    data.quad({-2, -2, 0}, {0, -2, 0}, {0, 2, 0}, {-2, 2, 0}, 0, 0)
        .quad({0, -2, 0}, {2, -2, 0}, {2, 2, 0}, {0, 2, 0}, 1, 1);
    const NodeRecordPtr mesh = scene.keep(data.node({scene.diffuse(splat(0.5f)), scene.diffuse(splat(0.5f))}));
    for (const InfoChannel channel : {InfoChannel::MaterialId, InfoChannel::ObjectId}) {
        const Image image = shot(channel, mesh);
        const Float3 left = mean(image, 2, 2, 8, 8), right = mean(image, 20, 2, 8, 8);
        EXPECT_GT(length(left - right), 0.1f) << static_cast<int>(channel);
        expectNear(pixel(image, 3, 3), left, "one colour all over", 1e-5f);
    }
}

/// Passes beside the picture show what the kernel of that channel shows, and leave the picture alone.
TEST_F(InfoChannels, PassesBesideThePicture) {
    const NodeRecordPtr mesh = scene.keep(slope().node({scene.diffuse(splat(0.5f))}));
    const Image depth = shot(InfoChannel::Depth, mesh), normal = shot(InfoChannel::GeometricNormal, mesh);
    Node path(NT_KERNEL_PATH);
    path.set(P_MAX_SAMPLES, 8).set(P_FILTER_SIZE, 1.0f);
    scene.kernel = path;
    scene.environment(splat(1));
    const Image alone = render.picture(scene.delta(mesh, ++level));
    Node passes(NT_RENDER_PASSES);
    passes.set(P_PASS_Z_DEPTH, true).set(P_PASS_GEOMETRIC_NORMAL, true).set(P_PASS_INFO_MAX_SAMPLES, 16);
    scene.target.connect(P_RENDER_PASSES, scene.keep(passes));
    const Image beside = render.picture(scene.delta(mesh, ++level));
    EXPECT_EQ(*beside.floats, *alone.floats);
    for (int i = 0; i < 5000 && !(render.renderer().statistics(RP_Z_DEPTH).finished &&
                                  render.renderer().statistics(RP_GEOMETRIC_NORMAL).finished);
         ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(render.renderer().statistics(RP_Z_DEPTH).samplesPerPixel, 16.0f);
    const auto images =
        render.renderer().tonemap({RP_Z_DEPTH, RP_BEAUTY, RP_GEOMETRIC_NORMAL, RP_UV}, TONEMAP_HDR_LINEAR);
    ASSERT_EQ(images.size(), 3u) << "a pass that is off makes no picture";
    EXPECT_EQ(images[0].pass, RP_Z_DEPTH);
    EXPECT_EQ(images[2].pass, RP_GEOMETRIC_NORMAL);
    expectNear(mean(images[0], 8, 8, 16, 16), mean(depth, 8, 8, 16, 16), "depth", 1e-4f);
    expectNear(mean(images[2], 8, 8, 16, 16), mean(normal, 8, 8, 16, 16), "normal", 1e-4f);
}

}  // namespace
}  // namespace Lumora::engine::test
