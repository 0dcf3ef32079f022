// Tags: what hangs on an object beside its parameters.
#pragma once

#include <memory>
#include <vector>

#include "host/sdk/base_list.h"
#include "host/sdk/ids.h"
#include "host/sdk/object.h"

namespace host {

class BaseMaterial;

class HOST_API BaseTag : public BaseList2D {
public:
    /// A loose tag; null for an unknown type. `count` is the element count of tags with one value per point or polygon.
    static BaseTag* Alloc(Int32 type, Int32 count = 0);
    static void Free(BaseTag*& tag);

    BaseTag* GetNext() const { return static_cast<BaseTag*>(next_); }
    BaseTag* GetPred() const { return static_cast<BaseTag*>(pred_); }
    BaseObject* GetObject() const { return static_cast<BaseObject*>(main_); }

protected:
    explicit BaseTag(Int32 type);
    friend class NodeFactory;
};

/// Lays a material on an object.
class HOST_API TextureTag : public BaseTag {
public:
    static TextureTag* Alloc();
    BaseMaterial* GetMaterial() const;
    void SetMaterial(BaseMaterial* material);
    /// Place of the projection in object space, from position, rotation and size.
    Matrix GetMl() const;
    void SetMl(const Matrix& m);
    Vector GetPos() const;
    Vector GetRot() const;
    Vector GetScale() const;

private:
    friend class NodeFactory;
    TextureTag();
};

/// Four texture coordinates of a polygon. v grows downwards.
struct UVWStruct {
    Vector a, b, c, d;
};

class HOST_API UVWTag : public BaseTag {
public:
    static UVWTag* Alloc(Int32 polygons);
    static void Free(UVWTag*& tag);
    Int32 GetDataCount() const { return static_cast<Int32>(uvs_.size()); }
    UVWStruct Get(Int32 polygon) const;
    void Set(Int32 polygon, const UVWStruct& uvw);
    /// Twelve floats a polygon.
    const std::vector<std::array<TVector<Float32>, 4>>& Data() const { return uvs_; }
    std::vector<std::array<TVector<Float32>, 4>>& Data() { return uvs_; }

private:
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    friend class NodeFactory;
    friend class DocumentIO;
    UVWTag();
    std::vector<std::array<TVector<Float32>, 4>> uvs_;
};

/// Normals given by a file: one for each corner, object space, unit length. Four a polygon.
class HOST_API NormalTag : public BaseTag {
public:
    static NormalTag* Alloc(Int32 polygons);
    const std::vector<std::array<Vector32, 4>>& Data() const { return normals_; }
    std::vector<std::array<Vector32, 4>>& Data() { return normals_; }

private:
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    friend class NodeFactory;
    friend class DocumentIO;
    NormalTag();
    std::vector<std::array<Vector32, 4>> normals_;
};

/// A set of indices kept as sorted, disjoint ranges.
class HOST_API BaseSelect {
public:
    struct Range {
        Int32 first, last;  ///< both belong to it
        friend bool operator==(const Range&, const Range&) = default;
    };
    void Select(Int32 first, Int32 last);
    void Deselect(Int32 first, Int32 last);
    void DeselectAll() { ranges_.clear(); }
    Bool IsSelected(Int32 index) const;
    Int64 GetCount() const;
    const std::vector<Range>& Ranges() const { return ranges_; }
    friend bool operator==(const BaseSelect&, const BaseSelect&) = default;

private:
    std::vector<Range> ranges_;
};

/// Tpolygonselection, Tpointselection.
class HOST_API SelectionTag : public BaseTag {
public:
    static SelectionTag* Alloc(Int32 type);
    BaseSelect* GetBaseSelect() { return &select_; }
    const BaseSelect* GetBaseSelect() const { return &select_; }

private:
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    friend class NodeFactory;
    friend class DocumentIO;
    explicit SelectionTag(Int32 type);
    BaseSelect select_;
};

/// Tvertexmap: one weight for each point. Tvertexcolor: four floats (RGBA) for each point.
class HOST_API VertexTag : public BaseTag {
public:
    static VertexTag* Alloc(Int32 type, Int32 points);
    Int32 GetComponents() const { return GetType() == Tvertexcolor ? 4 : 1; }
    const std::vector<Float32>& Data() const { return values_; }
    std::vector<Float32>& Data() { return values_; }

private:
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    friend class NodeFactory;
    friend class DocumentIO;
    explicit VertexTag(Int32 type);
    std::vector<Float32> values_;
};

/// Texture coordinates of a projection other than UVW: a loose tag that the caller frees, or null when the object has
/// no polygons, the projection has no coordinates (frontal without a camera, UVW), or an index is out of range.
/// `projection` is a TextureProjectionMode, `place` the projection's matrix in object space.
HOST_API UVWTag* GenerateUVW(const PolygonObject& object, Int32 projection, const Matrix& place,
                             const BaseObject* camera = nullptr);

}  // namespace host
