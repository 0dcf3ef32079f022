// What the engine's graph costs: a write, an equal write, an update of a large scene in which little changed.
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "engine/api/lumora_api.h"
#include "engine/graph/item.h"

namespace Lumora::engine {

namespace {

struct RootDeleter {
    void operator()(ApiRootNodeGraph* root) const { root->destroy(); }
};
using Root = std::unique_ptr<ApiRootNodeGraph, RootDeleter>;

/// A target with `count` scatters, each with a mesh of its own that shows one shared material.
struct ManyObjects {
    Root root{ApiRootNodeGraph::create(4000021)};
    std::vector<ApiNode*> scatters, meshes;
    ApiNode* material = nullptr;

    explicit ManyObjects(unsigned count) {
        ApiNode* target = ApiNode::create(NT_RENDER_TARGET, *root, true);
        ApiNode* group = ApiNode::create(NT_GEO_GROUP, *root, true);
        material = ApiNode::create(NT_MAT_GLOSSY, *root, true);
        group->set(A_GROUP_PIN_COUNT, static_cast<int>(count));
        const char* names[] = {"material"};
        const Matrix<float> identity;
        for (unsigned i = 0; i < count; ++i) {
            ApiNode* mesh = ApiNode::create(NT_GEO_MESH, *root, true);
            mesh->set(A_MATERIAL_NAMES, names, 1);
            mesh->connectToIx(0, material);
            ApiNode* scatter = ApiNode::create(NT_GEO_SCATTER, *root, true);
            scatter->set(A_TRANSFORM, &identity, 1);
            scatter->connectTo(P_GEOMETRY, mesh);
            group->connectToIx(i, scatter);
            meshes.push_back(mesh);
            scatters.push_back(scatter);
        }
        target->connectTo(P_RENDER_GEOMETRY, group);
        setSceneTarget(scene(), Item::of(target)->node());
    }
    Scene& scene() { return *Item::of(root.get())->scene; }
};

void writePin(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    ApiNode* kernel = ApiNode::create(NT_KERNEL_PATH, *root, true);
    int samples = 0;
    for (auto _ : state) {
        kernel->setPinValue(P_MAX_SAMPLES, ++samples);
    }
}
BENCHMARK(writePin);

void writeEqualPin(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    ApiNode* kernel = ApiNode::create(NT_KERNEL_PATH, *root, true);
    for (auto _ : state) {
        kernel->setPinValue(P_MAX_SAMPLES, 77);
    }
}
BENCHMARK(writeEqualPin);

void readPin(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    ApiNode* kernel = ApiNode::create(NT_KERNEL_PATH, *root, true);
    for (auto _ : state) {
        benchmark::DoNotOptimize(kernel->getPinInt(P_MAX_SAMPLES));
    }
}
BENCHMARK(readPin);

void writeMatrix(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    ApiNode* scatter = ApiNode::create(NT_GEO_SCATTER, *root, true);
    Matrix<float> matrix;
    for (auto _ : state) {
        matrix.m[0][3] += 1;
        scatter->set(A_TRANSFORM, &matrix, 1);
    }
}
BENCHMARK(writeMatrix);

void createAndDestroy(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    for (auto _ : state) {
        ApiNode::create(NT_MAT_UNIVERSAL, *root, true)->destroy();
    }
}
BENCHMARK(createAndDestroy);

/// A million vertices written, whole: bytes a second.
void writeVertices(benchmark::State& state) {
    const Root root(ApiRootNodeGraph::create(4000021));
    ApiNode* mesh = ApiNode::create(NT_GEO_MESH, *root, true);
    std::vector<Vec3<float>> points(1000000);
    for (auto _ : state) {
        points[0].x += 1;
        mesh->set(A_VERTICES, points.data(), points.size());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(points.size() * sizeof(points[0])));
}
BENCHMARK(writeVertices)->Unit(benchmark::kMicrosecond);

void buildScene(benchmark::State& state) {
    for (auto _ : state) {
        ManyObjects objects(static_cast<unsigned>(state.range(0)));
        SceneDelta delta;
        takeDelta(objects.scene(), delta);
        benchmark::DoNotOptimize(delta.changed.data());
    }
}
BENCHMARK(buildScene)->Arg(5000)->Arg(50000)->Unit(benchmark::kMillisecond);

void updateOneOfMany(benchmark::State& state) {
    ManyObjects objects(static_cast<unsigned>(state.range(0)));
    SceneDelta delta;
    takeDelta(objects.scene(), delta);
    Matrix<float> matrix;
    for (auto _ : state) {
        matrix.m[0][3] += 1;
        objects.scatters[objects.scatters.size() / 2]->set(A_TRANSFORM, &matrix, 1);
        takeDelta(objects.scene(), delta);
    }
}
BENCHMARK(updateOneOfMany)->Arg(5000)->Arg(50000);

void updateTheSharedMaterial(benchmark::State& state) {
    ManyObjects objects(static_cast<unsigned>(state.range(0)));
    SceneDelta delta;
    takeDelta(objects.scene(), delta);
    float value = 0;
    for (auto _ : state) {
        value = value < 0.5f ? value + 1e-4f : 0;
        objects.material->setPinValue(P_ROUGHNESS, value);
        takeDelta(objects.scene(), delta);
    }
}
BENCHMARK(updateTheSharedMaterial)->Arg(5000);

}  // namespace

}  // namespace Lumora::engine

BENCHMARK_MAIN();
