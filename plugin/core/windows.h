// The session's windows, as the session sees them.
//
// A window registers how it is made; the session opens it by its kind, asks it to refresh, and destroys it. What stands
// in a window is the window's own business. Without a display, or before a kind has its window, opening writes one line
// to the log and nothing else changes.
//
// Threads: the main thread, except setEnabled, which any thread may call: the switch is kept and reaches the window
// with the next refresh.
#pragma once

#include <array>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

enum class WindowKind : UChar { LiveViewer, Main, Settings, NodeEditor, TextureManager, OslCode, Help, MatVault };
inline constexpr std::size_t kWindowKinds = 8;

/// Where a window opens that the host has no layout of. Pixels.
struct WindowPlace {
    Int32 x = 0, y = 0;           ///< -1: centred
    Int32 width = 0, height = 0;  ///< 0: as large as its content
};

struct WindowRow {
    WindowKind kind;
    Int32 id;          ///< under which the host stores the layout; 0: none is stored
    const char* name;  ///< for the log
    WindowPlace place;
    Int32 openMessage;   ///< core message that opens it; 0: none
    Int32 closeMessage;  ///< core message that closes it; 0: none
    bool needsEngine;    ///< opening starts the engine
};
std::span<const WindowRow> windowRows();
const WindowRow& windowRow(WindowKind kind);
/// The row whose layout the host stores under that id; null when there is none.
const WindowRow* findWindowRow(Int32 id);

/// Elements of windows that the session writes to.
enum WindowElement : Int32 {
    ELEMENT_DEVICE_PAGE = 10414,      ///< of the settings dialog
    ELEMENT_STATUS_LINE = 10467,      ///< of the Live Viewer
    ELEMENT_RENDER_PRIORITY = 10469,  ///< of the settings dialog, as the rows of devices below
    ELEMENT_DEVICE_RENDER = 12001,    ///< plus the number of the device, 0-based
    ELEMENT_DEVICE_PRIORITY = 12200,
    ELEMENT_DEVICE_TONEMAP = 12400,
    ELEMENT_DEVICE_DENOISE = 12600,
    ELEMENT_SETTINGS_BUTTONS = 13015  ///< of the settings dialog
};

/// One window. Calls that a kind of window has no use for do nothing.
class SessionWindow {
public:
    virtual ~SessionWindow() = default;
    virtual bool open(const WindowPlace& place) = 0;
    virtual bool isOpen() const = 0;
    virtual void close() = 0;
    /// Turns to a page: of the help a file and what to show without it; of the settings the numbers of tab and sub-tab.
    virtual void showPage(const String& /*page*/, const String& /*fallback*/) {}

    virtual void setText(Int32 /*element*/, const String& /*text*/) {}
    /// A number, or of a switch 0 or 1.
    virtual void setValue(Int32 /*element*/, Float /*value*/) {}
    virtual void setColour(Int32 /*element*/, const Vector& /*colour*/) {}
    virtual void setEnabled(Int32 /*element*/, bool /*on*/) {}
    /// Shows the session's flags and states again. `element` 0: all of it.
    virtual void refresh(Int32 /*element*/) {}
    /// What the user set in an element; `fallback` for an element that the window does not have.
    virtual Int32 getValue(Int32 /*element*/, Int32 fallback) const { return fallback; }
    /// Progress of a send or an update. `redraw`: at once.
    virtual void showProgress(const String& /*text*/, bool /*redraw*/) {}
    /// The film has another size.
    virtual void filmResized(Int32 /*width*/, Int32 /*height*/) {}
};

using WindowMaker = std::function<std::unique_ptr<SessionWindow>(lumoraLive& session)>;

class SessionWindows {
public:
    /// Tells how windows of that kind are made. An empty function takes it back; an open window stays.
    void registerWindow(WindowKind kind, WindowMaker maker);

    SessionWindow* get(WindowKind kind) const { return windows_[static_cast<std::size_t>(kind)].get(); }
    /// The window when it exists and is open.
    SessionWindow* opened(WindowKind kind) const;

    /// Makes the window when it is missing, and opens it. A null place: the row's own. False, with a line in the log,
    /// when it cannot be made or opened.
    bool open(WindowKind kind, lumoraLive& session, const WindowPlace* place = nullptr);
    /// Closing destroys.
    void close(WindowKind kind);
    void closeAll();
    /// Destroys a window that the user closed.
    void dropClosed(WindowKind kind);

    /// Any thread.
    void setEnabled(WindowKind kind, Int32 element, bool on);
    /// Hands kept switches to the open windows and lets them show the session's state again.
    void refresh();

private:
    std::array<std::unique_ptr<SessionWindow>, kWindowKinds> windows_;
    std::array<WindowMaker, kWindowKinds> makers_;
    std::mutex lock_;
    std::map<std::pair<WindowKind, Int32>, bool> switches_;
};

}  // namespace lumora
