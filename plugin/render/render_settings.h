// The record of everything that the user sets for kernels, imager, post-processing and passes.
//
// One global record serves the live render; a final render has its own. The record is a working copy: the lasting form
// is a container, that of the renderer's video post or one inside the document. All of it walks the table of
// settings_table.h.
//
// Threads: the main thread, or the thread of the final render that owns the record.
#pragma once

#include <vector>

#include "plugin/materials/engine_write.h"
#include "plugin/render/settings_table.h"

namespace lumora {

class SessionWindow;
struct PluginPrefs;

/// Of the three the one that the row's type names counts.
struct SettingValue {
    Float number = 0;
    Vector colour;
    String text;
};

class RenderSettings {
public:
    RenderSettings() { resetDefaults(); }

    // --- Record -----------------------------------------------------------------------------------------------------
    void resetDefaults();
    /// A document's container is looked over for the version that wrote it when it is first used.
    void setDocument(BaseDocument* doc, bool engineReady);
    BaseDocument* document() const { return doc_; }

    Int32 kernel() const;
    /// By stored id; 0 for an unknown one.
    Float number(Int32 id) const;
    bool flag(Int32 id) const { return number(id) != 0; }
    Vector colour(Int32 id) const;
    String text(Int32 id) const;
    /// By position in the table.
    const SettingValue& valueAt(Int32 row) const { return values_[static_cast<std::size_t>(row)]; }
    Float numberAt(Int32 row) const { return valueAt(row).number; }
    /// Samples per pixel of the kernel in force.
    Int32 maxSamples() const;
    Vector environmentColour() const { return colour(SETTING_ENVIRONMENT_COLOR); }
    /// Version that wrote what the record was read from.
    Int32 storedVersion() const { return storedVersion_; }
    /// Alpha channel of the kernel that was written last.
    bool alphaChannel() const { return alphaChannel_; }

    // --- Setting values ---------------------------------------------------------------------------------------------
    // False for an unknown address; the container is written all the same. With `apply` the engine's nodes follow.
    bool setValueByKey(const String& group, const String& key, Float value, bool apply);
    bool setValueById(const String& group, Int32 code, Float value, bool apply);
    bool setValueByStoredId(Int32 id, Float value, bool apply);
    bool setKernel(Int32 type, bool apply);
    /// The switch of that key, or with an empty key that of the pass.
    bool setPass(const String& key, Int32 passId, bool on, bool apply);
    bool applyColour(const String& group, const String& key, const Vector& colour, bool apply);
    bool setFile(const String& group, const String& key, const Filename& file, bool apply);
    /// By position in the table; -1 is an unknown address.
    bool setValueAt(Int32 row, const SettingValue& value, bool apply);

    // --- Storage ----------------------------------------------------------------------------------------------------
    /// Values that are missing get the container's defaults, values that are no numbers too.
    void readFromContainer(const BaseContainer& bc, SettingGroups groups = kAllGroups);
    void writeToContainer(BaseContainer& bc, SettingGroups groups = kAllGroups) const;
    /// The document's stored container, or null. The first call for a document that an older version wrote converts it.
    BaseContainer* container();
    /// Makes the document's stored container when it is missing: from the record, or from an object in which earlier
    /// versions kept it. False without a document.
    bool ensureContainer();
    bool readFromDocument(bool create);
    /// Into the document's container, which is made when it is missing: with the direct lighting kernel then.
    bool writeToDocument(SettingGroups groups = kAllGroups);
    /// Everything that the document stores is dropped; record and container get the defaults.
    bool restoreDefaults();

    /// Shows every value in its control of the settings dialog. Main thread.
    void writeToDialog(SessionWindow& dialog) const;

    // --- Engine -----------------------------------------------------------------------------------------------------
    // Each finds the render target first and does nothing without one. True: something was written.
    // kernel_nodes.cpp:
    bool createKernelNode(Int32 kernel);
    bool connectKernel();
    ApiNode* createImagerNode();
    ApiNode* createPostNode();
    bool applyKernelNodes();
    bool applyKernelSettings();
    // imager_nodes.cpp:
    bool applyImager();
    /// The imager's LUT node stands while `name` leads to a file from the document's folder.
    bool applyLutFile(ApiNode* imager, const String& name);
    /// Tells the dialogs what changed.
    bool applyPost();
    // pass_nodes.cpp:
    /// Makes or drops the nodes of render passes and layer and writes them. `notify`: the engine takes the change.
    bool applyPasses(bool notify);
    /// Every switch of the passes node, whatever the record says.
    bool setAllPasses(bool on);
    /// The layer node for one layer's picture. Returns when the engine's picture shows it.
    bool setLayerPass(bool on, Int32 layerId, bool invert);
    /// Adaptive sampling needs the noise pass, whether the user wants to see it or not.
    bool setNoisePass(bool on);
    /// All of it, as a send does: on that target, or where it hangs already when null. Of the preferences those of the
    /// engine's memory; null leaves these alone.
    bool apply(ApiNode* renderTarget, const PluginPrefs* prefs);

    /// Where the nodes hang; when null or gone the first one of the project is taken.
    ApiNode* renderTarget = nullptr;
    /// The render camera's tag has taken over these nodes: the record leaves them alone.
    bool imagerOverridden = false, postOverridden = false;
    /// Pin of the pass that the Live Viewer shows, which no switch turns off; 0: the picture.
    Int32 shownPassPin = 0;

private:
    void checkVersion(BaseContainer& bc);
    bool applyGroup(SettingGroup group);
    ApiNode* target();
    Float imagerExposure() const;
    bool writeGroupPins(ApiNode* node, SettingGroup group, PinHome home);
    bool writeLightIds(ApiNode* kernel, SettingGroup group, PinId pin);
    bool writePasses(ApiNode* passes);
    bool writeLayer(ApiNode* target);

    std::vector<SettingValue> values_;  ///< one for each row of the table
    BaseDocument* doc_ = nullptr;
    bool engineReady_ = false;
    bool conversionDue_ = false;  ///< the document's container has not been looked over yet
    Int32 storedVersion_ = 0;     ///< that wrote what the record was read from
    bool alphaChannel_ = false;
    bool noisePass_ = false;  ///< adaptive sampling holds the noise pass on
    ApiNode* kernelNodes_[4] = {};
    String missingLut_;  ///< file that was not found: said once
};

}  // namespace lumora
