#include "tests/engine/random/random_scene.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>

#include "engine/render/vec.h"
#include "tests/engine/compile/image_samples.h"

namespace Lumora::engine::test {

namespace {

constexpr std::size_t kMostNodes = 160;
constexpr int kDeepest = 3;

Node* inside(const ApiNode* node) {
    return Item::of(node)->node();
}

bool holdsPixels(NodeType type) {
    return type == NT_TEX_IMAGE || type == NT_TEX_FLOATIMAGE || type == NT_TEX_ALPHAIMAGE ||
           type == NT_TEX_INSTANCECOLOR;
}

/// Highest values of pins that decide how long a picture takes.
float patience(const PinSchema& pin) {
    switch (pin.id) {
        case P_MAX_SAMPLES:
        case P_PASS_INFO_MAX_SAMPLES:
        case P_LEVEL:
            return 3;
        case P_RESOLUTION:
            return 14;
        case P_SIZE:
        case P_MAX_DIFFUSE_DEPTH:
        case P_OCTAVES:
            return 5;
        case P_MAX_GLOSSY_DEPTH:
        case P_SPECULAR_DEPTH:
        case P_GLOSSY_DEPTH:
            return 8;
        default:
            return kInfinity;
    }
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace

std::vector<unsigned> randomSeeds(unsigned first, unsigned end) {
    if (const char* wanted = std::getenv("LUMORA_RANDOM_SEEDS")) {
        char* rest = nullptr;
        first = static_cast<unsigned>(std::strtoul(wanted, &rest, 10));
        end = *rest == ':' ? static_cast<unsigned>(std::strtoul(rest + 1, nullptr, 10)) : first + 1;
    }
    std::vector<unsigned> seeds;
    for (unsigned seed = first; seed < end; ++seed) seeds.push_back(seed);
    return seeds;
}

RandomScene::RandomScene(ApiRootNodeGraph& root, unsigned seed, Manner manner)
    : root_(root),
      hostile_(manner == Manner::Hostile),
      random_(seed),
      folder_(std::filesystem::temp_directory_path() /
              ("lumora_random_" + std::to_string(::getpid()) + "_" + std::to_string(seed))) {
    std::filesystem::create_directories(folder_);
    for (const char* name : {"a.png", "b.png", "c.tif", "d.hdr", "e.ies", "f.ldt", "g.cube"}) {
        files_.push_back((folder_ / name).string());
        writeFile(files_.size() - 1);
    }
    if (hostile_) {
        for (const char* name : {"missing.png", "h.exr", "i.jpg", "j.hdr", "k.png", "l.xyz"}) {
            files_.push_back((folder_ / name).string());
            if (files_.size() > 8) writeFile(files_.size() - 1);
        }
        files_.push_back(folder_.string());
        files_.push_back("/dev/zero");
        files_.push_back((folder_ / "pipe.png").string());
        ::mkfifo(files_.back().c_str(), 0600);
        files_.push_back((folder_ / "sparse.png").string());
        writeText(files_.back(), "\x89PNG\r\n\x1a\n");
        std::filesystem::resize_file(files_.back(), std::uintmax_t{40} << 30);
    }
    build();
}

RandomScene::~RandomScene() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string RandomScene::edits() {
    return std::exchange(edits_, {});
}

void RandomScene::say(const char* format, ...) {
    char text[400];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    edits_ += std::string("  ") + text + "\n";
}

/// A picture with something of everything to begin with.
void RandomScene::build() {
    target_ = make(NT_RENDER_TARGET);
    target_->createInternal(P_FILM_SETTINGS, NT_FILM_SETTINGS, true, true);
    target_->connectedNode(P_FILM_SETTINGS)->setPinValue(P_RESOLUTION, Vec2<int>{12, 9});
    target_->connectTo(P_KERNEL, make(NT_KERNEL_PATH));
    target_->connectedNode(P_KERNEL)->setPinValue(P_MAX_SAMPLES, 2);
    target_->connectTo(P_CAMERA, make(NT_CAM_THINLENS));
    aimCamera();
    ApiNode* group = make(NT_GEO_GROUP);
    group->set(A_GROUP_PIN_COUNT, 5);
    target_->connectTo(P_RENDER_GEOMETRY, group);
    for (unsigned i = 0; i < 5; ++i) group->connectToIx(i, makeObject());
}

// --- Nodes ----------------------------------------------------------------------------------------------------------

ApiNode* RandomScene::make(NodeType type) {
    ApiNode* node = ApiNode::create(type, root_, chance(50));
    node->setName((std::string(ApiInfo::getNodeTypeName(type)) + " " + std::to_string(pool_.size())).c_str());
    pool_.push_back(node);
    return node;
}

/// Gives pins that decide how long a picture takes a value that does not try anybody's patience.
void RandomScene::tame(ApiNode* node) {
    for (unsigned i = 0; i < node->staticPinCount(); ++i) {
        if (patience(inside(node)->pinSchema(i)) < kInfinity) writePin(node, i);
    }
}

/// A new node that the pin takes, filled; null when there is none.
ApiNode* RandomScene::makeFor(const PinSchema& pin, int depth) {
    std::vector<const NodeSchema*> fit;
    for (const NodeSchema* schema : allNodeSchemas()) {
        const bool rare = schema->role == NodeRole::Linker;
        if (pinAccepts(pin, *schema) && schema->type != NT_PREFERENCES && (!rare || chance(20))) fit.push_back(schema);
    }
    if (fit.empty()) return nullptr;
    ApiNode* node = make(fit[pick(fit.size())]->type);
    fill(node, depth);
    return node;
}

void RandomScene::fill(ApiNode* node, int depth) {
    tame(node);
    writeAttribute(node);
    for (unsigned i = 0; i < std::min(node->pinCount(), 50u); ++i) {
        if (chance(node->pinCount() > 6 ? 25 : 70)) feed(node, i, depth + 1);
    }
}

/// More often than not one that the picture shows.
ApiNode* RandomScene::anyNode() {
    if (!target_ || chance(20)) return pool_[pick(pool_.size())];
    Node* node = inside(target_);
    if (chance(60)) {
        if (const ApiNode* geometry = target_->inputNode(P_RENDER_GEOMETRY)) node = inside(geometry);
    }
    for (int i = 0; i < 12; ++i) {
        std::vector<Node*> below;
        for (const Pin& pin : node->pins) {
            if (pin.input) below.push_back(pin.input);
        }
        if (below.empty() || (i > 2 && chance(20))) break;
        node = below[pick(below.size())];
    }
    return &node->handle;
}

/// One of the nodes that there are, for a pin.
ApiNode* RandomScene::known(const PinSchema& pin) {
    for (int tries = 0; tries < 40; ++tries) {
        ApiNode* node = pool_[pick(pool_.size())];
        if (hostile_ ? chance(4) || pinAccepts(pin, inside(node)->schema) : pinAccepts(pin, inside(node)->schema)) {
            return node;
        }
    }
    return nullptr;
}

void RandomScene::destroy(ApiNode* node) {
    say("destroy %s", Item::of(node)->label().c_str());
    if (node == target_) target_ = nullptr;
    node->destroy();
}

void RandomScene::forgetDestroyed() {
    ApiItemArray items;
    root_.getOwnedItems(items);
    pool_.clear();
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (ApiNode* node = items.get(i)->toNode()) pool_.push_back(node);
    }
    if (std::find(pool_.begin(), pool_.end(), target_) == pool_.end()) target_ = nullptr;
}

// --- Edits ----------------------------------------------------------------------------------------------------------

void RandomScene::edit() {
    forgetDestroyed();
    if (!target_ || pool_.empty()) chooseTarget();
    const unsigned what = pick(100);
    if (what < 22) {
        writeAttribute(anyNode());
    } else if (what < 30) {
        enrich();
    } else if (what < 38) {
        moveSomething();
    } else if (what < 70) {
        ApiNode* node = anyNode();
        if (node->pinCount() > 0) feed(node, pick(node->pinCount()), 0);
    } else if (what < 78 || pool_.size() > kMostNodes) {
        ApiNode* node = pool_[pick(pool_.size())];
        if (hostile_ || node != target_) destroy(node);
    } else if (what < 82) {
        ApiNode* node = pool_[pick(pool_.size())];
        // A copied surface would lie in the surface that it was copied from.
        if (hostile_ || inside(node)->schema.output != PT_GEOMETRY) {
            say("copy %s", Item::of(node)->label().c_str());
            root_.copyItemTree(*node);
        }
    } else if (what < 88) {
        writeFile(pick(files_.size()));
    } else if (what < 92) {
        clay_ = chance(60) ? 0 : static_cast<int>(pick(3));
        time_ = static_cast<float>(pick(3)) * 0.5f;
        say("clay mode %d, time %g", clay_, time_);
    } else if (what < 96) {
        aimCamera();
    } else if (what < 97) {
        say("delete what is not connected");
        root_.deleteUnconnectedItems();
    } else {
        chooseTarget();
    }
}

void RandomScene::chooseTarget() {
    forgetDestroyed();
    const Node* had = target_ ? inside(target_) : nullptr;
    target_ = nullptr;
    for (ApiNode* node : pool_) {
        if (node->type() == NT_RENDER_TARGET && inside(node) != had && chance(60)) target_ = node;
    }
    if (target_) {
        say("render %s", Item::of(target_)->label().c_str());
        return;
    }
    if (pool_.empty() || chance(30)) {
        build();
        say("a new scene");
        return;
    }
    target_ = make(NT_RENDER_TARGET);
    for (unsigned i = 0; i < target_->pinCount(); ++i) {
        if (ApiNode* input = known(target_->hasPinIx(i) ? inside(target_)->pinSchema(i) : PinSchema{})) {
            target_->connectToIx(i, input);
        }
    }
    say("a new render target");
}

void RandomScene::enliven() {
    forgetDestroyed();
    if (!target_) return;
    say("light on");
    target_->createInternal(P_ENVIRONMENT, NT_ENV_TEXTURE, true, true);
    target_->createInternal(P_CAMERA, NT_CAM_THINLENS, true, true);
    aimCamera();
    if (ApiNode* kernel = target_->createInternal(P_KERNEL, NT_KERNEL_PATH, true, true)) {
        kernel->setPinValue(P_MAX_SAMPLES, 2);
        kernel->setPinValue(P_MAX_DIFFUSE_DEPTH, 3);
        kernel->setPinValue(P_MAX_GLOSSY_DEPTH, 5);
    }
    target_->connectTo(P_RENDER_LAYER, nullptr);
    ApiNode* group = make(NT_GEO_GROUP);
    group->set(A_GROUP_PIN_COUNT, 4);
    for (unsigned i = 0; i < 4; ++i) group->connectToIx(i, makeObject());
    target_->connectTo(P_RENDER_GEOMETRY, group);
}

ApiNode* RandomScene::makeObject() {
    ApiNode* scatter = make(NT_GEO_SCATTER);
    writeScatter(scatter);
    ApiNode* mesh = make(NT_GEO_MESH);
    writeMesh(mesh);
    for (unsigned p = 0; p < std::min(mesh->pinCount(), 8u); ++p) feed(mesh, p, 0);
    scatter->connectTo(P_GEOMETRY, mesh);
    return scatter;
}

void RandomScene::aimCamera() {
    ApiNode* camera = target_ ? target_->inputNode(P_CAMERA) : nullptr;
    if (!camera || !camera->hasPin(P_POSITION)) return;
    const Vec3<float> from = {between(-3, 3), between(-2, 3), between(4, 7)};
    say("aim %s", Item::of(camera)->label().c_str());
    camera->setPinValue(P_POSITION, from);
    if (camera->hasPin(P_TARGET)) camera->setPinValue(P_TARGET, Vec3<float>{0, 0, 0});
    if (camera->hasPin(P_UP)) camera->setPinValue(P_UP, Vec3<float>{0, 1, 0});
    if (camera->hasPin(P_FOV)) camera->setPinValue(P_FOV, between(30, 70));
    if (camera->hasPin(P_ORTHOGRAPHIC)) camera->setPinValue(P_ORTHOGRAPHIC, false);
}

void RandomScene::moveSomething() {
    for (int tries = 0; tries < 30; ++tries) {
        ApiNode* node = anyNode();
        if (node->type() == NT_GEO_SCATTER) return writeScatter(node);
    }
}

/// What chance alone would bring about too seldom.
void RandomScene::enrich() {
    // A mesh that is seen, and a material on it.
    ApiNode* mesh = anyNode();
    for (int tries = 0; tries < 30 && mesh->type() != NT_GEO_MESH; ++tries) mesh = anyNode();
    if (mesh->type() != NT_GEO_MESH || mesh->pinCount() == 0) return;
    const unsigned pin = pick(mesh->pinCount());
    ApiNode* material = mesh->inputNodeIx(pin);
    const std::string label = Item::of(mesh)->label();
    const auto inside = [&](PinId id, NodeType type) {
        say("%s for %s of %s", ApiInfo::getNodeTypeName(type), mesh->pinNameIx(pin), label.c_str());
        ApiNode* made = material && material->hasPin(id) ? material->createInternal(id, type, true, true) : nullptr;
        if (made) fill(made, kDeepest);
    };
    switch (pick(7)) {
        case 0:
        case 1:
            if (!material || !material->hasPin(P_EMISSION)) {
                material = mesh->createInternalIx(pin, chance(50) ? NT_MAT_DIFFUSE : NT_MAT_UNIVERSAL, true, true);
            }
            inside(P_EMISSION, chance(50) ? NT_EMIS_TEXTURE : NT_EMIS_BLACKBODY);
            break;
        case 2:
            if (material) inside(P_DISPLACEMENT, NT_DISPLACEMENT);
            break;
        case 3:
            say("a portal for %s", label.c_str());
            mesh->createInternalIx(pin, NT_MAT_PORTAL, true, true);
            break;
        case 4:
            if (material) {
                inside(material->hasPin(P_ALBEDO) ? P_ALBEDO : P_DIFFUSE,
                       chance(70) ? NT_TEX_IMAGE : NT_TEX_FLOATIMAGE);
            }
            break;
        case 5:
            if (material && material->hasPin(P_OPACITY)) inside(P_OPACITY, chance(50) ? NT_TEX_FLOAT : NT_TEX_CHECKS);
            break;
        default: {
            // Layers between the mesh and one that places it.
            for (const Use& use : Item::of(mesh)->node()->uses) {
                if (use.node->schema.type != NT_GEO_SCATTER) continue;
                ApiNode* user = &use.node->handle;
                ApiNode* map = make(NT_GEO_LAYER_MAP);
                map->connectTo(P_GEOMETRY, mesh);
                for (unsigned i = map->staticPinCount(); i < std::min(map->pinCount(), 8u); ++i) feed(map, i, 1);
                say("layers for %s", label.c_str());
                user->connectTo(P_GEOMETRY, map);
                break;
            }
        }
    }
}

/// Surfaces in the same place would show whichever the ray happens to meet first.
bool RandomScene::mayShare(ApiNode* node, unsigned index, ApiNode* input) const {
    if (hostile_ || inside(node)->pinSchema(index).type != PT_GEOMETRY) return true;
    const NodeType user = node->type();
    if (user == NT_GEO_SCATTER || user == NT_RENDER_TARGET) return true;
    const auto& uses = inside(input)->uses;
    return std::all_of(uses.begin(), uses.end(),
                       [](const Use& use) { return use.node->schema.type == NT_GEO_SCATTER; });
}

void RandomScene::feed(ApiNode* node, unsigned index, int depth) {
    const PinSchema& pin = inside(node)->pinSchema(index);
    const std::string label = Item::of(node)->label();
    const char* name = node->pinNameIx(index);
    if (pin.dimension > 0 && chance(50)) return writePin(node, index);
    if (patience(pin) < kInfinity) return;
    if (chance(12)) {
        say("empty '%s' of %s", name, label.c_str());
        node->connectToIx(index, nullptr, chance(90));
        return;
    }
    if (depth > kDeepest || chance(55)) {
        ApiNode* input = known(pin);
        if (!input || !mayShare(node, index, input)) return;
        const bool done = node->connectToIx(index, input, chance(90));
        say("%s %s to '%s' of %s", done ? "connect" : "refused:", Item::of(input)->label().c_str(), name,
            label.c_str());
        return;
    }
    if (chance(30)) {
        for (int tries = 0; tries < 200; ++tries) {
            const NodeSchema* type = allNodeSchemas()[pick(allNodeSchemas().size())];
            if (!pinAccepts(pin, *type)) continue;
            ApiNode* made = node->createInternalIx(index, type->type, true, chance(50));
            say("make %s inside '%s' of %s", type->name, name, label.c_str());
            if (made) fill(made, depth + 1);
            return;
        }
        return;
    }
    if (ApiNode* made = makeFor(pin, depth + 1)) {
        // What was made for the new node may have taken the pin's node with it.
        const bool done = index < node->pinCount() && node->connectToIx(index, made);
        say("%s new %s to '%s' of %s", done ? "connect" : "refused:", Item::of(made)->label().c_str(), name,
            label.c_str());
    }
}

void RandomScene::writePin(ApiNode* node, unsigned index) {
    const PinSchema& pin = inside(node)->pinSchema(index);
    const Vec3<float> v = value(pin);
    say("'%s' of %s = %g %g %g", node->pinNameIx(index), Item::of(node)->label().c_str(), v.x, v.y, v.z);
    if (pin.id == P_DYNAMIC) {
        ApiNode* holder = node->createInternalIx(index, pin.type == PT_FLOAT ? NT_FLOAT : NT_TEX_RGB, true, true);
        if (holder) holder->set(A_VALUE, v);
        return;
    }
    const auto whole = [](float x) { return static_cast<int>(std::clamp(x, -2147483520.0f, 2147483520.0f)); };
    if (hostile_ && chance(10)) {
        node->setPinValue(pin.id, v);  // of another kind, maybe
    } else if (pin.type == PT_BOOL) {
        node->setPinValue(pin.id, v.x > 0.5f);
    } else if (pin.type == PT_INT || pin.type == PT_ENUM) {
        if (pin.dimension == 2) {
            node->setPinValue(pin.id, Vec2<int>{whole(v.x), whole(v.y)});
        } else {
            node->setPinValue(pin.id, whole(v.x));
        }
    } else if (pin.dimension == 1) {
        node->setPinValue(pin.id, v.x);
    } else if (pin.dimension == 2) {
        node->setPinValue(pin.id, Vec2<float>{v.x, v.y});
    } else {
        node->setPinValue(pin.id, v);
    }
}

void RandomScene::writeAttribute(ApiNode* node) {
    const unsigned count = node->attrCount();
    if (count == 0) return;
    if (hostile_ && chance(40)) return spoilAttribute(node, pick(count));
    const std::string label = Item::of(node)->label();
    const auto vector = [&](AttributeId id, float low, float high) {
        const Vec3<float> v = {between(low, high), between(low, high), between(low, high)};
        say("attribute %d of %s = %g %g %g", id, label.c_str(), v.x, v.y, v.z);
        node->set(id, v);
    };
    switch (node->type()) {
        case NT_GEO_MESH:
            return writeMesh(node);
        case NT_GEO_SCATTER:
            return writeScatter(node);
        case NT_GEO_GROUP:
            say("pins of %s", label.c_str());
            node->set(A_GROUP_PIN_COUNT, 1 + static_cast<int>(pick(8)));
            return;
        case NT_TRANSFORM_VALUE:
            vector(A_ROTATION, -180, 180);
            vector(A_SCALE, 0.2f, 3);
            return vector(A_TRANSLATION, -1, 1);
        default:
            break;
    }
    if (holdsPixels(node->type())) return writeImage(node);
    if (node->hasAttr(A_PIN_COUNT)) {
        say("knots of %s", label.c_str());
        node->set(A_PIN_COUNT, static_cast<int>(pick(4)));
    } else if (node->hasAttr(A_FILENAME)) {
        const std::string file = fileName();
        say("file of %s = %s", label.c_str(), file.c_str());
        node->set(A_FILENAME, file.c_str());
    } else if (node->hasAttr(A_VALUE)) {
        const float v = number(0, 1, 0.5f);
        say("value of %s = %g", label.c_str(), v);
        switch (node->attrTypeIx(0)) {
            case AT_BOOL:
                node->set(A_VALUE, v > 0.5f);
                break;
            case AT_INT:
                node->set(A_VALUE, static_cast<int>(pick(8)));
                break;
            case AT_INT2:
                node->set(A_VALUE, Vec2<int>{static_cast<int>(pick(8)), static_cast<int>(pick(8))});
                break;
            case AT_FLOAT:
                node->set(A_VALUE, v);
                break;
            case AT_FLOAT3:
                if (chance(15)) {
                    const float times[] = {0, 1};
                    const Vec3<float> values[] = {{v, v, v}, {unit(), unit(), unit()}};
                    node->setAnim(A_VALUE, ApiTimeSampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE),
                                  values, 2);
                } else {
                    node->set(A_VALUE, chance(50) ? Vec3<float>{v, v, v} : Vec3<float>{unit(), unit(), unit()});
                }
                break;
            default:
                break;
        }
    }
}

void RandomScene::writeMesh(ApiNode* node) {
    say("shape of %s", Item::of(node)->label().c_str());
    const bool now = chance(90);
    // A bent sheet of triangles and quads. Now and then only its points move.
    constexpr int kSide = 4;
    std::vector<Vec3<float>> points;
    const Vec3<float> bend = point(0.6f);
    for (int i = 0; i < kSide * kSide; ++i) {
        const float x = static_cast<float>(i % kSide) / 1.5f - 1.0f, y = static_cast<float>(i / kSide) / 1.5f - 1.0f;
        points.push_back({x + 0.1f * unit(), y + 0.1f * unit(), bend.x * x * y + bend.y * x + 0.2f * unit()});
    }
    const bool moved = chance(40) && node->getArraySize(A_VERTICES) == points.size();
    node->set(A_VERTICES, points.data(), points.size(), now);
    if (moved) return;
    std::vector<int> counts, corners, materials, objects;
    const bool quads = chance(40), mixed = chance(30);
    const int materialCount = 1 + static_cast<int>(pick(3)), objectCount = 1 + static_cast<int>(pick(2));
    for (int y = 0; y + 1 < kSide; ++y) {
        for (int x = 0; x + 1 < kSide; ++x) {
            const int a = y * kSide + x;
            const bool quad = mixed ? chance(50) : quads;
            if (quad) {
                corners.insert(corners.end(), {a, a + 1, a + kSide + 1, a + kSide});
            } else {
                corners.insert(corners.end(), {a, a + 1, a + kSide + 1, a, a + kSide + 1, a + kSide});
            }
            for (int i = quad ? 1 : 0; i < 2; ++i) {
                counts.push_back(quad ? 4 : 3);
                materials.push_back(static_cast<int>(pick(static_cast<std::size_t>(materialCount))));
                objects.push_back(static_cast<int>(pick(static_cast<std::size_t>(objectCount))));
            }
        }
    }
    node->set(A_VERTICES_PER_POLY, counts.data(), counts.size(), now);
    node->set(A_POLY_VERTEX_INDICES, corners.data(), corners.size(), now);
    node->set(A_POLY_MATERIAL_INDICES, materials.data(), materials.size(), now);
    node->set(A_POLY_OBJECT_INDICES, objects.data(), chance(60) ? objects.size() : 0, now);
    for (const auto& [values, indices] :
         {std::pair{A_UVWS, A_POLY_UVW_INDICES}, {A_UVWS_2, A_POLY_UVW_INDICES_2}, {A_UVWS_3, A_POLY_UVW_INDICES_3}}) {
        std::vector<Vec3<float>> uvs;
        const float stretch = between(0.3f, 2);
        for (const Vec3<float>& p : points) uvs.push_back({p.x * stretch, p.y, 0});
        const bool has = chance(60);
        node->set(values, uvs.data(), has ? uvs.size() : 0, now);
        node->set(indices, corners.data(), has ? corners.size() : 0, now);
    }
    std::vector<Vec3<float>> normals;
    for (std::size_t i = 0; i < points.size(); ++i) normals.push_back({0.3f * (unit() - 0.5f), 0.3f * unit(), 1});
    const bool smooth = chance(50);
    node->set(A_NORMALS, normals.data(), smooth ? normals.size() : 0, now);
    node->set(A_POLY_NORMAL_INDICES, corners.data(), smooth ? corners.size() : 0, now);
    static const char* kNames[] = {"one", "two", "three"};
    node->set(A_MATERIAL_NAMES, kNames, static_cast<std::size_t>(materialCount), now);
    node->set(A_OBJECT_NAMES, kNames, static_cast<std::size_t>(objectCount), now);
    node->set(A_SUBD_LEVEL, chance(15) ? 1 + static_cast<int>(pick(2)) : 0, now);
    node->set(A_SUBD_BOUNDARY, static_cast<int>(pick(4)), now);
    node->set(A_SUBD_SHARPNESS, between(0, 3), now);
    node->set(A_MESH_OBJECT_ID, static_cast<int>(pick(5)) - 1, now);
}

Matrix<float> RandomScene::placement() {
    const float angle = between(-3, 3), scale = between(0.4f, 1.2f);
    Matrix<float> m;
    m.m[0][0] = m.m[2][2] = scale * std::cos(angle);
    m.m[0][2] = scale * std::sin(angle);
    m.m[2][0] = -m.m[0][2];
    m.m[1][1] = scale;
    const Vec3<float> p = point(1.5f);
    m.m[0][3] = p.x;
    m.m[1][3] = p.y;
    m.m[2][3] = p.z;
    return m;
}

void RandomScene::writeScatter(ApiNode* node) {
    std::vector<Matrix<float>> places(1 + (chance(30) ? pick(3) : 0));
    for (Matrix<float>& m : places) m = placement();
    say("%zu placements of %s", places.size(), Item::of(node)->label().c_str());
    if (chance(10)) {
        const float times[] = {0, 1};
        places.resize(2 * places.size(), placement());
        node->setAnim(A_TRANSFORM, ApiTimeSampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE), 2,
                      places.data(), places.size());
    } else {
        node->set(A_TRANSFORM, places.data(), places.size());
    }
    std::vector<int> ids(places.size());
    for (int& id : ids) id = static_cast<int>(pick(20)) - 1;
    if (chance(40)) node->set(A_INSTANCE_IDS, ids.data(), ids.size());
}

void RandomScene::writeImage(ApiNode* node) {
    const std::string label = Item::of(node)->label();
    if (chance(60)) {
        const std::string file = fileName();
        say("file of %s = %s", label.c_str(), file.c_str());
        node->set(A_FILENAME, file.c_str(), false);
        node->set(A_IMAGE_IMPORT, static_cast<int>(pick(8)) - 1);
        return;
    }
    const Vec2<int> size = {1 + static_cast<int>(pick(5)), 1 + static_cast<int>(pick(5))};
    constexpr int kKinds[] = {0, 1, 2, 3, 4, 5};
    const int kind = kKinds[pick(std::size(kKinds))];
    // Room for four floats a pixel: what the kind does not need is too much, and is to be refused.
    const std::size_t pixels = static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
    const std::size_t each = kind == 0 ? 4 : (kind == 2 ? 16 : (kind == 1 ? 1 : 4 * (1 + pick(4))));
    std::vector<unsigned char> bytes(pixels * each);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(pick(256));
    if (kind == 2) {
        for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
            const float v = unit();
            std::memcpy(&bytes[i], &v, sizeof v);
        }
    }
    say("%d x %d pixels of kind %d for %s", size.x, size.y, kind, label.c_str());
    node->set(A_FILENAME, "", false);
    node->set(A_SIZE, size, false);
    node->set(A_IMAGE_TYPE, kind, false);
    node->set(A_BUFFER, bytes.data(), bytes.size());
}

/// Writes the file anew, and has everybody who shows it read it again.
void RandomScene::writeFile(std::size_t index) {
    const std::string path = files_[index];
    const std::string suffix = std::filesystem::path(path).extension().string();
    if (!path.starts_with(folder_.string()) || path == folder_.string() || path.ends_with("pipe.png") ||
        path.ends_with("sparse.png") || path.ends_with("missing.png")) {
        return;
    }
    const int width = 1 + static_cast<int>(pick(6)), height = 1 + static_cast<int>(pick(6));
    const auto numbers = [&](int count, float most) {
        std::string text;
        for (int i = 0; i < count; ++i) text += std::to_string(unit() * most) + (i % 3 == 2 ? "\n" : " ");
        return text;
    };
    if (suffix == ".ies") {
        writeText(path, "IESNA:LM-63-2002\nTILT=NONE\n1 1000 1.0 3 1 1 2 0.1 0.1 0\n1.0 1.0 20\n0 45 90\n0\n" +
                            numbers(3, 100) + "\n");
    } else if (suffix == ".ldt") {
        std::string text = "Maker\n1\n1\n1\n0\n3\n45\nreport\nlamp\n12\nfile\ntoday\n";
        for (int i = 0; i < 13; ++i) text += "100\n";
        text += "1\n1\nLED\n1\n1\n1\n1\n";
        for (int i = 0; i < 10; ++i) text += "0.5\n";
        text += "0\n0\n45\n90\n";
        for (int i = 0; i < 3; ++i) text += std::to_string(unit()) + "\n";
        writeText(path, text);
    } else if (suffix == ".cube") {
        writeText(path, "LUT_3D_SIZE 2\n" + numbers(24, 1));
    } else {
        const int channels = suffix == ".hdr" ? 3 : 1 + static_cast<int>(pick(4));
        FileData values(static_cast<std::size_t>(width * height * channels));
        for (unsigned char& v : values) v = static_cast<unsigned char>(pick(256));
        if (!test::writeImage(path, width, height, channels, values)) writeText(path, "no picture");
    }
    if (hostile_ && chance(60)) {
        // Cut short, or with a few bytes that should not be there.
        std::error_code ignored;
        const auto size = std::filesystem::file_size(path, ignored);
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        for (unsigned i = pick(6); i > 0 && size > 0; --i) {
            file.seekp(static_cast<std::streamoff>(pick(static_cast<std::size_t>(size))));
            file.put(static_cast<char>(chance(30) ? 255 : pick(256)));
        }
        file.close();
        if (chance(40)) std::filesystem::resize_file(path, pick(static_cast<std::size_t>(size) + 1), ignored);
    }
    say("write %s", path.c_str());
    if (!target_) return;
    for (const NodeSchema* schema : allNodeSchemas()) {
        if (schema->attributeIndex(A_FILENAME) < 0 || schema->attributeIndex(A_RELOAD) < 0) continue;
        ApiNodeArray found;
        root_.findNodes(schema->type, found, true);
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (path == found.get(i)->getString(A_FILENAME)) found.get(i)->set(A_RELOAD, true);
        }
    }
}

void RandomScene::spoilAttribute(ApiNode* node, unsigned index) {
    const AttributeId id = node->attrIdIx(index);
    say("spoil '%s' of %s", node->attrNameIx(index), Item::of(node)->label().c_str());
    const std::size_t count = std::size_t{1} << pick(8) >> pick(2);
    const bool now = chance(80);
    const auto floats = [&](std::size_t n) {
        std::vector<float> v(n);
        for (float& x : v) x = chance(20) ? spoiltNumber() : between(-2, 2);
        return v;
    };
    switch (node->attrTypeIx(index)) {
        case AT_BOOL:
            node->set(id, chance(50), now);
            break;
        case AT_INT:
            // A great number of levels is not refused: it takes long, as it was asked to.
            if (id == A_SUBD_LEVEL) {
                node->set(id, static_cast<int>(pick(5)) - 1, now);
                break;
            }
            node->set(id, chance(50) ? spoiltInteger() : static_cast<int>(pick(12)) - 2, now);
            break;
        case AT_INT2:
            node->set(id, Vec2<int>{spoiltInteger(), chance(50) ? 1 : spoiltInteger()}, now);
            break;
        case AT_FLOAT:
            node->set(id, spoiltNumber(), now);
            break;
        case AT_FLOAT3:
            node->set(id, Vec3<float>{spoiltNumber(), spoiltNumber(), spoiltNumber()}, now);
            break;
        case AT_STRING:
            node->set(id, chance(30) ? "" : chance(30) ? std::string(100000, '/').c_str() : fileName().c_str(), now);
            break;
        case AT_INT_ARRAY: {
            std::vector<int> v(count);
            for (int& x : v) x = chance(10) ? spoiltInteger() : static_cast<int>(pick(6));
            node->set(id, v.data(), v.size(), now);
            break;
        }
        case AT_FLOAT_ARRAY:
            node->set(id, floats(count).data(), count, now);
            break;
        case AT_BYTE_ARRAY:
            node->set(id, reinterpret_cast<const unsigned char*>(floats(count).data()), count, now);
            break;
        case AT_FLOAT2_ARRAY:
            node->set(id, reinterpret_cast<const Vec2<float>*>(floats(2 * count).data()), count, now);
            break;
        case AT_FLOAT3_ARRAY:
            node->set(id, reinterpret_cast<const Vec3<float>*>(floats(3 * count).data()), count, now);
            break;
        case AT_MATRIX_ARRAY:
            node->set(id, reinterpret_cast<const Matrix<float>*>(floats(12 * count).data()), count, now);
            break;
        case AT_STRING_ARRAY: {
            static const char* kNames[] = {"", "a", "a", "\xff\xfe", "long name with spaces"};
            node->set(id, kNames, pick(std::size(kNames) + 1), now);
            break;
        }
        default:
            break;
    }
}

// --- Values ---------------------------------------------------------------------------------------------------------

float RandomScene::spoiltNumber() {
    constexpr float kNumbers[] = {0.0f,
                                  -0.0f,
                                  1e-45f,
                                  -1e-40f,
                                  1e-30f,
                                  -1.0f,
                                  1e9f,
                                  -1e9f,
                                  1e18f,
                                  3.4e38f,
                                  -3.4e38f,
                                  std::numeric_limits<float>::infinity(),
                                  -std::numeric_limits<float>::infinity(),
                                  std::numeric_limits<float>::quiet_NaN()};
    return kNumbers[pick(std::size(kNumbers))];
}

int RandomScene::spoiltInteger() {
    constexpr int kNumbers[] = {0,       -1,         1,          7,           -100,           255, 65536, 1 << 20,
                                1 << 30, 1000000000, 2147483647, -2147483647, -2147483647 - 1};
    return kNumbers[pick(std::size(kNumbers))];
}

float RandomScene::number(float low, float high, float usual) {
    if (hostile_ && chance(25)) return spoiltNumber();
    switch (pick(6)) {
        case 0:
            return low > -1e6f ? low : usual;
        case 1:
            return high < 1e5f ? high : usual;
        case 2:
            return usual;
        default:
            return between(std::max(low, std::min(-2.0f, usual)), std::min(high, std::max(2.0f, 2.0f * usual)));
    }
}

Vec3<float> RandomScene::value(const PinSchema& pin) {
    if (pin.id == P_RESOLUTION) return {static_cast<float>(8 + pick(7)), static_cast<float>(8 + pick(5)), 0};
    const bool texture = pin.type == PT_TEXTURE;
    const bool whole = pin.type == PT_INT || pin.type == PT_ENUM;
    // Large films and deep subdivision are asked for elsewhere: here they would only take time.
    const float high = std::min(pin.maxValue, patience(pin));
    const float low = std::min(pin.minValue, high);
    if (hostile_ && whole && high == pin.maxValue && chance(25)) {
        return {static_cast<float>(spoiltInteger()), static_cast<float>(spoiltInteger()), 0};
    }
    const auto one = [&](float usual) {
        const float v = number(low, high, std::min(usual, high));
        return whole && std::isfinite(v) ? std::round(v) : v;
    };
    const Vec3<float> usual = pin.defaultValue;
    Vec3<float> v{one(usual.x), pin.dimension > 1 ? one(usual.y) : 0, pin.dimension > 2 ? one(usual.z) : 0};
    if (patience(pin) < kInfinity) v = {std::clamp(v.x, low, high), std::clamp(v.y, low, high), 0};
    if (texture && pin.dimension == 3 && chance(40)) v = {v.x, v.x, v.x};
    return v;
}

std::string RandomScene::fileName() {
    return files_[pick(files_.size())];
}

}  // namespace Lumora::engine::test
