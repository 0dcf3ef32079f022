// From an image file to an image in memory.
#pragma once

#include <string>

#include "engine/render/image_texture.h"

namespace Lumora::engine {

/// What an image becomes in memory; the values of A_IMAGE_IMPORT. Kinds for bytes leave images of halves and floats as
/// they are, and the other way round.
enum class ImageImport : int {
    AsStored = -1,
    Float = 1,
    Half = 2,
    ByteRgb = 3,       ///< without alpha, in blocks: half a byte a pixel
    ByteRgba = 4,      ///< in blocks: a byte a pixel, half of that without alpha
    HalfRgb = 8,       ///< without alpha, in blocks: a byte a pixel
    FineByteRgba = 9,  ///< in finer blocks: a byte a pixel
};

/// Reads an image file of a format that the engine decodes itself, whatever its name ends in, and halves it so many
/// times. Null with the reason in `why`. With an image, `why` is what is odd about it, or empty. Any thread.
ImageTexturePtr readImageFile(const std::string& path, ImageImport import, std::string& why, int halvings = 0);

/// Bytes that the image of a file will take, as far as its header tells; 0 when it does not. Any thread.
std::uint64_t expectedImageBytes(const std::string& path, ImageImport import);

/// Half the size of an image of a file, for which memory is short. Bytes are taken for colours in sRGB.
ImageTexture smallerImage(const ImageTexture& image);

/// Makes infinite values the largest that the format holds and what is no number zero; such pixels would spread over
/// the whole picture. Returns whether there were any.
bool makeFinite(float* values, std::size_t count);
bool allFinite(const float* values, std::size_t count);

}  // namespace Lumora::engine
