// Radiance pictures: four bytes a pixel, a mantissa for each of red, green and blue and their common exponent.
// Ward, "Real Pixels", Graphics Gems II, 1991, and the format description in "The RADIANCE Picture File Format".
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <vector>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

namespace {

using Rgbe = std::array<unsigned char, 4>;

class Bytes {
public:
    explicit Bytes(FileBytes file) : rest_(file) {}

    std::size_t size() const { return rest_.size(); }
    unsigned char next() {
        if (rest_.empty()) throw ImageFault("it is cut off");
        const unsigned char byte = rest_.front();
        rest_ = rest_.subspan(1);
        return byte;
    }
    Rgbe pixel() { return {next(), next(), next(), next()}; }
    bool startsWith(unsigned char a, unsigned char b) const {
        return rest_.size() >= 4 && rest_[0] == a && rest_[1] == b;
    }
    std::string_view line() {
        const std::string_view text(reinterpret_cast<const char*>(rest_.data()),
                                    std::min<std::size_t>(rest_.size(), kMaxLine));
        const std::size_t end = text.find('\n');
        if (end == text.npos) throw ImageFault("its header is broken");
        rest_ = rest_.subspan(end + 1);
        return text.substr(0, end);
    }

private:
    static constexpr std::size_t kMaxLine = 4096;
    FileBytes rest_;
};

/// Where the rows and columns of the file lie in the picture.
struct Layout {
    std::uint32_t lines = 0, lineLength = 0;
    bool linesAreRows = true, flipLines = false, flipInLine = false;
};

struct Axis {
    char sign = '+', name = 'X';
    std::uint32_t size = 0;
};

Axis readAxis(std::string_view& text) {
    Axis axis;
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    if (text.size() < 4 || (text[0] != '+' && text[0] != '-') || (text[1] != 'X' && text[1] != 'Y')) {
        throw ImageFault("its size is not told");
    }
    axis.sign = text[0];
    axis.name = text[1];
    text.remove_prefix(2);
    while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), axis.size);
    if (error != std::errc()) throw ImageFault("its size is not told");
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return axis;
}

Layout readHeader(Bytes& file) {
    for (std::string_view line = file.line(); !line.empty() && line != "\r"; line = file.line()) {
        if (line.starts_with("FORMAT=") && !line.starts_with("FORMAT=32-bit_rle_rgbe")) {
            throw ImageFault("its colours are not red, green and blue");
        }
    }
    std::string_view size = file.line();
    const Axis first = readAxis(size), second = readAxis(size);
    if (first.name == second.name) throw ImageFault("its size is not told");
    Layout layout;
    layout.lines = first.size;
    layout.lineLength = second.size;
    layout.linesAreRows = first.name == 'Y';
    // Y grows upwards: the usual picture begins with its top row, -Y.
    layout.flipLines = layout.linesAreRows ? first.sign == '+' : first.sign == '-';
    layout.flipInLine = layout.linesAreRows ? second.sign == '-' : second.sign == '+';
    return layout;
}

/// Each of the four bytes for the whole line, as runs and literal stretches.
void readPlanes(Bytes& file, std::vector<Rgbe>& line) {
    for (std::size_t plane = 0; plane < 4; ++plane) {
        for (std::size_t x = 0; x < line.size();) {
            const unsigned code = file.next();
            const bool run = code > 128;
            const std::size_t count = run ? code - 128 : code;
            if (count == 0 || count > line.size() - x) throw ImageFault("it is broken (a run goes past its line)");
            unsigned char value = run ? file.next() : 0;
            for (const std::size_t end = x + count; x < end; ++x) line[x][plane] = run ? value : file.next();
        }
    }
}

/// Pixel after pixel; three ones for a colour repeat the pixel before.
void readPixels(Bytes& file, std::vector<Rgbe>& line) {
    unsigned shift = 0;
    for (std::size_t x = 0; x < line.size();) {
        const Rgbe pixel = file.pixel();
        if (pixel[0] != 1 || pixel[1] != 1 || pixel[2] != 1) {
            line[x++] = pixel;
            shift = 0;
            continue;
        }
        const std::size_t count = shift < 24 ? std::size_t{pixel[3]} << shift : line.size() + 1;
        if (x == 0 || count > line.size() - x) throw ImageFault("it is broken (a run goes past its line)");
        std::fill_n(line.begin() + static_cast<std::ptrdiff_t>(x), count, line[x - 1]);
        x += count;
        shift += 8;
    }
}

void readLine(Bytes& file, std::vector<Rgbe>& line) {
    if (line.size() < 8 || line.size() > 32767 || !file.startsWith(2, 2)) {
        readPixels(file, line);
        return;
    }
    const Rgbe start = file.pixel();
    if (start[2] * 256u + start[3] != line.size()) throw ImageFault("it is broken (a line of another length)");
    readPlanes(file, line);
}

}  // namespace

DecodedImage decodeHdr(FileBytes bytes) {
    Bytes file(bytes);
    const Layout layout = readHeader(file);
    checkImageSize(layout.lineLength, layout.lines, 3 * sizeof(float));
    // The shortest line is one pixel, and one that repeats it.
    const std::uint64_t least = layout.lineLength > 1 ? 8 : 4;
    if (file.size() / layout.lines < least) throw ImageFault("it holds less than its size needs");

    DecodedImage image;
    image.width = layout.linesAreRows ? layout.lineLength : layout.lines;
    image.height = layout.linesAreRows ? layout.lines : layout.lineLength;
    image.channels = 3;
    image.format = PixelFormat::Float;
    image.allocate();
    std::array<float, 256> scale{};
    for (int e = 1; e < 256; ++e) scale[static_cast<std::size_t>(e)] = std::ldexp(1.0f, e - (128 + 8));
    auto* pixels = reinterpret_cast<float*>(image.pixels.get());
    std::vector<Rgbe> line(layout.lineLength);
    for (std::uint32_t j = 0; j < layout.lines; ++j) {
        readLine(file, line);
        const std::size_t across = layout.flipLines ? layout.lines - 1 - j : j;
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::size_t along = layout.flipInLine ? line.size() - 1 - i : i;
            const std::size_t x = layout.linesAreRows ? along : across, y = layout.linesAreRows ? across : along;
            float* to = pixels + 3 * (y * image.width + x);
            for (std::size_t c = 0; c < 3; ++c) to[c] = static_cast<float>(line[i][c]) * scale[line[i][3]];
        }
    }
    return image;
}

ImageOutline outlineHdr(FileBytes head) {
    Bytes file(head);
    const Layout layout = readHeader(file);
    return {layout.linesAreRows ? layout.lineLength : layout.lines,
            layout.linesAreRows ? layout.lines : layout.lineLength, 3, PixelFormat::Float};
}

}  // namespace Lumora::engine
