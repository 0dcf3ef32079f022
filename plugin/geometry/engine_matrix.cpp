#include "plugin/geometry/engine_matrix.h"

#include <cmath>

namespace lumora {

EngineMatrix toEngineMatrix(const Matrix& m, float scale) {
    const auto f = [](Float v) { return static_cast<float>(v); };
    const Float s = scale;
    EngineMatrix e;
    e.m[0][0] = f(m.v1.x), e.m[0][1] = f(m.v2.x), e.m[0][2] = f(-m.v3.x), e.m[0][3] = f(m.off.x * s);
    e.m[1][0] = f(m.v1.y), e.m[1][1] = f(m.v2.y), e.m[1][2] = f(-m.v3.y), e.m[1][3] = f(m.off.y * s);
    e.m[2][0] = f(-m.v1.z), e.m[2][1] = f(-m.v2.z), e.m[2][2] = f(m.v3.z), e.m[2][3] = f(-m.off.z * s);
    return e;
}

bool isFinite(const EngineMatrix& matrix) {
    for (const auto& row : matrix.m)
        for (const float v : row)
            if (!std::isfinite(v)) return false;
    return true;
}

}  // namespace lumora
