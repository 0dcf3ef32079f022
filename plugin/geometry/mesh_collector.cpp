#include "plugin/geometry/mesh_collector.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "plugin/core/globals.h"
#include "plugin/core/log.h"
#include "plugin/geometry/mesh_convert.h"
#include "plugin/geometry/object_tags.h"

namespace lumora {

namespace {

// Indices of the engine are 32-bit.
constexpr Int64 kMaxElements = std::numeric_limits<int>::max();

void reportRefusal(const BaseObject& object, MeshRefusal why) {
    if (why == MeshRefusal::NotFinite) logLine(object.GetName() + " floating point error. Export ignored!");
    if (why == MeshRefusal::BadIndices) logLine(object.GetName() + " has polygons without points. Export ignored!");
}

}  // namespace

ApiNodeGraph& MeshCollector::graph() {
    return graph_ ? *graph_ : ApiProjectManager::rootNodeGraph();
}

ApiNode* MeshCollector::exportSingleMesh(std::span<const SceneObjectInfo> objects, float scale, bool applyTransform) {
    mesh = nullptr;
    scale_ = scale;
    polygonTotal = vertexTotal = cornerTotal = triangleCount = 0;
    objectCount = static_cast<Int32>(objects.size());

    std::vector<MeshSource> sources;
    sources.reserve(objects.size());
    bool vertexMap = false;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (sendBroken()) return nullptr;
        const SceneObjectInfo& info = objects[i];
        if (!info.object || !info.renderVisible || info.object->GetType() == Ofloor) continue;
        MeshSource source;
        const MeshRefusal why = findMeshSource(info, &source);
        if (why != MeshRefusal::None) {
            reportRefusal(*info.object, why);
            continue;
        }
        if (polygonTotal + source.polygonCount > kMaxElements || vertexTotal + source.pointCount > kMaxElements ||
            cornerTotal + source.cornerCount > kMaxElements) {
            logLine(info.object->GetName() + " does not fit: the mesh would have more than 2147483647 corners.");
            continue;
        }
        if (!gatherNormals(source)) continue;
        source.objectIndex = static_cast<Int32>(i);
        vertexMap |= info.vertexMapTag != nullptr;
        gatherLayersForStatic(info, materials_, source);
        polygonTotal += source.polygonCount;
        vertexTotal += source.pointCount;
        cornerTotal += source.cornerCount;
        sources.push_back(std::move(source));
    }
    logLine("SINGLE MESH COLLECTING cnt:" + String::IntToString(objectCount) +
            " tricnt:" + String::IntToString(polygonTotal) + " vtxCnt:" + String::IntToString(vertexTotal));
    if (polygonTotal == 0 || vertexTotal == 0) {
        logLine("no vertex");
        return nullptr;
    }
    mesh = createNode(NT_GEO_MESH, graph(), "Static Mesh");
    if (!mesh) return nullptr;
    if (!allocateArrays(vertexMap)) {
        logLine("Out of memory: the static mesh is left out.");
        destroyItem(mesh);
        return nullptr;
    }
    allMaterials.clear();
    for (Int32 i = 0; i < materials_.linkCount(); ++i)
        if (BaseMaterial* material = materials_.linkAt(i)->material) allMaterials.push_back(material);
    convert(sources, applyTransform);
    return mesh;
}

void MeshCollector::init() {
    releaseBuffers();
    graph_ = nullptr;
    mesh = nullptr;
    polygonTotal = vertexTotal = cornerTotal = triangleCount = 0;
    objectCount = 0;
    objectMaterials.clear();
    setTimeSampling(nullptr, nullptr);
}

void MeshCollector::setTimeSampling(const Lumora::ApiTimeSampling* sampling, VertexMotion* motion) {
    sampling_ = sampling;
    motion_ = motion;
}

ApiNode* MeshCollector::collectObjectMesh(const SceneObjectInfo& info, float scale, bool applyTransform,
                                          bool wantsVertexMotion) {
    scale_ = scale;
    objectCount = 1;
    polygonTotal = vertexTotal = cornerTotal = triangleCount = 0;
    if (!info.object) return nullptr;

    MeshSource source;
    const MeshRefusal why = findMeshSource(info, &source);
    if (why != MeshRefusal::None) reportRefusal(*info.object, why);
    bool good = why == MeshRefusal::None && source.cornerCount <= kMaxElements && gatherNormals(source);
    if (good) {
        gatherLayersForObject(info, source, objectMaterials);
        if (objectMaterials.empty() && info.mainMaterial) objectMaterials.push_back(info.mainMaterial);
        polygonTotal = source.polygonCount;
        vertexTotal = source.pointCount;
        cornerTotal = source.cornerCount;
        good = allocateArrays(info.vertexMapTag != nullptr);
    }
    // An object without a mesh leaves no trace in the engine.
    if (good && !mesh) mesh = createNode(NT_GEO_MESH, graph(), "mesh");
    if (!good || !mesh) {
        releaseBuffers();
        destroyItem(mesh);
        return nullptr;
    }
    convert({&source, 1}, applyTransform);
    if (info.motionType == MOTION_VELOCITY_MAPS) collectVelocities(info, *source.polygonObject);
    if (wantsVertexMotion) collectVertexMotion(info);
    return mesh;
}

void MeshCollector::collectVelocities(const SceneObjectInfo& info, const PolygonObject& object) {
    if (!info.objectTag) return;
    const VertexTag* maps[3] = {};
    const BaseObject* host = nullptr;
    for (Int32 axis = 0; axis < 3; ++axis) {
        auto* linked = info.objectTag->GetDataInstance()->GetLink(OBJTAG_VELOCITY_X + axis, object.GetDocument());
        // A link may name the map itself or the object that carries it.
        if (linked && linked->GetFamily() == NodeFamily::Object)
            linked = static_cast<const BaseObject*>(linked)->GetTag(Tvertexmap);
        if (!linked || linked->GetType() != Tvertexmap) return;
        const auto* map = static_cast<const VertexTag*>(static_cast<const BaseTag*>(linked));
        if (host && map->GetObject() != host) return;
        host = map->GetObject();
        maps[axis] = map;
        if (map->Data().size() != static_cast<std::size_t>(vertexTotal)) return;
    }
    if (!host || host->GetType() != Opolygon) return;
    try {
        arrays_.velocities.allocate(static_cast<std::size_t>(vertexTotal));
    } catch (const std::bad_alloc&) {
        return;
    }
    for (std::size_t i = 0; i < arrays_.velocities.size(); ++i)
        arrays_.velocities[i] = {maps[0]->Data()[i], maps[1]->Data()[i], -maps[2]->Data()[i]};
}

void MeshCollector::collectVertexMotion(const SceneObjectInfo& info) {
    if (!motion_ || !sampling_ || sampling_->count == 0) return;
    const auto vertices = static_cast<std::size_t>(vertexTotal);
    try {
        arrays_.animatedVertices.allocate(vertices * sampling_->count);
    } catch (const std::bad_alloc&) {
        logLine("Memory allocation error on, vertex motion blur!");
        return;
    }
    if (!motion_->fill(info, vertices, sampling_->count, scale_, arrays_.animatedVertices.data()))
        arrays_.animatedVertices.release();
}

bool MeshCollector::allocateArrays(bool vertexMap) {
    const auto p = static_cast<std::size_t>(polygonTotal), c = static_cast<std::size_t>(cornerTotal);
    try {
        releaseBuffers();
        for (Buffer<int>* b : {&arrays_.vertsPerPoly, &arrays_.polyMaterials, &arrays_.polyObjects}) b->allocate(p);
        for (Buffer<int>* b : {&arrays_.polyVertexIndices, &arrays_.polyNormalIndices, &arrays_.polyUvIndices})
            b->allocate(c);
        for (Buffer<Float3>* b : {&arrays_.normals, &arrays_.uvs}) b->allocate(c);
        arrays_.vertices.allocate(static_cast<std::size_t>(vertexTotal));
        if (vertexMap) {
            arrays_.uvs2.allocate(c);
            arrays_.polyUv2Indices.allocate(c);
        }
        if (colorTableSize > 0) {
            arrays_.uvs3.allocate(static_cast<std::size_t>(objectCount));
            std::fill_n(arrays_.uvs3.data(), objectCount, Float3{});  // objects without a mesh have an entry too
            arrays_.polyUv3Indices.allocate(c);
        }
    } catch (const std::bad_alloc&) {
        releaseBuffers();
        return false;
    }
    return true;
}

void MeshCollector::convert(std::span<MeshSource> sources, bool applyTransform) {
    ConvertOptions options;
    options.scale = scale_;
    options.applyTransform = applyTransform;
    options.gridUvs = !arrays_.uvs2.empty();
    options.colorTableSize = arrays_.uvs3.empty() ? 0 : colorTableSize;
    triangleCount = convertMeshes(sources, options, arrays_);
}

void MeshCollector::writeMeshAttributes(std::size_t materialCount) {
    MeshArrays& a = arrays_;
    // The engine has its own copy then: together they would be twice the mesh.
    const auto write = [this](AttributeId id, auto& values) {
        writeArray(mesh, id, values.data(), values.size());
        values.release();
    };
    // What the object had when the node was made and has no longer is emptied.
    const auto writeIfAny = [&](AttributeId id, auto& values) {
        if (!values.empty() || mesh->getArraySize(id) > 0) write(id, values);
    };
    const bool animated = !a.animatedVertices.empty();
    setAttrIfChanged(mesh, A_VERTICES_ANIMATED, animated);
    if (animated)
        writeAnimation(mesh, A_VERTICES, *sampling_, sampling_->count, a.animatedVertices.data(),
                       a.animatedVertices.size());
    else
        write(A_VERTICES, a.vertices);
    writeIfAny(A_VERTEX_VELOCITIES, a.velocities);
    write(A_VERTICES_PER_POLY, a.vertsPerPoly);
    write(A_POLY_VERTEX_INDICES, a.polyVertexIndices);
    write(A_NORMALS, a.normals);
    write(A_POLY_NORMAL_INDICES, a.polyNormalIndices);
    write(A_UVWS, a.uvs);
    write(A_POLY_UVW_INDICES, a.polyUvIndices);
    writeIfAny(A_UVWS_2, a.uvs2);
    writeIfAny(A_POLY_UVW_INDICES_2, a.polyUv2Indices);
    writeIfAny(A_UVWS_3, a.uvs3);
    writeIfAny(A_POLY_UVW_INDICES_3, a.polyUv3Indices);
    write(A_POLY_MATERIAL_INDICES, a.polyMaterials);
    write(A_POLY_OBJECT_INDICES, a.polyObjects);

    const auto writeNames = [this](AttributeId id, const std::vector<std::string>& names) {
        std::vector<const char*> pointers;
        pointers.reserve(names.size());
        for (const std::string& n : names) pointers.push_back(n.c_str());
        setArrayIfChanged(mesh, id, pointers.data(), pointers.size(), false);
    };
    std::vector<std::string> names;
    for (Int32 i = 0; i < objectCount; ++i) names.push_back("obje" + std::to_string(i));
    writeNames(A_OBJECT_NAMES, names);
    names.clear();
    if (materialCount == 0) {
        names.emplace_back("defaultMat");
    } else {
        names.emplace_back("default");
        for (std::size_t i = 0; i < materialCount; ++i) names.push_back("mat" + std::to_string(i));
    }
    writeNames(A_MATERIAL_NAMES, names);
}

void MeshCollector::connectMaterials(std::span<BaseMaterial* const> materials) {
    const bool inRoot = &graph() == static_cast<ApiNodeGraph*>(&ApiProjectManager::rootNodeGraph());
    materialNodes.assign(1, materials_.defaultMaterial());
    const unsigned first = mesh->staticPinCount() + 1;  // the first dynamic pin is the slot "default"
    for (std::size_t i = 0; i < materials.size(); ++i) {
        const MatLink* link = materials[i] ? materials_.findLinkByMaterial(materials[i]) : nullptr;
        const unsigned pin = first + static_cast<unsigned>(i);
        if (!link) {
            // Of a node in its second use, the pin may show what its object had before.
            disconnectPinIx(mesh, pin);
            continue;
        }
        ApiNode* node = link->meshNode();
        materialNodes.push_back(node);
        if (inRoot) {
            connectIxIfChanged(mesh, pin, node);
            continue;
        }
        // A graph reaches materials outside through an input linker.
        ApiNode* linker = mesh->connectedNodeIx(pin);
        if (!linker || linker->type() != NT_IN_MATERIAL) linker = createNode(NT_IN_MATERIAL, graph());
        connectIfChanged(linker, P_INPUT, node);
        connectIxIfChanged(mesh, pin, linker);
    }
}

void MeshCollector::finishSingleMesh() {
    if (mesh) {
        const Float start = GeGetMilliSeconds();
        writeMeshAttributes(allMaterials.size());
        evaluateItem(mesh);  // only now the material pins exist
        evaluateMs += GeGetMilliSeconds() - start;
        connectMaterials(allMaterials);
        buildMs += GeGetMilliSeconds() - start;
    }
    releaseBuffers();
}

bool MeshCollector::finishObjectMesh(const SceneObjectInfo& /*info*/) {
    if (!mesh) {
        releaseBuffers();
        return false;
    }
    const Float start = GeGetMilliSeconds();
    writeMeshAttributes(objectMaterials.size());
    evaluateItem(mesh);
    evaluateMs += GeGetMilliSeconds() - start;
    setAttrIfChanged(mesh, A_FILENAME, "");
    setAttrIfChanged(mesh, A_RELOAD, false);
    if (objectMaterials.empty())
        materialNodes.assign(1, materials_.defaultMaterial());
    else
        connectMaterials(objectMaterials);
    buildMs += GeGetMilliSeconds() - start;
    releaseBuffers();
    return true;
}

void MeshCollector::destroy() {
    releaseBuffers();
    allMaterials.clear();
    objectMaterials.clear();
    materialNodes.clear();
}

void MeshCollector::releaseBuffers() {
    arrays_ = {};
}

Vector meshSignature(const SceneObjectInfo& info) {
    if (!info.object) return Vector(-3.0);
    const PolygonObject* object = polygonObjectOf(info.object);
    if (!object) return Vector(-2.0);
    Vector sum;
    const auto addTag = [&](const BaseTag& tag) {
        if (tag.GetType() == Ttexture) {
            const Matrix m = static_cast<const TextureTag&>(tag).GetMl();
            sum += m.off + m.v1 + m.v2 + m.v3;
        } else if (tag.GetType() == Tvertexmap) {
            for (Float32 v : static_cast<const VertexTag&>(tag).Data()) sum.y += v;
        }
        const ContentHash h = hashParameters(tag);
        sum += Vector(h.a, h.b, h.c);
    };
    const BaseTag* first = info.object->GetFirstTag();
    if (!first) first = info.mainTextureTag;
    for (const BaseTag* tag = first; tag; tag = tag->GetNext()) addTag(*tag);
    // Texture tags of a parent show on an object that has tags of other kinds.
    if (info.object->GetFirstTag())
        for (const TextureTag* tag : visibleTextureTags(info.object))
            if (tag->GetObject() != info.object) addTag(*tag);
    if (object->GetPointCount() >= 2)
        for (const Vector& p : object->Points()) sum += Vector(std::abs(p.x), std::abs(p.y), std::abs(p.z));
    sum.z += object->GetPolygonCount();
    return sum;
}

}  // namespace lumora
