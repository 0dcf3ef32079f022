#include "plugin/core/script_list.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "plugin/core/session.h"

namespace lumora {

namespace {
constexpr const char* kFolderItself = "\\";
}

void scanScripts(lumoraLive& session) {
    namespace fs = std::filesystem;
    const fs::path root = (GeGetPluginResourcePath() + "osl_scripts").str();
    std::set<std::string> folders, files;
    std::error_code error;
    for (fs::recursive_directory_iterator it(root, fs::directory_options::skip_permission_denied, error), end;
         !error && it != end; it.increment(error)) {
        std::error_code ignored;
        const std::string name = it->path().lexically_relative(root).generic_string();
        if (it->is_directory(ignored))
            folders.insert(name);
        else if (it->is_regular_file(ignored))
            files.insert(name);
    }
    session.scriptNames.assign(1, kFolderItself);
    for (const std::string& name : folders) session.scriptNames.emplace_back(name);
    session.scriptPaths.assign(files.begin(), files.end());
}

}  // namespace lumora
