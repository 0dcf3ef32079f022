// Facts of the running host, commands, and libraries that the host offers to plug-ins.
#include <exception>

#include "host/model/merge_materials.h"
#include "host/runtime/machine.h"
#include "host/runtime/plugin_registry.h"
#include "host/sdk/document.h"
#include "host/sdk/log.h"

namespace host {

namespace {

constexpr Int32 kBitnessWord = 2011;
constexpr Int32 kLinux = 4;
constexpr Int32 kCommandEnabled = 1;

AppType runningType = AppType::CommandLine;

}  // namespace

void setAppType(AppType type) {
    runningType = type;
}

AppType GetAppType() {
    return runningType;
}

Int32 GetHostVersion() {
    return kApiVersion;
}

Int32 GetOperatingSystem() {
    return kLinux;
}

BaseContainer GetMachineFeatures() {
    BaseContainer features;
    features.SetString(kBitnessWord, sizeof(void*) == 8 ? "64 Bit" : "32 Bit");
    return features;
}

// Libraries of extension modules; this host has none, and who asks copes with that.
void* FindLibrary(Int32) {
    return nullptr;
}

namespace {

/// Commands that the host has without any plug-in. False: it has none of that id, or it could not run.
Bool callOwnCommand(Int32 id) {
    constexpr Int32 kMergeEqualMaterials = 12211;
    BaseDocument* document = GetActiveDocument();
    if (id != kMergeEqualMaterials || !document) return false;
    mergeEqualMaterials(*document);
    return true;
}

}  // namespace

Bool CallCommand(Int32 id) {
    const Registration* entry = findRegistration(id);
    if (!entry || !entry->command) return callOwnCommand(id);
    const PluginScope scope(entry->owner);
    try {
        BaseDocument* document = GetActiveDocument();
        if ((entry->command->GetState(document) & kCommandEnabled) == 0) return false;
        return entry->command->Execute(document);
    } catch (const std::exception& e) {
        GeConsoleOut("The command \"" + entry->info.name + "\" failed: " + e.what());
        return false;
    }
}

[[gnu::noinline]] Filename GeGetPluginPath() {
    return pluginDirectoryAt(__builtin_return_address(0));
}

[[gnu::noinline]] Filename GeGetPluginResourcePath() {
    return pluginDirectoryAt(__builtin_return_address(0)) + Filename("res");
}

}  // namespace host
