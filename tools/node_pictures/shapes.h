// The objects of the pictures, made by code. Lengths are in radii of the studio's ball, y is up.
#pragma once

#include <vector>

#include "tools/node_pictures/recipe.h"

namespace pictures {

constexpr float kPi = 3.14159265f;

Float3 operator+(Float3 a, Float3 b);
Float3 operator-(Float3 a, Float3 b);
Float3 operator*(Float3 a, float s);
Float3 cross(Float3 a, Float3 b);
Float3 normalized(Float3 a);

/// A mesh. Every vertex has its normal and texture coordinate; polygons with other ones have vertices of their own.
struct Shape {
    std::vector<Float3> vertices, normals, uvs;
    std::vector<int> indices, perPolygon, materials;

    /// Four corners counter-clockwise, the texture's lower left corner first.
    Shape& quad(Float3 a, Float3 b, Float3 c, Float3 d, int material = 0);
    /// Six sides; each shows the whole texture.
    Shape& box(Float3 low, Float3 high, int material = 0);
    Shape& add(const Shape& other, Float3 at = {}, float scale = 1, float turnDegrees = 0);
    Shape& paint(int material);
};

/// A ball around the origin, the texture wrapped around it once.
Shape sphere(float radius, int slices, int stacks);
/// The studio's ball: a shell that is open at the top and holds a smaller ball; it stands at the origin. Materials: 0
/// shell, 1 the ball inside, 2 the stand.
Shape testBall(int slices);
/// Floor and wall in one sweep, seen from +z. The texture's v runs from the near edge of the floor to the wall's top.
Shape backdrop(float width, float wall);
/// A square with the middle in the origin that faces `towards`.
Shape panel(Float3 at, Float3 towards, float width, float height, int material = 0);
/// A stone in brilliant cut, of that radius; its girdle lies in the plane y = 0.
Shape brilliant(float radius);
/// A sheet that is bent like an S, of which both sides can be seen.
Shape bentSheet();

}  // namespace pictures
