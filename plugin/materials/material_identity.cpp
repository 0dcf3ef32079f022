#include "plugin/materials/material_identity.h"

#include <atomic>
#include <cstring>
#include <random>

namespace lumora {

namespace {

enum : std::size_t { kSlotAddress = 0, kSlotUid = 1 };

const ByteData* findBlock(const BaseMaterial& material) {
    const GeData* data = material.GetDataInstance()->FindData(MATERIAL_BLOCK);
    const CustomDataType* held = data ? data->GetCustom(CUSTOMDATATYPE_BYTES) : nullptr;
    const auto* block = static_cast<const ByteData*>(held);
    return block && block->bytes.size() == sizeof(MaterialBlock) ? block : nullptr;
}

UInt64 addressOf(const BaseMaterial& material) {
    return reinterpret_cast<UInt64>(&material);
}

bool writeSlot(BaseMaterial& material, std::size_t slot, UInt64 value) {
    MaterialBlock block = readBlock(material);
    block[slot] = value;
    return writeBlock(material, block);
}

}  // namespace

MaterialBlock readBlock(const BaseMaterial& material) {
    MaterialBlock block{};
    if (const ByteData* held = findBlock(material)) std::memcpy(block.data(), held->bytes.data(), sizeof(block));
    return block;
}

bool writeBlock(BaseMaterial& material, const MaterialBlock& block) {
    const ByteData* held = findBlock(material);
    if (held && std::memcmp(held->bytes.data(), block.data(), sizeof(block)) == 0) return false;
    auto data = std::make_shared<ByteData>();
    const auto* bytes = reinterpret_cast<const UChar*>(block.data());
    data->bytes.assign(bytes, bytes + sizeof(block));
    material.GetDataInstance()->SetData(MATERIAL_BLOCK, GeData(std::shared_ptr<const CustomDataType>(std::move(data))));
    return true;
}

UInt64 nextMaterialUid() {
    // Blocks stand in files: a run starts at a number of its own, so that a loaded material is no one's copy.
    static std::atomic<UInt64> next{(UInt64{std::random_device{}()} << 32) | 1};
    return next++;
}

UInt64 materialUid(const BaseMaterial& material) {
    UInt64 uid = 0;
    if (const ByteData* held = findBlock(material))
        std::memcpy(&uid, held->bytes.data() + kSlotUid * sizeof(uid), sizeof(uid));
    return uid;
}

bool writeMaterialUid(BaseMaterial& material, UInt64 uid) {
    return writeSlot(material, kSlotUid, uid);
}

bool writeMaterialAddress(BaseMaterial& material) {
    return writeSlot(material, kSlotAddress, addressOf(material));
}

void storeMaterialPointers(BaseDocument& document) {
    for (BaseMaterial* material = document.GetFirstMaterial(); material; material = material->GetNext())
        // Compared first: a write is a change of the material, and this follows every change.
        if (BaseContainer& data = *material->GetDataInstance();
            data.GetInt64(MATERIAL_SOURCE) != static_cast<Int64>(addressOf(*material)))
            data.SetInt64(MATERIAL_SOURCE, static_cast<Int64>(addressOf(*material)));
}

BaseMaterial* sourceOfCopy(const BaseMaterial& copy, const BaseDocument& document) {
    const auto address = static_cast<UInt64>(copy.GetDataInstance()->GetInt64(MATERIAL_SOURCE));
    if (address == 0) return nullptr;
    // An address from a file or of a freed material names nothing: it is compared, never followed.
    for (BaseMaterial* material = document.GetFirstMaterial(); material; material = material->GetNext())
        if (addressOf(*material) == address) return material;
    return nullptr;
}

}  // namespace lumora
