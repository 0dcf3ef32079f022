#include "host/io/import/mesh.h"

#include <bit>
#include <cmath>

namespace host::importer {
namespace {

/// Beyond this a scaled coordinate no longer fits the single precision of renderers.
constexpr Float32 kLargestCoordinate = 1e30f;

bool usable(const Vector32& p) {
    // False for what is no number as well.
    return std::abs(p.x) < kLargestCoordinate && std::abs(p.y) < kLargestCoordinate &&
           std::abs(p.z) < kLargestCoordinate;
}

bool hasRepeatedCorner(const CPolygon& p) {
    if (p.a == p.b || p.b == p.c || p.a == p.c) return true;
    return !p.IsTriangle() && (p.d == p.a || p.d == p.b);
}

/// For each vertex the first vertex at the same place and of the same colour. Open addressing over the bits of the
/// coordinates.
std::vector<Int32> firstAtSamePlace(const Mesh& mesh) {
    const std::vector<Vector32>& points = mesh.points;
    const auto same = [&](std::size_t a, std::size_t b) {
        return points[a] == points[b] && (mesh.colours.empty() || mesh.colours[a] == mesh.colours[b]);
    };
    std::vector<Int32> first(points.size());
    const std::size_t size = std::bit_ceil(points.size() * 2 + 2);
    std::vector<Int32> table(size, -1);
    const auto bits = [](Float32 f) { return std::bit_cast<UInt32>(f == 0.0f ? 0.0f : f); };  // -0 is 0
    for (std::size_t i = 0; i < points.size(); ++i) {
        const Vector32& p = points[i];
        UInt64 hash = bits(p.x) * 0x9E3779B97F4A7C15ull;
        hash = (hash ^ (hash >> 32) ^ bits(p.y)) * 0x9E3779B97F4A7C15ull;
        hash = (hash ^ (hash >> 32) ^ bits(p.z)) * 0x9E3779B97F4A7C15ull;
        std::size_t slot = (hash >> 20) & (size - 1);
        while (table[slot] >= 0 && !same(static_cast<std::size_t>(table[slot]), i)) slot = (slot + 1) & (size - 1);
        if (table[slot] < 0) table[slot] = static_cast<Int32>(i);
        first[i] = table[slot];
    }
    return first;
}

/// Polygons as the mesh has them, without those that cannot be used.
std::vector<CPolygon> goodPolygons(const Mesh& mesh, const std::vector<Int32>& pointOf, Context& context) {
    std::vector<CPolygon> good;
    good.reserve(mesh.polygons.size());
    Int64 degenerate = 0, notFinite = 0;
    for (CPolygon p : mesh.polygons) {
        const auto at = [&](Int32 v) -> const Vector32& { return mesh.points[static_cast<std::size_t>(v)]; };
        if (!usable(at(p.a)) || !usable(at(p.b)) || !usable(at(p.c)) || !usable(at(p.d))) {
            ++notFinite;
            continue;
        }
        CPolygon q = p;
        if (!pointOf.empty()) {
            const auto point = [&](Int32 v) { return pointOf[static_cast<std::size_t>(v)]; };
            q = {point(p.a), point(p.b), point(p.c), point(p.d)};
        }
        // A four-sided polygon with two corners in one is a triangle.
        if (!q.IsTriangle() && (q.d == q.a || q.b == q.c)) {
            p = q.d == q.a ? CPolygon(p.a, p.b, p.c) : CPolygon(p.a, p.b, p.d);
            q = q.d == q.a ? CPolygon(q.a, q.b, q.c) : CPolygon(q.a, q.b, q.d);
        } else if (!q.IsTriangle() && q.a == q.b) {
            p = CPolygon(p.a, p.c, p.d);
            q = CPolygon(q.a, q.c, q.d);
        } else if (q.IsTriangle()) {
            p.d = p.c;
        }
        if (hasRepeatedCorner(q)) {
            ++degenerate;
            continue;
        }
        good.push_back(p);
    }
    context.leftOut("polygons without area were left out", degenerate);
    context.leftOut("polygons with coordinates that are no finite numbers were left out", notFinite);
    return good;
}

Vector32 toHostDirection(const Vector32& n) {
    return {n.x, n.y, -n.z};
}

void addNormals(const Mesh& mesh, const std::vector<CPolygon>& polygons, PolygonObject& object) {
    NormalTag* tag = NormalTag::Alloc(static_cast<Int32>(polygons.size()));
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        const CPolygon& p = polygons[i];
        const std::array<Int32, 4> corners = {p.a, p.b, p.c, p.d};
        for (std::size_t k = 0; k < 4; ++k) {
            const Vector32 n = mesh.normals[static_cast<std::size_t>(corners[k])];
            const Float32 length = n.GetLength();
            if (length > 1e-12f && length < 1e30f) {
                tag->Data()[i][k] = toHostDirection(n / length);
                continue;
            }
            const auto at = [&](Int32 v) { return Vector(mesh.points[static_cast<std::size_t>(v)]); };
            // The corners are turned round already, the coordinates are not yet mirrored.
            const Vector face = Cross(at(p.c) - at(p.a), at(p.b) - at(p.a)).GetNormalized();
            tag->Data()[i][k] = toHostDirection(Vector32(face));
        }
    }
    object.InsertTag(tag);
}

void addUvs(const Mesh& mesh, const std::vector<CPolygon>& polygons, PolygonObject& object) {
    for (const auto& set : mesh.uvs) {
        UVWTag* tag = UVWTag::Alloc(static_cast<Int32>(polygons.size()));
        for (std::size_t i = 0; i < polygons.size() && !set.empty(); ++i) {
            const CPolygon& p = polygons[i];
            const std::array<Int32, 4> corners = {p.a, p.b, p.c, p.d};
            for (std::size_t k = 0; k < 4; ++k) {
                const auto& uv = set[static_cast<std::size_t>(corners[k])];
                const bool good = std::isfinite(uv[0]) && std::isfinite(uv[1]);
                tag->Data()[i][k] = good ? TVector<Float32>(uv[0], uv[1], 0) : TVector<Float32>();
            }
        }
        object.InsertTag(tag);
    }
}

}  // namespace

Matrix toHost(const Matrix& m) {
    return {toHost(m.off), {m.v1.x, m.v1.y, -m.v1.z}, {m.v2.x, m.v2.y, -m.v2.z}, {-m.v3.x, -m.v3.y, m.v3.z}};
}

bool isFinite(const Matrix& m) {
    for (const Vector& v : {m.off, m.v1, m.v2, m.v3})
        for (Int32 i = 0; i < 3; ++i)
            if (!(std::abs(v[i]) < 1e30)) return false;
    return true;
}

PolygonObject* makePolygonObject(const Mesh& mesh, Context& context) {
    const std::vector<Int32> pointOf = mesh.weld ? firstAtSamePlace(mesh) : std::vector<Int32>();
    std::vector<CPolygon> polygons = goodPolygons(mesh, pointOf, context);
    if (polygons.empty()) return nullptr;

    // Number the points that are used, in their order.
    const auto point = [&](Int32 v) { return pointOf.empty() ? v : pointOf[static_cast<std::size_t>(v)]; };
    std::vector<Int32> number(mesh.points.size(), -1);
    for (const CPolygon& p : polygons)
        for (Int32 k = 0; k < 4; ++k) number[static_cast<std::size_t>(point(p[k]))] = 0;
    Int32 count = 0;
    for (Int32& n : number)
        if (n == 0) n = count++;

    PolygonObject* object = PolygonObject::Alloc(count, static_cast<Int32>(polygons.size()));
    if (!object) throw ImportError("there is not enough memory for the geometry");
    Vector* points = object->GetPointW();
    for (std::size_t i = 0; i < number.size(); ++i)
        if (number[i] >= 0) points[number[i]] = toHost(Vector(mesh.points[i]));

    // The mirror keeps what is seen; clockwise instead of counter-clockwise is the reverse order. The first corner
    // stays the first, so that the tags can be filled from the same corners.
    for (CPolygon& p : polygons) p = p.IsTriangle() ? CPolygon(p.a, p.c, p.b, p.b) : CPolygon(p.a, p.d, p.c, p.b);
    CPolygon* out = object->GetPolygonW();
    for (std::size_t i = 0; i < polygons.size(); ++i) {
        const auto n = [&](Int32 v) { return number[static_cast<std::size_t>(point(v))]; };
        const CPolygon& p = polygons[i];
        out[i] = CPolygon(n(p.a), n(p.b), n(p.c), n(p.d));
    }
    const bool smooth = !mesh.normals.empty();
    object->SetPhong(true, !smooth, smooth ? kPi : mesh.phongAngle);  // the first tag
    if (smooth) addNormals(mesh, polygons, *object);
    addUvs(mesh, polygons, *object);
    if (!mesh.colours.empty()) {
        VertexTag* tag = VertexTag::Alloc(Tvertexcolor, count);
        for (std::size_t i = 0; i < number.size(); ++i) {
            if (number[i] < 0) continue;
            const auto clean = [&](std::size_t k) {
                return std::isfinite(mesh.colours[i][k]) ? mesh.colours[i][k] : 1;
            };
            // Like a material's colours they are kept the way an artist picks them.
            const Vector c = TransformColor({clean(0), clean(1), clean(2)}, ColorTransform::LinearToSrgb);
            Float32* to = tag->Data().data() + static_cast<std::size_t>(number[i]) * 4;
            for (Int32 k = 0; k < 3; ++k) to[k] = static_cast<Float32>(c[k]);
            to[3] = clean(3);
        }
        object->InsertTag(tag);
    }
    object->SetDirty(DIRTYFLAGS_DATA);
    return object;
}

void applyMaterial(BaseObject& object, BaseMaterial* material, Int32 uvSet) {
    if (!material) return;
    TextureTag* tag = TextureTag::Alloc();
    tag->SetMaterial(material);
    tag->GetDataInstance()->SetInt32(TEXTURETAG_PROJECTION, P_UVW);
    BaseTag *before = nullptr, *last = nullptr;
    Int32 set = 0;
    for (BaseTag* t = object.GetFirstTag(); t; last = t, t = t->GetNext())
        if (t->GetType() == Tuvw && set++ == uvSet) before = last;
    if (!before) before = last;
    object.InsertTag(tag, before);
}

void poseBySkin(Mesh& mesh, const std::vector<Matrix>& jointMatrices, const std::vector<UInt32>& joints,
                const std::vector<Float32>& weights, std::size_t perVertex) {
    if (jointMatrices.empty() || perVertex == 0) return;
    for (std::size_t i = 0; i < mesh.points.size(); ++i) {
        Matrix blend({}, {}, {}, {});
        Float sum = 0;
        const auto add = [&](const Matrix& m, Float w) {
            blend.off += m.off * w;
            blend.v1 += m.v1 * w;
            blend.v2 += m.v2 * w;
            blend.v3 += m.v3 * w;
        };
        for (std::size_t k = 0; k < perVertex; ++k) {
            const Float w = weights[i * perVertex + k];
            if (!(w > 0)) continue;
            add(jointMatrices[joints[i * perVertex + k]], w);
            sum += w;
        }
        if (!(sum > 0)) {
            add(jointMatrices[joints[i * perVertex]], 1);
            sum = 1;
        }
        // M * p is linear in M, so the weights may be normalised afterwards.
        mesh.points[i] = Vector32(blend * Vector(mesh.points[i]) / sum);
        if (!mesh.normals.empty()) {
            // Cofactors: the inverse transpose without the division by the determinant, whose sign stays.
            const Vector n(mesh.normals[i]);
            const Vector c1 = Cross(blend.v2, blend.v3), c2 = Cross(blend.v3, blend.v1), c3 = Cross(blend.v1, blend.v2);
            const Float sign = Dot(blend.v1, c1) < 0 ? -1.0 : 1.0;
            mesh.normals[i] = Vector32(((c1 * n.x + c2 * n.y + c3 * n.z) * sign).GetNormalized());
        }
    }
}

}  // namespace host::importer
