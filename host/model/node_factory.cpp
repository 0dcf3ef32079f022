#include "host/model/node_factory.h"

#include <algorithm>
#include <unordered_map>

#include "host/evaluate/primitives.h"
#include "host/model/descriptions.h"
#include "host/model/list_access.h"
#include "host/runtime/plugin_registry.h"

namespace host {

namespace {

Int64 key(NodeFamily family, Int32 type) {
    return (static_cast<Int64>(family) << 32) | static_cast<UInt32>(type);
}

PluginKind kindOf(NodeFamily family) {
    switch (family) {
        case NodeFamily::Object:
            return PluginKind::Object;
        case NodeFamily::Tag:
            return PluginKind::Tag;
        case NodeFamily::Material:
            return PluginKind::Material;
        case NodeFamily::Shader:
            return PluginKind::Shader;
        case NodeFamily::VideoPost:
            return PluginKind::VideoPost;
        case NodeFamily::Other:
            return PluginKind::Preference;
        default:
            return PluginKind::None;
    }
}

const Registration* registered(NodeFamily family, Int32 type) {
    const Registration* entry = findRegistration(type);
    return entry && entry->info.kind == kindOf(family) ? entry : nullptr;
}

/// Rows that every type of the family has.
const Description* familyRows(NodeFamily family) {
    return family == NodeFamily::Object ? &descriptions::object() : nullptr;
}

}  // namespace

const NodeType* NodeFactory::table(std::size_t* count) {
    using F = NodeFamily;
    static constexpr auto object = [](Int32 type) -> BaseList2D* { return new BaseObject(type); };
    static constexpr auto tag = [](Int32 type) -> BaseList2D* { return new BaseTag(type); };
    static constexpr auto vertex = [](Int32 type) -> BaseList2D* { return new VertexTag(type); };
    static constexpr auto selection = [](Int32 type) -> BaseList2D* { return new SelectionTag(type); };
    static constexpr auto material = [](Int32 type) -> BaseList2D* { return new BaseMaterial(type); };
    static constexpr auto shader = [](Int32 type) -> BaseList2D* { return new BaseShader(type); };
    static const NodeType types[] = {
        {Onull, F::Object, "Null", &descriptions::object(), object},
        {Opolygon, F::Object, "Polygon", &descriptions::object(),
         [](Int32) -> BaseList2D* { return new PolygonObject; }},
        {Oline, F::Object, "Line", &descriptions::object(), [](Int32) -> BaseList2D* { return new LineObject; }},
        {Olight, F::Object, "Light", &descriptions::light(), object},
        {Ocamera, F::Object, "Camera", &descriptions::camera(), object},
        {Ofloor, F::Object, "Floor", &descriptions::object(), object},
        {Osky, F::Object, "Sky", &descriptions::object(), object},
        {Oparticle, F::Object, "Emitter", &descriptions::object(), object},
        {Oforeground, F::Object, "Foreground", &descriptions::object(), object},
        {Obackground, F::Object, "Background", &descriptions::object(), object},
        {Oinstance, F::Object, "Instance", &descriptions::instance(), object},
        {Ocube, F::Object, "Cube", &descriptions::cube(), object},
        {Osphere, F::Object, "Sphere", &descriptions::sphere(), object},
        {Odisc, F::Object, "Disc", &descriptions::disc(), object},
        {Oplane, F::Object, "Plane", &descriptions::plane(), object},
        {Ocylinder, F::Object, "Cylinder", &descriptions::cylinder(), object},
        {Tphong, F::Tag, "Phong", &descriptions::phongTag(), tag},
        {Tdisplay, F::Tag, "Display", &descriptions::displayTag(), tag},
        {Ttexture, F::Tag, "Texture", &descriptions::textureTag(), [](Int32) -> BaseList2D* { return new TextureTag; }},
        {Tuvw, F::Tag, "UVW", nullptr, [](Int32) -> BaseList2D* { return new UVWTag; }},
        {Tnormal, F::Tag, "Normals", nullptr, [](Int32) -> BaseList2D* { return new NormalTag; }},
        {Tpolygonselection, F::Tag, "Polygon Selection", nullptr, selection},
        {Tpointselection, F::Tag, "Point Selection", nullptr, selection},
        {Tvertexmap, F::Tag, "Vertex Map", nullptr, vertex},
        {Tvertexcolor, F::Tag, "Vertex Colour", nullptr, vertex},
        {Mmaterial, F::Material, "Material", &descriptions::material(), material},
        {Xcolor, F::Shader, "Colour", &descriptions::colorShader(), shader},
        {Xbitmap, F::Shader, "Bitmap", &descriptions::bitmapShader(), shader},
        {Xvertexmap, F::Shader, "Vertex Map", &descriptions::vertexMapShader(), shader},
        {Rbase, F::RenderData, "Render Settings", &descriptions::renderData(),
         [](Int32) -> BaseList2D* { return new RenderData; }},
        {Zlayer, F::Layer, "Layer", &descriptions::layer(), [](Int32) -> BaseList2D* { return new LayerObject; }},
        {Ddraw, F::Draw, "View", nullptr, [](Int32) -> BaseList2D* { return new BaseDraw; }},
        {Ctrack, F::Track, "Track", nullptr, [](Int32) -> BaseList2D* { return new BaseTrack(DescID()); }},
    };
    *count = std::size(types);
    return types;
}

const NodeType* NodeFactory::builtIn(NodeFamily family, Int32 type) {
    static const auto index = [] {
        std::unordered_map<Int64, const NodeType*> map;
        std::size_t count = 0;
        const NodeType* types = table(&count);
        for (std::size_t i = 0; i < count; ++i) map.emplace(key(types[i].family, types[i].type), &types[i]);
        return map;
    }();
    const auto found = index.find(key(family, type));
    return found == index.end() ? nullptr : found->second;
}

Bool NodeFactory::isKnown(NodeFamily family, Int32 type) {
    return builtIn(family, type) || registered(family, type);
}

BaseList2D* NodeFactory::shell(NodeFamily family, Int32 type) {
    if (const NodeType* known = builtIn(family, type)) return known->allocate(type);
    switch (family) {
        case NodeFamily::Object:
            return new BaseObject(type);
        case NodeFamily::Tag:
            return new BaseTag(type);
        case NodeFamily::Material:
            return new BaseMaterial(type);
        case NodeFamily::Shader:
            return new BaseShader(type);
        case NodeFamily::VideoPost:
            return new BaseVideoPost(type);
        case NodeFamily::Other:
            return new BaseList2D(family, type);
        default:
            return nullptr;
    }
}

BaseList2D* NodeFactory::make(NodeFamily family, Int32 type, Bool loading) {
    return isKnown(family, type) ? [&] {
        BaseList2D* node = shell(family, type);
        node->name_ = nameOf(family, type);
        giveData(*node, loading);
        return node;
    }() : nullptr;
}

BaseList2D* NodeFactory::makeOrKeep(NodeFamily family, Int32 type) {
    BaseList2D* node = make(family, type, true);
    return node ? node : shell(family, type);
}

void NodeFactory::giveData(BaseList2D& node, Bool loading) {
    if (const Description* rows = familyRows(node.family_)) rows->ApplyDefaults(node.data_);
    if (const Description* rows = descriptionOf(node.family_, node.type_)) rows->ApplyDefaults(node.data_);
    if (registered(node.family_, node.type_)) {
        node.nodeData_ = makeNodeData(node.type_);
    } else if (node.family_ == NodeFamily::Object) {
        node.nodeData_ = makePrimitive(node.type_);
    }
    if (node.nodeData_) node.nodeData_->Init(&node, loading);
}

const Description* NodeFactory::descriptionOf(NodeFamily family, Int32 type) {
    if (family == NodeFamily::Document) return &descriptions::document();
    if (const NodeType* known = builtIn(family, type)) return known->description;
    const Registration* entry = registered(family, type);
    return entry ? entry->info.description : nullptr;
}

String NodeFactory::nameOf(NodeFamily family, Int32 type) {
    if (const NodeType* known = builtIn(family, type)) return known->name;
    const Registration* entry = registered(family, type);
    return entry ? entry->info.name : String();
}

Int32 NodeFactory::baseOf(NodeFamily family) {
    switch (family) {
        case NodeFamily::Object:
            return Obase;
        case NodeFamily::Tag:
            return Tbase;
        case NodeFamily::Material:
            return Mbase;
        case NodeFamily::Shader:
            return Xbase;
        case NodeFamily::RenderData:
            return Rbase;
        case NodeFamily::VideoPost:
            return Vbase;
        default:
            return 0;
    }
}

}  // namespace host
