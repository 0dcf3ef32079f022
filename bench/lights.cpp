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

/// The scene with lamps chosen by power alone: from inside a huge sphere near and far look alike.
RenderScene byPowerAlone(const RenderScene& scene) {
    RenderScene blind = scene;
    auto lights = std::make_shared<Lights>(*scene.lights);
    for (LightBounds& b : lights->bounds) {
        b.radius = 1e5f;
        b.axis = {};
    }
    lights->tree = LightTree(lights->bounds);
    blind.lights = lights;
    return blind;
}

struct Quality {
    double samplesPerSecond = 0.0, error = 0.0;
};

/// Samples for a time on one thread. The error is told by the distance of two halves of the samples.
Quality samplingFor(const RenderScene& scene, double time) {
    const CameraRays camera(scene.camera, scene.film, 1.0f);
    const Integrator integrator(scene);
    const std::size_t pixels = std::size_t{scene.film.width} * scene.film.height;
    std::vector<double> halves[2] = {std::vector<double>(pixels), std::vector<double>(pixels)};
    const auto start = Clock::now();
    std::uint32_t samples = 0;
    while (seconds(start) < time || samples % 2) {
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
    const double took = seconds(start), half = samples / 2.0;
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

void emitters(int count) {
    Scene scene(128, 96, 1);
    NodeRecordPtr emission;
    const NodeRecordPtr root = town(scene, count, &emission);
    SceneCompiler compiler(nullptr);
    SceneDelta delta = scene.delta(root);
    const BuildResult first = compiler.apply(delta);
    const Lights& lights = *first.scene->lights;
    const double bytes = static_cast<double>(lights.tree.bytes() + lights.emitters.size() * sizeof(Emitter) +
                                             lights.bounds.size() * sizeof(LightBounds) +
                                             lights.instanceEmitter.size() * sizeof(std::uint32_t));
    auto start = Clock::now();
    constexpr int kTurns = 3;
    for (int i = 0; i < kTurns; ++i) compileLights(*first.scene->geometry, *first.scene->shading, nullptr, nullptr);
    const double build = seconds(start) / kTurns;
    delta.changed = {Node(emission).set(P_POWER, 5e5f / static_cast<float>(count))};
    const double edit = compiler.apply(delta).seconds;
    std::printf(
        "%d emitters: scene built in %.3f s, lights alone in %.2f ms (%.0f bytes a lamp); a power's edit %.2f ms\n",
        count, first.seconds, build * 1e3, bytes / count, edit * 1e3);
    constexpr double kTime = 4.0;
    const Quality tree = samplingFor(*first.scene, kTime);
    const Quality blind = samplingFor(byPowerAlone(*first.scene), kTime);
    std::printf(
        "%d emitters, one thread: %.3f million samples a second, error %.3f after %.0f s; by power alone %.3f, "
        "error %.3f\n",
        count, tree.samplesPerSecond * 1e-6, tree.error, kTime, blind.samplesPerSecond * 1e-6, blind.error);
}

void daylight() {
    Scene scene(128, 96, 1);
    NodeRecordPtr emission;
    const NodeRecordPtr root = town(scene, 1, &emission);
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

constexpr Bench kBenches[] = {
    {"lamps", "a town under 1 to 100,000 lamps",
     [] {
         for (const int count : {1, 10, 1000, 100000}) emitters(count);
     }},
    {"daylight", "the town under sun and sky", daylight},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
