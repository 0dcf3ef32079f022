#include "plugin/core/log.h"

#include <mutex>

#include "plugin/core/globals.h"

namespace lumora {

namespace {

/// Lines that wait for the status bar of the Live Viewer, which shows the last one only.
struct MessageList {
    std::mutex lock;
    std::vector<String> lines;
};

MessageList& messages() {
    static MessageList list;
    return list;
}

void consoleLine(const String& text) {
    if (globals().logOutput.load(std::memory_order_relaxed) > 0) GeConsoleOut(text);
}

/// Without a Live Viewer nobody empties the list.
constexpr std::size_t kMaxMessages = 256;

}  // namespace

bool debugLog() {
    return globals().logLevel.load(std::memory_order_relaxed) == kLogDebug;
}

void statusLine(const String& text) {
    if (debugLog()) consoleLine(text);
    StatusSetText("Lumora:" + text);
    MessageList& list = messages();
    std::lock_guard guard(list.lock);
    if (list.lines.size() >= kMaxMessages) list.lines.erase(list.lines.begin(), list.lines.end() - 1);
    list.lines.push_back(text);
}

void logLine(const String& text) {
    consoleLine(text);
}

void filteredLine(Int32 mask, const String& text) {
    if (mask != 0 && (globals().logLevel.load(std::memory_order_relaxed) & mask) == 0) return;
    consoleLine(text);
    StatusSetText("Lumora:" + text);
}

void userLine(const String& text) {
    consoleLine(text);
    if (globals().liveViewerOpen.load(std::memory_order_relaxed)) StatusSetText("Lumora:" + text);
}

void debugLine(const String& text) {
    if (debugLog()) consoleLine(text);
}

void engineLine(const String& text) {
    constexpr Int32 kWithTheEngine = 2;
    if (globals().logOutput.load(std::memory_order_relaxed) >= kWithTheEngine) GeConsoleOut("LUM:" + text);
}

bool takeLastMessage(String* line) {
    MessageList& list = messages();
    std::unique_lock guard(list.lock, std::try_to_lock);
    if (!guard.owns_lock() || list.lines.empty()) return false;
    *line = list.lines.back();
    list.lines.clear();
    return true;
}

}  // namespace lumora
