// Pictures against values known in closed form.
#include <gtest/gtest.h>

#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

TEST(Truth, WhiteFurnaceShowsNothing) {
    for (const float albedo : {1.0f, 0.8f}) {
        Scene scene(64, 64, 64);
        scene.environment(splat(1.0f));
        scene.camera.set(P_FOV, 20.0f);
        const NodeRecordPtr material = scene.diffuse(splat(albedo));
        const NodeRecordPtr sphere = scene.keep(MeshData::sphere(96, 64).node({material}));
        const Image image = Render().picture(scene.delta(sphere));
        const Float3 c = mean(image, 20, 20, 24, 24);
        EXPECT_NEAR(c.x, albedo, 0.005f * albedo);
        EXPECT_NEAR(c.z, albedo, 0.005f * albedo);
        EXPECT_NEAR(mean(image, 0, 0, 4, 4).x, 1.0f, 1e-5f);
    }
}

}  // namespace
}  // namespace Lumora::engine::test
