// Nodes: name, parameters, messages, branches.
#include "host/sdk/base_list.h"

#include <cmath>

#include "host/model/link_anchor.h"
#include "host/model/list_access.h"
#include "host/model/node_factory.h"
#include "host/model/same_value.h"
#include "host/sdk/node_data.h"

namespace host {
namespace {

/// A number for a switch row is kept as an integer, one for a length as a real: a parameter keeps its type.
GeData inKindOf(const Parameter& row, const GeData& value) {
    switch (row.kind) {
        case ParameterKind::Bool:
            if (value.GetType() == DataType::Float) return GeData(value.GetFloat() != 0);
            break;
        case ParameterKind::Int:
        case ParameterKind::Choice:
            if (value.GetType() == DataType::Float) return GeData(value.GetInt64());
            break;
        case ParameterKind::Float:
        case ParameterKind::Percent:
        case ParameterKind::Degree:
        case ParameterKind::Length:
            if (value.GetType() == DataType::Int) return GeData(value.GetFloat());
            break;
        case ParameterKind::File:
            if (value.GetType() == DataType::String) return GeData(Filename(value.GetString()));
            break;
        default:
            break;
    }
    return value;
}

/// Parameters of objects that live in the matrix.
Bool getFromMatrix(const BaseObject& object, Int32 id, GeData& value) {
    switch (id) {
        case ID_BASEOBJECT_REL_POSITION:
            value = GeData(object.GetAbsPos());
            return true;
        case ID_BASEOBJECT_REL_ROTATION:
            value = GeData(object.GetAbsRot());
            return true;
        case ID_BASEOBJECT_REL_SCALE:
            value = GeData(object.GetAbsScale());
            return true;
        case ID_BASEOBJECT_REL_MATRIX:
            value = GeData(object.GetMl());
            return true;
        default:
            return false;
    }
}

Bool setInMatrix(BaseObject& object, Int32 id, const GeData& value) {
    switch (id) {
        case ID_BASEOBJECT_REL_POSITION:
            object.SetAbsPos(value.GetVector(object.GetAbsPos()));
            return true;
        case ID_BASEOBJECT_REL_ROTATION:
            object.SetAbsRot(value.GetVector(object.GetAbsRot()));
            return true;
        case ID_BASEOBJECT_REL_SCALE:
            object.SetAbsScale(value.GetVector(object.GetAbsScale()));
            return true;
        case ID_BASEOBJECT_REL_MATRIX:
            object.SetMl(value.GetMatrix(object.GetMl()));
            return true;
        default:
            return false;
    }
}

/// Focal length, sensor width and field of view are one fact; the one that was not set follows.
void followLens(BaseContainer& data, Int32 changed) {
    const Float sensor = data.GetFloat(CAMERAOBJECT_APERTURE, 36);
    if (changed == CAMERA_FOCUS || changed == CAMERAOBJECT_APERTURE) {
        const Float focus = data.GetFloat(CAMERA_FOCUS, 36);
        if (focus > 0) data.SetFloat(CAMERAOBJECT_FOV, 2 * std::atan(sensor / 2 / focus));
    } else if (changed == CAMERAOBJECT_FOV) {
        const Float half = std::tan(data.GetFloat(CAMERAOBJECT_FOV) / 2);
        if (half > 0) data.SetFloat(CAMERA_FOCUS, sensor / 2 / half);
    }
}

}  // namespace

BaseList2D::BaseList2D(NodeFamily family, Int32 type) : family_(family), type_(type), guid_(ListAccess::newGuid()) {}

BaseList2D::~BaseList2D() {
    ListAccess::retire(*this);
    if (anchor_) anchor_->target = nullptr;
}

Bool BaseList2D::IsInstanceOf(Int32 type) const {
    if (type == type_ || (type != 0 && type == NodeFactory::baseOf(family_))) return true;
    return type == Opoint && family_ == NodeFamily::Object && (type_ == Opolygon || type_ == Oline);
}

void BaseList2D::SetName(const String& name) {
    if (name_ == name) return;
    name_ = name;
    ListAccess::raise(*this, DIRTYFLAGS_SELECT);
}

const std::vector<UChar>* BaseList2D::FindUniqueID(Int32 appId) const {
    const auto found = uniqueIds_.find(appId);
    return found == uniqueIds_.end() ? nullptr : &found->second;
}

void BaseList2D::AddUniqueID(Int32 appId, const void* data, std::size_t bytes) {
    const auto* first = static_cast<const UChar*>(data);
    uniqueIds_[appId] = std::vector<UChar>(first, first + bytes);
}

Bool BaseList2D::GetParameter(const DescID& id, GeData& value) const {
    if (id.component != 0) {
        GeData whole;
        if (!GetParameter(DescID(id.id), whole)) return false;
        if (id.component < kVectorX || id.component > kVectorZ || whole.GetType() != DataType::Vector) return false;
        value = GeData(whole.GetVector()[id.component - kVectorX]);
        return true;
    }
    if (nodeData_ && nodeData_->GetDParameter(this, id, value)) return true;
    if (family_ == NodeFamily::Object && getFromMatrix(static_cast<const BaseObject&>(*this), id.id, value))
        return true;
    if (family_ == NodeFamily::Document && id.id == DOCUMENT_TIME) {
        value = GeData(static_cast<const BaseDocument*>(this)->GetTime());
        return true;
    }
    const GeData* data = data_.FindData(id.id);
    if (!data) return false;
    value = *data;
    return true;
}

Bool BaseList2D::SetParameter(const DescID& id, const GeData& value) {
    if (id.component != 0) {
        GeData whole;
        if (!GetParameter(DescID(id.id), whole) || whole.GetType() != DataType::Vector) return false;
        Vector vector = whole.GetVector();
        (id.component == kVectorX ? vector.x : id.component == kVectorY ? vector.y : vector.z) = value.GetFloat();
        return SetParameter(DescID(id.id), GeData(vector));
    }
    if (nodeData_) {
        GeData before, after;
        const Bool had = nodeData_->GetDParameter(this, id, before);
        const UInt32 count = data_.GetDirty();
        if (nodeData_->SetDParameter(this, id, value)) {
            const Bool has = nodeData_->GetDParameter(this, id, after);
            if (count == data_.GetDirty() && (had != has || !(before == after))) {
                ListAccess::raise(*this, DIRTYFLAGS_DATA);
            }
            return true;
        }
    }
    if (family_ == NodeFamily::Object && setInMatrix(static_cast<BaseObject&>(*this), id.id, value)) return true;
    if (family_ == NodeFamily::Document && id.id == DOCUMENT_TIME) {
        static_cast<BaseDocument*>(this)->SetTime(value.GetTime());
        return true;
    }
    const Description* description = GetDescription();
    const Parameter* row = description ? description->Find(id.id) : nullptr;
    const UInt32 count = data_.GetDirty();
    data_.SetData(id.id, row ? inKindOf(*row, value) : value);
    if (count == data_.GetDirty()) return true;
    if (family_ == NodeFamily::Object && type_ == Ocamera) followLens(data_, id.id);
    if (document_ && !GetBit(BIT_CACHE_OBJECT)) document_->SetChanged(true);
    return true;
}

void BaseList2D::SetData(const BaseContainer& data) {
    data_ = data;
}

const Description* BaseList2D::GetDescription() const {
    if (nodeData_) {
        if (const Description* rows = nodeData_->GetDDescription(this)) return rows;
    }
    return NodeFactory::descriptionOf(family_, type_);
}

Bool BaseList2D::Message(Int32 type, void* data) {
    return nodeData_ && nodeData_->Message(this, type, data);
}

void BaseList2D::Remove() {
    ListAccess::remove(*this);
}

void BaseList2D::InsertShader(BaseShader* shader, BaseShader* pred) {
    if (!shader) return;
    if (pred) {
        ListAccess::insert(*shader, {this, Branch::Shaders, pred});
    } else {
        ListAccess::append(*shader, *this, Branch::Shaders);
    }
}

BaseTrack* BaseList2D::FindTrack(const DescID& id) const {
    for (BaseTrack* track = firstTrack_; track; track = static_cast<BaseTrack*>(track->GetNext())) {
        if (track->GetParameterID() == id) return track;
    }
    return nullptr;
}

void BaseList2D::InsertTrack(BaseTrack* track) {
    if (track) ListAccess::append(*track, *this, Branch::Tracks);
}

LayerObject* BaseList2D::GetLayerObject() const {
    BaseList2D* layer = layer_.GetLink(document_);
    return layer && layer->GetFamily() == NodeFamily::Layer ? static_cast<LayerObject*>(layer) : nullptr;
}

void BaseList2D::SetLayerObject(LayerObject* layer) {
    const BaseLink link(layer);
    if (link == layer_) return;
    layer_ = link;
    ListAccess::raise(*this, DIRTYFLAGS_SELECT);
}

}  // namespace host
