// What a whole send costs, stage by stage, and how long it takes to the first picture.
//
//   lumora_bench_plugin_send [objects] [polygons of each]
//
// Host, plug-in and engine run as in a session. Stages are those of the export log.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "engine/api/lumora_api.h"
#include "host/runtime/application.h"
#include "plugin/core/ids.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"

namespace {

using namespace lumora;

double milliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// A grid of about that many polygons, and a few materials that they share.
BaseDocument* makeDocument(Int32 objects, Int32 polygons) {
    BaseDocument* document = BaseDocument::Alloc();
    constexpr int kMaterials = 100;
    std::vector<BaseMaterial*> materials;
    for (int i = 0; i < kMaterials; ++i) {
        materials.push_back(BaseMaterial::Alloc(Mmaterial));
        materials.back()->SetName(String("Material ") + String::IntToString(i));
        document->InsertMaterial(materials.back());
    }
    const auto side = std::max(1, static_cast<Int32>(std::sqrt(polygons)));
    for (Int32 n = 0; n < objects; ++n) {
        PolygonObject* object = PolygonObject::Alloc((side + 1) * (side + 1), side * side);
        for (Int32 y = 0, i = 0; y <= side; ++y)
            for (Int32 x = 0; x <= side; ++x, ++i) object->GetPointW()[i] = Vector(x, y, std::sin(0.7 * x + n));
        for (Int32 y = 0, i = 0; y < side; ++y)
            for (Int32 x = 0; x < side; ++x, ++i) {
                const Int32 a = y * (side + 1) + x;
                object->Polygons()[static_cast<std::size_t>(i)] = CPolygon(a, a + side + 1, a + side + 2, a + 1);
            }
        object->SetAbsPos(Vector(n % 100 * (side + 2), n / 100 * (side + 2), 3000));
        TextureTag* tag = TextureTag::Alloc();
        tag->SetMaterial(materials[static_cast<std::size_t>(n % kMaterials)]);
        object->InsertTag(tag);
        document->AppendObject(object);
    }
    return document;
}

void run(Application& app, Int32 objects, Int32 polygons) {
    BaseDocument* document = makeDocument(objects, polygons);
    InsertBaseDocument(document);
    SetActiveDocument(document);
    document->ExecutePasses(true, true, true);
    lumoraLive& live = *session();
    live.renderWidth = 320;
    live.renderHeight = 240;
    const double start = milliseconds();
    SpecialEventAdd(MSG_START_RENDER);
    while (!live.renderEnabled || live.state() < LiveState::Rendering) app.processEvents();
    const double sent = milliseconds();
    using Engine = Lumora::ApiRenderEngine;
    while (Engine::getRenderImageChangeLevel() < Engine::getCurrentChangeLevel())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double shown = milliseconds();
    std::printf(
        "%8d objects %9d polygons: materials %7.1f ms  collect %7.1f ms  meshes %7.1f ms  whole send %8.1f ms"
        "  first picture %8.1f ms\n",
        objects, objects * polygons, live.materialsTime.total.load(), live.objectsTime.total.load(),
        live.generateTime.total.load(), sent - start, shown - start);
    std::fflush(stdout);
    live.stopAndReset();
    KillDocument(document);
    for (TimingRecord* record : {&live.materialsTime, &live.objectsTime, &live.generateTime}) record->reset();
}

}  // namespace

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    const fs::path preferences = fs::temp_directory_path() / ("lumora_bench_send." + std::to_string(getpid()));
    fs::create_directories(preferences);
    {
        ApplicationOptions options;
        options.preferences = Filename(preferences.string());
        options.loadPlugins = false;
        options.console = [](const String&) {};
        Application app(options);
        if (!app.startPlugin(&c4d_main, Filename(LUMORA_BENCH_PLUGIN_DIR))) {
            std::fprintf(stderr, "the plug-in does not start\n");
            return 1;
        }
        if (argc > 1) {
            run(app, std::atoi(argv[1]), argc > 2 ? std::atoi(argv[2]) : 100);
        } else {
            run(app, 1, 10000);
            run(app, 1, 1000000);
            run(app, 10000, 100);
        }
        app.end();
    }
    fs::remove_all(preferences);
}
