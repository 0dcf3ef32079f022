// Applies what changed in the graph and makes the next scene, sharing with the last one all that did not change.
#pragma once

#include <atomic>
#include <mutex>

#include "engine/compile/environment_compiler.h"
#include "engine/compile/geometry_compiler.h"
#include "engine/compile/imager_settings.h"
#include "engine/compile/shading_compiler.h"

namespace Lumora::engine {

/// What a delta made new, compared with the scene before.
struct BuildResult {
    RenderScenePtr scene;  ///< null: there is no render target
    bool restart = true;   ///< samples taken so far do not belong to this scene
    double seconds = 0;
};

/// Build thread only, except for the counters.
class SceneCompiler {
public:
    explicit SceneCompiler(LogFunction log);
    ~SceneCompiler();

    /// Throws std::bad_alloc, and std::runtime_error with a sentence for the user.
    BuildResult apply(const SceneDelta& delta);

    struct Counters {
        std::uint64_t geometryBytes = 0;  ///< Embree's memory and the copies made for it
        std::uint64_t imageBytes = 0, nodeCount = 0, textures = 0, meshes = 0, instances = 0, triangles = 0;
        std::uint64_t meshesBuilt = 0, instancesBuilt = 0;
        ImageKinds textureKinds;
        std::uint64_t texturesDescribed = 0;   ///< texture nodes compiled since the beginning
        std::uint64_t materialsDescribed = 0;  ///< and material nodes
    };
    Counters counters() const;

private:
    /// A part of the scene: the node that it hangs on, and whether it must be built again. The table of nodes knows
    /// what else it was made from.
    struct Dependency {
        ScenePart part{};
        ItemUid root = 0;
        bool stale = true;
    };
    class Reading;

    void markStale(const SceneDelta& delta);
    std::shared_ptr<const Environment> environment(EnvironmentCompiler& compiler, Dependency& dependency, ItemUid node,
                                                   const std::shared_ptr<const Environment>& old);
    RenderScenePtr build(const SceneDelta& delta);
    std::shared_ptr<const Shading> shading(const SceneDelta& delta, const Geometry& geometry);
    void buildEnvironments(const NodeRecord& target, RenderScene& scene);

    LogFunction log_;
    std::atomic<std::int64_t> embreeBytes_{0};
    EmbreeDevice device_;
    NodeTable nodes_;
    ImageStore images_;
    ShadingCompiler shading_;
    std::unique_ptr<GeometryCompiler> geometry_;
    EnvironmentCompiler lightingEnvironment_, visibleEnvironment_;
    Dependency geometryNodes_{ScenePart::Geometry}, shadingNodes_{ScenePart::Shading},
        environmentNodes_{ScenePart::Environment}, visibleNodes_{ScenePart::VisibleEnvironment},
        ambientNodes_{ScenePart::Ambient};
    std::array<Dependency*, 5> parts_{&geometryNodes_, &shadingNodes_, &environmentNodes_, &visibleNodes_,
                                      &ambientNodes_};
    std::shared_ptr<const Environment> environment_, visible_, ambient_;  ///< as their nodes say
    RenderScenePtr scene_;
    ItemUid target_ = 0;
    float time_ = 0, fps_ = 25;  ///< of the project: seconds, frames a second
    int clayMode_ = 0;
    ImagerReader imager_;
    mutable std::mutex countersLock_;
    Counters counters_;
};

}  // namespace Lumora::engine
