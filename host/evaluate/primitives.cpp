#include "host/evaluate/primitives.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <initializer_list>

#include "host/evaluate/grid_mesh.h"
#include "host/sdk/ids.h"
#include "host/sdk/log.h"
#include "host/sdk/object.h"
#include "host/sdk/tag.h"

namespace host {

PolygonObject* GridMesh::makeObject() {
    PolygonObject* object = PolygonObject::Alloc(0, 0);
    UVWTag* tag = UVWTag::Alloc(0);
    if (!object || !tag) return object;
    object->Points() = std::move(points);
    object->Polygons() = std::move(polygons);
    tag->Data() = std::move(uvs);
    object->InsertTag(tag);
    *this = {};
    return object;
}

namespace {

using Uv = TVector<Float32>;

constexpr Float kPhongAngle = 40 / kDegreesPerRadian;

Uv uvAt(Float u, Float v) {
    return {static_cast<Float32>(u), static_cast<Float32>(v), 0};
}

// Reads parameters. Sizes are positive and finite, whatever the container holds.
class Parameters {
public:
    explicit Parameters(const BaseObject& object) : object_(object), data_(*object.GetDataInstance()) {}

    Float size(Int32 id, Float fallback) const {
        const Float value = std::abs(data_.GetFloat(id, fallback));
        return std::isfinite(value) ? std::min(value, 1e15) : fallback;
    }
    Vector size3(Int32 id, Float fallback) const {
        const Vector v = data_.GetVector(id, Vector(fallback));
        const auto one = [&](Float x) { return std::isfinite(x) ? std::min(std::abs(x), 1e15) : fallback; };
        return {one(v.x), one(v.y), one(v.z)};
    }
    Int32 segments(Int32 id, Int32 fallback, Int32 minimum = 1) const {
        const Int64 wanted = data_.GetInt64(id, fallback);
        if (wanted > kMaxPrimitiveSegments) tooMany(String::IntToString(wanted) + " segments");
        return static_cast<Int32>(std::clamp<Int64>(wanted, minimum, kMaxPrimitiveSegments));
    }
    // Halves the segment counts until the body has a sane number of polygons.
    template <typename Count>
    void limit(std::initializer_list<Int32*> counts, const Count& polygons) const {
        if (polygons() > kMaxPrimitivePolygons) tooMany(String::IntToString(polygons()) + " polygons");
        while (polygons() > kMaxPrimitivePolygons) {
            for (Int32* count : counts) *count = std::max(1, *count / 2);
        }
    }
    Bool flag(Int32 id, Bool fallback) const { return data_.GetBool(id, fallback); }
    Int32 axis() const { return std::clamp(data_.GetInt32(PRIM_AXIS, 2), 0, 5); }

private:
    void tooMany(const String& what) const {
        GeConsoleOut("Warning: \"" + object_.GetName() + "\" asks for " + what + "; it is built with fewer.");
    }
    const BaseObject& object_;
    const BaseContainer& data_;
};

// The rotation that takes the y axis to the axis of PRIM_AXIS.
Matrix axisMatrix(Int32 axis) {
    static constexpr std::array<std::array<Vector, 3>, 6> kColumns{{
        {Vector(0, -1, 0), Vector(1, 0, 0), Vector(0, 0, 1)},
        {Vector(0, 1, 0), Vector(-1, 0, 0), Vector(0, 0, 1)},
        {Vector(1, 0, 0), Vector(0, 1, 0), Vector(0, 0, 1)},
        {Vector(1, 0, 0), Vector(0, -1, 0), Vector(0, 0, -1)},
        {Vector(1, 0, 0), Vector(0, 0, 1), Vector(0, -1, 0)},
        {Vector(1, 0, 0), Vector(0, 0, -1), Vector(0, 1, 0)},
    }};
    const auto& c = kColumns[static_cast<std::size_t>(axis)];
    return {{}, c[0], c[1], c[2]};
}

// Place on the unit circle of column `i` of `n`: starts at +z and runs to the right as seen from outside.
Vector around(Int32 i, Int32 n) {
    const Float angle = 2 * kPi * (static_cast<Float>(i % n) / n - 0.5);
    return {std::sin(angle), 0, -std::cos(angle)};
}

// Half the extent of the body along the axes, before it is turned.
using Half = Vector;

GridMesh buildPlane(const Parameters& p) {
    Int32 columns = p.segments(PRIM_PLANE_SUBW, 20), rows = p.segments(PRIM_PLANE_SUBH, 20);
    p.limit({&columns, &rows}, [&] { return Int64(columns) * rows; });
    const Float width = p.size(PRIM_PLANE_WIDTH, 400), height = p.size(PRIM_PLANE_HEIGHT, 400);
    GridMesh mesh;
    mesh.reserve(static_cast<std::size_t>(columns + 1) * static_cast<std::size_t>(rows + 1),
                 static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
    for (Int32 row = 0; row <= rows; ++row) {
        for (Int32 column = 0; column <= columns; ++column) {
            mesh.points.emplace_back(width * (static_cast<Float>(column) / columns - 0.5), 0,
                                     height * (0.5 - static_cast<Float>(row) / rows));
        }
    }
    mesh.addGrid(
        columns, rows, [=](Int32 c, Int32 r) { return r * (columns + 1) + c; },
        [=](Int32 c, Int32 r) { return uvAt(static_cast<Float>(c) / columns, static_cast<Float>(r) / rows); });
    return mesh;
}

Half halfPlane(const Parameters& p) {
    return {p.size(PRIM_PLANE_WIDTH, 400) / 2, 0, p.size(PRIM_PLANE_HEIGHT, 400) / 2};
}

// Points of a box's surface on a lattice of nx * ny * nz cells: the lowest layer whole, rings, the highest layer whole.
struct BoxLattice {
    Int32 nx, ny, nz;

    Int32 layer() const { return (nx + 1) * (nz + 1); }
    Int32 ring() const { return 2 * (nx + nz); }
    Int32 index(Int32 i, Int32 j, Int32 k) const {
        if (j == 0) return i * (nz + 1) + k;
        if (j == ny) return layer() + (ny - 1) * ring() + i * (nz + 1) + k;
        const Int32 base = layer() + (j - 1) * ring();
        if (k == 0) return base + i;
        if (i == nx) return base + nx + k;
        if (k == nz) return base + nx + nz + (nx - i);
        return base + 2 * nx + nz + (nz - k);
    }
};

GridMesh buildCube(const Parameters& p) {
    BoxLattice box{p.segments(PRIM_CUBE_SUBX, 1), p.segments(PRIM_CUBE_SUBY, 1), p.segments(PRIM_CUBE_SUBZ, 1)};
    p.limit({&box.nx, &box.ny, &box.nz},
            [&] { return 2 * (Int64(box.nx) * box.ny + Int64(box.ny) * box.nz + Int64(box.nx) * box.nz); });
    const Vector size = p.size3(PRIM_CUBE_LEN, 200);
    GridMesh mesh;
    mesh.points.resize(static_cast<std::size_t>(2 * box.layer() + (box.ny - 1) * box.ring()));
    const auto put = [&](Int32 i, Int32 j, Int32 k) {
        mesh.points[static_cast<std::size_t>(box.index(i, j, k))] =
            size * Vector(static_cast<Float>(i) / box.nx - 0.5, static_cast<Float>(j) / box.ny - 0.5,
                          static_cast<Float>(k) / box.nz - 0.5);
    };
    for (Int32 j = 0; j <= box.ny; ++j) {
        for (Int32 i = 0; i <= box.nx; ++i) {
            const bool whole = j == 0 || j == box.ny || i == 0 || i == box.nx;
            for (Int32 k = 0; k <= box.nz; k += whole ? 1 : box.nz) put(i, j, k);
        }
    }
    const auto addFace = [&](Int32 columns, Int32 rows, const auto& index) {
        mesh.addGrid(columns, rows, index, [=](Int32 c, Int32 r) {
            return uvAt(static_cast<Float>(c) / columns, static_cast<Float>(r) / rows);
        });
    };
    const auto [nx, ny, nz] = box;
    addFace(nx, ny, [&](Int32 c, Int32 r) { return box.index(c, box.ny - r, 0); });                // -z
    addFace(nx, ny, [&](Int32 c, Int32 r) { return box.index(box.nx - c, box.ny - r, box.nz); });  // +z
    addFace(nz, ny, [&](Int32 c, Int32 r) { return box.index(box.nx, box.ny - r, c); });           // +x
    addFace(nz, ny, [&](Int32 c, Int32 r) { return box.index(0, box.ny - r, box.nz - c); });       // -x
    addFace(nx, nz, [&](Int32 c, Int32 r) { return box.index(c, box.ny, box.nz - r); });           // +y
    addFace(nx, nz, [&](Int32 c, Int32 r) { return box.index(c, 0, r); });                         // -y
    return mesh;
}

Half halfCube(const Parameters& p) {
    return p.size3(PRIM_CUBE_LEN, 200) * 0.5;
}

GridMesh buildSphere(const Parameters& p) {
    Int32 columns = p.segments(PRIM_SPHERE_SUB, 24, 3);
    p.limit({&columns}, [&] { return Int64(columns) * std::max(2, columns / 2); });
    const Int32 rows = std::max(2, columns / 2);
    const Float radius = p.size(PRIM_SPHERE_RAD, 100);
    GridMesh mesh;
    mesh.points.emplace_back(0, radius, 0);
    for (Int32 row = 1; row < rows; ++row) {
        const Float polar = kPi * row / rows;
        for (Int32 column = 0; column < columns; ++column) {
            mesh.points.push_back(around(column, columns) * (radius * std::sin(polar)) +
                                  Vector(0, radius * std::cos(polar), 0));
        }
    }
    const Int32 last = static_cast<Int32>(mesh.points.size());
    mesh.points.emplace_back(0, -radius, 0);
    mesh.addGrid(
        columns, rows,
        [=](Int32 c, Int32 r) { return r == 0      ? 0
                                       : r == rows ? last
                                                   : 1 + (r - 1) * columns + c % columns; },
        [=](Int32 c, Int32 r) { return uvAt(static_cast<Float>(c) / columns, static_cast<Float>(r) / rows); });
    return mesh;
}

Half halfSphere(const Parameters& p) {
    return Vector(p.size(PRIM_SPHERE_RAD, 100));
}

// A flat ring or, with an inner radius of 0, a disc at height y. `up` 1 faces +y, -1 faces -y. `rim(column)` gives the
// outermost points when another part of the body has them already.
template <typename Rim>
void addDisc(GridMesh& mesh, Int32 columns, Int32 rows, Float inner, Float outer, Float y, Float up, Bool ownRim,
             const Rim& rim) {
    const auto start = static_cast<Int32>(mesh.points.size());
    const Bool pole = inner <= 0;
    const Int32 innerPoints = pole ? 1 : columns;
    if (pole) mesh.points.emplace_back(0, y, 0);
    for (Int32 row = pole ? 1 : 0; row < (ownRim ? rows + 1 : rows); ++row) {
        const Float radius = inner + (outer - inner) * row / rows;
        for (Int32 column = 0; column < columns; ++column) {
            mesh.points.push_back(around(column, columns) * radius + Vector(0, y, 0));
        }
    }
    const auto at = [&](Int32 c, Int32 row) {  // row 0 is the innermost
        const Int32 column = ((c % columns) + columns) % columns;
        if (row == rows && !ownRim) return rim(column);
        if (row == 0) return start + (pole ? 0 : column);
        return start + innerPoints + (row - 1) * columns + column;
    };
    const auto uv = [&](Int32 c, Int32 row) {
        const Vector dir = around(((c % columns) + columns) % columns, columns);
        const Float radius = outer > 0 ? (inner + (outer - inner) * row / rows) / outer : 0;
        return uvAt(0.5 + dir.x * radius / 2, 0.5 - up * dir.z * radius / 2);
    };
    // Seen from above, columns run to the right with the centre on top; from below, mirrored.
    if (up > 0) {
        mesh.addGrid(columns, rows, at, uv);
    } else {
        mesh.addGrid(
            columns, rows, [&](Int32 c, Int32 r) { return at(-c, r); }, [&](Int32 c, Int32 r) { return uv(-c, r); });
    }
}

GridMesh buildDisc(const Parameters& p) {
    Int32 columns = p.segments(PRIM_DISC_SUB, 36, 3), rows = p.segments(PRIM_DISC_CSUB, 8);
    p.limit({&columns, &rows}, [&] { return Int64(columns) * rows; });
    columns = std::max(columns, 3);
    const Float a = p.size(PRIM_DISC_IRAD, 0), b = p.size(PRIM_DISC_ORAD, 100);
    GridMesh mesh;
    addDisc(mesh, columns, rows, std::min(a, b), std::max(a, b), 0, 1, true, [](Int32) { return 0; });
    return mesh;
}

Half halfDisc(const Parameters& p) {
    const Float radius = std::max(p.size(PRIM_DISC_IRAD, 0), p.size(PRIM_DISC_ORAD, 100));
    return {radius, 0, radius};
}

GridMesh buildCylinder(const Parameters& p) {
    Int32 columns = p.segments(PRIM_CYLINDER_SEG, 36, 3), rows = p.segments(PRIM_CYLINDER_HSUB, 8);
    p.limit({&columns, &rows}, [&] { return Int64(columns) * (rows + 2); });
    columns = std::max(columns, 3);
    const Float radius = p.size(PRIM_CYLINDER_RADIUS, 50), height = p.size(PRIM_CYLINDER_HEIGHT, 200);
    GridMesh mesh;
    for (Int32 row = 0; row <= rows; ++row) {
        const Vector y(0, height * (0.5 - static_cast<Float>(row) / rows), 0);
        for (Int32 column = 0; column < columns; ++column) {
            mesh.points.push_back(around(column, columns) * radius + y);
        }
    }
    mesh.addGrid(
        columns, rows, [=](Int32 c, Int32 r) { return r * columns + c % columns; },
        [=](Int32 c, Int32 r) { return uvAt(static_cast<Float>(c) / columns, static_cast<Float>(r) / rows); });
    if (p.flag(PRIM_CYLINDER_CAPS, true)) {
        addDisc(mesh, columns, 1, 0, radius, height / 2, 1, false, [](Int32 c) { return c; });
        addDisc(mesh, columns, 1, 0, radius, -height / 2, -1, false, [=](Int32 c) { return rows * columns + c; });
    }
    return mesh;
}

Half halfCylinder(const Parameters& p) {
    const Float radius = p.size(PRIM_CYLINDER_RADIUS, 50);
    return {radius, p.size(PRIM_CYLINDER_HEIGHT, 200) / 2, radius};
}

GridMesh buildFloor(const Parameters&) {
    GridMesh mesh;
    for (const Float z : {kFloorReach, -kFloorReach}) {
        for (const Float x : {-kFloorReach, kFloorReach}) mesh.points.emplace_back(x, 0, z);
    }
    mesh.addGrid(
        1, 1, [](Int32 c, Int32 r) { return r * 2 + c; },
        [](Int32 c, Int32 r) {
            return uvAt((c == 0 ? -1 : 1) * kFloorReach / kFloorTile, (r == 0 ? -1 : 1) * kFloorReach / kFloorTile);
        });
    return mesh;
}

Half halfFloor(const Parameters&) {
    return {};
}

struct Recipe {
    Int32 type;
    Bool turned;  ///< PRIM_AXIS counts
    GridMesh (*build)(const Parameters&);
    Half (*half)(const Parameters&);
};

constexpr std::array kRecipes{
    Recipe{Oplane, true, buildPlane, halfPlane},          Recipe{Ocube, false, buildCube, halfCube},
    Recipe{Osphere, true, buildSphere, halfSphere},       Recipe{Odisc, true, buildDisc, halfDisc},
    Recipe{Ocylinder, true, buildCylinder, halfCylinder}, Recipe{Ofloor, false, buildFloor, halfFloor},
};

class Primitive final : public ObjectData {
public:
    explicit Primitive(const Recipe& recipe) : recipe_(recipe) {}

    BaseObject* GetVirtualObjects(BaseObject* object, const BaseDocument*) override {
        const Parameters parameters(*object);
        GridMesh mesh = recipe_.build(parameters);
        if (recipe_.turned && parameters.axis() != 2) {
            const Matrix turn = axisMatrix(parameters.axis());
            for (Vector& point : mesh.points) point = turn * point;
        }
        PolygonObject* result = mesh.makeObject();
        if (!result) return nullptr;
        result->SetName(object->GetName());
        if (const BaseTag* own = object->GetTag(Tphong)) {
            result->InsertTag(static_cast<BaseTag*>(own->GetClone(COPYFLAGS_NONE)));
        } else {
            result->SetPhong(true, true, kPhongAngle);
        }
        return result;
    }

    Bool GetDimension(const BaseObject* object, Vector& centre, Vector& radius) const override {
        const Parameters parameters(*object);
        centre = {};
        radius = recipe_.half(parameters);
        if (recipe_.turned) {
            const Vector turned = axisMatrix(parameters.axis()) * radius;
            radius = {std::abs(turned.x), std::abs(turned.y), std::abs(turned.z)};
        }
        return true;
    }

private:
    const Recipe& recipe_;
};

}  // namespace

Bool isPrimitive(Int32 type) {
    return std::any_of(kRecipes.begin(), kRecipes.end(), [type](const Recipe& r) { return r.type == type; });
}

std::unique_ptr<ObjectData> makePrimitive(Int32 type) {
    for (const Recipe& recipe : kRecipes) {
        if (recipe.type == type) return std::make_unique<Primitive>(recipe);
    }
    return nullptr;
}

}  // namespace host
