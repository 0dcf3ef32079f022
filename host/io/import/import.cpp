#include "host/io/import/import.h"

#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/io/import/check_geometry.h"
#include "host/io/import/context.h"
#include "host/runtime/child_process.h"
#include "host/sdk/file.h"
#include "host/sdk/log.h"

namespace host {
namespace {

namespace fs = std::filesystem;

constexpr const char* kJob = "import";
constexpr std::size_t kMostWarnings = 100, kLongestLine = 1000;

/// A folder of our own below the host's scratch folder, gone with this object.
class ScratchFolder {
public:
    ScratchFolder() {
        std::error_code error;
        fs::path parent = GeGetStartupWritePath().str();
        if (parent.empty() || !GeFCreateDir(Filename(parent.string()))) parent = fs::temp_directory_path(error);
        std::string name = (parent / "import-XXXXXX").string();
        if (mkdtemp(name.data())) path_ = name;
    }
    ~ScratchFolder() {
        std::error_code error;
        if (!path_.empty()) fs::remove_all(path_, error);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

Float environmentNumber(const char* name) {
    const char* text = std::getenv(name);
    const Float value = text ? std::strtod(text, nullptr) : 0;
    return value > 0 && std::isfinite(value) ? value : 0;
}

/// Megabytes that the reader will have to read: the file, and for glTF the buffers that lie beside it.
Float megabytes(const fs::path& file) {
    std::error_code error;
    auto bytes = static_cast<Float>(fs::file_size(file, error));
    if (file.extension() == ".gltf")
        for (fs::directory_iterator it(file.parent_path().empty() ? "." : file.parent_path(), error), end;
             !error && it != end; it.increment(error))
            if (it->path().extension() == ".bin") bytes += static_cast<Float>(it->file_size(error));
    return bytes / 1e6;
}

ChildLimits limitsFor(const Filename& file, const ImportLimits& wanted) {
    ChildLimits limits;
    limits.memoryBytes = wanted.memoryBytes;
    if (limits.memoryBytes <= 0)
        limits.memoryBytes = static_cast<Int64>(environmentNumber("LUMORA_IMPORT_MEMORY") * (1 << 20));
    if (limits.memoryBytes <= 0) {
        const Int64 pages = sysconf(_SC_PHYS_PAGES), page = sysconf(_SC_PAGE_SIZE);
        limits.memoryBytes = std::max<Int64>(pages * page / 4 * 3, Int64(1) << 30);
    }
    limits.cpuSeconds = wanted.seconds > 0 ? wanted.seconds : environmentNumber("LUMORA_IMPORT_SECONDS");
    if (!(limits.cpuSeconds > 0)) limits.cpuSeconds = std::min(30 + 10 * megabytes(file.str()), 3600.0);
    limits.wallSeconds = 2 * limits.cpuSeconds;
    limits.fileBytes = limits.memoryBytes;
    return limits;
}

/// The report of the job: a line a message, "E" for the error and "W" for warnings.
void writeReport(const std::string& file, const String& error, const std::vector<String>& warnings) {
    std::ofstream out(file, std::ios::binary);
    if (error.Content()) out << "E" << error.str() << "\n";
    for (const String& warning : warnings) out << "W" << warning.str() << "\n";
}

void readReport(const std::string& file, String& error, std::vector<String>& warnings) {
    std::ifstream in(file, std::ios::binary);
    std::string line;
    while (std::getline(in, line) && warnings.size() < kMostWarnings) {
        if (line.size() < 2 || line.size() > kLongestLine) continue;
        const String text(line.substr(1));
        if (line[0] == 'E') error = text;
        if (line[0] == 'W') warnings.push_back(text);
    }
}

/// In the child. Arguments: the file, the folder for the results.
int importJob(const std::vector<std::string>& arguments) {
    if (arguments.size() != 2) return 2;
    const std::string& folder = arguments[1];
    BaseDocument* document = BaseDocument::Alloc();
    String error;
    std::vector<String> warnings;
    Bool good = importInProcess(Filename(arguments[0]), *document, &error, &warnings);
    if (good) good = SaveDocument(document, Filename(folder + "/scene.lumdoc"), &error);
    writeReport(folder + "/report", error, warnings);
    // The process ends here: its memory need not be taken apart first.
    std::_Exit(good ? 0 : 1);
}

const bool kRegistered = registerChildJob(kJob, importJob);

BaseDocument* importFile(const Filename& file, String* error, std::vector<String>* warnings,
                         const ImportLimits& limits) {
    const auto fail = [&](const std::string& reason) -> BaseDocument* {
        if (error) *error = String(file.str() + " could not be imported: " + reason + ".");
        return nullptr;
    };
    std::error_code status;
    const fs::path path(file.str());
    // What needs no child to be told.
    if (!fs::exists(path, status)) return fail("the file does not exist");
    if (fs::is_directory(path, status)) return fail("it is a folder");
    if (!fs::is_regular_file(path, status)) return fail("it is not a file");
    if (access(path.c_str(), R_OK) != 0) return fail("the file may not be read");
    if (fs::file_size(path, status) == 0) return fail("the file is empty");
    if (!isImportFile(file)) return fail("\"" + file.GetSuffix().str() + "\" is no format that can be imported");
    const ScratchFolder scratch;
    if (!kRegistered || scratch.path().empty()) return fail("there is no folder for scratch files");

    const std::string absolute = fs::absolute(path, status).lexically_normal().string();
    const ChildResult result = runInChild(kJob, {absolute, scratch.path()}, limitsFor(file, limits), -1, limits.stop);
    String reported;
    std::vector<String> told;
    readReport(scratch.path() + "/report", reported, told);
    if (result.end == ChildEnd::Exited && result.exitCode == 1 && reported.Content()) {
        if (error) *error = reported;
        return nullptr;
    }
    if (result.end == ChildEnd::NotStarted) return fail(result.error);
    if (!result.ok()) return fail("the reader " + (result.error.empty() ? "failed" : result.error));

    BaseDocument* document = LoadDocument(Filename(scratch.path() + "/scene.lumdoc"), &reported);
    if (!document) return fail("the reader's result is broken (" + reported.str() + ")");
    String wrong;
    if (!checkGeometry(*document, &wrong)) {
        BaseDocument::Free(document);
        return fail("the reader's result is broken (" + wrong.str() + ")");
    }
    document->SetDocumentPath(Filename(fs::path(absolute).parent_path().string()));
    document->SetDocumentName(file.GetFileString());
    document->SetChanged(false);
    if (warnings) *warnings = std::move(told);
    return document;
}

}  // namespace

BaseDocument* importScene(const Filename& file, String* error, std::vector<String>* warnings,
                          const ImportLimits& limits) {
    StatusSetText(String("Reading " + file.GetFileString().str()));
    BaseDocument* document = nullptr;
    try {
        document = importFile(file, error, warnings, limits);
    } catch (const std::exception& e) {
        if (error) *error = String(file.str() + " could not be imported: " + e.what() + ".");
    }
    StatusClear();
    return document;
}

}  // namespace host
