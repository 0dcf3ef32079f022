// What the denoiser is worth: its error beside that of more samples, and what it costs. One line a figure; run on an
// idle machine. Errors are relative mean squared errors against a picture of many samples, in thousandths.
#include <tbb/parallel_for.h>

#include <chrono>
#include <cstdio>

#include "bench/box_scene.h"
#include "engine/compile/scene_compiler.h"
#include "engine/film/denoise.h"
#include "engine/render/job.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr unsigned kWidth = 256, kHeight = 192;
constexpr std::uint32_t kReference = 1024, kMost = 256;

/// A floor of small tiles of many colours, and balls, under a grey sky and a lamp; `aperture` in centimetres.
NodeRecordPtr tiles(Scene& scene, float aperture) {
    std::vector<unsigned char> texels;
    constexpr int kSize = 64;
    for (int i = 0; i < kSize * kSize; ++i) {
        const bool joint = i % 8 == 0 || i / kSize % 8 == 0;
        const unsigned hash = static_cast<unsigned>(i % kSize / 8 * 7 + i / kSize / 8 * 13) * 2654435761u;
        for (int c = 0; c < 3; ++c)
            texels.push_back(joint ? 40 : static_cast<unsigned char>(90 + (hash >> (8 * c) & 127u)));
        texels.push_back(255);
    }
    const NodeRecordPtr texture = scene.keep(image(kSize, kSize, texels));
    const NodeRecordPtr floor = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
    scene.environment(splat(0.3f));
    MeshData ground;
    ground.quad({-3, -1, 3}, {3, -1, 3}, {3, -1, -3}, {-3, -1, -3}, 0);
    ground.quad({-1, 3, -0.5f}, {-0.5f, 3, -0.5f}, {-0.5f, 3, 0}, {-1, 3, 0}, 1);
    const NodeRecordPtr base = scene.keep(ground.node({floor, scene.emitter(splat(60.0f), true)}));
    MeshData ball = MeshData::sphere(48, 24);
    ball.materials.assign(ball.perPolygon.size(), 0);
    const NodeRecordPtr glossy = scene.keep(Node(NT_MAT_GLOSSY)
                                                .connect(P_DIFFUSE, scene.keep(rgb({0.5f, 0.1f, 0.1f})))
                                                .connect(P_ROUGHNESS, scene.keep(constant(0.2f))));
    const NodeRecordPtr shape = scene.keep(ball.node({glossy}));
    std::vector<Matrix<float>> places;
    for (int i = -1; i <= 1; ++i) {
        Matrix<float> m = scaling(splat(0.6f));
        m.m[0][3] = 1.4f * static_cast<float>(i);
        m.m[1][3] = -0.4f;
        m.m[2][3] = -0.9f * static_cast<float>(i);
        places.push_back(m);
    }
    scene.camera.set(P_POSITION, Float3{0, 1.2f, 4}).set(P_TARGET, Float3{0, -0.4f, 0}).set(P_FOV, 42.0f);
    scene.camera.set(P_APERTURE, aperture).set(P_FOCAL_DEPTH, 4.3f);
    return scene.group({base, scene.scatter(shape, places)});
}

/// With a seed of its own the reference shares no sample with what is measured.
std::shared_ptr<FilmBuffer> sampled(const RenderScenePtr& scene, std::uint32_t samples, double& time,
                                    std::uint32_t seed = 0) {
    auto copy = std::make_shared<RenderScene>(*scene);
    copy->kernel.maxSamples = samples;
    copy->kernel.seed = seed;
    auto film = std::make_shared<FilmBuffer>();
    Job job(copy, copy->film, film, 1);
    const auto start = std::chrono::steady_clock::now();
    tbb::parallel_for(0, 16, [&](int) {
        while (const auto unit = job.take()) job.work(*unit);
    });
    time = seconds(start);
    return film;
}

Picture meanOf(const FilmBuffer& film) {
    Picture picture;
    TileMask mask;
    resolvePicture(film, picture, mask);
    return picture;
}

double relativeError(const Picture& a, const Picture& reference) {
    double sum = 0.0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        const Float3 d = a.pixels[i].color - reference.pixels[i].color, r = reference.pixels[i].color;
        sum += dot(d, d) / (dot(r, r) + 0.01);
    }
    return sum / static_cast<double>(a.pixels.size());
}

void measure(const char* name, Scene& scene, const NodeRecordPtr& geometry) {
    scene.imager.set(P_DENOISER, true);
    SceneCompiler compiler(nullptr);
    const RenderScenePtr compiled = compiler.apply(scene.delta(geometry)).scene;
    double time = 0.0;
    const Picture reference = meanOf(*sampled(compiled, kReference, time, 1));
    for (const std::uint32_t samples : {16u, 64u}) {
        double spent = 0.0;
        const auto film = sampled(compiled, samples, spent);
        DenoiseControl control;
        Picture clean;
        const auto start = std::chrono::steady_clock::now();
        denoise(*film, control, clean);
        const double filtering = seconds(start);
        std::printf("%s, %u samples in %.2f s: error %.2f; denoised in %.2f s: %.2f;", name, samples, spent,
                    1e3 * relativeError(meanOf(*film), reference), filtering, 1e3 * relativeError(clean, reference));
        for (const std::uint32_t more : {4 * samples, 16 * samples}) {
            if (more > kMost) continue;
            const auto larger = sampled(compiled, more, spent);
            std::printf(" %u samples in %.2f s: %.2f;", more, spent, 1e3 * relativeError(meanOf(*larger), reference));
        }
        std::printf("\n");
        std::fflush(stdout);
    }
}

}  // namespace
}  // namespace Lumora::engine::test

int main() {
    using namespace Lumora::engine::test;
    {
        Scene scene(kWidth, kHeight, 16);
        measure("Room", scene, cornellBox(scene));
    }
    {
        Scene scene(kWidth, kHeight, 16);
        measure("Tiles and balls", scene, tiles(scene, 0.0f));
    }
    {
        Scene scene(kWidth, kHeight, 16);
        measure("The same out of focus", scene, tiles(scene, 12.0f));
    }
    return 0;
}
