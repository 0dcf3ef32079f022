#include "host/sdk/bitmap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>

#include "host/io/image_codec.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

BaseBitmap pattern(PixelFormat format, Int32 width = 37, Int32 height = 23) {
    BaseBitmap bitmap;
    EXPECT_EQ(bitmap.Init(width, height, format), ImageResult::Ok);
    for (Int32 y = 0; y < height; ++y) {
        for (Int32 x = 0; x < width; ++x) bitmap.SetPixel(x, y, x * 6, y * 10, 255 - x);
    }
    return bitmap;
}

TEST(Bitmap, WhatIsSavedIsReadBackAsItStood) {
    const test::ScratchFolder folder;
    struct Case {
        const char* name;
        PixelFormat format, read;
        Bool exact;
    };
    for (const Case& c : {Case{"a.png", PixelFormat::Rgb8, PixelFormat::Rgb8, true},
                          Case{"b.png", PixelFormat::Rgba8, PixelFormat::Rgba8, true},
                          Case{"c.png", PixelFormat::Rgb16, PixelFormat::Rgb16, true},
                          Case{"d.png", PixelFormat::Gray8, PixelFormat::Gray8, true},
                          Case{"e.png", PixelFormat::RgbFloat, PixelFormat::Rgb8, false},
                          Case{"f.jpg", PixelFormat::Rgba8, PixelFormat::Rgb8, false},
                          Case{"g.exr", PixelFormat::RgbFloat, PixelFormat::RgbFloat, true},
                          Case{"h.exr", PixelFormat::RgbaFloat, PixelFormat::RgbaFloat, true},
                          Case{"i.tif", PixelFormat::RgbFloat, PixelFormat::RgbFloat, true},
                          Case{"j.TIF", PixelFormat::Rgba16, PixelFormat::Rgba16, true}}) {
        const Filename file(folder / c.name);
        const BaseBitmap bitmap = pattern(c.format);
        ASSERT_EQ(bitmap.Save(file), ImageResult::Ok) << bitmap.GetErrorText().c_str();
        BaseBitmap back;
        ASSERT_EQ(back.Init(file), ImageResult::Ok) << c.name << ": " << back.GetErrorText().c_str();
        ASSERT_EQ(back.GetWidth(), 37);
        ASSERT_EQ(back.GetHeight(), 23);
        EXPECT_EQ(back.GetFormat(), c.read) << c.name;
        for (Int32 y = 0; y < 23; ++y) {
            if (c.exact) {
                const PixelLayout layout = layoutOf(c.format);
                const auto bytes = static_cast<std::size_t>(37 * layout.channels * layout.bytes);
                EXPECT_EQ(std::memcmp(back.Row(y), bitmap.Row(y), bytes), 0) << c.name << " row " << y;
            }
            Int32 r = 0, g = 0, b = 0, r2 = 0, g2 = 0, b2 = 0;
            bitmap.GetPixel(20, y, &r, &g, &b);
            back.GetPixel(20, y, &r2, &g2, &b2);
            EXPECT_LE(std::abs(r - r2) + std::abs(g - g2) + std::abs(b - b2), 24) << c.name;
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << "a scratch file was left";
    }
}

TEST(Bitmap, TransparentPixelsKeepTheirColour) {
    const test::ScratchFolder folder;
    BaseBitmap bitmap;
    ASSERT_EQ(bitmap.Init(2, 1, PixelFormat::Rgba8), ImageResult::Ok);
    const UChar pixels[8] = {200, 100, 50, 0, 200, 100, 50, 128};
    std::memcpy(bitmap.Row(0), pixels, sizeof pixels);
    for (const char* name : {"a.png", "a.tif"}) {
        ASSERT_EQ(bitmap.Save(Filename(folder / name)), ImageResult::Ok);
        BaseBitmap back;
        ASSERT_EQ(back.Init(Filename(folder / name)), ImageResult::Ok);
        EXPECT_EQ(std::memcmp(back.Row(0), pixels, sizeof pixels), 0) << name;
    }
}

TEST(Bitmap, WhatCannotBeWrittenIsSaidAndNothingIsLost) {
    const test::ScratchFolder folder;
    const Filename file(folder / "a.png");
    ASSERT_EQ(pattern(PixelFormat::Rgb8).Save(file), ImageResult::Ok);
    std::filesystem::create_directory(folder / "folder.png");
    std::filesystem::create_symlink("/dev/full", folder / "full.png");
    const BaseBitmap large = pattern(PixelFormat::Rgb8, 300, 300);
    for (const char* name : {"full.png", "folder.png", "no/such/folder/a.png", "a.bmpx", "a"}) {
        EXPECT_NE(large.Save(Filename(folder / name)), ImageResult::Ok) << name;
        EXPECT_NE(large.GetErrorText().str().find(name), std::string::npos) << large.GetErrorText().c_str();
    }
    EXPECT_NE(BaseBitmap().Save(file), ImageResult::Ok);
    BaseBitmap back;
    EXPECT_EQ(back.Init(file), ImageResult::Ok);
    EXPECT_EQ(back.GetWidth(), 37);
}

TEST(Bitmap, BrokenAndMissingFilesAreErrors) {
    const test::ScratchFolder folder;
    const auto put = [&](const char* name, const std::string& bytes) {
        std::ofstream(folder / name, std::ios::binary) << bytes;
    };
    const std::string whole = folder / "whole.png";
    ASSERT_EQ(pattern(PixelFormat::Rgb8).Save(Filename(whole)), ImageResult::Ok);
    std::ifstream stream(whole, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
    put("cut.png", bytes.substr(0, bytes.size() / 2));
    put("header.png", bytes.substr(0, 20));
    put("empty.png", "");
    put("random.tga", std::string(1000, '\x55'));
    put("text.tif", "II*\0 but no picture");
    // A header that promises 100,000 by 100,000 pixels.
    put("huge.hdr", "#?RADIANCE\nFORMAT=32-bit_rle_rgbe\n\n-Y 100000 +X 100000\n");
    std::filesystem::create_directory(folder / "folder.png");
    struct Case {
        const char* name;
        ImageResult result;
    };
    for (const Case& c : {Case{"cut.png", ImageResult::WrongFormat}, Case{"header.png", ImageResult::WrongFormat},
                          Case{"empty.png", ImageResult::WrongFormat}, Case{"random.tga", ImageResult::WrongFormat},
                          Case{"text.tif", ImageResult::WrongFormat}, Case{"huge.hdr", ImageResult::TooLarge},
                          Case{"folder.png", ImageResult::NotFound}, Case{"none.png", ImageResult::NotFound}}) {
        BaseBitmap bitmap;
        EXPECT_EQ(bitmap.Init(Filename(folder / c.name)), c.result) << c.name << ": " << bitmap.GetErrorText().c_str();
        EXPECT_NE(bitmap.GetErrorText().str().find(c.name), std::string::npos) << bitmap.GetErrorText().c_str();
        EXPECT_EQ(bitmap.GetWidth(), 0);
        EXPECT_EQ(bitmap.Row(0), nullptr);
    }
    BaseBitmap bitmap;
    EXPECT_EQ(bitmap.Init(70000, 1), ImageResult::TooLarge);
    EXPECT_EQ(bitmap.Init(65536, 65536, PixelFormat::RgbaFloat), ImageResult::TooLarge);
    EXPECT_EQ(bitmap.Init(0, 5), ImageResult::TooLarge);
}

}  // namespace
}  // namespace host
