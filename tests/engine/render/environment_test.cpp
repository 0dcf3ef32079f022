// Skies, suns and environments.
#include "engine/render/environment.h"

#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "engine/render/atmosphere.h"
#include "engine/render/lights.h"
#include "tests/engine/render/scene_builder.h"
#include "tests/engine/render/statistics.h"

namespace Lumora::engine::test {
namespace {

Float3 sunAt(float degrees, float turn = 0.0f) {
    const float a = degrees * kPi / 180.0f;
    return {std::cos(a) * std::cos(turn), std::sin(a), std::cos(a) * std::sin(turn)};
}

Sky skyWith(float elevation, SkyModel model = SkyModel::Scattering, float turbidity = 2.2f) {
    SkyParameters p;
    p.model = model;
    p.turbidity = turbidity;
    p.sunDirection = sunAt(elevation);
    return Sky(p);
}

Float3 sunIrradiance(const Sky& sky) {
    return sky.sunRadiance() * (2.0f * kPi * (1.0f - sky.sunCosine()));
}

Float3 skyIrradiance(const Sky& sky) {
    Float3 sum;
    constexpr int kRings = 100, kSectors = 200;
    for (int j = 0; j < kRings; ++j) {
        const float y = std::sqrt((static_cast<float>(j) + 0.5f) / kRings), r = std::sqrt(1.0f - y * y);
        for (int i = 0; i < kSectors; ++i) {
            const float phi = 2.0f * kPi * (static_cast<float>(i) + 0.5f) / kSectors;
            sum += sky.radiance({r * std::cos(phi), y, r * std::sin(phi)}) * (kPi / (kRings * kSectors));
        }
    }
    return sum;
}

TEST(Sky, LooksLikeOne) {
    for (const SkyModel model : {SkyModel::Analytic, SkyModel::Scattering}) {
        const Sky noon = skyWith(50.0f, model), evening = skyWith(5.0f, model);
        const Float3 zenith = noon.radiance({0, 1, 0}), horizon = noon.radiance(sunAt(3.0f, kPi / 2));
        EXPECT_GT(zenith.z / zenith.x, 1.4f) << "blue overhead";
        EXPECT_GT(zenith.z / zenith.x, horizon.z / horizon.x) << "paler at the horizon";
        EXPECT_GT(luminance(noon.radiance(sunAt(40.0f))), luminance(noon.radiance(sunAt(40.0f, kPi))))
            << "brighter around the sun";
        const Float3 low = evening.radiance(sunAt(3.0f)), high = noon.radiance(sunAt(48.0f));
        EXPECT_GT(low.x / low.z, 1.5f * high.x / high.z) << "red around a low sun";
        EXPECT_GT(evening.sunRadiance().x / evening.sunRadiance().z,
                  noon.sunRadiance().x / noon.sunRadiance().z * 2.0f);
        float lastSky = 0.0f, lastSun = 0.0f;
        for (const float elevation : {-18.0f, -8.0f, 0.0f, 5.0f, 20.0f, 40.0f, 60.0f}) {
            const Sky sky = skyWith(elevation, model);
            const float s = luminance(skyIrradiance(sky)), d = luminance(sunIrradiance(sky));
            EXPECT_GE(s, lastSky) << elevation;
            EXPECT_GE(d, lastSun) << elevation;
            EXPECT_LT(d, kSunlight);
            // No more light comes down than goes in.
            EXPECT_LT(s + d * std::max(sunAt(elevation).y, 0.0f), kSunlight * std::max(sunAt(elevation).y, 0.25f));
            lastSky = s;
            lastSun = d;
        }
        EXPECT_GT(lastSun, 0.5f * kSunlight);
        EXPECT_EQ(luminance(sunIrradiance(skyWith(-2.0f, model))), 0.0f) << "no sun at night";
        // Haze takes from the sun and gives to the sky.
        const Sky hazy = skyWith(50.0f, model, 6.0f);
        EXPECT_LT(luminance(sunIrradiance(hazy)), luminance(sunIrradiance(noon)));
        EXPECT_GT(luminance(skyIrradiance(hazy)), luminance(skyIrradiance(noon)));
        for (int i = 0; i < 2000; ++i) {
            Random random{static_cast<std::uint32_t>(i * 2 + 1)};
            const float z = 2.0f * random() - 1.0f, phi = 2.0f * kPi * random(), r = std::sqrt(1.0f - z * z);
            const Float3 c = evening.radiance({r * std::cos(phi), z, r * std::sin(phi)});
            ASSERT_TRUE(isFinite(c) && c.x >= 0.0f && c.y >= 0.0f && c.z >= 0.0f);
        }
    }
}

/// Correlated colour temperature (McCamy, "Correlated Color Temperature as an Explicit Function of Chromaticity
/// Coordinates", 1992).
double temperatureOf(Float3 c) {
    const double r = static_cast<double>(c.x), g = static_cast<double>(c.y), b = static_cast<double>(c.z);
    const double X = 0.4124 * r + 0.3576 * g + 0.1805 * b, Y = 0.2126 * r + 0.7152 * g + 0.0722 * b;
    const double Z = 0.0193 * r + 0.1192 * g + 0.9505 * b, sum = X + Y + Z;
    const double n = (X / sum - 0.3320) / (0.1858 - Y / sum);
    return ((449.0 * n + 3525.0) * n + 6823.3) * n + 5520.33;
}

/// Sun and sky of a clear day as they are measured: kilolux of the sun on a surface that faces it, its colour
/// temperature, kilolux of the sky on level ground. The zenith lies between two published formulas, of the CIE's clear
/// sky (Karayel et al., "Zenith Luminance and Sky Luminance Distributions for Daylighting Calculations", 1984) and of
/// Preetham et al., in thousands of candela for each square metre.
TEST(Sky, AClearDayIsAsBrightAsMeasured) {
    struct Day {
        float elevation;
        double sunLow, sunHigh, coolest, hottest, skyLow, skyHigh;
    };
    for (const Day& day : {Day{60, 88, 106, 5300, 6000, 13, 24}, Day{30, 68, 90, 4900, 5600, 9, 18},
                           Day{10, 24, 45, 3500, 4400, 4, 9}}) {
        constexpr double kTurbidity = 2.4, kKilolux = 32.0;
        const Sky sky = skyWith(day.elevation, SkyModel::Scattering, static_cast<float>(kTurbidity));
        const double sun = kKilolux * static_cast<double>(luminance(sunIrradiance(sky)));
        EXPECT_GT(sun, day.sunLow) << day.elevation;
        EXPECT_LT(sun, day.sunHigh) << day.elevation;
        EXPECT_GT(temperatureOf(sunIrradiance(sky)), day.coolest) << day.elevation;
        EXPECT_LT(temperatureOf(sunIrradiance(sky)), day.hottest) << day.elevation;
        const double diffuse = kKilolux * static_cast<double>(luminance(skyIrradiance(sky)));
        EXPECT_GT(diffuse, day.skyLow) << day.elevation;
        EXPECT_LT(diffuse, day.skyHigh) << day.elevation;
        const double height = static_cast<double>(day.elevation) * 3.14159265 / 180.0;
        const double zenith = kKilolux * static_cast<double>(luminance(sky.radiance({0, 1, 0})));
        const double clear = (1.376 * kTurbidity - 1.81) * std::tan(height) + 0.38;
        const double chi = (4.0 / 9.0 - kTurbidity / 120.0) * 2.0 * height;
        const double analytic = (4.0453 * kTurbidity - 4.971) * std::tan(chi) - 0.2155 * kTurbidity + 2.4192;
        EXPECT_GT(zenith, 0.85 * std::min(clear, analytic)) << day.elevation;
        EXPECT_LT(zenith, std::max(clear, analytic)) << day.elevation;
        // Blue above, paler and brighter at the horizon.
        const double horizon = kKilolux * static_cast<double>(luminance(sky.radiance(sunAt(5.0f, kPi / 2))));
        EXPECT_GT(horizon, zenith) << day.elevation;
        EXPECT_LT(horizon, 5.0 * zenith) << day.elevation;
    }
}

TEST(Sky, ParametersDoWhatTheySay) {
    SkyParameters p;
    p.sunDirection = sunAt(30.0f);
    const Sky plain(p);
    // A larger sun gives the same light.
    SkyParameters large = p;
    large.sunSize = 10.0f;
    EXPECT_NEAR(luminance(sunIrradiance(Sky(large))), luminance(sunIrradiance(plain)), 0.01f);
    EXPECT_NEAR(std::acos(Sky(large).sunCosine()), 10.0f * std::acos(plain.sunCosine()), 1e-3f);
    // Tints.
    SkyParameters tinted = p;
    tinted.skyColor = {1.0f, 0.3f, 0.05f};
    const Float3 before = plain.radiance({0, 1, 0}), after = Sky(tinted).radiance({0, 1, 0});
    EXPECT_GT(after.x / after.z, 5.0f * before.x / before.z);
    tinted = p;
    tinted.sunDirection = sunAt(4.0f);
    const Sky evening(tinted);
    tinted.sunsetColor = {0.1f, 0.9f, 0.1f};
    EXPECT_GT(Sky(tinted).sunRadiance().y / Sky(tinted).sunRadiance().x,
              2.0f * evening.sunRadiance().y / evening.sunRadiance().x);
    // The ground begins at its angle and comes in over another; it is as bright as the light that falls on it.
    SkyParameters ground = p;
    ground.groundColor = {0.0f, 0.5f, 0.0f};
    ground.groundStart = 10.0f;
    ground.groundBlend = 5.0f;
    const Sky landscape(ground);
    EXPECT_EQ(landscape.radiance(sunAt(-9.0f)), plain.radiance(sunAt(-9.0f)));
    const float lit = luminance(skyIrradiance(plain)) + luminance(sunIrradiance(plain)) * 0.5f;
    EXPECT_NEAR(landscape.radiance(sunAt(-16.0f)).y, 0.5f * lit / kPi, 0.1f * lit / kPi);
    EXPECT_EQ(landscape.radiance(sunAt(-16.0f)).x, 0.0f);
}

struct Daylight {
    Scene scene{8, 8, 256};
    Node node{NT_ENV_DAYLIGHT};
    SceneCompiler compiler{nullptr};
    SceneDelta delta;

    Daylight() { node.set(P_SUN_DIRECTION, sunAt(40.0f)).set(P_IMPORTANCE_SAMPLING, true); }
    SceneDelta& with(const NodeRecordPtr& geometry) {
        delta = scene.delta(geometry);
        delta.changed.push_back(node);
        delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, node));
        return delta;
    }
};

/// A white floor under an open sky shows the irradiance of sun and sky.
TEST(Environment, DaylightLightsAFloorByItsIrradiance) {
    for (const int model : {0, 1}) {
        Daylight day;
        day.node.set(P_SKY_MODEL, model).set(P_POWER, 0.5f).set(P_SUN_SIZE, 3.0f);
        day.scene.camera.set(P_POSITION, Float3{0, 1, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
        day.scene.camera.set(P_FOV, 1.0f);
        const NodeRecordPtr floor = day.scene.keep(
            MeshData().quad({-9, 0, 9}, {9, 0, 9}, {9, 0, -9}, {-9, 0, -9}).node({day.scene.diffuse(splat(1.0f))}));
        const Float3 seen = mean(Render().picture(day.with(floor)), 0, 0, 8, 8);
        SkyParameters p;
        p.model = static_cast<SkyModel>(model);
        p.sunDirection = sunAt(40.0f);
        const Sky sky(p);
        const Float3 expected =
            (sunIrradiance(sky) * std::sin(40.0f * kPi / 180.0f) + skyIrradiance(sky)) * (0.5f / kPi);
        EXPECT_NEAR(seen.x, expected.x, 0.02f * expected.x) << model;
        EXPECT_NEAR(seen.z, expected.z, 0.02f * expected.z) << model;
    }
}

TEST(Environment, NorthTurnsSunAndSky) {
    Daylight day;
    const RenderScenePtr before = day.compiler.apply(day.with(nullptr)).scene;
    day.delta.changed = {Node(NodeRecordPtr(day.node)).set(P_NORTH_OFFSET, 0.5f)};
    const RenderScenePtr after = day.compiler.apply(day.delta).scene;
    EXPECT_NEAR(before->environment->sunDirection.x, -after->environment->sunDirection.z, 1e-5f);
    EXPECT_NEAR(before->environment->sunDirection.y, after->environment->sunDirection.y, 1e-5f);
    const Float3 d = normalize({0.4f, 0.5f, -0.2f}), turned = {d.z, d.y, -d.x};
    EXPECT_NEAR(before->environment->radiance(d).y, after->environment->radiance(turned).y, 1e-4f);
}

TEST(Environment, APowersEditKeepsSkyAndLists) {
    Daylight day;
    const RenderScenePtr before = day.compiler.apply(day.with(nullptr)).scene;
    day.delta.changed = {Node(NodeRecordPtr(day.node)).set(P_POWER, 3.0f)};
    const RenderScenePtr after = day.compiler.apply(day.delta).scene;
    EXPECT_EQ(before->environment->source, after->environment->source);
    EXPECT_NEAR(after->environment->sunRadiance.y, 3.0f * before->environment->sunRadiance.y, 1e-2f);
    day.delta.changed = {Node(NodeRecordPtr(day.node)).set(P_SUN_DIRECTION, sunAt(20.0f))};
    EXPECT_NE(before->environment->source, day.compiler.apply(day.delta).scene->environment->source);
}

/// Samples of sun and sky against their density, and against what a ray that goes there is told.
TEST(Environment, SunAndSkySamplesFollowTheirDensity) {
    Daylight day;
    day.node.set(P_SUN_SIZE, 20.0f);
    const RenderScenePtr built = day.compiler.apply(day.with(nullptr)).scene;
    const LightChoice choice(*built);
    const LightQuery query{{}, {0, 1, 0}};
    Random random;
    double sun = 0.0, sky = 0.0;
    constexpr int kCount = 200000;
    for (int i = 0; i < kCount; ++i) {
        const float u[4] = {random(), random(), random(), random()};
        const LightSample s = sampleLight(*built, choice, query, u);
        ASSERT_GT(s.pdf, 0.0f);
        const double value = static_cast<double>(luminance(s.radiance) / s.pdf);
        (s.environment ? sky : sun) += value;
        const SkyLight told = skyLight(*built, choice, query, s.direction, RayKind::Diffuse);
        if (i % 100) continue;
        if (s.environment) {
            EXPECT_NEAR(told.environmentPdf, s.pdf, 1e-2f * s.pdf);
        } else {
            EXPECT_NEAR(told.sunPdf, s.pdf, 1e-3f * s.pdf);
        }
    }
    const Environment& e = *built->environment;
    EXPECT_NEAR(sun / kCount, e.sunIrradiance(), 0.02 * e.sunIrradiance());
    EXPECT_NEAR(sky / kCount, 4.0 * kPi * e.meanLuminance(), 0.02 * 4.0 * kPi * e.meanLuminance());
}

/// A visible environment stands in for the other one only where its switches say so.
TEST(Environment, VisibleEnvironmentTakesItsPlaces) {
    for (const int places : {0, 1, 2, 3}) {
        const bool backplate = places & 1, reflections = places & 2;
        Scene scene(8, 8, 64);
        scene.environment(splat(1.0f));
        Node visible(NT_ENV_TEXTURE);
        visible.connect(P_TEXTURE, scene.keep(rgb({0.25f, 0, 0}))).set(P_POWER, 2.0f);
        visible.set(P_VISIBLE_BACKPLATE, backplate).set(P_VISIBLE_REFLECTIONS, reflections);
        visible.set(P_VISIBLE_REFRACTIONS, false);
        const NodeRecordPtr node = scene.keep(visible);
        // Left a diffuse quad, right a mirror, above nothing.
        Node mirror(NT_MAT_METALLIC);
        mirror.connect(P_SPECULAR, scene.keep(rgb(splat(1.0f)))).set(P_ROUGHNESS, 0.0f);
        MeshData m;
        m.quad({-2, -2, 0}, {0, -2, 0}, {0, 0, 0}, {-2, 0, 0}, 0).quad({0, -2, 0}, {2, -2, 0}, {2, 0, 0}, {0, 0, 0}, 1);
        const NodeRecordPtr mesh = scene.keep(m.node({scene.diffuse(splat(1.0f)), scene.keep(mirror)}));
        scene.camera.set(P_POSITION, Float3{0, 0, 3}).set(P_FOV, 40.0f);
        SceneDelta delta = scene.delta(mesh);
        for (NodeRecordPtr& record : delta.changed) {
            if (record->uid == NodeRecordPtr(scene.target)->uid) {
                record = Node(record).connect(P_VISIBLE_ENVIRONMENT, node);
            }
        }
        const Image image = Render().picture(delta);
        const Float3 sky = mean(image, 1, 0, 6, 2), diffuse = mean(image, 1, 5, 2, 2),
                     mirrored = mean(image, 5, 5, 2, 2);
        EXPECT_NEAR(sky.y, backplate ? 0.0f : 1.0f, 1e-3f) << places;
        EXPECT_NEAR(diffuse.y, 1.0f, 0.02f) << places;
        EXPECT_NEAR(mirrored.y, reflections ? 0.0f : 1.0f, 0.02f) << places;
        EXPECT_NEAR(mirrored.x, reflections ? 0.5f : 1.0f, 0.02f) << places;
    }
}

/// A room with a window: portals change the noise and not the light.
TEST(Environment, PortalsFindTheWindow) {
    float lit[2] = {};
    for (const bool portal : {false, true}) {
        Scene scene(8, 8, portal ? 64 : 1024);
        scene.environment(splat(1.0f));
        MeshData m;
        m.quad({-9, 0, 9}, {9, 0, 9}, {9, 0, -9}, {-9, 0, -9}, 0);
        // A black lid around a window of half a metre, two metres up.
        for (int i = 0; i < 4; ++i) {
            const auto turned = [&](float x, float z) {
                return i == 0   ? Float3{x, 2, z}
                       : i == 1 ? Float3{z, 2, -x}
                       : i == 2 ? Float3{-x, 2, -z}
                                : Float3{-z, 2, x};
            };
            m.quad(turned(0.25f, -0.25f), turned(90, -0.25f), turned(90, 90), turned(0.25f, 90), 1);
        }
        if (portal) {
            m.quad({-0.25f, 2, -0.25f}, {0.25f, 2, -0.25f}, {0.25f, 2, 0.25f}, {-0.25f, 2, 0.25f}, 2);
        }
        std::vector<NodeRecordPtr> materials = {scene.diffuse(splat(1.0f)), scene.diffuse({})};
        if (portal) materials.push_back(scene.keep(Node(NT_MAT_PORTAL).set(P_ENABLED, true)));
        scene.camera.set(P_POSITION, Float3{0, 0.5f, 0}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 0, -1});
        scene.camera.set(P_FOV, 1.0f);
        const SceneDelta delta = scene.delta(scene.keep(m.node(materials)));
        if (portal) {
            SceneCompiler compiler(nullptr);
            const RenderScenePtr built = compiler.apply(delta).scene;
            ASSERT_EQ(built->lights->portals.size(), 1u);
            // Density measures solid angle here, too.
            const LightChoice choice(*built);
            Random random;
            double through = 0.0;
            for (int i = 0; i < 100000; ++i) {
                const float u[4] = {random(), random(), random(), random()};
                const LightSample s = sampleLight(*built, choice, {{}, {0, 1, 0}}, u);
                const Float3 at = s.direction * (2.0f / s.direction.y);
                const bool inside = s.direction.y > 0.0f && std::abs(at.x) < 0.25f && std::abs(at.z) < 0.25f;
                if (inside) through += 1.0 / static_cast<double>(s.pdf);
            }
            const double expected = 4.0 * std::asin(0.0625 / (0.0625 + 4.0));
            EXPECT_NEAR(through / 100000, expected, 0.01 * expected);
        }
        lit[portal] = mean(Render().picture(delta), 0, 0, 8, 8).y;
    }
    EXPECT_NEAR(lit[0], lit[1], 0.04f * lit[1]);
}

TEST(Environment, ToonLightsAreCollected) {
    Scene scene(8, 8, 1);
    Matrix<float> placed = translation({1, 2, 3});
    const NodeRecordPtr point =
        scene.keep(Node(NT_TOON_POINT_LIGHT).connect(P_EMIS_TEXTURE, scene.keep(rgb({1, 0, 0}))));
    const NodeRecordPtr directional = scene.keep(Node(NT_TOON_DIRECTIONAL_LIGHT)
                                                     .connect(P_EMIS_TEXTURE, scene.keep(rgb({0, 1, 0})))
                                                     .set(P_SUN_DIRECTION, Float3{0, 0, 5})
                                                     .set(P_POWER, 2.0f));
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built =
        compiler.apply(scene.delta(scene.group({scene.scatter(point, {placed}), scene.scatter(directional, {placed})})))
            .scene;
    ASSERT_EQ(built->shading->toonLights.size(), 2u);
    EXPECT_EQ(built->shading->toonLights[0].position, (Float3{1, 2, 3}));
    EXPECT_EQ(built->shading->toonLights[0].color, (Float3{1, 0, 0}));
    EXPECT_TRUE(built->shading->toonLights[1].directional);
    EXPECT_EQ(built->shading->toonLights[1].direction, (Float3{0, 0, 1}));
    EXPECT_EQ(built->shading->toonLights[1].color, (Float3{0, 2, 0}));
}

}  // namespace
}  // namespace Lumora::engine::test
