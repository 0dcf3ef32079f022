// The running host for one command, and the document that it works on.
#pragma once

#include <memory>
#include <string>

#include "app/options.h"
#include "host/runtime/application.h"
#include "host/sdk/document.h"

namespace app {

/// Starts the host and its plug-ins; ends them when it goes. One at a time.
class Session {
public:
    /// Throws Failure when an argument after "--" is none that a plug-in takes.
    explicit Session(const Options& options);
    ~Session();

    host::Application& application() { return *application_; }
    /// Why a plug-in did not start, one clause for each; empty when all did.
    std::string pluginFailures() const;

    /// Reads the file and evaluates the document at its time. The session owns it, and it is none of the host's open
    /// documents: the host would evaluate those on the main thread while a render works on them. Throws Failure.
    host::BaseDocument& open(const std::string& file);
    /// Whether the document came from a foreign file.
    bool imported() const { return imported_; }
    /// Frames the whole scene for a picture of that shape (width over height), when the document came from a foreign
    /// file without a camera. What a document of the host's own shows stays.
    void frameFor(double aspect);

private:
    struct FreeDocument {
        void operator()(host::BaseDocument* document) const { host::BaseDocument::Free(document); }
    };
    const bool quiet_;
    bool imported_ = false;
    std::unique_ptr<host::Application> application_;
    std::unique_ptr<host::BaseDocument, FreeDocument> document_;  // goes before the host
};

}  // namespace app
