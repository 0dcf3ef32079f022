// What a film keeps of the samples of one pixel.
#pragma once

#include <cstdint>

#include "engine/render/vec.h"

namespace Lumora::engine {

/// Mean of the samples of a pixel: linear radiance and coverage.
struct FilmPixel {
    Float3 color;
    float alpha = 0.0f;
};

/// What the first surface along a camera ray looks like; zero where the ray meets none. Guides the denoiser.
struct FilmFeatures {
    Float3 albedo;       ///< share of the light that the surface sends on, 0 to 1
    Float3 normal;       ///< unit length, world
    float depth = 0.0f;  ///< metres from the camera
};

/// Sum of the samples of a pixel. The samples of one pixel may be more than those of its neighbour.
struct FilmSum {
    Float3 color;
    float alpha = 0.0f;
    std::uint32_t samples = 0;

    FilmSum& operator+=(const FilmSum& o) {
        color += o.color;
        alpha += o.alpha;
        samples += o.samples;
        return *this;
    }
    FilmPixel mean() const {
        const float scale = samples ? 1.0f / static_cast<float>(samples) : 0.0f;
        return {color * scale, alpha * scale};
    }
};

/// Further sums, kept while something wants to know how noisy a pixel is. Every second run of four samples goes to the
/// odd half: a run of four is spread evenly over the pixel, so that both halves are fair pictures by themselves.
struct GuideSum {
    Float3 odd;  ///< colour of the odd half
    std::uint32_t oddSamples = 0;
    float squares = 0.0f;                                                   ///< of the luminance of each sample
    FilmFeatures features;                                                  ///< sums
    float albedoSquares = 0.0f, normalSquares = 0.0f, depthSquares = 0.0f;  ///< squared lengths

    static constexpr bool isOdd(std::uint32_t sample) { return (sample >> 2 & 1u) != 0; }

    void add(std::uint32_t sample, Float3 color, const FilmFeatures& f) {
        if (isOdd(sample)) {
            odd += color;
            ++oddSamples;
        }
        const float l = luminance(color);
        squares += l * l;
        features.albedo += f.albedo;
        features.normal += f.normal;
        features.depth += f.depth;
        albedoSquares += dot(f.albedo, f.albedo);
        normalSquares += dot(f.normal, f.normal);
        depthSquares += f.depth * f.depth;
    }
    GuideSum& operator+=(const GuideSum& o) {
        odd += o.odd;
        oddSamples += o.oddSamples;
        squares += o.squares;
        features.albedo += o.features.albedo;
        features.normal += o.features.normal;
        features.depth += o.features.depth;
        albedoSquares += o.albedoSquares;
        normalSquares += o.normalSquares;
        depthSquares += o.depthSquares;
        return *this;
    }
};

}  // namespace Lumora::engine
