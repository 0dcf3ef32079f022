#include "host/io/image_codec.h"

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace host {

namespace {

struct Magic {
    std::string_view bytes;
    const char* reader;
};

using namespace std::string_view_literals;
constexpr std::array kTrusted{
    Magic{"\x89PNG\r\n\x1a\n"sv, "png"}, Magic{"\xff\xd8\xff"sv, "jpeg"}, Magic{"\x76\x2f\x31\x01"sv, "openexr"},
    Magic{"#?RADIANCE"sv, "hdr"},        Magic{"#?RGBE"sv, "hdr"},
};

const char* trustedReader(const Filename& file) {
    std::array<char, 16> head{};
    std::ifstream stream(file.str(), std::ios::binary);
    stream.read(head.data(), head.size());
    const std::string_view found(head.data(), static_cast<std::size_t>(std::max<std::streamsize>(stream.gcount(), 0)));
    for (const Magic& magic : kTrusted) {
        if (found.substr(0, magic.bytes.size()) == magic.bytes) return magic.reader;
    }
    return nullptr;
}

// Whether the chunks of a PNG file follow each other to its end mark. The reader jumps out of its own functions on a
// file that is cut off, leaves memory behind and writes to stderr; so such files do not reach it.
Bool pngIsWhole(const Filename& file) {
    std::ifstream stream(file.str(), std::ios::binary);
    stream.seekg(0, std::ios::end);
    const auto size = static_cast<UInt64>(std::max<std::streamoff>(stream.tellg(), 0));
    for (UInt64 at = 8; at + 12 <= size;) {
        std::array<unsigned char, 8> head{};
        stream.seekg(static_cast<std::streamoff>(at));
        if (!stream.read(reinterpret_cast<char*>(head.data()), head.size())) return false;
        const UInt64 length = UInt64(head[0]) << 24 | UInt64(head[1]) << 16 | UInt64(head[2]) << 8 | head[3];
        at += 12 + length;  // with the chunk's name and check sum
        if (std::memcmp(&head[4], "IEND", 4) == 0) return at <= size;
    }
    return false;
}

ImageStatus failure(ImageResult result, const Filename& file, const std::string& what) {
    return {result, file.str() + ": " + what};
}

// The library's message without its line ends; the first of several.
std::string firstLine(std::string text) {
    text.resize(std::min(text.find('\n'), text.size()));
    return text;
}

PixelFormat formatFor(const OIIO::ImageSpec& spec) {
    const bool byte = spec.format == OIIO::TypeDesc::UINT8 || spec.format == OIIO::TypeDesc::INT8;
    const bool word = spec.format == OIIO::TypeDesc::UINT16 || spec.format == OIIO::TypeDesc::INT16;
    switch (spec.nchannels) {
        case 1:
            return byte ? PixelFormat::Gray8 : PixelFormat::GrayFloat;
        case 3:
            return byte ? PixelFormat::Rgb8 : word ? PixelFormat::Rgb16 : PixelFormat::RgbFloat;
        default:
            return byte ? PixelFormat::Rgba8 : word ? PixelFormat::Rgba16 : PixelFormat::RgbaFloat;
    }
}

OIIO::TypeDesc typeOf(PixelFormat format) {
    const Int32 bytes = layoutOf(format).bytes;
    return bytes == 1 ? OIIO::TypeDesc::UINT8 : bytes == 2 ? OIIO::TypeDesc::UINT16 : OIIO::TypeDesc::FLOAT;
}

// Grey with alpha was read into the first two of four channels.
template <typename T>
void spreadGrey(std::vector<UChar>& pixels) {
    T pixel[4];
    for (std::size_t i = 0; i + sizeof pixel <= pixels.size(); i += sizeof pixel) {
        std::memcpy(pixel, &pixels[i], sizeof pixel);
        pixel[3] = pixel[1];
        pixel[1] = pixel[2] = pixel[0];
        std::memcpy(&pixels[i], pixel, sizeof pixel);
    }
}

ImageStatus checkSize(const OIIO::ImageSpec& spec, PixelFormat format, const Filename& file) {
    if (spec.width < 1 || spec.height < 1 || spec.nchannels < 1 || spec.depth > 1) {
        return failure(ImageResult::WrongFormat, file, "it holds no picture");
    }
    if (spec.width > kMaxImageSide || spec.height > kMaxImageSide ||
        imageBytes(spec.width, spec.height, format) > kMaxImageBytes) {
        return failure(ImageResult::TooLarge, file,
                       "a picture of " + std::to_string(spec.width) + " x " + std::to_string(spec.height) +
                           " is larger than can be read");
    }
    return {};
}

OIIO::ImageSpec specOf(const ImageData& image, Int32 channels, OIIO::TypeDesc type, const std::string& suffix) {
    OIIO::ImageSpec spec(image.width, image.height, channels, type);
    spec.attribute("oiio:UnassociatedAlpha", suffix == "exr" ? 0 : 1);
    const bool tiff = suffix == "tif" || suffix == "tiff";
    // The library's TIFF writer puts sRGB into a second directory and then loses the first when it writes to memory.
    if (!tiff) spec.attribute("oiio:ColorSpace", type == OIIO::TypeDesc::FLOAT ? "Linear" : "sRGB");
    spec.attribute("Software", "lumora");
    if (suffix == "jpg" || suffix == "jpeg") spec.attribute("Compression", "jpeg:95");
    if (suffix == "exr" || tiff) spec.attribute("compression", "zip");
    return spec;
}

struct Writer {
    const char* suffix;
    const char* plugin;
    bool alpha, floats, words;
};
constexpr std::array kWriters{
    Writer{"png", "png", true, false, true},     Writer{"jpg", "jpeg", false, false, false},
    Writer{"jpeg", "jpeg", false, false, false}, Writer{"exr", "openexr", true, true, false},
    Writer{"tif", "tiff", true, true, true},     Writer{"tiff", "tiff", true, true, true},
};

// The encoded file in memory. Writing it is then ours, with every error of the disk seen.
ImageStatus encodeToMemory(const Filename& file, const ImageData& image, std::vector<unsigned char>* bytes) {
    const std::string suffix = file.GetSuffix().ToLower().str();
    const auto* writer =
        std::find_if(kWriters.begin(), kWriters.end(), [&](const Writer& w) { return suffix == w.suffix; });
    if (writer == kWriters.end()) {
        return failure(ImageResult::WrongFormat, file, "pictures are written as png, jpg, exr or tif");
    }
    const PixelLayout layout = layoutOf(image.format);
    const OIIO::TypeDesc type = typeOf(image.format);
    const bool always = suffix == "exr";  // has no 8-bit values
    const OIIO::TypeDesc stored = always || (layout.bytes == 4 && writer->floats) ? OIIO::TypeDesc::FLOAT
                                  : layout.bytes == 2 && writer->words            ? OIIO::TypeDesc::UINT16
                                                                                  : OIIO::TypeDesc::UINT8;
    const Int32 channels = layout.channels == 4 && !writer->alpha ? 3 : layout.channels;
    OIIO::ImageSpec spec = specOf(image, channels, stored, suffix);
    OIIO::Filesystem::IOVecOutput memory(*bytes);
    const auto output = OIIO::ImageOutput::create(writer->plugin);
    if (!output || !output->supports("ioproxy")) {
        return failure(ImageResult::WriteFailed, file, "the image library cannot write this format");
    }
    output->set_ioproxy(&memory);
    const auto stride = static_cast<OIIO::stride_t>(layout.channels * layout.bytes);
    if (!output->open(file.str(), spec) || !output->write_image(type, image.pixels.data(), stride) ||
        !output->close()) {
        return failure(ImageResult::WriteFailed, file, firstLine(output->geterror()));
    }
    return {};
}

std::string writeAll(int fd, const std::vector<unsigned char>& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (wrote < 0 && errno == EINTR) continue;
        if (wrote <= 0) return std::strerror(errno);
        done += static_cast<std::size_t>(wrote);
    }
    return {};
}

// Whole or not at all: a scratch file beside the target takes its place. Devices and pipes are written as they stand.
ImageStatus writeWhole(const Filename& file, const std::vector<unsigned char>& bytes) {
    struct stat status {};
    const bool special = ::stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
    const std::string scratch = special ? file.str() : file.str() + ".part-" + std::to_string(getpid());
    const int fd = ::open(scratch.c_str(), O_WRONLY | O_CLOEXEC | (special ? 0 : O_CREAT | O_TRUNC), 0666);
    if (fd < 0) return failure(ImageResult::WriteFailed, file, std::strerror(errno));
    std::string error = writeAll(fd, bytes);
    if (error.empty() && !special && fsync(fd) != 0) error = std::strerror(errno);
    if (::close(fd) != 0 && error.empty()) error = std::strerror(errno);
    if (error.empty() && !special && std::rename(scratch.c_str(), file.c_str()) != 0) error = std::strerror(errno);
    if (error.empty()) return {};
    if (!special) ::unlink(scratch.c_str());
    return failure(ImageResult::WriteFailed, file, error);
}

}  // namespace

PixelLayout layoutOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Rgb8:
            return {3, 1};
        case PixelFormat::Rgba8:
            return {4, 1};
        case PixelFormat::Rgb16:
            return {3, 2};
        case PixelFormat::Rgba16:
            return {4, 2};
        case PixelFormat::RgbFloat:
            return {3, 4};
        case PixelFormat::RgbaFloat:
            return {4, 4};
        case PixelFormat::Gray8:
            return {1, 1};
        case PixelFormat::GrayFloat:
            return {1, 4};
    }
    return {4, 1};
}

Bool isTrustedImage(const Filename& file) {
    return trustedReader(file) != nullptr;
}

ImageStatus decodeImage(const Filename& file, ImageData* image) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(file.str(), error)) {
        return failure(ImageResult::NotFound, file, "there is no such image file");
    }
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1);
    const char* reader = trustedReader(file);
    auto input = reader ? OIIO::ImageInput::create(reader) : nullptr;
    OIIO::ImageSpec spec;
    if (input && std::string_view(reader) == "png" && !pngIsWhole(file)) {
        return failure(ImageResult::WrongFormat, file, "the picture is cut off");
    }
    if (input) {
        if (!input->open(file.str(), spec, wishes)) {
            return failure(ImageResult::WrongFormat, file, firstLine(input->geterror()));
        }
    } else {
        input = OIIO::ImageInput::open(file.str(), &wishes);
        if (!input) return failure(ImageResult::WrongFormat, file, firstLine(OIIO::geterror()));
        spec = input->spec();
    }
    const PixelFormat format = formatFor(spec);
    if (ImageStatus size = checkSize(spec, format, file); !size.ok()) return size;
    const PixelLayout layout = layoutOf(format);
    image->width = spec.width;
    image->height = spec.height;
    image->format = format;
    try {
        image->pixels.assign(imageBytes(spec.width, spec.height, format), 0);
    } catch (const std::bad_alloc&) {
        return failure(ImageResult::NoMemory, file, "there is not enough memory for it");
    }
    const Int32 channels = std::min(spec.nchannels, layout.channels);
    const auto stride = static_cast<OIIO::stride_t>(layout.channels * layout.bytes);
    if (!input->read_image(0, 0, 0, channels, typeOf(format), image->pixels.data(), stride)) {
        return failure(ImageResult::WrongFormat, file, firstLine(input->geterror()));
    }
    if (spec.nchannels == 2) {
        if (layout.bytes == 1) spreadGrey<UChar>(image->pixels);
        if (layout.bytes == 2) spreadGrey<std::uint16_t>(image->pixels);
        if (layout.bytes == 4) spreadGrey<float>(image->pixels);
    }
    return {};
}

ImageStatus encodeImage(const Filename& file, const ImageData& image) {
    std::vector<unsigned char> bytes;
    try {
        if (ImageStatus status = encodeToMemory(file, image, &bytes); !status.ok()) return status;
    } catch (const std::bad_alloc&) {
        return failure(ImageResult::NoMemory, file, "there is not enough memory to write it");
    }
    return writeWhole(file, bytes);
}

}  // namespace host
