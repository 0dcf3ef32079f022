// Texture projections: from a point in a projection's space to texture coordinates.
//
// A point p of the object stands at q = ~place * p. The projection's picture is two units wide and high around the
// origin, u grows to the right and v downwards, and it reads unmirrored from the front (from -z, x to the right, y up).
//
//   flat         u = (1 + x) / 2, v = (1 - y) / 2
//   cylindrical  u = 1/2 + atan2(x, -z) / 2 pi: the front in the middle, the seam at +z; v as flat
//   spherical    u as cylindrical, v = acos(y / |q|) / pi: 0 at the upper pole
//   cubic        flat on six sides, chosen for each polygon by the largest axis of its normal
//   spatial      flat, drawn aside by the depth: u = (1 + x + z) / 2, v = (1 - y + z) / 2
//   shrink wrap  the upper pole in the picture's middle, the lower one on the circle of radius 1/2
//   frontal      what a camera sees: u, v over its film, by the film's aspect; so is camera mapping, of the tag's
//   camera
//
// Coordinates of a polygon belong together: across the seam of the round projections they go on below 0 or above 1, and
// a corner in a pole takes the mean u of the others.
#pragma once

#include <array>

#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host {

/// A camera as a projection: world to camera, and half the film's width and height at distance 1 (or in scene units for
/// a parallel camera).
struct FilmView {
    Matrix toCamera;
    Float halfWidth = 1, halfHeight = 1;
    Bool parallel = false;
};
/// Of a camera object; the film's aspect is that of its document's render data, 16:9 without a document.
FilmView filmViewOf(const BaseObject& camera);

/// What a parallel camera's zoom means: width of the view for a focus distance, both in scene units, and back. The
/// width may be anything above zero.
Float ParallelViewWidth(Float zoom, Float distance);
Float ParallelViewZoom(Float width, Float distance);

/// One kind of projection at one place.
class Projection {
public:
    /// `camera` and `objectToWorld` count for frontal and camera mapping only.
    Projection(TextureProjectionMode mode, const Matrix& place, const FilmView* camera, const Matrix& objectToWorld);

    /// False for UVW, for unknown modes, and for frontal and camera mapping without a camera.
    Bool isValid() const { return valid_; }
    /// Coordinates of a polygon's corners (a triangle's last repeats its third). Points in object space.
    std::array<Vector, 4> corners(const std::array<Vector, 4>& points, Bool triangle) const;

private:
    void project(const std::array<Vector, 4>& points, std::array<Vector, 4>& uvs) const;

    TextureProjectionMode mode_;
    Matrix toSpace_;
    FilmView film_;
    Bool valid_ = false;
};

}  // namespace host
