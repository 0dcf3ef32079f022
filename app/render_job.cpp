#include "app/render_job.h"

namespace app {

RenderJob::RenderJob(host::BaseDocument& document, const host::BaseContainer& renderData,
                     host::MultipassBitmap& pictures)
    : document_(document), renderData_(renderData), pictures_(pictures) {}

RenderJob::~RenderJob() {
    End(true);
}

std::string RenderJob::status() const {
    const std::lock_guard lock(mutex_);
    return status_;
}

void RenderJob::Main() {
    host::RenderReport report;
    report.progress = [this](host::Float fraction) { fraction_.store(fraction, std::memory_order_relaxed); };
    report.status = [this](const host::String& text) {
        const std::lock_guard lock(mutex_);
        status_ = text.str();
    };
    report.imageChanged = [this] { hasPicture_.store(true, std::memory_order_relaxed); };

    host::String error;
    result_ =
        host::RenderDocument(&document_, renderData_, pictures_, report, host::RENDERFLAGS_NO_CLONE, this, &error);
    error_ = error.str();
    done_.store(true, std::memory_order_release);
}

}  // namespace app
