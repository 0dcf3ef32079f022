#include "plugin/materials/image_pixels.h"

#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <new>
#include <string_view>
#include <vector>

#include "plugin/core/log.h"

namespace lumora {

namespace {

using namespace std::string_view_literals;

struct Magic {
    std::string_view bytes;
    PictureSource source;
};
// What the engine decodes itself.
constexpr std::array kEngineReads{
    Magic{"\x89PNG\r\n\x1a\n"sv, PictureSource::File},      Magic{"\xff\xd8\xff"sv, PictureSource::File},
    Magic{"\x76\x2f\x31\x01"sv, PictureSource::LinearFile}, Magic{"#?RADIANCE"sv, PictureSource::LinearFile},
    Magic{"#?RGBE"sv, PictureSource::LinearFile},
};

constexpr UInt64 kMaxPixelBytes = UInt64(1) << 32;

/// A file in one state. Kept as text at the node that was made from it.
std::string fileState(const Filename& file) {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(file.str(), error).time_since_epoch().count();
    const auto size = std::filesystem::file_size(file.str(), error);
    return std::to_string(error ? 0 : time) + " " + std::to_string(error ? 0 : size) + " " + file.str();
}

/// States of files that could not be read: asked for again with every material that shows them.
class Unreadable {
public:
    bool holds(const std::string& state) {
        const std::lock_guard guard(lock_);
        return states_.count(state) != 0;
    }
    void add(const std::string& state) {
        const std::lock_guard guard(lock_);
        if (states_.size() >= kMost) states_.clear();
        states_[state] = true;
    }

private:
    static constexpr std::size_t kMost = 10000;
    std::mutex lock_;
    std::map<std::string, bool> states_;
};

Unreadable& unreadable() {
    static Unreadable files;
    return files;
}

struct Layout {
    Int32 bytes;  ///< of a channel
    bool linear;
};

Layout layoutOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Rgb16:
        case PixelFormat::Rgba16:
            return {2, false};
        case PixelFormat::RgbFloat:
        case PixelFormat::RgbaFloat:
        case PixelFormat::GrayFloat:
            return {4, true};
        default:
            return {1, false};
    }
}

float valueAt(const UChar* at, Int32 bytes) {
    if (bytes == 4) {
        float value;
        std::memcpy(&value, at, sizeof value);
        return value;
    }
    std::uint16_t value;
    std::memcpy(&value, at, sizeof value);
    return static_cast<float>(value) / 65535.0f;
}

/// Grey and RGB as RGBA, row by row; bytes stay bytes.
template <typename T, typename Read>
std::vector<UChar> toRgba(const BaseBitmap& bitmap, Int32 bytes, T opaque, const Read& read) {
    const Int32 width = bitmap.GetWidth(), height = bitmap.GetHeight(), channels = bitmap.GetChannels();
    const auto rowBytes = static_cast<std::size_t>(width) * 4 * sizeof(T);
    std::vector<UChar> rgba(rowBytes * static_cast<std::size_t>(height));
#pragma omp parallel for schedule(static)
    for (Int32 y = 0; y < height; ++y) {
        const UChar* from = bitmap.Row(y);
        UChar* to = rgba.data() + rowBytes * static_cast<std::size_t>(y);
        for (Int32 x = 0; x < width; ++x, from += channels * bytes, to += 4 * sizeof(T)) {
            const T first = read(from);
            T pixel[4] = {first, first, first, opaque};
            for (Int32 c = 1; channels >= 3 && c < channels; ++c) pixel[c] = read(from + c * bytes);
            std::memcpy(to, pixel, sizeof pixel);
        }
    }
    return rgba;
}

std::string pixelMark(const std::string& state, bool linear) {
    return (linear ? "linear " : "encoded ") + state;
}

bool decodeAndWrite(ApiNode* image, const Filename& file, const std::string& state, bool* linear) {
    BaseBitmap bitmap;
    if (bitmap.Init(file) != ImageResult::Ok) {
        logLine("Warning: an image is left out: " + bitmap.GetErrorText());
        return false;
    }
    const Layout layout = layoutOf(bitmap.GetFormat());
    const bool wide = layout.bytes > 1;
    const UInt64 needed = UInt64(bitmap.GetWidth()) * UInt64(bitmap.GetHeight()) * (wide ? 16 : 4);
    if (needed > kMaxPixelBytes) {
        logLine("Warning: an image is left out: " + file.GetString() + ": it is too large");
        return false;
    }
    const std::vector<UChar> rgba =
        wide ? toRgba<float>(bitmap, layout.bytes, 1.0f, [&](const UChar* at) { return valueAt(at, layout.bytes); })
             : toRgba<UChar>(bitmap, 1, UChar(255), [](const UChar* at) { return *at; });
    setAttrIfChanged(image, A_FILENAME, "", false);
    setAttrIfChanged(image, A_SIZE, Int2{bitmap.GetWidth(), bitmap.GetHeight()}, false);
    setAttrIfChanged(image, A_IMAGE_TYPE, wide ? 2 : 0, false);
    writeArray(image, A_BUFFER, rgba.data(), rgba.size(), true);
    setPluginDataStrIfChanged(image, pixelMark(state, layout.linear).c_str());
    *linear = layout.linear;
    return true;
}

}  // namespace

PictureSource pictureSource(const Filename& file) {
    std::array<char, 16> head{};
    std::ifstream stream(file.str(), std::ios::binary);
    stream.read(head.data(), head.size());
    const std::string_view found(head.data(), static_cast<std::size_t>(stream.gcount()));
    for (const Magic& magic : kEngineReads) {
        if (found.starts_with(magic.bytes)) return magic.source;
    }
    return PictureSource::Pixels;
}

bool writePicturePixels(ApiNode* image, const Filename& file, bool* linear) {
    const std::string state = fileState(file);
    bool isLinear = false;
    if (image->pluginDataStr() == pixelMark(state, true)) {
        isLinear = true;
    } else if (image->pluginDataStr() != pixelMark(state, false)) {
        if (unreadable().holds(state)) return false;
        bool written = false;
        try {
            written = decodeAndWrite(image, file, state, &isLinear);
        } catch (const std::bad_alloc&) {
            logLine("Warning: an image is left out: " + file.GetString() + ": there is not enough memory for it");
        }
        if (!written) {
            unreadable().add(state);
            return false;
        }
    }
    if (linear) *linear = isLinear;
    return true;
}

void writePictureFile(ApiNode* image, const Filename& file) {
    const std::string state = "file " + fileState(file);
    const bool again = image->pluginDataStr() != state;
    if (setAttrIfChanged(image, A_FILENAME, file.c_str(), false) || again) setAttrIfChanged(image, A_RELOAD, true);
    // Pixels that it had before would only take room.
    if (image->getArraySize(A_BUFFER) > 0) writeArray<unsigned char>(image, A_BUFFER, nullptr, 0, true);
    setPluginDataStrIfChanged(image, state.c_str());
}

}  // namespace lumora
