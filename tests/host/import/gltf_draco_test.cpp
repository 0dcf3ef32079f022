#include <draco/compression/encode.h>
#include <draco/mesh/triangle_soup_mesh_builder.h>
#include <gtest/gtest.h>

#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

TEST(GltfDraco, CompressedPrimitivesAreDecoded) {
    // Two triangles of a square with texture coordinates.
    const std::array<std::array<float, 3>, 6> corners = {
        {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 0, 0}, {1, 1, 0}, {0, 1, 0}}};
    draco::TriangleSoupMeshBuilder builder;
    builder.Start(2);
    const int position = builder.AddAttribute(draco::GeometryAttribute::POSITION, 3, draco::DT_FLOAT32);
    const int uv = builder.AddAttribute(draco::GeometryAttribute::TEX_COORD, 2, draco::DT_FLOAT32);
    for (std::uint32_t f = 0; f < 2; ++f) {
        const auto at = [&](std::uint32_t k) { return corners[f * 3 + k].data(); };
        builder.SetAttributeValuesForFace(position, draco::FaceIndex(f), at(0), at(1), at(2));
        builder.SetAttributeValuesForFace(uv, draco::FaceIndex(f), at(0), at(1), at(2));
    }
    const auto mesh = builder.Finalize();
    draco::Encoder encoder;
    draco::EncoderBuffer buffer;
    ASSERT_TRUE(encoder.EncodeMeshToBuffer(*mesh, &buffer).ok());

    GltfBuilder b;
    const int view = b.view(buffer.data(), buffer.size());
    const auto points = mesh->num_points();
    b.root["accessors"] = {{{"componentType", 5126}, {"count", points}, {"type", "VEC3"}},
                           {{"componentType", 5126}, {"count", points}, {"type", "VEC2"}},
                           {{"componentType", 5123}, {"count", 6}, {"type", "SCALAR"}}};
    const auto id = [&](int attribute) { return mesh->attribute(attribute)->unique_id(); };
    b.root["extensionsRequired"] = {"KHR_draco_mesh_compression"};
    b.node({{"mesh", b.mesh({{"attributes", {{"POSITION", 0}, {"TEXCOORD_0", 1}}},
                             {"indices", 2},
                             {"extensions",
                              {{"KHR_draco_mesh_compression",
                                {{"bufferView", view},
                                 {"attributes", {{"POSITION", id(position)}, {"TEXCOORD_0", id(uv)}}}}}}}})}});
    const Imported scene(b);
    ASSERT_TRUE(scene.good && scene.mesh()) << scene.error.c_str();
    ASSERT_EQ(scene.mesh()->GetPolygonCount(), 2);
    ASSERT_EQ(scene.mesh()->GetPointCount(), 4);
    const auto* uvs = static_cast<UVWTag*>(scene.mesh()->GetTag(Tuvw));
    ASSERT_TRUE(uvs);
    for (std::size_t i = 0; i < 2; ++i)
        for (Int32 k = 0; k < 3; ++k) {
            const Vector& p = scene.mesh()->Points()[static_cast<std::size_t>(scene.mesh()->Polygons()[i][k])];
            EXPECT_NEAR(p.x / 100, uvs->Data()[i][static_cast<std::size_t>(k)].x, 1e-3);
            EXPECT_NEAR(p.y / 100, uvs->Data()[i][static_cast<std::size_t>(k)].y, 1e-3);
        }
}

}  // namespace
}  // namespace host::test
