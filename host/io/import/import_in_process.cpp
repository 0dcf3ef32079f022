#include <filesystem>
#include <new>

#include "host/io/import/assimp_scene.h"
#include "host/io/import/context.h"
#include "host/io/import/frame_view.h"
#include "host/io/import/gltf_scene.h"
#include "host/io/import/import.h"
#include "host/io/import/stl_file.h"

namespace host {
namespace {

namespace fs = std::filesystem;

struct Format {
    const char* suffix;
    void (*read)(importer::Context&);
};
constexpr Format kFormats[] = {
    {"gltf", importer::readGltf},      {"glb", importer::readGltf},       {"obj", importer::readWithAssimp},
    {"fbx", importer::readWithAssimp}, {"ply", importer::readWithAssimp}, {"stl", importer::readStl},
    {"dae", importer::readWithAssimp},
};

const Format* formatOf(const Filename& file) {
    for (const Format& format : kFormats)
        if (file.CheckSuffix(format.suffix)) return &format;
    return nullptr;
}

Bool hasPolygons(const BaseObject* object) {
    for (; object; object = object->GetNext())
        if (object->GetType() == Opolygon || hasPolygons(object->GetDown())) return true;
    return false;
}

/// One sentence; the reasons are written to follow the name of the file.
String sentence(const Filename& file, const std::string& reason) {
    return String(file.str() + " could not be imported: " + importer::cleanName(reason) + ".");
}

}  // namespace

Bool isImportFile(const Filename& file) {
    return formatOf(file) != nullptr;
}

Bool importInProcess(const Filename& file, BaseDocument& document, String* error, std::vector<String>* warnings) {
    const auto fail = [&](const std::string& reason) {
        if (error) *error = sentence(file, reason);
        return false;
    };
    std::error_code status;
    const fs::path path(file.str());
    if (!fs::exists(path, status)) return fail("the file does not exist");
    if (fs::is_directory(path, status)) return fail("it is a folder");
    if (!fs::is_regular_file(path, status)) return fail("it is not a file");
    if (fs::file_size(path, status) == 0) return fail("the file is empty");
    const Format* format = formatOf(file);
    if (!format) return fail("\"" + file.GetSuffix().str() + "\" is no format that can be imported");

    const fs::path absolute = fs::absolute(path, status).lexically_normal();
    importer::Context context(Filename(absolute.string()), document);
    try {
        document.SetUnitScale(1 / importer::kUnitsPerMetre);
        document.SetDocumentPath(Filename(absolute.parent_path().string()));
        document.SetDocumentName(file.GetFileString());
        format->read(context);
        if (!hasPolygons(document.GetFirstObject())) context.warn("the file holds nothing that can be rendered");
        context.finish();
        frameView(document);
    } catch (const importer::ImportError& e) {
        context.freeLoose();
        return fail(e.what());
    } catch (const std::bad_alloc&) {
        context.freeLoose();
        return fail("there is not enough memory");
    } catch (const std::exception& e) {
        context.freeLoose();
        return fail(std::string("it is broken (") + e.what() + ")");
    }
    if (warnings) *warnings = context.warnings();
    return true;
}

}  // namespace host
