// Texture coordinates that an image's user moved, scaled and turned, as transforms of the engine.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

/// The host's form: offset + R(rotation) * (scale * uv) with v downwards, where R turns u towards -v. Radians.
struct UvPlacement {
    Float offsetX = 0, offsetY = 0, scaleX = 1, scaleY = 1, rotation = 0;
    bool isIdentity() const { return offsetX == 0 && offsetY == 0 && scaleX == 1 && scaleY == 1 && rotation == 0; }
};

/// The engine's form: where the picture lies. It is scaled and turned (degrees) about the middle of the unit square,
/// then moved; v upwards. A look-up goes the other way.
struct PictureTransform {
    Float3 rotation{0, 0, 0}, scale{1, 1, 1}, translation{0, 0, 0};
};

/// `image` belongs on the image. A rotation of unequally scaled coordinates needs a second transform, `before`, whose
/// look-up comes first; `needsBefore` says so.
struct PictureTransforms {
    PictureTransform image, before;
    bool needsBefore = false;
};
PictureTransforms toPictureTransforms(const UvPlacement& placement);

/// What a look-up with that transform gives for texture coordinates with v upwards.
Float2 lookUp(const PictureTransform& transform, Float2 uv);

}  // namespace lumora
