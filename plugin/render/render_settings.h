// The record of everything that the user sets for kernels, imager, post-processing and passes.
//
// One global record serves the live render; a final render has its own. The record is a working copy: the lasting form
// is a container, that of the renderer's video post or one inside the document. All of it walks the table of
// settings_table.h.
//
// Threads: the main thread, or the thread of the final render that owns the record.
#pragma once

#include <vector>

#include "host/sdk/plugin.h"
#include "plugin/materials/engine_write.h"
#include "plugin/render/settings_table.h"

namespace lumora {

class RenderSettings {
public:
    RenderSettings() { resetDefaults(); }

    // --- Record -----------------------------------------------------------------------------------------------------
    void resetDefaults();
    void setDocument(BaseDocument* doc, bool engineReady);
    BaseDocument* document() const { return doc_; }

    Int32 kernel() const;
    /// By stored id; 0 for an unknown one.
    Float number(Int32 id) const;
    bool flag(Int32 id) const { return number(id) != 0; }
    Vector colour(Int32 id) const;
    String text(Int32 id) const;
    Float numberAt(Int32 row) const { return values_[static_cast<std::size_t>(row)].number; }
    /// Samples per pixel of the kernel in force.
    Int32 maxSamples() const;
    Vector environmentColour() const { return colour(SETTING_ENVIRONMENT_COLOR); }

    // --- Setting values: false for an unknown address. With `apply` the engine's nodes follow ------------------------
    bool setValueByKey(const String& group, const String& key, Float value, bool apply);
    bool setValueByCode(const String& group, Int32 code, Float value, bool apply);
    bool setValueById(Int32 id, Float value, bool apply);
    bool setKernel(Int32 type, bool apply);
    bool setPass(Int32 passId, bool on, bool apply);
    bool setColour(const String& group, const String& key, const Vector& colour, bool apply);
    bool setFile(const String& group, const String& key, const Filename& file, bool apply);

    /// "Group.key" and a text, as a person types them; "kernel" and "samples" stand for the kernel in force. False with
    /// one sentence when the key is unknown, or the value is no number or out of range.
    bool setFromText(const String& key, const String& value, String* error);
    std::vector<RendererSetting> list() const;

    // --- Storage ----------------------------------------------------------------------------------------------------
    void readFromContainer(const BaseContainer& bc);
    void writeToContainer(BaseContainer& bc) const;
    /// The document's stored container, or null.
    BaseContainer* container();
    /// Makes the document's stored container from the record when it is missing. False without a document.
    bool ensureContainer();
    bool readFromDocument(bool create);
    bool writeToDocument();

    // --- Engine: kernel_nodes.cpp. Each finds the render target first and does nothing without one. True: written
    // -----
    bool createKernelNode(Int32 kernel);
    bool connectKernel();
    ApiNode* createImagerNode();
    ApiNode* createPostNode();
    bool applyKernelNodes();
    bool applyKernelSettings();
    bool applyImager();
    bool applyPost();
    /// All of it, as a send does.
    bool applyAll();

    /// Where the nodes hang; when null or gone the first one of the project is taken.
    ApiNode* renderTarget = nullptr;

private:
    struct Value {
        Float number = 0;
        Vector colour;
        String text;
    };
    bool change(Int32 row, const Value& value, bool apply);
    bool applyGroup(SettingGroup group);
    ApiNode* target();
    Float imagerExposure() const;

    std::vector<Value> values_;  ///< one for each row of the table
    BaseDocument* doc_ = nullptr;
    bool engineReady_ = false;
    Int32 storedVersion_ = 0;
    ApiNode* kernelNodes_[4] = {};
};

}  // namespace lumora
