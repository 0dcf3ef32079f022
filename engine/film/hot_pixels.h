// Removal of single pixels that outshine all their neighbours: rare paths that found much light.
#pragma once

#include "engine/film/picture.h"

namespace Lumora::engine {

/// A pixel goes when it is brighter than all but one of its eight neighbours by more than 1 + 4 t / (1 - t) times,
/// where t is `threshold`: 1 and more removes none, 0.5 what is 5 times as bright. It takes the mean of the darker
/// neighbours. Pixels that were removed do not count for the next.
void removeHotPixels(Picture& picture, float threshold);

}  // namespace Lumora::engine
