#include "app/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace app::terminal {
namespace {

constexpr const char* kEraseLine = "\r\x1b[K";

std::mutex mutex;
bool lineOpen = false;  // guarded by the mutex

void eraseOpenLine() {
    if (lineOpen) std::fputs(kEraseLine, stderr);
    lineOpen = false;
}

std::size_t screenWidth() {
    winsize size = {};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace

bool isScreen() {
    static const bool screen = [] {
        const char* kind = std::getenv("TERM");
        return isatty(STDERR_FILENO) != 0 && kind && std::string_view(kind) != "dumb";
    }();
    return screen;
}

std::string printable(std::string_view text) {
    std::string result(text);
    std::replace_if(
        result.begin(), result.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, '?');
    return result;
}

void print(std::string_view line) {
    // Console lines may hold several lines; the empty ones between them tell nothing.
    std::string text;
    for (std::size_t start = 0; start < line.size();) {
        const std::size_t end = std::min(line.find('\n', start), line.size());
        if (end > start) text += printable(line.substr(start, end - start)) + "\n";
        start = end + 1;
    }
    const std::lock_guard lock(mutex);
    eraseOpenLine();
    std::fputs(text.c_str(), stderr);
    std::fflush(stderr);
}

void draw(std::string_view line) {
    // The last column stays free: writing there would start a new line on some screens.
    const std::string text = printable(line.substr(0, std::max<std::size_t>(screenWidth(), 2) - 1));
    const std::lock_guard lock(mutex);
    std::fprintf(stderr, "\r%s\x1b[K", text.c_str());
    std::fflush(stderr);
    lineOpen = true;
}

void clear() {
    const std::lock_guard lock(mutex);
    eraseOpenLine();
    std::fflush(stderr);
}

}  // namespace app::terminal
