// Small image files of many kinds, made in memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace Lumora::engine::test {

using FileData = std::vector<unsigned char>;

/// A PNG as its header describes it. `values`: rows of samples, 16-bit ones with the high byte first, less than eight
/// bits packed. `palette`: RGB triples. `chunks`: whole further chunks, put in before the pixels.
struct PngSample {
    std::uint32_t width = 1, height = 1;
    unsigned depth = 8, colourType = 2;
    FileData values, palette, transparency;
    FileData chunks;
};
FileData makePng(const PngSample& sample);
FileData pngChunk(const char* name, const FileData& data);

enum class JpegKind { Grey, Rgb, Progressive, CmykAdobe, CmykPlain };
/// All pixels have these channel values (one, three or four).
FileData makeJpeg(unsigned width, unsigned height, JpegKind kind, const std::vector<unsigned char>& pixel);

/// A part of an EXR file; all its pixels have the given values.
struct ExrPart {
    std::vector<std::string> channels;
    std::vector<float> pixel;
    bool half = true, deep = false;
    int tile = 0;
    const char* compression = "zip";
    int fullX = 0, fullY = 0, fullWidth = 0, fullHeight = 0;  ///< display window; none: as the picture
};
FileData makeExr(int width, int height, const std::vector<ExrPart>& parts);

/// A Radiance picture from its text header and what follows.
FileData makeHdr(const std::string& header, const FileData& data);

/// Any format that the image library writes by the suffix, 8-bit RGBA.
bool writeImage(const std::filesystem::path& path, int width, int height, int channels, const FileData& values);

/// A file that goes with the object.
class SampleFile {
public:
    SampleFile(const std::string& name, const FileData& data);
    ~SampleFile();
    SampleFile(const SampleFile&) = delete;
    SampleFile& operator=(const SampleFile&) = delete;
    std::string path() const { return path_.string(); }
    void write(const FileData& data) const;

private:
    std::filesystem::path path_;
};

}  // namespace Lumora::engine::test
