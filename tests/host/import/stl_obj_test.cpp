#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

/// A binary file of `triangles` with a header that says `count`.
std::string binaryStl(const std::string& header, std::uint32_t triangles, std::uint32_t count) {
    std::string bytes = header;
    bytes.resize(80);
    bytes.append(reinterpret_cast<const char*>(&count), 4);
    for (std::uint32_t i = 0; i < triangles; ++i) {
        const float x = static_cast<float>(i);
        const float values[12] = {0, 0, 0, x, 0, 0, x + 1, 0, 0, x, 1, 0};
        bytes.append(reinterpret_cast<const char*>(values), sizeof values);
        bytes.append(2, '\0');
    }
    return bytes;
}

TEST(StlFiles, AreReadByWhatTheyHold) {
    const std::string facet =
        "facet normal 0 0 1\r\n outer loop\r\n vertex 0 0 0\r\n vertex +1e0 0 0\r\n vertex 0 .5 0\r\n endloop\r\n"
        "endfacet\r\n";
    struct Case {
        const char* name;
        std::string bytes;
        int polygons;  ///< 0: refused
        const char* text;
    };
    std::string upper = "solid a\n" + facet + "endsolid a\n";
    for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    const Case cases[] = {
        {"plain", binaryStl("plain", 4, 4), 4, ""},
        {"named solid", binaryStl("solid by an exporter", 4, 4), 4, ""},
        {"count too large", binaryStl("b", 4, 1000), 4, "says 1000 triangles, it holds 4"},
        {"count too small", binaryStl("b", 4, 2), 4, "says 2 triangles, it holds 4"},
        {"count not filled in", binaryStl("b", 4, 0), 4, "says 0 triangles"},
        {"cut off", binaryStl("b", 4, 4).substr(0, 84 + 130), 2, "it holds 2"},
        {"something behind", binaryStl("b", 4, 4) + "end", 4, ""},
        {"nothing", binaryStl("b", 0, 3), 0, "no triangles"},
        {"text", "solid a\r\n" + facet + facet + "endsolid a", 2, ""},
        {"blank lines first", "\n\n solid\n" + facet + "endsolid\n", 1, ""},
        {"capitals", upper, 1, ""},
        {"bad number", "solid a\nfacet normal 0 0 1 outer loop vertex 0 0 x", 0, "where a number should"},
        {"noise", "\x93\xfe\x11" + std::string(200, '\xb7') + std::string(500, '\x7e'), 0, "no STL file"},
    };
    const Folder folder;
    for (const Case& c : cases) {
        const Imported scene(folder.write("a.stl", c.bytes));
        int polygons = 0;
        for (const BaseObject* object : scene.all(Opolygon))
            polygons += static_cast<const PolygonObject*>(object)->GetPolygonCount();
        EXPECT_EQ(polygons, c.polygons) << c.name << ": " << scene.error.c_str();
        EXPECT_EQ(scene.good, c.polygons > 0) << c.name;
        if (*c.text)
            EXPECT_TRUE(scene.warned(c.text) || scene.error.Find(c.text) >= 0) << c.name << ": " << scene.error.c_str();
        else
            EXPECT_TRUE(scene.warnings.empty()) << c.name;
    }
    const Imported two(folder.write("b.stl", "solid a\n" + facet + "endsolid a\nsolid b c\n" + facet + "endsolid\n"));
    ASSERT_EQ(two.all(Opolygon).size(), 2u);
    EXPECT_EQ(two.all(Opolygon)[1]->GetName(), String("b c"));
}

TEST(ObjFiles, NumbersThatBeginWithAPointAreNumbers) {
    const Folder folder;
    const Imported scene(
        folder.write("a.obj", "v 0 0 0\r\nv 1\t.0 0\r\nv .5 -.25 .125\r\nvt .5 .75\r\nf 1/1 2/1 3/1\r\n"));
    ASSERT_TRUE(scene.good && scene.mesh()) << scene.error.c_str();
    ASSERT_EQ(scene.mesh()->GetPointCount(), 3);
    EXPECT_TRUE(near(scene.mesh()->Points()[2], Vector(50, -25, -12.5)));
    EXPECT_NEAR(static_cast<UVWTag*>(scene.mesh()->GetTag(Tuvw))->Data()[0][0].y, 0.25, 1e-6);
}

TEST(ObjFiles, WhatIsMissingIsNamed) {
    const Folder folder;
    const Imported scene(folder.write("a.obj", "mtllib no such.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl x\nf 1 2 3\n"));
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    EXPECT_TRUE(scene.warned("the material library \"no such.mtl\" was not found"));
    const Imported noise(folder.write("b.obj", "\x01\x02 these are not the bytes of a model\n\xff\xfe\n"));
    EXPECT_FALSE(noise.good);
    EXPECT_GE(noise.error.Find("no vertices"), 0) << noise.error.c_str();
}

TEST(GltfMaterialModels, SpecularGlossinessMetalsKeepTheirColour) {
    const auto colourOf = [](const Json& model) {
        GltfBuilder b;
        b.root["materials"] = {{{"extensions", {{"KHR_materials_pbrSpecularGlossiness", model}}}}};
        const int triangle = b.triangle();
        b.root["meshes"][0]["primitives"][0]["material"] = 0;
        b.node({{"mesh", triangle}});
        const Imported scene(b);
        return TransformColor(scene.document->GetFirstMaterial()->GetDataInstance()->GetVector(MATERIAL_COLOR_COLOR),
                              ColorTransform::SrgbToLinear);
    };
    EXPECT_TRUE(near(colourOf({{"diffuseFactor", {0, 0, 0, 1}}, {"specularFactor", {0.9, 0.6, 0.2}}}),
                     Vector(0.9, 0.6, 0.2), 0.01));
    EXPECT_TRUE(near(colourOf({{"diffuseFactor", {0.5, 0.1, 0.1, 1}}, {"specularFactor", {0.04, 0.04, 0.04}}}),
                     Vector(0.5, 0.1, 0.1), 0.01));
    EXPECT_TRUE(near(colourOf({{"diffuseFactor", {0.5, 0.1, 0.1, 1}}}), Vector(0.5, 0.1, 0.1), 0.01));
}

TEST(GltfTextures, TheWayThatIsRepeatedChoosesHowAnImageGoesOn) {
    struct Case {
        std::vector<float> uvs;
        int wanted;  ///< of both ways: 0 repeat, 1 clamp
        bool warned;
    };
    for (const Case& c :
         {Case{{0, 0, 1, 0, 0, 3}, 0, false}, Case{{0, 0, 4, 0, 0, 1}, 1, false}, Case{{0, 0, 4, 0, 0, 3}, 1, true}}) {
        GltfBuilder b;
        b.root["images"] = {{{"uri", "data:image/png;base64,iVBORw0K"}}};
        b.root["samplers"] = {{{"wrapS", 33071}, {"wrapT", 10497}}};
        b.root["textures"] = {{{"source", 0}, {"sampler", 0}}};
        b.root["materials"] = {{{"pbrMetallicRoughness", {{"baseColorTexture", {{"index", 0}}}}}}};
        const int positions = b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3");
        b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", positions}, {"TEXCOORD_0", b.accessor(c.uvs, "VEC2")}}},
                                 {"material", 0}})}});
        const Imported scene(b);
        ASSERT_TRUE(scene.good) << scene.error.c_str();
        const BaseShader* shader = scene.document->GetFirstMaterial()->GetShader(MATERIAL_COLOR_SHADER);
        EXPECT_EQ(shader->GetDataInstance()->GetInt32(BITMAPSHADER_WRAPX), c.wanted);
        EXPECT_EQ(shader->GetDataInstance()->GetInt32(BITMAPSHADER_WRAPY), c.warned ? 0 : c.wanted);
        EXPECT_EQ(scene.warned("go on as across"), c.warned);
    }
}

}  // namespace
}  // namespace host::test
