// PNG through libpng.
#include <png.h>

#include <array>
#include <csetjmp>
#include <cstring>
#include <vector>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

namespace {

constexpr std::size_t kSignature = 8;
/// Deflate makes at most so many bytes of one (zlib's technical notes).
constexpr std::uint64_t kMaxDeflate = 1032;

std::uint32_t bigEndian(const unsigned char* p) {
    return std::uint32_t{p[0]} << 24 | std::uint32_t{p[1]} << 16 | std::uint32_t{p[2]} << 8 | p[3];
}

struct Outline {
    std::uint32_t width = 0, height = 0, bitsPerPixel = 0;
    std::uint64_t dataBytes = 0;
};

/// Walks over the chunks to the end mark and adds up the compressed data.
Outline readOutline(FileBytes file) {
    Outline outline;
    for (std::uint64_t at = kSignature; at + 12 <= file.size();) {
        const unsigned char* chunk = file.data() + at;
        const std::uint64_t length = bigEndian(chunk);
        const bool first = at == kSignature;
        at += 12 + length;
        if (at > file.size()) break;
        const auto is = [chunk](const char* name) { return std::memcmp(chunk + 4, name, 4) == 0; };
        if (first != is("IHDR")) throw ImageFault("its header is broken");
        if (first) {
            if (length != 13) throw ImageFault("its header is broken");
            outline.width = bigEndian(chunk + 8);
            outline.height = bigEndian(chunk + 12);
            constexpr std::array<std::uint32_t, 7> kChannels{1, 0, 3, 1, 2, 0, 4};
            const unsigned depth = chunk[16], type = chunk[17];
            if (type > 6 || kChannels[type] == 0 || depth > 16) throw ImageFault("its header is broken");
            outline.bitsPerPixel = kChannels[type] * depth;
        } else if (is("IDAT")) {
            outline.dataBytes += length;
        } else if (is("IEND")) {
            return outline;
        }
    }
    throw ImageFault("it is cut off");
}

struct Reader {
    png_structp png = nullptr;
    png_infop info = nullptr;
    FileBytes rest;
    std::array<char, 128> message{};
    std::vector<png_bytep> rows;

    ~Reader() { png_destroy_read_struct(&png, &info, nullptr); }
};

[[noreturn]] void onError(png_structp png, png_const_charp text) {
    auto& reader = *static_cast<Reader*>(png_get_error_ptr(png));
    std::strncpy(reader.message.data(), text, reader.message.size() - 1);
    png_longjmp(png, 1);
}

void onWarning(png_structp, png_const_charp) {}

void onRead(png_structp png, png_bytep to, std::size_t count) {
    auto& reader = *static_cast<Reader*>(png_get_io_ptr(png));
    if (count > reader.rest.size()) png_error(png, "it is cut off");
    std::memcpy(to, reader.rest.data(), count);
    reader.rest = reader.rest.subspan(count);
}

// libpng leaves by longjmp, so what it calls for has nothing to be destroyed on its way.
template <void (*step)(Reader&)>
void run(Reader& reader) {
    if (setjmp(png_jmpbuf(reader.png)) == 0) {
        step(reader);
        return;
    }
    throw ImageFault(std::string("it is broken (") + reader.message.data() + ")");
}

void readHeader(Reader& reader) {
    png_set_user_limits(reader.png, kMaxImageEdge, kMaxImageEdge);
    // Profiles, texts and the like are not looked at: textures say themselves how they are encoded.
    png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    static constexpr png_byte kTransparency[] = "tRNS";
    png_set_keep_unknown_chunks(reader.png, PNG_HANDLE_CHUNK_AS_DEFAULT, kTransparency, 1);
    png_set_read_fn(reader.png, &reader, onRead);
    png_read_info(reader.png, reader.info);
    png_set_expand(reader.png);
    png_set_swap(reader.png);  // 16-bit values are big endian in the file
    png_set_interlace_handling(reader.png);
    png_read_update_info(reader.png, reader.info);
}

void readRows(Reader& reader) {
    png_read_image(reader.png, reader.rows.data());
}

}  // namespace

DecodedImage decodePng(FileBytes file) {
    const Outline outline = readOutline(file);
    checkImageSize(outline.width, outline.height, 1);
    const std::uint64_t raw = outline.height * ((std::uint64_t{outline.width} * outline.bitsPerPixel + 7) / 8 + 1);
    if (raw > kMaxDeflate * (outline.dataBytes + 16)) throw ImageFault("it holds less than its size needs");

    Reader reader;
    reader.rest = file;
    reader.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &reader, onError, onWarning);
    if (reader.png) reader.info = png_create_info_struct(reader.png);
    if (!reader.info) throw std::bad_alloc();
    run<readHeader>(reader);

    DecodedImage image;
    image.width = png_get_image_width(reader.png, reader.info);
    image.height = png_get_image_height(reader.png, reader.info);
    image.channels = png_get_channels(reader.png, reader.info);
    image.format = png_get_bit_depth(reader.png, reader.info) == 16 ? PixelFormat::Word : PixelFormat::Byte;
    image.allocate();
    if (png_get_rowbytes(reader.png, reader.info) != image.rowBytes()) throw ImageFault("its header is broken");
    reader.rows.resize(image.height);
    for (std::uint32_t y = 0; y < image.height; ++y)
        reader.rows[y] = reinterpret_cast<png_bytep>(image.pixels.get() + y * image.rowBytes());
    run<readRows>(reader);
    return image;
}

ImageOutline outlinePng(FileBytes head) {
    constexpr std::size_t kType = kSignature + 17;
    if (head.size() <= kType) throw ImageFault("it is cut off");
    const unsigned depth = head[kType - 1], type = head[kType];
    // A palette is expanded.
    const std::uint64_t channels = type == 0 ? 1 : type == 4 ? 2 : type == 6 ? 4 : 3;
    return {bigEndian(head.data() + kSignature + 8), bigEndian(head.data() + kSignature + 12), channels,
            depth == 16 ? PixelFormat::Word : PixelFormat::Byte};
}

}  // namespace Lumora::engine
