// The objects of which the plug-in has one each. Made in a fixed order at plug-in start, destroyed at shut-down.
// What can take what it needs as an argument does; these globals are for what the host calls without any.
#pragma once

#include <memory>

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;
class InstanceManager;
class LightCollector;
class MatManager;
class MatPreviewThread;
class MeshCollector;
class ObjectLinkTable;
class RenderSettings;
class SendThread;
class TimerMessage;
struct PluginPrefs;

struct Singletons {
    Singletons();
    ~Singletons();

    std::unique_ptr<lumoraLive> session;
    std::unique_ptr<PluginPrefs> prefs;
    std::unique_ptr<TimerMessage> timer;
    std::unique_ptr<BaseLink> documentLink;
    std::unique_ptr<MatManager> matMngr, prevMatMngr, lghtMatMngr;
    std::unique_ptr<MeshCollector> meshBuilder;
    std::unique_ptr<LightCollector> lightCollector;
    std::unique_ptr<ObjectLinkTable> objectLinks;  ///< static meshes
    std::unique_ptr<RenderSettings> renderSettings;
    std::unique_ptr<InstanceManager> instances;
    std::unique_ptr<SendThread> sendThread;  ///< with the links of movable objects
    std::unique_ptr<MatPreviewThread> matPreviewThread;
};

/// One set while the plug-in is loaded. Members are null before plug-in start and after shut-down.
Singletons& singletons();
/// A fresh, empty set.
void resetSingletons();

/// The session, or null.
lumoraLive* session();

}  // namespace lumora
