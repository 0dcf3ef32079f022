// Small scenes made by hand, as the graph would hand them over.
#pragma once

#include <string>
#include <vector>

#include "engine/render/renderer.h"
#include "engine/render/scene.h"
#include "engine/render/vec.h"
#include "engine/schema/schema.h"

namespace Lumora::engine::test {

template <typename T>
SharedArray<T> shared(std::vector<T> values) {
    values.reserve(values.size() + 1);
    return std::make_shared<const std::vector<T>>(std::move(values));
}

/// A node under construction: defaults of its schema, then what a test sets.
class Node {
public:
    explicit Node(NodeType type);
    /// A further state of a node that the renderer already knows: the same uid.
    explicit Node(const NodeRecordPtr& of) : record_(std::make_shared<NodeRecord>(*of)) {}

    Node& name(std::string name);
    Node& set(PinId pin, Value value);
    Node& connect(PinId pin, const NodeRecordPtr& to);
    Node& set(AttributeId attribute, Value value);
    Node& animate(AttributeId attribute, std::vector<float> times, Value values);
    Node& dynamic(const NodeRecordPtr& to);
    operator NodeRecordPtr() const { return record_; }

private:
    std::shared_ptr<NodeRecord> record_;
};

struct MeshData {
    std::vector<Float3> vertices, normals, uvs;
    std::vector<int> perPolygon, indices, normalIndices, uvIndices, materials, objects;

    /// Adds a quad with the four texture corners (0,0), (1,0), (1,1), (0,1).
    MeshData& quad(Float3 a, Float3 b, Float3 c, Float3 d, int material = 0, int object = 0);
    MeshData& triangle(Float3 a, Float3 b, Float3 c, int material = 0, int object = 0);
    MeshData& box(Float3 low, Float3 high, int material = 0);
    /// Unit sphere of quads and triangles with smooth normals.
    static MeshData sphere(int slices, int stacks);
    Node node(const std::vector<NodeRecordPtr>& materials = {}) const;
};

NodeRecordPtr rgb(Float3 color);
NodeRecordPtr constant(float value);
/// An 8-bit or float RGBA image held by the node itself.
Node image(int width, int height, const std::vector<unsigned char>& rgba);
Node image(int width, int height, const std::vector<float>& rgba);

/// A render target with camera, kernel, film and imager, and all nodes below it.
class Scene {
public:
    Scene(unsigned width, unsigned height, int samples);

    NodeRecordPtr keep(NodeRecordPtr node);
    NodeRecordPtr diffuse(Float3 color);
    NodeRecordPtr emitter(Float3 radiance, bool doubleSided = false);
    NodeRecordPtr scatter(const NodeRecordPtr& geometry, const std::vector<Matrix<float>>& matrices);
    NodeRecordPtr group(const std::vector<NodeRecordPtr>& children);
    void environment(Float3 radiance);

    Node camera, kernel, film, imager, target;
    /// Everything kept so far, with `geometry` on the target.
    SceneDelta delta(const NodeRecordPtr& geometry, std::uint64_t level = 1);

private:
    std::vector<NodeRecordPtr> nodes_;
    NodeRecordPtr environment_;
};

Matrix<float> translation(Float3 by);
Matrix<float> scaling(Float3 by);

/// The scene with lamps chosen by power alone: from inside a huge sphere near and far look alike.
RenderScene byPowerAlone(const RenderScene& scene);

/// A renderer that waits: submits, and gives the picture when all samples are there.
class Render {
public:
    explicit Render(unsigned threads = 2);
    Image picture(SceneDelta delta, TonemapType type = TONEMAP_HDR_LINEAR);
    /// The next picture of the change level, finished.
    Image wait(std::uint64_t level, TonemapType type = TONEMAP_HDR_LINEAR);
    bool waitForFailure();
    std::string logged() const;
    Renderer& renderer() { return *renderer_; }

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
    std::unique_ptr<Renderer> renderer_;
};

Float3 pixel(const Image& image, unsigned x, unsigned y);
/// Mean of a rectangle.
Float3 mean(const Image& image, unsigned x, unsigned y, unsigned width, unsigned height);

}  // namespace Lumora::engine::test
