// How fast the engine builds and samples. One line a figure; run on an idle machine.
#include <string>

#include "bench/big_scenes.h"
#include "bench/box_scene.h"
#include "bench/edits.h"
#include "bench/program.h"
#include "engine/compile/scene_compiler.h"
#include "engine/render/pixel_tracer.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// The box with three spheres in place of the blocks: diffuse, rough metal, clear glass.
NodeRecordPtr spheresInBox(Scene& scene, int depth) {
    MeshData m;
    boxWalls(m);
    boxLamp(m);
    lookIntoBox(scene);
    scene.kernel.set(P_MAX_DIFFUSE_DEPTH, depth).set(P_MAX_GLOSSY_DEPTH, depth);
    const auto constantOn = [&](Node node, PinId pin, Float3 value) {
        return node.connect(pin, scene.keep(rgb(value)));
    };
    Node metal = constantOn(Node(NT_MAT_METALLIC), P_SPECULAR, {0.95f, 0.8f, 0.5f});
    metal.connect(P_ROUGHNESS, scene.keep(constant(0.4f)));
    Node glass(NT_MAT_SPECULAR);
    glass.set(P_INDEX, 1.5f);
    std::vector<NodeRecordPtr> parts = {scene.keep(m.node(boxMaterials(scene)))};
    const std::vector<NodeRecordPtr> materials = {scene.diffuse({0.3f, 0.4f, 0.7f}), scene.keep(metal),
                                                  scene.keep(glass)};
    const Float3 centers[] = {{-0.55f, -0.65f, -0.3f}, {0.0f, -0.65f, -0.6f}, {0.5f, -0.65f, 0.2f}};
    for (std::size_t i = 0; i < 3; ++i) {
        Matrix<float> place = scaling(splat(0.35f));
        place.m[0][3] = centers[i].x;
        place.m[1][3] = centers[i].y;
        place.m[2][3] = centers[i].z;
        parts.push_back(scene.scatter(scene.keep(MeshData::sphere(96, 48).node({materials[i]})), {place}));
    }
    return scene.group(parts);
}

/// Rays a second on one thread: camera rays, and rays of random directions from where those hit.
void tracing(const char* name, const RenderScene& scene) {
    const CameraRays camera(scene.camera, scene.film, 1.0f);
    std::vector<Ray> second;
    std::size_t count = 0;
    auto start = std::chrono::steady_clock::now();
    for (std::uint32_t y = 0; y < scene.film.height; ++y) {
        for (std::uint32_t x = 0; x < scene.film.width; ++x, ++count) {
            const Ray ray = camera.generate(x, y, {}, {}).ray;
            const Hit hit = intersect(*scene.geometry, ray);
            if (!hit.valid()) continue;
            Sampler sampler(x, y, 0, 1);
            const auto u = sampler.next4();
            const float z = 2 * u[0] - 1, r = std::sqrt(1 - z * z);
            second.push_back({ray.at(hit.t * 0.999f), {r * std::cos(6.28f * u[1]), r * std::sin(6.28f * u[1]), z}});
        }
    }
    std::printf("%s, camera rays on one thread: %.2f million a second\n", name,
                static_cast<double>(count) / seconds(start) * 1e-6);
    start = std::chrono::steady_clock::now();
    std::size_t hits = 0;
    for (const Ray& ray : second) hits += intersect(*scene.geometry, ray).valid();
    std::printf("%s, scattered rays on one thread: %.2f million a second (%zu hit)\n", name,
                static_cast<double>(second.size()) / seconds(start) * 1e-6, hits);
    start = std::chrono::steady_clock::now();
    hits = 0;
    for (const Ray& ray : second) hits += occluded(*scene.geometry, ray);
    std::printf("%s, shadow rays on one thread: %.2f million a second\n", name,
                static_cast<double>(second.size()) / seconds(start) * 1e-6);
}

void sampling(const char* name, const SceneDelta& delta, unsigned threads, double samples) {
    Render render(threads);
    const auto start = std::chrono::steady_clock::now();
    const double busy = processorSeconds();
    render.picture(delta);
    const Statistics s = render.renderer().statistics(RP_BEAUTY);
    std::printf("%s, %u threads: %.3f million samples a second, %.3f for each second of a processor, %.2f s in all\n",
                name, threads, s.samplesPerSecond * 1e-6, samples / (processorSeconds() - busy) * 1e-6, seconds(start));
}

void building(const char* name, Scene& scene, const NodeRecordPtr& geometry, std::size_t polygons) {
    SceneCompiler compiler(nullptr);
    const BuildResult built = compiler.apply(scene.delta(geometry));
    const auto c = compiler.counters();
    std::printf("%s: built in %.3f s, %.2f million polygons a second, %.1f bytes a polygon beyond the graph's arrays\n",
                name, built.seconds, static_cast<double>(polygons) / built.seconds * 1e-6,
                static_cast<double>(c.geometryBytes) / static_cast<double>(polygons));
    tracing(name, *built.scene);
}

std::vector<Matrix<float>> grid(int count) {
    std::vector<Matrix<float>> matrices;
    for (int i = 0; i < count; ++i) {
        matrices.push_back(translation(
            {static_cast<float>(i % 100), static_cast<float>(i / 10000), static_cast<float>(i / 100 % 100)}));
    }
    return matrices;
}

/// Moving one of many instances of one scatter, as an array of all matrices arrives.
void moving(int count) {
    Scene scene(512, 512, 1);
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-0.4f), splat(0.4f)).node());
    std::vector<Matrix<float>> matrices = grid(count);
    const NodeRecordPtr scatter = scene.scatter(box, matrices);
    scene.camera.set(P_POSITION, Float3{-20, 40, -20}).set(P_TARGET, Float3{50, 0, 50});
    SceneCompiler compiler(nullptr);
    const BuildResult first = compiler.apply(scene.delta(scatter));
    std::printf("%d instances: first build %.3f s, %.0f bytes an instance beyond the graph's matrices\n", count,
                first.seconds, static_cast<double>(compiler.counters().geometryBytes) / count + sizeof(Instance));
    tracing("Instances as built", *first.scene);
    editing("Moving the same instance", compiler, scene.delta(scatter), 20, [&](int i) {
        matrices[7] = translation({7, 3, 0.1f * static_cast<float>(i)});
        return NodeRecordPtr(Node(scatter).set(A_TRANSFORM, shared(matrices)));
    });
    editing("Moving a different instance each time", compiler, scene.delta(scatter), 100, [&](int i) {
        matrices[static_cast<std::size_t>(i) * 977 % matrices.size()] =
            translation({7, 3, 0.1f * static_cast<float>(i)});
        return NodeRecordPtr(Node(scatter).set(A_TRANSFORM, shared(matrices)));
    });
    SceneDelta nothing = scene.delta(scatter);
    nothing.changed.clear();
    tracing("Instances after 100 were moved", *compiler.apply(nothing).scene);
    editing("Moving all instances", compiler, scene.delta(scatter), 5, [&](int) {
        for (auto& m : matrices) m.m[1][3] += 0.01f;
        return NodeRecordPtr(Node(scatter).set(A_TRANSFORM, shared(matrices)));
    });
}

/// Objects that move one by one: a scatter of one matrix and a mesh of its own for each.
void movingObjects(int count) {
    Scene scene(64, 64, 1);
    const std::vector<Matrix<float>> matrices = grid(count);
    std::vector<NodeRecordPtr> objects;
    const MeshData ball = MeshData::sphere(16, 8);
    for (const Matrix<float>& m : matrices) objects.push_back(scene.scatter(scene.keep(ball.node()), {m}));
    const NodeRecordPtr group = scene.group(objects);
    SceneCompiler compiler(nullptr);
    const double first = compiler.apply(scene.delta(group)).seconds;
    std::printf("%d objects of %zu polygons: first build %.3f s\n", count, ball.perPolygon.size(), first);
    editing("Moving one object", compiler, scene.delta(group), 20, [&](int i) {
        const auto k = static_cast<std::size_t>(i % 3) * 1000;
        return NodeRecordPtr(
            Node(objects[k]).set(A_TRANSFORM, shared(std::vector{translation({0, 0.1f * static_cast<float>(i), 5})})));
    });
}

/// From an edit to the first picture that shows it, in a film of 1920 by 1080.
void answering() {
    Scene scene(1920, 1080, 100000);
    scene.environment(splat(1.0f));
    const NodeRecordPtr mesh = sheet(scene, 1000);
    Render render;
    render.renderer().submit(scene.delta(mesh, 1));
    constexpr int kEdits = 20;
    double sum = 0.0;
    for (std::uint64_t level = 1; level <= kEdits; ++level) {
        SceneDelta edit = scene.delta(mesh, level + 1);
        edit.changed = {Node(NodeRecordPtr(scene.camera)).set(P_FOV, 40.0f + static_cast<float>(level))};
        while (render.renderer().imageChangeLevel() < level) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const auto start = std::chrono::steady_clock::now();
        render.renderer().submit(std::move(edit));
        while (render.renderer().imageChangeLevel() <= level)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        sum += seconds(start);
    }
    std::printf("camera edit to its first picture, 1920 by 1080, a million quads: %.0f ms\n", sum / kEdits * 1e3);
}

void onEveryThreadCount(const char* name, const SceneDelta& delta, double samples) {
    for (unsigned threads = 1; threads <= std::thread::hardware_concurrency(); threads *= 2) {
        sampling(name, delta, threads, samples);
    }
}

void box() {
    Scene scene(512, 512, 32);
    const NodeRecordPtr box = cornellBox(scene);
    onEveryThreadCount("Cornell box, path tracing", scene.delta(box), 512 * 512 * 32);
}

void boxRays() {
    Scene scene(512, 512, 32);
    const NodeRecordPtr box = cornellBox(scene);
    SceneCompiler compiler(nullptr);
    tracing("Cornell box", *compiler.apply(scene.delta(box)).scene);
}

void spheres() {
    for (const int depth : {8, 24}) {
        Scene scene(512, 512, 32);
        const NodeRecordPtr box = spheresInBox(scene, depth);
        const std::string name = "Cornell box with spheres at depth " + std::to_string(depth);
        onEveryThreadCount(name.c_str(), scene.delta(box), 512 * 512 * 32);
    }
}

/// One thread, without film and renderer, the best of many short runs: the figure that least depends on what else the
/// machine does.
void pathsOf(const char* name, Scene& scene, const NodeRecordPtr& geometry) {
    SceneCompiler compiler(nullptr);
    const RenderScenePtr built = compiler.apply(scene.delta(geometry)).scene;
    const PixelTracer tracer(*built);
    constexpr std::uint32_t kSamples = 4;
    double best = kInfinity;
    Float3 sum{};
    for (int turn = 0; turn < 40; ++turn) {
        const double start = processorSeconds();
        for (std::uint32_t y = 0; y < built->film.height; ++y) {
            for (std::uint32_t x = 0; x < built->film.width; ++x) {
                for (std::uint32_t i = 0; i < kSamples; ++i) {
                    Sampler sampler(x, y, i, 0);
                    sum += tracer.sample(x, y, sampler).color;
                }
            }
        }
        best = std::min(best, processorSeconds() - start);
    }
    const double samples = 1.0 * built->film.width * built->film.height * kSamples;
    std::printf("%s: %.3f million samples a second of a processor, at best (mean %.6f)\n", name, samples / best * 1e-6,
                static_cast<double>(luminance(sum)) / (40 * samples));
}

void paths() {
    {
        Scene scene(128, 128, 4);
        const NodeRecordPtr box = cornellBox(scene);
        pathsOf("Paths in the Cornell box", scene, box);
    }
    Scene scene(128, 128, 4);
    const NodeRecordPtr box = spheresInBox(scene, 8);
    pathsOf("Paths in the Cornell box with spheres at depth 8", scene, box);
}

void millionQuads() {
    Scene scene(1024, 1024, 4);
    scene.environment(splat(1.0f));
    const NodeRecordPtr mesh = sheet(scene, 1000);
    building("Sheet of a million quads", scene, mesh, 1000000);
    sampling("Sheet of a million quads, path tracing", scene.delta(mesh), std::thread::hardware_concurrency(),
             1024 * 1024 * 4);
}

constexpr Bench kBenches[] = {
    {"box", "Cornell box, diffuse: samples a second", box},
    {"paths", "the same, one thread without film and renderer, best of many runs", paths},
    {"rays", "Cornell box: rays a second", boxRays},
    {"spheres", "Cornell box with a diffuse, a rough metal and a glass sphere: samples a second", spheres},
    {"sheet", "a mesh of a million quads: build, rays and samples a second", millionQuads},
    {"instances", "100,000 instances of one scatter: build and moves", [] { moving(100000); }},
    {"objects", "10,000 objects with meshes of their own: build and moves", [] { movingObjects(10000); }},
    {"answer", "from a camera edit to its first picture", answering},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
