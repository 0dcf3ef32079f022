// Light for scenes that have none: a sky that is bright from above and dim from below, with a broad bright area to one
// side, so that shapes show. A sky of one colour would light every surface alike.
#pragma once

namespace host {
class BaseDocument;
}

namespace app {

/// What of a document gives light.
struct LightSources {
    bool sky = false, lights = false;
    bool surfaces = false;  ///< that shine all over; a glow painted by an image is not what lights a scene

    bool any() const { return sky || lights || surfaces; }
    /// A sky stands in beside lights too: files seldom bring enough of them to see all of a model.
    bool wantsSky() const { return !sky && !surfaces; }
};
LightSources findLight(const host::BaseDocument& document);

/// Adds the sky: an object, a material and an image that the document carries. A white surface that faces the brightest
/// part of it is just not burnt out. Without a place for the image's file nothing is added. Main thread.
void addSoftSky(host::BaseDocument& document);

}  // namespace app
