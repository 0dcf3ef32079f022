// The plug-in's hold on the engine: start, the one place that pushes changes, flow under its lock, callbacks.
#pragma once

#include "engine/api/types.h"
#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// Where the engine's library was looked for, and why it could not be loaded; empty when it was.
void setEngineLibraryError(const String& why);
const String& engineLibraryError();

/// Starts the engine in shared mode, once; later calls do nothing while it is ready. Fills session.engineError on
/// failure. Main thread, or the render thread of a final render.
void engineStart(lumoraLive& session);

/// Makes the session ready to render: engine, callbacks, devices, environment builders. Returns engineReady.
bool initLive(lumoraLive& session);

/// Pushes everything that changed since the last call into the engine. False when nothing had changed, or when an
/// update is still being taken. `wait` blocks until the engine has built it, or has failed.
bool callUpdate(lumoraLive& session, bool wait, const char* label);

/// True when a new check may start: no update is under way, or the picture shows the last one.
bool updateAccepted(lumoraLive& session);

// Flow, under the session's flow lock. False when the lock could not be had and nothing was done.
bool pauseLocked(lumoraLive& session);
bool continueLocked(lumoraLive& session);
bool restartLocked(lumoraLive& session);
bool stopLocked(lumoraLive& session);
bool isPausedLocked(lumoraLive& session);

/// The part of the film that is rendered, pixels: from `start` up to and without `end`. The first form waits for the
/// next update, the second updates and restarts. False: there is no film.
bool writeFilmRegion(lumoraLive& session, bool on, Lumora::Vec2<int> start, Lumora::Vec2<int> end);
void setFilmRegion(lumoraLive& session, bool on, Lumora::Vec2<int> start, Lumora::Vec2<int> end);
bool getFilmRegion(lumoraLive& session, Lumora::Vec2<int>* resolution, Lumora::Vec2<int>* start,
                   Lumora::Vec2<int>* size);

/// Takes every callback away from the engine. At shut-down.
void removeCallbacks();
/// The engine's log lines go to the console as "LUM:..."; registered once.
void registerEngineLog();

}  // namespace lumora
