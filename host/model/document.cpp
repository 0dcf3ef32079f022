// The document.
#include "host/sdk/document.h"

#include <algorithm>
#include <cmath>

#include "host/model/document_lists.h"
#include "host/model/list_access.h"
#include "host/model/node_factory.h"
#include "host/model/undo.h"

namespace host {
namespace {

template <typename T>
T* linked(const BaseLink& link, const BaseDocument* document, NodeFamily family) {
    BaseList2D* target = link.GetLink(document);
    return target && target->GetFamily() == family ? static_cast<T*>(target) : nullptr;
}

}  // namespace

RenderData::RenderData() : BaseList2D(NodeFamily::RenderData, Rbase) {}

RenderData::~RenderData() {
    ListAccess::retire(*this);
}

RenderData* RenderData::Alloc() {
    return static_cast<RenderData*>(NodeFactory::make(NodeFamily::RenderData, Rbase));
}

void RenderData::InsertVideoPost(BaseVideoPost* post, BaseVideoPost* pred) {
    if (!post) return;
    if (pred) {
        ListAccess::insert(*post, {this, Branch::VideoPosts, pred});
    } else {
        ListAccess::append(*post, *this, Branch::VideoPosts);
    }
}

BaseVideoPost::BaseVideoPost(Int32 type) : BaseList2D(NodeFamily::VideoPost, type) {}

BaseVideoPost* BaseVideoPost::Alloc(Int32 type) {
    return static_cast<BaseVideoPost*>(NodeFactory::make(NodeFamily::VideoPost, type));
}

LayerObject::LayerObject() : BaseList2D(NodeFamily::Layer, Zlayer) {}

LayerObject* LayerObject::Alloc() {
    return static_cast<LayerObject*>(NodeFactory::make(NodeFamily::Layer, Zlayer));
}

void LayerObject::InsertUnder(LayerObject* parent) {
    if (parent) ListAccess::append(*this, *parent, Branch::Children);
}

BaseDraw::BaseDraw() : BaseList2D(NodeFamily::Draw, Ddraw) {
    editorCamera_ = BaseObject::Alloc(Ocamera);
    editorCamera_->SetName("Editor Camera");
    // Looks at the origin from in front, above and to the right.
    const Matrix turn = HPBToMatrix({kPi / 6, -kPi / 9, 0});
    editorCamera_->SetMl({turn.v3 * -1000.0, turn.v1, turn.v2, turn.v3});
}

BaseDraw::~BaseDraw() {
    ListAccess::retire(*this);
    ListAccess::setOwner(*editorCamera_, nullptr, nullptr);
    BaseObject::Free(editorCamera_);
}

BaseObject* BaseDraw::GetSceneCamera(const BaseDocument* document) const {
    BaseObject* camera = linked<BaseObject>(sceneCamera_, document, NodeFamily::Object);
    return camera && camera->GetType() == Ocamera ? camera : nullptr;
}

void BaseDraw::SetSceneCamera(BaseObject* camera) {
    const BaseLink link(camera);
    if (link == sceneCamera_) return;
    sceneCamera_ = link;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

void BaseDraw::GetFrame(Int32* left, Int32* top, Int32* right, Int32* bottom) const {
    *left = frame_[0];
    *top = frame_[1];
    *right = frame_[2];
    *bottom = frame_[3];
}

void BaseDraw::SetFrame(Int32 left, Int32 top, Int32 right, Int32 bottom) {
    const Int32 frame[4] = {left, top, std::max(left, right), std::max(top, bottom)};
    if (std::equal(frame, frame + 4, frame_)) return;
    std::copy(frame, frame + 4, frame_);
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

BaseDocument::BaseDocument() : BaseList2D(NodeFamily::Document, 0), lists_(std::make_unique<Lists>()) {
    document_ = this;
    NodeFactory::giveData(*this, false);
    draw_ = static_cast<BaseDraw*>(NodeFactory::make(NodeFamily::Draw, Ddraw));
    draw_->document_ = this;
    draw_->main_ = this;
    draw_->editorCamera_->document_ = this;
    draw_->editorCamera_->main_ = draw_;
}

BaseDocument::~BaseDocument() {
    undo_.reset();
    draw_->document_ = nullptr;
    draw_->main_ = nullptr;
    ListAccess::destroy(draw_);
    draw_ = nullptr;
    ListAccess::retire(*this);
}

BaseDocument* BaseDocument::Alloc() {
    auto* document = new BaseDocument;
    RenderData* settings = RenderData::Alloc();
    document->InsertRenderData(settings);
    document->activeRenderData_.SetLink(settings);
    document->changed_ = false;
    return document;
}

void BaseDocument::Free(BaseDocument*& document) {
    delete document;
    document = nullptr;
}

BaseObject* BaseDocument::GetFirstObject() const {
    return static_cast<BaseObject*>(ListAccess::firstInDocument(*this, NodeFamily::Object));
}

void BaseDocument::InsertObject(BaseObject* object, BaseObject* parent, BaseObject* pred) {
    if (!object) return;
    if (pred) {
        object->InsertAfter(pred);
    } else {
        BaseList2D* owner = parent ? static_cast<BaseList2D*>(parent) : this;
        ListAccess::insert(*object, {owner, Branch::Children, nullptr});
    }
}

void BaseDocument::AppendObject(BaseObject* object, BaseObject* parent) {
    if (!object) return;
    BaseList2D* owner = parent ? static_cast<BaseList2D*>(parent) : this;
    ListAccess::append(*object, *owner, Branch::Children);
}

BaseObject* BaseDocument::SearchObject(const String& name) const {
    // In tree order, without recursion.
    for (BaseObject* object = GetFirstObject(); object;) {
        if (object->GetName() == name) return object;
        if (object->GetDown()) {
            object = object->GetDown();
            continue;
        }
        while (object && !object->GetNext()) object = object->GetUp();
        if (object) object = object->GetNext();
    }
    return nullptr;
}

BaseObject* BaseDocument::GetActiveObject() const {
    return linked<BaseObject>(activeObject_, this, NodeFamily::Object);
}

void BaseDocument::SetActiveObject(BaseObject* object) {
    BaseObject* before = GetActiveObject();
    if (before == object) return;
    if (before) {
        before->DelBit(BIT_ACTIVE);
        ListAccess::raise(*before, DIRTYFLAGS_SELECT);
    }
    activeObject_.SetLink(object);
    if (object) {
        object->SetBit(BIT_ACTIVE);
        ListAccess::raise(*object, DIRTYFLAGS_SELECT);
    }
}

BaseMaterial* BaseDocument::GetFirstMaterial() const {
    return static_cast<BaseMaterial*>(ListAccess::firstInDocument(*this, NodeFamily::Material));
}

void BaseDocument::InsertMaterial(BaseMaterial* material, BaseMaterial* pred) {
    if (!material) return;
    if (pred) {
        ListAccess::insert(*material, {this, Branch::Children, pred});
    } else {
        ListAccess::append(*material, *this, Branch::Children);
    }
}

BaseMaterial* BaseDocument::SearchMaterial(const String& name) const {
    for (BaseMaterial* material = GetFirstMaterial(); material; material = material->GetNext()) {
        if (material->GetName() == name) return material;
    }
    return nullptr;
}

BaseMaterial* BaseDocument::GetActiveMaterial() const {
    return linked<BaseMaterial>(activeMaterial_, this, NodeFamily::Material);
}

void BaseDocument::SetActiveMaterial(BaseMaterial* material) {
    BaseMaterial* before = GetActiveMaterial();
    if (before == material) return;
    if (before) {
        before->DelBit(BIT_ACTIVE);
        ListAccess::raise(*before, DIRTYFLAGS_SELECT);
    }
    activeMaterial_.SetLink(material);
    if (material) {
        material->SetBit(BIT_ACTIVE);
        ListAccess::raise(*material, DIRTYFLAGS_SELECT);
    }
}

RenderData* BaseDocument::GetFirstRenderData() const {
    return static_cast<RenderData*>(ListAccess::firstInDocument(*this, NodeFamily::RenderData));
}

RenderData* BaseDocument::GetActiveRenderData() const {
    if (auto* active = linked<RenderData>(activeRenderData_, this, NodeFamily::RenderData)) return active;
    if (RenderData* first = GetFirstRenderData()) return first;
    // Every document has render data: the last one was taken out.
    RenderData* fresh = RenderData::Alloc();
    const_cast<BaseDocument*>(this)->InsertRenderData(fresh);
    return fresh;
}

void BaseDocument::InsertRenderData(RenderData* data, RenderData* pred) {
    if (!data) return;
    if (pred) {
        ListAccess::insert(*data, {this, Branch::Children, pred});
    } else {
        ListAccess::append(*data, *this, Branch::Children);
    }
}

void BaseDocument::SetActiveRenderData(RenderData* data) {
    const BaseLink link(data);
    if (link == activeRenderData_) return;
    activeRenderData_ = link;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

LayerObject* BaseDocument::GetFirstLayer() const {
    return static_cast<LayerObject*>(ListAccess::firstInDocument(*this, NodeFamily::Layer));
}

void BaseDocument::InsertLayer(LayerObject* layer) {
    if (layer) ListAccess::append(*layer, *this, Branch::Children);
}

BaseList2D* BaseDocument::FindByGUID(UInt64 guid) const {
    const auto found = lists_->byGuid.find(guid);
    return found == lists_->byGuid.end() ? nullptr : found->second;
}

void BaseDocument::SetTime(const BaseTime& time) {
    if (time_ == time) return;
    time_ = time;
    ListAccess::raise(*this, DIRTYFLAGS_SELECT);
}

Int32 BaseDocument::GetFps() const {
    return std::max(1, data_.GetInt32(DOCUMENT_FPS, 30));
}
void BaseDocument::SetFps(Int32 fps) {
    SetParameter(DOCUMENT_FPS, GeData(std::max(1, fps)));
}
BaseTime BaseDocument::GetMinTime() const {
    return data_.GetTime(DOCUMENT_MINTIME);
}
BaseTime BaseDocument::GetMaxTime() const {
    return data_.GetTime(DOCUMENT_MAXTIME);
}
void BaseDocument::SetMinTime(const BaseTime& time) {
    SetParameter(DOCUMENT_MINTIME, GeData(time));
}
void BaseDocument::SetMaxTime(const BaseTime& time) {
    SetParameter(DOCUMENT_MAXTIME, GeData(time));
}
Float BaseDocument::GetUnitScale() const {
    constexpr Float kCentimetre = 0.01;
    const Float metres = data_.GetFloat(DOCUMENT_DOCUNIT, kCentimetre);
    return metres > 0 && std::isfinite(metres) ? metres : kCentimetre;
}
void BaseDocument::SetUnitScale(Float metres) {
    SetParameter(DOCUMENT_DOCUNIT, GeData(metres));
}

BaseDocument* BaseDocument::CloneDocument() const {
    auto* copy = new BaseDocument;
    AliasTrans clones;
    std::destroy_at(&copy->data_);
    std::construct_at(&copy->data_, data_);
    copy->guid_ = guid_;
    copy->CopyContent(*this, COPYFLAGS_KEEP_GUID);
    ListAccess::cloneLists(*this, *copy, COPYFLAGS_KEEP_GUID, clones);
    copy->dirtyData_ = dirtyData_;
    copy->dirtyMatrix_ = dirtyMatrix_;
    copy->dirtyCache_ = dirtyCache_;
    copy->dirtyDescendants_ = dirtyDescendants_;
    copy->dirtySelect_ = dirtySelect_;
    copy->gone_ = gone_;
    copy->changed_ = changed_;
    clones.Add(this, copy);
    clones.Connect();
    return copy;
}

}  // namespace host
