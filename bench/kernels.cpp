// The kernels: samples a second of each on three scenes, what adaptive sampling saves, and what Metropolis sampling
// gains where light is hard to find. Seconds are those of a processor, so that other work on the machine counts little.
#include <cstdio>
#include <ctime>

#include "bench/box_scene.h"

namespace Lumora::engine::test {
namespace {

constexpr unsigned kSize = 256, kSmall = 64;  ///< pixels; the small ones are compared with long renders

/// Of all threads together.
double processorSeconds() {
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

/// The lamp hangs in a nook and lights the room by way of its back wall.
NodeRecordPtr nook(Scene& scene) {
    MeshData m;
    boxWalls(m);
    m.quad({0.3f, -0.9f, 0.9f}, {0.3f, -0.9f, -0.92f}, {0.3f, 1, -0.92f}, {0.3f, 1, 0.9f}, 0);
    m.quad({0.6f, 0.9f, 0.4f}, {0.7f, 0.9f, 0.4f}, {0.7f, 0.9f, 0.5f}, {0.6f, 0.9f, 0.5f}, 3);
    m.quad({0.3f, -1, 0.95f}, {1, -1, 0.95f}, {1, 1, 0.95f}, {0.3f, 1, 0.95f}, 0);
    scene.camera.set(P_POSITION, Float3{-0.3f, 0, 3.6f}).set(P_FOV, 36.0f);
    return scene.keep(m.node(boxMaterials(scene, splat(300), true)));
}

/// A rolling sheet of a million quads under a bright sky.
NodeRecordPtr sheet(Scene& scene) {
    constexpr int n = 1000;
    MeshData m;
    for (int j = 0; j <= n; ++j) {
        for (int i = 0; i <= n; ++i) {
            const float x = 2.0f * static_cast<float>(i) / n - 1.0f, z = 2.0f * static_cast<float>(j) / n - 1.0f;
            m.vertices.push_back({x, 0.1f * std::sin(9 * x) * std::cos(7 * z), z});
        }
    }
    for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
            const int v = j * (n + 1) + i;
            m.indices.insert(m.indices.end(), {v, v + n + 1, v + n + 2, v + 1});
        }
    }
    m.perPolygon.assign(static_cast<std::size_t>(n) * n, 4);
    scene.environment(splat(1));
    scene.camera.set(P_POSITION, Float3{1.2f, 1, 1.2f}).set(P_TARGET, Float3{});
    return scene.keep(m.node({scene.diffuse(splat(0.8f))}));
}

struct SceneRow {
    const char* name;
    NodeRecordPtr (*make)(Scene&);
};
constexpr SceneRow kScenes[] = {{"Cornell box", cornellBox}, {"Nook", nook}, {"Sheet of a million quads", sheet}};

struct KernelRow {
    const char* name;
    NodeType type;
    PinId pin;
    int value;
    int samples;
};
constexpr KernelRow kKernels[] = {
    {"direct lighting, ambient occlusion", NT_KERNEL_DIRECT, P_GI_MODE, 3, 64},
    {"direct lighting, diffuse", NT_KERNEL_DIRECT, P_GI_MODE, 4, 64},
    {"path tracing", NT_KERNEL_PATH, P_STATIC_NOISE, 1, 32},
    {"Metropolis", NT_KERNEL_PMC, P_PARALLELISM, 4, 32},
    {"info channels, shading normals", NT_KERNEL_INFO, P_INFO_CHANNEL, 1, 64},
    {"info channels, ambient occlusion", NT_KERNEL_INFO, P_INFO_CHANNEL, 10, 64},
};

Node kernelNode(NodeType type, int samples) {
    Node kernel(type);
    kernel.set(P_MAX_SAMPLES, samples);
    return kernel;
}

struct Taken {
    Image image;
    double seconds = 0;
};

Taken take(Scene& scene, const NodeRecordPtr& mesh, const Node& kernel) {
    scene.kernel = kernel;
    Render render(2);
    const double start = processorSeconds();
    Taken t;
    t.image = render.picture(scene.delta(mesh));
    t.seconds = processorSeconds() - start;
    return t;
}

/// Root of the mean squared relative error.
double error(const Image& image, const Image& truth) {
    double sum = 0;
    for (unsigned y = 0; y < truth.size.y; ++y) {
        for (unsigned x = 0; x < truth.size.x; ++x) {
            const float t = luminance(pixel(truth, x, y)), d = luminance(pixel(image, x, y)) - t;
            sum += d * d / (t * t + 1e-4f);
        }
    }
    return std::sqrt(sum / (static_cast<double>(truth.size.x) * truth.size.y));
}

void speeds() {
    for (const SceneRow& row : kScenes) {
        for (const KernelRow& k : kKernels) {
            Scene scene(kSize, kSize, 1);
            const NodeRecordPtr mesh = row.make(scene);
            Node kernel = kernelNode(k.type, k.samples);
            if (k.type != NT_KERNEL_PATH) kernel.set(k.pin, k.value);
            scene.kernel = kernel;
            Render render(2);
            render.picture(scene.delta(mesh, 1));  // builds what has to be built
            render.renderer().restart();
            const double start = processorSeconds();
            const Image image = render.wait(1);
            const double taken = processorSeconds() - start;
            std::printf("%s, %s: %.2f million samples a second of one processor\n", row.name, k.name,
                        static_cast<double>(image.samplesPerPixel) * kSize * kSize / taken * 1e-6);
        }
    }
}

void adaptive() {
    for (const SceneRow& row : {kScenes[0], kScenes[2]}) {
        Scene scene(kSmall, kSmall, 1);
        const NodeRecordPtr mesh = row.make(scene);
        const Taken truth = take(scene, mesh, kernelNode(NT_KERNEL_PATH, 4096));
        const Taken all = take(scene, mesh, kernelNode(NT_KERNEL_PATH, 512));
        std::printf("%s, 512 samples for all: %.2f s, error %.4f\n", row.name, all.seconds,
                    error(all.image, truth.image));
        for (const float threshold : {0.05f, 0.1f, 0.2f}) {
            Node kernel = kernelNode(NT_KERNEL_PATH, 512);
            kernel.set(P_ADAPTIVE_SAMPLING, true).set(P_NOISE_THRESHOLD, threshold).set(P_MIN_ADAPTIVE_SAMPLES, 64);
            const Taken some = take(scene, mesh, kernel);
            std::printf("%s, noise threshold %.2f: %.2f s, %.0f samples a pixel, error %.4f\n", row.name,
                        static_cast<double>(threshold), some.seconds, static_cast<double>(some.image.samplesPerPixel),
                        error(some.image, truth.image));
        }
    }
}

void metropolis() {
    for (const SceneRow& row : {kScenes[0], kScenes[1]}) {
        Scene scene(kSmall, kSmall, 1);
        const NodeRecordPtr mesh = row.make(scene);
        const Taken truth = take(scene, mesh, kernelNode(NT_KERNEL_PATH, 4096));
        for (const int samples : {32, 128, 512}) {
            const Taken path = take(scene, mesh, kernelNode(NT_KERNEL_PATH, samples));
            const Taken chains = take(scene, mesh, kernelNode(NT_KERNEL_PMC, samples));
            const float right = luminance(mean(truth.image, 0, 0, kSmall, kSmall));
            std::printf(
                "%s, %d samples: path tracing %.2f s, error %.4f; Metropolis %.2f s, error %.4f, brightness %.4f\n",
                row.name, samples, path.seconds, error(path.image, truth.image), chains.seconds,
                error(chains.image, truth.image),
                static_cast<double>(luminance(mean(chains.image, 0, 0, kSmall, kSmall)) / right));
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test

int main() {
    using namespace Lumora::engine::test;
    speeds();
    adaptive();
    metropolis();
    return 0;
}
