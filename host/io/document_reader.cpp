// Reading of document files. Nothing that a file says is taken on trust.
#include <algorithm>
#include <limits>
#include <memory>

#include "host/io/document_io.h"
#include "host/model/node_factory.h"
#include "host/sdk/log.h"
#include "host/sdk/node_data.h"

namespace host {
namespace {

struct DestroyNode {
    void operator()(BaseList2D* node) const { ListAccess::destroy(node); }
};
using LooseNode = std::unique_ptr<BaseList2D, DestroyNode>;

Bool corrupt(HyperFile& file, const BaseList2D& node, const String& what) {
    return file.Fail(FileError::Corrupt, "The document is damaged: " + what + " of \"" + node.GetName() + "\".");
}

/// Counts of elements are 32-bit numbers everywhere.
template <typename T>
Bool readArray(HyperFile& file, std::vector<T>* array) {
    return file.ReadArray(array) &&
           (array->size() <= static_cast<std::size_t>(std::numeric_limits<Int32>::max()) ||
            file.Fail(FileError::TooLarge, "The document holds an array with more than 2147483647 elements."));
}

Bool readLink(HyperFile& file, BaseLink* link) {
    Int64 guid = 0;
    if (!file.ReadInt64(&guid)) return false;
    link->SetUnresolved(static_cast<UInt64>(guid));
    return true;
}

Bool checkPolygons(HyperFile& file, const PolygonObject& mesh) {
    const auto points = static_cast<UInt32>(mesh.GetPointCount());
    const auto& polygons = mesh.Polygons();
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        const CPolygon& p = polygons[i];
        if (static_cast<UInt32>(p.a) < points && static_cast<UInt32>(p.b) < points &&
            static_cast<UInt32>(p.c) < points && static_cast<UInt32>(p.d) < points)
            continue;
        return corrupt(file, mesh,
                       "polygon " + String::IntToString(static_cast<Int64>(i)) + " names a point beyond the " +
                           String::IntToString(points) + " points");
    }
    return true;
}

/// Which family a branch holds.
Bool fits(NodeFamily owner, Int32 branch, NodeFamily family) {
    switch (static_cast<Branch>(branch)) {
        case Branch::Children:
            return owner == family && family == NodeFamily::Shader;
        case Branch::Tags:
            return owner == NodeFamily::Object && family == NodeFamily::Tag;
        case Branch::Shaders:
            return family == NodeFamily::Shader;
        case Branch::Tracks:
            return family == NodeFamily::Track;
        case Branch::VideoPosts:
            return owner == NodeFamily::RenderData && family == NodeFamily::VideoPost;
        default:
            return false;
    }
}

}  // namespace

Bool DocumentIO::readHead(HyperFile& file, BaseList2D& node, Bool merge) {
    Int64 guid = 0;
    Int32 bits = 0, ids = 0;
    BaseContainer data;
    if (!file.ReadInt64(&guid) || !file.ReadString(&node.name_) || !file.ReadInt32(&bits) ||
        !readLink(file, &node.layer_) || !file.ReadContainer(&data) || !file.ReadInt32(&ids))
        return false;
    if (guid != 0) node.guid_ = static_cast<UInt64>(guid);
    node.bits_ = static_cast<UInt32>(bits) & kKeptBits;
    if (merge) {
        node.data_.Merge(data);  // over the defaults: the file may be older than a parameter
    } else {
        node.data_ = std::move(data);
    }
    for (Int32 i = 0; i < ids; ++i) {
        Int32 id = 0;
        std::vector<UChar> bytes;
        if (!file.ReadInt32(&id) || !file.ReadBytes(&bytes)) return false;
        node.uniqueIds_[id] = std::move(bytes);
    }
    return true;
}

Bool DocumentIO::readTagContent(HyperFile& file, BaseList2D& tag) {
    switch (tag.type_) {
        case Tuvw:
            return readArray(file, &static_cast<UVWTag&>(tag).uvs_);
        case Tnormal:
            return readArray(file, &static_cast<NormalTag&>(tag).normals_);
        case Tpolygonselection:
        case Tpointselection: {
            std::vector<BaseSelect::Range> ranges;
            if (!readArray(file, &ranges)) return false;
            Int64 last = -2;
            for (const BaseSelect::Range& range : ranges) {
                if (range.first < 0 || range.last < range.first || range.first <= last)
                    return corrupt(file, tag, "the selection's ranges");
                last = range.last;
            }
            auto* select = static_cast<SelectionTag&>(tag).GetBaseSelect();
            for (const BaseSelect::Range& range : ranges) select->Select(range.first, range.last);
            return true;
        }
        case Tvertexmap:
        case Tvertexcolor: {
            auto& vertices = static_cast<VertexTag&>(tag);
            if (!readArray(file, &vertices.values_)) return false;
            return vertices.values_.size() % static_cast<std::size_t>(vertices.GetComponents()) == 0 ||
                   corrupt(file, tag, "the number of values");
        }
        default:
            return true;
    }
}

Bool DocumentIO::readTrackContent(HyperFile& file, BaseTrack& track) {
    Int32 count = 0;
    if (!file.ReadInt32(&track.parameter_.id) || !file.ReadInt32(&track.parameter_.component) ||
        !file.ReadInt32(&count))
        return false;
    for (Int32 i = 0; i < count; ++i) {
        BaseTrack::Key key;
        Int32 interpolation = 0;
        if (!file.ReadTime(&key.time) || !file.ReadData(&key.value) || !file.ReadInt32(&interpolation) ||
            !file.ReadFloat(&key.leftSlope) || !file.ReadFloat(&key.rightSlope))
            return false;
        if (!track.keys_.empty() && !(track.keys_.back().time < key.time))
            return corrupt(file, track, "the order of the keys");
        key.interpolation = static_cast<BaseTrack::Interpolation>(std::clamp(interpolation, 0, 2));
        track.keys_.push_back(std::move(key));
    }
    return true;
}

Bool DocumentIO::readContent(HyperFile& file, BaseList2D& node) {
    if (node.family_ == NodeFamily::Tag) return readTagContent(file, node);
    if (node.family_ == NodeFamily::Track) return readTrackContent(file, static_cast<BaseTrack&>(node));
    if (node.family_ != NodeFamily::Object) return true;
    if (!file.ReadMatrix(&static_cast<BaseObject&>(node).local_)) return false;
    if (node.type_ == Opolygon) {
        auto& mesh = static_cast<PolygonObject&>(node);
        return readArray(file, &mesh.points_) && readArray(file, &mesh.polygons_) && checkPolygons(file, mesh);
    }
    if (node.type_ == Oline) {
        auto& line = static_cast<LineObject&>(node);
        if (!readArray(file, &line.points_) || !readArray(file, &line.segments_) || !file.ReadBool(&line.closed_))
            return false;
        Int64 used = 0;
        for (const Int32 count : line.segments_) {
            used += count;
            if (count < 0 || used > line.GetPointCount()) return corrupt(file, node, "the segments");
        }
    }
    return true;
}

Bool DocumentIO::readPrivate(HyperFile& file, BaseList2D& node, Int32 level) {
    if (!node.nodeData_) {
        node.privateLevel_ = level;
        return file.ReadRest(&node.privateData_);
    }
    if (!node.nodeData_->Read(&node, file, level)) {
        if (file.GetError() != FileError::None) return false;
        GeConsoleOut("\"" + node.name_ + "\" could not read its data; its defaults stand.");
    }
    return file.GetError() == FileError::None;
}

/// What stands behind the head: content, private data, owned nodes.
Bool DocumentIO::readInside(HyperFile& file, BaseList2D& node) {
    Int32 chunk = 0, level = 0;
    while (file.ReadChunkStart(&chunk, &level)) {
        Bool good = true;
        if (chunk == kContentChunk) {
            good = readContent(file, node);
        } else if (chunk == kPrivateChunk) {
            good = readPrivate(file, node, level);
        } else if (chunk == kNodeChunk) {
            good = readOwned(file, node);
        }
        if (!good || !file.ReadChunkEnd()) return false;
    }
    return file.GetError() == FileError::None;
}

Bool DocumentIO::readOwned(HyperFile& file, BaseList2D& owner) {
    Int32 branch = 0, depth = 0;
    LooseNode node(readNode(file, &branch, &depth));
    if (!node) return false;
    if (!fits(owner.family_, branch, node->family_)) return corrupt(file, owner, "what hangs on it");
    ListAccess::append(*node.release(), owner, static_cast<Branch>(branch));
    return true;
}

BaseList2D* DocumentIO::readNode(HyperFile& file, Int32* branch, Int32* depth) {
    Int32 family = 0, type = 0;
    if (!file.ReadInt32(&family) || !file.ReadInt32(&type) || !file.ReadInt32(branch) || !file.ReadInt32(depth))
        return nullptr;
    const auto kind = static_cast<NodeFamily>(family);
    const Bool possible =
        family > static_cast<Int32>(NodeFamily::Document) && family <= static_cast<Int32>(NodeFamily::Track);
    LooseNode node(possible ? NodeFactory::makeOrKeep(kind, type) : nullptr);
    if (!node) {
        file.Fail(FileError::Corrupt,
                  "The document is damaged: it holds a node of the unknown type " + String::IntToString(type) + ".");
        return nullptr;
    }
    const Bool known = NodeFactory::isKnown(kind, type);
    return readHead(file, *node, known) && readInside(file, *node) ? node.release() : nullptr;
}

Bool DocumentIO::readList(HyperFile& file, BaseDocument& document) {
    Int32 family = 0;
    if (!file.ReadInt32(&family)) return false;
    std::vector<BaseList2D*> path;  // the last node of each depth
    Int32 chunk = 0, level = 0;
    while (file.ReadChunkStart(&chunk, &level)) {
        if (chunk == kNodeChunk) {
            Int32 branch = 0, depth = 0;
            LooseNode node(readNode(file, &branch, &depth));
            if (!node) return false;
            const Bool tree = node->family_ == NodeFamily::Object || node->family_ == NodeFamily::Layer;
            if (static_cast<Int32>(node->family_) != family || branch != kInList || depth < 0 ||
                static_cast<std::size_t>(depth) > path.size() || (depth > 0 && !tree))
                return corrupt(file, *node, "the place");
            BaseList2D* owner = depth == 0 ? &document : path[static_cast<std::size_t>(depth) - 1];
            path.resize(static_cast<std::size_t>(depth));
            path.push_back(node.get());
            if (!ListAccess::append(*node, *owner, Branch::Children)) return corrupt(file, *node, "the place");
            node.release();
        }
        if (!file.ReadChunkEnd()) return false;
    }
    return file.GetError() == FileError::None;
}

Bool DocumentIO::readView(HyperFile& file, BaseDocument& document) {
    BaseDraw& view = *document.draw_;
    if (!readHead(file, view, false) || !readLink(file, &view.sceneCamera_)) return false;
    Int32 frame[4] = {};
    for (Int32& side : frame) {
        if (!file.ReadInt32(&side)) return false;
    }
    view.SetFrame(frame[0], frame[1], frame[2], frame[3]);
    Int32 chunk = 0, level = 0;
    while (file.ReadChunkStart(&chunk, &level)) {
        if (chunk == kNodeChunk) {
            Int32 branch = 0, depth = 0;
            LooseNode camera(readNode(file, &branch, &depth));
            if (!camera) return false;
            if (camera->family_ != NodeFamily::Object || camera->type_ != Ocamera)
                return corrupt(file, *camera, "the view's camera");
            view.editorCamera_->guid_ = camera->guid_;
            if (!view.editorCamera_->CopyFrom(*camera, COPYFLAGS_KEEP_GUID, nullptr)) return false;
        }
        if (!file.ReadChunkEnd()) return false;
    }
    return file.GetError() == FileError::None;
}

Bool DocumentIO::readSettings(HyperFile& file, BaseDocument& document) {
    return readHead(file, document, true) && file.ReadTime(&document.time_) && file.ReadFilename(&document.path_) &&
           readLink(file, &document.activeRenderData_) && readLink(file, &document.activeObject_) &&
           readLink(file, &document.activeMaterial_) && readInside(file, document);
}

BaseDocument* DocumentIO::read(HyperFile& file) {
    std::unique_ptr<BaseDocument> document(new BaseDocument);
    Bool settings = false;
    Int32 chunk = 0, level = 0;
    while (file.ReadChunkStart(&chunk, &level)) {
        Bool good = true;
        if (chunk == kDocumentChunk) {
            good = readSettings(file, *document);
            settings = true;
        } else if (chunk == kViewChunk) {
            good = readView(file, *document);
        } else if (chunk == kListChunk) {
            good = readList(file, *document);
        }
        if (!good || !file.ReadChunkEnd()) {
            file.Fail(FileError::Corrupt);
            return nullptr;
        }
    }
    if (file.GetError() == FileError::None && !settings) file.Fail(FileError::Corrupt);
    if (file.GetError() != FileError::None) return nullptr;
    ListAccess::resolveLinks(*document);
    static_cast<void>(document->GetActiveRenderData());  // makes one when there is none
    document->changed_ = false;
    return document.release();
}

BaseDocument* readDocument(HyperFile& file) {
    return DocumentIO::read(file);
}

}  // namespace host
