// GeResource: the texts of a plug-in, by number.
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <unordered_map>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/log.h"
#include "host/sdk/plugin.h"

namespace host {

namespace {

// A text in quotes with the escapes \n, \t, \" and \\, starting at `at`; nothing when the end quote is missing.
std::optional<std::string> readQuoted(const std::string& line, std::size_t at) {
    std::string text;
    for (std::size_t i = at + 1; i < line.size(); ++i) {
        if (line[i] == '"') return text;
        if (line[i] == '\\' && i + 1 < line.size()) {
            const char next = line[++i];
            text += next == 'n' ? '\n' : next == 't' ? '\t' : next;
        } else {
            text += line[i];
        }
    }
    return std::nullopt;
}

}  // namespace

struct GeResource::Table {
    std::unordered_map<Int32, String> texts;
};

[[gnu::noinline]] Bool GeResource::Init() {
    const Filename folder = pluginDirectoryAt(__builtin_return_address(0));
    const Filename name = folder + Filename("res") + Filename("strings_us") + Filename("c4d_strings.str");
    std::ifstream file(name.str());
    if (folder.IsEmpty() || !file) return false;
    delete table_;
    table_ = new Table;
    std::string line;
    for (Int32 number = 1; std::getline(file, line); ++number) {
        const std::size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#' || line.compare(first, 2, "//") == 0) continue;
        char* end = nullptr;
        const long id = std::strtol(line.c_str() + first, &end, 10);
        const std::size_t quote = line.find('"', static_cast<std::size_t>(end - line.c_str()));
        const auto text = quote == std::string::npos ? std::nullopt : readQuoted(line, quote);
        if (end == line.c_str() + first || !text) {
            GeConsoleOut(name.GetString() + ":" + String::IntToString(number) +
                         ": a line must be a number and a text.");
            continue;
        }
        table_->texts[static_cast<Int32>(id)] = String(*text);
    }
    return true;
}

String GeResource::Load(Int32 id) const {
    if (!table_) return {};
    const auto found = table_->texts.find(id);
    return found == table_->texts.end() ? String() : found->second;
}

GeResource::~GeResource() {
    delete table_;
}

}  // namespace host
