#include "engine/compile/image_formats.h"

#include <array>
#include <atomic>
#include <fstream>
#include <string_view>

#include "engine/render/textures/pixel_format.h"
#include "engine/render/textures/pixel_memory.h"

namespace Lumora::engine {

namespace {

using namespace std::string_view_literals;

struct Magic {
    std::string_view bytes;
    ImageDecoder decoder;
};
constexpr std::array kMagics{
    Magic{"\x89PNG\r\n\x1a\n"sv, {"PNG", decodePng, outlinePng}},
    Magic{"\xff\xd8\xff"sv, {"JPEG", decodeJpeg, outlineJpeg}},
    Magic{"\x76\x2f\x31\x01"sv, {"EXR", decodeExr, outlineExr}},
    Magic{"#?RADIANCE"sv, {"HDR", decodeHdr, outlineHdr}},
    Magic{"#?RGBE"sv, {"HDR", decodeHdr, outlineHdr}},
};

std::atomic<std::uint64_t> shared{0};

/// A line of the system's account of its memory, in bytes; without the system's word for it, no limit.
std::uint64_t memoryLine(const char* line) {
    std::ifstream file("/proc/meminfo");
    std::string name, unit;
    for (std::uint64_t kilobytes = 0; file >> name >> kilobytes; std::getline(file, unit)) {
        if (name == line) return kilobytes * 1024;
    }
    return UINT64_MAX;
}

}  // namespace

MemoryShare::MemoryShare(std::uint64_t bytes) : bytes_(bytes) {
    // Small images are not worth a look; the rest of the program needs room too.
    constexpr std::uint64_t kSmall = 16ull << 20;
    const std::uint64_t all = shared.fetch_add(bytes_) + bytes_;
    if (bytes_ > kSmall && all > memoryLine("MemAvailable:") / 4 * 3) {
        shared.fetch_sub(bytes_);
        throw ImageFault("there is not enough memory for it");
    }
}

std::uint64_t machineMemoryBytes() {
    return memoryLine("MemTotal:");
}

MemoryShare::~MemoryShare() {
    shared.fetch_sub(bytes_);
}

std::uint64_t DecodedImage::bytes() const {
    return std::uint64_t{width} * height * channels * channelBytes(format);
}

void DecodedImage::allocate(std::uint64_t workspace) {
    checkImageSize(width, height, channels * channelBytes(format));
    share = std::make_unique<MemoryShare>(bytes() + workspace);
    pixels = allocatePixels(bytes());
}

void checkImageSize(std::uint64_t width, std::uint64_t height, std::uint64_t bytesPerPixel) {
    if (width < 1 || height < 1 || width > kMaxImageEdge || height > kMaxImageEdge) {
        throw ImageFault("its size is out of range");
    }
    if (bytesPerPixel == 0) throw ImageFault("it has no channels");
    if (width * height > kMaxImageBytes / bytesPerPixel) throw ImageFault("it is too large");
}

const ImageDecoder* imageDecoder(FileBytes file) {
    const std::string_view head(reinterpret_cast<const char*>(file.data()), file.size());
    for (const Magic& magic : kMagics) {
        if (head.starts_with(magic.bytes)) return &magic.decoder;
    }
    return nullptr;
}

}  // namespace Lumora::engine
