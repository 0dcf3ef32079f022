#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "host/evaluate/bounds.h"
#include "host/sdk/host_sdk.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

struct Parameter {
    Int32 id;
    GeData value;
};

class Primitives : public testing::Test {
protected:
    PolygonObject* evaluate(Int32 type, const std::vector<Parameter>& parameters) {
        object = BaseObject::Alloc(type);
        EXPECT_NE(object, nullptr);
        for (const Parameter& p : parameters) object->SetParameter(p.id, p.value);
        document->InsertObject(object);
        document->ExecutePasses(true, true, true);
        return ToPoly(object->GetCache());
    }
    test::ScratchFolder folder;
    test::TestApplication app{folder.path()};
    std::unique_ptr<BaseDocument> document{BaseDocument::Alloc()};
    BaseObject* object = nullptr;
};

Float signedVolume(const PolygonObject& mesh) {
    Float volume = 0;
    const Vector* p = mesh.GetPointR();
    for (const CPolygon& poly : mesh.Polygons()) {
        volume += Dot(p[poly.a], Cross(p[poly.b], p[poly.c])) / 6;
        if (!poly.IsTriangle()) volume += Dot(p[poly.a], Cross(p[poly.c], p[poly.d])) / 6;
    }
    return volume;
}

// Edges that are not passed once in each direction: 0 for a closed body with faces turned alike.
Int32 openEdges(const PolygonObject& mesh) {
    std::map<std::pair<Int32, Int32>, Int32> passes;
    for (const CPolygon& poly : mesh.Polygons()) {
        const Int32 corners = poly.IsTriangle() ? 3 : 4;
        for (Int32 i = 0; i < corners; ++i) ++passes[{poly[i], poly[(i + 1) % corners]}];
    }
    Int32 open = 0;
    for (const auto& [edge, count] : passes) {
        const auto back = passes.find({edge.second, edge.first});
        if (count != 1 || back == passes.end()) ++open;
    }
    return open;
}

// Seen from outside, u must grow to the right of where v grows downwards: the texture is not mirrored.
Int32 mirrored(const PolygonObject& mesh, const UVWTag& tag) {
    Int32 wrong = 0;
    for (Int32 i = 0; i < mesh.GetPolygonCount(); ++i) {
        const UVWStruct uv = tag.Get(i);
        const Vector ab = uv.b - uv.a, ac = uv.c - uv.a;
        // Corners run clockwise in a picture whose v points down: a positive turn there.
        if (ab.x * ac.y - ab.y * ac.x < 0) ++wrong;
    }
    return wrong;
}

TEST_F(Primitives, BodiesAreClosedTurnedOutwardAndOfTheRightVolume) {
    struct Case {
        const char* name;
        Int32 type;
        std::vector<Parameter> parameters;
        Float volume, tolerance;  // relative
    };
    const std::vector<Case> cases{
        {"cube", Ocube, {{PRIM_CUBE_LEN, Vector(1, 2, 3)}}, 6, 1e-12},
        {"cube in segments",
         Ocube,
         {{PRIM_CUBE_LEN, Vector(1, 2, 3)}, {PRIM_CUBE_SUBX, 3}, {PRIM_CUBE_SUBY, 2}, {PRIM_CUBE_SUBZ, 5}},
         6,
         1e-12},
        {"cube of negative size", Ocube, {{PRIM_CUBE_LEN, Vector(-1, 2, 3)}}, 6, 1e-12},
        {"sphere", Osphere, {{PRIM_SPHERE_RAD, 2.0}, {PRIM_SPHERE_SUB, 200}}, 4.0 / 3 * kPi * 8, 1e-3},
        {"coarse sphere on its side", Osphere, {{PRIM_SPHERE_RAD, 2.0}, {PRIM_SPHERE_SUB, 3}, {PRIM_AXIS, 1}}, 0, 0},
        {"cylinder",
         Ocylinder,
         {{PRIM_CYLINDER_RADIUS, 2.0}, {PRIM_CYLINDER_HEIGHT, 5.0}, {PRIM_CYLINDER_SEG, 400}},
         kPi * 20,
         1e-3},
        {"cylinder along -z",
         Ocylinder,
         {{PRIM_CYLINDER_RADIUS, 2.0}, {PRIM_CYLINDER_HEIGHT, 5.0}, {PRIM_CYLINDER_SEG, 400}, {PRIM_AXIS, 5}},
         kPi * 20,
         1e-3},
    };
    for (const Case& c : cases) {
        const PolygonObject* mesh = evaluate(c.type, c.parameters);
        ASSERT_NE(mesh, nullptr) << c.name;
        EXPECT_EQ(openEdges(*mesh), 0) << c.name;
        const Float volume = signedVolume(*mesh);
        EXPECT_GT(volume, 0) << c.name;
        if (c.volume > 0) {
            EXPECT_NEAR(volume, c.volume, c.volume * c.tolerance) << c.name;
        }
        const auto* tag = static_cast<const UVWTag*>(mesh->GetTag(Tuvw));
        ASSERT_NE(tag, nullptr) << c.name;
        EXPECT_EQ(tag->GetDataCount(), mesh->GetPolygonCount()) << c.name;
        EXPECT_EQ(mirrored(*mesh, *tag), 0) << c.name;
        // The box that the object tells without its cache is that of the cache, up to the roundness of the body.
        const Bounds box = pointBounds(mesh->Points());
        EXPECT_LE((object->GetRad() - box.radius()).GetLength(), object->GetRad().GetLength() * 0.35) << c.name;
        EXPECT_FALSE(mesh->CreatePhongNormals().empty()) << c.name;
    }
}

TEST_F(Primitives, FlatOnesFaceTheirAxis) {
    const Vector axes[6] = {{1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}, {0, 0, 1}, {0, 0, -1}};
    for (const Int32 type : {Oplane, Odisc}) {
        for (Int32 axis = 0; axis < 6; ++axis) {
            const PolygonObject* mesh = evaluate(type, {{PRIM_AXIS, axis}, {PRIM_DISC_IRAD, 20.0}});
            ASSERT_NE(mesh, nullptr);
            for (const Vector32& normal : mesh->CreatePhongNormals()) {
                ASSERT_NEAR(Dot(Vector(normal), axes[axis]), 1, 1e-6) << type << " axis " << axis;
            }
            EXPECT_EQ(mirrored(*mesh, *static_cast<const UVWTag*>(mesh->GetTag(Tuvw))), 0);
        }
    }
}

TEST_F(Primitives, AbsurdParametersGiveASaneMeshAndALine) {
    const Float kNan = std::nan("");
    struct Case {
        Int32 type;
        std::vector<Parameter> parameters;
        Bool said;
    };
    for (const Case& c : {Case{Osphere, {{PRIM_SPHERE_SUB, 2'000'000'000}}, true},
                          Case{Oplane, {{PRIM_PLANE_SUBW, -5}, {PRIM_PLANE_SUBH, 0}}, false},
                          Case{Ocube, {{PRIM_CUBE_LEN, Vector(kNan, 1, 1)}}, false},
                          Case{Odisc, {{PRIM_DISC_IRAD, 100.0}, {PRIM_DISC_ORAD, 10.0}}, false},
                          Case{Ocylinder, {{PRIM_CYLINDER_SEG, 1}}, false}}) {
        app.lines.clear();
        const PolygonObject* mesh = evaluate(c.type, c.parameters);
        ASSERT_NE(mesh, nullptr) << c.type;
        EXPECT_GT(mesh->GetPolygonCount(), 0);
        EXPECT_LE(mesh->GetPolygonCount(), 16'000'000);
        EXPECT_EQ(app.said("fewer"), c.said) << c.type;
        const Vector radius = pointBounds(mesh->Points()).radius();
        EXPECT_TRUE(std::isfinite(radius.x + radius.y + radius.z)) << c.type;
        delete object;
    }
}

TEST_F(Primitives, CachesAreMadeWhenSomethingChangedAndOnlyThen) {
    evaluate(Ocube, {});
    const BaseObject* first = object->GetCache();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->GetCacheParent(), object);
    EXPECT_TRUE(first->GetBit(BIT_CACHE_OBJECT));
    const UInt64 guid = first->GetGUID();
    UInt32 cacheDirty = object->GetDirty(DIRTYFLAGS_CACHE), dataDirty = first->GetDirty(DIRTYFLAGS_DATA);

    struct Case {
        const char* name;
        std::function<void()> change;
        Bool built;
    };
    for (const Case& c : std::vector<Case>{
             {"nothing", [] {}, false},
             {"moved",
              [&] {
                  object->SetAbsPos({1, 2, 3});
              },
              false},
             {"renamed", [&] { object->SetName("other"); }, false},
             {"time", [&] { document->SetTime(BaseTime(1.0)); }, false},
             {"same value", [&] { object->SetParameter(PRIM_CUBE_SUBX, GeData(1)); }, false},
             {"child", [&] { BaseObject::Alloc(Onull)->InsertUnder(object); }, false},
             {"size", [&] { object->SetParameter(PRIM_CUBE_LEN, Vector(5, 5, 5)); }, true},
             {"phong tag", [&] { object->SetPhong(true, true, 1); }, true},
         }) {
        c.change();
        document->ExecutePasses(true, true, true);
        const UInt32 now = object->GetDirty(DIRTYFLAGS_CACHE), data = object->GetCache()->GetDirty(DIRTYFLAGS_DATA);
        if (c.built) {
            EXPECT_NE(now, cacheDirty) << c.name;
            EXPECT_NE(data, dataDirty) << c.name << ": the new cache counts as the old one did";
            EXPECT_EQ(object->GetCache()->GetGUID(), guid) << c.name;
        } else if (std::string(c.name) != "child") {  // a child counts there too
            EXPECT_EQ(now, cacheDirty) << c.name;
            EXPECT_EQ(data, dataDirty) << c.name;
        }
        cacheDirty = now;
        dataDirty = data;
    }
    object->SetDeformMode(false);
    document->ExecutePasses(true, true, true);
    EXPECT_EQ(object->GetCache(), nullptr);

    const std::unique_ptr<BaseDocument> clone(document->CloneDocument());
    object->SetDeformMode(true);
    document->ExecutePasses(true, true, true);
    clone->GetFirstObject()->SetDeformMode(true);
    clone->ExecutePasses(true, true, true);
    ASSERT_NE(clone->GetFirstObject()->GetCache(), nullptr);
    EXPECT_EQ(clone->GetFirstObject()->GetCache()->GetGUID(), guid) << "a copy's cache is the same thing";
}

TEST_F(Primitives, TracksMoveObjectsAndParametersAndLeaveTheRestClean) {
    object = BaseObject::Alloc(Osphere);
    document->InsertObject(object);
    object->SetAbsPos({1, 2, 3});
    const auto animate = [&](const DescID& id, const GeData& from, const GeData& to) {
        BaseTrack* track = BaseTrack::Alloc(id);
        track->SetKey({BaseTime(0.0), from});
        track->SetKey({BaseTime(2.0), to});
        object->InsertTrack(track);
    };
    animate(DescID(ID_BASEOBJECT_REL_POSITION, kVectorY), 10.0, 20.0);
    animate(DescID(ID_BASEOBJECT_REL_ROTATION), Vector(0, 0, 0), Vector(1, 0, 0));
    animate(DescID(PRIM_SPHERE_RAD), 100.0, 300.0);
    document->SetTime(BaseTime(1.0));
    document->ExecutePasses(true, true, true);
    EXPECT_LE((object->GetAbsPos() - Vector(1, 15, 3)).GetLength(), 1e-9);
    EXPECT_LE((object->GetAbsRot() - Vector(0.5, 0, 0)).GetLength(), 1e-9);
    EXPECT_NEAR(object->GetRad().x, 200, 1e-9);
    const UInt32 dirty = object->GetDirty(DIRTYFLAGS_ALL);
    document->ExecutePasses(true, true, true);
    EXPECT_EQ(object->GetDirty(DIRTYFLAGS_ALL), dirty) << "the same time again is no change";
}

}  // namespace
}  // namespace host
