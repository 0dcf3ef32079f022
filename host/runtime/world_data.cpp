#include "host/runtime/world_data.h"

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <system_error>

#include "host/sdk/log.h"

namespace host {

namespace {

constexpr Int32 kIdent = fourCC('L', 'W', 'P', 'D');
constexpr Int32 kVersion = 1;
constexpr Int32 kEntryChunk = 1;

struct WorldData {
    std::mutex lock;
    Filename file;
    std::map<Int32, std::unique_ptr<BaseContainer>> entries;  // their addresses are handed out
};

WorldData& world() {
    static WorldData instance;
    return instance;
}

Bool readEntries(HyperFile& file, WorldData& w) {
    Int32 id = 0, level = 0;
    while (file.ReadChunkStart(&id, &level)) {
        if (id == kEntryChunk) {
            Int32 plugin = 0;
            auto data = std::make_unique<BaseContainer>();
            if (!file.ReadInt32(&plugin) || !file.ReadContainer(data.get())) return false;
            w.entries[plugin] = std::move(data);
        }
        if (!file.ReadChunkEnd()) return false;
    }
    return file.GetError() == FileError::None;
}

Bool writeEntries(const WorldData& w) {
    HyperFile file;
    if (!file.Open(kIdent, w.file, FileMode::Write, kVersion)) return false;
    for (const auto& [id, data] : w.entries) {
        file.WriteChunkStart(kEntryChunk, 1);
        file.WriteInt32(id);
        file.WriteContainer(*data);
        file.WriteChunkEnd();
    }
    return file.Close();
}

// The name that a broken file is kept under: the first that is free, so that no earlier one is lost.
Filename spareName(const Filename& file) {
    for (Int32 i = 1; i < 100; ++i) {
        const Filename spare(file.str() + ".broken-" + std::to_string(i));
        if (!GeFExist(spare)) return spare;
    }
    return Filename(file.str() + ".broken");
}

}  // namespace

void loadWorldData(const Filename& name) {
    WorldData& w = world();
    const std::scoped_lock guard(w.lock);
    w.entries.clear();
    w.file = name;
    if (!GeFExist(name)) return;
    String problem;
    {
        HyperFile file;
        const Bool fine = file.Open(kIdent, name, FileMode::Read) && readEntries(file, w);
        if (fine) return;
        problem = file.GetErrorText();
    }
    w.entries.clear();
    const Filename spare = spareName(name);
    std::error_code error;
    std::filesystem::rename(name.str(), spare.str(), error);
    GeConsoleOut(
        "Warning: the preferences " + name.GetString() + " cannot be read (" + problem + "). " +
        (error ? String("Defaults are used.") : "They are kept as " + spare.GetString() + "; defaults are used."));
}

void dropWorldData() {
    WorldData& w = world();
    const std::scoped_lock guard(w.lock);
    w.entries.clear();
    w.file = {};
}

BaseContainer* GetWorldPluginData(Int32 id) {
    WorldData& w = world();
    const std::scoped_lock guard(w.lock);
    const auto found = w.entries.find(id);
    return found == w.entries.end() ? nullptr : found->second.get();
}

Bool SetWorldPluginData(Int32 id, const BaseContainer& data, Bool merge) {
    WorldData& w = world();
    const std::scoped_lock guard(w.lock);
    auto& entry = w.entries[id];
    if (!entry) entry = std::make_unique<BaseContainer>(id);
    BaseContainer next = merge ? *entry : data;  // `data` may be the entry itself, changed in place
    if (merge) next.Merge(data);
    *entry = std::move(next);
    if (w.file.IsEmpty()) return false;
    if (writeEntries(w)) return true;
    GeConsoleOut("Warning: the preferences could not be written to " + w.file.GetString() + ".");
    return false;
}

}  // namespace host
