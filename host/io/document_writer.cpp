// Writing of document files.
#include "host/io/document_io.h"
#include "host/sdk/node_data.h"
#include "host/sdk/plugin.h"

namespace host {
namespace {

Int64 guidOf(const BaseLink& link) {
    return static_cast<Int64>(link.GetGUID());
}

}  // namespace

Bool DocumentIO::writeHead(HyperFile& file, const BaseList2D& node) {
    if (!file.WriteInt64(static_cast<Int64>(node.guid_)) || !file.WriteString(node.name_) ||
        !file.WriteInt32(static_cast<Int32>(node.bits_ & kKeptBits)) || !file.WriteInt64(guidOf(node.layer_)) ||
        !file.WriteContainer(node.data_) || !file.WriteInt32(static_cast<Int32>(node.uniqueIds_.size())))
        return false;
    for (const auto& [id, bytes] : node.uniqueIds_) {
        if (!file.WriteInt32(id) || !file.WriteArray(bytes)) return false;
    }
    return true;
}

Bool DocumentIO::writeContent(HyperFile& file, const BaseList2D& node) {
    if (node.family_ == NodeFamily::Object) {
        if (!file.WriteMatrix(static_cast<const BaseObject&>(node).local_)) return false;
        if (node.type_ == Opolygon) {
            const auto& mesh = static_cast<const PolygonObject&>(node);
            return file.WriteArray(mesh.points_) && file.WriteArray(mesh.polygons_);
        }
        if (node.type_ == Oline) {
            const auto& line = static_cast<const LineObject&>(node);
            return file.WriteArray(line.points_) && file.WriteArray(line.segments_) && file.WriteBool(line.closed_);
        }
        return true;
    }
    if (node.family_ == NodeFamily::Tag) {
        switch (node.type_) {
            case Tuvw:
                return file.WriteArray(static_cast<const UVWTag&>(node).uvs_);
            case Tnormal:
                return file.WriteArray(static_cast<const NormalTag&>(node).normals_);
            case Tpolygonselection:
            case Tpointselection:
                return file.WriteArray(static_cast<const SelectionTag&>(node).select_.Ranges());
            case Tvertexmap:
            case Tvertexcolor:
                return file.WriteArray(static_cast<const VertexTag&>(node).values_);
            default:
                return true;
        }
    }
    if (node.family_ == NodeFamily::Track) {
        const auto& track = static_cast<const BaseTrack&>(node);
        if (!file.WriteInt32(track.parameter_.id) || !file.WriteInt32(track.parameter_.component) ||
            !file.WriteInt32(static_cast<Int32>(track.keys_.size())))
            return false;
        for (const BaseTrack::Key& key : track.keys_) {
            if (!file.WriteTime(key.time) || !file.WriteData(key.value) ||
                !file.WriteInt32(static_cast<Int32>(key.interpolation)) || !file.WriteFloat(key.leftSlope) ||
                !file.WriteFloat(key.rightSlope))
                return false;
        }
    }
    return true;
}

Bool DocumentIO::writePrivate(HyperFile& file, const BaseList2D& node) {
    if (!node.nodeData_) {
        if (node.privateData_.empty()) return true;
        return file.WriteChunkStart(kPrivateChunk, node.privateLevel_) && file.WriteRest(node.privateData_) &&
               file.WriteChunkEnd();
    }
    const PluginInfo* info = FindPlugin(node.type_);
    if (!info) return true;  // the host's own types keep everything in the container
    if (!file.WriteChunkStart(kPrivateChunk, info->level)) return false;
    if (!node.nodeData_->Write(&node, file)) {
        return file.Fail(FileError::Other, "\"" + node.name_ + "\" could not write its data.");
    }
    return file.WriteChunkEnd();
}

Bool DocumentIO::writeNode(HyperFile& file, const BaseList2D& node, Int32 branch, Int32 depth) {
    if (!file.WriteChunkStart(kNodeChunk, 1) || !file.WriteInt32(static_cast<Int32>(node.family_)) ||
        !file.WriteInt32(node.type_) || !file.WriteInt32(branch) || !file.WriteInt32(depth) || !writeHead(file, node))
        return false;
    if (!file.WriteChunkStart(kContentChunk, 1) || !writeContent(file, node) || !file.WriteChunkEnd()) return false;
    if (!writePrivate(file, node)) return false;
    for (const Branch below : kKeptBranches) {
        if (below == Branch::Children && branch == kInList) continue;  // they follow in the list
        for (const BaseList2D* owned = ListAccess::first(node, below); owned; owned = owned->next_) {
            if (!writeNode(file, *owned, static_cast<Int32>(below), 0)) return false;
        }
    }
    return file.WriteChunkEnd();
}

Bool DocumentIO::writeList(HyperFile& file, const BaseDocument& document, NodeFamily family) {
    if (!file.WriteChunkStart(kListChunk, 1) || !file.WriteInt32(static_cast<Int32>(family))) return false;
    Int32 depth = 0;
    for (const BaseList2D* node = ListAccess::firstInDocument(document, family); node;) {
        if (!writeNode(file, *node, kInList, depth)) return false;
        if (node->down_) {
            node = node->down_;
            ++depth;
            continue;
        }
        while (node && !node->next_) {
            node = node->up_;
            --depth;
        }
        if (node) node = node->next_;
    }
    return file.WriteChunkEnd();
}

// The folder stays out of the file: it is the one that the file lies in when it is read, on whoever's machine.
Bool DocumentIO::write(HyperFile& file, const BaseDocument& document) {
    if (!file.WriteChunkStart(kDocumentChunk, 1) || !writeHead(file, document) || !file.WriteTime(document.time_) ||
        !file.WriteFilename(Filename()) || !file.WriteInt64(guidOf(document.activeRenderData_)) ||
        !file.WriteInt64(guidOf(document.activeObject_)) || !file.WriteInt64(guidOf(document.activeMaterial_)))
        return false;
    for (const BaseList2D* track = document.firstTrack_; track; track = track->next_) {
        if (!writeNode(file, *track, static_cast<Int32>(Branch::Tracks), 0)) return false;
    }
    if (!file.WriteChunkEnd()) return false;

    const BaseDraw& view = *document.draw_;
    if (!file.WriteChunkStart(kViewChunk, 1) || !writeHead(file, view) || !file.WriteInt64(guidOf(view.sceneCamera_)))
        return false;
    for (const Int32 side : view.frame_) {
        if (!file.WriteInt32(side)) return false;
    }
    if (!writeNode(file, *view.editorCamera_, static_cast<Int32>(Branch::Children), 0) || !file.WriteChunkEnd())
        return false;

    for (const NodeFamily family : kDocumentFamilies) {
        if (!writeList(file, document, family)) return false;
    }
    return true;
}

Bool writeDocument(HyperFile& file, const BaseDocument& document) {
    return DocumentIO::write(file, document);
}

}  // namespace host
