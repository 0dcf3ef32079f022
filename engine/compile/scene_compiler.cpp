#include "engine/compile/scene_compiler.h"

#include <embree3/rtcore.h>

#include <chrono>
#include <cmath>
#include <stdexcept>

#include "engine/compile/light_compiler.h"
#include "engine/compile/settings.h"

namespace Lumora::engine {

namespace {

bool sameSlots(const Geometry& a, const Geometry& b) {
    return a.slots == b.slots && a.meshSlot == b.meshSlot && a.meshSlots == b.meshSlots && a.toonLights == b.toonLights;
}

/// The kernel's distance must suit the scene: one that was meant for a house swallows a coin.
float usableEpsilon(float wanted, float radius) {
    return std::clamp(wanted, 0.0f, std::min(1e-4f, 2e-5f * radius));
}

bool memoryMonitor(void* counter, ssize_t bytes, bool) {
    static_cast<std::atomic<std::int64_t>*>(counter)->fetch_add(bytes, std::memory_order_relaxed);
    return true;
}

}  // namespace

SceneCompiler::SceneCompiler(LogFunction log) : log_(std::move(log)), device_(rtcNewDevice(nullptr)) {
    if (!device_) throw std::runtime_error("Embree could not be started");
    rtcSetDeviceMemoryMonitorFunction(device_.get(), memoryMonitor, &embreeBytes_);
    geometry_ = std::make_unique<GeometryCompiler>(device_.get());
}

SceneCompiler::~SceneCompiler() = default;

/// While it lives, the nodes that are read are written down. A part that was not finished stays stale.
class SceneCompiler::Reading {
public:
    Reading(NodeTable& nodes, Dependency& dependency, ItemUid root, bool goOn = false)
        : nodes_(nodes), dependency_(dependency) {
        dependency_.stale = true;
        dependency_.root = root;
        goOn ? nodes_.goOnReading(dependency_.part) : nodes_.startReading(dependency_.part);
    }
    ~Reading() { nodes_.endReading(); }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    void finish() { dependency_.stale = false; }

private:
    NodeTable& nodes_;
    Dependency& dependency_;
};

void SceneCompiler::markStale(const SceneDelta& delta) {
    for (Dependency* d : parts_) {
        const auto touched = [&](ItemUid uid) { return nodes_.readBy(d->part, uid); };
        d->stale = d->stale || std::any_of(delta.removed.begin(), delta.removed.end(), touched) ||
                   std::any_of(delta.changed.begin(), delta.changed.end(),
                               [&](const NodeRecordPtr& record) { return touched(record->uid); });
    }
    geometryNodes_.stale = geometryNodes_.stale ||
                           std::any_of(delta.changed.begin(), delta.changed.end(), [&](const NodeRecordPtr& record) {
                               return movesOtherwise(nodes_.peek(record->uid), *record);
                           });
}

std::shared_ptr<const Environment> SceneCompiler::environment(EnvironmentCompiler& compiler, Dependency& dependency,
                                                              ItemUid node,
                                                              const std::shared_ptr<const Environment>& old) {
    if (!dependency.stale && dependency.root == node) return old;
    Reading reading(nodes_, dependency, node);
    // What is not connected is not kept either.
    if (!node) compiler = {};
    auto made = node ? compiler.compile(nodes_, node, images_, log_) : nullptr;
    reading.finish();
    return made;
}

void SceneCompiler::buildEnvironments(const NodeRecord& target, RenderScene& scene) {
    environment_ = environment(lightingEnvironment_, environmentNodes_, target.input(P_ENVIRONMENT), environment_);
    visible_ = environment(visibleEnvironment_, visibleNodes_, target.input(P_VISIBLE_ENVIRONMENT), visible_);
    const ItemUid kernel = target.input(P_KERNEL);
    if (ambientNodes_.stale || ambientNodes_.root != kernel) {
        Reading reading(nodes_, ambientNodes_, kernel);
        ambient_ = compileAmbient(nodes_, kernel, P_AO_TEXTURE, images_, log_);
        reading.finish();
    }
    scene.environment = environment_;
    scene.visible = visible_;
    // Ambient light of its own takes the environment's place for all but the camera.
    const Kernel& k = scene.kernel;
    if (ambient_ && k.kind == KernelKind::Direct && k.directMode == DirectMode::AmbientOcclusion) {
        if (!scene.visible) scene.visible = environment_;
        scene.environment = ambient_;
    }
}

std::shared_ptr<const Shading> SceneCompiler::shading(const SceneDelta& delta, const Geometry& geometry) {
    const RenderScene* old = scene_.get();
    const bool slotsStay = old && (old->geometry.get() == &geometry || sameSlots(*old->geometry, geometry));
    if (!shadingNodes_.stale && slotsStay) return old->shading;
    Reading reading(nodes_, shadingNodes_, 0, shading_.remembers());
    std::vector<ItemUid> changed = delta.removed;
    for (const NodeRecordPtr& record : delta.changed) changed.push_back(record->uid);
    auto made = shading_.compile(nodes_, geometry, slotsStay, changed, images_, clayMode_, log_);
    reading.finish();
    return made;
}

RenderScenePtr SceneCompiler::build(const SceneDelta& delta) {
    const NodeRecord* target = nodes_.find(target_);
    if (!target) return nullptr;
    auto scene = std::make_shared<RenderScene>();
    const RenderScene* old = scene_.get();
    scene->camera = readCamera(nodes_, *target, time_, fps_);
    scene->kernel = readKernel(nodes_, *target);
    // Noise of its own for every frame.
    if (!scene->kernel.staticNoise)
        scene->kernel.seed = static_cast<std::uint32_t>(std::lround(std::clamp(time_ * fps_, 0.0f, 1e9f)));
    scene->infoPasses = readInfoPasses(nodes_, *target);
    scene->film = readFilm(nodes_, *target);
    scene->imager = imager_.read(nodes_, *target, log_);
    scene->post = readPost(nodes_, *target);
    const std::uint64_t pixels = static_cast<std::uint64_t>(scene->film.width) * scene->film.height;
    if (pixels > kMaxFilmPixels) {
        throw std::runtime_error("A picture of " + std::to_string(scene->film.width) + " by " +
                                 std::to_string(scene->film.height) + " pixels is too large");
    }
    const std::shared_ptr<const Geometry> oldGeometry = old ? old->geometry : nullptr;
    const ItemUid root = target->input(P_RENDER_GEOMETRY);
    if (geometryNodes_.stale || geometryNodes_.root != root || !old) {
        Reading reading(nodes_, geometryNodes_, root);
        scene->geometry = geometry_->compile(nodes_, root, images_, oldGeometry, log_);
        reading.finish();
    } else {
        scene->geometry = oldGeometry;
    }
    scene->shading = shading(delta, *scene->geometry);
    if (old && scene->shading->lights == old->shading->lights && scene->geometry == oldGeometry) {
        scene->lights = old->lights;
    } else {
        InstanceChange change;
        change.sameList = scene->geometry == oldGeometry;
        scene->lights = compileLights(*scene->geometry, *scene->shading, oldGeometry, old ? old->lights : nullptr,
                                      change.sameList ? change : geometry_->change());
    }
    buildEnvironments(*target, *scene);
    scene->kernel.rayEpsilon = usableEpsilon(scene->kernel.rayEpsilon, scene->geometry->radius);
    return scene;
}

BuildResult SceneCompiler::apply(const SceneDelta& delta) {
    const auto start = std::chrono::steady_clock::now();
    markStale(delta);
    for (const NodeRecordPtr& record : delta.changed) nodes_.put(record);
    for (const ItemUid uid : delta.removed) nodes_.remove(uid);
    if (delta.clayMode != clayMode_) shadingNodes_.stale = true;
    clayMode_ = delta.clayMode;
    target_ = delta.renderTarget;
    time_ = delta.time;
    fps_ = delta.fps;

    // What was built for a scene that never came to be must not pass for part of the old one.
    const auto forget = [this] {
        for (Dependency* part : parts_) part->stale = true;
        shading_.forget();
    };
    BuildResult result;
    try {
        result.scene = build(delta);
    } catch (...) {
        forget();
        throw;
    }
    if (!result.scene) forget();
    if (const RenderScene* a = scene_.get(), *b = result.scene.get(); a && b) {
        Kernel kernel = b->kernel;
        kernel.maxSamples = a->kernel.maxSamples;  // more samples go on from those that there are
        kernel.seed = a->kernel.seed;              // another frame that looks the same goes on, too
        result.restart = a->geometry != b->geometry || a->shading != b->shading || a->lights != b->lights ||
                         a->environment != b->environment || a->visible != b->visible || a->camera != b->camera ||
                         a->film != b->film || kernel != a->kernel ||
                         a->wantsGuides() != b->wantsGuides();  // the film has to keep more, or less
    }
    scene_ = result.scene;
    images_.sweep();
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    Counters c;
    c.imageBytes = images_.bytes();
    c.textures = images_.count();
    c.textureKinds = images_.kinds();
    c.nodeCount = nodes_.size();
    c.texturesDescribed = shading_.texturesDescribed();
    c.materialsDescribed = shading_.materialsDescribed();
    c.meshesBuilt = geometry_->meshesBuilt();
    c.instancesBuilt = geometry_->instancesBuilt();
    if (scene_) {
        c.meshes = scene_->geometry->meshes.size();
        c.instances = scene_->geometry->instances.size();
        for (const auto& mesh : scene_->geometry->meshes) {
            c.triangles += mesh->triangles;
            c.geometryBytes += mesh->extraBytes();
        }
    }
    const std::lock_guard guard(countersLock_);
    counters_ = c;
    return result;
}

SceneCompiler::Counters SceneCompiler::counters() const {
    const std::lock_guard guard(countersLock_);
    Counters c = counters_;
    c.geometryBytes +=
        static_cast<std::uint64_t>(std::max<std::int64_t>(0, embreeBytes_.load(std::memory_order_relaxed)));
    return c;
}

}  // namespace Lumora::engine
