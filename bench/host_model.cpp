// Documents: copies, files, change sums and links.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>

#include "host/sdk/document.h"

namespace host {
namespace {

struct FreeDocument {
    void operator()(BaseDocument* document) const { BaseDocument::Free(document); }
};
using DocumentPtr = std::unique_ptr<BaseDocument, FreeDocument>;

/// A square grid of quads with texture coordinates and a phong tag.
DocumentPtr meshDocument(Int32 polygons) {
    DocumentPtr document(BaseDocument::Alloc());
    Int32 side = 1;
    while (side * side < polygons) ++side;
    PolygonObject* mesh = PolygonObject::Alloc((side + 1) * (side + 1), side * side);
    for (Int32 y = 0; y <= side; ++y) {
        for (Int32 x = 0; x <= side; ++x) mesh->GetPointW()[y * (side + 1) + x] = Vector(x, 0, y);
    }
    for (Int32 y = 0; y < side; ++y) {
        for (Int32 x = 0; x < side; ++x) {
            const Int32 a = y * (side + 1) + x;
            mesh->GetPolygonW()[y * side + x] = CPolygon(a, a + side + 1, a + side + 2, a + 1);
        }
    }
    mesh->MakeTag(Tuvw);
    mesh->SetPhong(true, true, 0.7);
    document->AppendObject(mesh);
    return document;
}

/// Groups of a hundred nulls, each with a texture tag.
DocumentPtr objectDocument(Int32 objects) {
    DocumentPtr document(BaseDocument::Alloc());
    BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
    document->InsertMaterial(material);
    BaseObject* group = nullptr;
    for (Int32 i = 0; i < objects; ++i) {
        BaseObject* object = BaseObject::Alloc(Onull);
        if (i % 100 == 0) {
            document->AppendObject(object);
            group = object;
        } else {
            object->InsertUnderLast(group);
        }
        static_cast<TextureTag*>(object->MakeTag(Ttexture))->SetMaterial(material);
    }
    return document;
}

std::string scratchFile() {
    return (std::filesystem::temp_directory_path() / "lumora-bench.lumdoc").string();
}

void countPolygons(benchmark::State& state) {
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetLabel("items are polygons");
}

void cloneMesh(benchmark::State& state) {
    const DocumentPtr document = meshDocument(static_cast<Int32>(state.range(0)));
    for (auto _ : state) DocumentPtr clone(document->CloneDocument());
    countPolygons(state);
}
BENCHMARK(cloneMesh)->Arg(1'000'000)->Unit(benchmark::kMillisecond);

void saveMesh(benchmark::State& state) {
    const DocumentPtr document = meshDocument(static_cast<Int32>(state.range(0)));
    for (auto _ : state) SaveDocument(document.get(), Filename(scratchFile()), nullptr);
    countPolygons(state);
}
BENCHMARK(saveMesh)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

void loadMesh(benchmark::State& state) {
    SaveDocument(meshDocument(static_cast<Int32>(state.range(0))).get(), Filename(scratchFile()), nullptr);
    for (auto _ : state) DocumentPtr document(LoadDocument(Filename(scratchFile()), nullptr));
    std::filesystem::remove(scratchFile());
    countPolygons(state);
}
BENCHMARK(loadMesh)->Arg(1'000'000)->Arg(10'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

void cloneObjects(benchmark::State& state) {
    const DocumentPtr document = objectDocument(static_cast<Int32>(state.range(0)));
    for (auto _ : state) DocumentPtr clone(document->CloneDocument());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(cloneObjects)->Arg(10'000)->Unit(benchmark::kMillisecond);

void saveAndLoadObjects(benchmark::State& state) {
    const DocumentPtr document = objectDocument(static_cast<Int32>(state.range(0)));
    for (auto _ : state) {
        SaveDocument(document.get(), Filename(scratchFile()), nullptr);
        DocumentPtr loaded(LoadDocument(Filename(scratchFile()), nullptr));
    }
    std::filesystem::remove(scratchFile());
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(saveAndLoadObjects)->Arg(10'000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// What an update check does after each edit: all sums of all objects.
void scanAfterAnEdit(benchmark::State& state) {
    const DocumentPtr document = objectDocument(static_cast<Int32>(state.range(0)));
    BaseObject* moved = document->GetFirstObject()->GetDown();
    Float x = 0;
    for (auto _ : state) {
        moved->SetAbsPos(Vector(++x, 0, 0));
        UInt32 sum = document->GetHDirty(HDIRTYFLAGS_ALL);
        for (BaseObject* group = document->GetFirstObject(); group; group = group->GetNext()) {
            sum += group->GetDirty(DIRTYFLAGS_ALL) + group->GetHDirty(HDIRTYFLAGS_ALL);
            for (BaseObject* child = group->GetDown(); child; child = child->GetNext()) {
                sum += child->GetDirty(DIRTYFLAGS_ALL) + child->GetHDirty(HDIRTYFLAGS_ALL);
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(scanAfterAnEdit)->Arg(10'000)->Arg(100'000)->Unit(benchmark::kMicrosecond);

void insertAndRemove(benchmark::State& state) {
    const DocumentPtr document = objectDocument(static_cast<Int32>(state.range(0)));
    BaseObject* object = BaseObject::Alloc(Onull);
    for (auto _ : state) {
        document->AppendObject(object);
        object->Remove();
    }
    BaseObject::Free(object);
}
BENCHMARK(insertAndRemove)->Arg(100)->Arg(100'000);

}  // namespace
}  // namespace host

BENCHMARK_MAIN();
