// State beside the session that several threads look at while a send, an update or a render runs.
//
// One set for the life of the plug-in, made anew at each start. The flags are polled in loops: a late reading costs one
// more round, nothing else.
#pragma once

#include <atomic>

#include "plugin/core/prelude.h"

namespace lumora {

struct Globals {
    std::atomic<bool> renderFailed{false};  ///< the engine reported a failure (engine thread)
    std::atomic<bool> renderError{false};   ///< the main thread has seen it
    std::atomic<bool> ending{false};        ///< shut-down has begun: every send and render breaks off
    std::atomic<bool> pluginExited{false};  ///< shut-down has run
    std::atomic<bool> breakUpdate{false};   ///< stop the update work
    std::atomic<bool> breakSend{false};     ///< stop the running send at its next test
    std::atomic<bool> converting{false};    ///< the conversion of host materials runs
    std::atomic<bool> inDrag{false};
    std::atomic<bool> allMovable{false};     ///< in live renders static objects are sent one by one too
    std::atomic<bool> hostEvent{false};      ///< the document changed since the last check
    std::atomic<bool> newImage{false};       ///< the engine has a newer picture
    std::atomic<bool> redraw{false};         ///< a picture waits to be laid over a view
    std::atomic<bool> updateRunning{false};  ///< the engine builds an update
    std::atomic<bool> liveViewerOpen{false};
    std::atomic<Int32> logLevel{0};
    /// Copy of a preference: 0 nothing comes to the host's console, 1 all but the engine's own lines, 2 everything.
    std::atomic<Int32> logOutput{2};
    /// The host's thread of a final render, asked for a user's break by every loop of a send. Null in live renders.
    std::atomic<C4DThread*> breakThread{nullptr};

    Int32 clayMode = 0;       ///< the wanted mode
    Int32 savedClayMode = 0;  ///< to be restored after a final render

    Float32 unitScale = 0.01f;  ///< metres per scene unit of the document that was sent
    Int32 fps = 30;             ///< of the document that was sent

    Float nextVersionCheck = -1;  ///< host time, ms; -1: none is due
    Float viewportFactor = 1.0;   ///< size of the picture over the view
    Int32 firstSlot = 0;          ///< first mesh pin of the main group
    Int32 instancePin = 5, particlePin = 6, hairPin = 7;
    void* hostLibrary = nullptr;             ///< of the host, found when its activity starts; null without it
    Int32 sliderType = 2, colorGuiType = 1;  ///< copies of preferences that custom GUIs read
};

/// Never null while the plug-in is loaded.
Globals& globals();
/// Start values again. At plug-in start, before anything else runs.
void resetGlobals();

/// Poll this in loops of a send, from any thread. A break of the host's render thread becomes `breakSend`.
bool sendBroken();

}  // namespace lumora
