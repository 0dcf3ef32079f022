// What a document holds, gathered into plain records.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {
class BaseDocument;
}

namespace app {

struct ObjectInfo {
    std::string name, type;
    int depth = 0;  ///< 0: top level
    bool hidden = false;
    std::int64_t polygons = 0, points = 0;  ///< of the object itself; of generators: of what they make
    std::string instanceOf;                 ///< name of what an instance object shows
};

struct TextureInfo {
    std::string file;  ///< as the document names it
    bool missing = false;
};

struct ChannelInfo {
    std::string name, value;  ///< value: "0.8 0.7 0.6", "0.5", or empty
    std::vector<TextureInfo> textures;
};

struct MaterialInfo {
    std::string name, type;
    std::vector<ChannelInfo> channels;  ///< those that are on
};

struct LightInfo {
    std::string name, type;
    double colour[3] = {}, brightness = 0;
    double size[2] = {};  ///< of area lights, scene units
};

struct CameraInfo {
    std::string name;
    bool parallel = false;
    double focalLength = 0, horizontalAngle = 0;  ///< mm, degrees
    double viewWidth = 0;                         ///< of parallel cameras, scene units
};

struct SceneInfo {
    std::string file;
    double metresPerUnit = 0;
    int fps = 0;
    std::int64_t firstFrame = 0, lastFrame = 0, tracks = 0;
    std::vector<ObjectInfo> objects;  ///< in tree order
    std::vector<MaterialInfo> materials;
    std::vector<LightInfo> lights;
    std::vector<CameraInfo> cameras;
    std::int64_t polygons = 0, points = 0, instances = 0;  ///< held by the document
    double shownPolygons = 0;                              ///< with every instance counted; can be huge
    std::vector<std::string> missingFiles;                 ///< each once
};

/// Main thread; the document must be evaluated.
SceneInfo gatherSceneInfo(const host::BaseDocument& document, const std::string& file);

std::string asText(const SceneInfo& info);
std::string asJson(const SceneInfo& info);

}  // namespace app
