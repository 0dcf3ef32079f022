// From an image file to an image in memory.
#pragma once

#include <string>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// What an image becomes in memory; the values of A_IMAGE_IMPORT. The block-compressed kinds take the plain format of
/// their precision.
enum class ImageImport : int {
    AsStored = -1,
    Float = 1,
    Half = 2,
    ByteRgb = 3,  ///< without alpha
    ByteRgba = 4,
    HalfRgb = 8,  ///< without alpha
    FineByteRgba = 9,
};

/// Reads an image file of a format that the engine decodes itself, whatever its name ends in. Null with the reason in
/// `why`. With an image, `why` is what is odd about it, or empty. Any thread.
ImageTexturePtr readImageFile(const std::string& path, ImageImport import, std::string& why);

/// Makes infinite values the largest that the format holds and what is no number zero; such pixels would spread over
/// the whole picture. Returns whether there were any.
bool makeFinite(float* values, std::size_t count);
bool allFinite(const float* values, std::size_t count);

}  // namespace Lumora::engine
