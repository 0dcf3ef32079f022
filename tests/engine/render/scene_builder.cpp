#include "tests/engine/render/scene_builder.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace Lumora::engine::test {

namespace {

ItemUid nextUid() {
    static std::atomic<ItemUid> uid{1};
    return uid++;
}

Value defaultValue(const PinSchema& pin) {
    if (pin.dimension == 0) return {};
    const Float3 v = pin.defaultValue;
    switch (pin.type) {
        case PT_BOOL:
            return v.x != 0.0f;
        case PT_INT:
        case PT_ENUM:
            if (pin.dimension == 2) return Vec2<int>{static_cast<int>(v.x), static_cast<int>(v.y)};
            return static_cast<int>(v.x);
        default:
            break;
    }
    if (pin.dimension == 1) return v.x;
    if (pin.dimension == 2) return Vec2<float>{v.x, v.y};
    return v;
}

}  // namespace

Node::Node(NodeType type) : record_(std::make_shared<NodeRecord>()) {
    record_->uid = nextUid();
    record_->type = type;
    const NodeSchema* schema = nodeSchema(type);
    EXPECT_NE(schema, nullptr) << type;
    if (!schema) return;
    for (const PinSchema& pin : schema->pins) record_->pins.push_back({pin.id, 0, defaultValue(pin)});
    record_->staticPinCount = static_cast<std::uint32_t>(record_->pins.size());
    for (const AttributeSchema& a : schema->attributes) {
        AttributeRecord attribute;
        attribute.id = a.id;
        record_->attributes.push_back(attribute);
    }
}

Node& Node::name(std::string name) {
    record_->name = std::move(name);
    return *this;
}

Node& Node::set(PinId id, Value value) {
    auto* pin = const_cast<PinRecord*>(record_->pin(id));
    EXPECT_NE(pin, nullptr) << "pin " << id << " of node type " << record_->type;
    if (pin) pin->value = std::move(value);
    return *this;
}

Node& Node::connect(PinId id, const NodeRecordPtr& to) {
    auto* pin = const_cast<PinRecord*>(record_->pin(id));
    EXPECT_NE(pin, nullptr) << "pin " << id << " of node type " << record_->type;
    if (pin) pin->input = to ? to->uid : 0;
    return *this;
}

Node& Node::set(AttributeId id, Value value) {
    auto* attribute = const_cast<Value*>(record_->attribute(id));
    EXPECT_NE(attribute, nullptr) << "attribute " << id << " of node type " << record_->type;
    if (attribute) *attribute = std::move(value);
    return *this;
}

Node& Node::animate(AttributeId id, std::vector<float> times, Value values) {
    auto sampling = std::make_shared<TimeSampling>();
    sampling->endTime = times.back();
    sampling->times = std::move(times);
    for (AttributeRecord& attribute : record_->attributes) {
        if (attribute.id == id) attribute.sampling = std::move(sampling);
    }
    return set(id, std::move(values));
}

Node& Node::dynamic(const NodeRecordPtr& to) {
    PinRecord pin;
    pin.id = P_DYNAMIC;
    pin.input = to ? to->uid : 0;
    record_->pins.push_back(pin);
    return *this;
}

MeshData& MeshData::quad(Float3 a, Float3 b, Float3 c, Float3 d, int material, int object) {
    const int v = static_cast<int>(vertices.size()), t = static_cast<int>(uvs.size());
    vertices.insert(vertices.end(), {a, b, c, d});
    uvs.insert(uvs.end(), {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}});
    indices.insert(indices.end(), {v, v + 1, v + 2, v + 3});
    uvIndices.insert(uvIndices.end(), {t, t + 1, t + 2, t + 3});
    perPolygon.push_back(4);
    materials.push_back(material);
    objects.push_back(object);
    return *this;
}

MeshData& MeshData::triangle(Float3 a, Float3 b, Float3 c, int material, int object) {
    const int v = static_cast<int>(vertices.size()), t = static_cast<int>(uvs.size());
    vertices.insert(vertices.end(), {a, b, c});
    uvs.insert(uvs.end(), {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}});
    indices.insert(indices.end(), {v, v + 1, v + 2});
    uvIndices.insert(uvIndices.end(), {t, t + 1, t + 2});
    perPolygon.push_back(3);
    materials.push_back(material);
    objects.push_back(object);
    return *this;
}

MeshData& MeshData::box(Float3 l, Float3 h, int material) {
    quad({l.x, l.y, h.z}, {h.x, l.y, h.z}, {h.x, h.y, h.z}, {l.x, h.y, h.z}, material);
    quad({h.x, l.y, l.z}, {l.x, l.y, l.z}, {l.x, h.y, l.z}, {h.x, h.y, l.z}, material);
    quad({h.x, l.y, h.z}, {h.x, l.y, l.z}, {h.x, h.y, l.z}, {h.x, h.y, h.z}, material);
    quad({l.x, l.y, l.z}, {l.x, l.y, h.z}, {l.x, h.y, h.z}, {l.x, h.y, l.z}, material);
    quad({l.x, h.y, h.z}, {h.x, h.y, h.z}, {h.x, h.y, l.z}, {l.x, h.y, l.z}, material);
    quad({l.x, l.y, l.z}, {h.x, l.y, l.z}, {h.x, l.y, h.z}, {l.x, l.y, h.z}, material);
    return *this;
}

MeshData MeshData::sphere(int slices, int stacks) {
    MeshData m;
    for (int j = 0; j <= stacks; ++j) {
        for (int i = 0; i < slices; ++i) {
            const float theta = kPi * static_cast<float>(j) / static_cast<float>(stacks);
            const float phi = 2.0f * kPi * static_cast<float>(i) / static_cast<float>(slices);
            m.vertices.push_back({std::sin(theta) * std::cos(phi), std::cos(theta), -std::sin(theta) * std::sin(phi)});
        }
    }
    const auto at = [slices](int j, int i) { return j * slices + i % slices; };
    for (int j = 0; j < stacks; ++j) {
        for (int i = 0; i < slices; ++i) {
            if (j == 0) {
                m.indices.insert(m.indices.end(), {at(0, i), at(1, i), at(1, i + 1)});
            } else if (j == stacks - 1) {
                m.indices.insert(m.indices.end(), {at(j, i), at(j + 1, i), at(j, i + 1)});
            } else {
                m.indices.insert(m.indices.end(), {at(j, i), at(j + 1, i), at(j + 1, i + 1), at(j, i + 1)});
            }
            m.perPolygon.push_back(j == 0 || j == stacks - 1 ? 3 : 4);
        }
    }
    m.normals = m.vertices;
    m.normalIndices = m.indices;
    return m;
}

Node MeshData::node(const std::vector<NodeRecordPtr>& pins) const {
    Node n(NT_GEO_MESH);
    n.set(A_VERTICES, shared(vertices))
        .set(A_VERTICES_PER_POLY, shared(perPolygon))
        .set(A_POLY_VERTEX_INDICES, shared(indices));
    if (!normals.empty()) n.set(A_NORMALS, shared(normals)).set(A_POLY_NORMAL_INDICES, shared(normalIndices));
    if (!uvs.empty()) n.set(A_UVWS, shared(uvs)).set(A_POLY_UVW_INDICES, shared(uvIndices));
    if (!materials.empty()) n.set(A_POLY_MATERIAL_INDICES, shared(materials));
    if (!objects.empty()) n.set(A_POLY_OBJECT_INDICES, shared(objects));
    for (const NodeRecordPtr& pin : pins) n.dynamic(pin);
    return n;
}

NodeRecordPtr rgb(Float3 color) {
    return Node(NT_TEX_RGB).set(A_VALUE, color);
}
NodeRecordPtr constant(float value) {
    return Node(NT_TEX_FLOAT).set(A_VALUE, value);
}

Node image(int width, int height, const std::vector<unsigned char>& rgba) {
    Node n(NT_TEX_IMAGE);
    n.set(A_SIZE, Vec2<int>{width, height}).set(A_IMAGE_TYPE, 0).set(A_BUFFER, shared(rgba));
    n.set(P_POWER, 1.0f);
    return n;
}

Node image(int width, int height, const std::vector<float>& rgba) {
    Node n(NT_TEX_IMAGE);
    n.set(A_SIZE, Vec2<int>{width, height}).set(A_IMAGE_TYPE, 2).set(A_BUFFER, shared(rgba));
    n.set(P_POWER, 1.0f).set(P_GAMMA, 1.0f);
    return n;
}

Scene::Scene(unsigned width, unsigned height, int samples)
    : camera(NT_CAM_THINLENS),
      kernel(NT_KERNEL_PATH),
      film(NT_FILM_SETTINGS),
      imager(NT_IMAGER),
      target(NT_RENDER_TARGET) {
    camera.set(P_POSITION, Float3{0, 0, 5}).set(P_TARGET, Float3{}).set(P_UP, Float3{0, 1, 0});
    camera.set(P_FOV, 40.0f).set(P_APERTURE, 0.0f);
    kernel.set(P_MAX_SAMPLES, samples).set(P_FILTER_SIZE, 1.0f);
    film.set(P_RESOLUTION, Vec2<int>{static_cast<int>(width), static_cast<int>(height)});
    imager.set(P_RESPONSE, 401).set(P_DITHERING, false);
}

NodeRecordPtr Scene::keep(NodeRecordPtr node) {
    nodes_.push_back(node);
    return node;
}

NodeRecordPtr Scene::diffuse(Float3 color) {
    return keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, keep(rgb(color))));
}

NodeRecordPtr Scene::emitter(Float3 radiance, bool doubleSided) {
    Node emission(NT_EMIS_TEXTURE);
    emission.connect(P_EMIS_TEXTURE, keep(rgb(radiance))).set(P_POWER, 1.0f).set(P_DOUBLE_SIDED, doubleSided);
    Node material(NT_MAT_DIFFUSE);
    return keep(material.connect(P_DIFFUSE, keep(rgb({}))).connect(P_EMISSION, keep(emission)));
}

NodeRecordPtr Scene::scatter(const NodeRecordPtr& geometry, const std::vector<Matrix<float>>& matrices) {
    return keep(Node(NT_GEO_SCATTER).connect(P_GEOMETRY, geometry).set(A_TRANSFORM, shared(matrices)));
}

NodeRecordPtr Scene::group(const std::vector<NodeRecordPtr>& children) {
    Node n(NT_GEO_GROUP);
    for (const NodeRecordPtr& child : children) n.dynamic(child);
    return keep(n);
}

void Scene::environment(Float3 radiance) {
    Node n(NT_ENV_TEXTURE);
    environment_ = keep(n.connect(P_TEXTURE, keep(rgb(radiance))).set(P_POWER, 1.0f));
}

SceneDelta Scene::delta(const NodeRecordPtr& geometry, std::uint64_t level) {
    target.connect(P_CAMERA, camera).connect(P_KERNEL, kernel).connect(P_FILM_SETTINGS, film).connect(P_IMAGER, imager);
    target.connect(P_ENVIRONMENT, environment_).connect(P_RENDER_GEOMETRY, geometry);
    SceneDelta d;
    d.changeLevel = level;
    d.changed = nodes_;
    for (const NodeRecordPtr& n : {NodeRecordPtr(camera), NodeRecordPtr(kernel), NodeRecordPtr(film),
                                   NodeRecordPtr(imager), NodeRecordPtr(target), geometry}) {
        if (n) d.changed.push_back(n);
    }
    d.renderTarget = NodeRecordPtr(target)->uid;
    return d;
}

Matrix<float> translation(Float3 by) {
    Matrix<float> m;
    m.m[0][3] = by.x;
    m.m[1][3] = by.y;
    m.m[2][3] = by.z;
    return m;
}

Matrix<float> scaling(Float3 by) {
    Matrix<float> m;
    m.m[0][0] = by.x;
    m.m[1][1] = by.y;
    m.m[2][2] = by.z;
    return m;
}

struct Render::Shared {
    std::mutex lock;
    std::condition_variable signal;
    std::string log;
    int images = 0, failures = 0;
    std::uint64_t built = 0;
};

RenderScene byPowerAlone(const RenderScene& scene) {
    RenderScene blind = scene;
    auto lights = std::make_shared<Lights>(*scene.lights);
    std::vector<LightBounds> bounds;
    for (std::uint32_t i = 0; i < lights->lamps.size(); ++i) {
        bounds.push_back(lights->tree.item(i));
        bounds.back().radius = 1e5f;
        bounds.back().axis = {};
    }
    lights->tree = LightTree(bounds);
    blind.lights = lights;
    return blind;
}

Render::Render(unsigned threads) : shared_(std::make_shared<Shared>()) {
    const auto s = shared_;
    const auto tell = [s](auto change) {
        const std::lock_guard guard(s->lock);
        change(*s);
        s->signal.notify_all();
    };
    RendererCallbacks callbacks;
    callbacks.onImage = [tell] { tell([](Shared& x) { ++x.images; }); };
    callbacks.onFailure = [tell] { tell([](Shared& x) { ++x.failures; }); };
    callbacks.onUpdated = [tell](std::uint64_t level) { tell([level](Shared& x) { x.built = level; }); };
    callbacks.log = [tell](const std::string& text) { tell([&](Shared& x) { x.log += text + "\n"; }); };
    renderer_ = std::make_unique<Renderer>(callbacks);
    renderer_->setThreadCount(threads);
}

Image Render::picture(SceneDelta delta, TonemapType type) {
    const std::uint64_t level = delta.changeLevel;
    renderer_->submit(std::move(delta));
    return wait(level, type);
}

Image Render::wait(std::uint64_t level, TonemapType type) {
    std::unique_lock lock(shared_->lock);
    const bool done = shared_->signal.wait_for(lock, std::chrono::seconds(120), [&] {
        return shared_->failures > 0 || (shared_->built >= level && renderer_->imageChangeLevel() >= level &&
                                         renderer_->statistics(RP_BEAUTY).finished);
    });
    lock.unlock();
    EXPECT_TRUE(done) << "no finished picture of level " << level;
    EXPECT_FALSE(renderer_->failed()) << renderer_->failureText();
    auto images = renderer_->tonemap({RP_BEAUTY}, type);
    EXPECT_EQ(images.size(), 1u);
    return images.empty() ? Image{} : images[0];
}

bool Render::waitForFailure() {
    std::unique_lock lock(shared_->lock);
    return shared_->signal.wait_for(lock, std::chrono::seconds(60), [&] { return shared_->failures > 0; });
}

std::string Render::logged() const {
    const std::lock_guard guard(shared_->lock);
    return shared_->log;
}

Float3 pixel(const Image& image, unsigned x, unsigned y) {
    if (!image.floats) return {};
    const float* p = image.floats->data() + 4 * (static_cast<std::size_t>(y) * image.size.x + x);
    return {p[0], p[1], p[2]};
}

Float3 mean(const Image& image, unsigned x, unsigned y, unsigned width, unsigned height) {
    Float3 sum{};
    for (unsigned j = 0; j < height; ++j) {
        for (unsigned i = 0; i < width; ++i) sum += pixel(image, x + i, y + j);
    }
    return sum * (1.0f / static_cast<float>(width * height));
}

}  // namespace Lumora::engine::test
