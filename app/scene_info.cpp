#include "app/scene_info.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <unordered_map>

#include "host/sdk/document.h"
#include "host/sdk/file.h"
#include "host/sdk/plugin.h"

namespace app {
namespace {

using host::BaseObject;
using host::Int32;

struct TypeName {
    Int32 type;
    const char* name;
};

constexpr TypeName kTypeNames[] = {
    {host::Onull, "null"},
    {host::Opolygon, "polygons"},
    {host::Olight, "light"},
    {host::Ocamera, "camera"},
    {host::Ofloor, "floor"},
    {host::Osky, "sky"},
    {host::Oparticle, "particles"},
    {host::Oforeground, "foreground"},
    {host::Obackground, "background"},
    {host::Oinstance, "instance"},
    {host::Oline, "line"},
    {host::Ocube, "cube"},
    {host::Osphere, "sphere"},
    {host::Odisc, "disc"},
    {host::Oplane, "plane"},
    {host::Ocylinder, "cylinder"},
    {host::Mmaterial, "standard"},
};

constexpr TypeName kLightTypes[] = {
    {host::LIGHT_TYPE_OMNI, "omni"},
    {host::LIGHT_TYPE_SPOT, "spot"},
    {host::LIGHT_TYPE_DISTANT, "infinite"},
    {host::LIGHT_TYPE_AREA, "area"},
};

/// One channel of the host's standard material: its switch, and the parameters that it shows. 0: it has none.
struct Channel {
    Int32 use;
    const char* name;
    Int32 colour, number, shaders[3];
};

constexpr Channel kChannels[] = {
    {host::MATERIAL_USE_COLOR, "colour", host::MATERIAL_COLOR_COLOR, 0, {host::MATERIAL_COLOR_SHADER}},
    {host::MATERIAL_USE_LUMINANCE,
     "luminance",
     host::MATERIAL_LUMINANCE_COLOR,
     host::MATERIAL_LUMINANCE_BRIGHTNESS,
     {host::MATERIAL_LUMINANCE_SHADER}},
    {host::MATERIAL_USE_TRANSPARENCY,
     "transparency",
     host::MATERIAL_TRANSPARENCY_COLOR,
     host::MATERIAL_TRANSPARENCY_BRIGHTNESS,
     {host::MATERIAL_TRANSPARENCY_SHADER}},
    {host::MATERIAL_USE_REFLECTION,
     "reflection",
     host::MATERIAL_REFLECTION_COLOR,
     0,
     {host::MATERIAL_REFLECTION_SHADER, host::MATERIAL_REFLECTION_ROUGHNESS_SHADER,
      host::MATERIAL_REFLECTION_METALNESS_SHADER}},
    {host::MATERIAL_USE_BUMP, "bump", 0, host::MATERIAL_BUMP_STRENGTH, {host::MATERIAL_BUMP_SHADER}},
    {host::MATERIAL_USE_NORMAL, "normal", 0, host::MATERIAL_NORMAL_STRENGTH, {host::MATERIAL_NORMAL_SHADER}},
    {host::MATERIAL_USE_ALPHA, "opacity", 0, host::MATERIAL_ALPHA_VALUE, {host::MATERIAL_ALPHA_SHADER}},
};

template <std::size_t N>
std::string nameIn(const TypeName (&table)[N], Int32 type) {
    for (const TypeName& row : table)
        if (row.type == type) return row.name;
    if (const host::PluginInfo* plugin = host::FindPlugin(type)) return plugin->name.str();
    return "type " + std::to_string(type);
}

std::string number(double value) {
    return host::String::FloatToString(value, -1).str();
}

std::string colour(const host::Vector& c) {
    return number(c.x) + " " + number(c.y) + " " + number(c.z);
}

struct Count {
    std::int64_t polygons = 0, points = 0;
};

/// What an object that is evaluated from parameters became: everything in its cache.
void countCache(const BaseObject* object, Count& count) {
    for (; object; object = object->GetNext()) {
        if (const BaseObject* cache = object->GetDeformCache() ? object->GetDeformCache() : object->GetCache()) {
            countCache(cache, count);
        } else if (object->GetType() == host::Opolygon) {
            const auto* mesh = static_cast<const host::PolygonObject*>(object);
            count.polygons += mesh->GetPolygonCount();
            count.points += mesh->GetPointCount();
        }
        countCache(object->GetDown(), count);
    }
}

Count countOwn(const BaseObject& object) {
    Count count;
    if (object.GetType() == host::Opolygon) {
        const auto& mesh = static_cast<const host::PolygonObject&>(object);
        count = {mesh.GetPolygonCount(), mesh.GetPointCount()};
    } else if (object.GetType() != host::Oinstance) {
        countCache(object.GetDeformCache() ? object.GetDeformCache() : object.GetCache(), count);
    }
    return count;
}

const BaseObject* instanceTarget(const BaseObject& object) {
    if (object.GetType() != host::Oinstance) return nullptr;
    host::BaseList2D* target = object.GetDataInstance()->GetLink(host::INSTANCEOBJECT_LINK, object.GetDocument());
    return target && target->GetFamily() == host::NodeFamily::Object ? static_cast<BaseObject*>(target) : nullptr;
}

/// Polygons that a picture shows of the object and everything below it, each instance counted. An instance that leads
/// back to itself shows nothing.
class ShownPolygons {
public:
    double of(const BaseObject& object) {
        const auto [entry, isNew] = counts_.try_emplace(&object, 0.0);
        if (!isNew) return entry->second;  // known, or met again on the way down
        double sum = static_cast<double>(countOwn(object).polygons);
        if (const BaseObject* target = instanceTarget(object)) sum += of(*target);
        for (const BaseObject* child = object.GetDown(); child; child = child->GetNext()) sum += of(*child);
        counts_[&object] = sum;
        return sum;
    }

private:
    std::unordered_map<const BaseObject*, double> counts_;
};

class Gatherer {
public:
    Gatherer(const host::BaseDocument& document, SceneInfo& info) : document_(document), info_(info) {}

    void objects() {
        ShownPolygons shown;
        int depth = 0;
        for (const BaseObject* object = document_.GetFirstObject(); object;) {
            add(*object, depth);
            if (depth == 0) info_.shownPolygons += shown.of(*object);
            if (object->GetDown()) {
                object = object->GetDown();
                ++depth;
                continue;
            }
            for (; object && !object->GetNext(); --depth) object = object->GetUp();
            if (object) object = object->GetNext();
        }
    }

    void materials() {
        for (const host::BaseMaterial* m = document_.GetFirstMaterial(); m; m = m->GetNext()) {
            MaterialInfo material{m->GetName().str(), nameIn(kTypeNames, m->GetType()), {}};
            if (m->GetType() == host::Mmaterial)
                for (const Channel& row : kChannels)
                    if (m->GetChannelState(row.use)) material.channels.push_back(channel(*m, row));
            info_.materials.push_back(std::move(material));
            countTracks(*m);
        }
    }

private:
    void add(const BaseObject& object, int depth) {
        const Count count = countOwn(object);
        ObjectInfo row;
        row.name = object.GetName().str();
        row.type = nameIn(kTypeNames, object.GetType());
        row.depth = depth;
        row.hidden = object.GetRenderMode() == host::VisibilityMode::Off;
        row.polygons = count.polygons;
        row.points = count.points;
        if (object.GetType() == host::Oinstance) {
            const BaseObject* target = instanceTarget(object);
            row.instanceOf = target ? target->GetName().str() : "nothing";
            ++info_.instances;
        }
        info_.polygons += count.polygons;
        info_.points += count.points;
        info_.objects.push_back(std::move(row));
        countTracks(object);
        if (object.GetType() == host::Olight) addLight(object);
        if (object.GetType() == host::Ocamera) addCamera(object);
    }

    void addLight(const BaseObject& object) {
        const host::BaseContainer& data = *object.GetDataInstance();
        const host::Vector c = data.GetVector(host::LIGHT_COLOR, {1, 1, 1});
        info_.lights.push_back(
            {object.GetName().str(),
             nameIn(kLightTypes, data.GetInt32(host::LIGHT_TYPE)),
             {c.x, c.y, c.z},
             data.GetFloat(host::LIGHT_BRIGHTNESS, 1),
             {data.GetFloat(host::LIGHT_AREADETAILS_SIZEX), data.GetFloat(host::LIGHT_AREADETAILS_SIZEY)}});
    }

    void addCamera(const BaseObject& object) {
        const host::BaseContainer& data = *object.GetDataInstance();
        info_.cameras.push_back(
            {object.GetName().str(), data.GetInt32(host::CAMERA_PROJECTION) == 1, data.GetFloat(host::CAMERA_FOCUS),
             data.GetFloat(host::CAMERAOBJECT_FOV) * host::kDegreesPerRadian, data.GetFloat(host::CAMERA_ZOOM)});
    }

    ChannelInfo channel(const host::BaseMaterial& material, const Channel& row) {
        const host::BaseContainer& data = *material.GetDataInstance();
        ChannelInfo info{row.name, {}, {}};
        if (row.colour) info.value = colour(data.GetVector(row.colour));
        if (row.number) {
            const std::string amount = number(data.GetFloat(row.number, 1));
            info.value += info.value.empty() ? amount : " x " + amount;
        }
        for (const Int32 parameter : row.shaders)
            if (parameter) addTextures(material.GetShader(parameter), info.textures);
        return info;
    }

    void addTextures(const host::BaseShader* shader, std::vector<TextureInfo>& textures) {
        if (!shader) return;
        const host::Filename file = shader->GetFileName();
        if (file.Content()) {
            host::Filename found;
            const bool missing = !host::GenerateTexturePath(document_.GetDocumentPath(), file, {}, &found);
            textures.push_back({file.str(), missing});
            if (missing && missing_.insert(file.str()).second) info_.missingFiles.push_back(file.str());
        }
        for (const host::BaseShader* child = shader->GetDown(); child; child = child->GetNext())
            addTextures(child, textures);
    }

    void countTracks(const host::BaseList2D& node) {
        for (const host::BaseTrack* track = node.GetFirstTrack(); track;
             track = static_cast<const host::BaseTrack*>(track->GetNext()))
            ++info_.tracks;
    }

    const host::BaseDocument& document_;
    SceneInfo& info_;
    std::set<std::string> missing_;
};

}  // namespace

SceneInfo gatherSceneInfo(const host::BaseDocument& document, const std::string& file) {
    SceneInfo info;
    info.file = file;
    info.metresPerUnit = document.GetUnitScale();
    info.fps = document.GetFps();
    info.firstFrame = document.GetMinTime().GetFrame(info.fps);
    info.lastFrame = document.GetMaxTime().GetFrame(info.fps);
    Gatherer gatherer(document, info);
    gatherer.objects();
    gatherer.materials();
    return info;
}

}  // namespace app
