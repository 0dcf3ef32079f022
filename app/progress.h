// How far a render is, on stderr: one line that is redrawn on a terminal, a line every few seconds elsewhere.
#pragma once

#include <chrono>
#include <string>

namespace app {

/// Main thread only.
class Progress {
public:
    /// `samples` a pixel are asked for; 0: not known.
    Progress(bool quiet, int samples);
    ~Progress() { finish(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Redraws when it is time to. `fraction` of the samples is done; `status` says what happens before the first.
    void update(double fraction, const std::string& status);
    /// Takes the line off the screen. Seconds since the render of samples began.
    double finish();

private:
    using Clock = std::chrono::steady_clock;

    double seconds() const;
    void show(const std::string& text) const;

    const bool quiet_, screen_;
    const int samples_;
    Clock::time_point start_ = Clock::now(), lastDraw_{};
    bool started_ = false, drawn_ = false;
    std::string lastStage_;
};

/// "1:02:03", "2:03", "0:03".
std::string formatDuration(double seconds);
/// "12.3", "1.25 million": three digits that matter.
std::string formatRate(double perSecond);

}  // namespace app
