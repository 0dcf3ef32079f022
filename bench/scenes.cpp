// Large scenes from their nodes to the finished picture: time to the first picture, samples a second and memory, one
// line a scene. Run on an idle machine, and one scene in a process where its memory is to be told exactly.
#include <malloc.h>

#include <string>

#include "bench/big_scenes.h"
#include "bench/program.h"

namespace Lumora::engine::test {
namespace {

constexpr double kMega = 1.0 / (1024.0 * 1024.0);

/// Resident memory of the process in megabytes, now and at the highest since resetPeak().
struct Memory {
    double now = 0.0, peak = 0.0;
};

Memory memory() {
    Memory m;
    std::FILE* file = std::fopen("/proc/self/status", "r");
    if (!file) return m;
    char line[256];
    while (std::fgets(line, sizeof line, file)) {
        double kilobytes = 0.0;
        if (std::sscanf(line, "VmRSS: %lf", &kilobytes) == 1) m.now = kilobytes / 1024.0;
        if (std::sscanf(line, "VmHWM: %lf", &kilobytes) == 1) m.peak = kilobytes / 1024.0;
    }
    std::fclose(file);
    return m;
}

void resetPeak() {
    if (std::FILE* file = std::fopen("/proc/self/clear_refs", "w")) {
        std::fputs("5", file);
        std::fclose(file);
    }
}

/// Renders a scene that `make` puts together. What the nodes hold is told apart from what rendering adds to it.
template <typename Make>
void rendering(const std::string& name, unsigned width, unsigned height, int samples, Make make) {
    malloc_trim(0);
    const Memory empty = memory();
    Scene scene(width, height, samples);
    const NodeRecordPtr geometry = make(scene);
    malloc_trim(0);
    const Memory nodes = memory();
    resetPeak();
    Render render;
    const auto start = std::chrono::steady_clock::now();
    const double busy = processorSeconds();
    render.renderer().submit(scene.delta(geometry));
    while (render.renderer().imageChangeLevel() < 1 && !render.renderer().failed())
        std::this_thread::sleep_for(std::chrono::microseconds(500));
    const double first = seconds(start), firstBusy = processorSeconds();
    render.wait(1);
    const double sampled = processorSeconds() - firstBusy;
    const Statistics s = render.renderer().statistics(RP_BEAUTY);
    const Memory full = memory();
    std::printf(
        "%s: first picture after %.3f s (built in %.3f s, %.3f s of processors); %.3f million samples a second, %.3f "
        "for each second of a processor; resident %.0f MB, of that nodes %.0f, at most %.0f; counted: geometry %.0f, "
        "film %.0f MB, %llu triangles, %llu instances\n",
        name.c_str(), first, s.buildSeconds, firstBusy - busy, s.samplesPerSecond * 1e-6,
        1e-6 * width * height * samples / sampled, full.now - empty.now, nodes.now - empty.now, full.peak - empty.now,
        static_cast<double>(s.geometryBytes) * kMega, static_cast<double>(s.filmBytes) * kMega,
        static_cast<unsigned long long>(s.triangles), static_cast<unsigned long long>(s.instances));
}

void lamps() {
    for (const int count : {1, 10, 1000, 100000}) {
        rendering(std::to_string(count) + " emitters", 480, 270, 16,
                  [count](Scene& scene) { return town(scene, count).root; });
    }
}

void instances() {
    rendering("100,000 instances of 4,608 polygons", 960, 540, 8, [](Scene& scene) {
        scene.environment(splat(1.0f));
        return boulders(scene, 100000);
    });
}

void triangles(const char* name, int edge) {
    rendering(name, 960, 540, 8, [edge](Scene& scene) {
        scene.environment(splat(1.0f));
        return sheet(scene, edge, true);
    });
}

constexpr Bench kBenches[] = {
    {"lamps", "a town under 1, 10, 1,000 and 100,000 emitters", lamps},
    {"instances", "100,000 instances of one mesh of 4,608 polygons under a sky", instances},
    {"million", "a mesh of a million triangles under a sky", [] { triangles("1 million triangles", 707); }},
    {"tenmillion", "a mesh of ten million triangles under a sky", [] { triangles("10 million triangles", 2236); }},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
