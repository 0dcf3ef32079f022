// lumora settings: what the renderer is told by a document, shown and changed.
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "app/failure.h"
#include "app/options.h"
#include "app/output_file.h"
#include "app/renderer.h"
#include "app/session.h"
#include "app/terminal.h"

namespace app {
namespace {

using host::RendererSetting;
using Json = nlohmann::ordered_json;
using terminal::printable;

constexpr const char* kDocumentSuffix = "lumdoc";

bool isChanged(const RendererSetting& row) {
    return row.value != row.fallback;
}

/// Columns wide enough for what stands in them, the last one without an end.
std::string asTable(const std::vector<RendererSetting>& rows) {
    constexpr int kColumns = 4;
    const auto cells = [](const RendererSetting& row) {
        return std::array<std::string, kColumns>{printable(row.key.str()), printable(row.value.str()),
                                                 printable(row.fallback.str()), row.range.str()};
    };
    std::array<std::size_t, kColumns> width{3, 5, 7, 5};
    for (const RendererSetting& row : rows)
        for (int c = 0; c < kColumns; ++c) width[c] = std::max(width[c], cells(row)[c].size());
    const auto line = [&](bool marked, const std::array<std::string, kColumns>& texts, const std::string& last) {
        std::string text = marked ? "* " : "  ";
        for (int c = 0; c < kColumns; ++c) {
            text += texts[c];
            text.append(width[c] - texts[c].size() + 2, ' ');
        }
        return text + last + "\n";
    };
    std::string out = line(false, {"Key", "Value", "Default", "Range"}, "Meaning");
    const host::String* heading = nullptr;
    std::size_t changed = 0;
    for (const RendererSetting& row : rows) {
        if (!heading || *heading != row.group) out += "\n" + row.group.str() + "\n";
        heading = &row.group;
        out += line(isChanged(row), cells(row), row.label.str());
        changed += isChanged(row) ? 1 : 0;
    }
    return out + "\n* differs from the default: " + std::to_string(changed) + " of " + std::to_string(rows.size()) +
           "\n";
}

std::string asJson(const std::string& file, const std::vector<RendererSetting>& rows) {
    Json settings = Json::array();
    for (const RendererSetting& row : rows)
        settings.push_back({{"key", row.key.str()},
                            {"value", row.value.str()},
                            {"default", row.fallback.str()},
                            {"range", row.range.str()},
                            {"meaning", row.label.str()},
                            {"group", row.group.str()},
                            {"changed", isChanged(row)}});
    const Json document = {{"file", file}, {"settings", std::move(settings)}};
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

/// "key: before -> after" for each that differs.
std::string asChanges(const std::vector<RendererSetting>& before, const std::vector<RendererSetting>& after) {
    std::map<std::string, std::string> old;
    for (const RendererSetting& row : before) old[row.key.str()] = row.value.str();
    std::string out;
    for (const RendererSetting& row : after)
        if (const std::string& was = old[row.key.str()]; was != row.value.str())
            out += printable(row.key.str() + ": " + was + " -> " + row.value.str()) + "\n";
    return out;
}

void print(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure(kExitFailure, "The output could not be written.");
}

int listPresets(const Options& options) {
    Session session(options);
    const std::vector<std::string> names = Renderer::presets(session);
    if (options.json) {
        print(Json(names).dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
        return kExitOk;
    }
    std::string text;
    for (const std::string& name : names) text += printable(name) + "\n";
    print(text);
    if (names.empty() && !options.quiet) terminal::print("No presets were saved yet.");
    return kExitOk;
}

/// Where a changed document goes; empty when nothing is written.
std::string chooseOutput(const Options& options) {
    if (!options.output.empty()) {
        if (!host::Filename(options.output).CheckSuffix(kDocumentSuffix))
            throw Failure(kExitUsage, options.output + ": documents are written as .lumdoc files only.");
        return options.output;
    }
    if (options.settings.empty() && options.preset.empty()) return {};
    if (!host::Filename(options.scene).CheckSuffix(kDocumentSuffix))
        throw Failure(kExitUsage, options.scene +
                                      " cannot hold settings: -o FILE.lumdoc says where the scene and its settings are "
                                      "to be written.");
    return options.scene;
}

}  // namespace

int settingsCommand(const Options& options) {
    if (options.listPresets) return listPresets(options);
    if (options.scene.empty()) throw Failure(kExitUsage, "SCENE is required. See lumora settings --help.");
    const std::string output = chooseOutput(options);

    Session session(options);
    host::BaseDocument& document = session.open(options.scene);
    if (!output.empty()) checkWritable(output);
    Renderer renderer(session, document);
    if (session.imported()) renderer.setImportDefaults();
    const std::vector<RendererSetting> before = renderer.settings();
    if (!options.preset.empty()) renderer.applyPreset(options.preset);
    for (const auto& [key, value] : options.settings) renderer.set(key, value);
    if (!options.savePreset.empty()) renderer.savePreset(options.savePreset);
    const std::vector<RendererSetting> after = renderer.settings();

    if (!output.empty()) {
        host::String error;
        if (!host::SaveDocument(&document, host::Filename(output), &error))
            throw Failure(kExitFailure, error.Content() ? error.str() : output + " could not be written.");
    }
    if (options.json) {
        print(asJson(options.scene, after));
    } else if (!options.quiet) {
        const bool asked = !options.settings.empty() || !options.preset.empty() || !options.savePreset.empty();
        print(asked ? asChanges(before, after) : asTable(after));
        if (!output.empty()) print(std::filesystem::absolute(output).lexically_normal().string() + "\n");
    }
    return kExitOk;
}

}  // namespace app
