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
        std::ofstream(files_.back(), std::ios::binary) << "\x89PNG\r\n\x1a\n";
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
