#include "host/io/import/context.h"

#include <algorithm>
#include <filesystem>

#include "host/io/import/embedded_images.h"

namespace host::importer {
namespace fs = std::filesystem;
namespace {

constexpr std::size_t kMaxWarnings = 60;

std::string lower(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// The entry of the folder with that name, exactly or else without regard to case; empty when there is none.
fs::path findIn(const fs::path& folder, const std::string& name) {
    std::error_code error;
    if (name.empty() || name == "." || name == "..") return {};
    if (fs::is_regular_file(folder / name, error)) return folder / name;
    const std::string wanted = lower(name);
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error))
        if (lower(it->path().filename().string()) == wanted && it->is_regular_file(error)) return it->path();
    return {};
}

}  // namespace

std::string cleanName(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size() && out.size() < 200;) {
        const auto c = static_cast<unsigned char>(text[i]);
        const std::size_t length = c < 0x80 ? 1 : c >= 0xF0 && c < 0xF5 ? 4 : c >= 0xE0 ? 3 : c >= 0xC2 ? 2 : 0;
        bool good = length > 0 && c < 0xF5 && i + length <= text.size();
        for (std::size_t k = 1; good && k < length; ++k)
            good = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
        if (!good) {
            out += '?';
            ++i;
            continue;
        }
        if (length == 1)
            out += c < 0x20 || c == 0x7F ? ' ' : text[i];
        else
            out.append(text, i, length);
        i += length;
    }
    return out;
}

void Context::warn(const std::string& text) {
    const String line(cleanName(text.substr(0, 180)) + (text.size() > 180 ? "..." : ""));
    if (std::find(warnings_.begin(), warnings_.end(), line) != warnings_.end()) return;
    if (warnings_.size() < kMaxWarnings)
        warnings_.push_back(line);
    else if (warnings_.size() == kMaxWarnings)
        warnings_.push_back("further warnings are not shown");
}

void Context::leftOut(const std::string& what, Int64 count) {
    if (count > 0) leftOut_[what] += count;
}

void Context::finish() {
    for (const auto& [what, count] : leftOut_) warn(std::to_string(count) + " " + what);
    leftOut_.clear();
    if (embedded_.GetCount() > 0) document.GetDataInstance()->SetContainer(DOCUMENT_EMBEDDED_IMAGES, embedded_);
}

void Context::freeLoose() {
    for (BaseObject* object : loose_)
        if (!object->GetDocument() && !object->GetUp()) BaseObject::Free(object);
    loose_.clear();
}

Filename Context::imagePath(const std::string& given) {
    std::string name = given;
    std::replace(name.begin(), name.end(), '\\', '/');
    while (name.starts_with("./")) name.erase(0, 2);
    if (const auto known = imagePaths_.find(name); known != imagePaths_.end()) return known->second;

    std::error_code error;
    const fs::path folder = fs::absolute(fs::path(file.GetDirectory().str()), error).lexically_normal();
    const fs::path wanted(name);
    const fs::path asGiven = wanted.is_absolute() ? wanted : folder / wanted;
    fs::path found;
    if (fs::is_regular_file(asGiven, error)) found = asGiven;
    const std::string base = wanted.filename().string();
    for (const fs::path& place : {asGiven.parent_path(), folder, folder / "tex", folder / "textures"})
        if (found.empty()) found = findIn(place, base);
    if (found.empty()) {
        warn("the image \"" + cleanName(name) + "\" was not found");
        // A place outside the folder is not kept: it may be a device, or name things of the writer's machine.
        const bool inside = wanted.is_relative() && !wanted.empty() && *wanted.lexically_normal().begin() != "..";
        found = inside ? asGiven : folder / base;
    }
    const Filename path(found.lexically_normal().string());
    imagePaths_.emplace(name, path);
    return path;
}

Filename Context::embedImage(std::span<const UChar> bytes, const std::string& name) {
    return addEmbeddedImage(embedded_, bytes, name);
}

}  // namespace host::importer
