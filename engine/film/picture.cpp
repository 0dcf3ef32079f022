#include "engine/film/picture.h"

#include <tbb/parallel_for.h>

namespace Lumora::engine {

void resolvePicture(const FilmBuffer& film, Picture& picture, TileMask& mask) {
    picture.width = film.width();
    picture.height = film.height();
    picture.region = film.region();
    picture.pixels.assign(static_cast<std::size_t>(picture.width) * picture.height, {});
    mask.assign(film.tileCount(), 0);
    tbb::parallel_for(0u, film.tileCount(), [&](std::uint32_t t) {
        const TileRect r = film.tile(t);
        FilmPixel* to = picture.row(r.y) + r.x;
        mask[t] = film.resolveInto(t, to, picture.width);
    });
}

}  // namespace Lumora::engine
