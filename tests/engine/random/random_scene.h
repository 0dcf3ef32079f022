// A project that edits itself at random: nodes of every type, wired as far as their pins allow, values in and, when
// asked for, far outside their ranges. The same seed makes the same edits.
#pragma once

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "engine/api/lumora_api.h"
#include "engine/graph/item.h"

namespace Lumora::engine::test {

/// Seeds of a random test: `first` to before `end`, or what LUMORA_RANDOM_SEEDS names, "17" or "100:400".
std::vector<unsigned> randomSeeds(unsigned first, unsigned end);

class RandomScene {
public:
    enum class Manner {
        Decent,   ///< what a careful client does; nothing that takes long to render
        Hostile,  ///< anything goes
    };
    RandomScene(ApiRootNodeGraph& root, unsigned seed, Manner manner);
    ~RandomScene();
    RandomScene(const RandomScene&) = delete;
    RandomScene& operator=(const RandomScene&) = delete;

    /// One edit, noted in edits().
    void edit();
    /// For a picture that shows next to nothing: light, a camera, and surfaces before it.
    void enliven();
    /// What was done since the last call, a line for each edit.
    std::string edits();

    /// The render target that the edits are about, or null.
    ApiNode* target() const { return target_; }
    int clayMode() const { return clay_; }
    float time() const { return time_; }

    std::mt19937& random() { return random_; }
    unsigned pick(std::size_t count) { return static_cast<unsigned>(random_() % count); }
    bool chance(unsigned percent) { return pick(100) < percent; }
    float unit() { return static_cast<float>(random_() >> 8) * 0x1p-24f; }
    float between(float low, float high) { return low + (high - low) * unit(); }

private:
    using Types = std::vector<NodeType>;

    void build();
    void say(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Nodes.
    ApiNode* make(NodeType type);
    ApiNode* makeObject();
    ApiNode* makeFor(const PinSchema& pin, int depth);
    void tame(ApiNode* node);
    void fill(ApiNode* node, int depth);
    ApiNode* anyNode();
    ApiNode* known(const PinSchema& pin);
    void destroy(ApiNode* node);
    void forgetDestroyed();

    // Edits.
    void feed(ApiNode* node, unsigned index, int depth);
    bool mayShare(ApiNode* node, unsigned index, ApiNode* input) const;
    void moveSomething();
    void enrich();
    void writePin(ApiNode* node, unsigned index);
    void writeAttribute(ApiNode* node);
    void writeMesh(ApiNode* node);
    void writeScatter(ApiNode* node);
    void writeImage(ApiNode* node);
    void spoilAttribute(ApiNode* node, unsigned index);
    void writeFile(std::size_t index);
    void aimCamera();
    void chooseTarget();

    // Values.
    Vec3<float> value(const PinSchema& pin);
    float number(float low, float high, float usual);
    float spoiltNumber();
    int spoiltInteger();
    Vec3<float> point(float extent) {
        return {between(-extent, extent), between(-extent, extent), between(-extent, extent)};
    }
    Matrix<float> placement();
    std::string fileName();

    ApiRootNodeGraph& root_;
    const bool hostile_;
    std::mt19937 random_;
    std::vector<ApiNode*> pool_;  ///< nodes that the root graph owns
    ApiNode* target_ = nullptr;
    std::vector<Types> typesByOutput_;
    std::filesystem::path folder_;
    std::vector<std::string> files_;
    int clay_ = 0;
    float time_ = 0;
    std::string edits_;
};

}  // namespace Lumora::engine::test
