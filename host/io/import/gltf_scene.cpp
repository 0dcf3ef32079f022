// From the node tree of a glTF file to the host's object tree.
//
// A node with one mesh primitive, camera or light and nothing below it becomes that object; any other node becomes a
// null object with its content first and its child nodes behind. So no mesh ever lies above another one, which would
// make it lend its material. A mesh that several nodes use stands where it is used first; the others are instances.
#include "host/io/import/gltf_scene.h"

#include <algorithm>
#include <set>

#include "host/io/import/gltf_animation.h"
#include "host/io/import/gltf_extensions.h"
#include "host/io/import/gltf_material.h"
#include "host/io/import/gltf_mesh.h"
#include "host/io/import/material_library.h"

namespace host::importer {
namespace {

constexpr std::size_t kMostInstances = 20'000'000;

class GltfScene {
public:
    explicit GltfScene(Context& context)
        : context_(context),
          file_(context.file, context),
          materials_(file_, context),
          library_(context, [this](Int64 index) { return materials_.describe(index); }) {}
    void read();

private:
    struct Node {
        Transform rest;
        Int64 parent = -1;
        bool visited = false, open = false;
    };

    std::vector<Int64> children(const Json& node) const;
    void readNodes();
    std::vector<Int64> rootNodes();
    Matrix local(std::size_t index) const;
    Matrix global(Int64 index) const;
    void addNode(Int64 index, BaseObject* parent, int depth);
    std::vector<BaseObject*> content(Int64 index, const Json& node, const std::string& name);
    std::vector<BaseObject*> meshObjects(Int64 meshIndex, const GltfPose& pose, const std::string& name);
    std::vector<BaseObject*> useMesh(Int64 index, const Json& node, const std::string& name);
    std::vector<BaseObject*> instances(const Json& attributes, Int64 index, const Json& node, const std::string& name);
    void addSkinned(Int64 index, const Json& node, const std::string& name);
    BaseObject* light(const Json& node);
    BaseObject* camera(Int64 index);
    std::vector<Float> weightsOf(Int64 index, const Json& node, bool& own) const;

    Context& context_;
    GltfFile file_;
    GltfMaterials materials_;
    MaterialLibrary library_;
    GltfAnimation animation_;
    std::vector<Node> nodes_;
    std::map<Int64, std::vector<BaseObject*>> placed_;  ///< objects of a mesh, where it is used first
    std::vector<std::pair<Int64, std::string>> skinned_;
    BaseObject* firstCamera_ = nullptr;
};

std::vector<Int64> GltfScene::children(const Json& node) const {
    std::vector<Int64> out;
    if (const Json* list = member(node, "children"); list && list->is_array())
        for (const Json& child : *list) {
            if (!child.is_number_integer()) throw ImportError("a node's child is not a whole number");
            out.push_back(child.get<Int64>());
            file_.at("nodes", out.back());
        }
    return out;
}

void GltfScene::readNodes() {
    nodes_.resize(file_.count("nodes"));
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        const Json& json = file_.at("nodes", static_cast<Int64>(i));
        Transform& t = nodes_[i].rest;
        if (const auto m = floatsOf(json, "matrix", 16); !m.empty()) {
            const Matrix matrix({m[12], m[13], m[14]}, {m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]});
            t = decompose(matrix);
        } else {
            if (const auto v = floatsOf(json, "translation", 3); !v.empty()) t.translation = {v[0], v[1], v[2]};
            if (const auto v = floatsOf(json, "rotation", 4); !v.empty()) t.rotation = {v[0], v[1], v[2], v[3]};
            if (const auto v = floatsOf(json, "scale", 3); !v.empty()) t.scale = {v[0], v[1], v[2]};
        }
        for (const Int64 child : children(json))
            if (nodes_[static_cast<std::size_t>(child)].parent < 0)
                nodes_[static_cast<std::size_t>(child)].parent = static_cast<Int64>(i);
    }
}

std::vector<Int64> GltfScene::rootNodes() {
    std::vector<Int64> roots;
    if (file_.count("scenes") > 0) {
        const Json& scene = file_.at("scenes", intOr(file_.root(), "scene", 0));
        if (const Json* list = member(scene, "nodes"); list && list->is_array())
            for (const Json& node : *list) {
                if (!node.is_number_integer()) throw ImportError("a scene's node is not a whole number");
                roots.push_back(node.get<Int64>());
                file_.at("nodes", roots.back());
            }
        return roots;
    }
    for (std::size_t i = 0; i < nodes_.size(); ++i)
        if (nodes_[i].parent < 0) roots.push_back(static_cast<Int64>(i));
    if (roots.empty() && !nodes_.empty()) throw ImportError("its node tree has no root: the nodes form a loop");
    return roots;
}

/// The node's matrix at time 0. A matrix given as such is taken as it stands, shear included.
Matrix GltfScene::local(std::size_t index) const {
    const auto moved = animation_.nodes.find(static_cast<Int64>(index));
    if (moved != animation_.nodes.end()) return moved->second.at(0, nodes_[index].rest).matrix();
    if (const auto m = floatsOf(file_.at("nodes", static_cast<Int64>(index)), "matrix", 16); !m.empty())
        return {{m[12], m[13], m[14]}, {m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]}};
    return nodes_[index].rest.matrix();
}

Matrix GltfScene::global(Int64 index) const {
    Matrix m;
    int depth = 0;
    for (; index >= 0; index = nodes_[static_cast<std::size_t>(index)].parent) {
        m = local(static_cast<std::size_t>(index)) * m;
        if (++depth > kMaxDepth) throw ImportError("its node tree is a loop or too deep");
    }
    return m;
}

std::vector<Float> GltfScene::weightsOf(Int64 index, const Json& node, bool& own) const {
    const auto list = [](const Json& object) {
        const Json* values = member(object, "weights");
        return values && values->is_array() ? floatsOf(object, "weights", values->size()) : std::vector<Float>();
    };
    own = true;
    if (const auto moved = animation_.weights.find(index); moved != animation_.weights.end()) return moved->second;
    if (std::vector<Float> weights = list(node); !weights.empty()) return weights;
    own = false;
    return list(file_.at("meshes", intOr(node, "mesh", -1)));
}

std::vector<BaseObject*> GltfScene::meshObjects(Int64 meshIndex, const GltfPose& pose, const std::string& name) {
    const Json& mesh = file_.at("meshes", meshIndex);
    std::vector<BaseObject*> objects;
    const Json* primitives = member(mesh, "primitives");
    if (!primitives || !primitives->is_array()) return objects;
    for (const Json& primitive : *primitives) {
        Mesh geometry = readGltfPrimitive(file_, primitive, pose, context_);
        if (geometry.polygons.empty()) continue;
        PolygonObject* object = library_.makeObject(geometry, intOr(primitive, "material", -1));
        if (!object) continue;
        object->SetName(primitives->size() == 1 ? name : cleanName(name + " " + std::to_string(objects.size() + 1)));
        objects.push_back(object);
    }
    return objects;
}

std::vector<BaseObject*> GltfScene::useMesh(Int64 index, const Json& node, const std::string& name) {
    const Int64 mesh = intOr(node, "mesh", -1);
    GltfPose pose;
    bool own = false;
    pose.weights = weightsOf(index, node, own);
    if (own) return meshObjects(mesh, pose, name);
    const auto known = placed_.find(mesh);
    if (known == placed_.end()) return placed_[mesh] = meshObjects(mesh, pose, name);
    std::vector<BaseObject*> objects;
    for (BaseObject* original : known->second) {
        BaseObject* instance = context_.keep(BaseObject::Alloc(Oinstance));
        if (!instance) throw ImportError("the host has no instance object");
        instance->SetName(name);
        instance->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, original);
        objects.push_back(instance);
    }
    return objects;
}

/// EXT_mesh_gpu_instancing: the node's mesh once for each element, placed relative to the node.
std::vector<BaseObject*> GltfScene::instances(const Json& attributes, Int64 index, const Json& node,
                                              const std::string& name) {
    const auto read = [&](const char* attribute, std::size_t components) {
        const Int64 accessor = intOr(attributes, attribute, -1);
        return accessor < 0 ? std::vector<Float32>() : file_.floats(accessor, components);
    };
    const std::vector<Float32> t = read("TRANSLATION", 3), r = read("ROTATION", 4), s = read("SCALE", 3);
    const std::size_t count = std::max({t.size() / 3, r.size() / 4, s.size() / 3});
    for (const auto& [size, components] : {std::pair{t.size(), 3}, {r.size(), 4}, {s.size(), 3}})
        if (size > 0 && size / static_cast<std::size_t>(components) != count)
            throw ImportError("the attributes of EXT_mesh_gpu_instancing have different counts");
    if (count > kMostInstances) throw ImportError("EXT_mesh_gpu_instancing asks for too many instances");
    std::vector<BaseObject*> objects;
    for (std::size_t i = 0; i < count; ++i) {
        Transform place;
        if (!t.empty()) place.translation = {t[3 * i], t[3 * i + 1], t[3 * i + 2]};
        if (!r.empty()) place.rotation = {r[4 * i], r[4 * i + 1], r[4 * i + 2], r[4 * i + 3]};
        if (!s.empty()) place.scale = {s[3 * i], s[3 * i + 1], s[3 * i + 2]};
        const Matrix m = toHost(place.matrix());
        for (BaseObject* object : useMesh(index, node, name)) {
            if (isFinite(m)) object->SetMl(m);
            objects.push_back(object);
        }
    }
    return objects;
}

BaseObject* GltfScene::light(const Json& node) {
    const Json* use = extension(node, "KHR_lights_punctual");
    const Json* all = use ? extension(file_.root(), "KHR_lights_punctual") : nullptr;
    const Json* list = all ? member(*all, "lights") : nullptr;
    if (!use) return nullptr;
    const Int64 index = intOr(*use, "light", -1);
    if (!list || !list->is_array() || index < 0 || static_cast<std::size_t>(index) >= list->size())
        throw ImportError("it refers to a light that does not exist");
    const Json& json = (*list)[static_cast<std::size_t>(index)];
    LightDescription d;
    const std::string type = textOr(json, "type", "point");
    d.kind = type == "directional" ? LightDescription::Kind::Directional
             : type == "spot"      ? LightDescription::Kind::Spot
                                   : LightDescription::Kind::Point;
    if (const auto c = floatsOf(json, "color", 3); !c.empty()) d.colour = {c[0], c[1], c[2]};
    d.intensity = floatOr(json, "intensity", 1);
    if (const Json* spot = member(json, "spot")) {
        d.outerAngle = floatOr(*spot, "outerConeAngle", kPi / 4);
        d.innerAngle = floatOr(*spot, "innerConeAngle", 0);
    } else {
        d.outerAngle = kPi / 4;
    }
    return context_.keep(makeLight(d));
}

BaseObject* GltfScene::camera(Int64 index) {
    const Json& json = file_.at("cameras", index);
    CameraDescription d;
    if (const Json* o = member(json, "orthographic")) {
        d.parallel = true;
        d.width = 2 * floatOr(*o, "xmag", 1) * kUnitsPerMetre;
    } else if (const Json* p = member(json, "perspective")) {
        d.verticalAngle = floatOr(*p, "yfov", 0.7);
        d.aspect = floatOr(*p, "aspectRatio", d.aspect);
    }
    BaseObject* object = context_.keep(makeCamera(d));
    if (!firstCamera_) firstCamera_ = object;
    return object;
}

std::vector<BaseObject*> GltfScene::content(Int64 index, const Json& node, const std::string& name) {
    std::vector<BaseObject*> objects;
    if (intOr(node, "mesh", -1) >= 0) {
        file_.at("meshes", intOr(node, "mesh", -1));
        const Json* instancing = extension(node, "EXT_mesh_gpu_instancing");
        const Json* attributes = instancing ? member(*instancing, "attributes") : nullptr;
        if (intOr(node, "skin", -1) >= 0)
            skinned_.emplace_back(index, name);
        else
            objects = attributes ? instances(*attributes, index, node, name) : useMesh(index, node, name);
    }
    if (BaseObject* object = light(node)) objects.push_back(object);
    if (const Int64 c = intOr(node, "camera", -1); c >= 0) objects.push_back(camera(c));
    return objects;
}

void GltfScene::addNode(Int64 index, BaseObject* parent, int depth) {
    Node& node = nodes_[static_cast<std::size_t>(index)];
    const Json& json = file_.at("nodes", index);
    std::string name = textOr(json, "name", "");
    if (name.empty() && intOr(json, "mesh", -1) >= 0)
        name = textOr(file_.at("meshes", intOr(json, "mesh", -1)), "name", "");
    if (name.empty()) name = "Node " + std::to_string(index + 1);
    name = cleanName(name);
    if (node.open)
        throw ImportError("its node tree has a loop: node " + std::to_string(index) + " is its own ancestor");
    if (depth > kMaxDepth)
        throw ImportError("its nodes are nested deeper than " + std::to_string(kMaxDepth) + " levels");
    if (node.visited) {
        context_.warn("node " + std::to_string(index) + " has several parents; it stands under the first");
        return;
    }
    node.visited = node.open = true;

    const std::vector<Int64> below = children(json);
    const std::vector<BaseObject*> objects = content(index, json, name);
    const bool instanced = extension(json, "EXT_mesh_gpu_instancing") != nullptr;
    BaseObject* object =
        objects.size() == 1 && below.empty() && !instanced ? objects.front() : BaseObject::Alloc(Onull);
    object->SetName(name);
    context_.document.AppendObject(object, parent);
    if (objects.empty() || object != objects.front())
        for (BaseObject* part : objects) {
            if (part->GetName().IsEmpty()) part->SetName(name);
            context_.document.AppendObject(part, object);
        }
    const Matrix m = toHost(local(static_cast<std::size_t>(index)));
    if (isFinite(m))
        object->SetMl(m);
    else
        context_.warn("the place of \"" + name + "\" is no finite matrix; it stands at the origin");
    if (const auto moved = animation_.nodes.find(index); moved != animation_.nodes.end())
        addTrack(*object, moved->second, node.rest, context_);
    for (const Int64 child : below) addNode(child, object, depth + 1);
    node.open = false;
}

/// The format has skinned meshes ignore their own node: their joints place them in the scene.
void GltfScene::addSkinned(Int64 index, const Json& node, const std::string& name) {
    const Json& skin = file_.at("skins", intOr(node, "skin", -1));
    const Json* joints = member(skin, "joints");
    if (!joints || !joints->is_array() || joints->empty()) throw ImportError("a skin has no joints");
    std::vector<Float32> inverse;
    if (const Int64 accessor = intOr(skin, "inverseBindMatrices", -1); accessor >= 0)
        inverse = file_.floats(accessor, 16);
    std::vector<Matrix> matrices;
    for (std::size_t i = 0; i < joints->size(); ++i) {
        if (!(*joints)[i].is_number_integer()) throw ImportError("a skin's joint is not a whole number");
        const Int64 joint = (*joints)[i].get<Int64>();
        file_.at("nodes", joint);
        Matrix bind;
        if (const std::size_t at = i * 16; at + 16 <= inverse.size()) {
            const Float32* m = inverse.data() + at;
            bind = {{m[12], m[13], m[14]}, {m[0], m[1], m[2]}, {m[4], m[5], m[6]}, {m[8], m[9], m[10]}};
        }
        matrices.push_back(global(joint) * bind);
    }
    GltfPose pose;
    bool own = false;
    pose.weights = weightsOf(index, node, own);
    pose.joints = &matrices;
    for (BaseObject* object : meshObjects(intOr(node, "mesh", -1), pose, name)) context_.document.AppendObject(object);
}

void GltfScene::read() {
    checkGltfExtensions(file_, context_);
    readNodes();
    animation_ = readGltfAnimation(file_, context_);
    setTimeRange(context_, animation_.lastKey);
    for (const Int64 root : rootNodes()) addNode(root, nullptr, 1);
    for (const auto& [index, name] : skinned_) addSkinned(index, file_.at("nodes", index), name);
    if (firstCamera_) context_.document.GetActiveBaseDraw()->SetSceneCamera(firstCamera_);
}

}  // namespace

void readGltf(Context& context) {
    GltfScene(context).read();
}

}  // namespace host::importer
