// What emissions do in the picture, against closed forms.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>

#include "engine/render/spectrum.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// A white floor seen straight from above at the origin; what is added stands over it.
struct Floor {
    Scene scene{8, 8, 256};
    std::vector<NodeRecordPtr> parts;
    NodeRecordPtr floorLayer;

    explicit Floor(int samples = 256) : scene(8, 8, samples) {
        scene.camera.set(P_POSITION, Float3{0, 0.4f, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
        scene.camera.set(P_FOV, 1.0f);
    }
    /// Adds a mesh placed by a matrix.
    void add(const MeshData& mesh, const NodeRecordPtr& material, const Matrix<float>& placed = {}) {
        parts.push_back(scene.scatter(scene.keep(mesh.node({material})), {placed}));
    }
    /// Radiance of the floor at the origin.
    Float3 lit() {
        NodeRecordPtr floor = scene.keep(
            MeshData().quad({-9, 0, 9}, {9, 0, 9}, {9, 0, -9}, {-9, 0, -9}).node({scene.diffuse(splat(1.0f))}));
        if (floorLayer) {
            floor = scene.keep(Node(NT_GEO_LAYER_MAP).connect(P_GEOMETRY, floor).dynamic(floorLayer));
        }
        parts.push_back(floor);
        return mean(Render().picture(scene.delta(scene.group(parts))), 0, 0, 8, 8);
    }
    NodeRecordPtr glowing(Node emission, float opacity = 1.0f) {
        Node material(NT_MAT_DIFFUSE);
        material.connect(P_DIFFUSE, scene.keep(rgb({}))).connect(P_EMISSION, scene.keep(emission));
        material.connect(P_OPACITY, scene.keep(constant(opacity)));
        return scene.keep(material);
    }
    Node emission(float power, NodeType type = NT_EMIS_TEXTURE) {
        Node e(type);
        return e.connect(P_EMIS_TEXTURE, scene.keep(rgb(splat(1.0f)))).set(P_POWER, power).set(P_DOUBLE_SIDED, false);
    }
};

/// A small square that looks down, and the irradiance of the floor below it for a radiance of one.
constexpr float kHalf = 0.05f, kHeight = 2.0f;
MeshData lamp() {
    return MeshData().quad({-kHalf, 0, kHalf}, {-kHalf, 0, -kHalf}, {kHalf, 0, -kHalf}, {kHalf, 0, kHalf});
}
constexpr float kLampIrradiance = 4 * kHalf * kHalf / (kHeight * kHeight);

TEST(Emission, PowerIsSharedByTheArea) {
    // A flat lamp of power one lights a white surface two metres away to one; a sphere, which shares its power by four
    // times the area that it shows, to a quarter. Size and place in a tree of transforms are all the same.
    constexpr float kPower = 60.0f, kDistance = 2.0f;
    for (const Float3 scale : {splat(0.3f), splat(0.6f), Float3{-0.5f, 0.5f, 0.5f}}) {
        Floor floor;
        Node e = floor.emission(kPower).set(P_SURFACE_BRIGHTNESS, false);
        Matrix<float> placed = scaling(scale);
        placed.m[1][3] = kDistance;
        floor.add(MeshData::sphere(64, 32), floor.glowing(e), placed);
        const float expected = kPower / 4 * (4 / (kDistance * kDistance));
        EXPECT_NEAR(floor.lit().y, expected, 0.015f * expected) << scale.x;
    }
    // A stretched square: its radiance falls as its area grows.
    for (const float stretch : {1.0f, 4.0f}) {
        Floor floor;
        Matrix<float> placed = scaling({stretch, 3, 1});
        placed.m[1][3] = kHeight;
        floor.add(lamp(), floor.glowing(floor.emission(kPower).set(P_SURFACE_BRIGHTNESS, false)), placed);
        const float expected = kPower * 4 / (kHeight * kHeight);
        EXPECT_NEAR(floor.lit().y, expected, 0.02f * expected) << stretch;
    }
}

TEST(Emission, BlackBodiesFollowPlanck) {
    Float3 last;
    double brightness = 0.0;
    for (const double kelvin : {600.0, 1500.0, 3000.0, 6500.0, 12000.0}) {
        const Float3 c = blackbodyColor(kelvin);
        EXPECT_NEAR(luminance(c), 1.0f, 1e-4f);
        if (kelvin > 600.0) {
            EXPECT_LT(c.x / c.y, last.x / last.y) << kelvin;
        }
        if (kelvin > 3000.0) {
            EXPECT_GT(c.z / c.y, last.z / last.y) << kelvin;
        }
        EXPECT_GT(blackbodyLuminance(kelvin), brightness);
        brightness = blackbodyLuminance(kelvin);
        last = c;
    }
    const Float3 daylight = blackbodyColor(6500.0);
    EXPECT_NEAR(daylight.x, 1.0f, 0.06f);
    EXPECT_NEAR(daylight.z, 1.0f, 0.06f);
    // In the picture: normalised, the temperature changes the colour alone.
    for (const bool normalize : {true, false}) {
        Floor floor;
        Node e = floor.emission(1.0f, NT_EMIS_BLACKBODY).set(P_TEMPERATURE, 3000.0f).set(P_NORMALIZE, normalize);
        floor.add(lamp(), floor.glowing(e), translation({0, kHeight, 0}));
        const Float3 lit = floor.lit();
        const float share = static_cast<float>(blackbodyLuminance(3000.0) / blackbodyLuminance(6500.0));
        const float expected = kLampIrradiance / kPi * (normalize ? 1.0f : share);
        EXPECT_NEAR(luminance(lit), expected, 0.02f * expected);
        EXPECT_GT(lit.x, 1.5f * lit.z);
    }
}

/// Each switch on a lamp over a floor, and the share of the plain lamp's light that is left on the floor.
TEST(Emission, SwitchesDoWhatTheySay) {
    struct Case {
        const char* name;
        std::function<void(Node&, Floor&)> set;
        float lit;
    };
    const auto block = [](Floor& f) {
        f.add(MeshData().quad({-1, 0, 1}, {1, 0, 1}, {1, 0, -1}, {-1, 0, -1}), f.scene.diffuse({}),
              translation({0, 1, 0}));
    };
    const auto ids = [](Floor& f, int set) { return f.scene.keep(Node(NT_BIT_MASK).set(A_VALUE, set)); };
    const std::vector<Case> cases = {
        {"plain", [](Node&, Floor&) {}, 1.0f},
        {"not on diffuse", [](Node& e, Floor&) { e.set(P_VISIBLE_ON_DIFFUSE, false); }, 0.0f},
        {"not on specular", [](Node& e, Floor&) { e.set(P_VISIBLE_ON_SPECULAR, false); }, 1.0f},
        {"blocked", [&](Node&, Floor& f) { block(f); }, 0.0f},
        {"without shadows", [&](Node& e, Floor& f) { e.set(P_CAST_SHADOWS, false), block(f); }, 1.0f},
        {"never chosen, found by chance", [](Node& e, Floor&) { e.set(P_SAMPLING_RATE, 0.0f); }, -1.0f},
        {"chosen more often", [](Node& e, Floor&) { e.set(P_SAMPLING_RATE, 50.0f); }, 1.0f},
        {"half the distribution", [](Node& e, Floor& f) { e.connect(P_DISTRIBUTION, f.scene.keep(constant(0.5f))); },
         0.5f},
        {"an id that the floor does not take",
         [](Node& e, Floor& f) {
             e.set(P_LIGHT_PASS_ID, 3);
             f.floorLayer = f.scene.keep(Node(NT_OBJECT_LAYER).set(P_LIGHT_PASS_MASK, 0x3ff & ~(1 << 4)));
         },
         0.0f},
        {"an id that the floor takes",
         [](Node& e, Floor& f) {
             e.set(P_LIGHT_PASS_ID, 2);
             f.floorLayer = f.scene.keep(Node(NT_OBJECT_LAYER).set(P_LIGHT_PASS_MASK, 0x3ff & ~(1 << 4)));
         },
         1.0f},
        {"an id that the kernel takes out",
         [&](Node& e, Floor& f) {
             e.set(P_LIGHT_PASS_ID, 3);
             f.scene.kernel.connect(P_LIGHT_IDS, ids(f, 1 << 4)).set(P_LIGHT_IDS_ACTION, 0);
         },
         0.0f},
        {"the only id that the kernel takes in",
         [&](Node& e, Floor& f) {
             e.set(P_LIGHT_PASS_ID, 3);
             f.scene.kernel.connect(P_LIGHT_IDS, ids(f, 1 << 4)).set(P_LIGHT_IDS_ACTION, 1);
         },
         1.0f},
        {"the floor's mask turned about",
         [&](Node& e, Floor& f) {
             e.set(P_LIGHT_PASS_ID, 3);
             f.scene.kernel.connect(P_LIGHT_IDS_INVERTED, ids(f, 1 << 4));
         },
         0.0f},
    };
    const float full = kLampIrradiance * 50.0f / kPi;
    for (const Case& c : cases) {
        const bool byChance = c.lit < 0.0f;
        Floor floor(byChance ? 4096 : 256);
        Node e = floor.emission(50.0f);
        c.set(e, floor);
        floor.add(lamp(), floor.glowing(e), translation({0, kHeight, 0}));
        const float lit = floor.lit().y;
        EXPECT_NEAR(lit, (byChance ? 1.0f : c.lit) * full, (byChance ? 0.25f : 0.02f) * full) << c.name;
    }
}

/// An even opacity hides a lamp from the camera and leaves its light alone.
TEST(Emission, InvisibleLampsShine) {
    for (const bool transparentEmission : {false, true}) {
        Floor floor;
        Node e = floor.emission(50.0f).set(P_TRANSPARENT_EMISSION, transparentEmission);
        floor.add(lamp(), floor.glowing(e, 0.0f), translation({0, kHeight, 0}));
        EXPECT_NEAR(floor.lit().y, kLampIrradiance * 50.0f / kPi, 0.02f * kLampIrradiance * 50.0f / kPi);

        Scene scene(4, 4, 16);
        scene.camera.set(P_POSITION, Float3{0, 0, 3}).set(P_FOV, 1.0f);
        Node material(NT_MAT_DIFFUSE);
        Node emission(NT_EMIS_TEXTURE);
        emission.connect(P_EMIS_TEXTURE, scene.keep(rgb(splat(2.0f)))).set(P_POWER, 1.0f);
        emission.set(P_TRANSPARENT_EMISSION, transparentEmission);
        material.connect(P_EMISSION, scene.keep(emission)).connect(P_OPACITY, scene.keep(constant(0.0f)));
        const NodeRecordPtr quad =
            scene.keep(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}).node({scene.keep(material)}));
        EXPECT_NEAR(mean(Render().picture(scene.delta(quad)), 0, 0, 4, 4).x, transparentEmission ? 2.0f : 0.0f, 1e-4f);
    }
}

/// A lamp with a photometric file: the floor shows the intensity of each angle.
TEST(Emission, PhotometricFilesShapeTheLight) {
    const std::string path =
        (std::filesystem::temp_directory_path() / ("lumora_lamp_" + std::to_string(::getpid()) + ".ies")).string();
    std::ofstream(path) << "IESNA:LM-63-1995\nTILT=NONE\n1 1000 1 4 1 1 2 0 0 0\n1 1 10\n0 20 40 90\n0\n200 150 50 0\n";
    for (const float degrees : {0.0f, 10.0f, 20.0f, 30.0f, 60.0f}) {
        Floor floor(512);
        const NodeRecordPtr image = floor.scene.keep(Node(NT_TEX_IMAGE).set(A_FILENAME, path));
        Node e = floor.emission(80.0f).connect(P_DISTRIBUTION, image);
        // The lamp moves aside: the floor at the origin is then under that angle.
        const float aside = kHeight * std::tan(degrees * kPi / 180.0f);
        floor.add(lamp(), floor.glowing(e), translation({aside, kHeight, 0}));
        const float d2 = kHeight * kHeight + aside * aside, cosine = kHeight / std::sqrt(d2);
        const float share = degrees <= 20.0f   ? lerp(200.0f, 150.0f, degrees / 20.0f)
                            : degrees <= 40.0f ? lerp(150.0f, 50.0f, (degrees - 20.0f) / 20.0f)
                                               : lerp(50.0f, 0.0f, (degrees - 40.0f) / 50.0f);
        const float expected = 80.0f * share / 200.0f * 4 * kHalf * kHalf * cosine * cosine / d2 / kPi;
        EXPECT_NEAR(floor.lit().y, expected, 0.03f * expected) << degrees;
    }
    std::filesystem::remove(path);
}

}  // namespace
}  // namespace Lumora::engine::test
