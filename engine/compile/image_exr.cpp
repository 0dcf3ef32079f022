// OpenEXR pictures. The file's headers and its table of chunks are checked here, the chunks are unpacked by the image
// library. Layout: "OpenEXR File Layout", Academy Software Foundation.
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <vector>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

namespace {

constexpr std::uint32_t kTiled = 0x200, kDeep = 0x800, kMultiPart = 0x1000;
constexpr int kMaxChannels = 64;
constexpr int kMaxParts = 256;

class Bytes {
public:
    explicit Bytes(FileBytes file) : file_(file) {}

    std::uint64_t at() const { return at_; }
    FileBytes take(std::uint64_t count) {
        if (count > file_.size() - at_) throw ImageFault("it is cut off");
        at_ += count;
        return file_.subspan(at_ - count, count);
    }
    template <typename T>
    T value() {
        T v;
        std::memcpy(&v, take(sizeof v).data(), sizeof v);  // little endian, as this machine
        return v;
    }
    std::string_view text() {
        const std::string_view rest(reinterpret_cast<const char*>(file_.data()) + at_, file_.size() - at_);
        const std::size_t end = rest.substr(0, 256).find('\0');
        if (end == rest.npos) throw ImageFault("its header is broken");
        at_ += end + 1;
        return rest.substr(0, end);
    }

private:
    FileBytes file_;
    std::uint64_t at_ = 0;
};

struct Box {
    std::int32_t x0 = 0, y0 = 0, x1 = -1, y1 = -1;
    std::int64_t width() const { return std::int64_t{x1} - x0 + 1; }
    std::int64_t height() const { return std::int64_t{y1} - y0 + 1; }
};

struct Part {
    Box data, display;
    bool tiled = false, deep = false, hasChannels = false;
    unsigned compression = 0, tileWidth = 0, tileHeight = 0, tileMode = 0;
    std::int32_t chunks = 0;  ///< as the file says; only files with several parts do
    int channels = 0, widest = 2;
};

void readChannels(Bytes list, Part& part) {
    for (std::string_view name = list.text(); !name.empty(); name = list.text()) {
        const auto type = list.value<std::int32_t>();
        list.take(4);
        const auto xSampling = list.value<std::int32_t>(), ySampling = list.value<std::int32_t>();
        if (type < 0 || type > 2) throw ImageFault("its header is broken");
        if (xSampling != 1 || ySampling != 1) throw ImageFault("its channels are subsampled");
        if (type != 1) part.widest = 4;
        ++part.channels;
    }
    part.hasChannels = true;
}

/// False at the empty header that ends a list of parts.
bool readPart(Bytes& file, Part& part) {
    bool any = false;
    for (std::string_view name = file.text(); !name.empty(); name = file.text(), any = true) {
        const std::string_view type = file.text();
        const auto size = file.value<std::int32_t>();
        if (size < 0) throw ImageFault("its header is broken");
        Bytes value(file.take(static_cast<std::uint64_t>(size)));
        if (name == "dataWindow" && type == "box2i") part.data = value.value<Box>();
        if (name == "displayWindow" && type == "box2i") part.display = value.value<Box>();
        if (name == "compression" && type == "compression") part.compression = value.value<std::uint8_t>();
        if (name == "channels" && type == "chlist") readChannels(value, part);
        if (name == "chunkCount" && type == "int") part.chunks = value.value<std::int32_t>();
        if (name == "tiles" && type == "tiledesc") {
            part.tileWidth = value.value<std::uint32_t>();
            part.tileHeight = value.value<std::uint32_t>();
            part.tileMode = value.value<std::uint8_t>();
        }
        if (name == "type" && type == "string") {
            const FileBytes kind = value.take(static_cast<std::uint64_t>(size));
            const std::string_view word(reinterpret_cast<const char*>(kind.data()), kind.size());
            part.tiled = word == "tiledimage";
            part.deep = word.starts_with("deep");
        }
    }
    return any;
}

std::uint64_t blocks(std::int64_t length, std::uint64_t block) {
    return (static_cast<std::uint64_t>(length) + block - 1) / block;
}

/// Chunks of the full-size picture; those of smaller levels follow them.
std::uint64_t chunkCount(const Part& part) {
    if (!part.tiled) {
        constexpr std::array<std::uint64_t, 10> kLines{1, 1, 1, 16, 32, 16, 32, 32, 32, 256};
        return blocks(part.data.height(), kLines[part.compression]);
    }
    if (part.tileWidth < 1 || part.tileHeight < 1 || part.tileWidth > kMaxImageEdge ||
        part.tileHeight > kMaxImageEdge) {
        throw ImageFault("its tiles have no size that makes sense");
    }
    return blocks(part.data.width(), part.tileWidth) * blocks(part.data.height(), part.tileHeight);
}

/// Every chunk of the picture must lie in the file, or the file is cut off or was never finished.
void checkChunks(Bytes table, const Part& part, bool multiPart, FileBytes file) {
    const std::uint64_t head = (multiPart ? 4 : 0) + (part.tiled ? 16 : 4) + 4;
    for (std::uint64_t i = chunkCount(part); i > 0; --i) {
        const auto at = table.value<std::uint64_t>();
        if (at < table.at() || at > file.size() || file.size() - at < head) throw ImageFault("it is cut off");
        std::int32_t size;
        std::memcpy(&size, file.data() + at + head - 4, sizeof size);
        if (size < 0 || static_cast<std::uint64_t>(size) > file.size() - at - head) throw ImageFault("it is cut off");
    }
}

Part checkFile(FileBytes bytes) {
    Bytes file(bytes);
    file.take(4);
    const auto version = file.value<std::uint32_t>();
    if ((version & 0xff) != 2) throw ImageFault("its version is not known");
    const bool multiPart = version & kMultiPart;
    Part part;
    part.tiled = !multiPart && (version & kTiled);
    if (!readPart(file, part)) throw ImageFault("its header is broken");
    if (part.deep || (!multiPart && (version & kDeep))) throw ImageFault("it holds deep samples, not a flat picture");
    if (!part.hasChannels || part.channels == 0) throw ImageFault("it holds no channels");
    if (part.channels > kMaxChannels) throw ImageFault("it has too many channels");
    if (part.compression > 9) throw ImageFault("its compression is not known");
    constexpr std::int64_t kFar = 1 << 30;
    for (const std::int32_t edge : {part.data.x0, part.data.y0, part.data.x1, part.data.y1}) {
        if (edge < -kFar || edge > kFar) throw ImageFault("its size is out of range");
    }
    if (part.data.width() < 1 || part.data.height() < 1) throw ImageFault("its size is out of range");
    checkImageSize(static_cast<std::uint64_t>(part.data.width()), static_cast<std::uint64_t>(part.data.height()),
                   static_cast<std::uint64_t>(part.channels * part.widest));
    if (multiPart) {
        Part other;
        int parts = 1;
        while (readPart(file, other)) {
            if (++parts > kMaxParts) throw ImageFault("it has too many parts");
            other = {};
        }
    }
    checkChunks(file, part, multiPart, bytes);
    return part;
}

/// Which channel of the file is shown as red, green, blue and alpha; -1 for one that reads as zero.
struct Choice {
    std::array<int, 4> from{-1, -1, -1, -1};
    int count = 0;
};

Choice chooseChannels(const std::vector<std::string>& names) {
    // The picture itself, else the first layer that has what is looked for.
    const auto find = [&](std::string_view wanted) {
        int layered = -1;
        for (std::size_t i = 0; i < names.size(); ++i) {
            const std::size_t dot = names[i].rfind('.');
            const std::string_view last = std::string_view(names[i]).substr(dot == std::string::npos ? 0 : dot + 1);
            if (last.size() != 1 || std::toupper(static_cast<unsigned char>(last[0])) != wanted[0]) continue;
            if (dot == std::string::npos) return static_cast<int>(i);
            if (layered < 0) layered = static_cast<int>(i);
        }
        return layered;
    };
    const int r = find("R"), g = find("G"), b = find("B"), a = find("A"), y = find("Y");
    Choice choice;
    if (r >= 0 && g < 0 && b < 0) {
        choice = {{r, a, -1, -1}, a >= 0 ? 2 : 1};
    } else if (r >= 0 || g >= 0 || b >= 0) {
        choice = {{r, g, b, a}, a >= 0 ? 4 : 3};
    } else if (y >= 0) {
        choice = {{y, a, -1, -1}, a >= 0 ? 2 : 1};
    } else {
        choice = {{0, -1, -1, -1}, 1};
    }
    return choice;
}

/// Reads the chosen channels of the data window to `to`, whose rows lie `rowBytes` apart.
void readChannels(OIIO::ImageInput& input, const Choice& choice, OIIO::TypeDesc type, std::byte* to,
                  std::uint64_t rowBytes) {
    const auto size = static_cast<OIIO::stride_t>(type.size());
    const auto read = [&](int first, int count, int place) {
        if (!input.read_image(0, 0, first, first + count, type, to + place * size, choice.count * size,
                              static_cast<OIIO::stride_t>(rowBytes))) {
            std::string why = input.geterror();
            why.resize(std::min(why.find('\n'), why.size()));
            throw ImageFault("it is broken (" + why + ")");
        }
    };
    bool inOrder = true;
    for (int i = 0; i < choice.count; ++i) inOrder = inOrder && choice.from[i] == choice.from[0] + i;
    if (inOrder && choice.from[0] >= 0) return read(choice.from[0], choice.count, 0);
    for (int i = 0; i < choice.count; ++i) {
        if (choice.from[i] >= 0) read(choice.from[i], 1, i);
    }
}

/// What is seen of the picture is its display window; the pixels that the file holds may be fewer or more.
DecodedImage cropToDisplay(DecodedImage held, const Part& part) {
    const Box &data = part.data, &display = part.display;
    const std::int64_t x0 = std::max(data.x0, display.x0), x1 = std::min(data.x1, display.x1);
    const std::int64_t y0 = std::max(data.y0, display.y0), y1 = std::min(data.y1, display.y1);
    DecodedImage shown;
    shown.width = static_cast<std::uint32_t>(display.width());
    shown.height = static_cast<std::uint32_t>(display.height());
    shown.channels = held.channels;
    shown.format = held.format;
    shown.allocate();
    std::memset(shown.pixels.get(), 0, shown.bytes());
    const std::uint64_t pixel = held.rowBytes() / held.width;
    for (std::int64_t y = y0; y <= y1; ++y) {
        std::memcpy(shown.pixels.get() + static_cast<std::uint64_t>(y - display.y0) * shown.rowBytes() +
                        static_cast<std::uint64_t>(x0 - display.x0) * pixel,
                    held.pixels.get() + static_cast<std::uint64_t>(y - data.y0) * held.rowBytes() +
                        static_cast<std::uint64_t>(x0 - data.x0) * pixel,
                    static_cast<std::uint64_t>(x1 - x0 + 1) * pixel);
    }
    return shown;
}

/// Whether the display window says something about the data window.
bool isCrop(const Part& part) {
    const Box &data = part.data, &display = part.display;
    const bool same = data.x0 == display.x0 && data.y0 == display.y0 && data.x1 == display.x1 && data.y1 == display.y1;
    const bool sensible = display.width() >= 1 && display.height() >= 1 && display.width() <= kMaxImageEdge &&
                          display.height() <= kMaxImageEdge;
    const bool meet = data.x0 <= display.x1 && display.x0 <= data.x1 && data.y0 <= display.y1 && display.y0 <= data.y1;
    return !same && sensible && meet;
}

}  // namespace

DecodedImage decodeExr(FileBytes file) {
    const Part part = checkFile(file);
    OIIO::Filesystem::IOMemReader memory(const_cast<unsigned char*>(file.data()), file.size());
    const auto input = OIIO::ImageInput::create("openexr");
    if (!input || !input->set_ioproxy(&memory)) throw ImageFault("the image library does not read its format");
    input->threads(1);
    OIIO::ImageSpec spec;
    if (!input->open("picture.exr", spec)) throw ImageFault("it is broken (" + input->geterror() + ")");
    if (spec.deep || spec.width != part.data.width() || spec.height != part.data.height() || spec.depth > 1 ||
        spec.nchannels != part.channels) {
        throw ImageFault("its header is broken");
    }
    const Choice choice = chooseChannels(spec.channelnames);
    DecodedImage image;
    image.width = static_cast<std::uint32_t>(spec.width);
    image.height = static_cast<std::uint32_t>(spec.height);
    image.channels = static_cast<std::uint32_t>(choice.count);
    const bool half = part.widest == 2;
    image.format = half ? PixelFormat::Half : PixelFormat::Float;
    // The library unpacks all channels of a strip, or of a row of tiles.
    const std::uint64_t strip = std::uint64_t{image.width} * std::max(256u, part.tiled ? part.tileHeight : 0) *
                                static_cast<std::uint64_t>(part.channels * part.widest);
    image.allocate(2 * strip);
    std::memset(image.pixels.get(), 0, image.bytes());
    readChannels(*input, choice, half ? OIIO::TypeDesc::HALF : OIIO::TypeDesc::FLOAT, image.pixels.get(),
                 image.rowBytes());
    return isCrop(part) ? cropToDisplay(std::move(image), part) : std::move(image);
}

ImageOutline outlineExr(FileBytes head) {
    Bytes file(head);
    file.take(8);
    Part part;
    if (!readPart(file, part)) throw ImageFault("its header is broken");
    const Box& seen = isCrop(part) ? part.display : part.data;
    const auto length = [](std::int64_t v) { return static_cast<std::uint64_t>(std::max<std::int64_t>(v, 0)); };
    return {length(seen.width()), length(seen.height()), static_cast<std::uint64_t>(std::min(part.channels, 4)),
            part.widest == 2 ? PixelFormat::Half : PixelFormat::Float};
}

}  // namespace Lumora::engine
