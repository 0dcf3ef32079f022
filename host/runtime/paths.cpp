#include "host/runtime/paths.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/sdk/file.h"

namespace host {

namespace fs = std::filesystem;

namespace {

struct Paths {
    Filename preferences, plugins;
};

Paths& paths() {
    static Paths instance;
    return instance;
}

fs::path executableFolder() {
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    return error ? fs::current_path(error) : program.parent_path();
}

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

fs::path defaultPreferences() {
    if (const std::string own = environment("LUMORA_PREFERENCES"); !own.empty()) return own;
    // A relative value is to be ignored, says the XDG base directory convention.
    if (const std::string config = environment("XDG_CONFIG_HOME"); !config.empty() && config[0] == '/') {
        return fs::path(config) / "lumora";
    }
    if (const std::string home = environment("HOME"); !home.empty()) return fs::path(home) / ".config" / "lumora";
    return fs::temp_directory_path() / ("lumora-" + std::to_string(getuid()));
}

Bool isWritableFolder(const fs::path& folder) {
    std::error_code error;
    fs::create_directories(folder, error);
    return fs::is_directory(folder, error) && access(folder.c_str(), W_OK | X_OK) == 0;
}

Filename toFilename(const fs::path& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error).lexically_normal();
    std::string text = error ? path.string() : absolute.string();
    while (text.size() > 1 && text.back() == '/') text.pop_back();
    return Filename(text);
}

}  // namespace

Bool setHostPaths(const Filename& preferences, const Filename& plugins) {
    const fs::path wanted = preferences.Content() ? fs::path(preferences.str()) : defaultPreferences();
    const Bool writable = isWritableFolder(wanted);
    fs::path used = wanted;
    if (!writable) {
        std::error_code error;
        used = fs::temp_directory_path(error) / ("lumora-" + std::to_string(getuid()));
        isWritableFolder(used);
    }
    paths().preferences = toFilename(used);
    paths().plugins = toFilename(plugins.Content() ? fs::path(plugins.str()) : executableFolder() / "plugins");
    return writable;
}

Filename GeGetC4DPath(HostPath which) {
    switch (which) {
        case HostPath::Application:
            return toFilename(executableFolder());
        case HostPath::Preferences:
            return paths().preferences;
        case HostPath::Resource:
            return toFilename(executableFolder() / "res");
        case HostPath::Plugins:
            return paths().plugins;
        case HostPath::Write: {
            // Without a running application there are no preferences: tools and child processes.
            const Filename base = paths().preferences.Content()
                                      ? paths().preferences
                                      : toFilename(fs::temp_directory_path() / ("lumora-" + std::to_string(getuid())));
            const Filename folder = base + Filename("scratch");
            GeFCreateDir(folder);
            return folder;
        }
    }
    return {};
}

Bool GeFExist(const Filename& file) {
    std::error_code error;
    return file.Content() && fs::exists(file.str(), error);
}

Bool GeFCreateDir(const Filename& folder) {
    std::error_code error;
    if (folder.IsEmpty()) return false;
    fs::create_directories(folder.str(), error);
    return fs::is_directory(folder.str(), error);
}

Bool GeFKill(const Filename& file) {
    std::error_code error;
    const fs::path path = fs::path(file.str()).lexically_normal();
    if (file.IsEmpty() || path == path.root_path() || !fs::exists(fs::symlink_status(path, error))) return false;
    fs::remove_all(path, error);
    return !error;
}

Bool GenerateTexturePath(const Filename& documentPath, const Filename& file, const Filename& suggested,
                         Filename* result) {
    if (result) *result = {};
    if (file.IsEmpty()) return false;
    const Filename name(file.GetFileString());
    // A name with folders keeps them below the document; the bare name is what is left when a scene was moved.
    std::array<Filename, 6> candidates;
    std::size_t count = 0;
    if (file.IsAbsolute()) candidates[count++] = file;
    if (documentPath.Content()) {
        if (!file.IsAbsolute()) {
            candidates[count++] = documentPath + file;
            candidates[count++] = documentPath + Filename("tex") + file;
        }
        candidates[count++] = documentPath + name;
        candidates[count++] = documentPath + Filename("tex") + name;
    } else if (!file.IsAbsolute()) {
        candidates[count++] = file;
    }
    if (suggested.Content()) candidates[count++] = suggested + name;
    for (std::size_t i = 0; i < count; ++i) {
        std::error_code error;
        if (!fs::is_regular_file(candidates[i].str(), error)) continue;
        if (result) *result = candidates[i];
        return true;
    }
    return false;
}

}  // namespace host
