// Host space to engine space: left-handed scene units to right-handed metres. The z axis is flipped.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

/// Three rows of four floats, the z axis flipped on both sides and the offset scaled (M' = S M S with S =
/// diag(1,1,-1)). Shared by objects, cameras, lights and instances. `scale`: metres per scene unit.
EngineMatrix toEngineMatrix(const Matrix& m, float scale);
/// Whether all twelve numbers are finite: others have no place in a picture.
bool isFinite(const EngineMatrix& matrix);
/// A point, in metres.
inline Float3 toEnginePoint(const Vector& p, float scale) {
    const Float s = scale;
    return {static_cast<float>(p.x * s), static_cast<float>(p.y * s), static_cast<float>(-p.z * s)};
}
/// A direction, not scaled.
inline Float3 toEngineDirection(const Vector& d) {
    return {static_cast<float>(d.x), static_cast<float>(d.y), static_cast<float>(-d.z)};
}

}  // namespace lumora
