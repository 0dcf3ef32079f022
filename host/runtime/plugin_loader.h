// The plug-ins of one application: found, started in order of priority, told things, ended, unloaded.
#pragma once

#include <vector>

#include "host/runtime/application.h"
#include "host/runtime/plugin_registry.h"

namespace host {

using PluginEntry = bool (*)(PluginCall*);

class PluginLoader {
public:
    ~PluginLoader();
    PluginLoader() = default;
    PluginLoader(const PluginLoader&) = delete;
    PluginLoader& operator=(const PluginLoader&) = delete;

    /// Opens <folder>/<name>/<name>.so for every sub-folder, asks for the priorities and starts them, highest first.
    void loadFolder(const Filename& folder);
    /// Starts one entry. False: it refused; its registrations are gone.
    Bool start(PluginEntry entry, const Filename& directory);
    /// To every started plug-in, highest priority first. True when one of them answered true.
    Bool message(Int32 id, void* data);
    /// To those that were started since the last call only: activity, menus, program started.
    void announceStarted();
    /// Ends every plug-in, the last started first, and unloads the libraries.
    void endAll();

    const std::vector<PluginFailure>& failures() const { return failures_; }

private:
    struct Plugin {
        PluginOwner owner = 0;
        PluginEntry entry = nullptr;
        void* library = nullptr;
        Filename file;  ///< empty for one that is linked in
        std::string directory;
        Int32 priority = 0;
        bool announced = false;
    };
    bool open(const Filename& file, Plugin* plugin);
    bool startOne(Plugin& plugin);
    bool call(const Plugin& plugin, PluginAction action, Int32 id, void* data);
    void unload(Plugin& plugin);

    std::vector<Plugin> started_;
    std::vector<PluginFailure> failures_;
};

}  // namespace host
