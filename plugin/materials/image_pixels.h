// Pictures that the engine does not read itself: the host decodes them, in a process of their own, and the engine gets
// their pixels.
#pragma once

#include "plugin/materials/engine_write.h"

namespace lumora {

enum class PictureSource {
    File,        ///< the engine reads the file
    LinearFile,  ///< so it does, and the file holds linear values
    Pixels,      ///< the host reads the file
};
/// By the file's first bytes; a name may say anything.
PictureSource pictureSource(const Filename& file);

/// Gives the picture of a file to an image node: 8-bit as bytes, all else as floats. Pixels that the node has from the
/// same state of the file stay. Null `linear` is fine; true: the values are linear light. False, with one line in the
/// log for each state of the file, when it cannot be read; the node is as it was.
bool writePicturePixels(ApiNode* image, const Filename& file, bool* linear);

/// Lets the engine read the file, again when it has changed since it was named.
void writePictureFile(ApiNode* image, const Filename& file);

}  // namespace lumora
