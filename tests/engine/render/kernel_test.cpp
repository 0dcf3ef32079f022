// Kernels: the same light by different ways, samples where noise is, and no matter how many threads.
#include <gtest/gtest.h>

#include <random>
#include <thread>

#include "engine/compile/scene_compiler.h"
#include "engine/render/adaptive.h"
#include "engine/render/job.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

using std::chrono::milliseconds;

Node kernelNode(NodeType type, int samples) {
    Node kernel(type);
    kernel.set(P_MAX_SAMPLES, samples).set(P_FILTER_SIZE, 1.0f);
    return kernel;
}

/// A closed box of grey walls, one of them red, with a lamp below its ceiling.
NodeRecordPtr litBox(Scene& scene, float lamp) {
    MeshData d;
    d.quad({-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, 0);
    d.quad({-1, -1, 1}, {1, -1, 1}, {1, -1, -1}, {-1, -1, -1}, 0);
    d.quad({-1, 1, -1}, {1, 1, -1}, {1, 1, 1}, {-1, 1, 1}, 0);
    d.quad({-1, -1, 1}, {-1, -1, -1}, {-1, 1, -1}, {-1, 1, 1}, 1);
    d.quad({1, -1, -1}, {1, -1, 1}, {1, 1, 1}, {1, 1, -1}, 0);
    d.quad({-lamp, 0.95f, -lamp}, {lamp, 0.95f, -lamp}, {lamp, 0.95f, lamp}, {-lamp, 0.95f, lamp}, 2);
    scene.camera.set(P_POSITION, Float3{0, 0, 3.2f}).set(P_FOV, 40.0f);
    return scene.keep(d.node({scene.diffuse(splat(0.7f)), scene.diffuse({0.8f, 0.2f, 0.2f}),
                              scene.emitter(splat(2.0f / (lamp * lamp)), true)}));
}

/// Light comes only by way of a wall: the lamp shines into a corner behind a screen.
NodeRecordPtr litByTheWall(Scene& scene) {
    MeshData d;
    d.quad({-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, 0);
    d.quad({-1, -1, 1}, {1, -1, 1}, {1, -1, -1}, {-1, -1, -1}, 0);
    d.quad({-1, 1, -1}, {1, 1, -1}, {1, 1, 1}, {-1, 1, 1}, 0);
    d.quad({-1, -1, 1}, {-1, -1, -1}, {-1, 1, -1}, {-1, 1, 1}, 1);
    d.quad({1, -1, -1}, {1, -1, 1}, {1, 1, 1}, {1, 1, -1}, 0);
    d.quad({0.3f, -0.2f, 0.5f}, {0.3f, -0.2f, -0.9f}, {0.3f, 1, -0.9f}, {0.3f, 1, 0.5f}, 0);
    d.quad({0.5f, 0.9f, -0.4f}, {0.9f, 0.9f, -0.4f}, {0.9f, 0.9f, 0}, {0.5f, 0.9f, 0}, 2);
    scene.camera.set(P_POSITION, Float3{-0.3f, 0, 3.2f}).set(P_FOV, 34.0f);
    return scene.keep(
        d.node({scene.diffuse(splat(0.8f)), scene.diffuse({0.2f, 0.8f, 0.2f}), scene.emitter(splat(15), true)}));
}

TEST(Metropolis, ShowsTheLightThatPathTracingShows) {
    for (const int which : {0, 1}) {
        Scene scene(32, 32, 1);
        const NodeRecordPtr mesh = which ? litByTheWall(scene) : litBox(scene, 0.3f);
        Render render;
        scene.kernel = kernelNode(NT_KERNEL_PATH, 512);
        const Image path = render.picture(scene.delta(mesh, 1));
        scene.kernel = kernelNode(NT_KERNEL_PMC, 512);
        const Image chains = render.picture(scene.delta(mesh, 2));
        // Parts of the second picture, where light is hard to find, are noisy by either way.
        const float whole = which ? 0.025f : 0.015f, part = which ? 0.15f : 0.06f;
        const Float3 a = mean(path, 0, 0, 32, 32), b = mean(chains, 0, 0, 32, 32);
        EXPECT_NEAR(b.x / a.x, 1.0f, whole) << which;
        EXPECT_NEAR(b.y / a.y, 1.0f, whole) << which;
        for (unsigned y = 0; y < 32; y += 8) {
            for (unsigned x = 0; x < 32; x += 8) {
                const Float3 p = mean(path, x, y, 8, 8), q = mean(chains, x, y, 8, 8);
                EXPECT_NEAR(luminance(q) / luminance(p), 1.0f, part) << which << " at " << x << ',' << y;
            }
        }
    }
}

TEST(Metropolis, PinsKeepTheBrightness) {
    Scene scene(32, 32, 1);
    const NodeRecordPtr mesh = litBox(scene, 0.3f);
    Render render;
    scene.kernel = kernelNode(NT_KERNEL_PATH, 256);
    std::uint64_t level = 0;
    const float right = luminance(mean(render.picture(scene.delta(mesh, ++level)), 0, 0, 32, 32));
    struct Case {
        float exploration, direct;
        int chains, chunk;
    };
    for (const Case& c :
         {Case{0.0f, 0.1f, 4, 8}, Case{1.0f, 0.1f, 4, 8}, Case{0.7f, 1.0f, 1, 64}, Case{0.7f, 0.01f, 8, 1}}) {
        Node kernel = kernelNode(NT_KERNEL_PMC, 256);
        kernel.set(P_EXPLORATION_STRENGTH, c.exploration).set(P_DIRECT_LIGHT_IMPORTANCE, c.direct);
        kernel.set(P_PARALLELISM, c.chains).set(P_WORK_CHUNK_SIZE, c.chunk);
        scene.kernel = kernel;
        const Image image = render.picture(scene.delta(mesh, ++level));
        EXPECT_NEAR(luminance(mean(image, 0, 0, 32, 32)) / right, 1.0f, 0.03f) << c.exploration << ' ' << c.direct;
        EXPECT_EQ(image.samplesPerPixel, 256.0f);
    }
}

TEST(Metropolis, PrimarySamplesStayUniform) {
    PrimarySamples numbers(5);
    std::mt19937 random(1);
    numbers.propose(true);
    numbers.next4();
    numbers.accept();
    std::array<int, 10> bins{};
    int count = 0;
    for (int step = 0; step < 40000; ++step) {
        numbers.propose(random() % 10 == 0);
        const auto first = numbers.next4();
        std::array<float, 4> later{};
        if (random() % 3 == 0) later = numbers.next4();  // dimensions that only some paths use
        if (random() % 2) {
            numbers.accept();
            for (const float v : {first[0], first[2], later[1]}) {
                ASSERT_GE(v, 0.0f);
                ASSERT_LT(v, 1.0f);
            }
            ++bins[static_cast<std::size_t>(first[3] * 10)];
            ++count;
        } else {
            numbers.reject();
        }
    }
    for (const int n : bins) EXPECT_NEAR(10.0 * n / count, 1.0, 0.25);
}

/// Half of the picture is a plain surface, half a noisy one.
TEST(Adaptive, NoisyPixelsGetTheSamples) {
    Scene scene(64, 32, 1);
    MeshData d;
    d.quad({-4, -2, 0}, {0, -2, 0}, {0, 2, 0}, {-4, 2, 0}, 0);
    d.quad({0, -2, 0}, {4, -2, 0}, {4, 2, 0}, {0, 2, 0}, 1);
    d.quad({0.2f, -2, 3}, {0.2f, 2, 3}, {0.2f, 2, 0.1f}, {0.2f, -2, 0.1f}, 1);
    d.quad({1.0f, 0.5f, 1.2f}, {1.2f, 0.5f, 1.2f}, {1.2f, 0.5f, 1.4f}, {1.0f, 0.5f, 1.4f}, 2);
    const NodeRecordPtr mesh =
        scene.keep(d.node({scene.emitter(splat(0.5f)), scene.diffuse(splat(0.8f)), scene.emitter(splat(40), true)}));
    scene.camera.set(P_FOV, 60.0f);
    const auto job = [&](bool adaptive, float threshold, int group, unsigned threads) {
        Node kernel = kernelNode(NT_KERNEL_PATH, 512);
        kernel.set(P_ADAPTIVE_SAMPLING, adaptive).set(P_NOISE_THRESHOLD, threshold).set(P_MIN_ADAPTIVE_SAMPLES, 32);
        kernel.set(P_PIXEL_GROUPING, group);
        scene.kernel = kernel;
        SceneCompiler compiler(nullptr);
        const RenderScenePtr compiled = compiler.apply(scene.delta(mesh)).scene;
        auto made = std::make_unique<Job>(compiled, compiled->film, std::make_shared<FilmBuffer>(), 1);
        std::vector<std::thread> workers;
        for (unsigned t = 0; t < threads; ++t)
            workers.emplace_back([&] {
                while (const auto unit = made->take()) made->work(*unit);
            });
        for (std::thread& w : workers) w.join();
        // A worker may leave while another's unit decides that there is more to do.
        while (const auto unit = made->take()) made->work(*unit);
        EXPECT_TRUE(made->finished());
        return made;
    };
    const auto samples = [](const Job& j) {
        std::vector<FilmSum> all(64 * 32);
        for (std::uint32_t t = 0; t < j.film().tileCount(); ++t) {
            TileSums sums(TileRect{}, false);
            EXPECT_TRUE(j.film().copySums(t, sums));
            const TileRect r = j.film().tile(t);
            for (std::uint32_t y = 0; y < r.height; ++y)
                for (std::uint32_t x = 0; x < r.width; ++x)
                    all[(r.y + y) * 64 + r.x + x] = sums.pixels[y * r.width + x];
        }
        return all;
    };
    const auto full = job(false, 0.1f, 1, 1);
    EXPECT_EQ(full->samplesTaken(), 64u * 32 * 512);
    const std::vector<FilmSum> truth = samples(*full);
    for (const int group : {1, 2, 3}) {
        const auto one = job(true, 0.05f, group, 1), two = job(true, 0.05f, group, 2);
        EXPECT_LT(one->samplesTaken(), full->samplesTaken() * 8 / 10) << group;
        const std::vector<FilmSum> a = samples(*one), b = samples(*two);
        std::uint32_t most = 0;
        double left = 0, leftTruth = 0, right = 0, rightTruth = 0;
        for (std::size_t i = 0; i < a.size(); ++i) {
            ASSERT_EQ(a[i].samples, b[i].samples) << "on two threads, pixel " << i;
            ASSERT_EQ(a[i].color, b[i].color) << "on two threads, pixel " << i;
            most = std::max(most, a[i].samples);
            const bool plain = i % 64 < 28;
            if (plain) {
                EXPECT_EQ(a[i].samples, 32u) << "nothing to do here, pixel " << i;
            }
            (plain ? left : right) += luminance(a[i].mean().color);
            (plain ? leftTruth : rightTruth) += luminance(truth[i].mean().color);
        }
        EXPECT_EQ(most, 512u) << "the noisy pixels go on to the end";
        EXPECT_NEAR(left / leftTruth, 1.0, 1e-5);
        EXPECT_NEAR(right / rightTruth, 1.0, 0.02);
    }
    EXPECT_LT(job(true, 0.2f, 2, 1)->samplesTaken(), job(true, 0.02f, 2, 1)->samplesTaken());
}

TEST(Adaptive, NoiseIsJudgedAsItIsSeen) {
    Adaptive a;
    // Half of the samples 0, half 2m: the standard error is m / sqrt(n - 1).
    const auto noise = [&](float m) { return pixelNoise(a, m, 100 * 2 * m * m, 100); };
    EXPECT_NEAR(noise(1.0f), 1.0f / std::sqrt(99.0f), 1e-3f);
    EXPECT_NEAR(noise(100.0f), noise(1.0f), 1e-3f) << "at every brightness alike";
    EXPECT_LT(noise(1e-4f), 0.02f * noise(1.0f)) << "but in the dark";
    EXPECT_EQ(pixelNoise(a, 1, 1, 1), kInfinity) << "one sample tells nothing";
    a.expectedExposure = 1.0f;
    EXPECT_EQ(noise(10.0f), 0.0f) << "burnt out";
    EXPECT_GT(noise(0.5f), 0.0f);
}

/// Four times the samples, half the noise: less than that where few samples have not yet seen all of it.
TEST(Adaptive, TheNoisePass) {
    Scene scene(32, 32, 1);
    const NodeRecordPtr mesh = litBox(scene, 0.3f);
    scene.target.connect(P_RENDER_PASSES, scene.keep(Node(NT_RENDER_PASSES).set(P_PASS_NOISE, true)));
    Render render;
    float noise[2];
    for (const int i : {0, 1}) {
        scene.kernel = kernelNode(NT_KERNEL_PATH, i ? 256 : 64);
        render.picture(scene.delta(mesh, static_cast<std::uint64_t>(i) + 1));
        const auto images = render.renderer().tonemap({RP_NOISE}, TONEMAP_HDR_LINEAR);
        ASSERT_EQ(images.size(), 1u);
        EXPECT_EQ(images[0].pass, RP_NOISE);
        noise[i] = mean(images[0], 0, 8, 32, 24).x;
    }
    EXPECT_GT(noise[0], 0.01f);
    EXPECT_GT(noise[0] / noise[1], 1.3f);
    EXPECT_LT(noise[0] / noise[1], 2.3f);
}

/// Every kernel gives the same picture on any number of threads.
TEST(Kernels, ThreadsDoNotShow) {
    for (const NodeType type : {NT_KERNEL_DIRECT, NT_KERNEL_PATH, NT_KERNEL_PMC, NT_KERNEL_INFO}) {
        std::vector<float> first;
        for (const unsigned threads : {1u, 2u, 3u}) {
            Scene scene(70, 40, 1);
            const NodeRecordPtr mesh = litBox(scene, 0.3f);
            scene.kernel = kernelNode(type, 24);
            if (type == NT_KERNEL_PATH) {
                scene.kernel.set(P_COHERENT_RATIO, 0.5f).set(P_ADAPTIVE_SAMPLING, true).set(P_MIN_ADAPTIVE_SAMPLES, 4);
            }
            Render render(threads);
            const Image image = render.picture(scene.delta(mesh));
            if (first.empty()) first = *image.floats;
            EXPECT_EQ(*image.floats, first) << "kernel " << type << " on " << threads;
        }
    }
}

/// Numbers shared by all pixels are still fair numbers.
TEST(Kernels, CoherentSamplesKeepTheBrightness) {
    Scene scene(32, 32, 1);
    const NodeRecordPtr mesh = litBox(scene, 0.4f);
    Render render;
    std::uint64_t level = 0;
    float right = 0.0f;
    for (const float ratio : {0.0f, 0.4f, 1.0f}) {
        scene.kernel = kernelNode(NT_KERNEL_PATH, 256);
        scene.kernel.set(P_COHERENT_RATIO, ratio).set(P_PARALLEL_SAMPLES, 5).set(P_MAX_TILE_SAMPLES, 7);
        const float l = luminance(mean(render.picture(scene.delta(mesh, ++level)), 0, 0, 32, 32));
        if (ratio == 0.0f) right = l;
        EXPECT_NEAR(l / right, 1.0f, 0.03f) << ratio;
    }
}

TEST(Kernels, IrradianceAndAmbientLightOfItsOwn) {
    Scene scene(16, 16, 1);
    scene.environment(splat(0.5f));
    const NodeRecordPtr mesh = scene.keep(
        MeshData().quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0}).node({scene.diffuse({0.8f, 0.2f, 0.1f})}));
    Render render;
    std::uint64_t level = 0;
    const auto color = [&](const Node& kernel) {
        scene.kernel = kernel;
        return mean(render.picture(scene.delta(mesh, ++level)), 0, 0, 16, 16);
    };
    Node path = kernelNode(NT_KERNEL_PATH, 64);
    EXPECT_NEAR(color(path).y, 0.1f, 2e-3f);
    path.set(P_IRRADIANCE_MODE, true);
    const Float3 white = color(path);
    EXPECT_NEAR(white.x, 0.5f, 5e-3f) << "as if it were white";
    EXPECT_NEAR(white.z, 0.5f, 5e-3f);

    Node direct = kernelNode(NT_KERNEL_DIRECT, 64);
    EXPECT_NEAR(color(direct).x, 0.4f, 5e-3f);
    direct.connect(P_AO_TEXTURE, scene.keep(rgb({0, 2, 0})));
    const Float3 green = color(direct);
    EXPECT_NEAR(green.x, 0.0f, 1e-4f) << "the texture lights in place of the environment";
    EXPECT_NEAR(green.y, 0.4f, 5e-3f);
    scene.camera.set(P_POSITION, Float3{0, 0, 60});
    scene.kernel = direct;
    EXPECT_NEAR(pixel(render.picture(scene.delta(mesh, ++level)), 0, 0).x, 0.5f, 1e-4f) << "which is still seen";
}

TEST(Kernels, NoiseOfFrames) {
    for (const bool still : {false, true}) {
        std::vector<std::vector<float>> frames;
        for (const float time : {0.0f, 1.0f, 1.0f}) {
            Scene scene(16, 16, 1);
            const NodeRecordPtr mesh = litBox(scene, 0.3f);
            scene.kernel = kernelNode(NT_KERNEL_PATH, 2).set(P_STATIC_NOISE, still);
            SceneDelta delta = scene.delta(mesh);
            delta.time = time;
            Render render;
            frames.push_back(*render.picture(delta).floats);
        }
        EXPECT_EQ(frames[0] == frames[1], still);
        EXPECT_EQ(frames[1], frames[2]) << "a frame has the same noise whenever it is rendered";
    }
}

/// The first picture is coarser where the view asks for it, and the last one is the same.
TEST(Kernels, SubSampleModes) {
    std::vector<float> last;
    for (const int mode : {1, 2, 4}) {
        Scene scene(64, 64, 1);
        const NodeRecordPtr mesh = litBox(scene, 0.3f);
        scene.kernel = kernelNode(NT_KERNEL_PATH, 4);
        SceneCompiler compiler(nullptr);
        const RenderScenePtr compiled = compiler.apply(scene.delta(mesh)).scene;
        Job job(compiled, compiled->film, std::make_shared<FilmBuffer>(), 1, static_cast<std::uint32_t>(mode));
        std::vector<std::uint32_t> blocks;
        while (const auto unit = job.take()) {
            if (blocks.empty() || blocks.back() != unit->block) blocks.push_back(unit->block);
            job.work(*unit);
        }
        std::vector<std::uint32_t> expected;
        for (auto b = static_cast<std::uint32_t>(4 * mode); b >= 4; b /= 2) expected.push_back(b);
        expected.push_back(0);
        EXPECT_EQ(blocks, expected) << mode;
        Render render;
        SceneDelta delta = scene.delta(mesh);
        delta.subSampleMode = mode;
        const Image image = render.picture(delta);
        if (last.empty()) last = *image.floats;
        EXPECT_EQ(*image.floats, last) << mode;
    }
}

TEST(Kernels, ARegionFadesIntoWhatLiesAroundIt) {
    Scene scene(96, 64, 2);
    Node black(NT_ENV_TEXTURE);
    const NodeRecordPtr lamp = scene.emitter(splat(1));
    const NodeRecordPtr sheet =
        scene.keep(MeshData().quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0}).node({lamp}));
    const NodeRecordPtr nothing =
        scene.keep(MeshData().quad({0, 0, 90}, {1, 0, 90}, {1, 1, 90}, {0, 1, 90}).node({lamp}));
    scene.imager.set(P_RESPONSE, 400);
    Render render;
    render.renderer().setOutput(TONEMAP_HDR_LINEAR, {RP_BEAUTY});
    render.picture(scene.delta(nothing, 1));
    render.renderer().setRegion(true, {20, 10}, {40, 30}, 8);
    render.picture(scene.delta(sheet, 2));
    const auto shown = [&] {
        for (int i = 0; i < 2000; ++i) {
            const auto images = render.renderer().latest();
            if (images.size() == 1 && images[0].floats && pixel(images[0], 40, 25).x > 0.9f) return images[0];
            std::this_thread::sleep_for(milliseconds(2));
        }
        return Image{};
    };
    const Image image = shown();
    ASSERT_TRUE(image.floats);
    EXPECT_EQ(pixel(image, 19, 25).x, 0.0f) << "around it the old picture stays";
    EXPECT_EQ(pixel(image, 60, 25).x, 0.0f);
    EXPECT_NEAR(pixel(image, 20, 25).x, 1.0f / 9, 1e-3f);
    EXPECT_NEAR(pixel(image, 27, 25).x, 8.0f / 9, 1e-3f);
    EXPECT_NEAR(pixel(image, 28, 25).x, 1.0f, 1e-5f);
    EXPECT_NEAR(pixel(image, 59, 25).x, 1.0f / 9, 1e-3f);
    EXPECT_NEAR(pixel(image, 40, 10).x, 1.0f / 9, 1e-3f);
}

/// Starts, stops, pauses, regions, kernels and passes in any order, and at the end the picture that was asked for.
TEST(Kernels, ARandomRowOfStopsAndStarts) {
    std::mt19937 numbers(7);
    const auto random = [&](unsigned below) { return static_cast<unsigned>(numbers() % below); };
    Scene scene(80, 60, 6);
    const NodeRecordPtr mesh = litBox(scene, 0.3f);
    Render render;
    std::uint64_t level = 0;
    const NodeType types[] = {NT_KERNEL_DIRECT, NT_KERNEL_PATH, NT_KERNEL_PMC, NT_KERNEL_INFO};
    const Node passes(NT_RENDER_PASSES);
    const auto edit = [&](NodeType type, bool adaptive, bool pass) {
        Node kernel = kernelNode(type, 6);
        if (adaptive && type == NT_KERNEL_PATH) kernel.set(P_ADAPTIVE_SAMPLING, true).set(P_MIN_ADAPTIVE_SAMPLES, 2);
        scene.kernel = kernel;
        Node chosen{NodeRecordPtr(passes)};
        chosen.set(P_PASS_Z_DEPTH, pass).set(P_PASS_AO, pass && adaptive).set(P_PASS_INFO_MAX_SAMPLES, 4);
        SceneDelta d = scene.delta(mesh, ++level);
        d.subSampleMode = 1 << random(3);
        d.changed.push_back(chosen);
        Node target{NodeRecordPtr(scene.target)};
        target.connect(P_RENDER_PASSES, chosen);
        d.changed.push_back(target);
        render.renderer().submit(std::move(d));
    };
    edit(NT_KERNEL_PATH, false, false);
    for (int i = 0; i < 200; ++i) {
        switch (random(8)) {
            case 0:
                render.renderer().stop();
                break;
            case 1:
                render.renderer().restart();
                break;
            case 2:
                render.renderer().pause();
                break;
            case 3:
                render.renderer().resume();
                break;
            case 4:
                render.renderer().setRegion(random(2) == 0, {random(90), random(70)}, {random(50), random(50)},
                                            random(9));
                break;
            case 5:
                render.renderer().setOutput(TONEMAP_LDR, {RP_BEAUTY, RP_Z_DEPTH, RP_AO});
                render.renderer().tonemap({RP_BEAUTY, RP_AO}, TONEMAP_HDR);
                break;
            default:
                edit(types[random(4)], random(2) == 0, random(2) == 0);
                break;
        }
        if (random(4) == 0) std::this_thread::sleep_for(milliseconds(random(4)));
    }
    render.renderer().setRegion(false, {}, {}, 0);
    render.renderer().resume();
    edit(NT_KERNEL_PATH, false, false);
    const Image last = render.wait(level);
    Render fresh;
    Scene again(80, 60, 6);
    again.kernel = kernelNode(NT_KERNEL_PATH, 6);
    const NodeRecordPtr same = litBox(again, 0.3f);
    EXPECT_EQ(*last.floats, *fresh.picture(again.delta(same)).floats);
}

}  // namespace
}  // namespace Lumora::engine::test
