// Images for textures: read from files, or taken from a node's own pixels, each held once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>

#include "engine/compile/nodes.h"
#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// Limits of an image: pixels along an edge and bytes in memory. Larger ones are refused before memory is taken.
inline constexpr int kMaxImageEdge = 65536;
inline constexpr std::uint64_t kMaxImageBytes = 4ull << 30;

/// Reads an image file with any reader of OpenImageIO. Null with the reason in `why`.
ImageTexturePtr readImageFile(const std::string& path, std::string& why);

/// The images of the nodes in use. Build thread only.
class ImageStore {
public:
    /// The image of an image node; null when it has none or it cannot be read, which is logged once for each state of
    /// the file. Files are shared by all nodes that name them.
    ImageTexturePtr imageOf(const NodeRecord& node, const LogFunction& log);

    /// Forgets what no scene uses any more. Call after a build, with the old scene gone.
    void sweep();

    std::uint64_t bytes() const;
    std::size_t count() const;

private:
    struct FileEntry {
        std::int64_t stamp = 0, size = 0;
        bool failed = false;
        std::weak_ptr<const ImageTexture> image;
    };
    struct BufferEntry {
        const void* pixels = nullptr;  ///< identity of the node's array
        Vec2<int> size;
        int type = 0;
        std::shared_ptr<const void> keep;  ///< so that the address is not used again
        std::weak_ptr<const ImageTexture> image;
    };
    ImageTexturePtr fromFile(const std::string& path, const std::string& name, const LogFunction& log);
    ImageTexturePtr fromBuffer(const NodeRecord& node, const LogFunction& log);

    std::map<std::string, FileEntry> files_;
    std::unordered_map<ItemUid, BufferEntry> buffers_;
};

}  // namespace Lumora::engine
