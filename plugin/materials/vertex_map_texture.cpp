#include "plugin/materials/vertex_map_texture.h"

#include <algorithm>
#include <cmath>
#include <mutex>

#include "plugin/core/log.h"
#include "plugin/geometry/mesh_source.h"

namespace lumora {

namespace {

constexpr UInt32 kKeyImage = 1;
constexpr Int32 kMaterialResolution = 2602, kDefaultResolution = 4;
// Larger images are kept in bytes: a quarter of the memory, and the steps of 8 bits do not show in a dense mesh.
constexpr Int32 kLargestFloatSide = 2048, kLargestSide = 32768;

enum ImageType : int { IMAGE_BYTES = 0, IMAGE_FLOATS = 2 };

struct VertexValues {
    const PolygonObject* object = nullptr;
    const VertexTag* tag = nullptr;
    bool invert = false;

    Vector at(Int32 point) const {
        const auto n = static_cast<std::size_t>(tag->GetComponents());
        const std::size_t first = static_cast<std::size_t>(point) * n;
        if (first + n > tag->Data().size()) return {};
        const Float32* v = tag->Data().data() + first;
        const Vector value = n == 1 ? Vector(Float(v[0])) : Vector(v[0], v[1], v[2]);
        return invert ? Vector(1.0) - value : value;
    }
};

const PolygonObject* polygonsOf(const BaseTag& tag) {
    const BaseObject* object = tag.GetObject();
    if (!object) return nullptr;
    if (object->GetType() != Opolygon && object->GetDeformCache()) object = object->GetDeformCache();
    return polygonObjectOf(object);
}

/// Calls put(column, row, value) for every texel, rows from the bottom. Texel centres of a tile's edge are the
/// polygon's corners: a look-up between them interpolates as the polygon does. Beyond a triangle's long side the same
/// plane goes on, so that a look-up beside the edge finds what belongs to it.
template <typename Put>
void drawTiles(const VertexValues& values, Int32 columns, Int32 resolution, const Put& put) {
    const Float step = resolution > 1 ? 1.0 / (resolution - 1) : 0.0;
    const CPolygon* polygons = values.object->GetPolygonR();
    const Int32 count = values.object->GetPolygonCount();
#pragma omp parallel for schedule(static) if (count > 4096)
    for (Int32 i = 0; i < count; ++i) {
        const CPolygon& p = polygons[i];
        const Vector a = values.at(p.a), b = values.at(p.b), c = values.at(p.c), d = values.at(p.d);
        const bool triangle = p.IsTriangle();
        for (Int32 y = 0; y < resolution; ++y)
            for (Int32 x = 0; x < resolution; ++x) {
                const Float tx = x * step, ty = y * step;
                const Vector v =
                    triangle ? a * (1 - tx) + b * (tx - ty) + c * ty
                             : a * ((1 - tx) * (1 - ty)) + b * (tx * (1 - ty)) + c * (tx * ty) + d * ((1 - tx) * ty);
                put(i % columns * resolution + x, i / columns * resolution + y, v);
            }
    }
}

bool writePixels(ApiNode* image, const VertexValues& values, Int32 columns, Int32 resolution) {
    const Int32 side = columns * resolution;
    const bool floats = side <= kLargestFloatSide;
    const auto texel = [side](Int32 x, Int32 y) {  // the engine's images begin at the top
        return (static_cast<std::size_t>(side - 1 - y) * static_cast<std::size_t>(side) + static_cast<std::size_t>(x)) *
               4;
    };
    const std::size_t size = static_cast<std::size_t>(side) * static_cast<std::size_t>(side) * 4;
    setAttrIfChanged(image, A_SIZE, Int2{side, side}, false);
    setAttrIfChanged(image, A_IMAGE_TYPE, floats ? IMAGE_FLOATS : IMAGE_BYTES, false);
    if (floats) {
        std::vector<float> pixels(size, 1.0f);
        drawTiles(values, columns, resolution, [&](Int32 x, Int32 y, const Vector& v) {
            const Float3 f = toFloat3(v);
            std::copy_n(&f.x, 3, pixels.data() + texel(x, y));
        });
        return writeArray(image, A_BUFFER, pixels.data(), size, true);
    }
    std::vector<UChar> pixels(size, 255);
    drawTiles(values, columns, resolution, [&](Int32 x, Int32 y, const Vector& v) {
        for (Int32 k = 0; k < 3; ++k)
            pixels[texel(x, y) + static_cast<std::size_t>(k)] =
                static_cast<UChar>(std::clamp(v[k], 0.0, 1.0) * 255.0 + 0.5);
    });
    return writeArray(image, A_BUFFER, pixels.data(), size, true);
}

/// What a vertex map shader shows, in tiles of which size.
struct VertexMapUse {
    VertexValues values;
    Int32 columns = 0, resolution = 0;
    Int32 side() const { return columns * resolution; }
};

const VertexTag* tagOf(const MatManager& manager, const BaseShader& shader) {
    const BaseDocument* doc = shader.GetDocument() ? shader.GetDocument() : manager.doc;
    const BaseList2D* target = shader.GetDataInstance()->GetLink(VERTEXMAPSHADER_TAG, doc);
    const bool fits = target && (target->GetType() == Tvertexmap || target->GetType() == Tvertexcolor);
    return fits ? static_cast<const VertexTag*>(target) : nullptr;
}

/// False when there is nothing to draw.
bool readUse(const MatManager& manager, const BaseShader& shader, const MatLink& link, VertexMapUse* use) {
    use->values.tag = tagOf(manager, shader);
    if (use->values.tag) use->values.object = polygonsOf(*use->values.tag);
    if (!use->values.object || use->values.object->GetPolygonCount() <= 0) return false;
    use->values.invert = shader.GetDataInstance()->GetBool(VERTEXMAPSHADER_INVERT);
    const auto polygons = static_cast<Float>(use->values.object->GetPolygonCount());
    use->columns = static_cast<Int32>(std::ceil(std::sqrt(polygons)));
    Int32 wanted = kDefaultResolution;
    if (link.material) wanted = link.material->GetDataInstance()->GetInt32(kMaterialResolution, kDefaultResolution);
    if (wanted < 1) wanted = kDefaultResolution;
    use->resolution = std::max(1, std::min(wanted, kLargestSide / use->columns));
    return true;
}

/// Draws what differs from what the record stands for. False when the engine refuses.
bool draw(MatNodeRec& rec, const BaseShader& shader, const VertexMapUse& use) {
    const UInt32 dirty = dirtySum(shader) + use.values.tag->GetDirty(DIRTYFLAGS_ALL) +
                         use.values.object->GetDirty(DIRTYFLAGS_DATA | DIRTYFLAGS_CACHE);
    const Int32 side = use.side();
    if (rec.baked && rec.dirty == dirty && rec.width == side) return true;
    if (!writePixels(rec.node->toNode(), use.values, use.columns, use.resolution)) return false;
    rec.baked = true;
    rec.dirty = dirty;
    rec.width = rec.height = side;
    rec.bitDepth = side <= kLargestFloatSide ? 128.0 : 32.0;
    return true;
}

/// Calls use(shader) for each vertex map shader below `first`, its neighbours included.
template <typename Use>
void forEachVertexMap(const BaseList2D* first, const Use& use) {
    for (const BaseList2D* node = first; node; node = node->GetNext()) {
        if (node->GetType() == Xvertexmap) use(static_cast<const BaseShader&>(*node));
        forEachVertexMap(node->GetFirstShader(), use);
        forEachVertexMap(node->GetDown(), use);
    }
}

}  // namespace

ApiNode* vertexMapTexture(MatManager& manager, BaseShader& shader, MatLink& link) {
    if (manager.busyPreview) return nullptr;
    VertexMapUse use;
    if (!readUse(manager, shader, link, &use)) {
        logLine(link.name + ": the vertex map of its shader is not there.");
        return nullptr;
    }
    ApiNode* image = manager.reuseOrCreate(link, &shader, kKeyImage, NT_TEX_IMAGE);
    if (!image) return nullptr;
    setNameIfChanged(image, shader.GetName());
    const bool picked = use.values.tag->GetType() == Tvertexcolor && manager.colorsAreSrgb();
    setFloatIfChanged(image, P_GAMMA, picked ? 2.2f : 1.0f);
    setIntIfChanged(ownedInput(image, P_PROJECTION, NT_PROJ_UVW), P_UV_SET, 2);
    MatNodeRec* rec = link.findRec(NT_TEX_IMAGE, &shader, kKeyImage);
    return rec && draw(*rec, shader, use) ? image : nullptr;
}

void updateVertexMaps(MatManager& manager, const SceneObjectInfo& info) {
    const std::lock_guard guard(manager.lock);
    for (Int32 i = 0; i < manager.linkCount(); ++i) {
        MatLink& link = *manager.linkAt(i);
        const auto* material = static_cast<const BaseMaterial*>(link.link.GetLink(manager.doc));
        if (!material) continue;
        const GenerationScope scope(link);
        forEachVertexMap(material->GetFirstShader(), [&](const BaseShader& shader) {
            const VertexTag* tag = tagOf(manager, shader);
            const BaseObject* on = tag ? tag->GetObject() : nullptr;
            if (!on || (on != info.object && on != info.parentObject && on != info.generator)) return;
            VertexMapUse use;
            MatNodeRec* rec = link.findRec(NT_TEX_IMAGE, &shader, kKeyImage);
            if (rec && readUse(manager, shader, link, &use)) draw(*rec, shader, use);
        });
    }
}

}  // namespace lumora
