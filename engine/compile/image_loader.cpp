#include "engine/compile/image_loader.h"

#include <OpenImageIO/imageio.h>

#include <cstring>
#include <filesystem>

namespace Lumora::engine {

namespace {

std::string quoted(const std::string& path) {
    return "\"" + path + "\"";
}

}  // namespace

ImageTexturePtr readImageFile(const std::string& path, std::string& why) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        why = "the file does not exist";
        return nullptr;
    }
    if (!std::filesystem::is_regular_file(path, error)) {
        why = "it is no file";
        return nullptr;
    }
    try {
        const auto input = OIIO::ImageInput::open(path);
        if (!input) {
            why = OIIO::geterror();
            if (why.empty()) why = "its format is not known";
            return nullptr;
        }
        const OIIO::ImageSpec& spec = input->spec();
        if (spec.width < 1 || spec.height < 1 || spec.nchannels < 1 || spec.depth > 1 || spec.width > kMaxImageEdge ||
            spec.height > kMaxImageEdge) {
            why = "its size is out of range";
            return nullptr;
        }
        PixelFormat format = PixelFormat::Half;
        OIIO::TypeDesc type = OIIO::TypeDesc::HALF;
        if (spec.format == OIIO::TypeDesc::UINT8) {
            format = PixelFormat::Byte;
            type = OIIO::TypeDesc::UINT8;
        } else if (spec.format == OIIO::TypeDesc::FLOAT || spec.format == OIIO::TypeDesc::DOUBLE ||
                   spec.format == OIIO::TypeDesc::UINT32) {
            format = PixelFormat::Float;
            type = OIIO::TypeDesc::FLOAT;
        }
        const int channels = std::min(spec.nchannels, 4);
        const std::uint64_t bytes = static_cast<std::uint64_t>(spec.width) * static_cast<std::uint64_t>(spec.height) *
                                    static_cast<std::uint64_t>(channels) * type.size();
        // The reader unpacks all channels of a strip; files with thousands of them are not pictures.
        if (bytes > kMaxImageBytes || spec.nchannels > 64) {
            why = "it is too large";
            return nullptr;
        }
        std::vector<std::byte> pixels(bytes);
        if (!input->read_image(0, 0, 0, channels, type, pixels.data())) {
            why = input->geterror();
            if (why.empty()) why = "its pixels cannot be read";
            return nullptr;
        }
        return std::make_shared<ImageTexture>(spec.width, spec.height, channels, format, std::move(pixels));
    } catch (const std::bad_alloc&) {
        why = "there is not enough memory for it";
    } catch (const std::exception& e) {
        why = e.what();
    }
    return nullptr;
}

ImageTexturePtr ImageStore::imageOf(const NodeRecord& node, const LogFunction& log) {
    const std::string path = node.attributeValue<std::string>(A_FILENAME, {});
    return path.empty() ? fromBuffer(node, log) : fromFile(path, node.name, log);
}

ImageTexturePtr ImageStore::fromFile(const std::string& path, const std::string& name, const LogFunction& log) {
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path, error);
    const std::int64_t stamp = error ? 0 : static_cast<std::int64_t>(time.time_since_epoch().count());
    const auto size = std::filesystem::file_size(path, error);
    const std::int64_t fileSize = error ? -1 : static_cast<std::int64_t>(size);
    const auto it = files_.find(path);
    if (it != files_.end() && it->second.stamp == stamp && it->second.size == fileSize) {
        if (it->second.failed) return nullptr;
        if (auto image = it->second.image.lock()) return image;
    }
    std::string why;
    ImageTexturePtr image = readImageFile(path, why);
    if (!image && log) {
        log("Image " + quoted(path) + (name.empty() ? "" : " of " + quoted(name)) + " is left out: " + why);
    }
    files_[path] = {stamp, fileSize, !image, image};
    return image;
}

ImageTexturePtr ImageStore::fromBuffer(const NodeRecord& node, const LogFunction& log) {
    const Value* value = node.attribute(A_BUFFER);
    if (!value) return nullptr;
    const auto* bytes = std::get_if<SharedArray<unsigned char>>(value);
    const auto* floats = std::get_if<SharedArray<float>>(value);
    const void* data = nullptr;
    std::size_t byteCount = 0;
    std::shared_ptr<const void> keep;
    if (bytes && *bytes) {
        data = (*bytes)->data();
        byteCount = (*bytes)->size();
        keep = *bytes;
    } else if (floats && *floats) {
        data = (*floats)->data();
        byteCount = (*floats)->size() * sizeof(float);
        keep = *floats;
    }
    if (!data || byteCount == 0) return nullptr;
    const auto size = node.attributeValue<Vec2<int>>(A_SIZE, {});
    const int type = node.attributeValue<int>(A_IMAGE_TYPE, 0);
    BufferEntry& entry = buffers_[node.uid];
    if (entry.pixels == data && entry.size == size && entry.type == type) {
        if (auto image = entry.image.lock()) return image;
    }
    const bool wide = type == 2;
    const std::uint64_t needed = size.x < 1 || size.y < 1 || size.x > kMaxImageEdge || size.y > kMaxImageEdge
                                     ? 0
                                     : 4ull * static_cast<std::uint64_t>(size.x) * static_cast<std::uint64_t>(size.y) *
                                           (wide ? sizeof(float) : 1);
    if (needed == 0 || byteCount < needed) {
        if (log) log("The pixels of image " + quoted(node.name) + " do not fit its size; they are left out.");
        return nullptr;
    }
    std::vector<std::byte> pixels(needed);
    std::memcpy(pixels.data(), data, needed);
    auto image = std::make_shared<const ImageTexture>(size.x, size.y, 4, wide ? PixelFormat::Float : PixelFormat::Byte,
                                                      std::move(pixels));
    entry = {data, size, type, keep, image};
    return image;
}

void ImageStore::sweep() {
    std::erase_if(files_, [](const auto& f) { return !f.second.failed && f.second.image.expired(); });
    std::erase_if(buffers_, [](const auto& b) { return b.second.image.expired(); });
}

std::uint64_t ImageStore::bytes() const {
    std::uint64_t sum = 0;
    for (const auto& [path, file] : files_) {
        if (const auto image = file.image.lock()) sum += image->bytes();
    }
    for (const auto& [uid, buffer] : buffers_) {
        if (const auto image = buffer.image.lock()) sum += image->bytes();
    }
    return sum;
}

std::size_t ImageStore::count() const {
    std::size_t n = 0;
    for (const auto& [path, file] : files_) n += !file.image.expired();
    for (const auto& [uid, buffer] : buffers_) n += !buffer.image.expired();
    return n;
}

}  // namespace Lumora::engine
