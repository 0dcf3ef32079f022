// Tags.
#include "host/sdk/tag.h"

#include <algorithm>

#include "host/model/list_access.h"
#include "host/model/node_factory.h"
#include "host/model/same_value.h"

namespace host {
namespace {

std::size_t sizeOf(Int32 count) {
    return static_cast<std::size_t>(std::max(count, 0));
}

}  // namespace

BaseTag::BaseTag(Int32 type) : BaseList2D(NodeFamily::Tag, type) {}

BaseTag* BaseTag::Alloc(Int32 type, Int32 count) {
    auto* tag = static_cast<BaseTag*>(NodeFactory::make(NodeFamily::Tag, type));
    if (!tag) return nullptr;
    switch (type) {
        case Tuvw:
            static_cast<UVWTag*>(tag)->Data().resize(sizeOf(count));
            break;
        case Tnormal:
            static_cast<NormalTag*>(tag)->Data().resize(sizeOf(count));
            break;
        case Tvertexmap:
        case Tvertexcolor: {
            auto* vertices = static_cast<VertexTag*>(tag);
            vertices->Data().resize(sizeOf(count) * static_cast<std::size_t>(vertices->GetComponents()));
            break;
        }
        default:
            break;
    }
    return tag;
}

void BaseTag::Free(BaseTag*& tag) {
    ListAccess::destroy(tag);
    tag = nullptr;
}

TextureTag::TextureTag() : BaseTag(Ttexture) {}

TextureTag* TextureTag::Alloc() {
    return static_cast<TextureTag*>(BaseTag::Alloc(Ttexture));
}

BaseMaterial* TextureTag::GetMaterial() const {
    BaseList2D* target = data_.GetLink(TEXTURETAG_MATERIAL, document_);
    return target && target->GetFamily() == NodeFamily::Material ? static_cast<BaseMaterial*>(target) : nullptr;
}

void TextureTag::SetMaterial(BaseMaterial* material) {
    SetParameter(TEXTURETAG_MATERIAL, GeData(material));
}

Matrix TextureTag::GetMl() const {
    const Vector scale = GetScale();
    const Matrix rotation = HPBToMatrix(GetRot());
    return {GetPos(), rotation.v1 * scale.x, rotation.v2 * scale.y, rotation.v3 * scale.z};
}

void TextureTag::SetMl(const Matrix& m) {
    Vector scale = m.GetScale();
    if (m.Determinant() < 0) scale.x = -scale.x;
    SetParameter(TEXTURETAG_POSITION, GeData(m.off));
    SetParameter(TEXTURETAG_ROTATION, GeData(MatrixToHPB(m)));
    SetParameter(TEXTURETAG_SIZE, GeData(scale));
}

Vector TextureTag::GetPos() const {
    return data_.GetVector(TEXTURETAG_POSITION);
}
Vector TextureTag::GetRot() const {
    return data_.GetVector(TEXTURETAG_ROTATION);
}
Vector TextureTag::GetScale() const {
    return data_.GetVector(TEXTURETAG_SIZE, Vector(100.0));
}

UVWTag::UVWTag() : BaseTag(Tuvw) {}

UVWTag* UVWTag::Alloc(Int32 polygons) {
    return static_cast<UVWTag*>(BaseTag::Alloc(Tuvw, polygons));
}

void UVWTag::Free(UVWTag*& tag) {
    ListAccess::destroy(tag);
    tag = nullptr;
}

UVWStruct UVWTag::Get(Int32 polygon) const {
    if (polygon < 0 || polygon >= GetDataCount()) return {};
    const auto& corners = uvs_[static_cast<std::size_t>(polygon)];
    return {Vector(corners[0]), Vector(corners[1]), Vector(corners[2]), Vector(corners[3])};
}

void UVWTag::Set(Int32 polygon, const UVWStruct& uvw) {
    if (polygon < 0 || polygon >= GetDataCount()) return;
    uvs_[static_cast<std::size_t>(polygon)] = {Vector32(uvw.a), Vector32(uvw.b), Vector32(uvw.c), Vector32(uvw.d)};
}

void UVWTag::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseTag::CopyContent(source, flags);
    const auto& other = static_cast<const UVWTag&>(source);
    if (sameArray(uvs_, other.uvs_)) return;
    uvs_ = other.uvs_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

NormalTag::NormalTag() : BaseTag(Tnormal) {}

NormalTag* NormalTag::Alloc(Int32 polygons) {
    return static_cast<NormalTag*>(BaseTag::Alloc(Tnormal, polygons));
}

void NormalTag::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseTag::CopyContent(source, flags);
    const auto& other = static_cast<const NormalTag&>(source);
    if (sameArray(normals_, other.normals_)) return;
    normals_ = other.normals_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

SelectionTag::SelectionTag(Int32 type) : BaseTag(type) {}

SelectionTag* SelectionTag::Alloc(Int32 type) {
    if (type != Tpolygonselection && type != Tpointselection) return nullptr;
    return static_cast<SelectionTag*>(BaseTag::Alloc(type));
}

void SelectionTag::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseTag::CopyContent(source, flags);
    const auto& other = static_cast<const SelectionTag&>(source);
    if (select_ == other.select_) return;
    select_ = other.select_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

VertexTag::VertexTag(Int32 type) : BaseTag(type) {}

VertexTag* VertexTag::Alloc(Int32 type, Int32 points) {
    if (type != Tvertexmap && type != Tvertexcolor) return nullptr;
    return static_cast<VertexTag*>(BaseTag::Alloc(type, points));
}

void VertexTag::CopyContent(const BaseList2D& source, UInt32 flags) {
    BaseTag::CopyContent(source, flags);
    const auto& other = static_cast<const VertexTag&>(source);
    if (sameArray(values_, other.values_)) return;
    values_ = other.values_;
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

void BaseSelect::Select(Int32 first, Int32 last) {
    if (first > last || last < 0) return;
    first = std::max(first, 0);
    // Ranges that overlap or touch the new one become part of it.
    auto begin = std::lower_bound(ranges_.begin(), ranges_.end(), Int64{first} - 1,
                                  [](const Range& range, Int64 index) { return range.last < index; });
    auto end = begin;
    for (; end != ranges_.end() && Int64{end->first} <= Int64{last} + 1; ++end) {
        first = std::min(first, end->first);
        last = std::max(last, end->last);
    }
    ranges_.insert(ranges_.erase(begin, end), Range{first, last});
}

void BaseSelect::Deselect(Int32 first, Int32 last) {
    if (first > last) return;
    std::vector<Range> kept;
    kept.reserve(ranges_.size() + 1);
    for (const Range& range : ranges_) {
        if (range.last < first || range.first > last) {
            kept.push_back(range);
            continue;
        }
        if (range.first < first) kept.push_back({range.first, first - 1});
        if (range.last > last) kept.push_back({last + 1, range.last});
    }
    ranges_ = std::move(kept);
}

Bool BaseSelect::IsSelected(Int32 index) const {
    const auto range = std::lower_bound(ranges_.begin(), ranges_.end(), index,
                                        [](const Range& r, Int32 value) { return r.last < value; });
    return range != ranges_.end() && range->first <= index;
}

Int64 BaseSelect::GetCount() const {
    Int64 count = 0;
    for (const Range& range : ranges_) count += Int64{range.last} - range.first + 1;
    return count;
}

}  // namespace host
