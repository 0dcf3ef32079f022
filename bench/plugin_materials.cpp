// What the material manager takes: a first pass, a pass over unchanged materials, over one changed of many, and over
// one material with very many nodes.
//
//   lumora_bench_plugin_materials [largest material count]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "engine/api/delayload.h"
#include "plugin/materials/material_generation.h"
#include "plugin/materials/material_manager.h"

namespace {

using namespace lumora;

double microseconds() {
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

BaseShader* addColour(BaseMaterial* material, Int32 parameter) {
    BaseShader* shader = BaseShader::Alloc(Xcolor);
    shader->GetDataInstance()->SetVector(COLORSHADER_COLOR, Vector(0.5));
    material->InsertShader(shader);
    material->GetDataInstance()->SetLink(parameter, shader);
    return shader;
}

/// Five shaders, mixes and an emission: about a dozen engine nodes.
void addMaterials(BaseDocument* document, int count) {
    for (int i = 0; i < count; ++i) {
        BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
        material->SetName("Material " + std::to_string(i));
        BaseContainer& d = *material->GetDataInstance();
        for (Int32 channel :
             {MATERIAL_USE_COLOR, MATERIAL_USE_LUMINANCE, MATERIAL_USE_ALPHA, MATERIAL_USE_BUMP, MATERIAL_USE_NORMAL})
            d.SetBool(channel, true);
        d.SetBool(MATERIAL_USE_REFLECTION, false);
        d.SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.5);
        for (Int32 parameter : {MATERIAL_COLOR_SHADER, MATERIAL_LUMINANCE_SHADER, MATERIAL_ALPHA_SHADER,
                                MATERIAL_BUMP_SHADER, MATERIAL_NORMAL_SHADER})
            addColour(material, parameter);
        document->InsertMaterial(material);
    }
}

template <typename Run>
double best(int repeats, Run&& run) {
    double least = 1e30;
    for (int i = 0; i < repeats; ++i) {
        const double start = microseconds();
        run();
        least = std::min(least, microseconds() - start);
    }
    return least;
}

void run(int count) {
    ApiProjectManager::resetProject();
    BaseDocument* document = BaseDocument::Alloc();
    addMaterials(document, count);
    MatManager manager("matMngr");
    manager.setDocument(document, nullptr);
    const double first = best(1, [&] { manager.checkAndUpdate(); });
    const double unchanged = best(50, [&] { manager.checkAndUpdate(); });
    int step = 0;
    BaseContainer& edited = *document->GetFirstMaterial()->GetDataInstance();
    const double edit = best(50, [&] {
        edited.SetVector(MATERIAL_COLOR_COLOR, Vector(0.001 * ++step));
        if (!manager.checkAndUpdate()) std::abort();
    });
    const double look = best(20, [&] {
        for (const BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext())
            if (!manager.findLinkByMaterial(m)) std::abort();
    });
    // A rename moves every counter and no content: each material is looked at, none is generated.
    for (BaseMaterial* m = document->GetFirstMaterial(); m; m = m->GetNext()) m->SetName("Renamed");
    const double renamed = best(20, [&] { manager.checkAndUpdate(); });
    std::size_t nodes = 0;
    for (Int32 i = 0; i < manager.linkCount(); ++i) nodes += manager.linkAt(i)->nodes().size();
    std::printf(
        "%6d materials, %7zu records: first pass %9.0f us, unchanged %7.1f us, one changed %7.1f us, all renamed "
        "%8.1f us, all found %7.1f us\n",
        count, nodes, first, unchanged, edit, renamed, look);
    std::fflush(stdout);
    manager.clearAll();
    BaseDocument::Free(document);
}

/// One material whose generation finds that many nodes again.
void runRecords(int count) {
    ApiProjectManager::resetProject();
    BaseDocument* document = BaseDocument::Alloc();
    addMaterials(document, 1);
    MatManager manager("matMngr");
    manager.setDocument(document, nullptr);
    manager.checkAndUpdate();
    MatLink& link = *manager.linkAt(0);
    const auto generate = [&] {
        const GenerationScope scope(link);
        for (int i = 0; i < count; ++i) manager.floatNode(link, 1'000'000u + static_cast<UInt32>(i), 0.5f);
    };
    const double made = best(1, generate);
    const double found = best(5, [&] {
        link.clearMarks();
        generate();
    });
    link.clearMarks();
    const double purged = best(1, [&] { link.purgeUnused(false); });
    std::printf("%7d records in one material: made %8.1f ms, found again %7.1f ms, purged %8.1f ms\n", count,
                made * 1e-3, found * 1e-3, purged * 1e-3);
    std::fflush(stdout);
    manager.clearAll();
    BaseDocument::Free(document);
}

}  // namespace

int main(int argc, char** argv) {
    std::string error;
    if (!Lumora::loadEngineLibrary(LUMORA_BENCH_PLUGIN_DIR "/Libs300", &error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    const int largest = argc > 1 ? std::atoi(argv[1]) : 1000;
    for (int count : {10, 100, 1000, 10'000})
        if (count <= largest) run(count);
    for (int count : {1000, 10'000, 100'000}) runRecords(count);
    return 0;
}
