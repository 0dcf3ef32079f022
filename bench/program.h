// What the programs here share: their clocks, a table of benches and the command line that picks from it.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>
#include <thread>

namespace Lumora::engine::test {

inline double seconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

/// Time that the process spent on processors: a figure that other work on the machine does not spoil as much.
inline double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// How busy the machine is with other work: figures want an idle one.
inline void printLoad() {
    std::printf("processors: %u", std::thread::hardware_concurrency());
    double load = 0.0;
    if (std::FILE* file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) == 1) std::printf(", load before: %.2f", load);
        std::fclose(file);
    }
    std::printf("\n");
}

struct Bench {
    const char* name;
    const char* about;
    void (*run)();
};

/// Runs the benches named on the command line, all of them without names. Returns the program's exit status.
inline int runBenches(int argc, char** argv, std::span<const Bench> benches) {
    const auto find = [&](const char* name) -> const Bench* {
        for (const Bench& b : benches) {
            if (!std::strcmp(b.name, name)) return &b;
        }
        return nullptr;
    };
    const bool help = argc > 1 && (!std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h"));
    for (int i = 1; i < argc && !help; ++i) {
        if (find(argv[i])) continue;
        std::fprintf(stderr, "There is no bench '%s'; --help lists them.\n", argv[i]);
        return 1;
    }
    if (help) {
        std::printf("%s [--help] [name...]\nRuns the benches of these names, or all:\n", argv[0]);
        for (const Bench& b : benches) std::printf("  %-14s %s\n", b.name, b.about);
        return 0;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    printLoad();
    for (int i = 1; i < argc; ++i) find(argv[i])->run();
    if (argc > 1) return 0;
    for (const Bench& b : benches) b.run();
    return 0;
}

}  // namespace Lumora::engine::test
