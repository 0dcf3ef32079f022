// Speed of mesh conversion in the plug-in: host polygon objects to the arrays that the engine takes.
//
//   lumora_bench_plugin_mesh [largest polygon count]
//
// "convert" is the loop over gathered records; "gather" reads the host, its phong normals apart ("normals").
#include <omp.h>
#include <tbb/global_control.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "engine/api/delayload.h"
#include "plugin/core/globals.h"
#include "plugin/geometry/mesh_convert.h"

namespace {

using namespace lumora;

double seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// A wavy grid of quads with a UVW tag and, if wanted, a phong tag.
PolygonObject* makeGrid(Int32 side, bool phong) {
    PolygonObject* object = PolygonObject::Alloc((side + 1) * (side + 1), side * side);
    for (Int32 y = 0; y <= side; ++y)
        for (Int32 x = 0; x <= side; ++x)
            object->GetPointW()[y * (side + 1) + x] = Vector(x, ((x * 7 + y * 13) % 11) * 0.1, y);
    UVWTag* uvs = UVWTag::Alloc(side * side);
    for (Int32 y = 0; y < side; ++y) {
        for (Int32 x = 0; x < side; ++x) {
            const Int32 a = y * (side + 1) + x, p = y * side + x;
            object->GetPolygonW()[p] = CPolygon(a, a + side + 1, a + side + 2, a + 1);
            const auto uv = [side](Int32 u, Int32 v) { return Vector(Float(u) / side, Float(v) / side, 0); };
            uvs->Set(p, {uv(x, y), uv(x, y + 1), uv(x + 1, y + 1), uv(x + 1, y)});
        }
    }
    object->InsertTag(uvs);
    if (phong) object->SetPhong(true, false, 0);
    return object;
}

MeshArrays allocate(Int64 polygons, Int64 corners, Int64 vertices) {
    MeshArrays a;
    for (Buffer<int>* b : {&a.vertsPerPoly, &a.polyMaterials, &a.polyObjects}) b->allocate(std::size_t(polygons));
    for (Buffer<int>* b : {&a.polyVertexIndices, &a.polyNormalIndices, &a.polyUvIndices})
        b->allocate(std::size_t(corners));
    for (Buffer<Float3>* b : {&a.normals, &a.uvs}) b->allocate(std::size_t(corners));
    a.vertices.allocate(std::size_t(vertices));
    return a;
}

/// The whole way of one grid to an engine mesh: host, conversion, attributes, pins.
void runWhole(Int32 side) {
    PolygonObject* grid = makeGrid(side, true);
    MatManager materials("matMngr");
    SceneObjectInfo info;
    info.object = grid;
    const double polygons = double(side) * side;
    for (int threads = 1; threads <= 2; ++threads) {
        omp_set_num_threads(threads);
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, std::size_t(threads));
        double collect = 1e30, finish = 1e30, first = 0;
        for (int repeat = 0; repeat < 3; ++repeat) {
            ApiProjectManager::resetProject();
            MeshCollector collector(materials);
            const double start = seconds();
            collector.init();
            collector.collectObjectMesh(info, 0.01f, false, false);
            const double mid = seconds();
            collector.finishObjectMesh(info);
            const double end = seconds();
            collect = std::min(collect, mid - start);
            finish = std::min(finish, end - mid);
            if (repeat == 0) first = end - start;
            materials.forgetNodes();
        }
        std::printf(
            "%9.0f quads to an engine mesh, %d thread%s: %6.1f M/s (collect %6.1f, attributes %6.1f; first %6.1f)\n",
            polygons, threads, threads > 1 ? "s" : " ", polygons / (collect + finish) * 1e-6, polygons / collect * 1e-6,
            polygons / finish * 1e-6, polygons / first * 1e-6);
        std::fflush(stdout);
    }
    BaseObject* object = grid;
    BaseObject::Free(object);
}

/// `objects` grids of `side` x `side` quads each, in one mesh.
void run(Int32 objects, Int32 side, bool phong) {
    std::vector<PolygonObject*> grids;
    for (Int32 i = 0; i < objects; ++i) grids.push_back(makeGrid(side, phong));
    MatManager materials("matMngr");
    for (int threads = 1; threads <= 2; ++threads) {
        omp_set_num_threads(threads);
        double gather = 0, normals = 0;
        std::vector<MeshSource> sources(grids.size());
        Int64 polygons = 0, corners = 0, vertices = 0;
        for (std::size_t i = 0; i < grids.size(); ++i) {
            SceneObjectInfo info;
            info.object = grids[i];
            info.globalMatrix = MatrixRotY(0.3);
            const double start = seconds();
            findMeshSource(info, &sources[i]);
            gatherLayersForStatic(info, materials, sources[i]);
            const double mid = seconds();
            gatherNormals(sources[i]);
            gather += mid - start;
            normals += seconds() - mid;
            sources[i].objectIndex = Int32(i);
            polygons += sources[i].polygonCount;
            corners += sources[i].cornerCount;
            vertices += sources[i].pointCount;
        }
        double best = 1e30, first = 0;
        MeshArrays arrays = allocate(polygons, corners, vertices);
        for (int repeat = 0; repeat < 3; ++repeat) {
            const double start = seconds();
            convertMeshes(sources, {.scale = 0.01f, .applyTransform = true}, arrays);
            const double took = seconds() - start;
            if (repeat == 0) first = took;
            if (took < best) best = took;
        }
        const double rate = double(polygons) / best * 1e-6;
        std::printf(
            "%7d x %9d quads, %s, %d thread%s: convert %7.1f M/s (%5.1f a core), fresh memory %6.1f M/s, "
            "gather %7.1f M/s, normals %7.1f M/s\n",
            objects, side * side, phong ? "phong" : "flat ", threads, threads > 1 ? "s" : " ", rate, rate / threads,
            double(polygons) / first * 1e-6, double(polygons) / gather * 1e-6, double(polygons) / normals * 1e-6);
        std::fflush(stdout);
    }
    for (PolygonObject* grid : grids) {
        BaseObject* object = grid;
        BaseObject::Free(object);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const long largest = argc > 1 ? std::atol(argv[1]) : 10'000'000;
    for (Int32 side : {316, 1000, 3162})
        if (long(side) * side <= largest) {
            run(1, side, true);
            run(1, side, false);
        }
    run(10'000, 10, true);
    std::string error;
    if (!Lumora::loadEngineLibrary(LUMORA_BENCH_PLUGIN_DIR "/Libs300", &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    resetGlobals();
    for (Int32 side : {316, 1000, 3162})
        if (long(side) * side <= largest) runWhole(side);
    return 0;
}
