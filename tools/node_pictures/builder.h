// Recipes and shapes become nodes of the engine's project.
#pragma once

#include <filesystem>

#include "engine/api/lumora_api.h"
#include "tools/node_pictures/shapes.h"

namespace pictures {

using Lumora::ApiNode;

/// Builds one scene into the engine's empty project. Throws std::runtime_error when the engine refuses a node or value,
/// which is a mistake in the table of strips. One thread.
class Builder {
public:
    /// Photometric files are written to `scratch`.
    explicit Builder(std::filesystem::path scratch) : scratch_(std::move(scratch)) {}

    ApiNode* node(Lumora::NodeType type);
    ApiNode* node(const Recipe& recipe);

    /// Adds a mesh to the scene, in radii of the ball. One material for each number that its polygons have.
    void mesh(const Shape& shape, const std::vector<ApiNode*>& materials);
    /// Adds copies of a mesh, whose own coordinates stay as they are. `ids` are the numbers of the instances.
    void instances(const Shape& shape, ApiNode* material, const std::vector<Lumora::Matrix<float>>& places,
                   const std::vector<int>& ids = {});
    /// Adds a geometry node.
    void geometry(ApiNode* node) { parts_.push_back(node); }
    /// Adds a lamp: a square that shines with that radiance.
    void lamp(Float3 at, Float3 towards, float width, float height, Float3 radiance);

    /// Where the camera stands, in radii of the ball; the field in degrees across the width.
    void camera(Float3 position, Float3 target, float field);
    void environment(ApiNode* node) { environment_ = node; }
    void environment(Float3 radiance);
    void visibleEnvironment(ApiNode* node) { visible_ = node; }
    /// Factor on the picture.
    void exposure(float factor) { exposure_ = factor; }

    /// The render target of what was added.
    ApiNode* finish(Int2 size, int samples, bool denoise);

    /// A matrix that scales by `scale`, turns about y and moves; radii of the ball.
    static Lumora::Matrix<float> place(Float3 at, float scale, float turnDegrees = 0);

private:
    void apply(ApiNode* node, const Setting& setting);
    void fill(ApiNode* node, Chart chart);
    ApiNode* meshNode(const Shape& shape, const std::vector<ApiNode*>& materials, float scale);

    std::filesystem::path scratch_;
    std::vector<ApiNode*> parts_;
    ApiNode* camera_ = nullptr;
    ApiNode* environment_ = nullptr;
    ApiNode* visible_ = nullptr;
    float exposure_ = 1;
};

}  // namespace pictures
