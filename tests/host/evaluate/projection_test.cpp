#include "host/shading/projection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

#include "host/sdk/host_sdk.h"

namespace host {
namespace {

using Corners = std::array<Vector, 4>;

// A small square on the unit sphere around a direction, clockwise as seen from outside with `up` on top.
Corners patch(const Vector& outward, const Vector& up, Float size = 0.1) {
    const Vector right = Cross(up, -outward);
    const auto at = [&](Float r, Float u) { return outward + right * (r * size) + up * (u * size); };
    return {at(-1, 1), at(1, 1), at(1, -1), at(-1, -1)};
}

Float turn(const Corners& uv) {
    const Vector ab = uv[1] - uv[0], ac = uv[2] - uv[0];
    return ab.x * ac.y - ab.y * ac.x;
}

TEST(Projections, PicturesReadUnmirroredWhereTheyShould) {
    const Vector front(0, 0, -1), up(0, 1, 0);
    for (const TextureProjectionMode mode : {P_SPHERICAL, P_CYLINDRICAL, P_FLAT, P_CUBIC, P_SPATIAL}) {
        const Projection projection(mode, Matrix(), nullptr, Matrix());
        const Corners uv = projection.corners(patch(front, up), false);
        EXPECT_GT(uv[1].x, uv[0].x) << mode << ": u grows to the right";
        EXPECT_GT(uv[3].y, uv[0].y) << mode << ": v grows downwards";
        if (mode == P_SPATIAL) continue;
        const Vector middle = (uv[0] + uv[1] + uv[2] + uv[3]) * 0.25;
        EXPECT_NEAR(middle.x, 0.5, 1e-9) << mode;
        EXPECT_NEAR(middle.y, 0.5, 1e-9) << mode;
    }
    // All round, the round ones and the cube keep their direction.
    const Vector sides[] = {{1, 0, 0}, {-1, 0, 0}, {0, 0, 1}, {0, 0, -1}, Vector(1, 0, 1).GetNormalized()};
    for (const TextureProjectionMode mode : {P_SPHERICAL, P_CYLINDRICAL, P_CUBIC}) {
        const Projection projection(mode, Matrix(), nullptr, Matrix());
        for (const Vector& side : sides) EXPECT_GT(turn(projection.corners(patch(side, up), false)), 0) << mode;
    }
    const Projection cubic(P_CUBIC, Matrix(), nullptr, Matrix());
    EXPECT_GT(turn(cubic.corners(patch({0, 1, 0}, {0, 0, 1}), false)), 0);
    EXPECT_GT(turn(cubic.corners(patch({0, -1, 0}, {0, 0, -1}), false)), 0);
    const Projection shrink(P_SHRINKWRAP, Matrix(), nullptr, Matrix());
    EXPECT_GT(turn(shrink.corners(patch({0, 1, 0}, {0, 0, 1}), false)), 0);
}

TEST(Projections, APolygonOverTheSeamStaysTogether) {
    const Projection projection(P_SPHERICAL, Matrix(), nullptr, Matrix());
    for (Int32 i = 0; i < 360; ++i) {
        const Float a = 2 * kPi * i / 360;
        const Corners uv = projection.corners(patch({std::sin(a), 0, std::cos(a)}, {0, 1, 0}), false);
        Float low = uv[0].x, high = uv[0].x, sum = 0;
        for (const Vector& corner : uv) {
            low = std::min(low, corner.x);
            high = std::max(high, corner.x);
            sum += corner.x / 4;
        }
        EXPECT_LT(high - low, 0.05) << i;
        EXPECT_GE(sum, 0) << i;
        EXPECT_LE(sum, 1) << i;
    }
}

TEST(Projections, APoleTakesTheColumnOfItsTriangle) {
    const Projection projection(P_SPHERICAL, Matrix(), nullptr, Matrix());
    for (const Float y : {1.0, -1.0}) {
        const Vector pole(0, y, 0), a(0.1, y, 0.3), b(-0.1, y, 0.3);  // across the seam
        const Corners uv = projection.corners({pole, a, b, b}, true);
        EXPECT_NEAR(uv[0].x, (uv[1].x + uv[2].x) / 2, 1e-12);
        EXPECT_LT(std::abs(uv[1].x - uv[2].x), 0.2);
        EXPECT_EQ(uv[3], uv[2]);
    }
}

TEST(Projections, ThePlaceMovesAndScalesThePicture) {
    const Matrix place({10, 20, 30}, {100, 0, 0}, {0, 50, 0}, {0, 0, 1});
    const Projection projection(P_FLAT, place, nullptr, Matrix());
    const Corners uv = projection.corners({Vector(-90, 70, 0), {110, 70, 5}, {110, -30, 0}, {-90, -30, 0}}, false);
    const Float expected[4][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(uv[i].x, expected[i][0], 1e-12);
        EXPECT_NEAR(uv[i].y, expected[i][1], 1e-12);
    }
}

TEST(Projections, TheTagCoversThePolygonsOrThereIsNone) {
    const std::unique_ptr<PolygonObject> object(PolygonObject::Alloc(4, 2));
    object->Points() = {{-1, 1, 10}, {1, 1, 10}, {1, -1, 10}, {-1, -1, 10}};
    object->Polygons() = {{0, 1, 2, 3}, {0, 1, 2}};
    UVWTag* tag = GenerateUVW(*object, P_FLAT, Matrix());
    ASSERT_NE(tag, nullptr);
    EXPECT_EQ(tag->GetDataCount(), 2);
    EXPECT_EQ(tag->Get(1).d, tag->Get(1).c);
    UVWTag::Free(tag);
    for (const Int32 none : {Int32(P_UVW), Int32(P_FRONTAL), Int32(P_CAMERAMAP), 99, -1}) {
        EXPECT_EQ(GenerateUVW(*object, none, Matrix()), nullptr) << none;
    }
    const std::unique_ptr<BaseObject> camera(BaseObject::Alloc(Ocamera));
    camera->SetParameter(CAMERAOBJECT_FOV, GeData(2 * std::atan(0.1)));  // as wide as the square at its distance
    tag = GenerateUVW(*object, P_FRONTAL, Matrix(), camera.get());
    ASSERT_NE(tag, nullptr);
    EXPECT_NEAR(tag->Get(0).a.x, 0, 1e-6);
    EXPECT_NEAR(tag->Get(0).b.x, 1, 1e-6);
    EXPECT_NEAR(tag->Get(0).a.y, 0.5 - 8.0 / 9, 1e-6) << "16:9";
    UVWTag::Free(tag);
    object->Polygons()[1].c = 4;
    EXPECT_EQ(GenerateUVW(*object, P_FLAT, Matrix()), nullptr);
}

}  // namespace
}  // namespace host
