#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

/// A tetrahedron without symmetry, corners counter-clockwise from outside.
const std::vector<float> kTetrahedron = {0, 0, 0, 2, 0, 0, 0, 3, 0, 0, 0, 5};
const std::vector<std::uint16_t> kTetrahedronFaces = {0, 2, 1, 0, 1, 3, 0, 3, 2, 1, 2, 3};

Json primitive(GltfBuilder& b, const std::vector<float>& positions) {
    return {{"attributes", {{"POSITION", b.accessor(positions, "VEC3")}}}};
}

TEST(GltfGeometry, HandednessTurnsWithoutMirroring) {
    GltfBuilder b;
    Json p = primitive(b, kTetrahedron);
    p["attributes"]["NORMAL"] = b.accessor<float>({-1, -1, -1, 1, 0, 0, 0, 2, 0, 0, 0, 1}, "VEC3");
    p["attributes"]["TEXCOORD_0"] = b.accessor<float>({0, 0, 0.25f, 0, 0, 0.75f, 1, 1}, "VEC2");
    p["indices"] = b.accessor(kTetrahedronFaces, "SCALAR");
    b.node({{"mesh", b.mesh(p)}});
    const Imported scene(b);
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    const PolygonObject& mesh = *scene.mesh();
    ASSERT_EQ(mesh.GetPointCount(), 4);
    EXPECT_TRUE(near(mesh.Points()[3], Vector(0, 0, -500)));
    EXPECT_DOUBLE_EQ(scene.document->GetUnitScale(), 0.01);

    double volume = 0;
    const Vector centre(50, 75, -125);
    for (const CPolygon& f : mesh.Polygons()) {
        const auto at = [&](Int32 i) { return mesh.Points()[static_cast<std::size_t>(i)]; };
        volume += Dot(at(f.a), Cross(at(f.b), at(f.c))) / 6;
        // Clockwise from outside, in left-handed space: the cross product of the edges points outwards.
        EXPECT_GT(Dot(Cross(at(f.b) - at(f.a), at(f.c) - at(f.a)), at(f.a) - centre), 0);
    }
    EXPECT_NEAR(volume, 5e6, 1);

    // Every corner keeps the normal and the texture coordinates of its own vertex.
    const auto* normals = static_cast<NormalTag*>(scene.mesh()->GetTag(Tnormal));
    const auto* uvs = static_cast<UVWTag*>(scene.mesh()->GetTag(Tuvw));
    ASSERT_TRUE(normals && uvs);
    const float s = 1 / std::sqrt(3.0f);
    const Vector32 expectedNormal[] = {{-s, -s, s}, {1, 0, 0}, {0, 1, 0}, {0, 0, -1}};
    const float expectedUv[][2] = {{0, 0}, {0.25f, 0}, {0, 0.75f}, {1, 1}};
    for (std::size_t i = 0; i < mesh.Polygons().size(); ++i)
        for (Int32 k = 0; k < 4; ++k) {
            const auto v = static_cast<std::size_t>(mesh.Polygons()[i][k]);
            EXPECT_LT((normals->Data()[i][static_cast<std::size_t>(k)] - expectedNormal[v]).GetLength(), 1e-5f);
            EXPECT_EQ(uvs->Data()[i][static_cast<std::size_t>(k)].x, expectedUv[v][0]);
            EXPECT_EQ(uvs->Data()[i][static_cast<std::size_t>(k)].y, expectedUv[v][1]);
        }
}

TEST(GltfGeometry, StripsFansAndListsGiveTheSameSurface) {
    const std::vector<float> square = {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0};
    const auto read = [&](int mode, const std::vector<std::uint8_t>& indices) {
        GltfBuilder b;
        Json p = primitive(b, square);
        p["mode"] = mode;
        p["indices"] = b.accessor(indices, "SCALAR");
        b.node({{"mesh", b.mesh(p)}});
        const Imported scene(b);
        EXPECT_TRUE(scene.good) << scene.error.c_str();
        return scene.mesh() ? surface(*scene.mesh()) : decltype(surface(*scene.mesh())){};
    };
    const auto list = read(4, {0, 1, 2, 0, 2, 3});
    EXPECT_EQ(list.size(), 2u);
    EXPECT_EQ(read(6, {0, 1, 2, 3}), list);
    EXPECT_EQ(read(5, {1, 2, 0, 3}), list);
    EXPECT_EQ(read(5, {1, 2, 0, 3, 3, 3}), list);  // repeated corners of a strip that jumps
}

TEST(GltfGeometry, PointsAndLinesAreNamedAsLeftOut) {
    for (const auto& [mode, text] : {std::pair{0, "3 points"}, {1, "1 lines"}, {2, "3 lines"}, {3, "2 lines"}}) {
        GltfBuilder b;
        Json p = primitive(b, {0, 0, 0, 1, 0, 0, 0, 1, 0});
        p["mode"] = mode;
        b.node({{"mesh", b.mesh(p)}});
        const Imported scene(b);
        EXPECT_TRUE(scene.good && !scene.mesh() && scene.warned(text)) << text;
    }
}

TEST(GltfGeometry, EveryKindOfIndexAndNoneGiveTheSameSurface) {
    const auto read = [&](auto type) {
        GltfBuilder b;
        Json p = primitive(b, kTetrahedron);
        using T = decltype(type);
        p["indices"] = b.accessor(std::vector<T>(kTetrahedronFaces.begin(), kTetrahedronFaces.end()), "SCALAR");
        b.node({{"mesh", b.mesh(p)}});
        return surface(*Imported(b).mesh());
    };
    const auto expected = read(std::uint32_t());
    EXPECT_EQ(read(std::uint16_t()), expected);
    EXPECT_EQ(read(std::uint8_t()), expected);
    GltfBuilder b;
    std::vector<float> loose;
    for (const auto i : kTetrahedronFaces) loose.insert(loose.end(), &kTetrahedron[i * 3u], &kTetrahedron[i * 3u] + 3);
    b.node({{"mesh", b.mesh(primitive(b, loose))}});
    EXPECT_EQ(surface(*Imported(b).mesh()), expected);
}

TEST(GltfGeometry, SparseAndQuantisedValuesAreDecoded) {
    GltfBuilder b;
    // Without data of its own an accessor is all zeros below its sparse values.
    const std::vector<std::uint8_t> which = {1, 2};
    const std::vector<float> values = {1, 0, 0, 0, 1, 0};
    const int indices = b.view(which.data(), which.size()), changed = b.view(values.data(), values.size() * 4);
    b.root["accessors"].push_back({{"componentType", 5126},
                                   {"count", 3},
                                   {"type", "VEC3"},
                                   {"sparse",
                                    {{"count", 2},
                                     {"indices", {{"bufferView", indices}, {"componentType", 5121}}},
                                     {"values", {{"bufferView", changed}}}}}});
    b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", 0}}}})}});
    const Imported sparse(b);
    ASSERT_TRUE(sparse.good) << sparse.error.c_str();
    EXPECT_TRUE(near(sparse.mesh()->Points()[1], Vector(100, 0, 0)));
    EXPECT_TRUE(near(sparse.mesh()->Points()[2], Vector(0, 100, 0)));

    GltfBuilder q;
    q.root["extensionsRequired"] = {"KHR_mesh_quantization"};
    const int positions = q.accessor<std::int16_t>({0, 0, 0, 32767, 0, 0, 0, -32768, 0}, "VEC3", true);
    const int uvs = q.accessor<std::uint16_t>({0, 0, 65535, 0, 0, 13107}, "VEC2", true);
    const int normals = q.accessor<std::int8_t>({0, 0, 127, 0, 0, 0, 127, 0, 0, 0, 127, 0}, "VEC4", true);
    q.root["accessors"][normals]["type"] = "VEC3";
    q.root["bufferViews"][2]["byteStride"] = 4;
    q.root["accessors"][normals]["count"] = 3;
    q.node({{"mesh", q.mesh({{"attributes", {{"POSITION", positions}, {"TEXCOORD_0", uvs}, {"NORMAL", normals}}}})}});
    const Imported quantised(q);
    ASSERT_TRUE(quantised.good) << quantised.error.c_str();
    EXPECT_TRUE(near(quantised.mesh()->Points()[1], Vector(100, 0, 0)));
    EXPECT_TRUE(near(quantised.mesh()->Points()[2], Vector(0, -100, 0)));
    const auto* uvTag = static_cast<UVWTag*>(quantised.mesh()->GetTag(Tuvw));
    float largest = 0;
    for (const auto& corner : uvTag->Data()[0]) largest = std::max(largest, corner.y);
    EXPECT_NEAR(largest, 0.2f, 1e-6f);
    EXPECT_NEAR(static_cast<NormalTag*>(quantised.mesh()->GetTag(Tnormal))->Data()[0][0].z, -1, 1e-5f);
}

TEST(GltfGeometry, MorphTargetsCountWithTheirWeights) {
    const auto read = [](const Json& meshWeights, const Json& nodeWeights) {
        GltfBuilder b;
        Json p = primitive(b, {0, 0, 0, 1, 0, 0, 0, 1, 0});
        p["targets"] = Json::array({{{"POSITION", b.accessor<float>({0, 0, 1, 0, 0, 1, 0, 0, 1}, "VEC3")}}});
        const int mesh = b.mesh(p);
        if (!meshWeights.is_null()) b.root["meshes"][mesh]["weights"] = meshWeights;
        Json node = {{"mesh", mesh}};
        if (!nodeWeights.is_null()) node["weights"] = nodeWeights;
        b.node(node);
        return Imported(b).mesh()->Points()[0].z;
    };
    EXPECT_NEAR(read(nullptr, nullptr), 0, 1e-4);
    EXPECT_NEAR(read({0.5}, nullptr), -50, 1e-4);
    EXPECT_NEAR(read({0.5}, {2.0}), -200, 1e-4);
}

TEST(GltfGeometry, SkinPlacesTheMeshWithAndWithoutInverseBindMatrices) {
    for (const bool bind : {false, true}) {
        GltfBuilder b;
        Json p = primitive(b, {0, 0, 0, 1, 0, 0, 0, 1, 0});
        p["attributes"]["NORMAL"] = b.accessor<float>({0, 0, 1, 0, 0, 1, 0, 0, 1}, "VEC3");
        p["attributes"]["JOINTS_0"] = b.accessor<std::uint8_t>({0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0}, "VEC4");
        p["attributes"]["WEIGHTS_0"] = b.accessor<float>({1, 0, 0, 0, 1, 0, 0, 0, 0.5f, 0.5f, 0, 0}, "VEC4");
        Json skin = {{"joints", {1, 2}}};
        if (bind)
            skin["inverseBindMatrices"] = b.accessor<float>(
                {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, -4, 0, 0, 1},
                "MAT4");
        b.root["skins"] = {skin};
        b.node({{"mesh", b.mesh(p)}, {"skin", 0}, {"translation", {100, 0, 0}}});  // its own place does not count
        b.node({{"translation", {0, 0, 1}}, {"children", {2}}});
        b.node({{"translation", {4, 0, 0}}}, false);
        const Imported scene(b);
        ASSERT_TRUE(scene.good) << scene.error.c_str();
        const auto& points = scene.mesh()->Points();
        EXPECT_EQ(scene.mesh()->GetMg(), Matrix());
        EXPECT_TRUE(near(points[0], Vector(0, 0, -100)));
        EXPECT_TRUE(near(points[1], bind ? Vector(100, 0, -100) : Vector(500, 0, -100)));
        EXPECT_TRUE(near(points[2], bind ? Vector(0, 100, -100) : Vector(200, 100, -100)));
    }
}

TEST(GltfGeometry, BrokenPolygonsAreDroppedAndTheRestStays) {
    GltfBuilder b;
    const float nan = std::numeric_limits<float>::quiet_NaN(), infinite = std::numeric_limits<float>::infinity();
    Json p = primitive(b, {0, 0, 0, 1, 0, 0, 0, 1, 0, nan, 0, 0, infinite, 0, 0});
    p["indices"] = b.accessor<std::uint16_t>({0, 1, 2, 0, 1, 3, 0, 4, 2, 1, 1, 2}, "SCALAR");
    b.node({{"mesh", b.mesh(p)}});
    const Imported scene(b);
    ASSERT_TRUE(scene.good && scene.mesh());
    EXPECT_EQ(scene.mesh()->GetPolygonCount(), 1);
    EXPECT_EQ(scene.mesh()->GetPointCount(), 3);
    EXPECT_TRUE(scene.warned("2 polygons with coordinates"));
    EXPECT_TRUE(scene.warned("1 polygons without area"));
}

TEST(GltfGeometry, ColoursOfVerticesAreSeen) {
    const auto build = [](std::vector<float> colours, bool image) {
        GltfBuilder b;
        Json pbr = {{"baseColorFactor", {1, 0.5, 1, 1}}};
        if (image) {
            b.root["images"] = {{{"uri", "data:image/png;base64,iVBORw0K"}}};
            b.root["textures"] = {{{"source", 0}}};
            pbr["baseColorTexture"] = {{"index", 0}};
        }
        b.root["materials"] = {{{"pbrMetallicRoughness", pbr}}};
        const int positions = b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3");
        b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", positions}, {"COLOR_0", b.accessor(colours, "VEC3")}}},
                                 {"material", 0}})}});
        return b;
    };
    const std::vector<float> varied = {1, 1, 1, 0, 1, 0, 0, 0, 1}, same = {0.5f, 1, 0, 0.5f, 1, 0, 0.5f, 1, 0};
    {
        GltfBuilder b = build(varied, false);
        const Imported scene(b);
        auto* tag = static_cast<VertexTag*>(scene.mesh()->GetTag(Tvertexcolor));
        ASSERT_TRUE(tag);
        // The material's colour is part of them, and they are kept as an artist would pick them.
        EXPECT_NEAR(tag->Data()[1], 0.7354f, 1e-3f);
        const auto* texture = static_cast<TextureTag*>(scene.mesh()->GetTag(Ttexture));
        ASSERT_TRUE(texture && texture->GetMaterial());
        const BaseShader* shader = texture->GetMaterial()->GetShader(MATERIAL_COLOR_SHADER);
        ASSERT_TRUE(shader);
        EXPECT_EQ(shader->GetType(), Xvertexmap);
        EXPECT_EQ(shader->GetDataInstance()->GetLink(VERTEXMAPSHADER_TAG, scene.document), tag);
    }
    {
        GltfBuilder b = build(same, false);
        const Imported scene(b);
        EXPECT_FALSE(scene.mesh()->GetTag(Tvertexcolor)) << "one colour is a tint of the material";
        const Vector colour = scene.document->GetFirstMaterial()->GetDataInstance()->GetVector(MATERIAL_COLOR_COLOR);
        EXPECT_TRUE(near(TransformColor(colour, ColorTransform::SrgbToLinear), Vector(0.5, 0.5, 0), 1e-4));
    }
    {
        GltfBuilder b = build(varied, true);
        const Imported scene(b);
        EXPECT_TRUE(scene.warned("without the colours of their vertices"));
        EXPECT_EQ(scene.document->GetFirstMaterial()->GetShader(MATERIAL_COLOR_SHADER)->GetType(), Xbitmap);
    }
}

TEST(GltfGeometry, PrimitivesThatShareOneBufferKeepOnlyTheirOwnPoints) {
    GltfBuilder b;
    const int positions = b.accessor<float>({9, 9, 9, 0, 0, 0, 1, 0, 0, 0, 1, 0, 9, 9, 9}, "VEC3");
    const int colours = b.accessor<std::uint8_t>(
        {0, 0, 0, 255, 255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 51, 0, 0, 0, 255}, "VEC4", true);
    b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", positions}, {"COLOR_0", colours}}},
                             {"indices", b.accessor<std::uint8_t>({1, 2, 3}, "SCALAR")}})}});
    const Imported scene(b);
    ASSERT_EQ(scene.mesh()->GetPointCount(), 3);
    const auto* tag = static_cast<VertexTag*>(scene.mesh()->GetTag(Tvertexcolor));
    ASSERT_TRUE(tag);
    EXPECT_EQ(tag->Data()[0], 1.0f);
    EXPECT_EQ(tag->Data()[5], 1.0f);
    EXPECT_NEAR(tag->Data()[11], 0.2f, 1e-6f);  // alpha
}

}  // namespace
}  // namespace host::test
