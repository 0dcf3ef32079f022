// How a host material is known again: by its uid, which it carries with it into copies of its document.
//
// A material has a private block of eight 64-bit slots, read and written whole: slot 0 its own address, slot 1 its uid.
// The host copies the block with the material. A copy within the document therefore starts with the uid of its source;
// it gets one of its own with its link.
#pragma once

#include <array>

#include "plugin/core/prelude.h"

namespace lumora {

/// Parameters of a material from the first to the last belong to the plug-in and are no content.
inline constexpr Int32 kPrivateFirst = 99000, kPrivateLast = 99020;
enum PrivateParameter : Int32 {
    MATERIAL_MERGE_MARK = 99001,
    MATERIAL_SLOT_STATE = 99002,
    MATERIAL_SLOT_ADDRESS = 99004,
    MATERIAL_SOURCE = 99010,  ///< address of the material that a copy was made from
    MATERIAL_BLOCK = 99020,
};

using MaterialBlock = std::array<UInt64, 8>;
/// Zeros when the material has none yet.
MaterialBlock readBlock(const BaseMaterial& material);
/// False, and nothing counted as a change, when the material has that block already.
bool writeBlock(BaseMaterial& material, const MaterialBlock& block);

/// A number that no material has had, in this run or in a file of another.
UInt64 nextMaterialUid();
/// 0 for a material that never had a link. Allocates nothing.
UInt64 materialUid(const BaseMaterial& material);
bool writeMaterialUid(BaseMaterial& material, UInt64 uid);
bool writeMaterialAddress(BaseMaterial& material);

/// Every material of the document notes its own address, so that copies name their source.
void storeMaterialPointers(BaseDocument& document);
/// The material of `document` that `copy` names as its source; null when there is none.
BaseMaterial* sourceOfCopy(const BaseMaterial& copy, const BaseDocument& document);

}  // namespace lumora
