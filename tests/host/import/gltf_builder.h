// Builds small glTF files in code, so that a test says what its file holds.
#pragma once

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/io/import/import.h"
#include "host/sdk/document.h"

namespace host::test {

using Json = nlohmann::json;

/// A scratch folder that is gone with the object.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "lumora-import-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    Filename file(const std::string& name) const { return Filename(path_ + "/" + name); }
    Filename write(const std::string& name, const std::string& bytes) const {
        std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
        return file(name);
    }

private:
    std::string path_;
};

class GltfBuilder {
public:
    Json root = {{"asset", {{"version", "2.0"}}}, {"scene", 0}, {"scenes", {{{"nodes", Json::array()}}}}};
    std::string data;

    int view(const void* bytes, std::size_t size) {
        data.resize((data.size() + 3) / 4 * 4);
        root["bufferViews"].push_back({{"buffer", 0}, {"byteOffset", data.size()}, {"byteLength", size}});
        data.append(static_cast<const char*>(bytes), size);
        return static_cast<int>(root["bufferViews"].size()) - 1;
    }
    template <typename T>
    int accessor(const std::vector<T>& values, const char* type, bool normalised = false) {
        const std::string t = type;
        const std::size_t n = t == "SCALAR" ? 1 : t == "VEC2" ? 2 : t == "VEC3" ? 3 : t == "VEC4" ? 4 : 16;
        Json a = {{"bufferView", view(values.data(), values.size() * sizeof(T))},
                  {"componentType", componentType<T>()},
                  {"count", values.size() / n},
                  {"type", type}};
        if (normalised) a["normalized"] = true;
        root["accessors"].push_back(a);
        return static_cast<int>(root["accessors"].size()) - 1;
    }
    /// A mesh of one primitive; returns its index.
    int mesh(const Json& primitive) {
        root["meshes"].push_back({{"primitives", Json::array({primitive})}});
        return static_cast<int>(root["meshes"].size()) - 1;
    }
    int node(const Json& node, bool inScene = true) {
        root["nodes"].push_back(node);
        const int index = static_cast<int>(root["nodes"].size()) - 1;
        if (inScene) root["scenes"][0]["nodes"].push_back(index);
        return index;
    }
    /// One triangle (0,0,0), (1,0,0), (0,1,0).
    int triangle() {
        return mesh({{"attributes", {{"POSITION", accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3")}}}});
    }

    /// The buffer in a file beside, "scene.bin".
    Filename writeGltf(const Folder& folder) {
        if (!data.empty()) root["buffers"] = {{{"uri", "scene.bin"}, {"byteLength", data.size()}}};
        folder.write("scene.bin", data);
        return folder.write("scene.gltf", root.dump());
    }
    std::string glb() {
        if (!data.empty()) root["buffers"] = {{{"byteLength", data.size()}}};
        std::string json = root.dump();
        json.resize((json.size() + 3) / 4 * 4, ' ');
        data.resize((data.size() + 3) / 4 * 4);
        std::string out = "glTF";
        const auto word = [&](std::uint32_t v) { out.append(reinterpret_cast<const char*>(&v), 4); };
        word(2);
        word(static_cast<std::uint32_t>(12 + 8 + json.size() + 8 + data.size()));
        word(static_cast<std::uint32_t>(json.size()));
        out += "JSON" + json;
        word(static_cast<std::uint32_t>(data.size()));
        out += std::string("BIN\0", 4) + data;
        return out;
    }

private:
    template <typename T>
    static int componentType() {
        if (std::is_same_v<T, std::int8_t>) return 5120;
        if (std::is_same_v<T, std::uint8_t>) return 5121;
        if (std::is_same_v<T, std::int16_t>) return 5122;
        if (std::is_same_v<T, std::uint16_t>) return 5123;
        if (std::is_same_v<T, std::uint32_t>) return 5125;
        return 5126;
    }
};

/// A file read in this process.
struct Imported {
    explicit Imported(const Filename& file) : document(BaseDocument::Alloc()) {
        good = importInProcess(file, *document, &error, &warnings);
    }
    explicit Imported(GltfBuilder& builder) : document(BaseDocument::Alloc()) {
        const Folder folder;
        good = importInProcess(builder.writeGltf(folder), *document, &error, &warnings);
    }
    ~Imported() { BaseDocument::Free(document); }
    Imported(const Imported&) = delete;
    Imported& operator=(const Imported&) = delete;

    BaseObject* first() const { return document->GetFirstObject(); }
    std::vector<BaseObject*> all(Int32 type) const {
        std::vector<BaseObject*> found;
        collect(document->GetFirstObject(), type, found);
        return found;
    }
    PolygonObject* mesh() const {
        const auto meshes = all(Opolygon);
        return meshes.empty() ? nullptr : ToPoly(meshes.front());
    }
    bool warned(const char* text) const {
        for (const String& w : warnings)
            if (w.Find(text) >= 0) return true;
        return false;
    }

    BaseDocument* document;
    Bool good = false;
    String error;
    std::vector<String> warnings;

private:
    static void collect(BaseObject* object, Int32 type, std::vector<BaseObject*>& found) {
        for (; object; object = object->GetNext()) {
            if (object->GetType() == type) found.push_back(object);
            collect(object->GetDown(), type, found);
        }
    }
};

/// Corners of all polygons as points, each polygon turned so that its smallest corner is first, sorted: equal lists are
/// equal surfaces.
inline std::vector<std::vector<std::array<double, 3>>> surface(const PolygonObject& object) {
    std::vector<std::vector<std::array<double, 3>>> out;
    for (const CPolygon& p : object.Polygons()) {
        auto& polygon = out.emplace_back();
        for (Int32 k = 0; k < (p.IsTriangle() ? 3 : 4); ++k) {
            const Vector& v = object.Points()[static_cast<std::size_t>(p[k])];
            polygon.push_back({v.x, v.y, v.z});
        }
        std::rotate(polygon.begin(), std::min_element(polygon.begin(), polygon.end()), polygon.end());
    }
    std::sort(out.begin(), out.end());
    return out;
}

inline bool near(const Vector& a, const Vector& b, double tolerance = 1e-4) {
    return (a - b).GetLength() <= tolerance;
}

}  // namespace host::test
