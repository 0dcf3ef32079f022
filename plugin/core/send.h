// The send: the whole document as engine nodes, once, from nothing.
//
//   start message -> sendAndStart -> sendScene: resetScene, settings, materials, walk, meshes and instances, sky,
//   camera, environment -> callUpdate
//
// Render target of a send, all in the root graph:
//
//   render target
//     animation settings, kernel, imager, post-processing, camera, environment
//     geometry: "Main Group": pin 0 lights, 1 to 4 mesh slots, 5 instances, 6 particles, 7 hair
//
// Threads: live on the main thread, in a final render on the host's render thread. Stages test `breakSend` between
// them and leave.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

struct InstanceOptions;
class lumoraLive;
class RenderSettings;

/// Serves the start message: reads the active document's settings and resolution, sends it and starts the render.
/// False when it was refused: a send runs already, a final render runs, the engine is not ready.
bool startLiveRender(lumoraLive& session, bool viewportMode);

/// Sends the document. `doc` is the user's, `sendDoc` the one that is sent. `cloned`: they may differ. `allSlots`: the
/// movable slots are sent as whole meshes too. `settings` null: the global record. Ends in state Exporting, which the
/// engine's first update turns into Rendering, or in state Finished when it failed or was broken off; then false.
bool sendAndStart(lumoraLive& session, BaseDocument* doc, BaseDocument* sendDoc, bool cloned, bool allSlots,
                  RenderSettings* settings);

/// Geometry of what was collected, under a new "Main Group" on the render target.
void createMeshes(lumoraLive& session, bool allSlots);
/// How the session's instances are built, in a send and in its updates.
InstanceOptions instanceOptions(const lumoraLive& session);
/// Engine materials of all host materials of the sent document.
void createMaterials(lumoraLive& session);

}  // namespace lumora
