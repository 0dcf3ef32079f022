// The session: the one object that holds the link between the open document and the engine.
//
// It says which document is live, in which state the render is, what was collected, how far a send or an update has
// got, and what it cost. The Live Viewer, the final renderer, the timer message and the scene hook all drive this
// object.
//
// States and what leads from one to the next:
//
//   NotInit ---engine ready--> Ready
//   any ---start of a send, resetScene--> Exporting
//   Exporting ---the engine has built the first update--> Rendering      (engine thread)
//   Exporting ---the send fails or is broken--> Finished
//   Rendering ---sample target reached--> Finished
//   Finished ---target raised, while the render is wanted and did not fail--> Rendering
//   Rendering, Finished ---pause--> Idle ---continue--> Rendering
//   any but Exporting ---stop--> Idle
//   any ---render failure handled--> Idle
//   final render over --> FinalEnded
//
// Threads: the main thread, but for a final render, whose send and frames run on the host's render thread while
// `finalRender` keeps every live path away. Engine threads change the atomic members only.
#pragma once

#include <array>
#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "engine/api/api_item.h"
#include "plugin/core/engine_devices.h"
#include "plugin/core/locks.h"
#include "plugin/core/prelude.h"
#include "plugin/core/scene_object_info.h"
#include "plugin/core/timing_record.h"
#include "plugin/core/windows.h"
#include "plugin/scene/camera_state.h"
#include "plugin/scene/motion_settings.h"

namespace lumora {

class EnvironmentBuilder;
class ObjectLinkTable;
class RenderSettings;

enum class LiveState : Int32 { NotInit = 1, Ready, Idle, Exporting, Rendering, Finished, FinalEnded };

/// "[RENDERING]" and so on; empty for FinalEnded, which keeps the word before it.
const char* stateWord(LiveState state);

/// What an update check found, or asks to be looked at. Letters in the progress line: C M O G L E I i B.
enum UpdateFlags : Int32 {
    UPDATE_MATERIALS = 1,
    UPDATE_LIGHTS = 2,
    UPDATE_GEOMETRY = 4,
    UPDATE_OBJECTS = 8,
    UPDATE_CAMERA = 16,
    UPDATE_INSTANCES = 32,
    UPDATE_INSTANCE_MATRICES = 64,
    UPDATE_BACKGROUND = 128,
    UPDATE_ENVIRONMENT = 0x100,
};

/// Stages of setProgress.
enum ProgressStage : Int32 {
    STAGE_KEEP = 0,
    STAGE_CHECKING = 1,
    STAGE_CHECKED = 2,
    STAGE_COPYING = 3,
    STAGE_COLLECT = 4,
    STAGE_MATERIALS = 5,
    STAGE_LIGHTS = 6,
    STAGE_GEOMETRY = 7,
    STAGE_UPDATING = 8,
    STAGE_UPDATED = 9,
};

/// What a walk of the document collected, by where it goes.
struct SceneCollections {
    RecordList instances;
    std::array<RecordList, 4> meshSlots;
    std::array<bool, 4> slotNeedsLayerMap{};
    RecordList skyObjects, hairObjects, sunLights, lights;
    RecordList particleSources;  ///< their points are places of instances
    RecordList mographObjects;   ///< generators whose clones have colours and ids of their own
    std::vector<BaseMaterial*> usedMaterials;
    Int32 colourTotal = 0;  ///< colours in the tables of colour ids, 0 when there are none
    /// Of the walk: the records from the root to the object in hand, and those of deeper branches before.
    std::deque<SceneObjectInfo> branch;

    /// Empties the lists; their memory stays for the next walk.
    void clear();
    /// Frees their memory, too.
    void release() { *this = {}; }
};

/// A background or foreground object as the engine knows it.
struct BackdropRecord {
    BaseLink link;
    UInt32 dirty = 0;
    Int32 width = 0, height = 0;
    void clear() { *this = {}; }
};

/// A package export that the command line asked for.
struct PendingExport {
    bool pending = false;
    String name;
    Int32 start = 0, end = 0, step = 0;
};

class lumoraLive : public CommandData {
public:
    lumoraLive();
    ~lumoraLive() override;

    // --- The host's command ----------------------------------------------------------------------------------------
    Bool Execute(BaseDocument* document) override;
    Bool RestoreLayout(void* secret) override;

    // --- State -----------------------------------------------------------------------------------------------------
    LiveState state() const { return state_.load(); }
    void setState(LiveState state) { state_.store(state); }
    /// Changes the state only when it is `from`. For engine threads, which race with the main thread.
    bool changeState(LiveState from, LiveState to) { return state_.compare_exchange_strong(from, to); }

    std::atomic<bool> engineStarted{false};  ///< shared mode was started once
    std::atomic<bool> engineReady{false};
    std::atomic<bool> finalRender{false};     ///< a final render owns the session: live paths leave the scene alone
    std::atomic<bool> motionAnalysis{false};  ///< frames are being analysed before they are sent
    std::atomic<bool> firstFrame{false};      ///< the next frame of a final render sends the whole scene
    std::atomic<bool> sendBusy{false};        ///< a send, or the material update, is in progress
    std::atomic<bool> renderEnabled{false};   ///< the render is wanted
    std::atomic<bool> guiBusy{true};          ///< its inverse, as dialogs show it
    std::atomic<bool> updateInProgress{false};
    bool viewportMode = false;  ///< the render fills the view; no Live Viewer is needed
    bool viewportDraw = false;
    bool lockResolution = false;  ///< copy of the settings' switch: take the resolution from the document
    bool postEnabled = false;     ///< the render camera's tag has turned post-processing on
    bool regionActive = false;
    bool backgroundUpdate = false;
    bool pendingUpdate = false;
    bool inDraw = false;

    bool live = false;  ///< initLive has installed callbacks and devices
    /// Of a program that drives the session from outside and shows the picture itself; 0 for none.
    Int64 externalWindow = 0;

    /// Why the engine did not start, a sentence; empty when it did.
    String engineError;

    // --- Documents -------------------------------------------------------------------------------------------------
    BaseLink liveLink, copyLink;
    BaseDocument* liveDoc = nullptr;  ///< the user's
    BaseDocument* sendDoc = nullptr;  ///< what is sent: the same, or the clone of a final render

    void setDocuments(BaseDocument* live, BaseDocument* send);
    /// Resolves both documents from their links; a closed document gives null.
    void refreshDocuments();

    // --- Render target ---------------------------------------------------------------------------------------------
    ApiNode* renderTarget = nullptr;
    ApiNode* animationNode = nullptr;  ///< on the target's animation pin
    ApiNode* mainGroup = nullptr;
    Int32 renderWidth = 0, renderHeight = 0;      ///< of the film
    Int32 lockedWidth = 400, lockedHeight = 300;  ///< last set with the resolution lock
    Float renderScale = 1.0;                      ///< multiplies the document's resolution while it is locked

    /// Pixels; kept, and written to the film settings of the target when they differ.
    void setResolution(Int32 width, Int32 height);
    /// Another size that somebody asked for: the engine is told, and the size is kept for the resolution lock. Sizes
    /// that no film has are left out. Main thread.
    void resizeRender(Int64 width, Int64 height);
    /// Takes the size of the document's active render data, scaled when the lock is on.
    void readDocumentResolution(BaseDocument* document);

    // --- Scene -----------------------------------------------------------------------------------------------------
    SceneCollections collections;
    std::array<std::unique_ptr<EnvironmentBuilder>, 2> environments;  ///< the environment and the visible one
    BackdropRecord background, foreground;
    MotionSettings motion;
    CameraState camera;
    /// Of the root graph after the last stage or update; null until the engine is ready. For counting: a node in it may
    /// be gone. Under itemsLock.
    std::unique_ptr<Lumora::ApiItemArray> items;
    std::mutex itemsLock;

    /// Empties the engine's project and everything that remembers its nodes. With `createDefaults` makes the default
    /// render target again. Leaves the state Exporting.
    void resetScene(bool createDefaults);
    void clearCollections();
    /// Lists the project's items anew, after each stage of a send and after each update. Any thread.
    void collectItems(const char* label);
    /// Drops what points at engine nodes in the material managers.
    void releaseMaterials();

    // --- Flow ------------------------------------------------------------------------------------------------------
    void startRender();  ///< asks for a start; it happens on the main thread
    void stopRender();
    void stopAndReset();
    void pauseRender(bool on);
    void setRenderEnabled(bool on);

    // --- Windows ---------------------------------------------------------------------------------------------------
    SessionWindows windows;
    // Each makes its window when it is missing and opens it; those that show the engine start it first. Closing a
    // window destroys it. False when there is no such window; the log says so. Main thread.
    bool openLiveViewer();
    bool openMainDialog();  ///< tells the user when the engine does not start
    bool openSettings(Int32 tab = 0, Int32 subTab = 0);
    bool openNodeEditor();
    bool openTextureManager();
    bool openHelp(const String& page, const String& fallback);
    bool openMatVault();

    /// Pictures laid over the previews of mix and blend materials. Null until initLive has loaded them.
    std::unique_ptr<BaseBitmap> mixIcon, blendIcon;

    // --- Progress --------------------------------------------------------------------------------------------------
    /// The one channel by which sends and updates say how far they are. Any thread of the session.
    void setProgress(Int32 stage, Int32 flags, bool redraw);
    Int32 stage() const { return stage_.load(); }
    Int32 stageFlags() const { return stageFlags_; }
    /// From the engine's thread: the update is built, so a stage "Updating" ends. No text is written.
    void endUpdatingStage();
    /// Text that setProgress showed last.
    String progressText() const;
    /// Where progress goes while a final render runs: its status text. Null otherwise.
    std::function<void(const String&)> finalStatus;
    /// Shows what setProgress was told on another thread. Main thread.
    void showPendingProgress();

    /// State word and last log line when one of them changed since the last call. Main thread.
    bool takeStatusLine(String* line);
    /// Writes them to the Live Viewer when it is open and the engine is up. At every tick, main thread.
    void updateStatusLine();

    // --- What it cost ----------------------------------------------------------------------------------------------
    TimingRecord generateTime, checkOthersTime, checkObjectsTime, updateTime, materialsTime, exportTime, objectsTime,
        totalTime;
    std::atomic<Int32> checkCount{0};
    std::atomic<Int32> updateCount{0};
    std::atomic<Float> updateStartedAt{0}, lastUpdateMs{0};
    std::atomic<Int32> lastImageTime{0}, previousImageTime{0};
    std::atomic<bool> firstImage{false};
    std::atomic<unsigned long long> sentChangeLevel{0};   ///< of the scene as the last send left it
    std::atomic<unsigned long long> builtChangeLevel{0};  ///< of the last update that the engine has built

    // --- Engine ----------------------------------------------------------------------------------------------------
    DeviceBlock devices;
    EngineFlowLock flowLock;
    OwnerSpinLock updateLock;

    PendingExport exportRequest;
    /// Folders and files of res/osl_scripts. The first folder is the directory itself.
    std::vector<String> scriptNames, scriptPaths;

private:
    bool openWindow(WindowKind kind);
    /// At the size of the render.
    bool showLiveViewer();
    /// The size, the engine and the Live Viewer of a session that the user opens. False when the engine does not start:
    /// the user is told, and the viewer is open all the same, to start again from.
    bool startViewer(BaseDocument* document);
    void tellEngineFailure();

    std::atomic<LiveState> state_{LiveState::NotInit};
    std::atomic<Int32> stage_{0};
    Int32 stageFlags_ = 0, dots_ = 0;
    mutable std::mutex progressLock_;
    String progressText_;
    std::atomic<bool> progressPending_{false};
    LiveState shownState_ = LiveState::FinalEnded;
    String shownWord_, shownMessage_;
};

}  // namespace lumora
