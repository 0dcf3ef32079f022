// Metropolis sampling of one tile: chains of light paths that stay where light is.
//
// A path is the vector of random numbers that it was made from (primary sample space; Kelemen et al., "A Simple and
// Robust Mutation Strategy for the Metropolis Light Transport Algorithm", 2002). A small mutation moves all numbers a
// little, a large one draws them anew. Large mutations are an ordinary sampling of the tile: they give the brightness
// that the chains are scaled by, and their samples count too, joined with the chain's by multiple importance sampling.
//
// Chains never leave their tile. Their random numbers come from the tile, the chain and the seed, so the picture is the
// same on any number of threads, and a tile needs no other one's state.
#pragma once

#include <memory>
#include <vector>

#include "engine/film/film.h"
#include "engine/render/pixel_tracer.h"

namespace Lumora::engine {

/// The numbers of one chain. Handed to samplers, which ask for them in fours.
class PrimarySamples final : public NumberSource {
public:
    explicit PrimarySamples(std::uint64_t seed) : state_(seed) {}

    /// Begins a proposal. Numbers are mutated when they are asked for; those that a path leaves out catch up later.
    void propose(bool large);
    void accept();
    void reject();
    /// The next four; the first four of a proposal place it on the tile.
    std::array<float, 4> next4() override;
    float random();  ///< a number outside the vector

private:
    struct Number {
        float value = 0.0f, backup = 0.0f;
        std::uint64_t changed = 0, changedBackup = 0;
    };
    float mutate(std::size_t index);
    /// The number after that many small steps.
    float moved(float value, bool place, std::uint64_t times);

    std::vector<Number> numbers_;
    std::uint64_t state_;
    std::uint64_t step_ = 0, lastLarge_ = 0;
    std::size_t next_ = 0;
    bool large_ = true;
};

/// All chains of one tile and what they have gathered. One thread at a time.
class MetropolisTile {
public:
    MetropolisTile(const Kernel& kernel, const TileRect& tile, std::uint32_t index);

    /// Adds `count` mutations a pixel. `sums` becomes what the film lacks so far: the tile's pictures change as a whole
    /// when its brightness is known better, so sums may be negative.
    void sample(const PixelTracer& tracer, std::uint32_t count, TileSums& sums);

private:
    /// One path and where it falls.
    struct State {
        Float3 color;
        float importance = 0.0f;  ///< what the chain follows
        std::uint32_t pixel = 0;
        float alpha = 0.0f;
    };
    struct Chain {
        explicit Chain(std::uint64_t seed) : numbers(seed) {}
        PrimarySamples numbers;
        State state;
        int rejects = 0;
    };
    struct Gathered {
        Float3 large, chain;                           ///< sums of the two techniques
        float largeWeight = 0.0f, chainWeight = 0.0f;  ///< and of their weights
        float alpha = 0.0f;
        std::uint32_t seen = 0;  ///< large mutations that fell here
    };

    State trace(const PixelTracer& tracer, Chain& chain) const;
    void begin(const PixelTracer& tracer);
    void mutate(const PixelTracer& tracer, Chain& chain);
    void note(const State& state);
    std::vector<Float3> colors() const;
    float importanceOf(const PixelSample& sample) const;

    Kernel kernel_;
    TileRect tile_;
    float largeChance_;
    std::vector<Chain> chains_;
    std::vector<Gathered> pixels_;
    std::vector<FilmSum> given_;  ///< to the film so far
    std::uint64_t mutations_ = 0, wanted_ = 0, larges_ = 0;
    double brightness_ = 0.0;  ///< sum of the importance of all large mutations
    float reference_ = 0.0f;   ///< mean importance when the chains began; 0: they have not
};

}  // namespace Lumora::engine
