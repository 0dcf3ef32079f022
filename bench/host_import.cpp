// Polygons a second of import: a grid of a million triangles as glb and as OBJ, in this process and through the child.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/io/import/import.h"
#include "host/runtime/child_process.h"

namespace {

namespace fs = std::filesystem;

constexpr int kSide = 708;  // quads: 2 * 708 * 708 triangles

float height(int x, int y) {
    return 0.02f * static_cast<float>(std::sin(x * 0.1) * std::cos(y * 0.13));
}

std::string folder() {
    const fs::path path = fs::temp_directory_path() / "lumora-bench-import";
    fs::create_directories(path);
    return path.string();
}

std::string writeGlb() {
    const std::string path = folder() + "/grid.glb";
    const std::uint32_t n = kSide + 1, vertices = n * n, indices = 6 * kSide * kSide;
    std::vector<float> positions, normals, uvs;
    std::vector<std::uint32_t> corners;
    for (std::uint32_t y = 0; y < n; ++y)
        for (std::uint32_t x = 0; x < n; ++x) {
            const float u = static_cast<float>(x) / kSide, v = static_cast<float>(y) / kSide;
            positions.insert(positions.end(), {u, height(static_cast<int>(x), static_cast<int>(y)), v});
            normals.insert(normals.end(), {0, 1, 0});
            uvs.insert(uvs.end(), {u, v});
        }
    for (std::uint32_t y = 0; y < kSide; ++y)
        for (std::uint32_t x = 0; x < kSide; ++x) {
            const std::uint32_t a = y * n + x;
            corners.insert(corners.end(), {a, a + n, a + 1, a + 1, a + n, a + n + 1});
        }
    const std::size_t p = positions.size() * 4, t = uvs.size() * 4, c = corners.size() * 4;
    char json[2000];
    std::snprintf(
        json, sizeof json,
        R"({"asset":{"version":"2.0"},"scenes":[{"nodes":[0]}],"nodes":[{"mesh":0}],"meshes":[{"primitives":[{"attributes":{"POSITION":0,"NORMAL":1,"TEXCOORD_0":2},"indices":3}]}],"buffers":[{"byteLength":%zu}],"bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":%zu},{"buffer":0,"byteOffset":%zu,"byteLength":%zu},{"buffer":0,"byteOffset":%zu,"byteLength":%zu},{"buffer":0,"byteOffset":%zu,"byteLength":%zu}],"accessors":[{"bufferView":0,"componentType":5126,"count":%u,"type":"VEC3"},{"bufferView":1,"componentType":5126,"count":%u,"type":"VEC3"},{"bufferView":2,"componentType":5126,"count":%u,"type":"VEC2"},{"bufferView":3,"componentType":5125,"count":%u,"type":"SCALAR"}]})",
        2 * p + t + c, p, p, p, 2 * p, t, 2 * p + t, c, vertices, vertices, vertices, indices);
    std::string text = json;
    text.resize((text.size() + 3) / 4 * 4, ' ');
    std::ofstream out(path, std::ios::binary);
    const auto word = [&](std::size_t value) {
        const auto v = static_cast<std::uint32_t>(value);
        out.write(reinterpret_cast<const char*>(&v), 4);
    };
    const auto bytes = [&](const auto& v) {
        out.write(reinterpret_cast<const char*>(v.data()), static_cast<std::streamsize>(v.size() * 4));
    };
    out << "glTF";
    word(2);
    word(28 + text.size() + 2 * p + t + c);
    word(text.size());
    out << "JSON" << text;
    word(2 * p + t + c);
    out << std::string("BIN\0", 4);
    bytes(positions);
    bytes(normals);
    bytes(uvs);
    bytes(corners);
    return path;
}

std::string writeObj() {
    const std::string path = folder() + "/grid.obj";
    std::ofstream out(path);
    for (int y = 0; y <= kSide; ++y)
        for (int x = 0; x <= kSide; ++x)
            out << "v " << x / double(kSide) << " " << height(x, y) << " " << y / double(kSide) << "\nvt "
                << x / double(kSide) << " " << y / double(kSide) << "\n";
    const int n = kSide + 1;
    const auto corner = [&](int i) { out << " " << i << "/" << i; };
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) {
            const int a = y * n + x + 1;
            for (const auto& t : {std::initializer_list<int>{a, a + n, a + 1}, {a + 1, a + n, a + n + 1}}) {
                out << "f";
                for (const int i : t) corner(i);
                out << "\n";
            }
        }
    return path;
}

void runImport(benchmark::State& state, const std::string& file, bool child) {
    for (auto _ : state) {
        host::String error;
        host::BaseDocument* document = nullptr;
        if (child) {
            document = host::importScene(host::Filename(file), &error, nullptr);
        } else {
            document = host::BaseDocument::Alloc();
            if (!host::importInProcess(host::Filename(file), *document, &error, nullptr))
                host::BaseDocument::Free(document);
        }
        if (!document) {
            state.SkipWithError(error.c_str());
            return;
        }
        host::BaseDocument::Free(document);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * 2 * kSide * kSide);
}

}  // namespace

int main(int argc, char** argv) {
    if (const int code = host::runChildJob(argc, argv); code >= 0) return code;
    const std::string glb = writeGlb(), obj = writeObj();
    const auto add = [](const char* name, const std::string& file, bool child) {
        benchmark::RegisterBenchmark(name, [file, child](benchmark::State& s) { runImport(s, file, child); })
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    };
    add("import glb, 1 M triangles, in process", glb, false);
    add("import glb, 1 M triangles, child", glb, true);
    add("import obj, 1 M triangles, in process", obj, false);
    add("import obj, 1 M triangles, child", obj, true);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::error_code error;
    fs::remove_all(folder(), error);
    return 0;
}
