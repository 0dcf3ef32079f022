// The picture file: which formats there are, whether it can be written, and writing it.
#pragma once

#include <string>

#include "app/options.h"

namespace host {
class VPBuffer;
}

namespace app {

struct PictureFormat {
    const char* suffix;
    bool linear;  ///< 32-bit floats of linear light; else 8-bit values as a screen shows them
};

/// The format that the name asks for. Throws Failure when there is none.
const PictureFormat& pictureFormat(const std::string& file);

/// Name beside the current directory: "a/b/scene.gltf" and ".png" give "scene.png".
std::string defaultOutput(const std::string& scene, const char* suffix);

/// Throws Failure when the folder does not exist or no file can be made in it, or the name is a folder. Leaves nothing
/// behind and an existing file alone.
void checkWritable(const std::string& file);

/// Throws Failure when rendering a picture of that size would take more memory than the machine has free.
void checkMemory(const PictureSize& size);

/// Writes the picture, whole or not at all. Throws Failure.
void writePicture(const host::VPBuffer& picture, const std::string& file);

}  // namespace app
