// LoadDocument and SaveDocument.
#include <exception>
#include <vector>

#include "host/io/document_file.h"
#include "host/io/import/embedded_images.h"
#include "host/io/import/import.h"
#include "host/sdk/log.h"

namespace host {
namespace {

BaseDocument* loadOwn(const Filename& file, String* error) {
    HyperFile source;
    BaseDocument* document =
        source.Open(kDocumentIdent, file, FileMode::Read, kDocumentVersion) ? readDocument(source) : nullptr;
    if (!document) {
        if (source.GetError() != FileError::WrongIdent)
            *error = source.GetErrorText();
        else
            *error =
                "\"" + file.GetString() +
                (file.CheckSuffix(kDocumentSuffix) ? "\" is not a document, whatever its name says."
                                                   : "\" is neither a document nor a scene file that can be imported.");
        return nullptr;
    }
    document->SetDocumentPath(file.GetDirectory());
    document->SetDocumentName(file.GetFileString());
    String unwritten;
    if (!materialiseEmbeddedImages(*document, &unwritten)) GeConsoleOut("Warning: " + unwritten);
    document->SetChanged(false);
    return document;
}

BaseDocument* loadForeign(const Filename& file, String* error) {
    std::vector<String> warnings;
    BaseDocument* document = importScene(file, error, &warnings);
    for (const String& warning : warnings) GeConsoleOut("Warning: " + file.GetFileString() + ": " + warning);
    return document;
}

}  // namespace

BaseDocument* LoadDocument(const Filename& file, String* error) {
    String reason;
    BaseDocument* document = nullptr;
    try {
        document = isImportFile(file) ? loadForeign(file, &reason) : loadOwn(file, &reason);
    } catch (const std::exception& e) {
        reason = "\"" + file.GetString() + "\" could not be read: " + e.what() + ".";
    }
    if (!document && error) *error = reason;
    return document;
}

Bool SaveDocument(BaseDocument* document, const Filename& file, String* error) {
    String reason;
    Bool good = false;
    try {
        HyperFile target;
        if (!document) {
            reason = "There is no document to save.";
        } else if (!file.CheckSuffix(kDocumentSuffix)) {
            reason = "Documents are saved as ." + String(kDocumentSuffix) + " files: \"" + file.GetString() +
                     "\" has another suffix.";
        } else {
            good = target.Open(kDocumentIdent, file, FileMode::Write, kDocumentVersion) &&
                   writeDocument(target, *document) && target.Close();
            if (!good) reason = target.GetErrorText();
        }
    } catch (const std::exception& e) {
        reason = "\"" + file.GetString() + "\" could not be written: " + e.what() + ".";
    }
    if (good) {
        document->SetDocumentPath(file.GetDirectory());
        document->SetDocumentName(file.GetFileString());
        document->SetChanged(false);
    } else if (error) {
        *error = reason;
    }
    return good;
}

}  // namespace host
