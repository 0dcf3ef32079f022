#include "host/io/import/obj_text.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace host::importer {
namespace {

namespace fs = std::filesystem;

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Places of points that begin a number.
bool beginsNumber(std::string_view line, std::size_t i) {
    return line[i] == '.' && i > 0 && isBlank(line[i - 1]) && i + 1 < line.size() && isDigit(line[i + 1]);
}

void checkLibrary(std::string_view name, Context& context) {
    while (!name.empty() && isBlank(name.front())) name.remove_prefix(1);
    while (!name.empty() && isBlank(name.back())) name.remove_suffix(1);
    std::string file(name);
    std::replace(file.begin(), file.end(), '\\', '/');
    std::error_code error;
    const fs::path folder = fs::path(context.file.str()).parent_path();
    // A line may also name several files.
    const std::string first = file.substr(0, file.find(' '));
    if (!file.empty() && !fs::exists(folder / file, error) && !fs::exists(folder / first, error))
        context.warn("the material library \"" + cleanName(file) + "\" was not found");
}

}  // namespace

std::string prepareObj(Context& context) {
    std::ifstream in(context.file.str(), std::ios::binary);
    std::error_code error;
    const auto size = fs::file_size(context.file.str(), error);
    std::string text(error ? 0 : size, '\0');
    if (!in.read(text.data(), static_cast<std::streamsize>(text.size()))) throw ImportError("it cannot be read");

    std::vector<std::size_t> points;
    bool vertices = false;
    for (std::size_t at = 0; at < text.size();) {
        const auto end = std::min(text.find_first_of("\r\n", at), text.size());
        const std::string_view line(text.data() + at, end - at);
        if (line.size() > 1 && line[0] == 'v') {
            vertices |= isBlank(line[1]);
            for (std::size_t i = line.find('.'); i != std::string_view::npos; i = line.find('.', i + 1))
                if (beginsNumber(line, i)) points.push_back(at + i);
        } else if (line.starts_with("mtllib ")) {
            checkLibrary(line.substr(7), context);
        }
        at = end + 1;
    }
    if (!vertices) throw ImportError("it has no vertices");
    if (points.empty()) return {};
    std::string fixed;
    fixed.reserve(text.size() + points.size());
    std::size_t from = 0;
    for (const std::size_t point : points) {
        fixed.append(text, from, point - from);
        fixed += '0';
        from = point;
    }
    fixed.append(text, from);
    return fixed;
}

}  // namespace host::importer
