#include "host/evaluate/phong_normals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "host/runtime/threads.h"
#include "host/sdk/host_sdk.h"

namespace host {
namespace {

struct Mesh {
    std::vector<Vector> points;
    std::vector<CPolygon> polygons;
};

Mesh cube() {
    Mesh mesh;
    for (Int32 i = 0; i < 8; ++i) mesh.points.emplace_back(i & 1, (i >> 1) & 1, i >> 2);
    mesh.polygons = {{2, 3, 1, 0}, {7, 6, 4, 5}, {3, 7, 5, 1}, {6, 2, 0, 4}, {6, 7, 3, 2}, {0, 1, 5, 4}};
    return mesh;
}

Mesh wavyGrid(Int32 n) {
    Mesh mesh;
    for (Int32 j = 0; j <= n; ++j) {
        for (Int32 i = 0; i <= n; ++i) mesh.points.emplace_back(i, 4 * std::sin(i * 0.9) * std::cos(j * 0.7), j);
    }
    for (Int32 j = 0; j < n; ++j) {
        for (Int32 i = 0; i < n; ++i) {
            const Int32 a = j * (n + 1) + i;
            mesh.polygons.emplace_back(a, a + n + 1, a + n + 2, a + 1);
        }
    }
    return mesh;
}

TEST(PhongNormals, TheAngleLimitKeepsTheEdgesOfACubeAndRoundsThemAbove) {
    const Mesh mesh = cube();
    for (const Float degrees : {0.0, 40.0, 89.0}) {
        const auto normals = phongNormals(mesh.points, mesh.polygons, {true, degrees / kDegreesPerRadian});
        ASSERT_EQ(normals.size(), 24U);
        EXPECT_EQ(normals[0], Vector32(0, 0, -1)) << degrees;
        EXPECT_EQ(normals[4], Vector32(0, 0, 1)) << degrees;
        EXPECT_EQ(normals[8], Vector32(1, 0, 0)) << degrees;
    }
    for (const SmoothingRule& rule : {SmoothingRule{true, 91 / kDegreesPerRadian}, SmoothingRule{false, 0}}) {
        const auto normals = phongNormals(mesh.points, mesh.polygons, rule);
        for (std::size_t i = 0; i < normals.size(); ++i) {
            const Vector corner = mesh.points[static_cast<std::size_t>(mesh.polygons[i / 4][i % 4])];
            const Vector outward = (corner - Vector(0.5)).GetNormalized();
            EXPECT_LE((Vector(normals[i]) - outward).GetLength(), 1e-6);
        }
    }
}

TEST(PhongNormals, AnInscribedMeshOfASphereGetsTheSpheresNormals) {
    const Int32 columns = 17, rows = 11;  // uneven on purpose
    Mesh mesh;
    for (Int32 j = 1; j < rows; ++j) {
        for (Int32 i = 0; i < columns; ++i) {
            const Float a = 2 * kPi * i / columns, b = kPi * std::pow(static_cast<Float>(j) / rows, 1.3);
            mesh.points.emplace_back(std::sin(b) * std::sin(a), std::cos(b), -std::sin(b) * std::cos(a));
        }
    }
    for (Int32 j = 0; j + 2 < rows; ++j) {
        for (Int32 i = 0; i < columns; ++i) {
            const Int32 a = j * columns + i, b = j * columns + (i + 1) % columns;
            mesh.polygons.emplace_back(a, b, b + columns);
            mesh.polygons.emplace_back(a, b + columns, a + columns);
        }
    }
    const auto normals = phongNormals(mesh.points, mesh.polygons, {false, 0});
    for (std::size_t i = 0; i < mesh.polygons.size(); ++i) {
        for (Int32 c = 0; c < 3; ++c) {
            const Int32 point = mesh.polygons[i][c], row = point / columns;
            if (row == 0 || row == rows - 2) continue;  // the rims are open
            const Vector32 normal = normals[i * 4 + static_cast<std::size_t>(c)];
            EXPECT_LE((Vector(normal) - mesh.points[static_cast<std::size_t>(point)]).GetLength(), 1e-5);
        }
        EXPECT_EQ(normals[i * 4 + 3], normals[i * 4 + 2]);
    }
}

TEST(PhongNormals, TheNumberOfThreadsChangesNoBit) {
    const Mesh mesh = wavyGrid(600);
    std::vector<Vector32> one;
    for (const Int32 threads : {1, 2, 3, 7}) {
        setThreadCount(threads);
        const auto normals = phongNormals(mesh.points, mesh.polygons, {true, 0.5});
        if (one.empty()) one = normals;
        ASSERT_EQ(normals.size(), one.size());
        EXPECT_EQ(std::memcmp(normals.data(), one.data(), one.size() * sizeof(Vector32)), 0) << threads;
    }
    setThreadCount(0);
}

TEST(PhongNormals, BrokenPolygonsAreZeroAndDoNotSpoilTheirNeighbours) {
    const Float kNan = std::numeric_limits<Float>::quiet_NaN(), kInf = std::numeric_limits<Float>::infinity();
    Mesh mesh{{{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0}, {kNan, 0, 0}, {kInf, 1, 0}, {0, 2, 0}, {1, 1, 0}}, {}};
    mesh.polygons = {{0, 1, 2, 3}, {0, 1, 4}, {2, 3, 5}, {3, 3, 3}, {0, 3, 6}, {0, 1, 2, 7}};
    const auto normals = phongNormals(mesh.points, mesh.polygons, {false, 0});
    ASSERT_EQ(normals.size(), mesh.polygons.size() * 4);
    for (std::size_t c = 0; c < 4; ++c) EXPECT_EQ(normals[c], Vector32(0, 0, 1));
    for (std::size_t i = 4; i < 20; ++i) EXPECT_TRUE(normals[i].IsZero()) << i;
    for (std::size_t i = 20; i < 24; ++i) EXPECT_NEAR(normals[i].z, 1, 1e-6) << "a doubled corner still has a normal";
    for (const CPolygon& wrong : {CPolygon(0, 1, 8), CPolygon(-1, 1, 2)}) {
        Mesh other = mesh;
        other.polygons.push_back(wrong);
        EXPECT_TRUE(phongNormals(other.points, other.polygons, {true, 0.5}).empty());
    }
}

TEST(PhongNormals, ACrowdedPointTakesNoForever) {
    // The flat fan of 300,000 triangles smooths to its axis; a second, steep one at the same tip stays apart.
    const Int32 n = 300'000;
    Mesh mesh;
    mesh.points.emplace_back(0, 0, 0);
    for (const Float height : {0.0, -3.0}) {
        const auto first = static_cast<Int32>(mesh.points.size());
        for (Int32 i = 0; i < n; ++i) {
            const Float a = 2 * kPi * i / n;
            mesh.points.emplace_back(std::sin(a), height, std::cos(a));
        }
        for (Int32 i = 0; i < n; ++i) mesh.polygons.emplace_back(0, first + i, first + (i + 1) % n);
    }
    const auto normals = phongNormals(mesh.points, mesh.polygons, {true, 0.2});
    ASSERT_EQ(normals.size(), mesh.polygons.size() * 4);
    for (const std::size_t i : {0, 1234, n - 1}) EXPECT_NEAR(normals[i * 4].y, 1, 1e-4);
    for (const std::size_t i : {n, n + 999}) EXPECT_NEAR(normals[i * 4].y, 1 / std::sqrt(10.0), 0.05);
}

TEST(PhongNormals, ANormalTagWinsOverThePhongTag) {
    const Mesh shape = cube();
    const std::unique_ptr<PolygonObject> object(PolygonObject::Alloc(8, 6));
    object->Points() = shape.points;
    object->Polygons() = shape.polygons;
    EXPECT_TRUE(object->CreatePhongNormals().empty()) << "without a tag";
    object->SetPhong(true, true, 0);
    EXPECT_EQ(object->CreatePhongNormals()[0], Vector32(0, 0, -1));
    NormalTag* tag = NormalTag::Alloc(6);
    for (auto& corners : tag->Data()) corners.fill(Vector32(0, 5, 0));
    object->InsertTag(tag);
    EXPECT_EQ(object->CreatePhongNormals()[0], Vector32(0, 1, 0));
    tag->Data().pop_back();  // of another mesh: the phong tag counts again
    EXPECT_EQ(object->CreatePhongNormals()[0], Vector32(0, 0, -1));
}

}  // namespace
}  // namespace host
