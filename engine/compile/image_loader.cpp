#include "engine/compile/image_loader.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <filesystem>

#include "engine/compile/image_formats.h"

namespace Lumora::engine {

namespace {

std::string quoted(const std::string& path) {
    return "\"" + path + "\"";
}

struct FileState {
    std::int64_t stamp = 0, size = -1;
};

FileState stateOf(const std::string& path) {
    FileState state;
    std::error_code error;
    const auto time = std::filesystem::last_write_time(path, error);
    if (!error) state.stamp = static_cast<std::int64_t>(time.time_since_epoch().count());
    const auto size = std::filesystem::file_size(path, error);
    if (!error) state.size = static_cast<std::int64_t>(size);
    return state;
}

}  // namespace

ImageStore::ImageStore() : limit_(machineMemoryBytes() / 2) {}

ImageTexturePtr ImageStore::imageOf(const NodeRecord& node, const LogFunction& log) {
    const FileKey key = keyOf(node);
    if (key.path.empty()) return fromBuffer(node, log);
    return fromFile(key, node.name, asksAgain(node), log);
}

bool ImageStore::asksAgain(const NodeRecord& node) {
    const auto [seen, first] = reloads_.try_emplace(node.uid, node.reloads);
    return std::exchange(seen->second, node.reloads) != node.reloads && !first;
}

ImageStore::FileKey ImageStore::keyOf(const NodeRecord& node) {
    return {node.attributeValue<std::string>(A_FILENAME, {}),
            static_cast<ImageImport>(node.attributeValue<int>(A_IMAGE_IMPORT, -1))};
}

bool ImageStore::waits(const NodeRecord& node) const {
    if (noted_.empty()) return false;
    const auto it = files_.find(keyOf(node));
    return it != files_.end() && it->second.noted;
}

void ImageStore::read(const FileKey& key, FileEntry& entry, ImageTexturePtr& image, int halvings) {
    image = readImageFile(key.path, key.import, entry.remark, halvings);
    entry.image = image;
    entry.failed = !image;
    entry.halvings = image ? halvings : 0;
    entry.noted = entry.logged = false;
}

ImageTexturePtr ImageStore::fromFile(const FileKey& key, const std::string& name, bool again, const LogFunction& log) {
    const FileState state = stateOf(key.path);
    const auto it = files_.try_emplace(key).first;
    FileEntry& entry = it->second;
    ImageTexturePtr image = entry.image.lock();
    if (entry.noted) return nullptr;
    const bool current = !again && entry.stamp == state.stamp && entry.size == state.size;
    if (!current || (!image && !entry.failed)) {
        entry.stamp = state.stamp;
        entry.size = state.size;
        replaced_ = replaced_ || image || entry.failed;
        if (deferring_) {
            entry.noted = true;
            noted_.push_back(it);
            return nullptr;
        }
        read(key, entry, image, 0);
        fit({{&entry, &image}});
    }
    if (!entry.logged && (!entry.remark.empty() || entry.halvings > 0) && log) {
        std::string text = entry.remark;
        if (entry.halvings > 0) {
            text += (text.empty() ? "" : "; ") + std::string("it is shown at 1/") +
                    std::to_string(1u << entry.halvings) + " of its resolution, since the images' memory is full";
        }
        log("Warning: image " + quoted(key.path) + (name.empty() ? "" : " of " + quoted(name)) +
            (image ? ": " : " is left out: ") + text);
        entry.logged = true;
    }
    return image;
}

ImageStore::Deferral::~Deferral() {
    for (const auto& file : store_.noted_) file->second.noted = false;
    store_.noted_.clear();
    store_.deferring_ = false;
}

bool ImageStore::Deferral::load() {
    store_.deferring_ = false;
    if (store_.noted_.empty()) return false;
    store_.readNoted();
    store_.noted_.clear();
    return true;
}

/// Coarser levels come to a third of an image.
static constexpr std::uint64_t withLevels(std::uint64_t bytes) {
    return bytes / 3 * 4;
}

/// Halves the largest until all fit beside `others`. What is small is left: it would not help.
void ImageStore::makeRoom(std::vector<Claim>& claims, std::uint64_t others) const {
    constexpr std::uint64_t kSmallest = withLevels(64 * 64);
    std::uint64_t held = others;
    for (const Claim& claim : claims) held += claim.bytes;
    const auto less = [&](std::size_t a, std::size_t b) {
        return claims[a].bytes != claims[b].bytes ? claims[a].bytes < claims[b].bytes : a > b;
    };
    std::vector<std::size_t> heap;
    for (std::size_t i = 0; i < claims.size(); ++i) heap.push_back(i);
    std::make_heap(heap.begin(), heap.end(), less);
    while (held > limit_ && !heap.empty()) {
        std::pop_heap(heap.begin(), heap.end(), less);
        Claim& largest = claims[heap.back()];
        if (largest.bytes <= kSmallest) break;
        held -= largest.bytes - largest.bytes / 4;
        largest.bytes /= 4;
        ++largest.halvings;
        std::push_heap(heap.begin(), heap.end(), less);
    }
}

void ImageStore::readNoted() {
    std::vector<Claim> claims(noted_.size());
    tbb::parallel_for(std::size_t{0}, noted_.size(), [&](std::size_t i) {
        const FileKey& key = noted_[i]->first;
        claims[i] = {&noted_[i]->second, nullptr, withLevels(expectedImageBytes(key.path, key.import))};
    });
    // The images of files that are in use give way too: nodes that have them get the smaller ones in this build.
    std::vector<ImageTexturePtr> used;
    used.reserve(files_.size());
    std::uint64_t others = bytes();
    for (auto& [key, entry] : files_) {
        ImageTexturePtr image = entry.noted ? nullptr : entry.image.lock();
        if (!image) continue;
        used.push_back(std::move(image));
        claims.push_back({&entry, &used.back(), withLevels(used.back()->bytes())});
        others -= std::min(others, claims.back().bytes);
    }
    makeRoom(claims, others);
    std::uint64_t leaving = 0;
    for (std::size_t i = noted_.size(); i < claims.size(); ++i) {
        const Claim& claim = claims[i];
        if (claim.halvings == 0) continue;
        ImageTexturePtr& image = *claim.image;
        others_.push_back(image);  // as long as a scene shows it
        leaving += withLevels(image->bytes());
        for (int k = 0; k < claim.halvings; ++k) image = std::make_shared<const ImageTexture>(smallerImage(*image));
        claim.entry->image = image;
        claim.entry->halvings += claim.halvings;
        claim.entry->logged = false;
        loaded_.push_back(image);
        replaced_ = true;
    }
    const std::size_t first = loaded_.size();
    loaded_.resize(first + noted_.size());
    tbb::parallel_for(
        std::size_t{0}, noted_.size(),
        [&](std::size_t i) { read(noted_[i]->first, noted_[i]->second, loaded_[first + i], claims[i].halvings); },
        tbb::simple_partitioner());
    std::vector<std::pair<FileEntry*, ImageTexturePtr*>> fresh;
    for (std::size_t i = 0; i < noted_.size(); ++i) fresh.emplace_back(&noted_[i]->second, &loaded_[first + i]);
    fit(fresh, leaving);
}

/// What was just read is smaller than expected or larger; halves the largest of it until all fit. `leaving`: bytes that
/// the scene before still holds.
void ImageStore::fit(const std::vector<std::pair<FileEntry*, ImageTexturePtr*>>& fresh, std::uint64_t leaving) {
    std::uint64_t others = bytes();
    others -= std::min(others, leaving);
    std::vector<Claim> claims;
    for (const auto& [entry, image] : fresh) {
        if (!*image) continue;
        claims.push_back({entry, image, withLevels((*image)->bytes())});
        others -= std::min<std::uint64_t>(others, (*image)->bytes());
    }
    makeRoom(claims, others);
    for (const Claim& claim : claims) {
        for (int k = 0; k < claim.halvings; ++k) {
            *claim.image = std::make_shared<const ImageTexture>(smallerImage(**claim.image));
        }
        if (claim.halvings == 0) continue;
        claim.entry->image = *claim.image;
        claim.entry->halvings += claim.halvings;
    }
}

ImageTexturePtr ImageStore::fromBuffer(const NodeRecord& node, const LogFunction& log) {
    const Value* value = node.attribute(A_BUFFER);
    if (!value) return nullptr;
    const auto* bytes = std::get_if<SharedArray<unsigned char>>(value);
    const auto* floats = std::get_if<SharedArray<float>>(value);
    const void* data = nullptr;
    std::size_t byteCount = 0;
    std::shared_ptr<const void> array;
    if (bytes && *bytes) {
        data = (*bytes)->data();
        byteCount = (*bytes)->size();
        array = *bytes;
    } else if (floats && *floats) {
        data = (*floats)->data();
        byteCount = (*floats)->size() * sizeof(float);
        array = *floats;
    }
    if (!data || byteCount == 0) return nullptr;
    const auto size = node.attributeValue<Vec2<int>>(A_SIZE, {});
    const int type = node.attributeValue<int>(A_IMAGE_TYPE, 0);
    BufferEntry& entry = buffers_[node.uid];
    if (entry.pixels == data && entry.size == size && entry.type == type && !entry.array.expired()) {
        if (auto image = entry.image.lock()) return image;
    }
    const bool wide = type == 2;
    const std::uint64_t needed = size.x < 1 || size.y < 1 || size.x > kMaxImageEdge || size.y > kMaxImageEdge
                                     ? 0
                                     : 4ull * static_cast<std::uint64_t>(size.x) * static_cast<std::uint64_t>(size.y) *
                                           (wide ? sizeof(float) : 1);
    if (needed == 0 || byteCount < needed) {
        if (log) log("Warning: the pixels of image " + quoted(node.name) + " do not fit its size; they are left out.");
        return nullptr;
    }
    const PixelFormat format = wide ? PixelFormat::Float : PixelFormat::Byte;
    std::shared_ptr<const void> owner = array;
    const void* pixels = data;
    if (wide && !allFinite(static_cast<const float*>(data), needed / sizeof(float))) {
        const auto* values = static_cast<const float*>(data);
        auto copy = std::make_shared<std::vector<float>>(values, values + needed / sizeof(float));
        makeFinite(copy->data(), copy->size());
        pixels = copy->data();
        owner = std::move(copy);
        if (log) log("Warning: image " + quoted(node.name) + ": it has values that are no finite numbers");
    }
    auto image = std::make_shared<const ImageTexture>(size.x, size.y, 4, format, pixels, needed, std::move(owner));
    entry = {data, size, type, array, image};
    return image;
}

ImagePyramidPtr ImageStore::pyramidOf(const ImageTexturePtr& image, float gamma) {
    PyramidEntry& entry = pyramids_[{image.get(), gamma}];
    if (auto known = entry.pyramid.lock(); known && entry.image.lock() == image) return known;
    try {
        ImagePyramidPtr made = makePyramid(*image, gamma);
        entry = {image, made};
        return made;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void ImageStore::sweep() {
    loaded_.clear();
    std::erase_if(files_, [](const auto& f) { return !f.second.failed && f.second.image.expired(); });
    std::erase_if(buffers_, [](const auto& b) { return b.second.image.expired(); });
    std::erase_if(others_, [](const auto& other) { return other.expired(); });
    std::erase_if(pyramids_, [](const auto& p) { return p.second.pyramid.expired(); });
}

template <typename F>
void ImageStore::forEachImage(F&& f) const {
    for (const auto& [path, file] : files_) {
        if (const auto image = file.image.lock()) f(*image);
    }
    for (const auto& [uid, buffer] : buffers_) {
        if (const auto image = buffer.image.lock()) f(*image);
    }
    for (const auto& other : others_) {
        if (const auto image = other.lock()) f(*image);
    }
}

ImageKinds ImageStore::kinds() const {
    ImageKinds kinds;
    forEachImage([&](const ImageTexture& image) {
        const bool bytes = plainFormat(image.format()) == PixelFormat::Byte;
        if (image.channels() < 3) {
            ++(bytes ? kinds.grey8 : kinds.grey16);
        } else {
            ++(bytes ? kinds.color8 : kinds.color16);
        }
    });
    return kinds;
}

std::uint64_t ImageStore::bytes() const {
    std::uint64_t sum = 0;
    forEachImage([&](const ImageTexture& image) { sum += image.bytes(); });
    for (const auto& [key, entry] : pyramids_) {
        if (const auto pyramid = entry.pyramid.lock()) sum += pyramid->bytes();
    }
    return sum;
}

std::size_t ImageStore::count() const {
    std::size_t n = 0;
    forEachImage([&](const ImageTexture&) { ++n; });
    return n;
}

}  // namespace Lumora::engine
