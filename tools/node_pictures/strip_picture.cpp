#include "tools/node_pictures/strip_picture.h"

#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <stdexcept>

namespace pictures {

namespace {

constexpr int kGap = 3, kLabelHeight = 17, kFontSize = 11, kQuality = 88;
constexpr const char* kFont = "DejaVuSans";

}  // namespace

void writeStrip(const std::filesystem::path& path, const std::vector<Picture>& pictures,
                const std::vector<std::string>& labels) {
    const int count = static_cast<int>(pictures.size()), w = pictures[0].width, h = pictures[0].height;
    OIIO::ImageSpec layout(count * w + (count - 1) * kGap, h + kLabelHeight, 3, OIIO::TypeDesc::UINT8);
    layout.attribute("CompressionQuality", kQuality);
    layout.attribute("jpeg:subsampling", "4:4:4");
    OIIO::ImageBuf strip(layout);
    OIIO::ImageBufAlgo::fill(strip, {1.0f, 1.0f, 1.0f});
    for (int i = 0; i < count; ++i) {
        const int left = i * (w + kGap);
        const auto& pixels = pictures[static_cast<std::size_t>(i)].pixels;
        strip.set_pixels(OIIO::ROI(left, left + w, 0, h, 0, 1, 0, 3), OIIO::TypeDesc::UINT8, pixels.data());
        OIIO::ImageBufAlgo::render_text(strip, left + w / 2, h + kLabelHeight / 2 + 1,
                                        labels[static_cast<std::size_t>(i)], kFontSize, kFont, {0.25f, 0.25f, 0.25f},
                                        OIIO::ImageBufAlgo::TextAlignX::Center, OIIO::ImageBufAlgo::TextAlignY::Center);
    }
    if (strip.has_error())
        throw std::runtime_error("the labels cannot be drawn (is the font DejaVu Sans installed?): " +
                                 strip.geterror());
    const std::filesystem::path unfinished = path.string() + ".unfinished.jpg";
    if (!strip.write(unfinished.string()))
        throw std::runtime_error("the file " + path.string() + " cannot be written: " + strip.geterror());
    std::error_code error;
    std::filesystem::rename(unfinished, path, error);
    if (error) throw std::runtime_error("the file " + path.string() + " cannot be written: " + error.message());
}

}  // namespace pictures
