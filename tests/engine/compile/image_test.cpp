// What images read as, what is refused, and that no file brings the program down.
#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <functional>
#include <random>

#include "engine/compile/image_formats.h"
#include "engine/compile/image_loader.h"
#include "engine/compile/scene_compiler.h"
#include "tests/engine/compile/image_samples.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

PngSample png(unsigned type, unsigned depth, FileData values) {
    PngSample sample;
    sample.colourType = type;
    sample.depth = depth;
    sample.values = std::move(values);
    return sample;
}

FileData pngWith(PngSample sample, const std::function<void(PngSample&)>& change) {
    change(sample);
    return makePng(sample);
}

FileData repeated(const FileData& data, std::size_t count) {
    FileData all;
    for (std::size_t i = 0; i < count; ++i) all.insert(all.end(), data.begin(), data.end());
    return all;
}

const std::string kHdrHeader = "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n";

TEST(Image, EveryKindOfPixelReadsAsWhatItShows) {
    struct Case {
        const char* name;
        FileData file;
        Float3 colour;
        float alpha;
        std::uint32_t channels;
        PixelFormat format;
        float tolerance = 1e-6f;
    };
    const Float3 rgb{200 / 255.0f, 100 / 255.0f, 50 / 255.0f};
    const FileData hdrPixel{128, 64, 32, 129};
    const std::vector<Case> cases = {
        {"PNG RGB", makePng(png(2, 8, {200, 100, 50})), rgb, 1, 3, PixelFormat::Byte},
        {"PNG RGBA keeps its colour", makePng(png(6, 8, {200, 100, 50, 51})), rgb, 0.2f, 4, PixelFormat::Byte},
        {"PNG grey", makePng(png(0, 8, {100})), splat(100 / 255.0f), 1, 1, PixelFormat::Byte},
        {"PNG grey and alpha", makePng(png(4, 8, {100, 51})), splat(100 / 255.0f), 0.2f, 2, PixelFormat::Byte},
        {"PNG one bit", makePng(png(0, 1, {0x80})), splat(1.0f), 1, 1, PixelFormat::Byte},
        {"PNG 16 bits",
         makePng(png(2, 16, {0x12, 0x34, 0x80, 0, 0, 1})),
         {0x1234 / 65535.0f, 0x8000 / 65535.0f, 1 / 65535.0f},
         1,
         3,
         PixelFormat::Word},
        {"PNG palette", pngWith(png(3, 8, {1}), [](PngSample& p) { p.palette = {0, 0, 0, 200, 100, 50}; }), rgb, 1, 3,
         PixelFormat::Byte},
        {"PNG palette with alpha",
         pngWith(png(3, 8, {1}),
                 [](PngSample& p) {
                     p.palette = {0, 0, 0, 200, 100, 50};
                     p.transparency = {255, 51};
                 }),
         rgb, 0.2f, 4, PixelFormat::Byte},
        {"PNG with a gamma and a broken profile",
         pngWith(png(2, 8, {200, 100, 50}),
                 [](PngSample& p) {
                     p.chunks = pngChunk("gAMA", {0, 0, 0x27, 0x10});
                     const FileData icc = pngChunk("iCCP", {'x', 0, 0, 1, 2});
                     p.chunks.insert(p.chunks.end(), icc.begin(), icc.end());
                 }),
         rgb, 1, 3, PixelFormat::Byte},
        {"JPEG RGB", makeJpeg(16, 16, JpegKind::Rgb, {200, 100, 50}), rgb, 1, 3, PixelFormat::Byte, 0.012f},
        {"JPEG progressive", makeJpeg(40, 9, JpegKind::Progressive, {200, 100, 50}), rgb, 1, 3, PixelFormat::Byte,
         0.012f},
        {"JPEG grey", makeJpeg(3, 5, JpegKind::Grey, {100}), splat(100 / 255.0f), 1, 1, PixelFormat::Byte, 0.012f},
        {"JPEG CMYK", makeJpeg(8, 8, JpegKind::CmykPlain, {55, 155, 205, 0}), rgb, 1, 3, PixelFormat::Byte, 0.012f},
        {"JPEG CMYK of Adobe", makeJpeg(8, 8, JpegKind::CmykAdobe, {200, 100, 50, 255}), rgb, 1, 3, PixelFormat::Byte,
         0.012f},
        {"EXR half",
         makeExr(3, 2, {{{"R", "G", "B"}, {0.5f, 2.0f, 0.25f}}}),
         {0.5f, 2, 0.25f},
         1,
         3,
         PixelFormat::Half},
        {"EXR float, tiles",
         makeExr(40, 50, {{.channels = {"R", "G", "B", "A"}, .pixel = {0.1f, 2, 3, 0.5f}, .half = false, .tile = 16}}),
         {0.1f, 2, 3},
         0.5f,
         4,
         PixelFormat::Float},
        {"EXR grey", makeExr(2, 2, {{{"Y"}, {0.75f}}}), splat(0.75f), 1, 1, PixelFormat::Half},
        {"EXR two colours", makeExr(2, 2, {{{"R", "G"}, {0.5f, 0.25f}}}), {0.5f, 0.25f, 0}, 1, 3, PixelFormat::Half},
        {"EXR layer beside depth",
         makeExr(2, 2, {{{"Z", "a.B", "a.G", "a.R"}, {9, 3, 2, 1}}}),
         {1, 2, 3},
         1,
         3,
         PixelFormat::Half},
        {"EXR depth only", makeExr(2, 2, {{{"Z"}, {9}}}), splat(9.0f), 1, 1, PixelFormat::Half},
        {"EXR in parts",
         makeExr(2, 2, {{{"R", "G", "B"}, {1, 2, 3}}, {{"R", "G", "B"}, {4, 5, 6}}}),
         {1, 2, 3},
         1,
         3,
         PixelFormat::Half},
        {"EXR of no numbers",
         makeExr(1, 1, {{{"R", "G", "B"}, {NAN, INFINITY, 1}}}),
         {0, 65504, 1},
         1,
         3,
         PixelFormat::Half},
        {"HDR one by one", makeHdr(kHdrHeader + "-Y 1 +X 1\n", hdrPixel), {1, 0.5f, 0.25f}, 1, 3, PixelFormat::Float},
        {"HDR in planes",
         makeHdr(kHdrHeader + "-Y 1 +X 9\n", {2, 2, 0, 9, 137, 128, 137, 64, 137, 32, 1, 129, 136, 129}),
         {1, 0.5f, 0.25f},
         1,
         3,
         PixelFormat::Float},
        {"HDR with repeats",
         makeHdr(kHdrHeader + "-Y 1 +X 4\n", {128, 64, 32, 129, 1, 1, 1, 3}),
         {1, 0.5f, 0.25f},
         1,
         3,
         PixelFormat::Float},
        {"PNG of one long row",
         pngWith(png(2, 8, repeated({200, 100, 50}, 30000)), [](PngSample& p) { p.width = 30000; }), rgb, 1, 3,
         PixelFormat::Byte},
    };
    for (const Case& c : cases) {
        const SampleFile file("misnamed.tif", c.file);  // content decides
        std::string why;
        testing::internal::CaptureStderr();
        const ImageTexturePtr image = readImageFile(file.path(), ImageImport::AsStored, why);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << c.name;
        ASSERT_TRUE(image) << c.name << ": " << why;
        EXPECT_EQ(image->channels(), c.channels) << c.name;
        EXPECT_EQ(image->format(), c.format) << c.name;
        for (const std::uint32_t x : {0u, image->width() - 1}) {
            const Rgba pixel = image->texel(x, image->height() - 1);
            EXPECT_NEAR(pixel.color.x, c.colour.x, c.tolerance) << c.name;
            EXPECT_NEAR(pixel.color.y, c.colour.y, c.tolerance) << c.name;
            EXPECT_NEAR(pixel.color.z, c.colour.z, c.tolerance) << c.name;
            EXPECT_NEAR(pixel.alpha, c.alpha, 1e-6f) << c.name;
        }
    }
}

TEST(Image, WindowsAndDirectionsPutPixelsWhereTheyBelong) {
    const auto read = [](const FileData& data) {
        const SampleFile file("a", data);
        std::string why;
        const ImageTexturePtr image = readImageFile(file.path(), ImageImport::AsStored, why);
        EXPECT_TRUE(image) << why;
        return image;
    };
    // Two by two pixels in the middle of a display window of four by four, and all around one of one pixel.
    ExrPart part{.channels = {"R", "G", "B"}, .pixel = {1, 1, 1}};
    part.fullX = part.fullY = -1;
    part.fullWidth = part.fullHeight = 4;
    const ImageTexturePtr inside = read(makeExr(2, 2, {part}));
    ASSERT_EQ(inside->width(), 4u);
    for (std::uint32_t i = 0; i < 16; ++i) {
        const bool middle = (i % 4 == 1 || i % 4 == 2) && (i / 4 == 1 || i / 4 == 2);
        EXPECT_EQ(inside->texel(i % 4, i / 4).color.x, middle ? 1.0f : 0.0f) << i;
    }
    part.fullX = part.fullY = part.fullWidth = part.fullHeight = 1;
    EXPECT_EQ(read(makeExr(3, 3, {part}))->width(), 1u);

    // Red then blue, in every order in which a file may tell its pixels.
    const FileData pixels{128, 0, 0, 129, 0, 0, 128, 129};
    struct Case {
        const char* size;
        std::uint32_t width, redX, redY;
    };
    for (const Case& c : {Case{"-Y 1 +X 2", 2, 0, 0}, Case{"-Y 1 -X 2", 2, 1, 0}, Case{"-Y 2 +X 1", 1, 0, 0},
                          Case{"+Y 2 +X 1", 1, 0, 1}, Case{"+X 2 -Y 1", 2, 0, 0}, Case{"-X 2 +Y 1", 2, 1, 0},
                          Case{"+X 1 +Y 2", 1, 0, 1}, Case{"-X 1 -Y 2", 1, 0, 0}}) {
        const ImageTexturePtr image = read(makeHdr(kHdrHeader + c.size + "\n", pixels));
        ASSERT_EQ(image->width(), c.width) << c.size;
        EXPECT_EQ(image->texel(c.redX, c.redY).color.x, 1.0f) << c.size;
    }
}

TEST(Image, BrokenAndAbsurdFilesAreRefusedWithTheReason) {
    const FileData goodPng = makePng(png(2, 8, {200, 100, 50})),
                   goodJpeg = makeJpeg(64, 64, JpegKind::Rgb, {9, 99, 200}),
                   goodExr = makeExr(32, 32, {{{"R", "G", "B"}, {1, 2, 3}}});
    const auto cut = [](const FileData& data, std::size_t less) { return FileData(data.begin(), data.end() - less); };
    const auto sized = [](std::uint32_t width) {
        return pngWith(png(2, 8, {1, 2, 3}), [=](PngSample& p) { p.width = width; });
    };
    const auto patched = [](FileData data, std::size_t at, const FileData& bytes) {
        std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(at));
        return data;
    };
    // The frame header's height and width: after the marker, its length and the precision.
    const auto frame = [&](const FileData& size) {
        for (std::size_t i = 0; i + 9 < goodJpeg.size(); ++i) {
            if (goodJpeg[i] == 0xff && goodJpeg[i + 1] == 0xc0) return patched(goodJpeg, i + 5, size);
        }
        return FileData();
    };
    struct Case {
        const char* name;
        FileData file;
        const char* reason;
    };
    const std::vector<Case> cases = {
        {"empty", {}, "empty"},
        {"text", {'h', 'e', 'l', 'l', 'o'}, "neither PNG"},
        {"TIFF", {'I', 'I', 42, 0, 8, 0, 0, 0}, "neither PNG"},
        {"PNG without its end", cut(goodPng, 1), "cut off"},
        {"PNG of its first bytes", {goodPng.begin(), goodPng.begin() + 8}, "cut off"},
        {"PNG wider than it holds", sized(60000), "less than its size"},
        {"PNG too wide", sized(70000), "out of range"},
        {"PNG without width", sized(0), "out of range"},
        {"PNG with a wrong sum", patched(goodPng, goodPng.size() - 16, {1, 2, 3}), "broken"},
        {"JPEG cut off", cut(goodJpeg, 20), "cut off"},
        {"JPEG of its header", {goodJpeg.begin(), goodJpeg.begin() + 100}, "cut off"},
        {"JPEG larger than it holds", frame({0x70, 0, 0x70, 0}), "less than its size"},
        {"JPEG of no size", frame({0, 0, 0, 0}), "broken"},
        {"EXR cut off", cut(goodExr, 1), "cut off"},
        {"EXR of its header", {goodExr.begin(), goodExr.begin() + 100}, "cut off"},
        {"EXR deep", makeExr(2, 2, {{.channels = {"R"}, .half = false, .deep = true}}), "deep"},
        {"HDR without size", makeHdr(kHdrHeader + "\n", {}), "size"},
        {"HDR of negative size", makeHdr(kHdrHeader + "-Y -4 +X 4\n", {}), "size"},
        {"HDR cut off", makeHdr(kHdrHeader + "-Y 1 +X 4\n", {1, 2, 3, 4, 5, 6, 7, 8}), "cut off"},
        {"HDR larger than it holds", makeHdr(kHdrHeader + "-Y 9000 +X 9000\n", {1, 2, 3, 4}), "less than its size"},
        {"HDR of XYZ", makeHdr("#?RADIANCE\nFORMAT=32-bit_rle_xyze\n\n-Y 1 +X 1\n", {1, 2, 3, 4}), "not red"},
        {"HDR with a run too long", makeHdr(kHdrHeader + "-Y 1 +X 4\n", {128, 64, 32, 129, 1, 1, 1, 4}), "broken"},
    };
    for (const Case& c : cases) {
        const SampleFile file("broken.png", c.file);
        std::string why;
        testing::internal::CaptureStderr();
        EXPECT_FALSE(readImageFile(file.path(), ImageImport::AsStored, why)) << c.name;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << c.name;
        EXPECT_NE(why.find(c.reason), std::string::npos) << c.name << ": " << why;
    }
    std::string why;
    EXPECT_FALSE(readImageFile("/", ImageImport::AsStored, why));
    EXPECT_FALSE(readImageFile("/no/such/file.png", ImageImport::AsStored, why));
    // A picture of a few bytes that would take all of the memory, in a format that packs as much as it likes.
    EXPECT_THROW(checkImageSize(65536, 65536, 6), ImageFault);
    EXPECT_THROW(MemoryShare(1ull << 60), ImageFault);
}

/// Checksums as they should be, so that what a mutation broke reaches the decoder.
void repairPng(FileData& file) {
    for (std::size_t at = 8; at + 12 <= file.size();) {
        const std::size_t length = std::size_t{file[at]} << 24 | std::size_t{file[at + 1]} << 16 |
                                   std::size_t{file[at + 2]} << 8 | file[at + 3];
        if (length > file.size() - at - 12) return;
        const auto sum = static_cast<std::uint32_t>(crc32(0, file.data() + at + 4, static_cast<uInt>(length + 4)));
        for (std::size_t i = 0; i < 4; ++i) {
            file[at + 8 + length + i] = static_cast<unsigned char>(sum >> (24 - 8 * i));
        }
        at += 12 + length;
    }
}

void mutate(FileData& file, std::mt19937& random) {
    constexpr unsigned char kEdges[] = {0, 1, 0x7f, 0x80, 0xfe, 0xff};
    const auto below = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    for (std::size_t edits = 1 + below(4); edits > 0 && file.size() > 16; --edits) {
        // Headers decide more than pixels.
        const std::size_t range = below(2) ? std::min<std::size_t>(file.size(), 400) : file.size();
        const std::size_t at = below(range);
        const auto here = file.begin() + static_cast<std::ptrdiff_t>(at);
        const auto count = static_cast<std::ptrdiff_t>(std::min(1 + below(16), file.size() - at));
        switch (below(6)) {
            case 0:
                *here = static_cast<unsigned char>(*here ^ (1u << below(8)));
                break;
            case 1:
                *here = kEdges[below(std::size(kEdges))];
                break;
            case 2:
                std::fill_n(here, std::min<std::ptrdiff_t>(count, 4), kEdges[below(std::size(kEdges))]);
                break;
            case 3:
                file.erase(here, here + count);
                break;
            case 4:
                file.insert(here, static_cast<std::size_t>(count), static_cast<unsigned char>(random()));
                break;
            default:
                file.resize(at + 8);
                break;
        }
    }
}

// LUMORA_FUZZ_ROUNDS asks for more rounds than the few of a usual run.
TEST(Image, NoMutatedFileBringsTheReaderDown) {
    FileData noise(32 * 32 * 4);
    std::mt19937 random(7);
    for (unsigned char& byte : noise) byte = static_cast<unsigned char>(random());
    const FileData hdrLine = repeated({128, 64, 32, 129, 12, 200, 7, 130}, 16);
    PngSample rgba = png(6, 8, noise), palette = png(3, 4, {noise.begin(), noise.begin() + 16 * 32});
    rgba.width = rgba.height = palette.width = palette.height = 32;
    palette.palette = repeated({1, 2, 3}, 16);
    palette.transparency = {1, 2, 3};
    std::vector<FileData> seeds = {
        makePng(rgba),
        makePng(palette),
        makeJpeg(33, 17, JpegKind::Rgb, {200, 100, 50}),
        makeJpeg(33, 17, JpegKind::Progressive, {200, 100, 50}),
        makeJpeg(9, 9, JpegKind::CmykAdobe, {200, 100, 50, 3}),
        makeHdr(kHdrHeader + "-Y 4 +X 8\n", hdrLine),
        makeHdr(kHdrHeader + "-Y 1 +X 9\n", {2, 2, 0, 9, 137, 128, 137, 64, 137, 32, 1, 129, 136, 129}),
    };
    for (const char* compression : {"none", "rle", "zip", "zips", "piz", "pxr24", "b44", "b44a", "dwaa", "dwab"}) {
        seeds.push_back(makeExr(40, 33,
                                {{.channels = {"R", "G", "B", "A"},
                                  .pixel = {1, 0.5f, 2, 1},
                                  .half = std::strcmp(compression, "zip") != 0,
                                  .tile = std::strcmp(compression, "piz") == 0 ? 16 : 0,
                                  .compression = compression}}));
    }
    seeds.push_back(makeExr(8, 8, {{{"R", "G", "B"}, {1, 2, 3}}, {{"Z"}, {4}}}));
    const char* asked = std::getenv("LUMORA_FUZZ_ROUNDS");
    const int rounds = asked ? std::atoi(asked) : 25;
    const char* seedText = std::getenv("LUMORA_FUZZ_SEED");
    random.seed(seedText ? static_cast<unsigned>(std::atoi(seedText)) : 1u);
    const SampleFile file("mutated", {});
    int shown = 0;
    testing::internal::CaptureStderr();
    for (int round = 0; round < rounds; ++round) {
        for (const FileData& seed : seeds) {
            FileData data = seed;
            mutate(data, random);
            if (&seed < &seeds[2]) repairPng(data);
            file.write(data);
            std::string why;
            const ImageTexturePtr image = readImageFile(file.path(), ImageImport::AsStored, why);
            shown += image != nullptr;
            EXPECT_TRUE(image || !why.empty());
            if (!image) continue;
            EXPECT_TRUE(std::isfinite(image->texel(image->width() - 1, image->height() - 1).color.x));
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_GT(shown, 0);
}

NodeRecordPtr fileImage(Scene& scene, const std::string& path, int import = -1) {
    Node node(NT_TEX_IMAGE);
    node.set(A_FILENAME, path).set(A_IMAGE_IMPORT, import);
    return scene.keep(node);
}

NodeRecordPtr shown(Scene& scene, const NodeRecordPtr& texture) {
    return scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
}

TEST(Image, OneFileIsOneImageForEachImportType) {
    const SampleFile wide(
        "a.exr", makeExr(8, 4, {{.channels = {"R", "G", "B", "A"}, .pixel = {0.1f, 0.2f, 0.3f, 0.5f}, .half = false}}));
    const SampleFile small("b.png", makePng(png(6, 16, {1, 2, 3, 4, 5, 6, 7, 8})));
    const SampleFile broken("c.png", {1, 2, 3});
    Scene scene(8, 8, 1);
    NodeRecordPtr unreadable;
    std::vector<NodeRecordPtr> materials;
    for (int copy = 0; copy < 3; ++copy) {
        for (const int import : {-1, 1, 2, 8}) materials.push_back(shown(scene, fileImage(scene, wide.path(), import)));
        for (const int import : {-1, 3, 4, 9})
            materials.push_back(shown(scene, fileImage(scene, small.path(), import)));
        unreadable = fileImage(scene, broken.path());
        materials.push_back(shown(scene, unreadable));
    }
    MeshData quads;
    for (int i = 0; i < static_cast<int>(materials.size()); ++i) {
        const float x = static_cast<float>(i);
        quads.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, i);
    }
    std::vector<std::string> log;
    SceneCompiler compiler([&](const std::string& line) { log.push_back(line); });
    const NodeRecordPtr mesh = scene.keep(quads.node(materials));
    const RenderScenePtr built = compiler.apply(scene.delta(mesh)).scene;
    EXPECT_EQ(compiler.counters().textures, 8u);
    // 32 pixels and 8, 2 and 1 of the coarser levels: RGBA as stored and as asked for in floats and in halves; two
    // blocks and small levels of RGB halves; then one pixel each, for which a block would be too much.
    EXPECT_EQ(compiler.counters().imageBytes, (32u + 8 + 2 + 1) * (16 + 16 + 8) + 32 + (8 + 2 + 1) * 6 + 8 + 3 + 4 + 4);
    ASSERT_EQ(log.size(), 1u) << "a file that cannot be read is told once";
    EXPECT_NE(log[0].find("neither"), std::string::npos);

    // A build that changes nothing reads nothing and says nothing; one that is told of a mended file reads it.
    SceneDelta delta = scene.delta(mesh, 2);
    compiler.apply(delta);
    EXPECT_EQ(log.size(), 1u);
    broken.write(makePng(png(2, 8, {1, 2, 3})));
    auto told = std::make_shared<NodeRecord>(*unreadable);
    ++told->reloads;
    delta.changed = {told};
    compiler.apply(delta);
    EXPECT_EQ(compiler.counters().textures, 9u);
    EXPECT_EQ(log.size(), 1u);
}

TEST(Image, PixelsOfANodeAreUsedWhereTheyLie) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr bytes = scene.keep(image(1, 1, std::vector<unsigned char>{1, 2, 3, 4}));
    const NodeRecordPtr odd = scene.keep(image(1, 1, std::vector<float>{NAN, INFINITY, 0.5f, 1}));
    ImageStore store;
    std::string log;
    const LogFunction note = [&](const std::string& line) { log += line; };
    const ImageTexturePtr image = store.imageOf(*bytes, note);
    const long users = bytes->attributeValue<SharedArray<unsigned char>>(A_BUFFER, nullptr).use_count();
    EXPECT_GE(users, 3) << "the record, this copy and the image";
    EXPECT_EQ(store.imageOf(*bytes, note), image);
    EXPECT_EQ(log, "");
    const ImageTexturePtr mended = store.imageOf(*odd, note);
    EXPECT_EQ(mended->texel(0, 0).color.x, 0.0f);
    EXPECT_TRUE(std::isfinite(mended->texel(0, 0).color.y));
    EXPECT_NE(log.find("finite"), std::string::npos);
    EXPECT_EQ(store.bytes(), 4u + 16u);
}

TEST(Image, WhatDoesNotFitIsHeldSmaller) {
    const SampleFile large("large.exr", makeExr(128, 128, {{.channels = {"R", "G", "B"}, .pixel = {1, 2, 3}}}));
    const SampleFile small("small.exr", makeExr(64, 64, {{.channels = {"Y"}, .pixel = {0.5f}}}));
    for (const bool together : {false, true}) {
        ImageStore store;
        store.setLimit(64 * 1024);
        std::string log;
        const LogFunction note = [&](const std::string& line) { log += line + "\n"; };
        const NodeRecordPtr a = Node(NT_TEX_IMAGE).set(A_FILENAME, large.path());
        const NodeRecordPtr b = Node(NT_TEX_IMAGE).set(A_FILENAME, small.path());
        if (together) {
            ImageStore::Deferral deferral(store);
            store.imageOf(*a, note);
            store.imageOf(*b, note);
            EXPECT_TRUE(deferral.load());
        }
        const ImageTexturePtr half = store.imageOf(*a, note), whole = store.imageOf(*b, note);
        ASSERT_TRUE(half && whole);
        EXPECT_EQ(half->width(), 64u) << "128 by 128 times three halves are 96 KiB";
        EXPECT_EQ(half->texel(5, 5).color, (Float3{1, 2, 3}));
        EXPECT_EQ(whole->width(), 64u) << "the largest goes first";
        EXPECT_EQ(store.imageOf(*a, note), half);
        EXPECT_NE(log.find("1/2 of its resolution"), std::string::npos);
        EXPECT_EQ(log.find("resolution"), log.rfind("resolution")) << "told once";
        const ImageKinds kinds = store.kinds();
        EXPECT_EQ(kinds.color16, 1u);
        EXPECT_EQ(kinds.grey16, 1u);
        EXPECT_EQ(kinds.color8 + kinds.grey8, 0u);
    }
}

TEST(Image, FilesAreReadAgainWhenTheyChangeOrANodeAsks) {
    const SampleFile file("a.png", makePng(png(2, 8, {10, 20, 30})));
    ImageStore store;
    const LogFunction quiet;
    const Node node = Node(NT_TEX_IMAGE).set(A_FILENAME, file.path());
    NodeRecord record = *NodeRecordPtr(node);
    const auto red = [&](const ImageTexturePtr& image) { return image->texel(0, 0).color.x * 255.0f; };
    const ImageTexturePtr first = store.imageOf(record, quiet);
    EXPECT_NEAR(red(first), 10.0f, 1e-3f);
    EXPECT_EQ(store.imageOf(record, quiet), first);
    // The same size and the same time: nothing tells that it is another.
    const auto time = std::filesystem::last_write_time(file.path());
    file.write(makePng(png(2, 8, {50, 20, 30})));
    std::filesystem::last_write_time(file.path(), time);
    EXPECT_EQ(store.imageOf(record, quiet), first);
    ++record.reloads;
    const ImageTexturePtr second = store.imageOf(record, quiet);
    EXPECT_NEAR(red(second), 50.0f, 1e-3f);
    EXPECT_EQ(store.imageOf(record, quiet), second) << "asked for once";
    std::filesystem::last_write_time(file.path(), time + std::chrono::seconds(1));
    EXPECT_NE(store.imageOf(record, quiet), second);
}

TEST(Image, WhatIsInMemoryMakesRoomForMore) {
    const auto square = [](float v) { return makeExr(128, 128, {{.channels = {"R", "G", "B"}, .pixel = {v, v, v}}}); };
    const SampleFile first("first.exr", square(0.5f)), second("second.exr", square(0.25f));
    ImageStore store;
    store.setLimit(140 * 1024);  // an image and its levels take 128 KiB
    std::string log;
    const LogFunction note = [&](const std::string& line) { log += line + "\n"; };
    const auto loaded = [&](const std::vector<const SampleFile*>& files) {
        std::vector<ImageTexturePtr> images;
        ImageStore::Deferral deferral(store);
        for (const bool now : {false, true}) {
            images.clear();
            for (const SampleFile* file : files) {
                const NodeRecordPtr node = Node(NT_TEX_IMAGE).set(A_FILENAME, file->path());
                images.push_back(store.imageOf(*node, note));
            }
            if (!now) deferral.load();
        }
        return images;
    };
    std::vector<ImageTexturePtr> before = loaded({&first});
    EXPECT_EQ(before[0]->width(), 128u);
    EXPECT_EQ(log, "");
    std::vector<ImageTexturePtr> after = loaded({&first, &second});
    ASSERT_TRUE(after[0] && after[1]);
    EXPECT_TRUE(store.takeReplaced());
    for (const ImageTexturePtr& image : after) EXPECT_EQ(image->width(), 64u);
    EXPECT_EQ(after[0]->texel(3, 3).color.x, 0.5f);
    EXPECT_NE(log.find("first.exr\": it is shown at 1/2 of its resolution"), std::string::npos) << log;
    EXPECT_NE(log.find("second.exr\": it is shown at 1/2 of its resolution"), std::string::npos) << log;
    // What the scene before still shows is counted for as long as it does.
    constexpr std::uint64_t kWhole = 128 * 128 * 3 * 2;
    EXPECT_EQ(store.bytes(), kWhole + 2 * kWhole / 4);
    before.clear();
    store.sweep();
    EXPECT_EQ(store.bytes(), 2 * kWhole / 4);
}

TEST(Image, ColoursAreDecodedExactlyAndDataIsNot) {
    // Curve of IEC 61966-2-1 at a few values, in double precision.
    const auto exact = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    for (const unsigned value : {0u, 5u, 11u, 100u, 188u, 255u}) {
        const auto b = static_cast<unsigned char>(value);
        const SampleFile byte("a.png", makePng(png(2, 8, {b, b, b}))),
            word("b.png", makePng(png(2, 16, {b, b, b, b, b, b})));
        for (const SampleFile* file : {&byte, &word}) {
            for (const float gamma : {2.2f, 1.0f}) {
                Scene scene(8, 8, 1);
                Node node(NT_TEX_IMAGE);
                node.set(A_FILENAME, file->path()).set(P_GAMMA, gamma).set(P_POWER, 1.0f);
                const NodeRecordPtr texture = scene.keep(node);
                const NodeRecordPtr mesh =
                    scene.keep(MeshData().quad({}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}).node({shown(scene, texture)}));
                SceneCompiler compiler(nullptr);
                const RenderScenePtr built = compiler.apply(scene.delta(mesh)).scene;
                const Shading& shading = *built->shading;
                const Material& material = shading.materials[shading.slotMaterials[0]];
                const double wanted = gamma == 1.0f ? value / 255.0 : exact(value / 255.0);
                EXPECT_NEAR(material.albedo.color(shading.textures, {}).y, wanted, 1e-6) << value << " " << gamma;
            }
        }
    }
}

}  // namespace
}  // namespace Lumora::engine::test
