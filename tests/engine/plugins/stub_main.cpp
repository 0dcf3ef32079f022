// A program that calls the engine through its stubs: registers of every kind, references, results on the stack.
#include <cstdio>
#include <cstring>
#include <string>

#include "engine/api/delayload.h"
#include "engine/api/lumora_api.h"

using namespace Lumora;

namespace {

int failures = 0;

void check(bool good, const char* what) {
    if (!good) {
        std::fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::strcmp(argv[1], "--too-early") == 0) {
        std::puts(ApiInfo::lumoraName());
        return 0;
    }
    std::string error;
    check(!loadEngineLibrary("/nowhere", &error) && error.find("/nowhere/liblumora.so") != std::string::npos,
          "a missing library is named");
    check(!engineLibraryLoaded(), "nothing is loaded after a failure");
    if (argc < 2 || !loadEngineLibrary(argv[1], &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }

    ApiRootNodeGraph* graph = ApiRootNodeGraph::create(4000021);
    ApiNode* mesh = ApiNode::create(NT_GEO_MESH, *graph, true);
    check(mesh && mesh->type() == NT_GEO_MESH, "a node is made");

    // Eight integer registers and more: the pointers, the count and the flag all arrive.
    const Vec3<float> points[] = {{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {10, 11, 12}};
    const float times[] = {0, 1};
    const ApiTimeSampling sampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE);
    check(mesh->setAnim(A_VERTICES, sampling, 2, points, 4, false), "an animated array is written");
    const ApiArray<const Vec3<float>> stored = mesh->getFloat3Array(A_VERTICES);
    check(stored.size == 4 && stored[3] == points[3], "it is read back");

    // Floating-point registers, small structures by value, references.
    ApiNode* camera = ApiNode::create(NT_CAM_THINLENS, *graph, true);
    camera->setPinValue(P_POSITION, Vec3<float>{1.5f, -2.5f, 3.5f});
    check(camera->getPinFloat3(P_POSITION) == Vec3<float>{1.5f, -2.5f, 3.5f}, "three floats come back");
    camera->setPinValue(P_FOV, 33.25f);
    check(camera->getPinFloat(P_FOV) == 33.25f, "a float comes back");
    ApiRenderEngine::setRenderRegion(true, {1, 2}, {3, 4}, 5);
    bool on = false;
    Vec2<unsigned> start, size;
    unsigned feather = 0;
    ApiRenderEngine::getRenderRegion(on, start, size, feather);
    check(on && start == Vec2<unsigned>{1, 2} && size == Vec2<unsigned>{3, 4} && feather == 5, "a region comes back");

    // Ten references: the last ones lie on the stack. A result that is returned through memory.
    unsigned long long m[10];
    std::memset(m, 0xff, sizeof m);
    ApiRenderEngine::getMemoryUsage(m[0], m[1], m[2], m[3], m[4], m[5], m[6], m[7], m[8], m[9]);
    check(m[2] > 0 && m[2] != ~0ull && m[8] == 0 && m[9] == 0, "ten out-parameters are filled");
    check(std::strcmp(ApiInfo::nodePinInfo(NT_KERNEL_PATH, 0).name, "Max. samples") == 0, "a structure is returned");

    graph->destroy();
    apiMode_Shared_exit(nullptr);
    return failures ? 1 : 0;
}
