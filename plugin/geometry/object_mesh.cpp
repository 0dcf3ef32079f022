#include "plugin/geometry/object_mesh.h"

#include "plugin/geometry/stacked_materials.h"
#include "plugin/materials/vertex_map_texture.h"

namespace lumora {

namespace {

void writeSubdivision(ApiNode* mesh, const SceneObjectInfo& info) {
    setAttrIfChanged(mesh, A_SUBD_LEVEL, info.subdLevel, false);
    if (info.subdLevel == 0) return;
    setAttrIfChanged(mesh, A_SUBD_SHARPNESS, static_cast<float>(info.subdSharpness), false);
    setAttrIfChanged(mesh, A_SUBD_BOUNDARY, info.subdBoundary, false);
}

}  // namespace

bool buildObjectMesh(MeshCollector& collector, MatManager& materials, const SceneObjectInfo& info, float scale,
                     const VertexMotionSource& motion, ApiNode*& node, ObjectMesh& result) {
    destroyStackedGraphs(node);
    collector.init();
    const bool moves = motion.motion != nullptr;
    if (moves) collector.setTimeSampling(motion.times, motion.motion);
    collector.mesh = node;
    node = collector.collectObjectMesh(info, scale, false, moves);
    result = {};
    if (node) {
        writeSubdivision(node, info);
        collector.finishObjectMesh(info);
        if (info.vertexMapTag) updateVertexMaps(materials, info);
        buildStackedMaterials(materials, node, info);
        result.triangles = static_cast<Int32>(collector.triangleCount);
        result.materials = collector.objectMaterials;
        setNameIfChanged(node, info.object->GetName());
    }
    collector.destroy();
    return node != nullptr;
}

}  // namespace lumora
