#include "engine/film/film.h"

#include <algorithm>

namespace Lumora::engine {

void FilmBuffer::reset(const Film& film, bool guides) {
    width_ = film.width;
    height_ = film.height;
    region_.x = std::min(film.regionX, width_);
    region_.y = std::min(film.regionY, height_);
    region_.width = std::min(film.regionWidth, width_ - region_.x);
    region_.height = std::min(film.regionHeight, height_ - region_.y);
    pixels_.assign(static_cast<std::size_t>(width_) * height_, FilmSum{});
    if (guides) {
        guides_.assign(regionPixels(), GuideSum{});
    } else {
        guides_ = {};
    }
    block_ = regionPixels() > 1000000 ? 8 : 4;
    tilesX_ = (region_.width + kTile - 1) / kTile;
    const std::uint32_t tilesY = (region_.height + kTile - 1) / kTile;
    const std::size_t count = static_cast<std::size_t>(tilesX_) * tilesY;
    tiles_.resize(count);
    for (auto& tile : tiles_) {
        if (!tile) tile = std::make_unique<Tile>();
        tile->state = {};
    }
}

TileRect FilmBuffer::tile(std::uint32_t index) const {
    const std::uint32_t tx = (index % tilesX_) * kTile, ty = (index / tilesX_) * kTile;
    return {region_.x + tx, region_.y + ty, std::min(kTile, region_.width - tx), std::min(kTile, region_.height - ty)};
}

std::uint64_t FilmBuffer::regionPixels() const {
    return static_cast<std::uint64_t>(region_.width) * region_.height;
}

FilmBuffer::TileState FilmBuffer::state(std::uint32_t index) const {
    const std::lock_guard guard(tiles_[index]->lock);
    return tiles_[index]->state;
}

void FilmBuffer::add(std::uint32_t index, const TileSums& sums, std::uint32_t count) {
    const TileRect r = tile(index);
    const std::lock_guard guard(tiles_[index]->lock);
    TileState& state = tiles_[index]->state;
    const bool first = state.samples == 0;
    for (std::uint32_t y = 0; y < r.height; ++y) {
        FilmSum* row = &pixels_[static_cast<std::size_t>(r.y + y) * width_ + r.x];
        const FilmSum* from = &sums.pixels[static_cast<std::size_t>(y) * r.width];
        for (std::uint32_t x = 0; x < r.width; ++x) {
            if (first) {
                row[x] = from[x];  // the coarse sample is among these
            } else {
                row[x] += from[x];
            }
        }
        if (guides_.empty() || sums.guides.empty()) continue;
        GuideSum* guides = &guides_[static_cast<std::size_t>(r.y - region_.y + y) * region_.width + r.x - region_.x];
        const GuideSum* more = &sums.guides[static_cast<std::size_t>(y) * r.width];
        for (std::uint32_t x = 0; x < r.width; ++x) guides[x] += more[x];
    }
    state.samples += count;
}

void FilmBuffer::addCoarse(std::uint32_t index, const TileSums& sums, std::uint32_t block) {
    const TileRect r = tile(index);
    const std::lock_guard guard(tiles_[index]->lock);
    TileState& state = tiles_[index]->state;
    if (state.samples > 0) return;
    for (std::uint32_t y = 0; y < r.height; y += block) {
        for (std::uint32_t x = 0; x < r.width; x += block) {
            pixels_[static_cast<std::size_t>(r.y + y) * width_ + r.x + x] =
                sums.pixels[static_cast<std::size_t>(y) * r.width + x];
        }
    }
    state.block = block;
}

bool FilmBuffer::resolveInto(std::uint32_t index, FilmPixel* out, std::size_t pitch) const {
    const TileRect r = tile(index);
    const std::lock_guard guard(tiles_[index]->lock);
    const TileState state = tiles_[index]->state;
    if (state.samples == 0 && state.block == 0) return false;
    const std::uint32_t step = state.samples ? 1 : state.block;
    for (std::uint32_t y = 0; y < r.height; ++y) {
        FilmPixel* to = out + y * pitch;
        if (y % step != 0) {
            std::copy_n(to - pitch, r.width, to);
            continue;
        }
        const FilmSum* row = &pixels_[static_cast<std::size_t>(r.y + y) * width_ + r.x];
        for (std::uint32_t x = 0; x < r.width; ++x) to[x] = x % step == 0 ? row[x].mean() : to[x - 1];
    }
    return true;
}

bool FilmBuffer::copySums(std::uint32_t index, TileSums& out) const {
    const TileRect r = tile(index);
    const std::size_t count = static_cast<std::size_t>(r.width) * r.height;
    out.pixels.resize(count);
    out.guides.resize(guides_.empty() ? 0 : count);
    const std::lock_guard guard(tiles_[index]->lock);
    if (tiles_[index]->state.samples == 0) return false;
    for (std::uint32_t y = 0; y < r.height; ++y) {
        const std::size_t to = static_cast<std::size_t>(y) * r.width;
        std::copy_n(&pixels_[static_cast<std::size_t>(r.y + y) * width_ + r.x], r.width, &out.pixels[to]);
        if (guides_.empty()) continue;
        std::copy_n(&guides_[static_cast<std::size_t>(r.y - region_.y + y) * region_.width + r.x - region_.x], r.width,
                    &out.guides[to]);
    }
    return true;
}

}  // namespace Lumora::engine
