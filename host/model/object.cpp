// Objects: transforms, bounds, tags, points and polygons.
#include "host/sdk/object.h"

#include <algorithm>

#include "host/model/list_access.h"
#include "host/model/node_factory.h"
#include "host/model/same_value.h"
#include "host/sdk/tag.h"

namespace host {
BaseObject::BaseObject(Int32 type) : BaseList2D(NodeFamily::Object, type) {}

BaseObject::~BaseObject() {
    ListAccess::retire(*this);
}

BaseObject* BaseObject::Alloc(Int32 type) {
    return static_cast<BaseObject*>(NodeFactory::make(NodeFamily::Object, type));
}

void BaseObject::Free(BaseObject*& object) {
    ListAccess::destroy(object);
    object = nullptr;
}

void BaseObject::InsertUnder(BaseObject* parent) {
    if (parent) ListAccess::insert(*this, {parent, Branch::Children, nullptr});
}

void BaseObject::InsertUnderLast(BaseObject* parent) {
    if (parent) ListAccess::append(*this, *parent, Branch::Children);
}

void BaseObject::InsertBefore(BaseObject* next) {
    if (!next || next == this) return;
    Place place = ListAccess::placeOf(*next);
    if (place.pred == this) return;
    ListAccess::insert(*this, place);
}

void BaseObject::InsertAfter(BaseObject* pred) {
    if (!pred || pred == this) return;
    Place place = ListAccess::placeOf(*pred);
    place.pred = pred;
    ListAccess::insert(*this, place);
}

void BaseObject::SetMl(const Matrix& m) {
    if (sameValue(local_, m)) return;
    local_ = m;
    ListAccess::raise(*this, DIRTYFLAGS_MATRIX);
}

Matrix BaseObject::GetMg() const {
    Matrix global = local_;
    // Objects of a cache go on through the object that generated it.
    for (const BaseObject* at = this;;) {
        const BaseObject* above = at->GetUp() ? at->GetUp() : at->cacheParent_;
        if (!above) return global;
        global = above->local_ * global;
        at = above;
    }
}

void BaseObject::SetMg(const Matrix& m) {
    const BaseObject* above = GetUp() ? GetUp() : cacheParent_;
    SetMl(above ? ~above->GetMg() * m : m);
}

void BaseObject::SetAbsPos(const Vector& position) {
    Matrix m = local_;
    m.off = position;
    SetMl(m);
}

Vector BaseObject::GetAbsRot() const {
    return MatrixToHPB(local_);
}

Vector BaseObject::GetAbsScale() const {
    Vector scale = local_.GetScale();
    if (local_.Determinant() < 0) scale.x = -scale.x;
    return scale;
}

namespace {
Matrix compose(const Vector& position, const Vector& rotation, const Vector& scale) {
    Matrix m = HPBToMatrix(rotation);
    return {position, m.v1 * scale.x, m.v2 * scale.y, m.v3 * scale.z};
}
}  // namespace

void BaseObject::SetAbsRot(const Vector& hpb) {
    if (sameValue(hpb, GetAbsRot())) return;
    SetMl(compose(local_.off, hpb, GetAbsScale()));
}

void BaseObject::SetAbsScale(const Vector& scale) {
    if (sameValue(scale, GetAbsScale())) return;
    SetMl(compose(local_.off, GetAbsRot(), scale));
}

VisibilityMode BaseObject::GetRenderMode() const {
    return static_cast<VisibilityMode>(data_.GetInt32(ID_BASEOBJECT_VISIBILITY_RENDER, 2));
}
VisibilityMode BaseObject::GetEditorMode() const {
    return static_cast<VisibilityMode>(data_.GetInt32(ID_BASEOBJECT_VISIBILITY_EDITOR, 2));
}
void BaseObject::SetRenderMode(VisibilityMode mode) {
    SetParameter(ID_BASEOBJECT_VISIBILITY_RENDER, GeData(static_cast<Int32>(mode)));
}
void BaseObject::SetEditorMode(VisibilityMode mode) {
    SetParameter(ID_BASEOBJECT_VISIBILITY_EDITOR, GeData(static_cast<Int32>(mode)));
}
Bool BaseObject::GetDeformMode() const {
    return data_.GetBool(ID_BASEOBJECT_GENERATOR_FLAG, true);
}
void BaseObject::SetDeformMode(Bool on) {
    SetParameter(ID_BASEOBJECT_GENERATOR_FLAG, GeData(on));
}

BaseTag* BaseObject::GetTag(Int32 type, Int32 nth) const {
    for (BaseTag* tag = firstTag_; tag; tag = tag->GetNext()) {
        if (tag->IsInstanceOf(type) && nth-- == 0) return tag;
    }
    return nullptr;
}

BaseTag* BaseObject::MakeTag(Int32 type, BaseTag* pred) {
    Int32 count = 0;
    if (IsInstanceOf(Opoint)) {
        const Bool perPoint = type == Tvertexmap || type == Tvertexcolor;
        count = perPoint            ? static_cast<PointObject*>(this)->GetPointCount()
                : type_ == Opolygon ? static_cast<PolygonObject*>(this)->GetPolygonCount()
                                    : 0;
    }
    BaseTag* tag = BaseTag::Alloc(type, count);
    InsertTag(tag, pred);
    return tag;
}

void BaseObject::InsertTag(BaseTag* tag, BaseTag* pred) {
    if (!tag) return;
    if (pred) {
        ListAccess::insert(*tag, {this, Branch::Tags, pred});
    } else {
        ListAccess::append(*tag, *this, Branch::Tags);
    }
}

void BaseObject::KillTag(Int32 type, Int32 nth) {
    ListAccess::destroy(GetTag(type, nth));
}

void BaseObject::SetPhong(Bool on, Bool angleLimit, Float angle) {
    BaseTag* tag = GetTag(Tphong);
    if (!on) {
        if (tag) ListAccess::destroy(tag);
        return;
    }
    if (!tag) tag = MakeTag(Tphong);
    tag->SetParameter(PHONGTAG_PHONG_ANGLELIMIT, GeData(angleLimit));
    tag->SetParameter(PHONGTAG_PHONG_ANGLE, GeData(angle));
}

void BaseObject::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseList2D::CopyContent(source, flags);
    SetMl(static_cast<const BaseObject&>(source).local_);
}

void PointObject::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseObject::CopyContent(source, flags);
    const auto& other = static_cast<const PointObject&>(source);
    if (sameArray(points_, other.points_)) return;
    points_ = other.points_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

PolygonObject::PolygonObject() : PointObject(Opolygon) {}

PolygonObject* PolygonObject::Alloc(Int32 points, Int32 polygons) {
    auto* object = static_cast<PolygonObject*>(BaseObject::Alloc(Opolygon));
    object->ResizeObject(points, polygons);
    return object;
}

void PolygonObject::ResizeObject(Int32 points, Int32 polygons) {
    points_.resize(static_cast<std::size_t>(std::max(points, 0)));
    polygons_.resize(static_cast<std::size_t>(std::max(polygons, 0)));
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

void PolygonObject::CopyContent(const BaseList2D& source, UInt32 flags) {
    PointObject::CopyContent(source, flags);
    const auto& other = static_cast<const PolygonObject&>(source);
    if (sameArray(polygons_, other.polygons_)) return;
    polygons_ = other.polygons_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

LineObject::LineObject() : PointObject(Oline) {}

LineObject* LineObject::Alloc(Int32 points) {
    auto* object = static_cast<LineObject*>(BaseObject::Alloc(Oline));
    object->points_.resize(static_cast<std::size_t>(std::max(points, 0)));
    return object;
}

void LineObject::CopyContent(const BaseList2D& source, UInt32 flags) {
    PointObject::CopyContent(source, flags);
    const auto& other = static_cast<const LineObject&>(source);
    if (closed_ == other.closed_ && sameArray(segments_, other.segments_)) return;
    closed_ = other.closed_;
    segments_ = other.segments_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

}  // namespace host
