// The document's sky and sun as the engine's environment.
//
// Builder 0 serves the environment, builder 1 the visible environment. Without a sky object, builder 0 makes a soft sky
// of the settings' environment colour and builder 1 has none.
//
// Threads: the sending thread.
#pragma once

#include "plugin/materials/material_manager.h"

namespace lumora {

class RenderSettings;

class EnvironmentBuilder {
public:
    explicit EnvironmentBuilder(MatManager& shaders) : shaders_(shaders) {}

    void setDocument(BaseDocument* doc);
    void setVisible(bool visible);
    void setSettings(const RenderSettings* settings) { settings_ = settings; }
    /// The project was emptied: forgets every node.
    void reset();
    void setSky(BaseObject* sky);
    void setSun(BaseObject* sun);

    /// Makes the render target's environment agree with sky and settings. Returns what changed, 0 for nothing.
    Int32 update(bool force, ApiNode* renderTarget, bool primary);

    /// True when the environment shows no sky of the document but the soft one.
    bool softSky() const { return softSky_; }

private:
    bool ensureNodes();
    void removeEnvironment();
    bool buildTexture(const BaseObject* sky);
    UInt32 stateSum(const BaseObject* sky) const;

    MatManager& shaders_;
    const RenderSettings* settings_ = nullptr;
    BaseDocument* doc_ = nullptr;
    ApiNode* renderTarget_ = nullptr;
    ApiNode* envNode_ = nullptr;
    ApiNode* outputLinker_ = nullptr;
    ApiNodeGraph* graph_ = nullptr;         ///< holds the linker and the environment
    ApiNodeGraph* textureGraph_ = nullptr;  ///< holds what feeds the environment's texture
    BaseLink skyLink_, sunLink_;
    Vector colour_;        ///< of the soft sky at the last build
    UInt32 stateSum_ = 0;  ///< of the sky at the last build
    bool built_ = false;
    bool visible_ = false, busy_ = false, softSky_ = false;
    Int32 updated_ = 0, updateCount_ = 0;
};

}  // namespace lumora
