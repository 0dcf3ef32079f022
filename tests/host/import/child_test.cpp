#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/host/import/gltf_builder.h"
#include "tests/host/scratch.h"

namespace host::test {
namespace {

TEST(ImportChild, HandsOverTheWholeDocumentAndItsImages) {
    const Folder folder;
    const TestApplication application(folder.file("preferences").str());
    GltfBuilder b;
    const std::string png = "\x89PNG\r\n\x1a\n not really";
    b.root["images"] = {{{"bufferView", b.view(png.data(), png.size())}, {"name", "Skin of/it"}}};
    b.root["textures"] = {{{"source", 0}}};
    b.root["materials"] = {{{"name", "m"}, {"pbrMetallicRoughness", {{"baseColorTexture", {{"index", 0}}}}}}};
    const int mesh = b.triangle();
    b.root["meshes"][0]["primitives"][0]["material"] = 0;
    b.node({{"name", "one"}, {"mesh", mesh}});
    b.node({{"name", "two"}, {"mesh", mesh}, {"translation", {1, 2, 3}}});
    b.root["extensionsUsed"] = {"VENDOR_gloss"};
    const Filename file = folder.write("scene.glb", b.glb());

    String error;
    std::vector<String> warnings;
    BaseDocument* document = importScene(file, &error, &warnings);
    ASSERT_TRUE(document) << error.c_str();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_GE(warnings[0].Find("VENDOR_gloss"), 0);
    EXPECT_TRUE(document->GetDocumentPath() == file.GetDirectory());
    EXPECT_STREQ(document->GetDocumentName().c_str(), "scene.glb");
    BaseObject* one = document->SearchObject("one");
    BaseObject* two = document->SearchObject("two");
    ASSERT_TRUE(ToPoly(one) && two);
    EXPECT_EQ(ToPoly(one)->GetPointCount(), 3);
    EXPECT_EQ(two->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, document), one);
    EXPECT_TRUE(near(two->GetMl().off, Vector(100, 200, -300)));
    EXPECT_GT(document->GetActiveBaseDraw()->GetEditorCamera()->GetMl().off.GetLength(), 100);

    BaseMaterial* material = static_cast<TextureTag*>(one->GetTag(Ttexture))->GetMaterial();
    ASSERT_TRUE(material && material->GetShader(MATERIAL_COLOR_SHADER));
    const Filename image = material->GetShader(MATERIAL_COLOR_SHADER)->GetFileName();
    std::ifstream in(image.c_str(), std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), png) << image.c_str();

    // Saved and read again on a machine without the cache, the document brings its images along.
    const Filename saved = folder.file("saved.lumdoc");
    ASSERT_TRUE(SaveDocument(document, saved, &error)) << error.c_str();
    BaseDocument::Free(document);
    std::filesystem::remove(image.str());
    document = LoadDocument(saved, &error);
    ASSERT_TRUE(document) << error.c_str();
    EXPECT_TRUE(image.Exists());
    BaseDocument::Free(document);
}

TEST(ImportChild, AFileThatPromisesTooMuchEndsInASentence) {
    const Folder folder;
    const TestApplication application(folder.file("preferences").str());
    ImportLimits limits;
    limits.seconds = 3;
    limits.memoryBytes = Int64(1) << 30;
    const auto errorOf = [&](const Filename& file) {
        String error;
        BaseDocument* document = importScene(file, &error, nullptr, limits);
        EXPECT_EQ(document, nullptr);
        BaseDocument::Free(document);
        return error;
    };
    const String ply = errorOf(folder.write(
        "endless.ply",
        "ply\nformat binary_little_endian 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\n"
        "element face 4000000000\nproperty list uchar int vertex_indices\nend_header\n" +
            std::string(40, 'a')));
    EXPECT_GE(ply.Find("endless.ply could not be imported: its header promises more"), 0) << ply.c_str();
#ifndef __SANITIZE_ADDRESS__  // it reserves more address space than any limit leaves
    GltfBuilder b;
    b.root["accessors"] = {{{"componentType", 5126}, {"count", 60000000}, {"type", "VEC3"}}};
    b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", 0}}}})}});
    const String gltf = errorOf(b.writeGltf(folder));
    EXPECT_GE(gltf.Find("memory"), 0) << gltf.c_str();
#endif
}

TEST(ImportChild, IsEndedWhenItIsAskedTo) {
    const Folder folder;
    const TestApplication application(folder.file("preferences").str());
    std::string text = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";
    for (int i = 0; i < 2000000; ++i) text += "f 1 2 3\n";
    ImportLimits limits;
    limits.stop = [] { return true; };
    String error;
    EXPECT_EQ(importScene(folder.write("long.obj", text), &error, nullptr, limits), nullptr);
    EXPECT_GE(error.Find("the reader was stopped"), 0) << error.c_str();
}

TEST(ImportChild, DamagedFilesOfEveryFormatEndInASentenceOrAScene) {
    const Folder folder;
    const TestApplication application(folder.file("preferences").str());
    const std::string obj = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";
    const std::string stl = std::string(80, ' ') + std::string("\x02\0\0\0", 4) + std::string(100, '\x3f');
    const std::string ply =
        "ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\nelement face "
        "1\n"
        "property list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n";
    const std::pair<const char*, std::string> cases[] = {
        {"a.obj", "v 0 0 0\nf 1 2 9999999\n"},
        {"b.obj", obj.substr(0, 20) + std::string("\0\xff\xfe", 3)},
        {"c.stl", stl.substr(0, 120)},
        {"d.ply", ply.substr(0, ply.size() - 12)},
        {"e.ply", "ply\nformat ascii 1.0\nelement vertex 99999999\nend_header\n"},
        {"f.dae", "<COLLADA><library_geometries>"},
        {"g.fbx", "Kaydara FBX Binary  \x00\x1a\x00 and then nothing"},
        {"h.fbx", "; FBX 7.4.0 project file\nObjects:  {"},
    };
    for (const auto& [name, bytes] : cases) {
        String error;
        ImportLimits limits;
        limits.seconds = 5;
        BaseDocument* document = importScene(folder.write(name, bytes), &error, nullptr, limits);
        EXPECT_TRUE(document || error.Content()) << name;
        BaseDocument::Free(document);
    }
}

}  // namespace
}  // namespace host::test
