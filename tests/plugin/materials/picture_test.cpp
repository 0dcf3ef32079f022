// Image files that the engine does not read itself come to it as pixels.
#include <cstring>
#include <filesystem>
#include <fstream>

#include "plugin/materials/image_pixels.h"
#include "tests/plugin/scene_fixture.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {

namespace {

class PictureTest : public SceneTest {
protected:
    std::string path(const char* name) const { return (folder.path() + name).str(); }

    /// A picture of two by one pixels with these channel values, which the host stores as the name asks.
    std::string save(const char* name, PixelFormat format, const std::vector<UChar>& pixels) const {
        BaseBitmap bitmap;
        EXPECT_EQ(bitmap.Init(2, 1, format), ImageResult::Ok);
        std::memcpy(bitmap.Row(0), pixels.data(), pixels.size());
        EXPECT_EQ(bitmap.Save(Filename(path(name))), ImageResult::Ok) << bitmap.GetErrorText().c_str();
        return path(name);
    }
    template <typename T>
    static std::vector<UChar> bytesOf(const std::vector<T>& values) {
        std::vector<UChar> bytes(values.size() * sizeof(T));
        std::memcpy(bytes.data(), values.data(), bytes.size());
        return bytes;
    }
    /// A Targa picture of one pixel; the format has no signature.
    std::string targa(const char* name, UChar r, UChar g, UChar b) const {
        const std::vector<UChar> file{0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 1, 0, 24, 0, b, g, r};
        write(name, file);
        return path(name);
    }
    void write(const char* name, const std::vector<UChar>& data) const {
        std::ofstream stream(path(name), std::ios::binary);
        stream.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    }
    BaseMaterial* textured(const std::string& file, Int32 parameter = MATERIAL_COLOR_SHADER) {
        BaseMaterial* material = addMaterial("Textured", Vector(0.25));
        BaseShader* shader = BaseShader::Alloc(Xbitmap);
        shader->GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, Filename(file));
        material->InsertShader(shader);
        material->GetDataInstance()->SetLink(parameter, shader);
        return material;
    }
    ApiNode* imageOf(BaseMaterial* material) {
        MatLink* link = generate(material);
        ApiNode* node = link->node->connectedNode(P_DIFFUSE);
        return node && node->type() == NT_TEX_IMAGE ? node : nullptr;
    }
    static std::vector<UChar> pixels(const ApiNode* node) {
        const auto array = node->getByteArray(A_BUFFER);
        return {array.begin(), array.end()};
    }
    static std::vector<float> floats(const ApiNode* node) {
        const std::vector<UChar> bytes = pixels(node);
        std::vector<float> values(bytes.size() / sizeof(float));
        std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
        return values;
    }

    ScratchFolder folder;
};

TEST_F(PictureTest, PixelsKeepTheirPrecisionAndEncoding) {
    doc->GetDataInstance()->SetInt32(DOCUMENT_COLORPROFILE, DOCUMENT_COLORPROFILE_SRGB);
    materials.setDocument(doc, nullptr);
    struct Case {
        std::string file;
        int type;
        float gamma;
        std::vector<float> wanted;  ///< the first pixel, as stored
    };
    const std::vector<Case> cases = {
        {save("a.tif", PixelFormat::Rgb8, {1, 2, 3, 4, 5, 6}), 0, 2.2f, {1, 2, 3, 255}},
        {save("b.tif", PixelFormat::Rgba8, {1, 2, 3, 4, 5, 6, 7, 8}), 0, 2.2f, {1, 2, 3, 4}},
        {save("c.tif", PixelFormat::Gray8, {7, 8}), 0, 2.2f, {7, 7, 7, 255}},
        {save("d.tif", PixelFormat::Rgb16, bytesOf<std::uint16_t>({0x1234, 1, 65535, 0, 0, 0})),
         2,
         2.2f,
         {0x1234 / 65535.0f, 1 / 65535.0f, 1, 1}},
        {save("e.tif", PixelFormat::RgbFloat, bytesOf<float>({0.5f, 2, 3, 0, 0, 0})), 2, 1.0f, {0.5f, 2, 3, 1}},
        {targa("f.tga", 10, 20, 30), 0, 2.2f, {10, 20, 30, 255}},
        {targa("misnamed.png", 10, 20, 30), 0, 2.2f, {10, 20, 30, 255}},
    };
    for (const Case& c : cases) {
        const ApiNode* node = imageOf(textured(c.file));
        ASSERT_TRUE(node) << c.file;
        EXPECT_STREQ(node->getString(A_FILENAME), "") << c.file;
        EXPECT_EQ(node->getInt(A_IMAGE_TYPE), c.type) << c.file;
        EXPECT_EQ(node->getPinFloat(P_GAMMA), c.gamma) << c.file;
        const Int2 size = node->getInt2(A_SIZE);
        const std::vector<UChar> bytes = pixels(node);
        ASSERT_EQ(bytes.size(), static_cast<std::size_t>(size.x * size.y * (c.type == 2 ? 16 : 4))) << c.file;
        for (std::size_t i = 0; i < 4; ++i)
            EXPECT_EQ(c.type == 2 ? floats(node)[i] : static_cast<float>(bytes[i]), c.wanted[i]) << c.file << " " << i;
    }
}

TEST_F(PictureTest, FilesThatTheEngineReadsGoByName) {
    struct Case {
        std::string file;
        float gamma;
    };
    doc->GetDataInstance()->SetInt32(DOCUMENT_COLORPROFILE, DOCUMENT_COLORPROFILE_SRGB);
    materials.setDocument(doc, nullptr);
    const std::string exr = save("a.exr", PixelFormat::RgbFloat, bytesOf<float>({1, 2, 3, 4, 5, 6}));
    std::filesystem::copy_file(exr, path("named.tif"));
    for (const Case& c : {Case{save("a.png", PixelFormat::Rgb8, {1, 2, 3, 4, 5, 6}), 2.2f},
                          Case{save("a.jpg", PixelFormat::Rgb8, {1, 2, 3, 4, 5, 6}), 2.2f}, Case{exr, 1.0f},
                          Case{path("named.tif"), 1.0f}}) {
        const ApiNode* node = imageOf(textured(c.file));
        ASSERT_TRUE(node) << c.file;
        EXPECT_EQ(node->getString(A_FILENAME), c.file);
        EXPECT_EQ(node->getArraySize(A_BUFFER), 0u) << c.file;
        EXPECT_EQ(node->getPinFloat(P_GAMMA), c.gamma) << c.file;
    }
}

TEST_F(PictureTest, OnlyAChangedFileIsWrittenAgain) {
    BaseMaterial* material = textured(targa("a.tga", 10, 20, 30));
    const ApiNode* node = imageOf(material);
    ASSERT_TRUE(node);
    std::size_t before = writes();
    imageOf(material);
    EXPECT_EQ(writes(), before);

    targa("a.tga", 11, 20, 30);
    std::filesystem::last_write_time(path("a.tga"),
                                     std::filesystem::last_write_time(path("a.tga")) + std::chrono::seconds(2));
    EXPECT_EQ(imageOf(material), node);
    EXPECT_EQ(pixels(node)[0], 11);

    // Another kind of file under the same name, and back.
    save("b.png", PixelFormat::Rgb8, {1, 2, 3, 4, 5, 6});
    std::filesystem::rename(path("b.png"), path("a.tga"));
    imageOf(material);
    EXPECT_EQ(node->getString(A_FILENAME), path("a.tga"));
    EXPECT_EQ(node->getArraySize(A_BUFFER), 0u);
    before = writes();
    imageOf(material);
    EXPECT_EQ(writes(), before);
    targa("a.tga", 12, 20, 30);
    imageOf(material);
    EXPECT_EQ(pixels(node)[0], 12);
}

TEST_F(PictureTest, WhatCannotBeReadLeavesThePlainColour) {
    write("cut.tif", {'I', 'I', 42, 0, 8, 0, 0, 0});
    write("empty.bmp", {});
    write("noise.psd", std::vector<UChar>(1000, 0x38));
    for (const char* name : {"cut.tif", "empty.bmp", "noise.psd"}) {
        MatLink* link = generate(textured(path(name)));
        ASSERT_TRUE(link->node) << name;
        const ApiNode* colour = link->node->connectedNode(P_DIFFUSE);
        EXPECT_TRUE(!colour || colour->type() == NT_TEX_RGB) << name;
    }
}

}  // namespace

}  // namespace lumora::test
