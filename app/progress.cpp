#include "app/progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "app/terminal.h"

namespace app {
namespace {

constexpr auto kRedrawEvery = std::chrono::milliseconds(200);  // a terminal
constexpr auto kLineEvery = std::chrono::seconds(5);           // a file or a pipe
constexpr int kBarWidth = 24;
constexpr double kSettled = 0.5;  // seconds: a rate of less than that says little

std::string format(const char* pattern, auto... values) {
    char buffer[128];
    std::snprintf(buffer, sizeof buffer, pattern, values...);
    return buffer;
}

std::string bar(double fraction) {
    const int full = static_cast<int>(std::clamp(fraction, 0.0, 1.0) * kBarWidth);
    std::string text(kBarWidth + 3, '.');
    std::fill_n(text.begin() + 1, full, '#');
    text.front() = '[';
    text[kBarWidth + 1] = ']';
    text.back() = ' ';
    return text;
}

}  // namespace

std::string formatDuration(double seconds) {
    if (!std::isfinite(seconds) || seconds > 1e8) return "-";
    const long long whole = std::llround(std::max(seconds, 0.0));
    const long long hours = whole / 3600, minutes = whole / 60 % 60, rest = whole % 60;
    return hours > 0 ? format("%lld:%02lld:%02lld", hours, minutes, rest) : format("%lld:%02lld", minutes, rest);
}

std::string formatRate(double perSecond) {
    struct Unit {
        double size;
        const char* name;
    };
    constexpr Unit kUnits[] = {{1e9, " billion"}, {1e6, " million"}, {1e3, " thousand"}, {0, ""}};
    for (const Unit& unit : kUnits) {
        if (perSecond < unit.size) continue;
        const double value = unit.size > 0 ? perSecond / unit.size : perSecond;
        return format(value < 10 ? "%.2f%s" : value < 100 ? "%.1f%s" : "%.0f%s", value, unit.name);
    }
    return "0";
}

Progress::Progress(bool quiet, int samples) : quiet_(quiet), screen_(terminal::isScreen()), samples_(samples) {}

double Progress::finish() {
    if (drawn_ && screen_) terminal::clear();
    return seconds();
}

double Progress::seconds() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

void Progress::update(double fraction, const std::string& status) {
    const Clock::time_point now = Clock::now();
    if (!started_ && fraction <= 0) {
        start_ = now;  // the time of the build does not count into the rate of the samples
    } else {
        started_ = true;
    }
    if (quiet_) return;

    // A new stage shows at once; the samples are a stage of their own.
    const std::string stage = started_ ? "samples" : status.empty() ? "starting" : status;
    const auto pause = screen_ ? Clock::duration(kRedrawEvery) : Clock::duration(kLineEvery);
    if (stage == lastStage_ && (now - lastDraw_ < pause || (!screen_ && !started_))) return;
    lastStage_ = stage;
    lastDraw_ = now;
    drawn_ = true;
    if (!started_) {
        show(stage);
        return;
    }

    const double elapsed = seconds();
    std::string text = screen_ ? bar(fraction) : std::string();
    text += format("%3.0f%%", std::floor(std::clamp(fraction, 0.0, 1.0) * 100));
    if (samples_ > 0) {
        const double done = fraction * samples_;
        text += format("  %lld of %d samples", std::llround(done), samples_);
        if (elapsed > kSettled) text += "  " + formatRate(done / elapsed) + " samples/s";
    }
    if (elapsed > kSettled) text += "  " + formatDuration(elapsed / fraction * (1 - fraction)) + " left";
    show(text);
}

void Progress::show(const std::string& text) const {
    if (screen_)
        terminal::draw(text);
    else
        terminal::print(text);
}

}  // namespace app
