// OBJ, FBX, PLY and Collada through assimp. Of assimp's post-processing only the check of the data is used: what
// it would generate, the host does better from the raw polygons.
#include "host/io/import/assimp_scene.h"

#include <assimp/DefaultIOSystem.h>
#include <assimp/MemoryIOWrapper.h>
#include <assimp/config.h>
#include <assimp/scene.h>

#include <algorithm>
#include <assimp/Importer.hpp>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <unordered_map>

#include "host/io/import/animation.h"
#include "host/io/import/assimp_material.h"
#include "host/io/import/material_library.h"
#include "host/io/import/mesh.h"
#include "host/io/import/obj_text.h"

namespace host::importer {
namespace {

namespace fs = std::filesystem;

/// Lets assimp open the scene's own file and what lies beside it or below, nothing else. `text`, unless empty, is read
/// in the place of the scene's own file.
class FolderOnly : public Assimp::DefaultIOSystem {
public:
    FolderOnly(const fs::path& file, std::string text)
        : file_(file.string()),
          text_(std::move(text)),
          folder_(fs::absolute(file.parent_path()).lexically_normal().string()) {
        if (!folder_.ends_with('/')) folder_ += '/';
    }
    bool Exists(const char* file) const override { return inside(file) && DefaultIOSystem::Exists(file); }
    Assimp::IOStream* Open(const char* file, const char* mode) override {
        if (!inside(file) || !mode || mode[0] != 'r') return nullptr;
        if (!text_.empty() && file_ == file)
            return new Assimp::MemoryIOStream(reinterpret_cast<const uint8_t*>(text_.data()), text_.size());
        return DefaultIOSystem::Open(file, mode);
    }

private:
    bool inside(const char* file) const {
        std::error_code error;
        const fs::path path = fs::absolute(fs::path(file ? file : ""), error).lexically_normal();
        return !error && path.string().starts_with(folder_);
    }
    std::string file_, text_, folder_;
};

Vector vectorOf(const aiVector3D& v) {
    return {v.x, v.y, v.z};
}

Matrix matrixOf(const aiMatrix4x4& m) {
    return {{m.a4, m.b4, m.c4}, {m.a1, m.b1, m.c1}, {m.a2, m.b2, m.c2}, {m.a3, m.b3, m.c3}};
}

/// The frame of something that looks along `direction`, in a file's space: -z is where it looks.
Matrix lookFrame(const Vector& position, const Vector& direction, const Vector& up) {
    Matrix m;
    m.off = position;
    m.v3 = -direction.GetNormalized();
    if (m.v3.IsZero()) m.v3 = {0, 0, 1};
    Vector right = Cross(up, m.v3).GetNormalized();
    if (right.IsZero()) right = Cross(std::abs(m.v3.y) < 0.9 ? Vector(0, 1, 0) : Vector(0, 0, 1), m.v3).GetNormalized();
    m.v1 = right;
    m.v2 = Cross(m.v3, right);
    return m;
}

/// From the axes that an FBX file says it has to x right, y up.
Matrix axesOf(const aiMetadata& data) {
    const auto axis = [&](const char* name, const char* sign, int fallback) {
        int which = fallback, direction = 1;
        data.Get(name, which);
        data.Get(sign, direction);
        Vector v;
        (which == 0 ? v.x : which == 1 ? v.y : v.z) = direction < 0 ? -1 : 1;
        return v;
    };
    const Vector right = axis("CoordAxis", "CoordAxisSign", 0), up = axis("UpAxis", "UpAxisSign", 1);
    const Vector back = Cross(right, up);
    if (back.IsZero()) return {};
    return {{}, {right.x, up.x, back.x}, {right.y, up.y, back.y}, {right.z, up.z, back.z}};
}

class AssimpScene {
public:
    explicit AssimpScene(Context& context);
    void read();

private:
    void findUnit();
    void readAnimation();
    Mesh geometry(const aiMesh& source);
    void pose(const aiMesh& source, Mesh& mesh);
    Matrix global(const aiNode* node) const;
    Matrix local(const aiNode& node) const;
    BaseObject* useMesh(unsigned index, const std::string& name);
    void addNode(const aiNode& node, BaseObject* parent, int depth);
    std::vector<BaseObject*> content(const aiNode& node, const std::string& name);
    void finishLights();

    Context& context_;
    std::string suffix_;
    Assimp::Importer importer_;
    const aiScene* scene_ = nullptr;
    std::optional<AssimpMaterials> materials_;
    MaterialLibrary library_;
    Float unit_ = 1;     ///< metres a file unit, below the root
    Matrix rootMatrix_;  ///< without its scale, which is part of the unit
    Float largest_ = 0;  ///< half size of the largest mesh, metres
    std::map<unsigned, BaseObject*> placed_;
    std::vector<unsigned> skinned_;
    std::map<const aiNode*, NodeAnimation> animation_;
    std::vector<std::pair<BaseObject*, const aiLight*>> lights_;
    BaseObject* firstCamera_ = nullptr;
};

/// A PLY file says in its header how many elements follow. A broken header that promises more than the file can hold
/// keeps assimp busy for hours.
void checkPlyHeader(const fs::path& path) {
    std::error_code error;
    const auto size = fs::file_size(path, error);
    std::ifstream in(path, std::ios::binary);
    std::string line;
    for (int lines = 0; lines < 1000 && std::getline(in, line) && line.rfind("end_header", 0) != 0; ++lines) {
        std::istringstream words(line.substr(0, 1000));
        std::string word, name;
        double count = 0;
        if (words >> word && word == "element" && words >> name >> count && !(count <= static_cast<double>(size)))
            throw ImportError("its header promises more of \"" + cleanName(name) + "\" than the file can hold");
    }
}

AssimpScene::AssimpScene(Context& context)
    : context_(context),
      suffix_(context.file.GetSuffix().ToLower().str()),
      library_(context, [this](Int64 index) { return materials_->describe(index); }) {
    if (suffix_ == "ply") checkPlyHeader(context.file.str());
    std::string text = suffix_ == "obj" ? prepareObj(context) : std::string();
    importer_.SetIOHandler(new FolderOnly(context.file.str(), std::move(text)));  // owned by the importer
    importer_.SetPropertyBool(AI_CONFIG_IMPORT_FBX_PRESERVE_PIVOTS, false);
    scene_ = importer_.ReadFile(context.file.str(), 0);
    if (!scene_ || !scene_->mRootNode) {
        std::string reason = cleanName(importer_.GetErrorString());
        throw ImportError(reason.empty() ? "it cannot be read" : "it cannot be read (" + reason + ")");
    }
    if ((scene_->mFlags & AI_SCENE_FLAGS_INCOMPLETE) != 0 && scene_->mNumMeshes == 0)
        throw ImportError("it holds no geometry");
    materials_.emplace(*scene_, context_, suffix_);
}

void AssimpScene::findUnit() {
    if (suffix_ == "fbx" && scene_->mMetaData) {
        // Centimetres a unit.
        double factor = 0;
        float single = 0;
        if (!scene_->mMetaData->Get("UnitScaleFactor", factor) && scene_->mMetaData->Get("UnitScaleFactor", single))
            factor = single;
        unit_ = (factor > 1e-9 && factor < 1e9 ? factor : 1.0) * 0.01;
    }
    rootMatrix_ = matrixOf(scene_->mRootNode->mTransformation);
    rootMatrix_.off = rootMatrix_.off * unit_;
    if (suffix_ == "fbx" && scene_->mMetaData) rootMatrix_ = axesOf(*scene_->mMetaData) * rootMatrix_;
    const Vector scale = rootMatrix_.GetScale();
    const Float s = scale.x;
    if (s > 1e-9 && s < 1e9 && std::abs(scale.y - s) < 1e-4 * s && std::abs(scale.z - s) < 1e-4 * s) {
        rootMatrix_.v1 = rootMatrix_.v1 / s;
        rootMatrix_.v2 = rootMatrix_.v2 / s;
        rootMatrix_.v3 = rootMatrix_.v3 / s;
        unit_ *= s;
    }
}

void AssimpScene::readAnimation() {
    if (scene_->mNumAnimations == 0) return;
    const aiAnimation& source = *scene_->mAnimations[0];
    if (scene_->mNumAnimations > 1)
        context_.warn("the file has " + std::to_string(scene_->mNumAnimations) + " animations; the first one is used");
    const Float second = source.mTicksPerSecond > 1e-6 ? 1 / source.mTicksPerSecond : 1.0 / 25;
    Float lastKey = 0;
    const auto finish = [&](Sampler& sampler, Float time, const std::array<Float, 4>& value) {
        if (!std::isfinite(time) || (!sampler.times.empty() && time <= sampler.times.back())) return;
        sampler.times.push_back(time);
        sampler.values.push_back(value);
        lastKey = std::max(lastKey, time);
    };
    for (unsigned i = 0; i < source.mNumChannels; ++i) {
        const aiNodeAnim& channel = *source.mChannels[i];
        const aiNode* node = scene_->mRootNode->FindNode(channel.mNodeName);
        if (!node || node == scene_->mRootNode) continue;
        NodeAnimation& moved = animation_[node];
        for (unsigned k = 0; k < channel.mNumPositionKeys; ++k) {
            const aiVectorKey& key = channel.mPositionKeys[k];
            finish(moved.translation, key.mTime * second,
                   {key.mValue.x * unit_, key.mValue.y * unit_, key.mValue.z * unit_, 0});
        }
        for (unsigned k = 0; k < channel.mNumRotationKeys; ++k) {
            const aiQuatKey& key = channel.mRotationKeys[k];
            finish(moved.rotation, key.mTime * second, {key.mValue.x, key.mValue.y, key.mValue.z, key.mValue.w});
        }
        for (unsigned k = 0; k < channel.mNumScalingKeys; ++k) {
            const aiVectorKey& key = channel.mScalingKeys[k];
            finish(moved.scale, key.mTime * second, {key.mValue.x, key.mValue.y, key.mValue.z, 0});
        }
    }
    std::erase_if(animation_, [](const auto& entry) { return entry.second.empty(); });
    setTimeRange(context_, lastKey);
}

Mesh AssimpScene::geometry(const aiMesh& source) {
    Mesh mesh;
    mesh.weld = true;
    mesh.phongAngle = 40 / kDegreesPerRadian;
    const unsigned n = source.mNumVertices;
    mesh.points.resize(n);
    const auto unit = static_cast<Float32>(unit_);
    for (unsigned i = 0; i < n; ++i)
        mesh.points[i] = Vector32(source.mVertices[i].x, source.mVertices[i].y, source.mVertices[i].z) * unit;
    if (source.HasNormals()) {
        mesh.normals.resize(n);
        for (unsigned i = 0; i < n; ++i)
            mesh.normals[i] = {source.mNormals[i].x, source.mNormals[i].y, source.mNormals[i].z};
    }
    for (unsigned set = 0; set < source.GetNumUVChannels(); ++set) {
        auto& uvs = mesh.uvs.emplace_back(n);
        const aiVector3D* from = source.mTextureCoords[set];
        for (unsigned i = 0; i < n; ++i) uvs[i] = {from[i].x, 1.0f - from[i].y};
    }
    if (source.HasVertexColors(0)) {
        mesh.colours.resize(n);
        for (unsigned i = 0; i < n; ++i) {
            const aiColor4D& c = source.mColors[0][i];
            const Vector linear = TransformColor({c.r, c.g, c.b}, ColorTransform::SrgbToLinear);
            mesh.colours[i] = {static_cast<Float32>(linear.x), static_cast<Float32>(linear.y),
                               static_cast<Float32>(linear.z), c.a};
        }
    }
    mesh.polygons.reserve(source.mNumFaces);
    std::vector<Int32> corners;
    Int64 points = 0, lines = 0;
    for (unsigned f = 0; f < source.mNumFaces; ++f) {
        const aiFace& face = source.mFaces[f];
        points += face.mNumIndices == 1;
        lines += face.mNumIndices == 2;
        corners.clear();
        for (unsigned k = 0; k < face.mNumIndices; ++k) {
            if (face.mIndices[k] >= n)
                throw ImportError("an index is out of range: " + std::to_string(face.mIndices[k]) + ", the mesh has " +
                                  std::to_string(n) + " vertices");
            corners.push_back(static_cast<Int32>(face.mIndices[k]));
        }
        addPolygon(mesh, corners);
    }
    if (source.mNumFaces == 0) points = n;  // a cloud of points
    context_.leftOut("points were left out", points);
    context_.leftOut("lines were left out", lines);
    if (source.HasBones()) pose(source, mesh);
    for (const Vector32& p : mesh.points)
        for (const Float32 c : {p.x, p.y, p.z})
            if (const Float size = std::abs(c); size > largest_ && size < 1e6) largest_ = size;
    return mesh;
}

/// Bones place a mesh in the scene, whatever node holds it.
void AssimpScene::pose(const aiMesh& source, Mesh& mesh) {
    std::vector<std::vector<std::pair<UInt32, Float32>>> influences(mesh.points.size());
    std::vector<Matrix> matrices;
    std::size_t most = 0;
    for (unsigned b = 0; b < source.mNumBones; ++b) {
        const aiBone& bone = *source.mBones[b];
        const aiNode* node = scene_->mRootNode->FindNode(bone.mName);
        Matrix offset = matrixOf(bone.mOffsetMatrix);
        offset.off = offset.off * unit_;
        matrices.push_back(global(node ? node : scene_->mRootNode) * offset);
        for (unsigned w = 0; w < bone.mNumWeights; ++w) {
            const aiVertexWeight& weight = bone.mWeights[w];
            if (weight.mVertexId >= influences.size()) continue;
            influences[weight.mVertexId].emplace_back(b, weight.mWeight);
            most = std::max(most, influences[weight.mVertexId].size());
        }
    }
    if (matrices.empty() || most == 0) return;
    std::vector<UInt32> joints(influences.size() * most, 0);
    std::vector<Float32> weights(influences.size() * most, 0);
    for (std::size_t i = 0; i < influences.size(); ++i)
        for (std::size_t k = 0; k < influences[i].size(); ++k)
            std::tie(joints[i * most + k], weights[i * most + k]) = influences[i][k];
    poseBySkin(mesh, matrices, joints, weights, most);
}

Matrix AssimpScene::local(const aiNode& node) const {
    if (&node == scene_->mRootNode) return rootMatrix_;
    Matrix m = matrixOf(node.mTransformation);
    m.off = m.off * unit_;
    if (const auto moved = animation_.find(&node); moved != animation_.end())
        return moved->second.at(0, decompose(m)).matrix();
    return m;
}

Matrix AssimpScene::global(const aiNode* node) const {
    Matrix m;
    int depth = 0;
    for (; node && depth < kMaxDepth; node = node->mParent, ++depth) m = local(*node) * m;
    return m;
}

BaseObject* AssimpScene::useMesh(unsigned index, const std::string& name) {
    if (const auto known = placed_.find(index); known != placed_.end()) {
        if (!known->second) return nullptr;
        BaseObject* instance = context_.keep(BaseObject::Alloc(Oinstance));
        instance->SetName(name);
        instance->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, known->second);
        return instance;
    }
    const aiMesh& source = *scene_->mMeshes[index];
    Mesh mesh = geometry(source);
    PolygonObject* object = library_.makeObject(mesh, source.mMaterialIndex);
    placed_[index] = object;
    if (!object) return nullptr;
    object->SetName(name);
    return object;
}

std::vector<BaseObject*> AssimpScene::content(const aiNode& node, const std::string& name) {
    std::vector<BaseObject*> objects;
    for (unsigned i = 0; i < node.mNumMeshes; ++i) {
        const unsigned index = node.mMeshes[i];
        if (index >= scene_->mNumMeshes) continue;
        if (scene_->mMeshes[index]->HasBones()) {
            if (std::find(skinned_.begin(), skinned_.end(), index) == skinned_.end()) skinned_.push_back(index);
            continue;
        }
        const std::string part = cleanName(scene_->mMeshes[index]->mName.C_Str());
        BaseObject* object = useMesh(index, node.mNumMeshes > 1 && !part.empty() ? part : name);
        if (object) objects.push_back(object);
    }
    for (unsigned i = 0; i < scene_->mNumCameras; ++i) {
        const aiCamera& source = *scene_->mCameras[i];
        if (source.mName != node.mName) continue;
        CameraDescription d;
        d.horizontalAngle = source.mHorizontalFOV;
        d.aspect = source.mAspect;
        if (source.mOrthographicWidth > 0) {
            d.parallel = true;
            d.width = 2 * source.mOrthographicWidth * unit_ * kUnitsPerMetre;
        }
        BaseObject* camera = context_.keep(makeCamera(d));
        camera->SetName(name);
        camera->SetMl(
            toHost(lookFrame(vectorOf(source.mPosition) * unit_, vectorOf(source.mLookAt), vectorOf(source.mUp))));
        if (!firstCamera_) firstCamera_ = camera;
        objects.push_back(camera);
    }
    for (unsigned i = 0; i < scene_->mNumLights; ++i) {
        const aiLight& source = *scene_->mLights[i];
        if (source.mName != node.mName || source.mType == aiLightSource_AMBIENT ||
            source.mType == aiLightSource_UNDEFINED)
            continue;
        BaseObject* light = context_.keep(makeLight({}));
        light->SetName(name);
        const Vector direction = source.mType == aiLightSource_POINT ? Vector(0, 0, -1) : vectorOf(source.mDirection);
        light->SetMl(toHost(lookFrame(vectorOf(source.mPosition) * unit_, direction, vectorOf(source.mUp))));
        lights_.emplace_back(light, &source);
        objects.push_back(light);
    }
    return objects;
}

void AssimpScene::addNode(const aiNode& node, BaseObject* parent, int depth) {
    if (depth > kMaxDepth)
        throw ImportError("its nodes are nested deeper than " + std::to_string(kMaxDepth) + " levels");
    std::string name = cleanName(node.mName.C_Str());
    if (name.empty()) name = "Object";
    const Matrix m = toHost(local(node));
    const std::vector<BaseObject*> objects = content(node, name);
    const auto moved = animation_.find(&node);
    BaseObject* object = nullptr;
    const bool plainRoot = &node == scene_->mRootNode && m == Matrix();
    if (objects.size() == 1 && node.mNumChildren == 0 && ToPoly(objects.front())) {
        object = objects.front();
        context_.document.AppendObject(object, parent);
    } else if (plainRoot) {
        for (BaseObject* part : objects) context_.document.AppendObject(part);
    } else {
        object = BaseObject::Alloc(Onull);
        object->SetName(name);
        context_.document.AppendObject(object, parent);
        for (BaseObject* part : objects) context_.document.AppendObject(part, object);
    }
    if (object && isFinite(m)) object->SetMl(m);
    if (object && moved != animation_.end()) {
        Matrix rest = matrixOf(node.mTransformation);
        rest.off = rest.off * unit_;
        addTrack(*object, moved->second, decompose(rest), context_);
    }
    for (unsigned i = 0; i < node.mNumChildren; ++i) addNode(*node.mChildren[i], object, depth + 1);
}

/// These formats give a light's colour and how it falls off, in no physical unit. With a quadratic falloff the radiant
/// intensity follows from it; a light without one is given what lights a white surface to white at the distance of the
/// scene's size.
void AssimpScene::finishLights() {
    for (const auto& [object, source] : lights_) {
        LightDescription d;
        const aiColor3D& c = source->mColorDiffuse;
        d.colour = {c.r, c.g, c.b};
        const Float falloff = source->mAttenuationQuadratic;
        const Float reach = largest_ > 0 ? largest_ : 1;
        d.intensity = kPi * (falloff > 1e-9 ? unit_ * unit_ / falloff : reach * reach);
        if (source->mType == aiLightSource_DIRECTIONAL) {
            d.kind = LightDescription::Kind::Directional;
            d.intensity = kPi;
        } else if (source->mType == aiLightSource_SPOT) {
            d.kind = LightDescription::Kind::Spot;
            if (source->mAngleOuterCone > 0 && source->mAngleOuterCone < kPi)
                d.outerAngle = source->mAngleOuterCone / 2;
            d.innerAngle = source->mAngleInnerCone / 2;
        }
        BaseObject* made = makeLight(d);
        object->SetData(made->GetData());
        BaseObject::Free(made);
    }
}

void AssimpScene::read() {
    findUnit();
    readAnimation();
    addNode(*scene_->mRootNode, nullptr, 1);
    for (const unsigned index : skinned_) {
        BaseObject* object = useMesh(index, cleanName(scene_->mMeshes[index]->mName.C_Str()));
        if (object) context_.document.AppendObject(object);
    }
    finishLights();
    if (firstCamera_) context_.document.GetActiveBaseDraw()->SetSceneCamera(firstCamera_);
}

}  // namespace

void readWithAssimp(Context& context) {
    AssimpScene(context).read();
}

}  // namespace host::importer
