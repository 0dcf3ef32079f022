// Many lights: what lists and trees cost to build, what a sample costs, and how far the picture is from done after a
// given time. One line a figure; run on an idle machine.
#include <algorithm>

#include "bench/big_scenes.h"
#include "bench/program.h"
#include "engine/compile/light_compiler.h"
#include "engine/compile/scene_compiler.h"
#include "engine/render/integrator.h"

namespace Lumora::engine::test {
namespace {

using Clock = std::chrono::steady_clock;

struct Quality {
    double samplesPerSecond = 0.0, error = 0.0;
};

/// Samples for a time on one thread. The error is told by the distance of two halves of the samples.
Quality samplingFor(const RenderScene& scene, double time) {
    const CameraRays camera(scene.camera, scene.film, 1.0f);
    const Integrator integrator(scene);
    const std::size_t pixels = std::size_t{scene.film.width} * scene.film.height;
    std::vector<double> halves[2] = {std::vector<double>(pixels), std::vector<double>(pixels)};
    const double start = processorSeconds();
    std::uint32_t samples = 0;
    while (processorSeconds() - start < time || samples % 2) {
        for (std::uint32_t y = 0; y < scene.film.height; ++y) {
            for (std::uint32_t x = 0; x < scene.film.width; ++x) {
                Sampler sampler(x, y, samples, 5);
                const Ray ray = camera.generate(x, y, {}, {}).ray;
                const Float3 c = integrator.trace(ray, sampler).color;
                halves[samples % 2][std::size_t{y} * scene.film.width + x] += static_cast<double>(luminance(c));
            }
        }
        ++samples;
    }
    const double took = processorSeconds() - start, half = samples / 2.0;
    std::vector<std::pair<double, double>> means;  // of a pixel, and the distance of its halves
    for (std::size_t i = 0; i < pixels; ++i) {
        const double a = halves[0][i] / half, b = halves[1][i] / half;
        means.emplace_back(0.5 * (a + b), 0.5 * std::abs(a - b));
    }
    // Pixels with a lamp in them say nothing of light on surfaces: the brightest one in twenty does not count.
    std::sort(means.begin(), means.end());
    means.resize(pixels * 19 / 20);
    double squares = 0.0, sum = 0.0;
    for (const auto& [m, distance] : means) {
        squares += distance * distance;
        sum += m;
    }
    const auto n = static_cast<double>(means.size());
    return {samples * static_cast<double>(pixels) / took, std::sqrt(squares / n) / (sum / n)};
}

void emitters(int count, LampKind kind = LampKind::Tents) {
    Scene scene(128, 96, 1);
    Town t = town(scene, count, kind);
    SceneCompiler compiler(nullptr);
    SceneDelta delta = scene.delta(t.root);
    const BuildResult first = compiler.apply(delta);
    const Lights& lights = *first.scene->lights;
    const auto bytes = static_cast<double>(lights.bytes());
    auto start = Clock::now();
    constexpr int kTurns = 3;
    for (int i = 0; i < kTurns; ++i) compileLights(*first.scene->geometry, *first.scene->shading, nullptr, nullptr, {});
    const double build = seconds(start) / kTurns;
    delta.changed = {Node(t.emission).set(P_POWER, 5e5f / static_cast<float>(count))};
    const double edit = compiler.apply(delta).seconds;
    constexpr int kMoves = 8;
    double move = 0.0;
    for (int i = 0; i < kMoves; ++i) {
        t.places[static_cast<std::size_t>(count) / 2].m[0][3] += 0.5f;
        delta.changed = {Node(t.lamps).set(A_TRANSFORM, shared(t.places))};
        move += compiler.apply(delta).seconds / kMoves;
    }
    const char* what = kind == LampKind::Spots ? "spots" : "emitters";
    std::printf(
        "%d %s: scene built in %.3f s, lights alone in %.2f ms (%.0f bytes a lamp); a power's edit %.2f ms, a "
        "lamp moved %.2f ms\n",
        count, what, first.seconds, build * 1e3, bytes / count, edit * 1e3, move * 1e3);
    constexpr double kTime = 4.0;
    const Quality tree = samplingFor(*first.scene, kTime);
    const Quality blind = samplingFor(byPowerAlone(*first.scene), kTime);
    std::printf(
        "%d %s, one thread: %.3f million samples a second, error %.3f after %.0f s; by power alone %.3f, "
        "error %.3f\n",
        count, what, tree.samplesPerSecond * 1e-6, tree.error, kTime, blind.samplesPerSecond * 1e-6, blind.error);
}

void daylight() {
    Scene scene(128, 96, 1);
    const NodeRecordPtr root = town(scene, 1).root;
    const NodeRecordPtr sky = scene.keep(Node(NT_ENV_DAYLIGHT).set(P_SUN_DIRECTION, Float3{1, 1, 0.5f}));
    SceneDelta delta = scene.delta(root);
    delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, sky));
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(delta).scene;
    double turned = 0.0, dimmed = 0.0;
    constexpr int kEdits = 5;
    for (int i = 0; i < kEdits; ++i) {
        delta.changed = {Node(sky).set(P_SUN_DIRECTION, Float3{1, 1, 0.1f * static_cast<float>(i)})};
        turned += compiler.apply(delta).seconds;
        delta.changed = {Node(NodeRecordPtr(delta.changed[0])).set(P_POWER, 1.0f + static_cast<float>(i))};
        dimmed += compiler.apply(delta).seconds;
    }
    const Quality q = samplingFor(*built, 4.0);
    std::printf(
        "daylight: the sun moves in %.1f ms, its power changes in %.2f ms; %.3f million samples a second on one "
        "thread, error %.3f after 4 s\n",
        turned / kEdits * 1e3, dimmed / kEdits * 1e3, q.samplesPerSecond * 1e-6, q.error);
}

/// A map of 16,384 by 8,192 pixels as the light of a scene.
void hugeMap() {
    constexpr int kWidth = 16384, kHeight = 8192;
    Scene scene(128, 96, 1);
    std::vector<unsigned char> pixels(std::size_t{4} * kWidth * kHeight, 100);
    const NodeRecordPtr picture = scene.keep(image(kWidth, kHeight, pixels));
    const NodeRecordPtr root = town(scene, 1).root;
    const NodeRecordPtr sky = scene.keep(Node(NT_ENV_TEXTURE).connect(P_TEXTURE, picture));
    SceneDelta delta = scene.delta(root);
    delta.changed.push_back(Node(NodeRecordPtr(scene.target)).connect(P_ENVIRONMENT, sky));
    SceneCompiler compiler(nullptr);
    const BuildResult built = compiler.apply(delta);
    const auto start = Clock::now();
    EnvironmentSource again = *built.scene->environment->source;
    again.measure();
    std::printf(
        "map of 16,384 by 8,192 pixels: scene built in %.2f s, of that %.2f s for its distribution of %.0f MB\n",
        built.seconds, seconds(start), static_cast<double>(again.distribution.bytes()) * 1e-6);
}

/// A ball of ten million polygons that shines.
void hugeLamp() {
    Scene scene(128, 96, 1);
    const NodeRecordPtr ball = scene.keep(MeshData::sphere(4472, 2236).node({scene.emitter(splat(1.0f))}));
    SceneCompiler compiler(nullptr);
    const BuildResult built = compiler.apply(scene.delta(ball));
    const auto start = Clock::now();
    const auto lights = compileLights(*built.scene->geometry, *built.scene->shading, nullptr, nullptr, {});
    const double took = seconds(start);
    const EmitterSet& set = *lights->sets[0];
    std::printf("a lamp of %zu polygons: scene built in %.2f s, of that lights %.2f s and %.0f MB\n", set.count,
                built.seconds, took, static_cast<double>(set.tree.bytes() + set.powers.size() * sizeof(float)) * 1e-6);
}

constexpr Bench kBenches[] = {
    {"lamps", "a town under 1 to 100,000 lamps",
     [] {
         for (const int count : {1, 10, 1000, 100000}) emitters(count);
     }},
    {"spots", "a town under 1,000 narrow beams", [] { emitters(1000, LampKind::Spots); }},
    {"daylight", "the town under sun and sky", daylight},
    {"map", "a map of 16,384 by 8,192 pixels as environment", hugeMap},
    {"lamp", "a lamp of ten million polygons", hugeLamp},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
