#include "app/session.h"

#include "app/failure.h"
#include "app/interrupt.h"
#include "app/terminal.h"
#include "host/io/import/frame_view.h"
#include "host/io/import/import.h"

namespace app {
namespace {

/// Lines that a user must see without --verbose: the host and the plug-ins mark them so.
bool isWarning(const host::String& line) {
    const host::String lower = line.ToLower();
    return lower.Find("warning:") >= 0 || lower.Find("error:") >= 0;
}

}  // namespace

Session::Session(const Options& options) : quiet_(options.quiet) {
    host::ApplicationOptions start;
    start.preferences = host::Filename(options.preferences);
    start.threads = options.threads;
    start.type = host::AppType::CommandLine;
    start.console = [verbose = options.verbose, quiet = options.quiet](const host::String& line) {
        if (verbose || (!quiet && isWarning(line))) terminal::print(line.str());
    };
    application_ = std::make_unique<host::Application>(std::move(start));
    application_->loadPlugins();

    std::vector<std::string> arguments = options.pluginArguments;
    application_->sendCommandLine(arguments);
    if (!arguments.empty()) throw Failure(kExitUsage, "No plug-in takes the argument \"" + arguments.front() + "\".");
}

Session::~Session() = default;

std::string Session::pluginFailures() const {
    std::string text;
    for (const host::PluginFailure& failure : application_->failures()) {
        if (!text.empty()) text += "; ";
        text += failure.file.GetFileString().str() + ": " + failure.reason.str();
    }
    return text;
}

host::BaseDocument& Session::open(const std::string& file) {
    const host::Filename name(file);
    host::String error;
    imported_ = host::isImportFile(name);
    if (imported_) {
        std::vector<host::String> warnings;
        host::ImportLimits limits;
        limits.stop = interrupted;
        document_.reset(host::importScene(name, &error, &warnings, limits));
        if (!quiet_)
            for (const host::String& warning : warnings)
                terminal::print("lumora: warning: " + file + ": " + warning.str());
    } else {
        document_.reset(host::LoadDocument(name, &error));
    }
    // The reader may have been ended by the same Ctrl-C: then that is the reason, whatever it says.
    if (interrupted()) throw Failure(kExitInterrupted, "Interrupted while reading " + file + ".");
    if (!document_) throw Failure(kExitFailure, error.Content() ? error.str() : file + " could not be read.");
    document_->ExecutePasses(true, true, true);
    return *document_;
}

void Session::frameFor(double aspect) {
    if (imported_ && !document_->GetActiveBaseDraw()->GetSceneCamera(document_.get()))
        host::frameView(*document_, aspect);
}

}  // namespace app
