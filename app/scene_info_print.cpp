// The records of a scene as text for people and as JSON for programs.
#include <cstdio>
#include <nlohmann/json.hpp>

#include "app/scene_info.h"
#include "app/terminal.h"
#include "host/sdk/string.h"

namespace app {
namespace {

using terminal::printable;

std::string number(double value) {
    return host::String::FloatToString(value, -1).str();
}

std::string quoted(const std::string& name) {
    return "\"" + printable(name) + "\"";
}

/// "1,234,567".
std::string grouped(std::int64_t value) {
    std::string text = std::to_string(value);
    for (std::size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
    return text;
}

std::string plural(std::size_t count, const char* word) {
    return grouped(static_cast<std::int64_t>(count)) + " " + word + (count == 1 ? "" : "s");
}

void printObjects(const SceneInfo& info, std::string& out) {
    out += "Objects: " + plural(info.objects.size(), "object") + "\n";
    for (const ObjectInfo& object : info.objects) {
        out.append(static_cast<std::size_t>(object.depth) * 2 + 2, ' ');
        out += quoted(object.name) + " (" + object.type;
        if (!object.instanceOf.empty()) out += " of " + quoted(object.instanceOf);
        if (object.polygons > 0)
            out += ", " + grouped(object.polygons) + " polygons, " + grouped(object.points) + " points";
        out += object.hidden ? ", hidden)\n" : ")\n";
    }
    out += "Polygons: " + grouped(info.polygons) + " (" + grouped(info.points) + " points)";
    if (info.instances > 0) {
        char shown[48];
        std::snprintf(shown, sizeof shown, info.shownPolygons < 1e15 ? "%.0f" : "%.3g", info.shownPolygons);
        out += "; with " + grouped(info.instances) + " instances " + shown;
    }
    out += "\n";
}

void printMaterials(const SceneInfo& info, std::string& out) {
    out += "Materials: " + std::to_string(info.materials.size()) + "\n";
    for (const MaterialInfo& material : info.materials) {
        out += "  " + quoted(material.name) + " (" + printable(material.type) + ")\n";
        for (const ChannelInfo& channel : material.channels) {
            out += "    " + channel.name + (channel.value.empty() ? "" : " " + channel.value);
            for (const TextureInfo& texture : channel.textures)
                out += ", " + printable(texture.file) + (texture.missing ? " (missing)" : "");
            out += "\n";
        }
    }
}

void printLights(const SceneInfo& info, std::string& out) {
    out += "Lights: " + std::to_string(info.lights.size()) + "\n";
    for (const LightInfo& light : info.lights) {
        out += "  " + quoted(light.name) + " (" + light.type + ", colour";
        for (const double component : light.colour) out += " " + number(component);
        out += ", brightness " + number(light.brightness);
        if (light.type == "area") out += ", " + number(light.size[0]) + " x " + number(light.size[1]);
        out += ")\n";
    }
}

void printCameras(const SceneInfo& info, std::string& out) {
    out += "Cameras: " + std::to_string(info.cameras.size()) + "\n";
    for (const CameraInfo& camera : info.cameras) {
        out += "  " + quoted(camera.name);
        if (camera.parallel)
            out += " (parallel, view width " + number(camera.viewWidth) + ")\n";
        else
            out += " (focal length " + number(camera.focalLength) + " mm, horizontal angle " +
                   number(camera.horizontalAngle) + " degrees)\n";
    }
}

}  // namespace

std::string asText(const SceneInfo& info) {
    std::string out = "File: " + printable(info.file) + "\n";
    out += "Unit: " + number(info.metresPerUnit) + " m\n";
    printObjects(info, out);
    printMaterials(info, out);
    printLights(info, out);
    printCameras(info, out);
    if (info.tracks > 0)
        out += "Animation: frames " + std::to_string(info.firstFrame) + " to " + std::to_string(info.lastFrame) +
               " at " + std::to_string(info.fps) + " frames/s, " +
               plural(static_cast<std::size_t>(info.tracks), "track") + "\n";
    else
        out += "Animation: none\n";
    out += "Missing files: " + (info.missingFiles.empty() ? "none" : std::to_string(info.missingFiles.size())) + "\n";
    for (const std::string& file : info.missingFiles) out += "  " + printable(file) + "\n";
    return out;
}

std::string asJson(const SceneInfo& info) {
    using Json = nlohmann::ordered_json;
    Json objects = Json::array(), materials = Json::array(), lights = Json::array(), cameras = Json::array();
    for (const ObjectInfo& o : info.objects) {
        Json row = {{"name", o.name}, {"type", o.type}, {"depth", o.depth}, {"hidden", o.hidden}};
        row.update(Json{{"polygons", o.polygons}, {"points", o.points}});
        if (!o.instanceOf.empty()) row["instanceOf"] = o.instanceOf;
        objects.push_back(std::move(row));
    }
    for (const MaterialInfo& m : info.materials) {
        Json channels = Json::array();
        for (const ChannelInfo& c : m.channels) {
            Json textures = Json::array();
            for (const TextureInfo& t : c.textures) textures.push_back({{"file", t.file}, {"missing", t.missing}});
            channels.push_back({{"name", c.name}, {"value", c.value}, {"textures", std::move(textures)}});
        }
        materials.push_back({{"name", m.name}, {"type", m.type}, {"channels", std::move(channels)}});
    }
    for (const LightInfo& l : info.lights)
        lights.push_back(
            {{"name", l.name}, {"type", l.type}, {"colour", l.colour}, {"brightness", l.brightness}, {"size", l.size}});
    for (const CameraInfo& c : info.cameras)
        cameras.push_back({{"name", c.name},
                           {"parallel", c.parallel},
                           {"focalLength", c.focalLength},
                           {"horizontalAngle", c.horizontalAngle},
                           {"viewWidth", c.viewWidth}});
    const Json document = {
        {"file", info.file},
        {"metresPerUnit", info.metresPerUnit},
        {"framesPerSecond", info.fps},
        {"firstFrame", info.firstFrame},
        {"lastFrame", info.lastFrame},
        {"tracks", info.tracks},
        {"polygons", info.polygons},
        {"points", info.points},
        {"instances", info.instances},
        {"polygonsWithInstances", info.shownPolygons},
        {"objects", std::move(objects)},
        {"materials", std::move(materials)},
        {"lights", std::move(lights)},
        {"cameras", std::move(cameras)},
        {"missingFiles", info.missingFiles},
    };
    // Names come from files: bytes that are no UTF-8 are replaced.
    return document.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace app
