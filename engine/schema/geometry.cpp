// Geometry: meshes and strands, groups, scatters, layers, volumes, toon lights.
#include "engine/schema/build.h"

namespace Lumora::engine::schema {

namespace {

Attributes meshAttributes() {
    return {
        attribute(A_VERTICES, "vertices", AT_FLOAT3_ARRAY),
        attribute(A_VERTICES_ANIMATED, "verticesAnimated", AT_BOOL),
        attribute(A_VERTEX_VELOCITIES, "vertexVelocities", AT_FLOAT3_ARRAY),
        attribute(A_VERTICES_PER_POLY, "verticesPerPoly", AT_INT_ARRAY),
        attribute(A_POLY_VERTEX_INDICES, "polyVertexIndices", AT_INT_ARRAY),
        attribute(A_NORMALS, "normals", AT_FLOAT3_ARRAY),
        attribute(A_POLY_NORMAL_INDICES, "polyNormalIndices", AT_INT_ARRAY),
        attribute(A_UVWS, "uvws", AT_FLOAT3_ARRAY),
        attribute(A_POLY_UVW_INDICES, "polyUvwIndices", AT_INT_ARRAY),
        attribute(A_UVWS_2, "uvws2", AT_FLOAT3_ARRAY),
        attribute(A_POLY_UVW_INDICES_2, "polyUvwIndices2", AT_INT_ARRAY),
        attribute(A_UVWS_3, "uvws3", AT_FLOAT3_ARRAY),
        attribute(A_POLY_UVW_INDICES_3, "polyUvwIndices3", AT_INT_ARRAY),
        attribute(A_POLY_MATERIAL_INDICES, "polyMaterialIndices", AT_INT_ARRAY),
        attribute(A_POLY_OBJECT_INDICES, "polyObjectIndices", AT_INT_ARRAY),
        attribute(A_OBJECT_NAMES, "objectNames", AT_STRING_ARRAY),
        attribute(A_MATERIAL_NAMES, "materialNames", AT_STRING_ARRAY),
        attribute(A_FILENAME, "filename", AT_STRING),
        attribute(A_RELOAD, "reload", AT_BOOL),
        attribute(A_SUBD_LEVEL, "subdLevel", AT_INT),
        attribute(A_SUBD_BOUNDARY, "subdBoundaryInterpolation", AT_INT),
        attribute(A_SUBD_SHARPNESS, "subdSharpness", AT_FLOAT),
        attribute(A_MESH_OBJECT_ID, "objectId", AT_INT, {-1, 0, 0}),
        attribute(A_DOUBLE_SIDED_NORMALS, "doubleSidedNormals", AT_BOOL),
        attribute(A_HAIR_VERTICES, "hairVertices", AT_FLOAT3_ARRAY),
        attribute(A_HAIR_THICKNESS, "hairThickness", AT_FLOAT_ARRAY),
        attribute(A_HAIR_UVS, "hairUvs", AT_FLOAT2_ARRAY),
        attribute(A_HAIR_VERTICES_PER_STRAND, "hairVerticesPerStrand", AT_INT_ARRAY),
        attribute(A_HAIR_MATERIAL_INDICES, "hairMaterialIndices", AT_INT_ARRAY),
        attribute(A_HAIR_OBJECT_INDICES, "hairObjectIndices", AT_INT_ARRAY),
    };
}

Attributes volumeAttributes() {
    return {
        attribute(A_FILENAME, "filename", AT_STRING),
        attribute(A_RELOAD, "reload", AT_BOOL),
        attribute(A_VOLUME_FRAME, "frame", AT_INT),
        attribute(A_ABSORPTION_GRID, "absorptionGrid", AT_STRING),
        attribute(A_SCATTER_GRID, "scatterGrid", AT_STRING),
        attribute(A_EMISSION_GRID, "emissionGrid", AT_STRING),
        attribute(A_ABSORPTION_INDEX, "absorptionIndex", AT_INT, {-1, 0, 0}),
        attribute(A_SCATTER_INDEX, "scatterIndex", AT_INT, {-1, 0, 0}),
        attribute(A_EMISSION_INDEX, "emissionIndex", AT_INT, {-1, 0, 0}),
        attribute(A_ABSORPTION_SCALE, "absorptionScale", AT_FLOAT, {1, 0, 0}),
        attribute(A_SCATTER_SCALE, "scatterScale", AT_FLOAT, {1, 0, 0}),
        attribute(A_EMISSION_SCALE, "emissionScale", AT_FLOAT, {1, 0, 0}),
        attribute(A_VELOCITY_ON, "velocityOn", AT_BOOL),
        attribute(A_VELOCITY_SCALE, "velocityScale", AT_FLOAT, {1, 0, 0}),
        attribute(A_VELOCITY_GRID_X, "velocityGridX", AT_STRING),
        attribute(A_VELOCITY_GRID_Y, "velocityGridY", AT_STRING),
        attribute(A_VELOCITY_GRID_Z, "velocityGridZ", AT_STRING),
        attribute(A_VELOCITY_INDEX_X, "velocityIndexX", AT_INT, {-1, 0, 0}),
        attribute(A_VELOCITY_INDEX_Y, "velocityIndexY", AT_INT, {-1, 0, 0}),
        attribute(A_VELOCITY_INDEX_Z, "velocityIndexZ", AT_INT, {-1, 0, 0}),
        attribute(A_VOXELS, "voxels", AT_FLOAT_ARRAY),
        attribute(A_VOXEL_SIZE, "voxelSize", AT_INT_ARRAY),
        attribute(A_VOXEL_GRID_COUNT, "voxelGridCount", AT_INT),
        attribute(A_TRANSFORM, "transform", AT_MATRIX_ARRAY),
    };
}

}  // namespace

Rows geometryRows() {
    return {
        {NT_GEO_MESH, "Mesh", PT_GEOMETRY, {}, meshAttributes(), DynamicPins::Mesh},
        {NT_GEO_GROUP,
         "Geometry group",
         PT_GEOMETRY,
         {},
         {attribute(A_GROUP_PIN_COUNT, "pinCount", AT_INT)},
         DynamicPins::Group},
        {NT_GEO_SCATTER,
         "Scatter",
         PT_GEOMETRY,
         {link(P_GEOMETRY, "Geometry", PT_GEOMETRY)},
         {attribute(A_TRANSFORM, "transforms", AT_MATRIX_ARRAY),
          attribute(A_INSTANCE_IDS, "instanceIds", AT_INT_ARRAY)}},
        {NT_GEO_LAYER_MAP,
         "Object layer map",
         PT_GEOMETRY,
         {link(P_GEOMETRY, "Geometry", PT_GEOMETRY)},
         {},
         DynamicPins::LayerMap},
        {NT_OBJECT_LAYER,
         "Object layer",
         PT_OBJECT_LAYER,
         {number(P_LAYER_OPACITY, "General visibility", 1, 0, 1),
          boolean(P_CAMERA_VISIBILITY, "Camera visibility", true),
          boolean(P_SHADOW_VISIBILITY, "Shadow visibility", true), integer(P_LAYER_ID, "Render layer ID", 1, 1, 255),
          integer(P_BAKING_GROUP_ID, "Baking group ID", 1, 1, 65535),
          integer(P_LIGHT_PASS_MASK, "Light pass mask", 1023, 0, 1023), colour(P_OBJECT_COLOR, "Color", 0)}},
        {NT_GEO_VOLUME,
         "Volume",
         PT_GEOMETRY,
         {link(P_MEDIUM, "Medium", PT_MEDIUM), link(P_OBJECT_LAYER, "Object layer", PT_OBJECT_LAYER, NT_OBJECT_LAYER)},
         volumeAttributes()},
        {NT_GEO_PLANE,
         "Plane",
         PT_GEOMETRY,
         {link(P_TRANSFORM, "Transformation", PT_TRANSFORM), link(P_MATERIAL1, "Material", PT_MATERIAL),
          link(P_OBJECT_LAYER, "Object layer", PT_OBJECT_LAYER)}},
        {NT_TOON_POINT_LIGHT,
         "Toon point light",
         PT_GEOMETRY,
         {texture(P_EMIS_TEXTURE, "Color"), number(P_POWER, "Power", 1)}},
        {NT_TOON_DIRECTIONAL_LIGHT,
         "Toon directional light",
         PT_GEOMETRY,
         {texture(P_EMIS_TEXTURE, "Color"), number3(P_SUN_DIRECTION, "Direction", {0, 1, 0}),
          number(P_POWER, "Power", 1)}},
    };
}

}  // namespace Lumora::engine::schema
