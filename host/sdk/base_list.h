// BaseList2D: the base of everything that stands in a document; weak links to it; translation of links in clones.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/sdk/desc.h"
#include "host/sdk/ge_data.h"

namespace host {

class BaseDocument;
class BaseShader;
class BaseTrack;
class LayerObject;
class NodeData;
struct PluginInfo;

/// What a change counter counts. Pass any sum of these to GetDirty.
enum DirtyFlags : UInt32 {
    DIRTYFLAGS_DATA = 2,          ///< own parameters, points, polygons; of a tag its values
    DIRTYFLAGS_MATRIX = 4,        ///< own matrix, relative to the parent
    DIRTYFLAGS_CACHE = 16,        ///< a cache was built again, children came, went or were reordered
    DIRTYFLAGS_DESCENDANTS = 32,  ///< tags of this element or anything below it
    DIRTYFLAGS_SELECT = 64,       ///< selection state, name, layer: nothing that a picture shows
    DIRTYFLAGS_ALL = 0xFFFFFFFF,
};

/// Change counters of a whole branch: the element, its tags and shaders, and everything below it.
enum HDirtyFlags : UInt32 {
    HDIRTYFLAGS_OBJECT = 2,
    HDIRTYFLAGS_OBJECT_MATRIX = 4,
    HDIRTYFLAGS_OBJECT_HIERARCHY = 8,
    HDIRTYFLAGS_TAG = 16,
    HDIRTYFLAGS_SHADER = 32,
    HDIRTYFLAGS_MATERIAL = 64,
    HDIRTYFLAGS_SETTINGS = 128,  ///< render data, video posts, layers, tracks, the document's settings
    HDIRTYFLAGS_ALL = 0xFFFFFFFF,
};

enum NodeBits : UInt32 {
    BIT_ACTIVE = 0x2,             ///< selected
    BIT_EXPORTED = 0x100,         ///< free for a renderer while it walks the document
    BIT_IN_SPLINE_USE = 0x200,    ///< a line object that a generator above it consumes
    BIT_CACHE_OBJECT = 0x1000,    ///< lives in a cache, not in the object tree
    BIT_CONTROL_OBJECT = 0x2000,  ///< consumed by its generator: not shown by itself
    BIT_DELETED_CHILD = 0x4000,
};

/// The families of nodes, for lists, files and registration.
enum class NodeFamily : UChar {
    Document,
    Object,
    Tag,
    Material,
    Shader,
    RenderData,
    VideoPost,
    Layer,
    Track,
    Draw,
    SceneHook,
    Other
};

/// Maps originals to their clones while a branch or a document is copied. Links to what was not copied stay.
class HOST_API AliasTrans {
public:
    void Add(const BaseList2D* original, BaseList2D* clone);
    /// The clone of `original`, or `original` itself when it was not copied.
    BaseList2D* Translate(BaseList2D* original) const;
    /// Points every link of the clones made so far at the clones. Called once, after all were made.
    void Connect();

private:
    friend class BaseContainer;
    friend class BaseLink;
    friend class DocumentIO;
    friend class ListAccess;
    void translate(BaseContainer& container) const;
    std::unordered_map<const BaseList2D*, BaseList2D*> clones_;
    std::vector<std::pair<const BaseList2D*, BaseList2D*>> order_;
    std::size_t connected_ = 0;                ///< of order_
    const BaseDocument* resolveIn_ = nullptr;  ///< links known by GUID only are looked up here
    UInt32 flags_ = 0;
};

/// A weak link. Empties itself when the element is freed. Copyable; cheap.
class HOST_API BaseLink {
public:
    BaseLink() = default;
    explicit BaseLink(BaseList2D* target) { SetLink(target); }

    void SetLink(const BaseList2D* target);
    /// The element, or null. With a document: the element when it stands in that document, else the element there
    /// that has the same GUID (its clone, or the original of a clone), else null.
    BaseList2D* GetLink(const BaseDocument* document = nullptr) const;
    /// The element wherever it stands, null only when it was freed.
    BaseList2D* ForceGetLink() const;
    UInt64 GetGUID() const { return guid_; }  ///< of what was linked, also after it is gone
    void Translate(const AliasTrans& translation);
    /// A link read from a file: found by GUID once the document is complete.
    void SetUnresolved(UInt64 guid);

    /// The same element, or both without one and once the same.
    friend bool operator==(const BaseLink& a, const BaseLink& b) {
        const BaseList2D* target = a.ForceGetLink();
        return target == b.ForceGetLink() && (target || a.guid_ == b.guid_);
    }

private:
    struct Anchor;
    friend class BaseList2D;
    std::shared_ptr<Anchor> anchor_;
    UInt64 guid_ = 0;
};

enum CopyFlags : UInt32 {
    COPYFLAGS_NONE = 0,
    COPYFLAGS_NO_HIERARCHY = 1,
    COPYFLAGS_NO_ANIMATION = 2,
    COPYFLAGS_NO_BITS = 4,
    COPYFLAGS_NO_BRANCHES = 8,  ///< without tags, shaders and video posts
    COPYFLAGS_KEEP_GUID = 16,   ///< the clone is the same thing in another document
};

/// A node with a name, parameters, links and change counters.
/// Threads: the main thread, or the thread that owns the document (a render's clone).
/// Ownership: an element that stands in a document or under another element is owned by it; a loose one by the caller.
class HOST_API BaseList2D {
public:
    virtual ~BaseList2D();
    BaseList2D(const BaseList2D&) = delete;
    BaseList2D& operator=(const BaseList2D&) = delete;

    Int32 GetType() const { return type_; }
    Bool IsInstanceOf(Int32 type) const;  ///< the type, or a base type of it (Obase, Tbase, Opoint, ...)
    NodeFamily GetFamily() const { return family_; }
    BaseDocument* GetDocument() const { return document_; }

    const String& GetName() const { return name_; }
    void SetName(const String& name);

    /// Identity that document clones and files keep and that copies within a document do not.
    UInt64 GetGUID() const { return guid_; }
    /// Stable data of a plug-in on this node, kept in files. Null when absent.
    const std::vector<UChar>* FindUniqueID(Int32 appId) const;
    void AddUniqueID(Int32 appId, const void* data, std::size_t bytes);

    UInt32 GetBits() const { return bits_; }
    Bool GetBit(UInt32 mask) const { return (bits_ & mask) != 0; }
    void SetBit(UInt32 mask) { bits_ |= mask; }
    void DelBit(UInt32 mask) { bits_ &= ~mask; }

    // Parameters. SetParameter goes through the node's data class and raises the data counter when the value differs.
    // The container may be read and written directly too: its own counter is part of the data counter.
    Bool GetParameter(const DescID& id, GeData& value) const;
    Bool SetParameter(const DescID& id, const GeData& value);
    BaseContainer* GetDataInstance() { return &data_; }
    const BaseContainer* GetDataInstance() const { return &data_; }
    BaseContainer GetData() const { return data_; }
    void SetData(const BaseContainer& data);
    const Description* GetDescription() const;

    /// Sum of the counters that the mask names. Only grows; equal sums mean nothing changed.
    UInt32 GetDirty(UInt32 mask) const;
    /// The same for the whole branch (HDirtyFlags). Constant time while nothing changes; after a change one walk of the
    /// branch serves every element in it.
    UInt32 GetHDirty(UInt32 mask) const;
    void SetDirty(UInt32 mask);

    /// Sends a message to the node's data class. True when it was handled.
    Bool Message(Int32 type, void* data = nullptr);
    NodeData* GetNodeData() const { return nodeData_.get(); }

    // Lists and trees.
    BaseList2D* GetNext() const { return next_; }
    BaseList2D* GetPred() const { return pred_; }
    BaseList2D* GetUp() const { return up_; }
    BaseList2D* GetDown() const { return down_; }
    BaseList2D* GetDownLast() const { return downLast_; }
    /// What owns this branch when it hangs on no parent: the object of a tag, the material or shader of a shader.
    BaseList2D* GetMain() const { return main_; }
    /// Takes the element out of its list. The caller owns it then.
    void Remove();

    // Shaders that the node owns.
    BaseShader* GetFirstShader() const { return firstShader_; }
    void InsertShader(BaseShader* shader, BaseShader* pred = nullptr);  ///< at the end when pred is null

    // Animation tracks that the node owns.
    BaseTrack* GetFirstTrack() const { return firstTrack_; }
    BaseTrack* FindTrack(const DescID& id) const;
    void InsertTrack(BaseTrack* track);

    LayerObject* GetLayerObject() const;
    void SetLayerObject(LayerObject* layer);

    /// A deep copy, loose. With a translation the caller connects the links when all copies are made; without one it
    /// is done here.
    BaseList2D* GetClone(UInt32 flags, AliasTrans* translation = nullptr) const;
    /// Makes this node a copy of `source` of the same type: parameters and content, and as the flags say its branches,
    /// which are made anew. Counters rise where something differs. False for another type.
    Bool CopyFrom(const BaseList2D& source, UInt32 flags, AliasTrans* translation);

protected:
    BaseList2D(NodeFamily family, Int32 type);
    friend class BaseDocument;
    friend class BaseLink;
    friend class NodeFactory;
    friend class DocumentIO;
    friend class ListAccess;

    /// What the node itself holds beside the members below; raises the counters of what differs.
    virtual void CopyContent(const BaseList2D& source, UInt32 flags);
    /// Points links outside the container at the clones; nothing is counted.
    virtual void TranslateLinks(const AliasTrans& translation);

    NodeFamily family_;
    Int32 type_;
    UInt32 bits_ = 0;
    UInt64 guid_;
    String name_;
    BaseContainer data_;
    std::unique_ptr<NodeData> nodeData_;  ///< of plug-in and built-in types that have one
    BaseDocument* document_ = nullptr;
    BaseList2D *next_ = nullptr, *pred_ = nullptr, *up_ = nullptr, *down_ = nullptr, *downLast_ = nullptr;
    BaseList2D* main_ = nullptr;
    BaseShader* firstShader_ = nullptr;
    BaseTrack* firstTrack_ = nullptr;
    BaseLink layer_;
    std::map<Int32, std::vector<UChar>> uniqueIds_;
    UInt32 dirtyData_ = 0, dirtyMatrix_ = 0, dirtyCache_ = 0, dirtyDescendants_ = 0, dirtySelect_ = 0;
    mutable std::shared_ptr<BaseLink::Anchor> anchor_;
    std::vector<UChar> privateData_;  ///< of a node whose plug-in is absent: kept as it was read
    Int32 privateLevel_ = 0;

    static constexpr Int32 kSums = 7;  ///< one for each HDirtyFlags
    struct Sums {
        std::array<UInt32, kSums> value{};
        UInt64 epoch = 0;  ///< of the last change anywhere when the sums were made
    };
    mutable Sums sums_;                 ///< of the branch
    std::array<UInt32, kSums> gone_{};  ///< sums of what left the branch, so that sums only grow
    Bool undoOwned_ = false;            ///< an undo step keeps the element when it is removed
    Bool retired_ = false;              ///< being freed
};

/// Keyframe animation of one parameter.
class HOST_API BaseTrack : public BaseList2D {
public:
    enum class Interpolation : UChar { Step, Linear, Spline };
    struct Key {
        BaseTime time;
        GeData value;
        Interpolation interpolation = Interpolation::Linear;
        Float leftSlope = 0, rightSlope = 0;  ///< value per second, for Spline keys of numbers
    };
    static BaseTrack* Alloc(const DescID& id);

    const DescID& GetParameterID() const { return parameter_; }
    const std::vector<Key>& GetKeys() const { return keys_; }
    /// Inserts in order of time; a key at the same time is replaced.
    void SetKey(Key key);
    /// The value at that time: held outside the keys, rotations given as matrices interpolate as rotations.
    GeData GetValue(const BaseTime& time) const;

private:
    friend class NodeFactory;
    friend class DocumentIO;
    friend class ListAccess;
    explicit BaseTrack(const DescID& id);
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    void TranslateLinks(const AliasTrans& translation) override;
    DescID parameter_;
    std::vector<Key> keys_;
};

}  // namespace host
