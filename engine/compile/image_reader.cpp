#include "engine/compile/image_reader.h"

#include <OpenImageIO/imageio.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <optional>
#include <vector>

#include "engine/compile/image_formats.h"
#include "engine/compile/photometry.h"
#include "engine/render/textures/pixel_format.h"

namespace Lumora::engine {

namespace {

struct File {
    std::unique_ptr<MemoryShare> share;
    std::unique_ptr<unsigned char[]> bytes;
    std::size_t size = 0;
    FileBytes span() const { return {bytes.get(), size}; }
};

/// Photometric files have no mark of their own and are known by their names.
const ImageDecoder* decoderOf(const std::string& path, FileBytes head) {
    const ImageDecoder* photometric = photometricDecoder(path);
    return photometric ? photometric : imageDecoder(head);
}

File readWhole(const std::string& path) {
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) throw ImageFault("the file does not exist");
    if (!std::filesystem::is_regular_file(status)) throw ImageFault("it is no file");
    const std::uint64_t size = std::filesystem::file_size(path, error);
    std::ifstream stream(path, std::ios::binary);
    if (error || !stream) throw ImageFault("it cannot be opened");
    if (size == 0) throw ImageFault("it is empty");
    // Looked at before the rest is read: a film that somebody named as a texture is not for the memory.
    unsigned char head[16];
    stream.read(reinterpret_cast<char*>(head), sizeof head);
    if (!decoderOf(path, {head, static_cast<std::size_t>(stream.gcount())})) {
        throw ImageFault("it is neither PNG, JPEG, EXR, HDR, IES nor LDT, which are what the engine reads");
    }
    if (size > kMaxImageBytes) throw ImageFault("it is too large");
    stream.clear();
    stream.seekg(0);
    File file;
    file.share = std::make_unique<MemoryShare>(size);
    file.bytes = std::make_unique_for_overwrite<unsigned char[]>(size);
    stream.read(reinterpret_cast<char*>(file.bytes.get()), static_cast<std::streamsize>(size));
    file.size = static_cast<std::size_t>(stream.gcount());
    if (file.size < size) throw ImageFault("it cannot be read to its end");
    return file;
}

struct Target {
    PixelFormat format;  ///< of plain pixels
    bool alpha = true;
};

Target targetOf(PixelFormat stored, ImageImport import) {
    const bool wide = stored == PixelFormat::Half || stored == PixelFormat::Float;
    switch (import) {
        case ImageImport::Float:
            return {wide ? PixelFormat::Float : stored};
        case ImageImport::Half:
            return {wide ? PixelFormat::Half : stored};
        case ImageImport::HalfRgb:
            return {wide ? PixelFormat::Half : stored, false};
        case ImageImport::ByteRgb:
            return {wide ? stored : PixelFormat::Byte, false};
        case ImageImport::ByteRgba:
        case ImageImport::FineByteRgba:
            return {wide ? stored : PixelFormat::Byte};
        default:
            return {stored};
    }
}

/// The block format that an image of plain pixels is held in, if any. Grey pixels have blocks of their own, which are
/// finer than those of colours; where they would be no smaller than bytes they stay bytes.
std::optional<PixelFormat> blocksOf(PixelFormat stored, std::uint32_t channels, ImageImport import) {
    const bool wide = stored == PixelFormat::Half || stored == PixelFormat::Float;
    if (wide) return import == ImageImport::HalfRgb ? std::optional(PixelFormat::Bc6h) : std::nullopt;
    const bool small = import == ImageImport::ByteRgb, fine = import == ImageImport::FineByteRgba;
    if (!small && !fine && import != ImageImport::ByteRgba) return std::nullopt;
    if (channels == 1) return small ? std::optional(PixelFormat::Bc4) : std::nullopt;
    if (channels == 2) return PixelFormat::Bc5;
    if (fine) return PixelFormat::Bc7;
    return channels == 3 ? PixelFormat::Bc1 : PixelFormat::Bc3;
}

OIIO::TypeDesc typeOf(PixelFormat format) {
    switch (format) {
        case PixelFormat::Byte:
            return OIIO::TypeDesc::UINT8;
        case PixelFormat::Word:
            return OIIO::TypeDesc::UINT16;
        case PixelFormat::Half:
            return OIIO::TypeDesc::HALF;
        default:
            break;
    }
    return OIIO::TypeDesc::FLOAT;
}

DecodedImage convert(DecodedImage image, const Target& target) {
    const bool dropAlpha = !target.alpha && image.channels % 2 == 0;
    if (target.format == image.format && !dropAlpha) return image;
    DecodedImage out;
    out.width = image.width;
    out.height = image.height;
    out.channels = image.channels - (dropAlpha ? 1 : 0);
    out.format = target.format;
    out.note = image.note;
    out.allocate();
    const auto from = typeOf(image.format), to = typeOf(out.format);
    OIIO::convert_image(static_cast<int>(out.channels), static_cast<int>(out.width), static_cast<int>(out.height), 1,
                        image.pixels.get(), from, static_cast<OIIO::stride_t>(image.rowBytes() / image.width),
                        OIIO::AutoStride, OIIO::AutoStride, out.pixels.get(), to,
                        static_cast<OIIO::stride_t>(out.rowBytes() / out.width), OIIO::AutoStride, OIIO::AutoStride);
    return out;
}

/// Exponent bits all set: infinite, or no number when the mantissa is not zero.
bool makeHalvesFinite(std::uint16_t* values, std::size_t count) {
    bool any = false;
    for (std::size_t i = 0; i < count; ++i) {
        if ((values[i] & 0x7c00u) != 0x7c00u) continue;
        values[i] = values[i] & 0x3ffu ? 0 : static_cast<std::uint16_t>((values[i] & 0x8000u) | 0x7bffu);
        any = true;
    }
    return any;
}

/// What is read of a file to find its header.
constexpr std::size_t kHeadBytes = 256 << 10;

}  // namespace

ImageTexture smallerImage(const ImageTexture& image) {
    const PixelFormat plain = plainFormat(image.format());
    const bool encoded = plain == PixelFormat::Byte || plain == PixelFormat::Word;
    return halfImage(image, encoded ? 2.2f : 1.0f);
}

std::uint64_t expectedImageBytes(const std::string& path, ImageImport import) {
    try {
        std::error_code error;
        if (!std::filesystem::is_regular_file(path, error)) return 0;
        std::ifstream stream(path, std::ios::binary);
        std::vector<unsigned char> head(kHeadBytes);
        stream.read(reinterpret_cast<char*>(head.data()), static_cast<std::streamsize>(head.size()));
        head.resize(static_cast<std::size_t>(stream.gcount()));
        const ImageDecoder* decoder = decoderOf(path, head);
        if (!decoder || !decoder->outline) return 0;
        const ImageOutline outline = decoder->outline(head);
        const Target target = targetOf(outline.format, import);
        const std::uint64_t channels = outline.channels - (!target.alpha && outline.channels % 2 == 0 ? 1 : 0);
        checkImageSize(outline.width, outline.height, channels * channelBytes(target.format));
        const std::uint64_t plain = outline.width * outline.height * channels * channelBytes(target.format);
        const auto blocks = blocksOf(outline.format, static_cast<std::uint32_t>(channels), import);
        if (!blocks) return plain;
        return std::min<std::uint64_t>(plain, compressedBytes(static_cast<std::uint32_t>(outline.width),
                                                              static_cast<std::uint32_t>(outline.height), *blocks));
    } catch (const std::exception&) {
        return 0;  // reading it will tell what is wrong
    }
}

bool allFinite(const float* values, std::size_t count) {
    bool all = true;
    for (std::size_t i = 0; i < count; ++i) all &= std::isfinite(values[i]);
    return all;
}

bool makeFinite(float* values, std::size_t count) {
    bool any = false;
    for (std::size_t i = 0; i < count; ++i) {
        if (std::isfinite(values[i])) continue;
        values[i] = std::isnan(values[i]) ? 0.0f : std::copysign(std::numeric_limits<float>::max(), values[i]);
        any = true;
    }
    return any;
}

ImageTexturePtr readImageFile(const std::string& path, ImageImport import, std::string& why, int halvings) {
    why.clear();
    try {
        DecodedImage image;
        {
            const File file = readWhole(path);
            image = decoderOf(path, file.span())->decode(file.span());
        }
        Target target = targetOf(image.format, import);
        if (image.linear) target.format = image.format;
        const bool linear = image.linear;
        const PixelFormat stored = image.format;
        image = convert(std::move(image), target);
        const std::size_t values = std::size_t{image.width} * image.height * image.channels;
        bool odd = false;
        if (image.format == PixelFormat::Float) odd = makeFinite(reinterpret_cast<float*>(image.pixels.get()), values);
        if (image.format == PixelFormat::Half)
            odd = makeHalvesFinite(reinterpret_cast<std::uint16_t*>(image.pixels.get()), values);
        why = std::move(image.note);
        if (odd) why += (why.empty() ? "" : "; ") + std::string("it has values that are no finite numbers");
        const void* pixels = image.pixels.get();
        const std::size_t bytes = image.bytes();
        ImageTexture plain(image.width, image.height, image.channels, image.format, pixels, bytes,
                           std::move(image.pixels), linear);
        for (int i = 0; i < halvings; ++i) plain = smallerImage(plain);
        const auto blocks = linear ? std::nullopt : blocksOf(stored, image.channels, import);
        if (!blocks || compressedBytes(plain.width(), plain.height(), *blocks) >= plain.bytes()) {
            return std::make_shared<ImageTexture>(plain);
        }
        return std::make_shared<ImageTexture>(compressImage(plain, *blocks));
    } catch (const std::bad_alloc&) {
        why = "there is not enough memory for it";
    } catch (const std::exception& e) {
        why = e.what();
    }
    return nullptr;
}

}  // namespace Lumora::engine
