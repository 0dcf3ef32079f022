#include <cmath>
#include <limits>

#include "plugin/geometry/engine_matrix.h"
#include "plugin/geometry/mesh_collector.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

namespace {

class MeshTest : public SceneTest {
protected:
    ApiNode* exportAll(std::vector<SceneObjectInfo> records, float scale = 1.0f) {
        collector.setGraph(nullptr);
        ApiNode* mesh = collector.exportSingleMesh(records, scale, true);
        collector.finishSingleMesh();
        return mesh;
    }
    ApiNode* exportOne(BaseObject* object, float scale = 1.0f) {
        collector.init();
        const SceneObjectInfo info = record(object);
        ApiNode* mesh = collector.collectObjectMesh(info, scale, false, false);
        collector.finishObjectMesh(info);
        return mesh;
    }
    MeshCollector collector{materials};
};

TEST_F(MeshTest, ArraysOfATriangleAndAQuad) {
    PolygonObject* object = addTriangleAndQuad();
    addUvs(object);
    ApiNode* mesh = exportAll({record(object)}, 0.01f);
    ASSERT_TRUE(mesh);
    EXPECT_STREQ(mesh->name(), "Static Mesh");
    EXPECT_EQ(collector.triangleCount, 3);
    EXPECT_EQ(ints(mesh, A_VERTICES_PER_POLY), (std::vector{3, 4}));
    EXPECT_EQ(ints(mesh, A_POLY_VERTEX_INDICES), (std::vector{2, 1, 0, 6, 5, 4, 3}));
    EXPECT_EQ(ints(mesh, A_POLY_NORMAL_INDICES), (std::vector{2, 1, 0, 6, 5, 4, 3}));
    EXPECT_EQ(ints(mesh, A_POLY_UVW_INDICES), (std::vector{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(ints(mesh, A_POLY_MATERIAL_INDICES), (std::vector{0, 0}));
    EXPECT_EQ(ints(mesh, A_POLY_OBJECT_INDICES), (std::vector{0, 0}));
    EXPECT_STREQ(mesh->getStringArrayEntry(A_MATERIAL_NAMES, 0), "defaultMat");
    EXPECT_STREQ(mesh->getStringArrayEntry(A_OBJECT_NAMES, 0), "obje0");

    const auto vertices = vectors(mesh, A_VERTICES);
    ASSERT_EQ(vertices.size(), 7u);
    expectNear(vertices[5], {0.03f, 0.01f, 0}, 1e-7f, "vertex 5");
    // Without a phong tag the faces are flat: both look along -z in the host, +z in the engine.
    for (const Float3& n : vectors(mesh, A_NORMALS)) expectNear(n, {0, 0, 1}, 1e-6f, "normal");
    // Corners are reversed, v is turned over, and without tiling the far edge of the tile is the origin.
    const auto uvs = vectors(mesh, A_UVWS);
    expectNear(uvs[0], {0.2f, 1 - 0.02f, 0.5f}, 1e-6f, "uv of corner c");
    expectNear(uvs[2], {0.0f, 1.0f, 0.5f}, 1e-6f, "uv of corner a");
    expectNear(uvs[3], {1.3f, 1 - 0.03f, 0.5f}, 1e-6f, "uv of corner d");
}

TEST_F(MeshTest, TilingAndOffset) {
    PolygonObject* object = addTriangleAndQuad();
    BaseMaterial* material = addMaterial("Tiled");
    generate(material);
    BaseContainer& tag = *addTexture(object, material)->GetDataInstance();
    addUvs(object);
    tag.SetFloat(TEXTURETAG_OFFSETX, 0.1);
    tag.SetFloat(TEXTURETAG_OFFSETY, 0.2);
    tag.SetFloat(TEXTURETAG_TILESX, 3.0);
    tag.SetFloat(TEXTURETAG_TILESY, 4.0);
    const auto uvs = vectors(exportAll({record(object)}), A_UVWS);
    // Corner c of the triangle, host uv (0.2, 0.02): u' = (0.2 - 0.1) * 3, v' = (0.02 - 0.2 - 1/4) * 4, negated.
    expectNear(uvs[0], {0.3f, 1.72f, 0.5f}, 1e-5f, "tiled uv");
}

TEST_F(MeshTest, TransformsKeepNormalsOnTheirSide) {
    struct Case {
        const char* name;
        Matrix m;
        Vector32 hostNormal;  // of a tilted normal (0, 0.6, -0.8) in the host
    };
    const Vector32 n(0.0f, 0.6f, -0.8f);
    const Case cases[] = {
        {"plain", {}, n},
        {"moved", MatrixMove({5, 6, 7}), n},
        {"mirrored in x", MatrixScale({-1, 1, 1}), n},
        {"mirrored in z", MatrixScale({1, 1, -1}), Vector32(0, 0.6f, 0.8f)},
        {"squeezed in y", MatrixScale({1, 0.5, 1}), Vector32(0, 1.2f, -0.8f).GetNormalized()},
        {"tiny", MatrixScale(Vector(1e-30)), n},
        {"singular: as no transform", MatrixScale({1, 0, 1}), n},
        {"turned", MatrixRotY(kPi / 2), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PolygonObject* object = addTriangleAndQuad();
        NormalTag* normals = NormalTag::Alloc(2);
        for (auto& polygon : normals->Data()) polygon.fill(n);
        object->InsertTag(normals);
        object->SetMg(c.m);
        ApiNode* mesh = exportAll({record(object)});
        ASSERT_TRUE(mesh);
        Vector32 wanted = c.hostNormal;
        if (wanted.IsZero()) wanted = Vector32(c.m.TransformVector(Vector(n)));
        expectNear(vectors(mesh, A_NORMALS)[0], {wanted.x, wanted.y, -wanted.z}, 1e-6f, "normal");
        const Vector p = c.m * Vector(3, 1, 0);
        expectNear(vectors(mesh, A_VERTICES)[5], toEnginePoint(p, 1.0f), 1e-5f, "vertex");
    }
}

TEST_F(MeshTest, SelectionsAndTheirMaterials) {
    PolygonObject* object = addTriangleAndQuad();
    BaseMaterial *red = addMaterial("Red"), *blue = addMaterial("Blue"), *unused = addMaterial("Unused");
    for (BaseMaterial* m : {red, blue, unused}) generate(m);
    addSelection(object, "quads", 1, 9);  // reaches past the end
    addTexture(object, blue);
    addTexture(object, red, "quads");
    addTexture(object, unused, "no such selection");

    ApiNode* mesh = exportAll({record(object)});
    EXPECT_EQ(ints(mesh, A_POLY_MATERIAL_INDICES), (std::vector{2, 1}));
    // A static mesh has a pin for every material of the document, used or not.
    ASSERT_EQ(mesh->pinCount(), mesh->staticPinCount() + 4);
    for (unsigned i = 0; i < 3; ++i)
        EXPECT_EQ(mesh->connectedNodeIx(mesh->staticPinCount() + 1 + i),
                  materials.linkAt(static_cast<Int32>(i))->outNode);

    mesh = exportOne(object);
    EXPECT_EQ(ints(mesh, A_POLY_MATERIAL_INDICES), (std::vector{1, 2})) << "slots of one object are its tags in order";
    EXPECT_EQ(mesh->connectedNodeIx(mesh->staticPinCount() + 1), materials.findLinkByMaterial(blue)->outNode);
}

TEST_F(MeshTest, ALaterPlainTagReplacesWhatWentBefore) {
    PolygonObject* object = addTriangleAndQuad();
    BaseMaterial *first = addMaterial("First"), *second = addMaterial("Second");
    generate(first);
    generate(second);
    addTexture(object, first);
    TextureTag* last = addTexture(object, second);
    const SceneObjectInfo info = record(object);
    EXPECT_EQ(info.mainTextureTag, last);
    ASSERT_EQ(info.textureTags.size(), 1u);
    EXPECT_EQ(info.textureTags[0].primaryTag, last);
    EXPECT_EQ(info.textureTags[0].slot, 2);
    EXPECT_EQ(ints(exportAll({info}), A_POLY_MATERIAL_INDICES), (std::vector{2, 2}));
}

TEST_F(MeshTest, AChildWithoutTagsSeesThoseOfItsNearestAncestor) {
    BaseMaterial *outer = addMaterial("Outer"), *inner = addMaterial("Inner");
    generate(outer);
    generate(inner);
    BaseObject* top = addNull("Top");
    BaseObject* middle = addNull("Middle", top);
    addTexture(top, outer);
    TextureTag* near = addTexture(middle, inner);
    PolygonObject* leaf = addTriangleAndQuad(middle);
    EXPECT_EQ(visibleTextureTags(leaf), std::vector<TextureTag*>{near});
    EXPECT_EQ(ints(exportOne(leaf), A_POLY_MATERIAL_INDICES), (std::vector{1, 1}));
}

TEST_F(MeshTest, ObjectsFollowOneAnother) {
    PolygonObject *a = addTriangleAndQuad(), *hidden = addTriangleAndQuad(), *b = addTriangleAndQuad();
    hidden->SetRenderMode(VisibilityMode::Off);
    b->SetMg(MatrixMove({10, 0, 0}));
    ApiNode* mesh = exportAll({record(a), record(hidden), record(b)});
    EXPECT_EQ(ints(mesh, A_POLY_OBJECT_INDICES), (std::vector{0, 0, 2, 2})) << "indices are places in the list";
    EXPECT_EQ(mesh->getArraySize(A_OBJECT_NAMES), 3u);
    EXPECT_EQ(ints(mesh, A_POLY_VERTEX_INDICES), (std::vector{2, 1, 0, 6, 5, 4, 3, 9, 8, 7, 13, 12, 11, 10}));
    expectNear(vectors(mesh, A_VERTICES)[7], {10, 0, 0}, 0, "first vertex of the second object");
}

TEST_F(MeshTest, WhatHasNoShapeIsLeftOut) {
    struct Case {
        const char* name;
        void (*spoil)(PolygonObject*);
        bool kept;
    };
    const Case cases[] = {
        {"points that coincide",
         [](PolygonObject* o) {
             o->Points().assign(7, {1, 2, 3});
         },
         false},
        {"a NaN", [](PolygonObject* o) { o->Points()[3].y = std::nan(""); }, false},
        {"infinite", [](PolygonObject* o) { o->Points()[0].x = std::numeric_limits<Float>::infinity(); }, false},
        {"huge", [](PolygonObject* o) { o->Points()[6].z = -3.4e37; }, false},
        {"an index past the points", [](PolygonObject* o) { o->Polygons()[1].c = 7; }, false},
        {"a negative index", [](PolygonObject* o) { o->Polygons()[0].a = -1; }, false},
        {"no polygons", [](PolygonObject* o) { o->ResizeObject(7, 0); }, false},
        {"a first point in the middle",
         [](PolygonObject* o) {
             o->Points() = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {0, -1, 0}, {-1, 0, 0}, {2, 2, 0}, {-2, -2, 0}};
         },
         true},
        {"a polygon of no area", [](PolygonObject* o) { o->Polygons()[0] = CPolygon(0, 0, 0); }, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PolygonObject* good = addTriangleAndQuad();
        PolygonObject* bad = addTriangleAndQuad();
        c.spoil(bad);
        ApiNode* mesh = exportAll({record(bad), record(good)});
        ASSERT_TRUE(mesh) << "the rest of the scene goes on";
        EXPECT_EQ(mesh->getArraySize(A_VERTICES_PER_POLY), c.kept ? 4u : 2u);
        for (const Float3& n : vectors(mesh, A_NORMALS))
            EXPECT_TRUE(std::isfinite(n.x) && std::isfinite(n.y) && std::isfinite(n.z));
        EXPECT_EQ(exportOne(bad) != nullptr, c.kept);
    }
    EXPECT_EQ(exportAll({}), nullptr);
}

TEST_F(MeshTest, APresetNodeIsFilledAgain) {
    PolygonObject* object = addTriangleAndQuad();
    ApiNode* mesh = exportOne(object);
    const SceneObjectInfo info = record(object);
    collector.init();
    collector.mesh = mesh;
    EXPECT_EQ(collector.collectObjectMesh(info, 2.0f, false, false), mesh);
    collector.finishObjectMesh(info);
    expectNear(vectors(mesh, A_VERTICES)[5], {6, 2, 0}, 0, "vertex");
}

TEST_F(MeshTest, VertexMapGridHasACellForEachPolygon) {
    PolygonObject* object = add(PolygonObject::Alloc(7, 5));
    object->Points() = {{0, 0, 0}, {0, 1, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}, {3, 1, 0}, {3, 0, 0}};
    object->Polygons().assign(5, CPolygon(3, 4, 5, 6));
    object->InsertTag(VertexTag::Alloc(Tvertexmap, 7));
    ApiNode* mesh = exportOne(object);
    const auto uvs = vectors(mesh, A_UVWS_2);
    ASSERT_EQ(uvs.size(), 20u);
    // Polygon 4 of a 3 by 3 grid: column 1, row 1, a margin of 1/24.
    expectNear(uvs[16], {1 / 3.f + 1 / 24.f, 1 / 3.f + 1 / 24.f, 0}, 1e-6f, "lower left");
    expectNear(uvs[18], {2 / 3.f - 1 / 24.f, 2 / 3.f - 1 / 24.f, 0}, 1e-6f, "upper right");
    EXPECT_EQ(ints(mesh, A_POLY_UVW_INDICES_2)[16], 19);
}

TEST_F(MeshTest, ALargeObjectIsTheSameAsItsPolygonsOneByOne) {
    // More polygons than a chunk, triangles among quads, and a selection across the chunks' borders.
    constexpr Int32 kCount = 10000;
    PolygonObject* object = add(PolygonObject::Alloc(kCount + 3, kCount));
    for (Int32 i = 0; i < kCount + 3; ++i)
        object->Points()[static_cast<std::size_t>(i)] = {i * 0.1, i % 7 * 1.0, i % 5 * 1.0};
    for (Int32 i = 0; i < kCount; ++i)
        object->Polygons()[static_cast<std::size_t>(i)] =
            i % 3 ? CPolygon(i, i + 1, i + 2, i + 3) : CPolygon(i, i + 1, i + 2);
    BaseMaterial *a = addMaterial("A"), *b = addMaterial("B");
    generate(a);
    generate(b);
    addSelection(object, "some", 2000, 6500);
    addTexture(object, a);
    addTexture(object, b, "some");
    addUvs(object);
    ApiNode* mesh = exportAll({record(object)});
    const auto per = ints(mesh, A_VERTICES_PER_POLY), vertices = ints(mesh, A_POLY_VERTEX_INDICES),
               slots = ints(mesh, A_POLY_MATERIAL_INDICES);
    const auto uvs = vectors(mesh, A_UVWS);
    std::size_t k = 0;
    for (Int32 i = 0; i < kCount; ++i) {
        const int corners = i % 3 ? 4 : 3;
        ASSERT_EQ(per[static_cast<std::size_t>(i)], corners) << i;
        ASSERT_EQ(slots[static_cast<std::size_t>(i)], i >= 2000 && i <= 6500 ? 2 : 1) << i;
        ASSERT_EQ(vertices[k], i + corners - 1) << i;
        ASSERT_NEAR(uvs[k].x, i + (corners - 1) * 0.1f, 1e-2) << i;
        k += static_cast<std::size_t>(corners);
    }
    EXPECT_EQ(k, vertices.size());
}

TEST(EngineMatrix, FlipsZOnBothSides) {
    const Matrix m({10, 20, 30}, {1, 2, 3}, {4, 5, 6}, {7, 8, 9});
    const EngineMatrix e = toEngineMatrix(m, 0.5f);
    const float wanted[3][4] = {{1, 4, -7, 5}, {2, 5, -8, 10}, {-3, -6, 9, -15}};
    for (int r = 0; r < 3; ++r)
        for (int c = 0; c < 4; ++c) EXPECT_EQ(e.m[r][c], wanted[r][c]) << r << "," << c;
}

TEST_F(SceneTest, OpacityAndVisibilityAskForAnObjectLayer) {
    BaseObject* object = addTriangleAndQuad();
    EXPECT_FALSE(record(object).needsLayer);
    BaseTag* display = object->MakeTag(Tdisplay);
    display->GetDataInstance()->SetBool(DISPLAYTAG_USE_VISIBILITY, true);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.5);
    EXPECT_TRUE(record(object).needsLayer);
    EXPECT_TRUE(record(object).renderVisible);
    display->GetDataInstance()->SetFloat(DISPLAYTAG_VISIBILITY, 0.0);
    EXPECT_FALSE(record(object).renderVisible) << "what cannot be seen at all is not sent";
}

TEST_F(MeshTest, TheSignatureSeesMovedPointsAndTags) {
    PolygonObject* object = addTriangleAndQuad();
    const Vector before = meshSignature(record(object));
    EXPECT_EQ(meshSignature(record(object)), before);
    object->GetPointW()[0].x += 0.25;
    const Vector moved = meshSignature(record(object));
    EXPECT_FALSE(moved == before);
    TextureTag* tag = addTexture(object, nullptr);
    tag->GetDataInstance()->SetFloat(TEXTURETAG_OFFSETX, 3.5);
    EXPECT_FALSE(meshSignature(record(object)) == moved);
    EXPECT_EQ(meshSignature(record(addNull("Empty"))), Vector(-2.0));
}

}  // namespace

}  // namespace lumora::test
