// What plug-ins registered, and which plug-in is being called.
//
// One table by id for the whole process. It is written while plug-ins start and end, on the main thread; it may be read
// from any thread.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "host/sdk/custom_types.h"
#include "host/sdk/plugin.h"

namespace host {

/// Number of a started plug-in, from 1; 0 is the program itself.
using PluginOwner = Int32;

struct Registration {
    PluginInfo info;
    PluginOwner owner = 0;
    Int32 order = 0;                                  ///< of registration, over all plug-ins
    std::function<std::unique_ptr<NodeData>()> make;  ///< of node types and scene hooks
    CommandData* command = nullptr;                   ///< borrowed
    MessageData* receiver = nullptr;                  ///< borrowed
    CustomGuiData* gui = nullptr;                     ///< borrowed
    Allocator<CustomDataType> makeCustom;
};

/// Null when nothing is registered under the id. Valid until its plug-in ends.
const Registration* findRegistration(Int32 id);
/// All of one kind, in order of registration.
std::vector<const Registration*> registrationsOf(PluginKind kind);

/// The mind of a node of a registered type; null for types without one and when the plug-in's allocator fails.
std::unique_ptr<NodeData> makeNodeData(Int32 id);
/// An empty value of a registered data type; null when there is none.
std::unique_ptr<CustomDataType> makeRegisteredDataType(Int32 id);

/// Counts changes of the table, so that readers who keep lists know when to make them again.
UInt32 registryVersion();
void removeRegistrations(PluginOwner owner);

/// Folder of a started plug-in, for GeGetPluginPath.
void setPluginDirectory(PluginOwner owner, const Filename& directory, const Filename& library);

/// Marks the plug-in that this thread is inside of, for as long as it lives.
class PluginScope {
public:
    explicit PluginScope(PluginOwner owner);
    ~PluginScope();
    PluginScope(const PluginScope&) = delete;
    PluginScope& operator=(const PluginScope&) = delete;

private:
    PluginOwner before_;
};

/// Folder of the plug-in whose code `returnAddress` is in, else of the one that this thread is inside of, else of the
/// one that is linked into the program; empty when there is none.
Filename pluginDirectoryAt(const void* returnAddress);

}  // namespace host
