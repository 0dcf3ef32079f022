// The pictures of the reference of nodes: strips of small renders, one for each value of a pin.
//
// This is a table without any knowledge of the engine but its numbers: the program that renders the strips walks it,
// and so does the one that writes the reference.
#pragma once

#include <span>

#include "tools/node_pictures/recipe.h"

namespace pictures {

/// What the recipes of a strip are put on, and how it is lit.
enum class Stage {
    Ball,      ///< a material on the studio's ball
    Backlit,   ///< a material on a bent sheet, with a lamp behind it
    Gem,       ///< a material on a cut stone
    LowBall,   ///< a material on a ball of few polygons and a box with sharp edges
    Relief,    ///< a displacement on a fine ball
    Panel,     ///< a texture on a square and on a ball
    Boxes,     ///< a projection: the chart on a box and a ball
    Nook,      ///< a texture on things that touch each other
    Sheet,     ///< a texture on a bent sheet of which both sides are seen
    Crowd,     ///< a texture on a crowd of instances
    Toon,      ///< a material on the ball, before a plain wall
    ToonLamp,  ///< a light for toon materials
    Bulb,      ///< an emission on a glowing ball over a floor
    Mirror,    ///< an emission on a square between a mirror ball and a dull one
    Spot,      ///< an emission on a small lamp that looks down along a wall
    Room,      ///< a material on the window of a closed room
    Sky,       ///< an environment around a scene outdoors
    Backdrop,  ///< a visible environment around the same scene
};

struct Column {
    std::string label;
    Recipe recipe;
};

struct Strip {
    const char* name;  ///< of the file, without folder and ending
    NodeType node;     ///< in whose section it is shown
    std::string caption;
    Stage stage;
    std::vector<Column> columns;
    bool noisy = false;  ///< few samples and no denoiser: the noise is what it shows
};

/// All strips, those of a node type in the order in which the reference shows them.
std::span<const Strip> allStrips();

/// Where the reference finds the picture, relative to its own folder.
std::string pathInDocs(const Strip& strip);

/// The strips of one group of nodes.
std::vector<Strip> materialStrips();
std::vector<Strip> surfaceStrips();
std::vector<Strip> textureStrips();
std::vector<Strip> projectionStrips();
std::vector<Strip> lightStrips();

/// A number as the captions show it.
std::string number(float value);

/// One column for each value of a pin.
std::vector<Column> over(const Recipe& recipe, PinId pin, const std::vector<float>& values);
/// The same for pins of whole numbers and switches.
std::vector<Column> overInt(const Recipe& recipe, PinId pin, const std::vector<int>& values);
std::vector<Column> offOn(const Recipe& recipe, PinId pin);

}  // namespace pictures
