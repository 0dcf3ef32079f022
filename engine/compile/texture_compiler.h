// From texture nodes to the flat table that is evaluated. Parts without variation fold into constants.
//
// What was compiled is remembered from one build of the scene to the next: a node whose record and whose inputs are the
// same keeps its place in the table, one whose value changed is written anew in its place, and nothing else is touched.
// Told what an edit concerns, a build does not even look at the rest.
#pragma once

#include <array>
#include <map>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/compile/dependents.h"
#include "engine/compile/image_loader.h"
#include "engine/render/texture.h"

namespace Lumora::engine {

/// The table of the last build, and what each place of it was made from. Build thread only.
class TextureMemory {
public:
    /// Nodes described since the beginning: what changes cost.
    std::uint64_t described() const { return described_; }
    /// Nodes that are known now.
    std::size_t size() const { return entries_.size(); }
    /// Lets everything go; the next build compiles all anew.
    void clear();
    /// Whether a build was broken off, or has left so much behind that it should all be compiled anew.
    bool worn() const;

    /// The texture of a node is to be looked at again. Unknown nodes are ignored.
    void concern(ItemUid uid);
    /// Nodes whose images were not in memory when they were described: concern them when they are.
    const std::vector<ItemUid>& waiting() const { return waiting_; }
    /// Nodes that are described in each build in which they are asked for: those in circles.
    const std::unordered_set<ItemUid>& circling() const { return circling_; }
    /// Nodes whose image is another by now than the one that they were described with.
    std::vector<ItemUid> outdated(const NodeTable& nodes, ImageStore& images, const LogFunction& log) const;

private:
    friend class TextureCompiler;
    struct Entry {
        NodeRecordPtr record;                                  ///< null: to be described again
        std::vector<std::pair<ItemUid, NodeRecordPtr>> reads;  ///< other nodes that values came from
        std::vector<std::pair<ItemUid, TextureId>> inputs;     ///< texture nodes below, and what they were
        TextureNode node;                                      ///< as described, before folding
        TextureId id = kNoTexture;
        float cost = 1.0f;         ///< lookups that one lookup comes to
        bool holdsInputs = false;  ///< made from what the inputs evaluate to, not only from their places
        bool waits = false;        ///< an image of it or below it is not in memory yet
        bool concerned = true;     ///< to be looked at again
        std::uint64_t build = 0;   ///< the last build that asked for it
    };
    TextureTable table_;
    std::vector<std::uint64_t> changed_;  ///< of each node of the table: the last build in which it was written
    std::unordered_map<ItemUid, Entry> entries_;
    std::map<std::array<float, 3>, TextureId> constants_;
    std::map<std::pair<PixelFormat, float>, std::shared_ptr<const DecodeTable>> decodeTables_;
    std::vector<std::uint32_t> freeNodes_, freeMappings_, freeImages_, freeGradients_, freeTriplanars_;
    std::vector<ItemUid> waiting_;
    std::unordered_set<ItemUid> circling_;
    std::uint64_t build_ = 0, described_ = 0;
    bool finished_ = true;
};

class TextureCompiler {
public:
    /// Fills `table`. With a memory, what it holds is used again, and finish() writes it back. With `dependents`, only
    /// what the memory was told to be concerned is looked at, and what is made from what is noted there.
    TextureCompiler(const NodeTable& nodes, ImageStore& images, TextureTable& table, const LogFunction& log,
                    TextureMemory* memory = nullptr, Dependents* dependents = nullptr);
    TextureCompiler(const TextureCompiler&) = delete;
    TextureCompiler& operator=(const TextureCompiler&) = delete;

    /// The texture on a pin: the connected one, else the pin's own value, else `fallback`.
    TextureId onPin(const NodeRecord& node, PinId pin, Float3 fallback);
    /// The texture connected to a pin, a plain value where the pin has none of its own, or kNoTexture. Toon ramps too:
    /// TextureTable::ramp evaluates them.
    TextureId connected(const NodeRecord& node, PinId pin);
    /// The texture of a node; kNoTexture when there is none.
    TextureId of(ItemUid uid) { return compile(uid); }
    TextureId constant(Float3 value);

    /// Whether a texture was written in this build, or something below it. Who keeps more of a texture than its id
    /// from build to build looks again then. Ask for the texture first: only then is it known.
    bool changed(TextureId id) const { return id != kNoTexture && memory_.changed_[id] == memory_.build_; }
    /// Whether anything was written in this build.
    bool wrote() const { return wrote_; }

    /// A texture that was asked for, and what it was.
    using Inputs = std::vector<std::pair<ItemUid, TextureId>>;
    /// From now on every texture that is asked for is listed in `inputs`, except by other textures; null: no more.
    /// Returns what was there before.
    Inputs* listInputs(Inputs* inputs) { return std::exchange(inputs_, inputs); }

    /// For textures that are looked up without footprints: their images need no coarser levels.
    void withoutPyramids() { pyramids_ = false; }

    /// Forgets what this build did not ask for, or, with dependents, only what forget() names. Remembers the rest. Call
    /// once, when all is compiled.
    void finish();
    /// Lets the texture of a node go that nothing is made from any more.
    void forget(ItemUid uid);

private:
    using Entry = TextureMemory::Entry;

    TextureId onPin(const PinRecord* pin, Float3 fallback);
    TextureId compile(ItemUid uid);
    TextureId enter(ItemUid uid, const NodeRecordPtr& record);
    bool sameAsBefore(Entry& entry, const NodeRecordPtr& record);
    void makeNew(Entry& entry, const NodeRecordPtr& record);
    void weigh(Entry& entry, const NodeRecord& record);
    bool waits(ItemUid uid) const;
    void release(const Entry& entry);

    TextureNode describe(const NodeRecord& node, Entry& entry);
    bool describeOperator(const NodeRecord& node, TextureNode& out);
    bool describePattern(const NodeRecord& node, TextureNode& out);
    bool describePoint(const NodeRecord& node, TextureNode& out);
    void describeImage(const NodeRecord& node, TextureNode& out);
    void describeGradient(const NodeRecord& node, TextureNode& out);
    void describeTriplanar(const NodeRecord& node, TextureNode& out);
    void describeBaking(const NodeRecord& node, TextureNode& out);
    void describeMapping(const NodeRecord& node, TextureNode& out);
    void readProjection(const NodeRecord& source, Mapping& mapping);
    void readPower(const NodeRecord& node, TextureNode& out);
    ImageLookup lookupOf(ImageTexturePtr image, float gamma, int border);
    float number(const NodeRecord& node, PinId pin, float fallback, float low, float high) const;

    /// The node as it is evaluated: a constant when nothing below it varies.
    TextureNode folded(const TextureNode& node);
    TextureId place(TextureId id, const TextureNode& node);
    void releaseData(const TextureNode& node);
    void logOnce(int type);

    const NodeTable& nodes_;
    ImageStore& images_;
    TextureTable& table_;
    const LogFunction& log_;
    TextureMemory own_;
    TextureMemory& memory_;
    std::unordered_set<ItemUid> open_;  ///< being compiled: a node among its own inputs reads as nothing
    Dependents* dependents_;
    Inputs* inputs_ = nullptr;  ///< of what is being described
    bool circle_ = false;       ///< a node among its own inputs was met
    bool wrote_ = false, pyramids_ = true;
    std::unordered_set<int> logged_;
};

/// Where a transform node moves texture coordinates: the inverse of its transform about the middle of the picture.
Matrix<float> uvwToTexture(const Matrix<float>& transform);

/// Pixels of a baked image, and how many points are averaged for each.
struct BakeSize {
    std::uint32_t width = 0, height = 0, samples = 1;
};
/// Renders a texture over the unit square of its coordinates into an image. `grey`: one channel. The values are stored
/// encoded with `gamma`. Null when there is no memory for it.
ImageTexturePtr bakeTexture(const TextureTable& table, TextureId id, const BakeSize& size, PixelFormat format,
                            bool grey, float gamma);

}  // namespace Lumora::engine
