#include "plugin/materials/material_sums.h"

#include <algorithm>
#include <bit>

#include "plugin/core/ids.h"
#include "plugin/materials/material_identity.h"

namespace lumora {

namespace {

constexpr Int32 kLayerShader = 1011123;
constexpr Int32 kCloner = 1018544;
constexpr Int32 kInstanceColorShader = 1039377, kInstanceColorSource = 1116;

/// Two links to different elements differ, but an address as it stands would swallow the digits of everything that is
/// added to the same sum after it.
Float addressSum(const void* element) {
    constexpr std::uintptr_t kSmall = (1u << 20) - 1;
    return static_cast<Float>((reinterpret_cast<std::uintptr_t>(element) >> 4) & kSmall);
}

Float characterSum(const std::string& text) {
    Float sum = 0;
    for (char c : text) sum += static_cast<UChar>(c);
    return sum;
}

Float gradientSum(const Gradient& gradient) {
    Float sum = 0;
    for (const Gradient::Knot& k : gradient.knots)
        sum += k.colour.x + 2 * k.colour.y + 3 * k.colour.z + 5 * k.position + 7 * k.brightness + 11 * k.bias +
               13 * static_cast<Float>(k.interpolation);
    return sum;
}

void addValue(const BaseList2D& element, const GeData& value, ContentHash& hash, VisitedElements& visited) {
    switch (value.GetType()) {
        case DataType::Int:
            hash.a += static_cast<Float>(value.GetInt64());
            break;
        case DataType::Float:
            hash.b += value.GetFloat();
            break;
        case DataType::Vector: {
            const Vector v = value.GetVector();
            hash.a += v.x, hash.b += v.y, hash.c += v.z;
            break;
        }
        case DataType::String:
            hash.a += characterSum(value.GetString().str());
            break;
        case DataType::Filename:
            hash.b += characterSum(value.GetFilename().str());
            break;
        case DataType::Link:
            if (const BaseList2D* target = value.GetLink(element.GetDocument())) {
                hash.b += addressSum(target);
                addContent(*target, hash, visited);
            }
            break;
        case DataType::Custom:
            if (const auto* gradient = static_cast<const Gradient*>(value.GetCustom(CUSTOMDATATYPE_GRADIENT)))
                hash.c += gradientSum(*gradient);
            break;
        default:
            break;
    }
}

/// A change of any digit counts, also of a parent's place, which the object's own counters do not show.
UInt32 foldMatrix(UInt32 sum, const Matrix& m) {
    for (const Vector& row : {m.off, m.v1, m.v2, m.v3})
        for (const Float component : {row.x, row.y, row.z}) {
            const auto bits = std::bit_cast<UInt64>(component);
            sum = (sum ^ static_cast<UInt32>(bits ^ (bits >> 32))) * 16777619u;  // FNV-1a, a word at a time
        }
    return sum;
}

void addInstanceColorSource(const BaseList2D& source, UInt32& sum) {
    sum += dirtySum(source);
    if (source.GetType() != kCloner) return;
    for (const BaseList2D* down = source.GetDown(); down; down = down->GetNext()) {
        const auto& child = static_cast<const BaseObject&>(*down);
        if (child.GetFirstTag() && child.GetDataInstance()->GetBool(ID_BASEOBJECT_GENERATOR_FLAG, true))
            sum += dirtySum(child);
    }
}

void addInstanceColors(const BaseList2D& owner, const BaseDocument& document, UInt32& sum) {
    const auto visit = [&](const BaseList2D* first) {
        for (const BaseList2D* shader = first; shader; shader = shader->GetNext()) {
            if (shader->GetType() == kInstanceColorShader)
                if (const BaseList2D* source = shader->GetDataInstance()->GetLink(kInstanceColorSource, &document))
                    addInstanceColorSource(*source, sum);
            addInstanceColors(*shader, document, sum);
        }
    };
    visit(owner.GetFirstShader());
    if (owner.GetFamily() == NodeFamily::Shader) visit(owner.GetDown());
}

NodeType ownMaterialType(Int32 choice) {
    switch (choice) {
        case 2511:
            return NT_MAT_GLOSSY;
        case 2513:
            return NT_MAT_SPECULAR;
        case 2514:
            return NT_MAT_METALLIC;
        case 2515:
            return NT_MAT_TOON;
        case 2516:
            return NT_MAT_UNIVERSAL;
        default:
            return NT_MAT_DIFFUSE;
    }
}

/// A layered material of another renderer, by its switches.
NodeType layeredMaterialType(const BaseContainer& d) {
    for (Int32 layer : {2003, 2005, 2006, 2007, 2010, 2011})
        if (d.GetBool(layer)) return NT_MAT_GLOSSY;
    return d.GetBool(2002) && d.GetBool(2000) ? NT_MAT_SPECULAR : NT_MAT_DIFFUSE;
}

NodeType standardMaterialType(const BaseMaterial& material) {
    constexpr Int32 kSpecularChannel = 5;
    const BaseContainer& d = *material.GetDataInstance();
    if (material.GetChannelState(CHANNEL_TRANSPARENCY) && d.GetFloat(MATERIAL_TRANSPARENCY_REFRACTION, 1.0) != 1.0)
        return NT_MAT_SPECULAR;
    if (material.GetChannelState(CHANNEL_LUMINANCE)) return NT_MAT_DIFFUSE;
    if (material.GetChannelState(kSpecularChannel)) return NT_MAT_GLOSSY;
    if (!material.GetChannelState(CHANNEL_REFLECTION)) return NT_MAT_DIFFUSE;
    // A surface that is metal all over reflects its colour and scatters none.
    const bool metal = d.GetFloat(MATERIAL_REFLECTION_METALNESS, 0.0) >= 0.5 &&
                       !material.GetShader(MATERIAL_REFLECTION_METALNESS_SHADER);
    return metal ? NT_MAT_METALLIC : NT_MAT_GLOSSY;
}

}  // namespace

UInt32 dirtySum(const BaseList2D& element) {
    return element.GetDirty(DIRTYFLAGS_ALL) + element.GetHDirty(HDIRTYFLAGS_ALL);
}

// --- Content --------------------------------------------------------------------------------------------------------

void VisitedElements::clear() {
    if (count_ > 0) std::fill(slots_.begin(), slots_.end(), nullptr);
    count_ = 0;
}

bool VisitedElements::insert(const BaseList2D* element) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    const std::size_t mask = slots_.size() - 1;
    std::size_t at = (reinterpret_cast<std::uintptr_t>(element) >> 4) * 0x9E3779B97F4A7C15ull >> 20 & mask;
    for (; slots_[at]; at = (at + 1) & mask)
        if (slots_[at] == element) return false;
    slots_[at] = element;
    ++count_;
    return true;
}

void VisitedElements::grow() {
    std::vector<const BaseList2D*> old(std::max<std::size_t>(64, slots_.size() * 2), nullptr);
    old.swap(slots_);
    count_ = 0;
    for (const BaseList2D* element : old)
        if (element) insert(element);
}

void addContent(const BaseList2D& element, ContentHash& hash, VisitedElements& visited) {
    if (!visited.insert(&element)) return;
    if (element.GetType() == kLayerShader) hash.c += element.GetDirty(DIRTYFLAGS_MATRIX);
    const BaseContainer& data = *element.GetDataInstance();
    for (Int32 i = 0; i < data.GetCount(); ++i) {
        const Int32 id = data.GetIndexId(i);
        if (id >= kPrivateFirst && id <= kPrivateLast) continue;
        const GeData& value = data.GetIndexData(i);
        if (id == -1 || value.IsNil()) break;
        addValue(element, value, hash, visited);
    }
}

ContentHash hashParameters(const BaseList2D& element) {
    ContentHash hash;
    VisitedElements visited;
    addContent(element, hash, visited);
    return hash;
}

// --- Dependencies ---------------------------------------------------------------------------------------------------

UInt32 dependencySum(const MatLink& link, const BaseMaterial& material, const BaseDocument& document) {
    UInt32 sum = 0;
    if (link.hasLinkedObjects)
        for (std::size_t i = link.linkedObjects.size(); i-- > 0;) {
            const BaseList2D* target = link.linkedObjects[i].GetLink(&document);
            if (!target) continue;
            sum += target->GetHDirty(HDIRTYFLAGS_ALL);
            if (target->GetFamily() == NodeFamily::Object)
                sum = foldMatrix(sum, static_cast<const BaseObject*>(target)->GetMg());
        }
    if (link.hasInstanceColor) addInstanceColors(material, document, sum);
    return sum;
}

// --- Types ----------------------------------------------------------------------------------------------------------

NodeType matNodeType(const BaseMaterial& material) {
    switch (material.GetType()) {
        case ID_LUMORA_MIX_MATERIAL:
        case ID_LUMORA_BLEND_MATERIAL:
            return NT_MAT_MIX;
        case ID_LUMORA_PORTAL:
            return NT_MAT_PORTAL;
        case ID_LUMORA_MATERIAL:
            return ownMaterialType(material.GetDataInstance()->GetInt32(2509, 2510));
        case 1017730:
            return NT_MAT_GLOSSY;
        case 1024192:
            return NT_MAT_DIFFUSE;
        case 1020295:
        case 1022115:
        case 1022116:
            return layeredMaterialType(*material.GetDataInstance());
        default:
            return standardMaterialType(material);
    }
}

}  // namespace lumora
