// From single pictures to the file of a strip.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace pictures {

/// RGB bytes, rows from the top.
struct Picture {
    int width = 0, height = 0;
    std::vector<unsigned char> pixels;
};

/// Puts pictures of equal size side by side with their labels below and writes a JPEG file, through a file of another
/// name, so that what is there is a whole picture at any time. Throws std::runtime_error.
void writeStrip(const std::filesystem::path& path, const std::vector<Picture>& pictures,
                const std::vector<std::string>& labels);

}  // namespace pictures
