#include "app/renderer.h"

#include <memory>

#include "app/failure.h"
#include "app/session.h"
#include "host/runtime/plugin_registry.h"

namespace app {
namespace {

/// Whether the registered video post makes whole pictures; others only change what a renderer made.
bool isRenderer(host::Int32 id) {
    const std::unique_ptr<host::BaseVideoPost> post(host::BaseVideoPost::Alloc(id));
    auto* data = post ? dynamic_cast<host::VideoPostData*>(post->GetNodeData()) : nullptr;
    return data && (data->GetRenderInfo(post.get()) & host::VPINFO_RENDERER) != 0;
}

host::Int32 findRenderer(host::Int32 preferred) {
    const host::Registration* named = host::findRegistration(preferred);
    if (named && named->info.kind == host::PluginKind::VideoPost && isRenderer(preferred)) return preferred;
    for (const host::Registration* entry : host::registrationsOf(host::PluginKind::VideoPost))
        if (isRenderer(entry->info.id)) return entry->info.id;
    return 0;
}

Failure noRenderer(const Session& session) {
    const std::string reasons = session.pluginFailures();
    return Failure(kExitFailure, "No renderer is loaded" + (reasons.empty() ? "." : ": " + reasons));
}

/// A question that needs no document. Throws Failure when there is no renderer.
void ask(Session& session, host::RendererSettingsCall& question) {
    question.renderer = findRenderer(0);
    if (question.renderer == 0) throw noRenderer(session);
    session.application().sendMessage(host::C4DPL_RENDERER_SETTINGS, &question);
}

std::vector<std::string> texts(const std::vector<host::String>& strings) {
    std::vector<std::string> result;
    for (const host::String& string : strings) result.push_back(string.str());
    return result;
}

}  // namespace

Renderer::Renderer(Session& session, host::BaseDocument& document)
    : application_(session.application()), document_(document) {
    host::BaseContainer* data = document.GetActiveRenderData()->GetDataInstance();
    id_ = findRenderer(data->GetInt32(host::RDATA_RENDERENGINE));
    if (id_ == 0) throw noRenderer(session);
    data->SetInt32(host::RDATA_RENDERENGINE, id_);
}

bool Renderer::available() {
    return findRenderer(0) != 0;
}

void Renderer::setImportDefaults() {
    set("kernel", "path");
    set("samples", "200");
}

bool Renderer::call(host::RendererSettingsCall& call) {
    call.renderer = id_;
    call.document = &document_;
    return application_.sendMessage(host::C4DPL_RENDERER_SETTINGS, &call);
}

void Renderer::set(const std::string& key, const std::string& value) {
    host::RendererSettingsCall change;
    change.key = host::String(key);
    change.value = host::String(value);
    if (!call(change))
        throw Failure(kExitUsage, "The renderer takes no settings, so " + key + "=" + value + " cannot be set.");
    if (change.error.Content()) throw Failure(kExitUsage, change.error.str());
}

void Renderer::applyPreset(const std::string& name) {
    host::RendererSettingsCall change;
    change.task = host::RendererSettingsTask::ApplyPreset;
    change.preset = host::String(name);
    if (!call(change)) throw Failure(kExitUsage, "The renderer takes no presets.");
    if (change.error.Content()) throw Failure(kExitUsage, change.error.str());
}

void Renderer::savePreset(const std::string& name) {
    host::RendererSettingsCall change;
    change.task = host::RendererSettingsTask::SavePreset;
    change.preset = host::String(name);
    if (!call(change)) throw Failure(kExitUsage, "The renderer takes no presets.");
    if (change.error.Content()) throw Failure(kExitFailure, change.error.str());
}

std::vector<std::string> Renderer::presets(Session& session) {
    host::RendererSettingsCall question;
    question.task = host::RendererSettingsTask::ListPresets;
    ask(session, question);
    return texts(question.presets);
}

std::vector<std::string> Renderer::choices(Session& session, const std::string& key) {
    host::RendererSettingsCall question;
    question.task = host::RendererSettingsTask::ListChoices;
    question.key = host::String(key);
    ask(session, question);
    return texts(question.choices);
}

std::vector<host::RendererSetting> Renderer::settings() {
    host::RendererSettingsCall question;
    if (!call(question)) return {};
    return std::move(question.rows);
}

std::string Renderer::value(const std::string& key) {
    for (const host::RendererSetting& row : settings())
        if (row.key.str() == key) return row.value.str();
    return {};
}

}  // namespace app
