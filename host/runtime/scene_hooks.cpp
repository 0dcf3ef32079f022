#include "host/runtime/scene_hooks.h"

#include <algorithm>
#include <exception>
#include <list>
#include <memory>
#include <vector>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/log.h"
#include "host/sdk/thread.h"

namespace host {

namespace {

struct Hook {
    const Registration* entry;
    std::shared_ptr<NodeData> data;  // shared with a redraw that runs: a hook may close its own document
};

struct DocumentHooks {
    BaseLink document;  // empties itself when the document is freed
    UInt32 registry = 0;
    std::vector<Hook> hooks;
};

std::list<DocumentHooks>& all() {
    static std::list<DocumentHooks> list;
    return list;
}

void freeHooks(DocumentHooks& entry) {
    BaseList2D* document = entry.document.ForceGetLink();
    for (Hook& hook : entry.hooks) {
        const PluginScope scope(hook.entry->owner);
        if (document) hook.data->Free(document);
        hook.data.reset();
    }
    entry.hooks.clear();
}

DocumentHooks* find(const BaseDocument* document) {
    for (DocumentHooks& entry : all()) {
        if (entry.document.ForceGetLink() == document) return &entry;
    }
    return nullptr;
}

void dropEmpty() {
    std::erase_if(all(), [](DocumentHooks& entry) {
        if (entry.document.ForceGetLink()) return false;
        freeHooks(entry);
        return true;
    });
}

// Hooks of higher priority first, then in order of registration.
std::vector<const Registration*> hookOrder() {
    std::vector<const Registration*> list = registrationsOf(PluginKind::SceneHook);
    std::stable_sort(list.begin(), list.end(),
                     [](const auto* a, const auto* b) { return a->info.priority > b->info.priority; });
    return list;
}

Bool drawPass(const std::vector<Hook>& hooks, BaseDocument* document, BaseDraw* view, Int32 pass) {
    Bool fine = true;
    for (const Hook& hook : hooks) {
        if (GetActiveDocument() != document) return false;  // the hook before closed it
        const PluginScope scope(hook.entry->owner);
        try {
            auto* data = static_cast<SceneHookData*>(hook.data.get());
            fine = data->Draw(document, document, view, pass) && fine;
        } catch (const std::exception& e) {
            GeConsoleOut("\"" + hook.entry->info.name + "\" failed in a redraw: " + e.what());
            fine = false;
        }
    }
    return fine;
}

}  // namespace

void attachSceneHooks(BaseDocument* document) {
    if (!document) return;
    dropEmpty();
    DocumentHooks* hooks = find(document);
    if (hooks && hooks->registry == registryVersion()) return;
    if (!hooks) {
        hooks = &all().emplace_back();
        hooks->document.SetLink(document);
    }
    hooks->registry = registryVersion();
    std::vector<Hook> kept;
    for (const Registration* entry : hookOrder()) {
        const auto old = std::find_if(hooks->hooks.begin(), hooks->hooks.end(),
                                      [entry](const Hook& hook) { return hook.data && hook.entry == entry; });
        if (old != hooks->hooks.end()) {
            kept.push_back(std::move(*old));
            continue;
        }
        Hook hook{entry, makeNodeData(entry->info.id)};
        if (!hook.data) continue;
        const PluginScope scope(entry->owner);
        hook.data->Init(document, false);
        kept.push_back(std::move(hook));
    }
    hooks->hooks = std::move(kept);
}

void releaseSceneHooks(const BaseDocument* document) {
    if (DocumentHooks* hooks = find(document)) {
        freeHooks(*hooks);
        hooks->document.SetLink(nullptr);
    }
    dropEmpty();
}

void releaseAllSceneHooks() {
    for (DocumentHooks& entry : all()) freeHooks(entry);
    all().clear();
}

Bool DrawViews(Int32, BaseDraw* view) {
    static bool drawing = false;
    BaseDocument* document = GetActiveDocument();
    if (!document || drawing || !GeIsMainThread()) return false;
    drawing = true;
    attachSceneHooks(document);
    if (!view) view = document->GetActiveBaseDraw();
    Bool fine = true;
    // Looked up for each pass: a hook may open or close documents.
    for (Int32 pass = 0; pass < 2 && fine; ++pass) {
        const DocumentHooks* hooks = GetActiveDocument() == document ? find(document) : nullptr;
        fine = hooks && drawPass(std::vector<Hook>(hooks->hooks), document, view, pass);
    }
    drawing = false;
    return fine;
}

}  // namespace host
