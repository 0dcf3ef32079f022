// Objects: transforms, caches, points and polygons.
#pragma once

#include <span>
#include <vector>

#include "host/sdk/base_list.h"
#include "host/sdk/ids.h"

namespace host {

class BaseTag;

enum class VisibilityMode : Int32 { On = 0, Off = 1, Undefined = 2 };

/// An object of the tree, or of a cache.
class HOST_API BaseObject : public BaseList2D {
public:
    /// A loose object with the type's defaults; null for an unknown type.
    static BaseObject* Alloc(Int32 type);
    static void Free(BaseObject*& object);

    BaseObject* GetNext() const { return static_cast<BaseObject*>(next_); }
    BaseObject* GetPred() const { return static_cast<BaseObject*>(pred_); }
    BaseObject* GetUp() const { return static_cast<BaseObject*>(up_); }
    BaseObject* GetDown() const { return static_cast<BaseObject*>(down_); }
    BaseObject* GetDownLast() const { return static_cast<BaseObject*>(downLast_); }
    void InsertUnder(BaseObject* parent);  ///< as first child
    void InsertUnderLast(BaseObject* parent);
    void InsertBefore(BaseObject* next);
    void InsertAfter(BaseObject* pred);

    // Transforms. Local matrices are relative to the parent; global ones are computed on the way up.
    const Matrix& GetMl() const { return local_; }
    void SetMl(const Matrix& m);
    Matrix GetMg() const;
    void SetMg(const Matrix& m);
    Vector GetAbsPos() const { return local_.off; }
    void SetAbsPos(const Vector& position);
    Vector GetAbsRot() const;  ///< heading, pitch, bank
    void SetAbsRot(const Vector& hpb);
    Vector GetAbsScale() const;
    void SetAbsScale(const Vector& scale);

    VisibilityMode GetRenderMode() const;
    VisibilityMode GetEditorMode() const;
    void SetRenderMode(VisibilityMode mode);
    void SetEditorMode(VisibilityMode mode);
    Bool GetDeformMode() const;  ///< the "Enabled" switch
    void SetDeformMode(Bool on);

    /// Half size and centre of the bounding box in object space; of the cache for generators. (0,0,0) without points.
    Vector GetRad() const;
    Vector GetMp() const;

    // Caches: what a generator made, and what deformers made of it. Owned by the object. Null when there is none.
    BaseObject* GetCache() const { return cache_; }
    BaseObject* GetDeformCache() const { return deformCache_; }
    /// The object whose cache this object is the top of; null elsewhere.
    BaseObject* GetCacheParent() const { return cacheParent_; }
    UInt32 GetUniqueIP() const { return uniqueIp_; }  ///< number of this object within its generator's cache

    // Tags, in order.
    BaseTag* GetFirstTag() const { return firstTag_; }
    BaseTag* GetTag(Int32 type, Int32 nth = 0) const;
    /// Behind `pred`, or at the end. Null for an unknown type.
    BaseTag* MakeTag(Int32 type, BaseTag* pred = nullptr);
    void InsertTag(BaseTag* tag, BaseTag* pred = nullptr);
    void KillTag(Int32 type, Int32 nth = 0);

    /// Makes sure of a phong tag with these settings. Angle in radians.
    void SetPhong(Bool on, Bool angleLimit, Float angle);

    ~BaseObject() override;

protected:
    explicit BaseObject(Int32 type);
    friend class BaseDocument;
    friend class NodeFactory;
    friend class DocumentIO;
    friend class ListAccess;
    friend class Evaluator;
    void CopyContent(const BaseList2D& source, UInt32 flags) override;

    Matrix local_;
    BaseTag* firstTag_ = nullptr;
    BaseObject *cache_ = nullptr, *deformCache_ = nullptr, *cacheParent_ = nullptr;
    UInt32 uniqueIp_ = 0;
    UInt32 cacheBuiltAt_ = 0;  ///< dirty sum that the cache was built from
};

/// Base of objects with points.
class HOST_API PointObject : public BaseObject {
public:
    Int32 GetPointCount() const { return static_cast<Int32>(points_.size()); }
    const Vector* GetPointR() const { return points_.data(); }
    /// For writing. Follow with SetDirty(DIRTYFLAGS_DATA).
    Vector* GetPointW() { return points_.data(); }
    std::vector<Vector>& Points() { return points_; }
    const std::vector<Vector>& Points() const { return points_; }

protected:
    using BaseObject::BaseObject;
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    friend class NodeFactory;
    friend class DocumentIO;
    friend class Evaluator;
    std::vector<Vector> points_;
};

/// Corner indices. A triangle has c == d.
struct CPolygon {
    Int32 a = 0, b = 0, c = 0, d = 0;
    constexpr CPolygon() = default;
    constexpr CPolygon(Int32 ia, Int32 ib, Int32 ic) : a(ia), b(ib), c(ic), d(ic) {}
    constexpr CPolygon(Int32 ia, Int32 ib, Int32 ic, Int32 id) : a(ia), b(ib), c(ic), d(id) {}
    constexpr Bool IsTriangle() const { return c == d; }
    constexpr Int32 operator[](Int32 i) const { return i == 0 ? a : i == 1 ? b : i == 2 ? c : d; }
    friend constexpr bool operator==(const CPolygon&, const CPolygon&) = default;
};

/// A polygon object: points and polygons of three or four corners. Seen from outside, corners run clockwise in the
/// host's left-handed space.
class HOST_API PolygonObject : public PointObject {
public:
    static PolygonObject* Alloc(Int32 points, Int32 polygons);

    Int32 GetPolygonCount() const { return static_cast<Int32>(polygons_.size()); }
    const CPolygon* GetPolygonR() const { return polygons_.data(); }
    CPolygon* GetPolygonW() { return polygons_.data(); }
    std::vector<CPolygon>& Polygons() { return polygons_; }
    const std::vector<CPolygon>& Polygons() const { return polygons_; }
    void ResizeObject(Int32 points, Int32 polygons);

    /// Normals for shading: four for each polygon, one for each corner (a triangle's fourth repeats its third), unit
    /// length or zero for a degenerate polygon. From the normal tag when there is one, else smoothed as the phong tag
    /// says (angle limit between neighbouring faces). Empty without a phong or normal tag, or when an index is out of
    /// range. Runs on several threads.
    std::vector<Vector32> CreatePhongNormals() const;

private:
    friend class NodeFactory;
    friend class DocumentIO;
    friend class Evaluator;
    PolygonObject();
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    std::vector<CPolygon> polygons_;
};

/// A polyline: the evaluated form of a spline.
class HOST_API LineObject : public PointObject {
public:
    static LineObject* Alloc(Int32 points);
    /// Point counts of the segments; empty: one segment of all points.
    std::vector<Int32>& Segments() { return segments_; }
    const std::vector<Int32>& Segments() const { return segments_; }
    Bool IsClosed() const { return closed_; }
    void SetClosed(Bool closed) { closed_ = closed; }

private:
    friend class NodeFactory;
    friend class DocumentIO;
    LineObject();
    void CopyContent(const BaseList2D& source, UInt32 flags) override;
    std::vector<Int32> segments_;
    Bool closed_ = false;
};

/// Casts: null when the element is null or of another type.
inline PolygonObject* ToPoly(BaseObject* object) {
    return object && object->GetType() == Opolygon ? static_cast<PolygonObject*>(object) : nullptr;
}
inline LineObject* ToLine(BaseObject* object) {
    return object && object->GetType() == Oline ? static_cast<LineObject*>(object) : nullptr;
}

}  // namespace host
