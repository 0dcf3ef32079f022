// What evaluation of a document costs: normals, projections, primitives, and a look at caches that need nothing.
#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>

#include "host/evaluate/bounds.h"
#include "host/evaluate/phong_normals.h"
#include "host/runtime/threads.h"
#include "host/sdk/host_sdk.h"

namespace {

using namespace host;

PolygonObject& grid() {
    static const std::unique_ptr<PolygonObject> object = [] {
        const Int32 n = 2000;
        std::unique_ptr<PolygonObject> mesh(PolygonObject::Alloc((n + 1) * (n + 1), n * n));
        for (Int32 j = 0; j <= n; ++j) {
            for (Int32 i = 0; i <= n; ++i) {
                mesh->Points()[static_cast<std::size_t>(j * (n + 1) + i)] = {
                    Float(i), 20 * std::sin(i * 0.01) * std::cos(j * 0.01), Float(j)};
            }
        }
        for (Int32 j = 0; j < n; ++j) {
            for (Int32 i = 0; i < n; ++i) {
                const Int32 a = j * (n + 1) + i;
                mesh->Polygons()[static_cast<std::size_t>(j * n + i)] = {a, a + n + 1, a + n + 2, a + 1};
            }
        }
        return mesh;
    }();
    return *object;
}

void countPolygons(benchmark::State& state) {
    state.counters["polygons/s"] =
        benchmark::Counter(static_cast<double>(grid().GetPolygonCount()) * static_cast<double>(state.iterations()),
                           benchmark::Counter::kIsRate);
}

// Arguments: threads, angle limit in degrees.
void phongNormals(benchmark::State& state) {
    setThreadCount(static_cast<Int32>(state.range(0)));
    const SmoothingRule rule{true, static_cast<Float>(state.range(1)) / kDegreesPerRadian};
    for (auto _ : state) {
        benchmark::DoNotOptimize(host::phongNormals(grid().Points(), grid().Polygons(), rule));
    }
    countPolygons(state);
    setThreadCount(0);
}
BENCHMARK(phongNormals)->ArgsProduct({{1, 2}, {0, 40}})->Unit(benchmark::kMillisecond)->UseRealTime();

void generateUvw(benchmark::State& state) {
    setThreadCount(1);
    for (auto _ : state) {
        UVWTag* tag = GenerateUVW(grid(), static_cast<Int32>(state.range(0)), MatrixScale({1000, 1000, 1000}));
        UVWTag::Free(tag);
    }
    countPolygons(state);
    setThreadCount(0);
}
BENCHMARK(generateUvw)->Arg(P_SPHERICAL)->Arg(P_CUBIC)->Arg(P_FLAT)->Unit(benchmark::kMillisecond)->UseRealTime();

void boundingBox(benchmark::State& state) {
    setThreadCount(1);
    for (auto _ : state) benchmark::DoNotOptimize(grid().GetRad());
    countPolygons(state);
    setThreadCount(0);
}
BENCHMARK(boundingBox)->Unit(benchmark::kMillisecond)->UseRealTime();

// A document of 10,000 cubes of which `range` changed since the last time.
void documentOfCubes(benchmark::State& state) {
    const std::unique_ptr<BaseDocument> document(BaseDocument::Alloc());
    std::vector<BaseObject*> cubes;
    for (Int32 i = 0; i < 10'000; ++i) {
        cubes.push_back(BaseObject::Alloc(Ocube));
        document->InsertObject(cubes.back());
    }
    document->ExecutePasses(true, true, true);
    Float size = 100;
    for (auto _ : state) {
        size += 1;
        for (Int64 i = 0; i < state.range(0); ++i) {
            cubes[static_cast<std::size_t>(i)]->SetParameter(PRIM_CUBE_LEN, GeData(Vector(size)));
        }
        document->ExecutePasses(true, true, true);
    }
}
BENCHMARK(documentOfCubes)->Arg(0)->Arg(1)->Arg(10'000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
