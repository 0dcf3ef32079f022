#include "tests/engine/compile/image_samples.h"

#include <OpenImageIO/deepdata.h>
#include <OpenImageIO/imageio.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
// After <cstdio>, which it needs.
#include <jpeglib.h>

namespace Lumora::engine::test {

namespace {

void append(FileData& to, const FileData& data) {
    to.insert(to.end(), data.begin(), data.end());
}

void putWord(unsigned char* to, std::uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) *to++ = static_cast<unsigned char>(word >> shift);
}

FileData readAll(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return FileData(std::istreambuf_iterator<char>(stream), {});
}

std::filesystem::path scratch(const std::string& name) {
    static int number = 0;
    return std::filesystem::temp_directory_path() /
           ("lumora_image_" + std::to_string(getpid()) + "_" + std::to_string(number++) + "_" + name);
}

}  // namespace

FileData pngChunk(const char* name, const FileData& data) {
    FileData chunk(12 + data.size());
    putWord(chunk.data(), static_cast<std::uint32_t>(data.size()));
    std::copy(name, name + 4, chunk.begin() + 4);
    std::copy(data.begin(), data.end(), chunk.begin() + 8);
    const uLong sum = crc32(0, chunk.data() + 4, static_cast<uInt>(4 + data.size()));
    putWord(chunk.data() + 8 + data.size(), static_cast<std::uint32_t>(sum));
    return chunk;
}

FileData makePng(const PngSample& sample) {
    FileData file{0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}, header(13);
    putWord(header.data(), sample.width);
    putWord(header.data() + 4, sample.height);
    header[8] = static_cast<unsigned char>(sample.depth);
    header[9] = static_cast<unsigned char>(sample.colourType);
    append(file, pngChunk("IHDR", header));
    append(file, sample.chunks);
    if (!sample.palette.empty()) append(file, pngChunk("PLTE", sample.palette));
    if (!sample.transparency.empty()) append(file, pngChunk("tRNS", sample.transparency));
    FileData raw;
    const std::size_t rowBytes = sample.values.size() / sample.height;
    for (std::uint32_t y = 0; y < sample.height; ++y) {
        raw.push_back(0);
        raw.insert(raw.end(), sample.values.begin() + static_cast<std::ptrdiff_t>(y * rowBytes),
                   sample.values.begin() + static_cast<std::ptrdiff_t>((y + 1) * rowBytes));
    }
    uLongf size = compressBound(raw.size());
    FileData packed(size);
    compress(packed.data(), &size, raw.data(), raw.size());
    packed.resize(size);
    append(file, pngChunk("IDAT", packed));
    append(file, pngChunk("IEND", {}));
    return file;
}

FileData makeJpeg(unsigned width, unsigned height, JpegKind kind, const std::vector<unsigned char>& pixel) {
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_compress(&jpeg);
    unsigned char* bytes = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&jpeg, &bytes, &size);
    const bool cmyk = kind == JpegKind::CmykAdobe || kind == JpegKind::CmykPlain;
    jpeg.image_width = width;
    jpeg.image_height = height;
    jpeg.input_components = static_cast<int>(pixel.size());
    jpeg.in_color_space = cmyk ? JCS_CMYK : kind == JpegKind::Grey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&jpeg);
    jpeg_set_quality(&jpeg, 95, TRUE);
    if (cmyk) jpeg.write_Adobe_marker = kind == JpegKind::CmykAdobe;
    if (kind == JpegKind::Progressive) jpeg_simple_progression(&jpeg);
    jpeg_start_compress(&jpeg, TRUE);
    FileData row;
    for (unsigned x = 0; x < width; ++x) append(row, pixel);
    JSAMPROW rows[] = {row.data()};
    while (jpeg.next_scanline < height) jpeg_write_scanlines(&jpeg, rows, 1);
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    FileData file(bytes, bytes + size);
    std::free(bytes);
    return file;
}

FileData makeExr(int width, int height, const std::vector<ExrPart>& parts) {
    std::vector<OIIO::ImageSpec> specs;
    for (const ExrPart& part : parts) {
        OIIO::ImageSpec spec(width, height, static_cast<int>(part.channels.size()),
                             part.half ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT);
        spec.channelnames = part.channels;
        spec.alpha_channel = -1;
        spec.attribute("compression", part.compression);
        spec.attribute("oiio:subimagename", "part" + std::to_string(specs.size()));
        spec.deep = part.deep;
        if (part.tile) spec.tile_width = spec.tile_height = part.tile;
        if (part.fullWidth) {
            spec.full_x = part.fullX;
            spec.full_y = part.fullY;
            spec.full_width = part.fullWidth;
            spec.full_height = part.fullHeight;
        }
        specs.push_back(spec);
    }
    const auto path = scratch("made.exr");
    {
        const auto output = OIIO::ImageOutput::create("openexr");
        output->open(path.string(), static_cast<int>(specs.size()), specs.data());
        for (std::size_t p = 0; p < parts.size(); ++p) {
            if (p) output->open(path.string(), specs[p], OIIO::ImageOutput::AppendSubimage);
            const auto count = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
            if (parts[p].deep) {
                OIIO::DeepData deep(specs[p]);
                for (std::size_t i = 0; i < count; ++i) deep.set_samples(static_cast<std::int64_t>(i), 1);
                output->write_deep_image(deep);
                continue;
            }
            std::vector<float> values;
            for (std::size_t i = 0; i < count; ++i)
                values.insert(values.end(), parts[p].pixel.begin(), parts[p].pixel.end());
            output->write_image(OIIO::TypeDesc::FLOAT, values.data());
        }
        output->close();
    }
    FileData file = readAll(path);
    std::filesystem::remove(path);
    return file;
}

FileData makeHdr(const std::string& header, const FileData& data) {
    FileData file(header.begin(), header.end());
    append(file, data);
    return file;
}

bool writeImage(const std::filesystem::path& path, int width, int height, int channels, const FileData& values) {
    const auto output = OIIO::ImageOutput::create(path.string());
    return output && output->open(path.string(), OIIO::ImageSpec(width, height, channels, OIIO::TypeDesc::UINT8)) &&
           output->write_image(OIIO::TypeDesc::UINT8, values.data()) && output->close();
}

SampleFile::SampleFile(const std::string& name, const FileData& data) : path_(scratch(name)) {
    write(data);
}

SampleFile::~SampleFile() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
}

void SampleFile::write(const FileData& data) const {
    std::ofstream stream(path_, std::ios::binary);
    stream.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

}  // namespace Lumora::engine::test
