// What textures cost: one lookup of each kind, images under footprints of several shapes, coarser levels of a large
// image, blocks, compiling, and a scene of a hundred large images. One line a figure; run on an idle machine.
#include <OpenImageIO/imageio.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "bench/program.h"
#include "engine/compile/scene_compiler.h"
#include "engine/render/textures/noise.h"
#include "engine/render/textures/pixel_format.h"
#include "engine/render/textures/pixel_memory.h"
#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

/// Nanoseconds of one lookup.
template <typename F>
double timed(F&& lookup) {
    Float3 sum{};
    int count = 0;
    const auto start = std::chrono::steady_clock::now();
    while (seconds(start) < 0.2) {
        for (int i = 0; i < 1000; ++i, ++count) sum += lookup(static_cast<float>(count % 9973));
    }
    const double ns = seconds(start) / count * 1e9;
    return isFinite(sum) ? ns : -1.0;
}

void lookups() {
    const struct {
        const char* name;
        NodeType type;
    } kinds[] = {{"checks", NT_TEX_CHECKS},   {"sine wave", NT_TEX_SINEWAVE}, {"turbulence", NT_TEX_TURBULENCE},
                 {"marble", NT_TEX_MARBLE},   {"noise", NT_TEX_NOISE},        {"ridged", NT_TEX_RIDGEDFRACTAL},
                 {"falloff", NT_TEX_FALLOFF}, {"side", NT_TEX_SIDE},          {"gaussian", NT_TEX_GAUSSIAN}};
    for (const auto& k : kinds) {
        TextureBench b;
        Node node(k.type);
        if (k.type == NT_TEX_GAUSSIAN) node.connect(P_WAVELENGTH, b.u());
        const TextureId id = b.compile(node);
        const double ns = timed([&](float i) { return b.table.color(id, point(i * 0.0137f, i * 0.0071f, 0.3f)); });
        std::printf("lookup, %s: %.0f ns\n", k.name, ns);
    }
    TextureBench b;
    NodeRecordPtr chain = b.u();
    for (int i = 0; i < 10; ++i) {
        chain = b.keep(Node(NT_TEX_MIX).connect(P_TEXTURE1, chain).connect(P_TEXTURE2, b.color({1, 0, 0})));
    }
    const TextureId id = b.compile(chain);
    std::printf("lookup, ten nested mixes: %.0f ns\n",
                timed([&](float i) { return b.table.color(id, point(i * 0.0137f, 0.1f)); }));
}

void lookupsIn(const char* name, const ImageLookup& lookup) {
    const float size = static_cast<float>(lookup.image->width());
    const struct {
        const char* name;
        float along, across;
    } shapes[] = {{"a point", 0, 0},     {"one pixel", 1.01f, 1.01f}, {"three pixels", 3, 3},
                  {"64 pixels", 64, 64}, {"16 by 1", 16, 1},          {"1000 by 30", 1000, 30}};
    for (const auto& s : shapes) {
        const Float2 a = {s.along / size, 0.3f * s.along / size}, c = {-0.3f * s.across / size, s.across / size};
        const auto nearby = [&](float i) {
            return sampleImage(lookup, {0.3f + i * 1e-5f, 0.4f + i * 0.7e-5f}, a, c).color;
        };
        const auto scattered = [&](float i) {
            return sampleImage(lookup, {i * 0.6180339f, i * 0.7548776f}, a, c).color;
        };
        std::printf("image lookup, %s, %s: %.0f ns, scattered %.0f ns\n", name, s.name, timed(nearby),
                    timed(scattered));
    }
}

/// A picture with something of everything: slopes, edges, grain.
float patternAt(std::uint32_t x, std::uint32_t y, std::uint32_t c) {
    const float u = static_cast<float>(x) * 0.01f, v = static_cast<float>(y) * 0.013f, k = static_cast<float>(c);
    const float grain = unitFloat(hashBits(x, hashBits(y, c)));
    return clamp01(0.4f + 0.3f * std::sin(u + k) * std::cos(v - k) + (x / 37 + y / 53 + c) % 2 * 0.1f + 0.06f * grain);
}

void images() {
    constexpr std::uint32_t kSize = 4096;
    const struct {
        const char* name;
        PixelFormat format;
        std::uint32_t channels;
        PixelFormat blocks;
        const char* blockName;
    } formats[] = {{"8 bits", PixelFormat::Byte, 4, PixelFormat::Bc7, "BC7"},
                   {"8 bits RGB", PixelFormat::Byte, 3, PixelFormat::Bc1, "BC1"},
                   {"half", PixelFormat::Half, 4, PixelFormat::Bc6h, "BC6H"},
                   {"float", PixelFormat::Float, 4, PixelFormat::Float, nullptr}};
    for (const auto& f : formats) {
        const std::size_t bytes = std::size_t{kSize} * kSize * f.channels * channelBytes(f.format);
        const auto memory = allocatePixels(bytes);
        withFormat(f.format, [&](auto kind) {
            auto* to = reinterpret_cast<typename decltype(kind)::Stored*>(memory.get());
            for (std::uint32_t i = 0; i < kSize * kSize; ++i) {
                for (std::uint32_t c = 0; c < f.channels; ++c) {
                    *to++ = decltype(kind)::store(patternAt(i % kSize, i / kSize, c));
                }
            }
        });
        const auto measure = [&](const char* name, const ImageTexture& image) {
            ImageLookup lookup;
            lookup.gamma = plainFormat(image.format()) == PixelFormat::Byte ? 2.2f : 1.0f;
            lookup.image = std::make_shared<ImageTexture>(image);
            const auto start = std::chrono::steady_clock::now();
            lookup.pyramid = makePyramid(*lookup.image, lookup.gamma);
            std::printf("coarser levels of %u by %u, %s: %.0f ms\n", kSize, kSize, name, seconds(start) * 1e3);
            lookup.table = makeDecodeTable(image.format(), lookup.gamma);
            lookupsIn(name, lookup);
        };
        const ImageTexture plain(kSize, kSize, f.channels, f.format, memory.get(), bytes, memory);
        measure(f.name, plain);
        if (!f.blockName) continue;
        const auto start = std::chrono::steady_clock::now();
        const ImageTexture blocks = compressImage(plain, f.blocks);
        std::printf("%u by %u pixels, %s, to %s: %.0f ms, %.1f to %.1f MB\n", kSize, kSize, f.name, f.blockName,
                    seconds(start) * 1e3, static_cast<double>(bytes) * 1e-6,
                    static_cast<double>(blocks.bytes()) * 1e-6);
        measure(f.blockName, blocks);
    }
}

void compiling() {
    constexpr int kMaterials = 1000;
    Scene scene(8, 8, 1);
    std::vector<NodeRecordPtr> materials;
    MeshData quads;
    NodeRecordPtr value;
    const NodeRecordPtr noise = scene.keep(Node(NT_TEX_NOISE));
    for (int i = 0; i < kMaterials; ++i) {
        value = scene.keep(rgb({0.1f, 0.2f, static_cast<float>(i) * 0.001f}));
        const NodeRecordPtr mixed =
            scene.keep(Node(NT_TEX_MIX).connect(P_TEXTURE1, value).connect(P_TEXTURE2, noise).set(P_AMOUNT, 0.3f));
        const NodeRecordPtr corrected = scene.keep(Node(NT_TEX_COLORCORRECTION).connect(P_TEXTURE, mixed));
        materials.push_back(scene.keep(Node(NT_MAT_GLOSSY).connect(P_DIFFUSE, corrected)));
        const float x = static_cast<float>(i);
        quads.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, i);
    }
    SceneCompiler compiler([](const std::string&) {});
    SceneDelta delta = scene.delta(scene.keep(quads.node(materials)));
    const BuildResult first = compiler.apply(delta);
    const auto described = compiler.counters().texturesDescribed;
    std::printf("first build of %d materials, 4 textures each: %.1f ms (%llu textures described)\n", kMaterials,
                first.seconds * 1e3, static_cast<unsigned long long>(described));
    double sum = 0;
    constexpr int kEdits = 20;
    for (int i = 0; i < kEdits; ++i) {
        delta.changed = {Node(value).set(A_VALUE, Float3{0.3f, 0.01f * static_cast<float>(i), 0.5f})};
        sum += compiler.apply(delta).seconds;
    }
    std::printf("build after one value: %.2f ms (%.1f textures described)\n", sum / kEdits * 1e3,
                static_cast<double>(compiler.counters().texturesDescribed - described) / kEdits);
}

std::uint64_t residentBytes() {
    std::uint64_t total = 0, pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

/// A hundred JPEG files of 4096 by 4096 pixels in a folder that goes with the object.
class LargeImages {
public:
    static constexpr int kCount = 100, kSize = 4096;

    LargeImages() : folder_(std::filesystem::temp_directory_path() / ("lumora_bench_" + std::to_string(getpid()))) {
        std::filesystem::create_directory(folder_);
        OIIO::ImageSpec plan(kSize, kSize, 3, OIIO::TypeDesc::UINT8);
        plan.attribute("Compression", "jpeg:85");
        std::vector<unsigned char> pixels;
        for (std::uint32_t i = 0; i < kSize * kSize; ++i) {
            for (std::uint32_t c = 0; c < 3; ++c) {
                pixels.push_back(static_cast<unsigned char>(255.0f * patternAt(i % kSize, i / kSize, c)));
            }
        }
        const auto file = OIIO::ImageOutput::create("jpeg");
        if (file && file->open(path(0), plan)) file->write_image(OIIO::TypeDesc::UINT8, pixels.data());
        if (file) file->close();
        for (int i = 1; i < kCount; ++i) std::filesystem::copy_file(path(0), path(i));
    }
    ~LargeImages() {
        std::error_code error;
        std::filesystem::remove_all(folder_, error);
    }
    std::string path(int i) const { return folder_ / (std::to_string(i) + ".jpg"); }

private:
    std::filesystem::path folder_;
};

/// A hundred large images where there is room for 1 GB.
void limit() {
    const LargeImages files;
    constexpr std::uint64_t kLimit = 1u << 30;
    ImageStore store;
    store.setLimit(kLimit);
    int lines = 0;
    const LogFunction log = [&](const std::string& line) {
        if (lines++ == 0) std::printf("first of the log: %s\n", line.c_str());
    };
    std::vector<NodeRecordPtr> nodes;
    for (int i = 0; i < LargeImages::kCount; ++i) nodes.push_back(Node(NT_TEX_IMAGE).set(A_FILENAME, files.path(i)));
    const std::uint64_t before = residentBytes();
    const auto start = std::chrono::steady_clock::now();
    std::vector<ImageLookup> held;
    {
        ImageStore::Deferral deferral(store);
        for (const NodeRecordPtr& node : nodes) store.imageOf(*node, log);
        deferral.load();
    }
    std::uint32_t widest = 0, narrowest = ~0u;
    for (const NodeRecordPtr& node : nodes) {
        ImageLookup lookup;
        lookup.image = store.imageOf(*node, log);
        if (!lookup.image) continue;
        widest = std::max(widest, lookup.image->width());
        narrowest = std::min(narrowest, lookup.image->width());
        lookup.pyramid = store.pyramidOf(lookup.image, 2.2f);
        held.push_back(lookup);
    }
    std::printf(
        "100 pictures in 1.07 GB: read in %.1f s, %.2f GB told, %.2f GB more resident, %zu held, %u to %u pixels "
        "wide, %d lines in the log\n",
        seconds(start), static_cast<double>(store.bytes()) * 1e-9, static_cast<double>(residentBytes() - before) * 1e-9,
        held.size(), narrowest, widest, lines);
}

/// Ten by ten boxes on a floor under an even sky, each with a picture of its own or the grey of its mean.
void scene() {
    const LargeImages files;
    std::printf("a JPEG of %d by %d pixels: %.1f MB\n", LargeImages::kSize, LargeImages::kSize,
                static_cast<double>(std::filesystem::file_size(files.path(0))) * 1e-6);
    const struct {
        const char* name;
        int import;
    } kinds[] = {{"grey", 0}, {"100 pictures", -1}, {"100 pictures as BC1", 3}};
    for (const auto& kind : kinds) {
        constexpr unsigned kWidth = 960, kHeight = 540;
        constexpr int kSamples = 8;
        Scene scene(kWidth, kHeight, kSamples);
        scene.environment(splat(1.0f));
        scene.camera.set(P_POSITION, Float3{14, 9, 14}).set(P_TARGET, Float3{4.5f, 0, 4.5f}).set(P_FOV, 42.0f);
        std::vector<NodeRecordPtr> materials{scene.diffuse(splat(0.4f))};
        MeshData boxes;
        boxes.quad({-20, 0, 30}, {30, 0, 30}, {30, 0, -20}, {-20, 0, -20}, 0);
        for (int i = 0; i < LargeImages::kCount; ++i) {
            NodeRecordPtr color = rgb(splat(0.2f));
            if (kind.import != 0) {
                color = Node(NT_TEX_IMAGE)
                            .set(A_FILENAME, files.path(i))
                            .set(A_IMAGE_IMPORT, kind.import)
                            .set(P_POWER, 1.0f);
            }
            materials.push_back(scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, scene.keep(color))));
            const float x = static_cast<float>(i % 10), z = static_cast<float>(i / 10);
            boxes.box({x, 0, z}, {x + 0.7f, 0.7f, z + 0.7f}, i + 1);
        }
        const SceneDelta delta = scene.delta(scene.keep(boxes.node(materials)));
        const std::uint64_t before = residentBytes();
        {
            SceneCompiler compiler(nullptr);
            const BuildResult built = compiler.apply(delta);
            std::printf("%s: built in %.2f s, %.2f GB of images, %.2f GB more resident\n", kind.name, built.seconds,
                        static_cast<double>(compiler.counters().imageBytes) * 1e-9,
                        static_cast<double>(residentBytes() - before) * 1e-9);
        }
        for (const unsigned threads : {1u, 2u}) {
            Render render(threads);
            render.picture(delta);
            std::printf("%s, %u threads: %.3f million samples a second\n", kind.name, threads,
                        render.renderer().statistics(RP_BEAUTY).samplesPerSecond * 1e-6);
        }
    }
}

constexpr Bench kBenches[] = {
    {"lookups", "one lookup of a texture of each kind", lookups},
    {"images", "image lookups, coarser levels, compression", images},
    {"compiling", "1,000 materials with their textures", compiling},
    {"limit", "100 large images where there is room for a sixth of them", limit},
    {"scene", "a scene of 100 large images: load time, memory, samples a second", scene},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
