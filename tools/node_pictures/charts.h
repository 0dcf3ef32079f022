// Images and photometric files that the program makes itself.
#pragma once

#include <string>

#include "tools/node_pictures/recipe.h"

namespace pictures {

struct ChartImage {
    int width = 0, height = 0;
    std::vector<unsigned char> bytes;  ///< RGBA, rows from the top; empty where there are floats
    std::vector<float> floats;         ///< RGBA, linear
};

/// Of a chart that is an image.
ChartImage chartImage(Chart chart);

/// Of a chart that is a photometric file: its text. Empty for images.
std::string photometricText(Chart chart);

}  // namespace pictures
