#include "host/runtime/plugin_loader.h"

#include <dlfcn.h>

#include <algorithm>
#include <exception>
#include <filesystem>
#include <system_error>

#include "host/sdk/file.h"
#include "host/sdk/log.h"

namespace host {

namespace fs = std::filesystem;

namespace {

// Never used twice in a process: an address or a number of an ended plug-in must not name the next one.
PluginOwner nextOwner = 1;

std::vector<Filename> libraryFiles(const Filename& folder) {
    std::vector<Filename> files;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder.str(), error)) {
        const fs::path file = entry.path() / (entry.path().filename().string() + ".so");
        std::error_code ignored;
        if (fs::is_regular_file(file, ignored)) files.emplace_back(file.string());
    }
    std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return a.str() < b.str(); });
    return files;
}

}  // namespace

PluginLoader::~PluginLoader() {
    endAll();
}

bool PluginLoader::open(const Filename& file, Plugin* plugin) {
    plugin->file = file;
    plugin->directory = file.GetDirectory().str();
    plugin->library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!plugin->library) {
        const char* reason = dlerror();
        failures_.push_back({file, reason ? reason : "it cannot be loaded"});
    } else {
        plugin->entry = reinterpret_cast<PluginEntry>(dlsym(plugin->library, "c4d_main"));
        if (plugin->entry) return true;
        failures_.push_back({file, "it has no entry c4d_main"});
        dlclose(plugin->library);
    }
    GeConsoleOut("Warning: the plug-in " + file.GetString() + " was not loaded: " + failures_.back().reason + ".");
    return false;
}

bool PluginLoader::call(const Plugin& plugin, PluginAction action, Int32 id, void* data) {
    PluginCall call;
    call.action = action;
    call.pluginDirectory = plugin.directory.c_str();
    call.messageId = id;
    call.messageData = data;
    const PluginScope scope(plugin.owner);
    try {
        return plugin.entry(&call);
    } catch (const std::exception& e) {
        GeConsoleOut("Error: the plug-in " + String(plugin.directory) + " failed: " + e.what());
        return false;
    }
}

void PluginLoader::unload(Plugin& plugin) {
    removeRegistrations(plugin.owner);
    if (plugin.library) dlclose(plugin.library);
    plugin.library = nullptr;
}

bool PluginLoader::startOne(Plugin& plugin) {
    call(plugin, PluginAction::Message, C4DPL_INIT_SYS, nullptr);
    if (call(plugin, PluginAction::Start, 0, nullptr)) return true;
    failures_.push_back({plugin.file.Content() ? plugin.file : Filename(plugin.directory), "it refused to start"});
    GeConsoleOut("Warning: the plug-in " + failures_.back().file.GetString() + " refused to start and was unloaded.");
    unload(plugin);
    return false;
}

void PluginLoader::loadFolder(const Filename& folder) {
    std::vector<Plugin> found;
    for (const Filename& file : libraryFiles(folder)) {
        Plugin plugin;
        if (!open(file, &plugin)) continue;
        plugin.owner = nextOwner++;
        setPluginDirectory(plugin.owner, Filename(plugin.directory), file);
        call(plugin, PluginAction::Message, C4DPL_PRIORITY, &plugin.priority);
        found.push_back(std::move(plugin));
    }
    const auto higher = [](const Plugin& a, const Plugin& b) { return a.priority > b.priority; };
    std::stable_sort(found.begin(), found.end(), higher);
    for (Plugin& plugin : found) {
        if (startOne(plugin)) started_.push_back(std::move(plugin));
    }
    std::stable_sort(started_.begin(), started_.end(), higher);
}

Bool PluginLoader::start(PluginEntry entry, const Filename& directory) {
    if (!entry) return false;
    Plugin plugin;
    plugin.owner = nextOwner++;
    plugin.entry = entry;
    plugin.directory = directory.str();
    setPluginDirectory(plugin.owner, directory, {});
    call(plugin, PluginAction::Message, C4DPL_PRIORITY, &plugin.priority);
    if (!startOne(plugin)) return false;
    started_.push_back(std::move(plugin));
    return true;
}

Bool PluginLoader::message(Int32 id, void* data) {
    Bool answered = false;
    for (std::size_t i = 0; i < started_.size(); ++i) {
        answered = call(started_[i], PluginAction::Message, id, data) || answered;
    }
    return answered;
}

void PluginLoader::announceStarted() {
    for (const Int32 id : {C4DPL_STARTACTIVITY, C4DPL_BUILDMENU, C4DPL_PROGRAM_STARTED}) {
        for (const Plugin& plugin : started_) {
            if (!plugin.announced) call(plugin, PluginAction::Message, id, nullptr);
        }
    }
    for (Plugin& plugin : started_) plugin.announced = true;
}

void PluginLoader::endAll() {
    for (auto plugin = started_.rbegin(); plugin != started_.rend(); ++plugin) {
        call(*plugin, PluginAction::End, 0, nullptr);
        unload(*plugin);
    }
    started_.clear();
}

}  // namespace host
