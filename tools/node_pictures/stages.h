// The scenes in which the recipes of strips are shown.
#pragma once

#include "tools/node_pictures/builder.h"
#include "tools/node_pictures/strips.h"

namespace pictures {

/// What all pictures of a stage have in common.
struct StageFormat {
    int maxWidth = 0;  ///< pixels of one picture
    float aspect = 1;  ///< height to width
    int samples = 0;   ///< for each pixel
};

StageFormat formatOf(Stage stage);

/// Builds the scene of one picture: everything but the render target. Throws std::runtime_error.
void buildStage(Stage stage, const Recipe& recipe, Builder& builder);

}  // namespace pictures
