#include "host/runtime/application.h"

#include <algorithm>
#include <chrono>
#include <stdexcept>

#include "host/runtime/console.h"
#include "host/runtime/crash.h"
#include "host/runtime/events.h"
#include "host/runtime/machine.h"
#include "host/runtime/menus.h"
#include "host/runtime/paths.h"
#include "host/runtime/plugin_loader.h"
#include "host/runtime/scene_hooks.h"
#include "host/runtime/threads.h"
#include "host/runtime/world_data.h"
#include "host/sdk/document.h"
#include "host/sdk/file.h"
#include "host/sdk/log.h"

namespace host {

namespace {

Application* running = nullptr;

// A condition may come true on another thread that posts nothing; it is looked at this often.
constexpr Float kConditionInterval = 0.02;

}  // namespace

struct Application::Impl {
    ApplicationOptions options;
    PluginLoader plugins;
    bool ended = false;
};

Application::Application(ApplicationOptions options) : impl_(std::make_unique<Impl>()) {
    if (running) throw std::logic_error("a host runs in this process already");
    running = this;
    impl_->options = std::move(options);
    const ApplicationOptions& o = impl_->options;
    adoptMainThread();
    setThreadCount(o.threads);
    setAppType(o.type);
    const Bool lasting = setHostPaths(o.preferences, o.plugins);
    const Filename preferences = GeGetC4DPath(HostPath::Preferences);
    openConsole({o.console, o.status}, preferences + Filename("lumora.log"));
    if (!lasting) {
        GeConsoleOut("Warning: the preferences folder cannot be written; " + preferences.GetString() + " is used.");
    }
    loadWorldData(preferences + Filename("world.prefs"));
    resetEvents();
    resetMenus();
    installCrashSignals();
}

Application::~Application() {
    end();
}

Application* Application::current() {
    return running;
}

void Application::loadPlugins() {
    if (!impl_->options.loadPlugins) return;
    impl_->plugins.loadFolder(GeGetC4DPath(HostPath::Plugins));
    impl_->plugins.announceStarted();
}

Bool Application::startPlugin(bool (*entry)(PluginCall*), const Filename& directory) {
    if (!impl_->plugins.start(entry, directory)) return false;
    impl_->plugins.announceStarted();
    return true;
}

const std::vector<PluginFailure>& Application::failures() const {
    return impl_->plugins.failures();
}

Bool Application::sendMessage(Int32 id, void* data) {
    return impl_->plugins.message(id, data);
}

void Application::sendCommandLine(std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    CommandLineArgs call{static_cast<Int32>(arguments.size()), argv.data()};
    sendMessage(C4DPL_COMMANDLINEARGS, &call);
    std::vector<std::string> left;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (argv[i]) left.push_back(std::move(arguments[i]));
    }
    arguments = std::move(left);
}

Bool Application::processEvents() {
    return deliverEvents();
}

Bool Application::runUntil(const std::function<Bool()>& condition, Float seconds) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    for (;;) {
        const Bool any = deliverEvents();
        if (condition && condition()) return true;
        const Float used = std::chrono::duration<Float>(Clock::now() - begin).count();
        if (seconds >= 0 && used >= seconds) return false;
        if (any) continue;
        waitForEvents(seconds < 0 ? kConditionInterval : std::min(kConditionInterval, seconds - used));
    }
}

void Application::end() {
    if (!impl_ || impl_->ended) return;
    impl_->ended = true;
    impl_->plugins.message(C4DPL_ENDACTIVITY, nullptr);
    impl_->plugins.message(C4DPL_ENDPROGRAM, nullptr);
    resetEvents();
    // Documents hold nodes whose classes are the plug-ins', so they go before the libraries.
    releaseAllSceneHooks();
    while (BaseDocument* document = GetFirstDocument()) KillDocument(document);
    impl_->plugins.endAll();
    resetEvents();
    removeCrashSignals();
    dropWorldData();
    setThreadCount(0);
    closeConsole();
    running = nullptr;
}

}  // namespace host
