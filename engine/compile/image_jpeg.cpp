// JPEG through libjpeg.
#include <cstdio>
// libjpeg's header needs FILE declared before it.
#include <jerror.h>
#include <jpeglib.h>

#include <algorithm>
#include <array>
#include <csetjmp>
#include <vector>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

namespace {

/// A picture in many scans is decoded once for each of them: at most so many, and so many pixels in all.
constexpr int kMaxScans = 100;
constexpr std::uint64_t kMaxScanPixels = 1ull << 34;

struct Reader {
    jpeg_decompress_struct jpeg{};
    jpeg_error_mgr errors{};
    jpeg_source_mgr source{};
    jpeg_progress_mgr progress{};
    std::jmp_buf leave{};
    std::array<char, JMSG_LENGTH_MAX> message{};
    bool ranDry = false, gap = false, damaged = false;
    JSAMPROW rows[1] = {nullptr};
    unsigned char* pixels = nullptr;
    std::size_t rowBytes = 0;
    std::vector<unsigned char> inkRow;  ///< of a picture in ink, which becomes light row by row

    ~Reader() { jpeg_destroy_decompress(&jpeg); }
};

Reader& readerOf(j_common_ptr jpeg) {
    return *static_cast<Reader*>(jpeg->client_data);
}

[[noreturn]] void onError(j_common_ptr jpeg) {
    Reader& reader = readerOf(jpeg);
    jpeg->err->format_message(jpeg, reader.message.data());
    std::longjmp(reader.leave, 1);
}

void onMessage(j_common_ptr jpeg, int level) {
    if (level >= 0) return;  // not a warning
    Reader& reader = readerOf(jpeg);
    if (jpeg->err->msg_code == JWRN_HIT_MARKER) reader.gap = true;
    reader.damaged = true;
}

void onOutput(j_common_ptr) {}

void onStart(j_decompress_ptr) {}

// The file's end: an end mark lets the decoder finish what it has.
boolean onEnd(j_decompress_ptr jpeg) {
    static constexpr JOCTET kEndMark[] = {0xff, JPEG_EOI};
    readerOf(reinterpret_cast<j_common_ptr>(jpeg)).ranDry = true;
    jpeg->src->next_input_byte = kEndMark;
    jpeg->src->bytes_in_buffer = sizeof kEndMark;
    return TRUE;
}

void onSkip(j_decompress_ptr jpeg, long count) {
    if (count <= 0) return;
    jpeg_source_mgr& source = *jpeg->src;
    if (static_cast<std::size_t>(count) >= source.bytes_in_buffer) {
        onEnd(jpeg);
        return;
    }
    source.next_input_byte += count;
    source.bytes_in_buffer -= static_cast<std::size_t>(count);
}

void onProgress(j_common_ptr common) {
    const auto& jpeg = *reinterpret_cast<j_decompress_ptr>(common);
    const auto scans = static_cast<std::uint64_t>(std::max(jpeg.input_scan_number, 0));
    if (scans <= kMaxScans && scans * jpeg.image_width * jpeg.image_height <= kMaxScanPixels) return;
    std::snprintf(readerOf(common).message.data(), JMSG_LENGTH_MAX, "too many scans");
    std::longjmp(readerOf(common).leave, 1);
}

// libjpeg leaves by longjmp, so what it calls for has nothing to be destroyed on its way.
template <void (*step)(Reader&)>
void run(Reader& reader) {
    if (setjmp(reader.leave) == 0) {
        step(reader);
        return;
    }
    if (reader.ranDry) throw ImageFault("it is cut off");
    throw ImageFault(std::string("it is broken (") + reader.message.data() + ")");
}

void readHeader(Reader& reader) {
    jpeg_create_decompress(&reader.jpeg);
    reader.jpeg.src = &reader.source;
    reader.jpeg.progress = &reader.progress;
    jpeg_read_header(&reader.jpeg, TRUE);
}

void start(Reader& reader) {
    jpeg_start_decompress(&reader.jpeg);
}

unsigned char product(unsigned a, unsigned b) {
    return static_cast<unsigned char>((a * b + 127) / 255);
}

/// Ink to light. What Adobe's programs write is inverted already.
void inkToLight(const std::vector<unsigned char>& ink, unsigned char* to, bool inverted) {
    const unsigned flip = inverted ? 0 : 255;
    for (std::size_t i = 0; i < ink.size(); i += 4, to += 3) {
        const unsigned key = ink[i + 3] ^ flip;
        for (std::size_t c = 0; c < 3; ++c) to[c] = product(ink[i + c] ^ flip, key);
    }
}

void readRows(Reader& reader) {
    while (reader.jpeg.output_scanline < reader.jpeg.output_height) {
        unsigned char* to = reader.pixels + reader.jpeg.output_scanline * reader.rowBytes;
        reader.rows[0] = reader.inkRow.empty() ? to : reader.inkRow.data();
        if (jpeg_read_scanlines(&reader.jpeg, reader.rows, 1) == 0) break;
        if (!reader.inkRow.empty()) inkToLight(reader.inkRow, to, reader.jpeg.saw_Adobe_marker);
    }
}

std::uint64_t blockCount(const jpeg_decompress_struct& jpeg) {
    std::uint64_t blocks = 0;
    for (int i = 0; i < jpeg.num_components; ++i)
        blocks += std::uint64_t{jpeg.comp_info[i].width_in_blocks} * jpeg.comp_info[i].height_in_blocks;
    return blocks;
}

}  // namespace

DecodedImage decodeJpeg(FileBytes file) {
    Reader reader;
    jpeg_decompress_struct& jpeg = reader.jpeg;
    jpeg.err = jpeg_std_error(&reader.errors);
    reader.errors.error_exit = onError;
    reader.errors.emit_message = onMessage;
    reader.errors.output_message = onOutput;
    jpeg.client_data = &reader;
    reader.source.next_input_byte = file.data();
    reader.source.bytes_in_buffer = file.size();
    reader.source.init_source = onStart;
    reader.source.fill_input_buffer = onEnd;
    reader.source.skip_input_data = onSkip;
    reader.source.resync_to_restart = jpeg_resync_to_restart;
    reader.source.term_source = onStart;
    reader.progress.progress_monitor = onProgress;
    run<readHeader>(reader);

    const bool cmyk = jpeg.jpeg_color_space == JCS_CMYK || jpeg.jpeg_color_space == JCS_YCCK;
    const bool grey = jpeg.jpeg_color_space == JCS_GRAYSCALE;
    if (!cmyk && !grey && jpeg.num_components != 3) throw ImageFault("its colour space is not known");
    jpeg.out_color_space = cmyk ? JCS_CMYK : grey ? JCS_GRAYSCALE : JCS_RGB;
    const std::uint64_t blocks = blockCount(jpeg);
    const unsigned stored = cmyk ? 4 : grey ? 1 : 3;
    checkImageSize(jpeg.image_width, jpeg.image_height, stored);
    // Every block takes a bit at the least, but for arithmetic coding, which nobody writes.
    if (jpeg.arith_code) throw ImageFault("its arithmetic coding is not read");
    if (blocks / 8 > file.size()) throw ImageFault("it holds less than its size needs");

    DecodedImage image;
    image.width = jpeg.image_width;
    image.height = jpeg.image_height;
    image.channels = grey ? 1 : 3;
    image.allocate(jpeg.progressive_mode || jpeg_has_multiple_scans(&jpeg) ? blocks * DCTSIZE2 * sizeof(JCOEF) : 0);
    reader.pixels = reinterpret_cast<unsigned char*>(image.pixels.get());
    reader.rowBytes = image.rowBytes();
    if (cmyk) reader.inkRow.resize(std::size_t{4} * image.width);
    run<start>(reader);
    if (jpeg.output_width != image.width || jpeg.output_height != image.height ||
        static_cast<unsigned>(jpeg.output_components) != stored) {
        throw ImageFault("its header is broken");
    }
    run<readRows>(reader);
    if (jpeg.output_scanline < jpeg.output_height || (reader.ranDry && reader.gap)) throw ImageFault("it is cut off");
    if (reader.damaged) image.note = "it is damaged; what could be read of it is shown";
    return image;
}

ImageOutline outlineJpeg(FileBytes head) {
    // Segments of a marker and a length, up to the frame header.
    for (std::size_t at = 2; at + 10 <= head.size() && head[at] == 0xff;) {
        const unsigned marker = head[at + 1];
        const auto word = [&](std::size_t i) { return std::uint64_t{head[at + i]} << 8 | head[at + i + 1]; };
        const bool frame = marker >= 0xc0 && marker <= 0xcf && marker != 0xc4 && marker != 0xc8 && marker != 0xcc;
        if (frame) return {word(7), word(5), head[at + 9] == 1 ? 1u : 3u, PixelFormat::Byte};
        at += marker == 0xff ? 1 : 2 + word(2);
    }
    throw ImageFault("its header is broken");
}

}  // namespace Lumora::engine
