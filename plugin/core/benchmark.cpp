#include "plugin/core/benchmark.h"

#include <cstring>
#include <memory>
#include <unordered_map>
#include <vector>

#include "plugin/core/log.h"

namespace lumora {

namespace {

/// Results go here, so that no loop is left out by the compiler.
volatile Int64 sink = 0;

void fillContainer(Int32 size) {
    BaseContainer container;
    for (Int32 i = 0; i < size; ++i) container.SetInt32(i, i);
    Int64 sum = 0;
    for (Int32 i = 0; i < size; ++i) sum += container.GetInt32(i);
    sink = sum;
}

void copyContainer(Int32 size) {
    BaseContainer container;
    for (Int32 i = 0; i < size; ++i) container.SetFloat(i, 0.5 * i);
    const BaseContainer copy(container);
    sink = copy.GetCount();
}

void growArray(Int32 size) {
    std::vector<Vector> points;
    for (Int32 i = 0; i < size; ++i) points.emplace_back(i, 2.0 * i, 3.0 * i);
    sink = static_cast<Int64>(points.back().z);
}

void fillMap(Int32 size) {
    std::unordered_map<Int64, Int32> map;
    for (Int32 i = 0; i < size; ++i) map[Int64(i) * 7919] = i;
    Int64 sum = 0;
    for (Int32 i = 0; i < size; ++i) sum += map.find(Int64(i) * 7919)->second;
    sink = sum;
}

void allocate(Int32 size) {
    constexpr std::size_t kBytes = 64;
    std::vector<std::unique_ptr<char[]>> blocks(static_cast<std::size_t>(size));
    for (auto& block : blocks) {
        block = std::make_unique<char[]>(kBytes);
        block[0] = 1;
    }
    sink = blocks.front()[0];
}

void copyMemory(Int32 size) {
    constexpr std::size_t kBytesEach = 256;
    const std::vector<char> from(static_cast<std::size_t>(size) * kBytesEach, 1);
    std::vector<char> to(from.size());
    std::memcpy(to.data(), from.data(), from.size());
    sink = to.back();
}

struct BenchmarkRow {
    const char* name;
    void (*run)(Int32 size);
};
constexpr BenchmarkRow kRows[] = {
    {"container write and read", fillContainer},
    {"container copy", copyContainer},
    {"array growth", growArray},
    {"map write and read", fillMap},
    {"allocation of 64 bytes", allocate},
    {"memory copy of 256 bytes", copyMemory},
};

}  // namespace

void runBenchmark(Int32 size) {
    if (size < 1) return;
    logLine("Lumora test, size:" + String::IntToString(size));
    for (const BenchmarkRow& row : kRows) {
        const Float start = GeGetMilliSeconds();
        row.run(size);
        logLine(String("  ") + row.name + ": " + String::FloatToString(GeGetMilliSeconds() - start, 2) + " ms");
    }
}

}  // namespace lumora
