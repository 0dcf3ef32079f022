// Surfaces moved by a texture: the mesh is divided evenly, and each vertex goes where the texture says.
#pragma once

#include "engine/compile/image_loader.h"
#include "engine/compile/mesh_builder.h"

namespace Lumora::engine {

/// Where surfaces go.
enum class DisplacementDirection : std::uint8_t {
    Normals,        ///< by the height along the normals that the mesh brings along, else as FlatNormals
    FlatNormals,    ///< by the height along the normals of the surface as its polygons have it
    TangentVector,  ///< red along u, green across it, blue along the normal
    ObjectVector,   ///< red, green, blue along the object's x, y, z
    Up,             ///< by the height along the object's y
};

/// How the materials of a mesh move it. Equal when it was made from the same records.
struct Displacement {
    struct Height {
        TextureId texture = kNoTexture;  ///< none: the material moves nothing
        float scale = 0.0f;              ///< metres for a difference of one
        float middle = 0.0f;             ///< value that moves nothing
        int filter = 0;                  ///< radius of the images' smoothing, pixels
        DisplacementDirection direction{};
        bool flatShading = false;  ///< the mesh keeps the normals that it had: slopes are shown as a bump
    };
    TextureTable textures;
    std::vector<Height> byMaterial;  ///< one for each material pin of the mesh
    int level = 0;                   ///< times that the polygons' sides are halved, at most
    std::vector<ItemUid> nodes;      ///< the displacement node for each pin
    std::vector<NodeRecordPtr> sources;

    friend bool operator==(const Displacement& a, const Displacement& b) {
        return a.nodes == b.nodes && a.sources == b.sources;
    }
};

/// What the materials on a mesh node's pins ask for; null where none asks for anything. Materials are looked at without
/// a note that they were read, so that their other values are no matter of the geometry; displacement nodes and all
/// below them are read.
std::shared_ptr<const Displacement> displacementOf(const NodeTable& nodes, const NodeRecord& mesh, ImageStore& images,
                                                   const LogFunction& log);

/// What one displacement node says, without its texture.
Displacement::Height readHeight(const NodeTable& nodes, const NodeRecord& displacement);

/// Whether a change of a node's record changes which displacement hangs on it.
bool movesOtherwise(const NodeRecord* before, const NodeRecord& after);

/// The arrays of the divided and moved mesh. `mesh` holds checked arrays with the corner counts `perPolygon`. Without
/// vertices: nothing is moved. `note` says what was not done as asked. Throws std::bad_alloc.
MeshSource displace(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Displacement& displacement,
                    std::string& note);

}  // namespace Lumora::engine
