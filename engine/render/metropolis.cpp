#include "engine/render/metropolis.h"

namespace Lumora::engine {

namespace {

/// Paths that are drawn before the chains begin, for each pixel.
constexpr std::uint32_t kFirstPaths = 1;
/// The shares of large mutations that make sense: without some the brightness stays unknown.
constexpr float kFewestLarge = 0.05f, kMostLarge = 1.0f;
/// Half the edge in pixels of the squares whose mean colour stands in for visits that a pixel had too few of.
constexpr std::uint32_t kReach = 2;
constexpr std::size_t kPlaceNumbers = 2;  ///< of the first four: where on the tile
/// From so many steps at once they are taken together.
constexpr std::uint64_t kManySteps = 32;
// Steps of small mutations, between these (Kelemen et al.); the place on the tile moves by one to eight pixels.
constexpr float kSmallest = 1.0f / 1024.0f, kLargest = 1.0f / 64.0f;
constexpr float kSmallestPlace = 1.0f / 32.0f, kLargestPlace = 1.0f / 4.0f;

/// SplitMix64 (Steele et al. 2014).
std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9e3779b97f4a7c15ull;
    std::uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
    return z ^ (z >> 31);
}

}  // namespace

// --- Primary samples ------------------------------------------------------------------------------------------------

float PrimarySamples::random() {
    return static_cast<float>(nextRandom(state_) >> 40) * 0x1p-24f;
}

void PrimarySamples::propose(bool large) {
    ++step_;
    large_ = large;
    next_ = 0;
}

void PrimarySamples::accept() {
    if (large_) lastLarge_ = step_;
}

void PrimarySamples::reject() {
    for (Number& n : numbers_) {
        if (n.changed == step_) {
            n.value = n.backup;
            n.changed = n.changedBackup;
        }
    }
    --step_;
}

float PrimarySamples::mutate(std::size_t index) {
    Number& n = numbers_[index];
    // A number that was not asked for since the last accepted large mutation was drawn anew by it, and moved by every
    // accepted small one since: mutations move all numbers, or they could not be undone with the same chance.
    if (n.changed < lastLarge_) {
        n.value = random();
        n.changed = lastLarge_;
    }
    const bool place = index < kPlaceNumbers;
    if (n.changed + 1 < step_) {
        n.value = moved(n.value, place, step_ - 1 - n.changed);
        n.changed = step_ - 1;
    }
    n.backup = n.value;
    n.changedBackup = n.changed;
    n.changed = step_;
    n.value = large_ ? random() : moved(n.value, place, 1);
    return n.value;
}

float PrimarySamples::moved(float value, bool place, std::uint64_t times) {
    const float low = place ? kSmallestPlace : kSmallest, high = place ? kLargestPlace : kLargest;
    const float span = std::log(high / low);
    if (times > kManySteps) {
        // Many steps are a normal distribution of their variance.
        const float variance = high * high * (1.0f - low * low / (high * high)) / (2.0f * span);
        const float r = std::sqrt(-2.0f * std::log(1.0f - random())), phi = 2.0f * kPi * random();
        value += r * std::cos(phi) * std::sqrt(variance * static_cast<float>(times));
    } else {
        for (std::uint64_t i = 0; i < times; ++i) {
            const float u = random();
            const float sign = u < 0.5f ? -1.0f : 1.0f, v = u < 0.5f ? 2.0f * u : 2.0f * u - 1.0f;
            value += sign * high * std::exp(-span * v);
        }
    }
    return std::min(value - std::floor(value), 0x1.fffffep-1f);
}

std::array<float, 4> PrimarySamples::next4() {
    const std::size_t first = next_;
    next_ += 4;
    if (numbers_.size() < next_) numbers_.resize(next_);
    return {mutate(first), mutate(first + 1), mutate(first + 2), mutate(first + 3)};
}

// --- Tile -----------------------------------------------------------------------------------------------------------

MetropolisTile::MetropolisTile(const Kernel& kernel, const TileRect& tile, std::uint32_t index)
    : kernel_(kernel),
      tile_(tile),
      largeChance_(std::clamp(1.0f - kernel.metropolis.exploration, kFewestLarge, kMostLarge)) {
    const std::size_t pixels = static_cast<std::size_t>(tile.width) * tile.height;
    pixels_.resize(pixels);
    given_.resize(pixels);
    for (int i = 0; i < std::max(kernel.metropolis.chains, 1); ++i) {
        std::uint64_t seed = kernel.seed;
        seed = (seed << 32) ^ (static_cast<std::uint64_t>(index) << 4) ^ static_cast<std::uint64_t>(i);
        chains_.emplace_back(nextRandom(seed));
    }
}

float MetropolisTile::importanceOf(const PixelSample& s) const {
    const Float3 indirect = s.color - s.direct;
    const float i = luminance({std::abs(indirect.x), std::abs(indirect.y), std::abs(indirect.z)}) +
                    kernel_.metropolis.directImportance * luminance(s.direct);
    return std::isfinite(i) ? std::max(i, 0.0f) : 0.0f;
}

MetropolisTile::State MetropolisTile::trace(const PixelTracer& tracer, Chain& chain) const {
    const auto place = chain.numbers.next4();
    const auto x = static_cast<std::uint32_t>(place[0] * static_cast<float>(tile_.width));
    const auto y = static_cast<std::uint32_t>(place[1] * static_cast<float>(tile_.height));
    Sampler sampler(chain.numbers);
    const PixelSample s = tracer.sample(tile_.x + x, tile_.y + y, sampler);
    return {s.color, importanceOf(s), y * tile_.width + x, s.alpha};
}

/// Counts a path that was drawn anew, whatever the chains do with it.
void MetropolisTile::note(const State& state) {
    brightness_ += state.importance;
    ++larges_;
    pixels_[state.pixel].alpha += state.alpha;
    ++pixels_[state.pixel].seen;
}

/// Draws paths as an ordinary kernel would, and starts each chain at one of them, chosen by its importance.
void MetropolisTile::begin(const PixelTracer& tracer) {
    const std::uint32_t each =
        std::max<std::uint32_t>(1, kFirstPaths * static_cast<std::uint32_t>(pixels_.size() / chains_.size()));
    for (Chain& chain : chains_) {
        float sum = 0.0f;
        for (std::uint32_t i = 0; i < each; ++i) {
            chain.numbers.propose(true);
            const State state = trace(tracer, chain);
            note(state);
            pixels_[state.pixel].large += state.color;
            pixels_[state.pixel].largeWeight += 1.0f;
            ++mutations_;
            sum += state.importance;
            // One of them stays, each with a chance in proportion to its importance.
            const bool keep = state.importance > 0.0f && chain.numbers.random() * sum < state.importance;
            if (keep) {
                chain.numbers.accept();
                chain.state = state;
            } else {
                chain.numbers.reject();
            }
        }
    }
    const bool all = std::all_of(chains_.begin(), chains_.end(), [](const Chain& c) { return c.state.importance > 0; });
    if (all) reference_ = static_cast<float>(brightness_ / static_cast<double>(larges_));
}

void MetropolisTile::mutate(const PixelTracer& tracer, Chain& chain) {
    const bool large = chain.numbers.random() < largeChance_;
    chain.numbers.propose(large);
    const State proposed = trace(tracer, chain);
    if (large) note(proposed);
    const float accept = std::min(1.0f, proposed.importance / chain.state.importance);
    // Both the path left and the path proposed count, by their chances of being the next; each of them by its chance of
    // being found by either technique.
    const auto weight = [this](const State& s) { return 1.0f / (s.importance / reference_ + largeChance_); };
    const float w = weight(proposed);
    if (large) {
        pixels_[proposed.pixel].large += proposed.color * w;
        pixels_[proposed.pixel].largeWeight += w;
    }
    const auto count = [this](const State& s, float by) {
        pixels_[s.pixel].chain += s.color * by;
        pixels_[s.pixel].chainWeight += by;
    };
    count(proposed, accept * w);
    count(chain.state, (1.0f - accept) * weight(chain.state));
    ++mutations_;
    const bool stuck = chain.rejects >= kernel_.metropolis.maxRejects && proposed.importance > 0.0f;
    if (chain.numbers.random() < accept || stuck) {
        chain.numbers.accept();
        chain.state = proposed;
        chain.rejects = 0;
    } else {
        chain.numbers.reject();
        ++chain.rejects;
    }
}

void MetropolisTile::sample(const PixelTracer& tracer, std::uint32_t count, TileSums& sums) {
    wanted_ += static_cast<std::uint64_t>(count) * pixels_.size();
    // Where nothing was found yet, there is nothing to follow: go on as an ordinary kernel.
    while (mutations_ < wanted_ && !(reference_ > 0.0f)) begin(tracer);
    for (std::size_t i = 0; mutations_ < wanted_; i = (i + 1) % chains_.size()) mutate(tracer, chains_[i]);

    const std::vector<Float3> now = colors();
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
        const Gathered& g = pixels_[i];
        FilmSum sum;
        sum.samples = given_[i].samples + count;
        const auto samples = static_cast<float>(sum.samples);
        sum.color = now[i] * samples;
        sum.alpha = (g.seen ? g.alpha / static_cast<float>(g.seen) : 1.0f) * samples;
        sums.pixels[i] = {sum.color - given_[i].color, sum.alpha - given_[i].alpha, count};
        given_[i] = sum;
    }
}

/// The mean colour of each pixel by all mutations so far.
std::vector<Float3> MetropolisTile::colors() const {
    const auto scale =
        reference_ > 0.0f ? static_cast<float>(brightness_ / static_cast<double>(larges_) / reference_) : 0.0f;
    // A pixel's share of the mutations in the mean.
    const auto share = static_cast<float>(static_cast<double>(pixels_.size()) / static_cast<double>(mutations_));
    std::vector<Float3> colors(pixels_.size());
    std::vector<float> weights(pixels_.size());
    for (std::size_t i = 0; i < pixels_.size(); ++i) {
        const Gathered& g = pixels_[i];
        colors[i] = (g.large + g.chain * scale) * share;
        weights[i] = (g.largeWeight + g.chainWeight * scale) * share;
    }
    // Weights are one in the mean alone. Visits that a pixel had too many or too few of are counted as of its
    // surroundings' colour, which takes out the noise of how often the chains came by (a control variate).
    std::vector<Float3> even(colors.size());
    for (std::uint32_t y = 0; y < tile_.height; ++y) {
        for (std::uint32_t x = 0; x < tile_.width; ++x) {
            Float3 color;
            float weight = 0.0f;
            for (std::uint32_t v = y < kReach ? 0 : y - kReach; v <= std::min(y + kReach, tile_.height - 1); ++v) {
                for (std::uint32_t u = x < kReach ? 0 : x - kReach; u <= std::min(x + kReach, tile_.width - 1); ++u) {
                    color += colors[v * tile_.width + u];
                    weight += weights[v * tile_.width + u];
                }
            }
            const std::size_t i = static_cast<std::size_t>(y) * tile_.width + x;
            if (!(weight > 0.0f) || !(weights[i] > 0.0f)) continue;
            // At the edge of something bright no more than the pixel's own colour is taken off it.
            const Float3 around = color * (1.0f / weight), own = colors[i] * (1.0f / weights[i]);
            const Float3 least = {std::min(around.x, own.x), std::min(around.y, own.y), std::min(around.z, own.z)};
            even[i] = colors[i] + least * (1.0f - weights[i]);
        }
    }
    return even;
}

}  // namespace Lumora::engine
