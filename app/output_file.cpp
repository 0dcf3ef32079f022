#include "app/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <vector>

#include "app/failure.h"
#include "host/sdk/bitmap.h"
#include "host/sdk/render.h"

namespace app {
namespace {

constexpr PictureFormat kFormats[] = {
    {"png", false},
    {"jpg", false},
    {"tif", false},
    {"exr", true},
};

// A film in the engine, a buffer in the host and the file's pixels, each up to four floats, and some to work with.
constexpr double kBytesPerPixel = 80;

/// Memory that a new program can have without swapping; 0 when the system does not say.
double freeMemory() {
    std::ifstream info("/proc/meminfo");
    std::string name, unit;
    double kibibytes = 0;
    while (info >> name >> kibibytes) {
        if (name == "MemAvailable:") return kibibytes * 1024;
        std::getline(info, unit);
    }
    return 0;
}

std::string gibibytes(double bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f GiB", bytes / (1024.0 * 1024 * 1024));
    return text;
}

/// The curve of sRGB (IEC 61966-2-1).
float encodeSrgb(float linear) {
    if (linear <= 0.0031308F) return linear * 12.92F;
    return 1.055F * std::pow(linear, 1 / 2.4F) - 0.055F;
}

host::UChar toByte(float value) {
    return static_cast<host::UChar>(value > 0 ? std::lround(std::min(value, 1.0F) * 255) : 0);
}

}  // namespace

const PictureFormat& pictureFormat(const std::string& file) {
    const host::Filename name(file);
    for (const PictureFormat& format : kFormats)
        if (name.CheckSuffix(format.suffix)) return format;
    std::string known;
    for (const PictureFormat& format : kFormats) known += std::string(known.empty() ? "" : ", ") + format.suffix;
    throw Failure(kExitUsage, file + ": the name of a picture must end in one of " + known + ".");
}

std::string defaultOutput(const std::string& scene, const char* suffix) {
    return std::filesystem::path(scene).stem().string() + suffix;
}

void checkWritable(const std::string& file) {
    namespace fs = std::filesystem;
    std::error_code ignored;
    const fs::path path(file);
    const fs::path folder = path.has_parent_path() ? path.parent_path() : fs::path(".");
    if (fs::is_directory(path, ignored)) throw Failure(kExitFailure, file + " is a folder; a file name is needed.");
    if (!fs::exists(folder, ignored))
        throw Failure(kExitFailure, "The folder " + folder.string() + " for " + file + " does not exist.");
    if (!fs::is_directory(folder, ignored))
        throw Failure(kExitFailure, folder.string() + " is no folder, so " + file + " cannot be written.");
    if (fs::exists(path, ignored) && access(path.c_str(), W_OK) != 0)
        throw Failure(kExitFailure, file + " cannot be written: " + std::strerror(errno) + ".");

    // Asking for rights is not enough: file systems refuse for reasons of their own. A file is made and taken away.
    std::string probe = (folder / ".lumora-XXXXXX").string();
    const int descriptor = mkstemp(probe.data());
    if (descriptor < 0)
        throw Failure(kExitFailure,
                      "No file can be made in the folder " + folder.string() + ": " + std::strerror(errno) + ".");
    close(descriptor);
    unlink(probe.c_str());
}

void checkMemory(const PictureSize& size) {
    const double needed = kBytesPerPixel * size.width * size.height, available = freeMemory();
    if (available > 0 && needed > available)
        throw Failure(kExitFailure, "A picture of " + std::to_string(size.width) + "x" + std::to_string(size.height) +
                                        " needs about " + gibibytes(needed) + " of memory and " + gibibytes(available) +
                                        " are free.");
}

void writePicture(const host::VPBuffer& picture, const std::string& file) {
    const bool linear = pictureFormat(file).linear;
    const host::Int32 width = picture.GetBw(), height = picture.GetBh();
    const bool encode = !linear && !picture.IsDisplayReferred();

    host::BaseBitmap bitmap;
    const auto format = linear ? host::PixelFormat::RgbFloat : host::PixelFormat::Rgb8;
    if (bitmap.Init(width, height, format) != host::ImageResult::Ok)
        throw Failure(kExitFailure, "There is not enough memory for the picture " + file + ".");

    std::vector<float> line(static_cast<std::size_t>(width) * 4);
    for (host::Int32 y = 0; y < height; ++y) {
        picture.GetLine(0, y, width, line.data());
        host::UChar* row = bitmap.Row(y);
        for (host::Int32 x = 0; x < width; ++x) {
            for (int channel = 0; channel < 3; ++channel) {
                const float value = line[static_cast<std::size_t>(x) * 4 + channel];
                const std::size_t index = static_cast<std::size_t>(x) * 3 + channel;
                if (linear)
                    std::memcpy(row + index * sizeof(float), &value, sizeof(float));
                else
                    row[index] = toByte(encode ? encodeSrgb(value) : value);
            }
        }
    }
    if (bitmap.Save(host::Filename(file)) != host::ImageResult::Ok) {
        const host::String reason = bitmap.GetErrorText();
        throw Failure(kExitFailure, reason.Content() ? reason.str() : file + " could not be written.");
    }
}

}  // namespace app
