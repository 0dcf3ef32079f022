// From environment nodes to environments.
#pragma once

#include "engine/compile/texture_compiler.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

/// Compiles the environments of one pin of the render target, time after time. What an edit leaves alone is kept: the
/// lists of a texture outlive a change of power, and so does a sky. Build thread only.
class EnvironmentCompiler {
public:
    /// Null when there is no environment: the scene is then black around.
    std::shared_ptr<const Environment> compile(const NodeTable& nodes, ItemUid node, ImageStore& images,
                                               const LogFunction& log);

private:
    /// What a source was made from. Records are replaced, never changed, so the same ones mean the same textures.
    struct Key {
        std::vector<NodeRecordPtr> records;
        std::vector<ImageTexturePtr> images;
        Float3 value;  ///< of the texture pin itself
        bool hasSky = false, hasValue = false;
        SkyParameters sky;
        friend bool operator==(const Key&, const Key&) = default;
    };
    Key key_;
    std::shared_ptr<const EnvironmentSource> source_;
};

/// The texture on a pin as light from all around. Null when nothing is connected.
std::shared_ptr<const Environment> compileAmbient(const NodeTable& nodes, ItemUid node, PinId pin, ImageStore& images,
                                                  const LogFunction& log);

}  // namespace Lumora::engine
