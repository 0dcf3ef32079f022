// Textures without a scene around them: nodes in a table of their own, and points to evaluate them at.
#pragma once

#include <memory>
#include <string>

#include "engine/compile/texture_compiler.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {

class TextureBench {
public:
    NodeRecordPtr keep(NodeRecordPtr node) {
        nodes.put(node);
        return node;
    }
    NodeRecordPtr grey(float v) { return keep(constant(v)); }
    NodeRecordPtr color(Float3 v) { return keep(rgb(v)); }
    /// A texture that shows u: a saw wave, 0 to 1 over the unit square.
    NodeRecordPtr u() { return keep(Node(NT_TEX_SAWWAVE)); }

    /// Compiles a node, with a memory of this bench, and returns its place in `table`.
    TextureId compile(const NodeRecordPtr& top) {
        keep(top);
        const LogFunction log = [this](const std::string& line) { logged += line + "\n"; };
        TextureCompiler compiler(nodes, images, table, log, &memory);
        Node user(NT_TEX_INVERT);
        const TextureId id = compiler.connected(*NodeRecordPtr(user.connect(P_TEXTURE, top)), P_TEXTURE);
        compiler.finish();
        return id;
    }
    Float3 at(const NodeRecordPtr& top, const TextureContext& context) {
        const TextureId id = compile(top);
        return table.color(id, context);
    }

    NodeTable nodes;
    ImageStore images;
    TextureMemory memory;
    TextureTable table;
    std::string logged;
};

/// The point (u, v, w) of every set of coordinates, seen straight on from +z.
inline TextureContext point(float u, float v, float w = 0.0f) {
    TextureContext at;
    for (Float3& uv : at.uv) uv = {u, v, w};
    at.worldNormal = at.objectNormal = at.shadingNormal = {0, 0, 1};
    at.view = {0, 0, -1};
    return at;
}

}  // namespace Lumora::engine::test
