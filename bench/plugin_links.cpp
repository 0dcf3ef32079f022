// What a check of movable objects and its update cost, by the number of objects.
//
//   lumora_bench_plugin_links [largest count] [passes over the unchanged document]
//
// "walk" reads the document, "check" is walk, match and compare, "update" serves what the check marked.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "engine/api/delayload.h"
#include "host/runtime/plugin_registry.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/geometry/movable_objects.h"

namespace {

using namespace lumora;

double milliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

PolygonObject* makeMovable(Int32 index) {
    PolygonObject* object = PolygonObject::Alloc(8, 6);
    for (Int32 i = 0; i < 8; ++i) object->GetPointW()[i] = Vector(i & 1, (i >> 1) & 1, i >> 2);
    object->Polygons() = {CPolygon(0, 2, 3, 1), CPolygon(4, 5, 7, 6), CPolygon(0, 1, 5, 4),
                          CPolygon(2, 6, 7, 3), CPolygon(0, 4, 6, 2), CPolygon(1, 3, 7, 5)};
    object->SetAbsPos(Vector(index % 100 * 3, index / 100 * 3, 0));
    object->MakeTag(ID_LUMORA_OBJECT_TAG);
    object->MakeTag(Tphong);
    return object;
}

struct Cost {
    double walk = 1e30, check = 1e30, update = 1e30;
    std::size_t writes = 0;
};

void run(Int32 count, int passes) {
    ApiProjectManager::resetProject();
    Lumora::ApiWriteJournal::enable(true);
    BaseDocument* document = BaseDocument::Alloc();
    std::vector<PolygonObject*> objects;
    for (Int32 i = 0; i < count; ++i) {
        objects.push_back(makeMovable(i));
        document->AppendObject(objects.back());
    }
    document->ExecutePasses(true, true, true);
    MatManager materials("matMngr");
    materials.setDocument(document, nullptr);
    ApiNode* mainGroup = createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), "Main Group");
    setAttrIfChanged(mainGroup, A_GROUP_PIN_COUNT, 8);
    ObjectCheck check;
    const MovableUpdateOptions options;

    SceneCollections found;
    const auto pass = [&](Cost& cost) {
        double start = milliseconds();
        collectScene(document, found, CollectOptions{});
        cost.walk = std::min(cost.walk, milliseconds() - start);
        start = milliseconds();
        const Int32 flags = check.check(document, CollectOptions{});
        cost.check = std::min(cost.check, milliseconds() - start);
        Lumora::ApiWriteJournal::reset();
        start = milliseconds();
        if (flags) updateMovableObjects(check, mainGroup, materials, false, options);
        cost.update = std::min(cost.update, milliseconds() - start);
        cost.writes = Lumora::ApiWriteJournal::total();
    };
    const auto print = [&](const char* what, const Cost& cost) {
        std::printf("%7d objects, %-14s walk %8.3f ms, check %8.3f ms, update %8.3f ms, %zu writes\n", count, what,
                    cost.walk, cost.check, cost.update, cost.writes);
        std::fflush(stdout);
    };
    Cost first, none, moved, changed;
    pass(first);
    print("first pass:", first);
    for (int i = 0; i < passes; ++i) pass(none);
    print("none changed:", none);
    PolygonObject* one = objects[objects.size() / 2];
    for (int i = 0; i < 10; ++i) {
        one->SetAbsPos(Vector(i, 1, 2));
        document->ExecutePasses(true, true, true);
        pass(moved);
    }
    print("one moved:", moved);
    for (int i = 0; i < 10; ++i) {
        one->GetPointW()[0] = Vector(-1 - i, 0, 0);
        one->SetDirty(DIRTYFLAGS_DATA);
        document->ExecutePasses(true, true, true);
        pass(changed);
    }
    print("one changed:", changed);
    Lumora::ApiWriteJournal::enable(false);
    BaseDocument::Free(document);
}

}  // namespace

int main(int argc, char** argv) {
    const long largest = argc > 1 ? std::atol(argv[1]) : 10'000;
    const int passes = argc > 2 ? std::atoi(argv[2]) : 10;
    std::string error;
    if (!Lumora::loadEngineLibrary(LUMORA_BENCH_PLUGIN_DIR "/Libs300", &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    resetGlobals();
    constexpr PluginOwner kOwner = 77;
    {
        const PluginScope scope(kOwner);
        RegisterTagPlugin(
            ID_LUMORA_OBJECT_TAG, "Object tag", 0, [] { return std::make_unique<TagData>(); }, nullptr, "", 0);
    }
    for (const Int32 count : {100, 1'000, 10'000})
        if (count <= largest) run(count, passes);
    removeRegistrations(kOwner);
    return 0;
}
