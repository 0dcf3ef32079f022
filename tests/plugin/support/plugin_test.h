// Host, plug-in and engine running together, headless, with scratch preferences. LUMORA_TEST_CONSOLE=1 shows the host's
// console.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "engine/api/lumora_api.h"
#include "host/runtime/application.h"
#include "plugin/core/prelude.h"
#include "plugin/core/session.h"

namespace lumora::test {

/// A folder that goes with the object.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    Filename path() const { return Filename(path_.string()); }

private:
    std::filesystem::path path_;
};

class PluginTest : public ::testing::Test {
protected:
    void SetUp() override { start(); }
    void TearDown() override { end(); }

    /// Starts the host and the plug-in, which finds its engine below `pluginDirectory`.
    void start(const std::string& pluginDirectory = LUMORA_TEST_PLUGIN_DIR);
    void end();

    lumoraLive& live() const;
    /// Delivers events until the condition holds; false after `seconds`.
    bool waitFor(const std::function<bool()>& condition, double seconds = 60);
    bool waitForState(LiveState state) {
        return waitFor([&] { return live().state() == state; });
    }
    /// Opens the document, sets the size of its pictures and starts the live render; waits until it renders.
    void startLive(BaseDocument* document, int width = 64, int height = 48);

    ApiNode* mainGroup() const;
    /// Lines of the console so far that contain the text.
    int consoleCount(const std::string& text) const;

    std::function<void(const String&)> onStatus;
    std::unique_ptr<Application> app;
    ScratchFolder preferences;

private:
    std::vector<std::string> console_;
    mutable std::mutex consoleLock_;
};

/// A cube on nothing, a light-emitting plane above it and a camera; the plane's luminance is `emission`.
BaseDocument* makeLitCube(double emission = 3.0);
/// Sets a setting as the command line does; the error text, empty when it was taken.
String setRendererSetting(Application& app, BaseDocument* document, const char* key, const char* value);

}  // namespace lumora::test
