// lumora convert: any document that can be read becomes a document file of the host.
#include <cstdio>
#include <filesystem>

#include "app/failure.h"
#include "app/interrupt.h"
#include "app/options.h"
#include "app/output_file.h"
#include "app/renderer.h"
#include "app/session.h"

namespace app {

int convertCommand(const Options& options) {
    if (!host::Filename(options.output).CheckSuffix("lumdoc"))
        throw Failure(kExitUsage, options.output + ": documents are written as .lumdoc files only.");
    checkWritable(options.output);

    Session session(options);
    host::BaseDocument& document = session.open(options.scene);
    // So that the document renders as the original does.
    if (session.imported() && Renderer::available()) Renderer(session, document).setImportDefaults();
    host::String error;
    if (!host::SaveDocument(&document, host::Filename(options.output), &error))
        throw Failure(kExitFailure, error.Content() ? error.str() : options.output + " could not be written.");
    if (!options.quiet) std::printf("%s\n", std::filesystem::absolute(options.output).lexically_normal().c_str());
    return kExitOk;
}

}  // namespace app
