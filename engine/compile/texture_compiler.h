// From texture nodes to the flat table that is evaluated. Parts without variation fold into constants.
#pragma once

#include <array>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/compile/image_loader.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

class TextureCompiler {
public:
    TextureCompiler(const NodeTable& nodes, ImageStore& images, TextureTable& table, const LogFunction& log)
        : nodes_(nodes), images_(images), table_(table), log_(log) {}

    /// The texture on a pin: the connected one, else the pin's own value, else `fallback`.
    TextureId onPin(const NodeRecord& node, PinId pin, Float3 fallback);
    /// The texture connected to a pin, or kNoTexture.
    TextureId connected(const NodeRecord& node, PinId pin);

    TextureId constant(Float3 value);
    TextureId multiply(TextureId a, TextureId b);

private:
    TextureId compile(ItemUid uid);
    TextureNode describe(const NodeRecord& node);
    void describeImage(const NodeRecord& node, TextureNode& out);
    Projection projectionOf(const NodeRecord& node);
    TextureId add(TextureNode node);
    std::shared_ptr<const std::array<float, 256>> byteTable(float gamma);
    void logOnce(int type);

    const NodeTable& nodes_;
    ImageStore& images_;
    TextureTable& table_;
    const LogFunction& log_;
    std::unordered_map<ItemUid, TextureId> known_;
    std::unordered_set<ItemUid> open_;  ///< being compiled: a node among its own inputs reads as nothing
    std::unordered_set<int> logged_;
    std::map<float, std::shared_ptr<const std::array<float, 256>>> byteTables_;
};

/// Where a transform node moves texture coordinates: the inverse of its transform about the middle of the picture.
Matrix<float> uvwToTexture(const Matrix<float>& transform);

}  // namespace Lumora::engine
