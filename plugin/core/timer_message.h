// The dispatcher on the main thread: runs every half second and at every core message.
//
// Other threads, dialogs and commands ask for work with SpecialEventAdd and an id of plugin/core/ids.h. A message says
// that something happened; the receiver reads the state again.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class RenderSettings;
class lumoraLive;

class TimerMessage : public MessageData {
public:
    explicit TimerMessage(lumoraLive& session) : session_(session) {}

    Int32 GetTimer() override;
    Bool CoreMessage(Int32 id, const BaseContainer& message) override;

private:
    struct Row;
    static const Row kRows[];

    /// Opens or closes a window when the message asks for it.
    void serveWindows(Int32 id, UInt64 first, UInt64 second);
    void handleFailure();
    void handleSampleTarget();
    void documentChanged();
    /// In the settings dialog, when it is open.
    void showSettings(const RenderSettings& settings);
    void startRender(UInt64 viewportMode, UInt64);
    void restartRender(UInt64, UInt64);
    void resize(UInt64 width, UInt64 height);
    void changeKernel(UInt64 kernel, UInt64 infoType);
    void setClayMode(UInt64 mode, UInt64);
    void initEngine(UInt64, UInt64);
    void refreshDialogs(UInt64, UInt64);
    void applyDevices(UInt64, UInt64);
    void applyDevicesAndRedraw(UInt64, UInt64);
    void convertMaterials(UInt64, UInt64);
    void storePointers();

    lumoraLive& session_;
};

/// True when every pass of the picture that shows the current scene has its samples.
bool sampleTargetReached();

}  // namespace lumora
