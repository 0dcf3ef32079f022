// BaseContainer: values by id.
#include <algorithm>

#include "host/model/change_epoch.h"
#include "host/sdk/base_list.h"
#include "host/sdk/ge_data.h"

namespace host {
namespace {

/// Up to this many entries a scan is faster than a hash.
constexpr std::size_t kScanLimit = 16;

}  // namespace

BaseContainer::BaseContainer(const BaseContainer& other) = default;
BaseContainer::BaseContainer(BaseContainer&& other) noexcept
    : id_(other.id_),
      dirty_(other.dirty_),
      entries_(std::move(other.entries_)),
      index_(std::move(other.index_)),
      containers_(other.containers_) {
    other.entries_.clear();
    other.containers_ = 0;
}

BaseContainer& BaseContainer::operator=(const BaseContainer& other) {
    if (this == &other || *this == other) return *this;
    return *this = BaseContainer(other);
}

BaseContainer& BaseContainer::operator=(BaseContainer&& other) {
    if (this == &other || *this == other) return *this;
    const UInt32 before = GetDirty();
    id_ = other.id_;
    entries_ = std::move(other.entries_);
    index_ = std::move(other.index_);
    containers_ = other.containers_;
    other.entries_.clear();
    other.index_.reset();
    other.containers_ = 0;
    dirty_ = before;  // the containers inside bring counts of their own on top
    changed();
    return *this;
}

void BaseContainer::changed() {
    ++dirty_;
    nextChangeEpoch();
}

UInt32 BaseContainer::GetDirty() const {
    UInt32 sum = dirty_;
    if (containers_ == 0) return sum;
    for (const Entry& entry : entries_) {
        if (const BaseContainer* inner = entry.data.GetContainer()) sum += inner->GetDirty();
    }
    return sum;
}

/// Keeps the counts of a value that goes, so that the sum only grows.
void BaseContainer::remember(const GeData& leaving) {
    if (const BaseContainer* inner = leaving.GetContainer()) {
        dirty_ += inner->GetDirty();
        --containers_;
    }
}

void BaseContainer::reindex() {
    if (entries_.size() <= kScanLimit) {
        index_.reset();
        return;
    }
    index_ = std::make_shared<Index>();
    index_->reserve(entries_.size() * 2);
    for (std::size_t i = 0; i < entries_.size(); ++i) index_->try_emplace(entries_[i].id, static_cast<Int32>(i));
}

Int32 BaseContainer::find(Int32 id) const {
    if (index_) {
        const auto found = index_->find(id);
        return found == index_->end() ? -1 : found->second;
    }
    for (std::size_t i = 0; i < entries_.size(); ++i) {
        if (entries_[i].id == id) return static_cast<Int32>(i);
    }
    return -1;
}

void BaseContainer::append(Int32 id, GeData value) {
    if (value.GetContainer()) ++containers_;
    entries_.push_back({id, std::move(value)});
    if (entries_.size() > kScanLimit) {
        if (!index_) {
            reindex();
        } else {
            if (index_.use_count() > 1) index_ = std::make_shared<Index>(*index_);
            index_->try_emplace(id, static_cast<Int32>(entries_.size() - 1));
        }
    }
    changed();
}

void BaseContainer::replace(Entry& entry, GeData value) {
    remember(entry.data);
    if (value.GetContainer()) ++containers_;
    entry.data = std::move(value);
    changed();
}

void BaseContainer::FlushAll() {
    if (entries_.empty()) return;
    for (const Entry& entry : entries_) remember(entry.data);
    entries_.clear();
    index_.reset();
    changed();
}

const GeData* BaseContainer::FindData(Int32 id) const {
    const Int32 position = find(id);
    return position < 0 ? nullptr : &entries_[static_cast<std::size_t>(position)].data;
}

GeData* BaseContainer::FindData(Int32 id) {
    const Int32 position = find(id);
    return position < 0 ? nullptr : &entries_[static_cast<std::size_t>(position)].data;
}

GeData BaseContainer::GetData(Int32 id) const {
    const GeData* data = FindData(id);
    return data ? *data : GeData();
}

Bool BaseContainer::GetBool(Int32 id, Bool fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetBool(fallback) : fallback;
}
Int32 BaseContainer::GetInt32(Int32 id, Int32 fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetInt32(fallback) : fallback;
}
Int64 BaseContainer::GetInt64(Int32 id, Int64 fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetInt64(fallback) : fallback;
}
Float BaseContainer::GetFloat(Int32 id, Float fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetFloat(fallback) : fallback;
}
Vector BaseContainer::GetVector(Int32 id, const Vector& fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetVector(fallback) : fallback;
}
Matrix BaseContainer::GetMatrix(Int32 id, const Matrix& fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetMatrix(fallback) : fallback;
}
String BaseContainer::GetString(Int32 id, const String& fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetString(fallback) : fallback;
}
Filename BaseContainer::GetFilename(Int32 id, const Filename& fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetFilename(fallback) : fallback;
}
BaseTime BaseContainer::GetTime(Int32 id, const BaseTime& fallback) const {
    const GeData* data = FindData(id);
    return data ? data->GetTime(fallback) : fallback;
}

BaseContainer BaseContainer::GetContainer(Int32 id) const {
    const BaseContainer* inner = GetContainerInstance(id);
    return inner ? *inner : BaseContainer();
}

const BaseContainer* BaseContainer::GetContainerInstance(Int32 id) const {
    const GeData* data = FindData(id);
    return data ? data->GetContainer() : nullptr;
}

BaseContainer* BaseContainer::GetContainerInstance(Int32 id) {
    GeData* data = FindData(id);
    return data ? data->GetContainer() : nullptr;
}

BaseList2D* BaseContainer::GetLink(Int32 id, const BaseDocument* document) const {
    const GeData* data = FindData(id);
    return data ? data->GetLink(document) : nullptr;
}

void BaseContainer::SetData(Int32 id, GeData value) {
    const Int32 position = find(id);
    if (position < 0) {
        append(id, std::move(value));
        return;
    }
    Entry& entry = entries_[static_cast<std::size_t>(position)];
    if (!(entry.data == value)) replace(entry, std::move(value));
}

Bool BaseContainer::RemoveData(Int32 id) {
    const Int32 position = find(id);
    if (position < 0) return false;
    RemoveIndex(position);
    return true;
}

void BaseContainer::InsData(Int32 id, GeData value) {
    append(id, std::move(value));
}

void BaseContainer::InsDataAt(Int32 before, Int32 id, GeData value) {
    if (before >= GetCount()) {
        append(id, std::move(value));
        return;
    }
    if (value.GetContainer()) ++containers_;
    entries_.insert(entries_.begin() + std::max(before, 0), Entry{id, std::move(value)});
    reindex();
    changed();
}

void BaseContainer::RemoveIndex(Int32 index) {
    if (index < 0 || index >= GetCount()) return;
    remember(entries_[static_cast<std::size_t>(index)].data);
    entries_.erase(entries_.begin() + index);
    reindex();
    changed();
}

Int32 BaseContainer::FindIndex(Int32 id) const {
    return find(id);
}

Int32 BaseContainer::GetIndexId(Int32 index) const {
    return index < 0 || index >= GetCount() ? kNotOk : entries_[static_cast<std::size_t>(index)].id;
}

const GeData& BaseContainer::GetIndexData(Int32 index) const {
    static const GeData nothing;
    return index < 0 || index >= GetCount() ? nothing : entries_[static_cast<std::size_t>(index)].data;
}

GeData& BaseContainer::GetIndexData(Int32 index) {
    static thread_local GeData nothing;
    if (index >= 0 && index < GetCount()) return entries_[static_cast<std::size_t>(index)].data;
    return nothing = GeData();
}

void BaseContainer::Merge(const BaseContainer& other) {
    if (this == &other) return;
    for (const Entry& entry : other.entries_) SetData(entry.id, entry.data);
}

BaseContainer BaseContainer::GetClone(const AliasTrans* translation) const {
    BaseContainer clone(*this);
    if (translation) translation->translate(clone);
    return clone;
}

Bool BaseContainer::operator==(const BaseContainer& other) const {
    if (id_ != other.id_ || entries_.size() != other.entries_.size()) return false;
    return std::equal(entries_.begin(), entries_.end(), other.entries_.begin(),
                      [](const Entry& a, const Entry& b) { return a.id == b.id && a.data == b.data; });
}

}  // namespace host
