// The running host as a program drives it: start, plug-ins, events, end.
//
//   Application app(options);      folders, log, preferences, built-in types, main thread
//   app.loadPlugins();             priority -> system init -> start, in order; then menus and "program started"
//   app.sendCommandLine(args);     plug-ins null what they consume
//   ... open documents, app.processEvents() / app.runUntil(...)
//   destructor or app.end()        end of activity -> end of program -> documents -> plug-ins unloaded
//
// One at a time in a process; may be made again after it ended (tests do). Main thread only.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/sdk/plugin.h"
#include "host/sdk/string.h"

namespace host {

struct ApplicationOptions {
    Filename preferences;  ///< folder; empty: $LUMORA_PREFERENCES, else the user's configuration folder
    Filename plugins;      ///< folder that holds one folder a plug-in; empty: "plugins" beside the executable
    Bool loadPlugins = true;
    Int32 threads = 0;  ///< processors for the host's parallel work; 0: all
    AppType type = AppType::CommandLine;
    std::function<void(const String&)> console;  ///< every console line, from any thread; empty: the log file only
    std::function<void(const String&)> status;   ///< every status bar text
};

/// A plug-in that failed to load or to start, and why.
struct PluginFailure {
    Filename file;
    String reason;
};

class Application {
public:
    explicit Application(ApplicationOptions options);
    ~Application();
    Application(const Application&) = delete;
    Application& operator=(const Application&) = delete;

    /// Loads every plug-in of the folder. Failures are kept and logged; the others run.
    void loadPlugins();
    /// Starts an entry that is linked into the program (tests). `directory` is what the plug-in sees as its own.
    Bool startPlugin(bool (*entry)(PluginCall*), const Filename& directory);
    const std::vector<PluginFailure>& failures() const;

    /// Sends a message to every plug-in, in order of priority. True when one of them answered true.
    Bool sendMessage(Int32 id, void* data);
    void sendCommandLine(std::vector<std::string>& arguments);  ///< consumed ones are removed
    /// Delivers the events that wait now, and the timers that are due. False when nothing was done.
    Bool processEvents();
    /// Delivers events until the condition holds or the time is over (seconds; < 0: no limit). True: it holds.
    Bool runUntil(const std::function<Bool()>& condition, Float seconds);
    void end();

    static Application* current();  ///< null when none runs

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace host
