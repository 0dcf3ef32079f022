#include "host/io/import/stl_file.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "host/io/import/mesh.h"

namespace host::importer {
namespace {

constexpr std::size_t kHeader = 80, kFirstTriangle = 84, kTriangle = 50;
constexpr Float kPhongAngle = 30 / kDegreesPerRadian;
constexpr std::size_t kMostTriangles = 700'000'000;  // three corners each must fit 32-bit indices

Mesh emptyMesh() {
    Mesh mesh;
    mesh.weld = true;
    mesh.phongAngle = kPhongAngle;
    return mesh;
}

void addObject(Mesh& mesh, const std::string& name, Context& context) {
    if (!mesh.polygons.empty()) {
        if (PolygonObject* object = makePolygonObject(mesh, context)) {
            object->SetName(cleanName(name));
            context.document.AppendObject(object);
        }
    }
    mesh = emptyMesh();
}

/// Numbers of random bytes have random exponents: some of them are always absurd.
bool plausible(const char* triangles, std::size_t count) {
    std::size_t absurd = 0;
    for (std::size_t i = 0; i < count; ++i) {
        std::array<Float32, 9> p;
        std::memcpy(p.data(), triangles + i * kTriangle + 12, sizeof p);
        absurd += std::any_of(p.begin(), p.end(),
                              [](Float32 v) { return std::abs(v) > 1e15f || (v != 0 && std::abs(v) < 1e-30f); });
    }
    return absurd * 10 <= count;
}

void readBinary(const std::string& bytes, const std::string& name, Context& context) {
    const std::size_t held = (bytes.size() - kFirstTriangle) / kTriangle;
    UInt32 said = 0;
    std::memcpy(&said, bytes.data() + kHeader, 4);
    std::size_t count = said;
    if (said == 0 || said > held || (bytes.size() - kFirstTriangle) % kTriangle == 0) count = held;
    const char* at = bytes.data() + kFirstTriangle;
    if (said != held && !plausible(at, count)) throw ImportError("it is no STL file, neither text nor binary");
    if (count == 0) throw ImportError(said == 0 ? "it holds no triangles" : "the file is cut off: it has no triangles");
    if (count > kMostTriangles) throw ImportError("it has too many triangles");
    if (count != said)
        context.warn("its header says " + std::to_string(said) + " triangles, it holds " + std::to_string(count));
    Mesh mesh = emptyMesh();
    mesh.points.resize(count * 3);
    mesh.polygons.reserve(count);
    for (std::size_t i = 0; i < count; ++i, at += kTriangle) {
        std::array<Float32, 9> p;
        std::memcpy(p.data(), at + 12, sizeof p);
        const auto first = static_cast<Int32>(3 * i);
        for (std::size_t k = 0; k < 3; ++k) mesh.points[3 * i + k] = {p[3 * k], p[3 * k + 1], p[3 * k + 2]};
        mesh.polygons.emplace_back(first, first + 1, first + 2);
    }
    addObject(mesh, name, context);
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isWord(std::string_view word, std::string_view wanted) {
    return std::equal(word.begin(), word.end(), wanted.begin(), wanted.end(),
                      [](char a, char b) { return lower(a) == b; });
}

class Words {
public:
    explicit Words(std::string_view text) : text_(text) {}
    /// The next word, empty at the end.
    std::string_view next() {
        while (at_ < text_.size() && isSpace(text_[at_])) ++at_;
        const std::size_t begin = at_;
        while (at_ < text_.size() && !isSpace(text_[at_])) ++at_;
        return text_.substr(begin, at_ - begin);
    }
    std::string_view restOfLine() {
        const std::size_t begin = at_;
        while (at_ < text_.size() && text_[at_] != '\n' && text_[at_] != '\r') ++at_;
        std::string_view line = text_.substr(begin, at_ - begin);
        while (!line.empty() && isSpace(line.front())) line.remove_prefix(1);
        while (!line.empty() && isSpace(line.back())) line.remove_suffix(1);
        return line;
    }
    Float32 number() {
        std::string_view word = next();
        if (!word.empty() && word.front() == '+') word.remove_prefix(1);
        Float32 value = 0;
        const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value);
        if (error == std::errc::result_out_of_range) return 0;  // closer to zero than any number of the kind
        if (error != std::errc() || end != word.data() + word.size())
            throw ImportError("\"" + cleanName(std::string(word.substr(0, 40))) + "\" stands where a number should");
        return value;
    }

private:
    static bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    std::string_view text_;
    std::size_t at_ = 0;
};

void readText(std::string_view text, const std::string& fileName, Context& context) {
    Words words(text);
    Mesh mesh = emptyMesh();
    std::string name = fileName;
    std::vector<Int32> corners;
    for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
        if (isWord(word, "vertex")) {
            Vector32 p;
            p.x = words.number();
            p.y = words.number();
            p.z = words.number();
            if (mesh.points.size() >= 3 * kMostTriangles) throw ImportError("it has too many triangles");
            corners.push_back(static_cast<Int32>(mesh.points.size()));
            mesh.points.push_back(p);
        } else if (isWord(word, "endloop")) {
            if (corners.size() >= 3) addPolygon(mesh, corners);
            corners.clear();
        } else if (isWord(word, "solid")) {
            addObject(mesh, name, context);
            name = words.restOfLine();
            if (name.empty()) name = fileName;
        } else if (isWord(word, "endsolid")) {
            words.restOfLine();
        }
    }
    addObject(mesh, name, context);
}

/// Whether the beginning reads like a text file: the words "facet" and "vertex", and no zero byte.
bool isText(std::string_view bytes) {
    std::string begin(bytes.substr(0, 4096));
    if (begin.find('\0') != std::string::npos) return false;
    std::transform(begin.begin(), begin.end(), begin.begin(), lower);
    return begin.find("solid") != std::string::npos &&
           (begin.find("facet") != std::string::npos || begin.find("endsolid") != std::string::npos);
}

}  // namespace

void readStl(Context& context) {
    std::ifstream in(context.file.str(), std::ios::binary);
    std::error_code error;
    const auto size = std::filesystem::file_size(context.file.str(), error);
    std::string bytes(error ? 0 : size, '\0');
    if (!in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) throw ImportError("it cannot be read");
    const std::string name = std::filesystem::path(context.file.str()).stem().string();
    if (isText(bytes))
        readText(bytes, name, context);
    else if (bytes.size() >= kFirstTriangle)
        readBinary(bytes, name, context);
    else
        throw ImportError("it is no STL file, neither text nor binary");
}

}  // namespace host::importer
