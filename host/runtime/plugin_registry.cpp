#include "host/runtime/plugin_registry.h"

#include <dlfcn.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <shared_mutex>

#include "host/sdk/log.h"
#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host {

namespace {

struct PluginPlace {
    Filename directory, library;
};

struct Registry {
    std::shared_mutex lock;
    std::map<Int32, Registration> byId;  // a map: pointers to entries stay
    std::map<PluginOwner, PluginPlace> places;
    Int32 nextOrder = 0;
    std::atomic<UInt32> version{0};
};

Registry& registry() {
    static Registry table;
    return table;
}

thread_local PluginOwner currentOwner = 0;

Bool add(Registration entry) {
    if (entry.info.id == 0) {
        GeConsoleOut("A plug-in tried to register \"" + entry.info.name + "\" under the id 0.");
        return false;
    }
    Registry& table = registry();
    entry.owner = currentOwner;
    String holder;
    {
        const std::unique_lock guard(table.lock);
        entry.order = table.nextOrder++;
        const auto [place, inserted] = table.byId.try_emplace(entry.info.id, entry);
        if (inserted) {
            ++table.version;
            return true;
        }
        holder = place->second.info.name;
    }
    GeConsoleOut("Warning: the id " + String::IntToString(entry.info.id) + " of \"" + entry.info.name +
                 "\" is taken by \"" + holder + "\".");
    return false;
}

PluginInfo describe(Int32 id, PluginKind kind, const String& name, Int32 flags) {
    PluginInfo info;
    info.id = id;
    info.kind = kind;
    info.name = name;
    info.flags = flags;
    return info;
}

template <typename T>
Bool addNodeType(PluginInfo info, Allocator<T> make, const Description* description, Int32 level) {
    if (!make) return false;
    info.description = description;
    info.level = level;
    Registration entry;
    entry.info = std::move(info);
    entry.make = [make = std::move(make)]() -> std::unique_ptr<NodeData> { return make(); };
    return add(std::move(entry));
}

}  // namespace

const Registration* findRegistration(Int32 id) {
    Registry& table = registry();
    const std::shared_lock guard(table.lock);
    const auto found = table.byId.find(id);
    return found == table.byId.end() ? nullptr : &found->second;
}

std::vector<const Registration*> registrationsOf(PluginKind kind) {
    Registry& table = registry();
    std::vector<const Registration*> list;
    {
        const std::shared_lock guard(table.lock);
        for (const auto& [id, entry] : table.byId) {
            if (entry.info.kind == kind) list.push_back(&entry);
        }
    }
    std::sort(list.begin(), list.end(), [](const auto* a, const auto* b) { return a->order < b->order; });
    return list;
}

std::unique_ptr<NodeData> makeNodeData(Int32 id) {
    const Registration* entry = findRegistration(id);
    if (!entry || !entry->make) return nullptr;
    const PluginScope scope(entry->owner);
    try {
        return entry->make();
    } catch (const std::exception& e) {
        GeConsoleOut("\"" + entry->info.name + "\" could not be made: " + e.what());
        return nullptr;
    }
}

std::unique_ptr<CustomDataType> makeRegisteredDataType(Int32 id) {
    const Registration* entry = findRegistration(id);
    if (!entry || !entry->makeCustom) return nullptr;
    const PluginScope scope(entry->owner);
    return entry->makeCustom();
}

UInt32 registryVersion() {
    return registry().version;
}

void removeRegistrations(PluginOwner owner) {
    Registry& table = registry();
    const std::unique_lock guard(table.lock);
    std::erase_if(table.byId, [owner](const auto& item) { return item.second.owner == owner; });
    table.places.erase(owner);
    ++table.version;
}

void setPluginDirectory(PluginOwner owner, const Filename& directory, const Filename& library) {
    Registry& table = registry();
    const std::unique_lock guard(table.lock);
    table.places[owner] = {directory, library};
}

PluginScope::PluginScope(PluginOwner owner) : before_(currentOwner) {
    currentOwner = owner;
}

PluginScope::~PluginScope() {
    currentOwner = before_;
}

Filename pluginDirectoryAt(const void* returnAddress) {
    Dl_info module{};
    const char* file = dladdr(returnAddress, &module) ? module.dli_fname : nullptr;
    Registry& table = registry();
    const std::shared_lock guard(table.lock);
    if (file) {
        for (const auto& [owner, place] : table.places) {
            if (place.library.Content() && place.library.str() == file) return place.directory;
        }
    }
    if (const auto found = table.places.find(currentOwner); found != table.places.end()) return found->second.directory;
    for (const auto& [owner, place] : table.places) {
        if (place.library.IsEmpty()) return place.directory;
    }
    return {};
}

// The interface of plug-ins.

Bool RegisterCommandPlugin(Int32 id, const String& name, Int32 flags, const String& icon, const String& help,
                           CommandData* command) {
    if (!command) return false;
    Registration entry;
    entry.info = describe(id, PluginKind::Command, name, flags);
    entry.info.icon = icon;
    entry.info.help = help;
    entry.command = command;
    return add(std::move(entry));
}

Bool RegisterMessagePlugin(Int32 id, const String& name, Int32 flags, MessageData* receiver) {
    if (!receiver) return false;
    Registration entry;
    entry.info = describe(id, PluginKind::Message, name, flags);
    entry.receiver = receiver;
    return add(std::move(entry));
}

Bool RegisterSceneHookPlugin(Int32 id, const String& name, Int32 flags, Allocator<SceneHookData> make, Int32 priority,
                             const Description* description) {
    PluginInfo info = describe(id, PluginKind::SceneHook, name, flags);
    info.priority = priority;
    return addNodeType(std::move(info), std::move(make), description, 0);
}

Bool RegisterObjectPlugin(Int32 id, const String& name, Int32 flags, Allocator<ObjectData> make,
                          const Description* description, const String& icon, Int32 level) {
    PluginInfo info = describe(id, PluginKind::Object, name, flags);
    info.icon = icon;
    return addNodeType(std::move(info), std::move(make), description, level);
}

Bool RegisterTagPlugin(Int32 id, const String& name, Int32 flags, Allocator<TagData> make,
                       const Description* description, const String& icon, Int32 level) {
    PluginInfo info = describe(id, PluginKind::Tag, name, flags);
    info.icon = icon;
    return addNodeType(std::move(info), std::move(make), description, level);
}

Bool RegisterMaterialPlugin(Int32 id, const String& name, Int32 flags, Allocator<MaterialData> make,
                            const Description* description, Int32 level, const Filename& previewScene) {
    PluginInfo info = describe(id, PluginKind::Material, name, flags);
    info.previewScene = previewScene;
    return addNodeType(std::move(info), std::move(make), description, level);
}

Bool RegisterShaderPlugin(Int32 id, const String& name, Int32 flags, Allocator<ShaderData> make,
                          const Description* description, Int32 level) {
    return addNodeType(describe(id, PluginKind::Shader, name, flags), std::move(make), description, level);
}

Bool RegisterVideoPostPlugin(Int32 id, const String& name, Int32 flags, Allocator<VideoPostData> make,
                             const Description* description, Int32 level) {
    return addNodeType(describe(id, PluginKind::VideoPost, name, flags), std::move(make), description, level);
}

Bool RegisterPreferencePlugin(Int32 id, const String& name, Allocator<PreferenceData> make,
                              const Description* description, Int32 parent) {
    PluginInfo info = describe(id, PluginKind::Preference, name, 0);
    info.priority = parent;
    return addNodeType(std::move(info), std::move(make), description, 0);
}

Bool RegisterCustomGuiPlugin(const String& name, Int32 flags, CustomGuiData* gui) {
    if (!gui) return false;
    Registration entry;
    entry.info = describe(gui->GetId(), PluginKind::CustomGui, name, flags);
    entry.gui = gui;
    return add(std::move(entry));
}

Bool RegisterCustomDataTypePlugin(Int32 id, const String& name, Allocator<CustomDataType> make, Int32 level) {
    if (!make) return false;
    Registration entry;
    entry.info = describe(id, PluginKind::CustomDataType, name, 0);
    entry.info.level = level;
    entry.makeCustom = std::move(make);
    return add(std::move(entry));
}

const PluginInfo* FindPlugin(Int32 id) {
    const Registration* entry = findRegistration(id);
    return entry ? &entry->info : nullptr;
}

}  // namespace host
