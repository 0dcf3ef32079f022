// Renders the pictures of the reference of nodes.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "app/failure.h"
#include "app/interrupt.h"
#include "app/progress.h"
#include "app/terminal.h"
#include "tools/node_pictures/studio.h"

namespace {

using app::Failure;
using pictures::Strip;

struct Options {
    std::string folder;
    std::vector<std::string> only;
    float quality = 1;
    unsigned threads = 0;
    bool list = false, quiet = false;
};

/// The strips whose names contain one of the texts; all without any.
std::vector<const Strip*> chosen(const std::vector<std::string>& only) {
    std::vector<const Strip*> strips;
    for (const Strip& strip : pictures::allStrips()) {
        const auto named = [&](const std::string& text) {
            return std::string(strip.name).find(text) != std::string::npos;
        };
        if (only.empty() || std::any_of(only.begin(), only.end(), named)) strips.push_back(&strip);
    }
    if (strips.empty()) throw Failure(app::kExitUsage, "No strip has such a name; --list prints them.");
    return strips;
}

double pixels(const Strip& strip) {
    const auto size = pictures::Studio::sizeOf(strip);
    return static_cast<double>(size.x) * size.y;
}

/// False when it was interrupted.
bool renderAll(const std::vector<const Strip*>& strips, const Options& options) {
    double whole = 0, done = 0;  // work in pixels
    for (const Strip* strip : strips) whole += pixels(*strip) * static_cast<double>(strip->columns.size());
    app::Progress progress(options.quiet, 0);
    pictures::Studio studio(options.threads);
    for (const Strip* strip : strips) {
        std::vector<pictures::Picture> made;
        std::vector<std::string> labels;
        for (const pictures::Column& column : strip->columns) {
            const auto poll = [&](float share) {
                progress.update((done + share * pixels(*strip)) / whole, strip->name);
                return !app::interrupted();
            };
            try {
                made.push_back(studio.render(*strip, column, options.quality, poll));
            } catch (const std::runtime_error& error) {
                throw Failure(app::kExitFailure,
                              std::string(strip->name) + ", \"" + column.label + "\": " + error.what());
            }
            if (made.back().pixels.empty()) return false;
            labels.push_back(column.label);
            done += pixels(*strip);
        }
        const std::filesystem::path path = std::filesystem::path(options.folder) / (std::string(strip->name) + ".jpg");
        pictures::writeStrip(path, made, labels);
        if (!options.quiet) app::terminal::print(path.string());
    }
    return true;
}

int run(const Options& options) {
    if (options.list) {
        for (const Strip* strip : chosen(options.only)) std::cout << strip->name << "\n";
        return app::kExitOk;
    }
    if (options.folder.empty()) throw Failure(app::kExitUsage, "Where should the pictures go? Name a folder.");
    const auto strips = chosen(options.only);
    std::error_code error;
    std::filesystem::create_directories(options.folder, error);
    if (error) throw Failure(app::kExitFailure, "The folder " + options.folder + " cannot be made: " + error.message());
    app::catchInterrupts();
    if (renderAll(strips, options)) return app::kExitOk;
    app::terminal::print("Interrupted; the strips that were finished stay.");
    return app::kExitInterrupted;
}

}  // namespace

int main(int count, char** arguments) {
    Options options;
    CLI::App program(
        "Renders the pictures of the reference of nodes (docs/images/nodes): a strip for each node and its "
        "most telling pins.");
    program.add_option("folder", options.folder, "where the strips are written, as NAME.jpg");
    program.add_option("--only", options.only, "only strips whose names contain this; as often as needed")
        ->type_name("NAME");
    program.add_option("--quality", options.quality, "factor of the samples; 4 halves the noise")
        ->check(CLI::Range(0.01f, 100.0f))
        ->capture_default_str();
    program.add_option("--threads", options.threads, "processors to use; 0: all")->capture_default_str();
    program.add_flag("--list", options.list, "prints the names of the strips");
    program.add_flag("-q,--quiet", options.quiet, "prints errors only");
    try {
        program.parse(count, arguments);
        return run(options);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? app::kExitOk : app::kExitUsage;
    } catch (const Failure& failure) {
        app::terminal::print(failure.what());
        return failure.code();
    } catch (const std::exception& error) {
        app::terminal::print(error.what());
        return app::kExitFailure;
    }
}
