// Compound values: gradients, lists of links, bytes, and values of unknown types.
#include "host/sdk/custom_types.h"

#include <algorithm>
#include <cmath>

#include "host/model/same_value.h"
#include "host/model/unknown_data.h"
#include "host/sdk/base_list.h"
#include "host/sdk/file.h"

namespace host {
namespace {

/// Moves the middle of the way between two knots: at t == bias the mix is one half (Schlick's bias curve).
Float applyBias(Float t, Float bias) {
    if (!(bias > 0 && bias < 1) || bias == 0.5) return t;
    return t / ((1 / bias - 2) * (1 - t) + 1);
}

}  // namespace

Vector Gradient::Calc(Float position) const {
    if (knots.empty()) return {};
    // Knots need not be sorted: the nearest one on each side counts.
    const Knot *left = nullptr, *right = nullptr;
    for (const Knot& knot : knots) {
        if (knot.position <= position && (!left || knot.position >= left->position)) left = &knot;
        if (knot.position > position && (!right || knot.position < right->position)) right = &knot;
    }
    if (!left && !right) return {};
    if (!left) return right->colour * right->brightness;
    if (!right || left->interpolation == Interpolation::Step) return left->colour * left->brightness;
    Float t = applyBias((position - left->position) / (right->position - left->position), left->bias);
    if (left->interpolation == Interpolation::Smooth) t = t * t * (3 - 2 * t);
    return left->colour * (left->brightness * (1 - t)) + right->colour * (right->brightness * t);
}

std::unique_ptr<CustomDataType> Gradient::Clone(const AliasTrans*) const {
    return std::make_unique<Gradient>(*this);
}

Bool Gradient::Equals(const CustomDataType& other) const {
    const auto* right = dynamic_cast<const Gradient*>(&other);
    return right && std::equal(knots.begin(), knots.end(), right->knots.begin(), right->knots.end(),
                               [](const Knot& a, const Knot& b) {
                                   return sameValue(a.colour, b.colour) && sameValue(a.brightness, b.brightness) &&
                                          sameValue(a.position, b.position) && sameValue(a.bias, b.bias) &&
                                          a.interpolation == b.interpolation;
                               });
}

Bool Gradient::Write(HyperFile& file) const {
    if (!file.WriteInt32(static_cast<Int32>(knots.size()))) return false;
    for (const Knot& knot : knots) {
        if (!file.WriteVector(knot.colour) || !file.WriteFloat(knot.brightness) || !file.WriteFloat(knot.position) ||
            !file.WriteFloat(knot.bias) || !file.WriteInt32(static_cast<Int32>(knot.interpolation)))
            return false;
    }
    return true;
}

Bool Gradient::Read(HyperFile& file, Int32) {
    Int32 count = 0;
    if (!file.ReadInt32(&count)) return false;
    knots.clear();
    for (Int32 i = 0; i < count; ++i) {
        Knot knot;
        Int32 interpolation = 0;
        if (!file.ReadVector(&knot.colour) || !file.ReadFloat(&knot.brightness) || !file.ReadFloat(&knot.position) ||
            !file.ReadFloat(&knot.bias) || !file.ReadInt32(&interpolation))
            return false;
        knot.interpolation = static_cast<Interpolation>(std::clamp(interpolation, 0, 2));
        knots.push_back(knot);
    }
    return count >= 0;
}

std::unique_ptr<CustomDataType> InExcludeData::Clone(const AliasTrans* translation) const {
    auto clone = std::make_unique<InExcludeData>(*this);
    if (!translation) return clone;
    for (Entry& entry : clone->entries) {
        if (const BaseLink* link = entry.link.GetBaseLink()) {
            BaseLink translated = *link;
            translated.Translate(*translation);
            entry.link = GeData(translated);
        }
    }
    return clone;
}

Bool InExcludeData::Equals(const CustomDataType& other) const {
    const auto* right = dynamic_cast<const InExcludeData*>(&other);
    return right && std::equal(entries.begin(), entries.end(), right->entries.begin(), right->entries.end(),
                               [](const Entry& a, const Entry& b) { return a.link == b.link && a.flags == b.flags; });
}

Bool InExcludeData::Write(HyperFile& file) const {
    if (!file.WriteInt32(static_cast<Int32>(entries.size()))) return false;
    for (const Entry& entry : entries) {
        if (!file.WriteData(entry.link) || !file.WriteInt32(entry.flags)) return false;
    }
    return true;
}

Bool InExcludeData::Read(HyperFile& file, Int32) {
    Int32 count = 0;
    if (!file.ReadInt32(&count)) return false;
    entries.clear();
    for (Int32 i = 0; i < count; ++i) {
        Entry entry;
        if (!file.ReadData(&entry.link) || !file.ReadInt32(&entry.flags)) return false;
        entries.push_back(std::move(entry));
    }
    return count >= 0;
}

std::unique_ptr<CustomDataType> ByteData::Clone(const AliasTrans*) const {
    return std::make_unique<ByteData>(*this);
}

Bool ByteData::Equals(const CustomDataType& other) const {
    const auto* right = dynamic_cast<const ByteData*>(&other);
    return right && bytes == right->bytes;
}

Bool ByteData::Write(HyperFile& file) const {
    return file.WriteArray(bytes);
}

Bool ByteData::Read(HyperFile& file, Int32) {
    return file.ReadBytes(&bytes);
}

std::unique_ptr<CustomDataType> UnknownData::Clone(const AliasTrans*) const {
    return std::make_unique<UnknownData>(*this);
}

Bool UnknownData::Equals(const CustomDataType& other) const {
    const auto* right = dynamic_cast<const UnknownData*>(&other);
    return right && typeId_ == right->typeId_ && level_ == right->level_ && bytes_ == right->bytes_;
}

Bool UnknownData::Write(HyperFile& file) const {
    return file.WriteRest(bytes_);
}

Bool UnknownData::Read(HyperFile& file, Int32 level) {
    level_ = level;
    return file.ReadRest(&bytes_);
}

}  // namespace host
