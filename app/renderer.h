// The renderer that a plug-in brought, and its settings, without knowing which plug-in that is.
#pragma once

#include <string>
#include <vector>

#include "host/sdk/document.h"
#include "host/sdk/plugin.h"

namespace host {
class Application;
}

namespace app {

class Session;

/// A renderer and the document whose settings it keeps.
class Renderer {
public:
    /// The one that the document's render data names, when it is loaded, else the first that is. Makes it the
    /// document's renderer. Throws Failure when there is none.
    Renderer(Session& session, host::BaseDocument& document);

    /// Whether a renderer is loaded, so that the constructor will not throw.
    static bool available();

    /// What a document that came from a foreign file gets, since such files say nothing of it: all light, and as many
    /// samples as a person will wait for.
    void setImportDefaults();

    /// Throws Failure with exit code 2 when the renderer refuses the key or the value.
    void set(const std::string& key, const std::string& value);
    /// The settings of a preset, or the document's settings kept as one. Throws Failure: exit code 2 for an unknown
    /// name.
    void applyPreset(const std::string& name);
    void savePreset(const std::string& name);
    /// Names of the presets that the renderer has, whatever the document. Throws Failure when there is no renderer.
    static std::vector<std::string> presets(Session& session);

    /// The words that a key takes, whatever the document. Throws Failure when there is no renderer.
    static std::vector<std::string> choices(Session& session, const std::string& key);

    /// All settings as they are now.
    std::vector<host::RendererSetting> settings();
    /// The value of a setting; empty when the renderer has no such key.
    std::string value(const std::string& key);

private:
    /// False when the renderer does not answer.
    bool call(host::RendererSettingsCall& call);

    host::Application& application_;
    host::BaseDocument& document_;
    host::Int32 id_ = 0;
};

}  // namespace app
