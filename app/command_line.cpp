#include "app/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "app/failure.h"
#include "app/interrupt.h"
#include "app/options.h"
#include "app/terminal.h"

namespace app {
namespace {

constexpr int kMaxSamples = 1'000'000;
constexpr int kHelpColumn = 30;

/// Values as they are typed, before they are checked.
struct Typed {
    std::string size, region;
    std::vector<std::string> settings;
};

CLI::Option* sceneArgument(CLI::App& command, Options& options) {
    return command.add_option("SCENE", options.scene, "Scene file: .lumdoc, .gltf, .glb, .obj, .fbx, .ply, .stl, .dae")
        ->required();
}

/// Why a preset cannot have this name; empty when it can.
std::string presetName(const std::string& name) {
    return name.empty() ? "a preset needs a name" : "";
}

void settingArguments(CLI::App& command, Options& options, Typed& typed) {
    command
        .add_option("--set", typed.settings,
                    "A setting of the renderer; may be given several times. \"lumora settings SCENE\" lists all")
        ->type_name("KEY=VALUE")
        ->expected(1)
        ->take_all();
    command
        .add_option("--preset", options.preset,
                    "Settings kept with \"lumora settings --save-preset\"; --set goes on top")
        ->type_name("NAME")
        ->check(presetName);
}

void renderArguments(CLI::App& command, Options& options, Typed& typed) {
    sceneArgument(command, options)->required(false)->envname("LUMORA_SCENE");
    command
        .add_option("-o,--output", options.output,
                    "Picture: .png, .jpg, .tif or .exr (linear floats). Default: the "
                    "scene's name with .png, in the current folder")
        ->type_name("FILE");
    command.add_option("--size", typed.size, "Size in pixels. Default: 1280x720, or as a .lumdoc file says")
        ->type_name("WxH");
    command.add_option("--samples", options.samples, "Samples for each pixel. Default: 200, or as a .lumdoc file says")
        ->type_name("N")
        ->check(CLI::Range(1, kMaxSamples));
    command
        .add_option("--kernel", options.kernel,
                    "path: all light; direct: light that arrives directly; pmc: all light, by following where it "
                    "goes; info: an info channel. Default: path, or as a scene's")
        ->type_name("NAME");
    command
        .add_option("--pass", options.pass,
                    "Show an info channel instead: depth, normals, ... \"--list channels\" prints all")
        ->type_name("NAME");
    command.add_option("--region", typed.region, "Render only this part; the rest stays black")->type_name("X,Y,W,H");
    command
        .add_option("--response", options.response,
                    "Response curve of the picture, by name; \"--list responses\" prints all. Default: sRGB")
        ->type_name("NAME");
    command.add_option("--exposure", options.exposure, "Factor of the light. Default: 1")
        ->type_name("X")
        ->check(CLI::Range(0.0, 4096.0));
    command.add_flag("--denoise", options.denoise, "Take the noise out of the finished picture");
    std::vector<std::string> lists;
    for (const ListRow& row : kLists) lists.emplace_back(row.name);
    command.add_option("--list", options.list, "Print what there is of this, a name a line; needs no SCENE")
        ->type_name("NAME")
        ->check(CLI::IsMember(lists));
    command.add_option("--camera", options.camera, "Name of the camera to look through")->type_name("NAME");
    command.add_option("--frame", options.frame, "Frame of the animation")->type_name("N");
    command.add_option("--threads", options.threads, "Processors to use. Default: all. The picture is the same")
        ->type_name("N")
        ->check(CLI::Range(1, kMaxThreads));
    settingArguments(command, options, typed);
    command.add_flag("-q,--quiet", options.quiet, "Print errors only");
}

void settingsArguments(CLI::App& command, Options& options, Typed& typed) {
    sceneArgument(command, options)->required(false);
    settingArguments(command, options, typed);
    command.add_option("--save-preset", options.savePreset, "Keep the settings under this name for other scenes")
        ->type_name("NAME")
        ->check(presetName);
    command.add_flag("--list-presets", options.listPresets, "Print the names of the presets; needs no SCENE");
    command
        .add_option("-o,--output", options.output,
                    "Document to write, .lumdoc. Default: changes go into SCENE when that is a .lumdoc")
        ->type_name("FILE");
    command.add_flag("--json", options.json, "Print all settings as JSON");
    command.add_flag("-q,--quiet", options.quiet, "Print errors only");
}

void infoArguments(CLI::App& command, Options& options, Typed&) {
    sceneArgument(command, options);
    command.add_flag("--json", options.json, "Print JSON");
}

void convertArguments(CLI::App& command, Options& options, Typed&) {
    command.add_option("IN", options.scene, "Scene file of any kind that can be read")->required();
    command.add_option("OUT", options.output, "Document file to write, .lumdoc")->required();
    command.add_flag("-q,--quiet", options.quiet, "Print errors only");
}

struct Command {
    const char* name;
    const char* help;
    const char* examples;
    void (*describe)(CLI::App&, Options&, Typed&);
    int (*run)(const Options&);
};

constexpr Command kCommands[] = {
    {"render", "Render a scene to a picture file",
     "Examples:\n"
     "  lumora render chair.gltf\n"
     "  lumora render chair.gltf -o chair.exr --size 1920x1080 --samples 500\n"
     "  lumora render film.fbx --camera \"Close up\" --frame 24 --kernel direct\n\n"
     "Ctrl-C ends a render early and writes what there is; a second Ctrl-C ends at once.\n"
     "Arguments after -- go to the plug-ins.\n"
     "Exit codes: 0 done, 1 failure, 2 wrong usage, 130 interrupted.",
     renderArguments, renderCommand},
    {"settings", "Show and change what a scene tells the renderer",
     "Examples:\n"
     "  lumora settings chair.lumdoc\n"
     "  lumora settings chair.lumdoc --set Pt.maxsamples=256 --set Ci.exposure=1.5\n"
     "  lumora settings chair.gltf --preset fine -o chair.lumdoc\n"
     "  lumora settings chair.lumdoc --save-preset fine",
     settingsArguments, settingsCommand},
    {"info", "Tell what a scene holds", "Examples:\n  lumora info chair.gltf\n  lumora info --json chair.gltf",
     infoArguments, infoCommand},
    {"convert", "Convert a scene to a document file", "Example:\n  lumora convert chair.gltf chair.lumdoc",
     convertArguments, convertCommand},
};

void sharedArguments(CLI::App& command, Options& options) {
    command.add_option("--preferences", options.preferences, "Folder for preferences, logs and scratch files")
        ->type_name("DIR");
    command.add_flag("-v,--verbose", options.verbose, "Print the lines of the console");
}

/// A sentence about a command line that could not be understood.
std::string explain(const CLI::ParseError& error) {
    std::string text = error.what();
    std::replace(text.begin(), text.end(), '\n', ' ');
    if (!text.empty() && text.back() != '.') text += '.';
    return text;
}

int parseAndRun(int argc, char** argv) {
    Options options;
    Typed typed;

    // What follows "--" is for the plug-ins, whose arguments have a form of their own.
    std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    if (end != arguments.end()) options.pluginArguments.assign(end + 1, arguments.end());
    arguments.erase(end, arguments.end());

    CLI::App cli{"Lumora renders 3D scenes.", "lumora"};
    cli.get_formatter()->column_width(kHelpColumn);
    cli.set_version_flag("--version", "lumora " LUMORA_VERSION, "Print the version and exit");
    cli.require_subcommand(1);
    cli.footer(
        "\"lumora COMMAND --help\" tells more about a command.\n\n"
        "Example:\n  lumora render chair.gltf -o chair.png --samples 200");
    const Command* chosen = nullptr;
    for (const Command& row : kCommands) {
        CLI::App* command = cli.add_subcommand(row.name, row.help);
        command->footer(row.examples);
        row.describe(*command, options, typed);
        sharedArguments(*command, options);
        command->callback([&chosen, &row] { chosen = &row; });
    }

    if (arguments.empty()) {
        std::fputs(cli.help().c_str(), stderr);
        return kExitUsage;
    }
    const auto named = [&](const Command& row) { return arguments.front() == row.name; };
    if (!arguments.front().starts_with('-') && std::none_of(std::begin(kCommands), std::end(kCommands), named))
        throw Failure(kExitUsage, "There is no command \"" + arguments.front() + "\". See lumora --help.");
    try {
        std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
        cli.parse(arguments);
    } catch (const CLI::Success& help) {
        return cli.exit(help) == 0 ? kExitOk : kExitFailure;
    } catch (const CLI::ParseError& error) {
        throw Failure(kExitUsage, explain(error) + " See lumora --help.");
    }
    if (!typed.size.empty()) options.size = parseSize(typed.size);
    if (!typed.region.empty()) options.region = parseRegion(typed.region);
    for (const std::string& setting : typed.settings) options.settings.push_back(parseSetting(setting));
    return chosen->run(options);
}

}  // namespace

int runCommandLine(int argc, char** argv) {
    catchInterrupts();
    const auto fail = [](const std::string& sentence, int code) {
        terminal::print("lumora: " + sentence);
        return code;
    };
    try {
        return parseAndRun(argc, argv);
    } catch (const Failure& failure) {
        return fail(failure.what(), failure.code());
    } catch (const std::bad_alloc&) {
        return fail("There is not enough memory.", kExitFailure);
    } catch (const std::exception& error) {
        return fail(error.what(), kExitFailure);
    }
}

}  // namespace app
