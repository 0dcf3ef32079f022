// What the command line says, as plain values.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace app {

inline constexpr int kMaxPictureSize = 32768;  ///< pixels, each way
inline constexpr int kMaxThreads = 1024;

struct PictureSize {
    int width = 0, height = 0;  ///< pixels
};

/// A part of a picture.
struct PictureRegion {
    int x = 0, y = 0, width = 0, height = 0;  ///< pixels from the upper left corner
};

/// Options of every command, then those of single commands.
struct Options {
    std::string preferences;  ///< folder; empty: the host's choice
    bool verbose = false;
    std::vector<std::string> pluginArguments;  ///< what stood after "--"

    std::string scene;   ///< the file that is read
    std::string output;  ///< the file that is written; empty: chosen from the scene's name

    // render
    std::optional<PictureSize> size;  ///< else as the document says
    std::optional<int> samples;
    std::string kernel;
    std::string pass;                     ///< name of an info channel to show instead of the picture
    std::optional<PictureRegion> region;  ///< the part that is rendered; else all of it
    std::string response;                 ///< name of a response curve
    std::optional<double> exposure;
    bool denoise = false;
    std::string list;    ///< print what there is of this instead
    std::string camera;  ///< name of a camera object
    std::optional<int> frame;
    int threads = 0;                                            ///< 0: all processors
    std::vector<std::pair<std::string, std::string>> settings;  ///< of the renderer: key and value, in order
    std::string preset;                                         ///< applied before the settings
    bool quiet = false;

    // info, settings
    bool json = false;

    // settings
    std::string savePreset;
    bool listPresets = false;
};

/// A list that the program can print: its name on the command line, and the renderer's key that takes its words.
struct ListRow {
    const char *name, *key;
};
inline constexpr ListRow kLists[] = {{"responses", "response"}, {"kernels", "kernel"}, {"channels", "channel"}};

/// "640x480". Throws Failure.
PictureSize parseSize(const std::string& text);
/// "10,20,640,480". Throws Failure.
PictureRegion parseRegion(const std::string& text);
/// "KEY=VALUE". Throws Failure.
std::pair<std::string, std::string> parseSetting(const std::string& text);

// The commands. Each returns an exit code or throws Failure.
int renderCommand(const Options& options);
int infoCommand(const Options& options);
int settingsCommand(const Options& options);
int convertCommand(const Options& options);

}  // namespace app
