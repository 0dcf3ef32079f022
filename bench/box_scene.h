// The room that several programs here measure in.
#pragma once

#include "bench/program.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {

/// Five walls around the origin; material 0 is grey, 1 red, 2 green.
inline void boxWalls(MeshData& m) {
    m.quad({-1, -1, 1}, {1, -1, 1}, {1, -1, -1}, {-1, -1, -1}, 0)
        .quad({-1, 1, -1}, {1, 1, -1}, {1, 1, 1}, {-1, 1, 1}, 0);
    m.quad({-1, -1, -1}, {1, -1, -1}, {1, 1, -1}, {-1, 1, -1}, 0);
    m.quad({-1, -1, 1}, {-1, -1, -1}, {-1, 1, -1}, {-1, 1, 1}, 1)
        .quad({1, -1, -1}, {1, -1, 1}, {1, 1, 1}, {1, 1, -1}, 2);
}

/// A lamp below the ceiling, of material 3.
inline void boxLamp(MeshData& m) {
    m.quad({-0.3f, 0.99f, -0.3f}, {0.3f, 0.99f, -0.3f}, {0.3f, 0.99f, 0.3f}, {-0.3f, 0.99f, 0.3f}, 3);
}

inline std::vector<NodeRecordPtr> boxMaterials(Scene& scene, Float3 lamp = {17, 12, 6}, bool doubleSided = false) {
    return {scene.diffuse(splat(0.75f)), scene.diffuse({0.63f, 0.06f, 0.05f}), scene.diffuse({0.14f, 0.45f, 0.09f}),
            scene.emitter(lamp, doubleSided)};
}

inline void lookIntoBox(Scene& scene) {
    scene.camera.set(P_POSITION, Float3{0, 0, 4}).set(P_FOV, 38.0f);
}

/// The room with two blocks, lit mostly indirectly.
inline NodeRecordPtr cornellBox(Scene& scene) {
    MeshData m;
    boxWalls(m);
    boxLamp(m);
    m.box({-0.6f, -1, -0.6f}, {0, 0.3f, 0}, 0).box({0.1f, -1, 0}, {0.6f, -0.4f, 0.5f}, 0);
    lookIntoBox(scene);
    return scene.keep(m.node(boxMaterials(scene)));
}

}  // namespace Lumora::engine::test
