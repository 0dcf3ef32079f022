// What the readers of foreign files share: the document that they fill, their warnings, and the images that a file
// carries inside itself.
#pragma once

#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/sdk/document.h"

namespace host::importer {

/// Thrown inside the readers for a file that cannot be used; the text is the sentence that the user sees. Never leaves
/// importInProcess.
class ImportError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Host units a metre: files come in metres, documents are in centimetres.
inline constexpr Float kUnitsPerMetre = 100.0;

/// Deepest node tree that is read. Everything that walks a document later does so by recursion.
inline constexpr int kMaxDepth = 1000;

class Context {
public:
    Context(const Filename& file, BaseDocument& document) : file(file), document(document) {}

    const Filename file;
    BaseDocument& document;

    /// One sentence. Repeated ones are kept once, and only so many in all.
    void warn(const std::string& text);
    /// Counts a thing that was left out; becomes one warning "N <what>" at the end.
    void leftOut(const std::string& what, Int64 count);
    /// Writes the counts into the warnings and hands over what was collected. Called once, at the end.
    void finish();
    std::vector<String>& warnings() { return warnings_; }

    /// Remembers an object that is not in the document yet, so that an error does not lose it. Null passes.
    template <typename T>
    T* keep(T* object) {
        if (object) loose_.push_back(object);
        return object;
    }
    /// Frees what was kept and never came into the document.
    void freeLoose();

    /// The path under which a document names the image `name` of the file: absolute; looked for beside the file, in
    /// "tex" and "textures", without regard to case, and with foreign folders dropped. When it is nowhere, a warning
    /// names it and the path that it should have is returned.
    Filename imagePath(const std::string& name);
    /// Keeps the encoded bytes of an image in the document and returns the name under which shaders refer to it.
    Filename embedImage(std::span<const UChar> bytes, const std::string& name);

private:
    std::vector<String> warnings_;
    std::map<std::string, Int64> leftOut_;
    std::map<std::string, Filename> imagePaths_;
    BaseContainer embedded_;
    std::vector<BaseObject*> loose_;
};

/// Printable UTF-8 of at most 200 bytes, for names from files that stand in messages and in documents.
std::string cleanName(const std::string& text);

}  // namespace host::importer
