#include "plugin/materials/uv_transform.h"

#include <gtest/gtest.h>

#include <cmath>

namespace lumora::test {

TEST(UvTransform, LooksUpWhereTheHostDoes) {
    const UvPlacement cases[] = {
        {},                        // as it lies
        {0.25, 0.5, 1, 1, 0},      // moved
        {0, 0, 2, 3, 0},           // scaled unequally
        {0, 0, 1, 1, 0.7},         // turned
        {0.1, -0.3, 2, 2, -1.2},   // all, equal scales
        {0.1, -0.3, 2, 0.5, 2.0},  // all, unequal scales
        {0.1, 0.2, -1, 1, 0},      // mirrored
        {0.1, 0.2, -1, 3, 0.5},    // mirrored and turned
    };
    const Vector points[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0.3, 0.8, 0}, {-2, 5, 0}};
    for (const UvPlacement& h : cases) {
        SCOPED_TRACE(testing::Message() << h.offsetX << " " << h.scaleX << " " << h.scaleY << " " << h.rotation);
        const PictureTransforms t = toPictureTransforms(h);
        for (const Vector& p : points) {
            // v downwards: scale, turn u towards -v, move.
            const Float su = h.scaleX * p.x, sv = h.scaleY * p.y, c = std::cos(h.rotation), s = std::sin(h.rotation);
            const Float u = h.offsetX + c * su + s * sv, v = h.offsetY - s * su + c * sv;
            Float2 at{static_cast<float>(p.x), static_cast<float>(1 - p.y)};
            if (t.needsBefore) at = lookUp(t.before, at);
            at = lookUp(t.image, at);
            EXPECT_NEAR(at.x, u, 1e-4);
            EXPECT_NEAR(at.y, 1 - v, 1e-4);
        }
    }
    EXPECT_FALSE(toPictureTransforms({0, 0, 2, 2, 1}).needsBefore) << "equal scales need one transform only";
}

}  // namespace lumora::test
