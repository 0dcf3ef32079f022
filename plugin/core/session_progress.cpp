// How far a send or an update has got, as text and as a status line.
#include <iterator>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"

namespace lumora {

namespace {

struct FlagLetter {
    Int32 flag;
    const char* letter;
};
constexpr FlagLetter kFlagLetters[] = {
    {UPDATE_CAMERA, "C"},     {UPDATE_MATERIALS, "M"},   {UPDATE_OBJECTS, "O"},   {UPDATE_GEOMETRY, "G"},
    {UPDATE_LIGHTS, "L"},     {UPDATE_ENVIRONMENT, "E"}, {UPDATE_INSTANCES, "I"}, {UPDATE_INSTANCE_MATRICES, "i"},
    {UPDATE_BACKGROUND, "B"},
};

constexpr const char* kStageWords[] = {"",         "Checking....",     "Checked.",    "Copying document...",
                                       "Collect",  "Export Materials", "Lights/Env.", "Creating geometry....",
                                       "Updating", "Updated: "};

constexpr Int32 kMaxDots = 5;

String flagText(Int32 flags) {
    String letters;
    for (const FlagLetter& row : kFlagLetters)
        if (flags & row.flag) letters += row.letter;
    return letters.IsEmpty() ? letters : "[" + letters + "] ";
}

}  // namespace

const char* stateWord(LiveState state) {
    switch (state) {
        case LiveState::NotInit:
            return "[NOTINIT]";
        case LiveState::Ready:
            return "[READY]";
        case LiveState::Idle:
            return "[IDLE]";
        case LiveState::Exporting:
            return "[EXPORTING]";
        case LiveState::Rendering:
            return "[RENDERING]";
        case LiveState::Finished:
            return "[FINISHED]";
        case LiveState::FinalEnded:
            return "";
    }
    return "";
}

void lumoraLive::setProgress(Int32 stage, Int32 flags, bool redraw) {
    String text;
    {
        std::lock_guard guard(progressLock_);
        const Int32 last = stage_.load();
        if (stage != STAGE_KEEP) stage_ = stage;
        const Int32 now = stage_.load();
        if (now != last) dots_ = 0;
        if (flags != 0) stageFlags_ = flags;
        String word = now >= 0 && now < static_cast<Int32>(std::size(kStageWords)) ? kStageWords[now] : "";
        if (now == STAGE_UPDATING) {
            dots_ = dots_ % kMaxDots + 1;
            for (Int32 i = 0; i < dots_; ++i) word += ".";
        } else if (now == STAGE_UPDATED) {
            word += String::FloatToString(lastUpdateMs.load(), 0) + " ms.";
        }
        text = flagText(stageFlags_) + word;
        progressText_ = text;
    }
    debugLine(text);
    if (finalRender) {
        if (finalStatus) finalStatus(text);
        return;
    }
    StatusSetText(text);
    if (!GeIsMainThread()) {
        progressPending_ = true;
        SpecialEventAdd(MSG_REFRESH_DIALOGS);
        return;
    }
    progressPending_ = false;
    if (SessionWindow* viewer = windows.opened(WindowKind::LiveViewer)) viewer->showProgress(text, redraw);
}

void lumoraLive::showPendingProgress() {
    if (!progressPending_.exchange(false)) return;
    if (SessionWindow* viewer = windows.opened(WindowKind::LiveViewer)) viewer->showProgress(progressText(), false);
}

void lumoraLive::endUpdatingStage() {
    Int32 updating = STAGE_UPDATING;
    stage_.compare_exchange_strong(updating, STAGE_UPDATED);
}

String lumoraLive::progressText() const {
    std::lock_guard guard(progressLock_);
    return progressText_;
}

bool lumoraLive::takeStatusLine(String* line) {
    const LiveState now = state();
    bool changed = false;
    if (now != shownState_) {
        shownState_ = now;
        const String word = stateWord(now);
        if (word.Content() && word != shownWord_) {
            shownWord_ = word;
            changed = true;
        }
    }
    String message;
    if (takeLastMessage(&message) && message != shownMessage_) {
        shownMessage_ = message;
        changed = true;
    }
    if (changed) *line = shownWord_ + " " + shownMessage_;
    return changed;
}

void lumoraLive::updateStatusLine() {
    SessionWindow* viewer = engineReady ? windows.opened(WindowKind::LiveViewer) : nullptr;
    String line;
    if (viewer && takeStatusLine(&line)) viewer->setText(ELEMENT_STATUS_LINE, line);
}

}  // namespace lumora
