// Images for textures: read from files, or taken from a node's own pixels, each held once.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/compile/image_reader.h"
#include "engine/compile/nodes.h"

namespace Lumora::engine {

/// How many images are held in which form: colours or grey, 8 bits or more.
struct ImageKinds {
    std::uint32_t color8 = 0, color16 = 0, grey8 = 0, grey16 = 0;
};

/// The images of the nodes in use. Their memory has a limit: what does not fit is held at a half, a quarter and so on
/// of its resolution, the largest images first, which the log tells. Files that are read together are looked at before
/// their pixels are, so that memory is never taken for what has no room. Build thread only.
class ImageStore {
public:
    ImageStore();
    /// Bytes of all images and their coarser levels; half the machine's memory when nothing is said. Counts for images
    /// that are read from now on, and makes room for them among those that are in memory.
    void setLimit(std::uint64_t bytes) { limit_ = bytes; }

    /// The image of an image node; null when it has none or it cannot be read, which is logged once for each state of
    /// the file. Files are shared by all nodes that name them with the same import type. Pixels that a node holds
    /// itself are used where they lie. A file is read again when its time or size is another, or when a node asks for
    /// it (A_RELOAD).
    ImageTexturePtr imageOf(const NodeRecord& node, const LogFunction& log);

    /// Whether the file of an image node is to be read at the end of a deferral.
    bool waits(const NodeRecord& node) const;
    /// Whether a file has been found changed while its old image was in use, since the last call: other nodes that name
    /// it have the old one.
    bool takeReplaced() { return std::exchange(replaced_, false); }

    /// The coarser levels of an image, averaged for values that are linearised with `gamma`; shared by all that ask for
    /// the same. Null when there is no memory for them.
    ImagePyramidPtr pyramidOf(const ImageTexturePtr& image, float gamma);

    /// Counts an image that was made elsewhere, for as long as it lives.
    void count(const ImageTexturePtr& image) { others_.push_back(image); }

    /// While one lives, files that are not in memory are noted instead of read, and their images are null.
    class Deferral {
    public:
        explicit Deferral(ImageStore& store) : store_(store) { store_.deferring_ = true; }
        ~Deferral();
        Deferral(const Deferral&) = delete;
        Deferral& operator=(const Deferral&) = delete;
        /// Reads what was noted, on all cores, and ends the deferral. False when there was nothing to read.
        bool load();

    private:
        ImageStore& store_;
    };

    /// Forgets what no scene uses any more. Call after a build, with the old scene gone.
    void sweep();

    /// Memory of the images, each once.
    std::uint64_t bytes() const;
    std::size_t count() const;
    ImageKinds kinds() const;

private:
    struct FileKey {
        std::string path;
        ImageImport import = ImageImport::AsStored;
        auto operator<=>(const FileKey&) const = default;
    };
    struct FileEntry {
        std::int64_t stamp = 0, size = -1;
        bool failed = false, noted = false, logged = false;
        std::string remark;  ///< why there is no image, or what is odd about it
        int halvings = 0;    ///< for want of memory
        std::weak_ptr<const ImageTexture> image;
    };
    struct BufferEntry {
        const void* pixels = nullptr;  ///< identity of the node's array
        Vec2<int> size;
        int type = 0;
        std::weak_ptr<const void> array;  ///< gone: the address may be another's
        std::weak_ptr<const ImageTexture> image;
    };
    static FileKey keyOf(const NodeRecord& node);
    /// An image, or what will be one, while room is made.
    struct Claim {
        FileEntry* entry;
        ImageTexturePtr* image;   ///< to be halved; null: it is not read yet
        std::uint64_t bytes = 0;  ///< with its coarser levels
        int halvings = 0;
    };
    static void read(const FileKey& key, FileEntry& entry, ImageTexturePtr& image, int halvings);
    void makeRoom(std::vector<Claim>& claims, std::uint64_t others) const;
    void readNoted();
    void fit(const std::vector<std::pair<FileEntry*, ImageTexturePtr*>>& fresh, std::uint64_t leaving = 0);
    template <typename F>
    void forEachImage(F&& f) const;
    /// Whether a node that was seen before wants its file read anew, though it may look the same.
    bool asksAgain(const NodeRecord& node);
    ImageTexturePtr fromFile(const FileKey& key, const std::string& name, bool again, const LogFunction& log);
    ImageTexturePtr fromBuffer(const NodeRecord& node, const LogFunction& log);

    std::map<FileKey, FileEntry> files_;
    std::unordered_map<ItemUid, std::uint32_t> reloads_;  ///< how often each node has asked for its file
    std::unordered_map<ItemUid, BufferEntry> buffers_;
    struct PyramidEntry {
        std::weak_ptr<const ImageTexture> image;
        std::weak_ptr<const ImagePyramid> pyramid;
    };
    std::map<std::pair<const ImageTexture*, float>, PyramidEntry> pyramids_;
    std::vector<std::weak_ptr<const ImageTexture>> others_;
    std::vector<std::map<FileKey, FileEntry>::iterator> noted_;
    std::vector<ImageTexturePtr> loaded_;  ///< until a scene holds them
    std::uint64_t limit_;
    bool deferring_ = false, replaced_ = false;
};

}  // namespace Lumora::engine
