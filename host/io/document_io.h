// Inside of document files, shared by the writer and the reader.
#pragma once

#include "host/io/document_file.h"
#include "host/model/list_access.h"

namespace host {

/// Has access to what nodes hold.
class DocumentIO {
public:
    static Bool write(HyperFile& file, const BaseDocument& document);
    static BaseDocument* read(HyperFile& file);

private:
    enum Chunk : Int32 { kDocumentChunk = 1, kViewChunk, kListChunk, kNodeChunk, kContentChunk, kPrivateChunk };
    /// How much of a node's bits is its own and lasts.
    static constexpr UInt32 kKeptBits = BIT_ACTIVE;
    /// Stands for "in the list" where a branch is written.
    static constexpr Int32 kInList = -1;

    static Bool writeHead(HyperFile& file, const BaseList2D& node);
    static Bool writeNode(HyperFile& file, const BaseList2D& node, Int32 branch, Int32 depth);
    static Bool writeContent(HyperFile& file, const BaseList2D& node);
    static Bool writePrivate(HyperFile& file, const BaseList2D& node);
    static Bool writeList(HyperFile& file, const BaseDocument& document, NodeFamily family);

    static Bool readHead(HyperFile& file, BaseList2D& node, Bool merge);
    static BaseList2D* readNode(HyperFile& file, Int32* branch, Int32* depth);
    static Bool readInside(HyperFile& file, BaseList2D& node);
    static Bool readOwned(HyperFile& file, BaseList2D& owner);
    static Bool readContent(HyperFile& file, BaseList2D& node);
    static Bool readTagContent(HyperFile& file, BaseList2D& tag);
    static Bool readTrackContent(HyperFile& file, BaseTrack& track);
    static Bool readPrivate(HyperFile& file, BaseList2D& node, Int32 level);
    static Bool readList(HyperFile& file, BaseDocument& document);
    static Bool readView(HyperFile& file, BaseDocument& document);
    static Bool readSettings(HyperFile& file, BaseDocument& document);
};

}  // namespace host
