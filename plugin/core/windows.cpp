#include "plugin/core/windows.h"

#include <algorithm>
#include <iterator>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"

namespace lumora {

namespace {

using K = WindowKind;

constexpr WindowRow kRows[] = {
    // The Live Viewer opens at the size of the render.
    {K::LiveViewer, 11999, "Live Viewer", {400, 400, 0, 0}, 0, 0, true},
    {K::Main, 11992, "main dialog", {400, 400, 0, 0}, 0, 0, true},
    {K::Settings, 11993, "settings dialog", {400, 400, 0, 0}, MSG_OPEN_SETTINGS, MSG_CLOSE_SETTINGS, true},
    {K::NodeEditor, 11998, "node editor", {400, 400, 800, 600}, MSG_OPEN_NODE_EDITOR, MSG_CLOSE_NODE_EDITOR, true},
    {K::TextureManager,
     11994,
     "texture manager",
     {400, 400, 0, 0},
     MSG_OPEN_TEXTURE_MANAGER,
     MSG_CLOSE_TEXTURE_MANAGER,
     true},
    {K::OslCode, 11990, "OSL code dialog", {400, 400, 0, 0}, 0, MSG_CLOSE_OSL, false},
    {K::Help, 11989, "help", {-1, -1, 800, 800}, MSG_OPEN_HELP, MSG_CLOSE_HELP, false},
    {K::MatVault, 0, "MatVault", {-1, -1, 800, 600}, 0, 0, false},
};
static_assert(std::size(kRows) == kWindowKinds);

std::size_t slot(WindowKind kind) {
    return static_cast<std::size_t>(kind);
}

}  // namespace

std::span<const WindowRow> windowRows() {
    return kRows;
}

const WindowRow& windowRow(WindowKind kind) {
    return kRows[slot(kind)];
}

const WindowRow* findWindowRow(Int32 id) {
    const auto* found =
        std::find_if(std::begin(kRows), std::end(kRows), [id](const WindowRow& r) { return r.id == id; });
    return id != 0 && found != std::end(kRows) ? found : nullptr;
}

void SessionWindows::registerWindow(WindowKind kind, WindowMaker maker) {
    makers_[slot(kind)] = std::move(maker);
}

SessionWindow* SessionWindows::opened(WindowKind kind) const {
    SessionWindow* window = get(kind);
    return window && window->isOpen() ? window : nullptr;
}

bool SessionWindows::open(WindowKind kind, lumoraLive& session, const WindowPlace* place) {
    const WindowRow& row = windowRow(kind);
    std::unique_ptr<SessionWindow>& window = windows_[slot(kind)];
    if (!window && makers_[slot(kind)]) window = makers_[slot(kind)](session);
    if (!window) {
        logLine(String("Lumora has no window for the ") + row.name + " here.");
        return false;
    }
    if (window->isOpen() || window->open(place ? *place : row.place)) {
        if (kind == K::LiveViewer) globals().liveViewerOpen = true;
        refresh();
        return true;
    }
    logLine(String("Lumora could not open the ") + row.name + ".");
    return false;
}

void SessionWindows::close(WindowKind kind) {
    std::unique_ptr<SessionWindow>& window = windows_[slot(kind)];
    if (kind == K::LiveViewer) globals().liveViewerOpen = false;
    if (window && window->isOpen()) window->close();
    window.reset();
}

void SessionWindows::closeAll() {
    // The dialogs that others open go first, as a user would close them.
    for (const WindowKind kind :
         {K::Settings, K::Help, K::Main, K::LiveViewer, K::NodeEditor, K::TextureManager, K::OslCode, K::MatVault})
        close(kind);
}

void SessionWindows::dropClosed(WindowKind kind) {
    if (get(kind) && !get(kind)->isOpen()) close(kind);
}

void SessionWindows::setEnabled(WindowKind kind, Int32 element, bool on) {
    {
        const std::lock_guard guard(lock_);
        switches_[{kind, element}] = on;
    }
    if (GeIsMainThread())
        refresh();
    else
        SpecialEventAdd(MSG_REFRESH_DIALOGS);
}

void SessionWindows::refresh() {
    decltype(switches_) switches;
    {
        const std::lock_guard guard(lock_);
        switches = switches_;
    }
    for (const auto& [key, on] : switches)
        if (SessionWindow* window = opened(key.first)) window->setEnabled(key.second, on);
    for (const WindowRow& row : kRows)
        if (SessionWindow* window = opened(row.kind))
            window->refresh(row.kind == K::Settings ? ELEMENT_SETTINGS_BUTTONS : 0);
}

}  // namespace lumora
