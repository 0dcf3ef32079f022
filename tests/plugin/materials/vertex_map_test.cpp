#include <cmath>
#include <cstring>

#include "plugin/geometry/mesh_collector.h"
#include "plugin/materials/vertex_map_texture.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

namespace {

/// The image's value at texture coordinates, v upwards, between texel centres.
Float3 lookUp(const ApiNode& image, const Float3& uv) {
    const Int2 size = image.getInt2(A_SIZE);
    const auto bytes = image.getByteArray(A_BUFFER);
    std::vector<float> pixels(bytes.size / sizeof(float));
    std::memcpy(pixels.data(), bytes.data, bytes.size);
    if (pixels.size() < static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y) * 4) return {-1, -1, -1};
    const float x = uv.x * static_cast<float>(size.x) - 0.5f, y = (1 - uv.y) * static_cast<float>(size.y) - 0.5f;
    const auto column = static_cast<std::size_t>(std::lround(x)), row = static_cast<std::size_t>(std::lround(y));
    const std::size_t first = (row * static_cast<std::size_t>(size.x) + column) * 4;
    return {pixels[first], pixels[first + 1], pixels[first + 2]};
}

class VertexMapTest : public SceneTest {
protected:
    VertexMapTest() {
        object = addTriangleAndQuad();
        tag = VertexTag::Alloc(Tvertexcolor, 7);
        for (std::size_t i = 0; i < 7; ++i)
            for (std::size_t k = 0; k < 4; ++k)
                tag->Data()[i * 4 + k] = static_cast<float>(i) / 10 + 0.01f * static_cast<float>(k);
        object->InsertTag(tag);
        material = addMaterial("Painted");
        BaseShader* shader = BaseShader::Alloc(Xvertexmap);
        material->InsertShader(shader);
        shader->GetDataInstance()->SetLink(VERTEXMAPSHADER_TAG, tag);
        material->GetDataInstance()->SetLink(MATERIAL_COLOR_SHADER, shader);
        addTexture(object, material);
    }
    PolygonObject* object;
    VertexTag* tag;
    BaseMaterial* material;
    MeshCollector collector{materials};
};

TEST_F(VertexMapTest, EveryCornerOfAMeshFindsTheColourOfItsPoint) {
    MatLink* link = generate(material);
    ApiNode* image = link->node->connectedNode(P_DIFFUSE);
    ASSERT_TRUE(image);
    ASSERT_EQ(image->type(), NT_TEX_IMAGE);
    EXPECT_EQ(image->getInt2(A_SIZE), (Int2{8, 8}));
    for (const bool alone : {false, true}) {
        const SceneObjectInfo info = record(object);
        collector.init();
        ApiNode* mesh = alone ? collector.collectObjectMesh(info, 1.0f, false, false)
                              : collector.exportSingleMesh({&info, 1}, 1.0f, true);
        ASSERT_TRUE(mesh);
        alone ? static_cast<void>(collector.finishObjectMesh(info)) : collector.finishSingleMesh();
        const auto points = ints(mesh, A_POLY_VERTEX_INDICES), corners = ints(mesh, A_POLY_UVW_INDICES_2);
        const auto uvs = vectors(mesh, A_UVWS_2);
        ASSERT_EQ(corners.size(), points.size()) << alone;
        for (std::size_t i = 0; i < points.size(); ++i) {
            const float value = static_cast<float>(points[i]) / 10;
            expectNear(lookUp(*image, uvs[static_cast<std::size_t>(corners[i])]), {value, value + 0.01f, value + 0.02f},
                       1e-5f, "corner");
        }
    }
}

TEST_F(VertexMapTest, PixelsAreDrawnAgainOnlyWhenTheColoursChange) {
    generate(material);
    Lumora::ApiWriteJournal::reset();
    MatLink* link = generate(material);
    EXPECT_EQ(writes(), 0u);
    tag->Data()[0] = 1.0f;
    tag->SetDirty(DIRTYFLAGS_DATA);
    generate(material);
    EXPECT_EQ(writes(), 1u);
    // The first point is a corner of the first polygon, whose tile lies at the bottom.
    expectNear(lookUp(*link->node->connectedNode(P_DIFFUSE), {0.0625f, 0.0625f, 0}), {1.0f, 0.01f, 0.02f}, 1e-5f, "a");
}

TEST_F(VertexMapTest, AMeshThatIsBuiltAgainDrawsItsMapsAgain) {
    MatLink* link = generate(material);
    PolygonObject* other = addTriangleAndQuad();
    tag->Data()[0] = 1.0f;
    tag->SetDirty(DIRTYFLAGS_DATA);
    Lumora::ApiWriteJournal::reset();
    updateVertexMaps(materials, record(other));
    EXPECT_EQ(writes(), 0u) << "the maps of another object";
    for (int pass = 0; pass < 2; ++pass) {
        updateVertexMaps(materials, record(object));
        EXPECT_EQ(writes(), 1u) << "once";
    }
    expectNear(lookUp(*link->node->connectedNode(P_DIFFUSE), {0.0625f, 0.0625f, 0}), {1.0f, 0.01f, 0.02f}, 1e-5f, "a");
}

TEST_F(VertexMapTest, AShaderWithoutItsTagLeavesTheColour) {
    object->Remove();
    BaseObject* gone = object;
    BaseObject::Free(gone);
    MatLink* link = generate(material);
    EXPECT_NE(link->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_IMAGE);
}

}  // namespace

}  // namespace lumora::test
