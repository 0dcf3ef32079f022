#include <gtest/gtest.h>

#include <cmath>

#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

TEST(OtherFormats, ObjKeepsQuadsCutsNgonsAndTurnsV) {
    const Folder folder;
    folder.write("Colour.PNG", "x");
    folder.write("a.mtl", "newmtl red\nKd 1 0.5 0\nmap_Kd textures\\colour.png\nd 0.5\n");
    // A quad, a dented hexagon of area 3 and a line.
    const Filename file = folder.write("a.obj",
                                       "mtllib a.mtl\nusemtl red\n"
                                       "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                                       "v 0 0 5\nv 2 0 5\nv 2 2 5\nv 1 2 5\nv 1 1 5\nv 0 1 5\n"
                                       "vt 0.25 0.1\nvt 1 0\n"
                                       "f 1/1 2/1 3/2 4/1\nf 5/1 6/1 7/1 8/1 9/1 10/1\nl 1 2\n");
    const Imported scene(file);
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    Int32 quads = 0, triangles = 0;
    double area = 0;
    for (const BaseObject* object : scene.all(Opolygon)) {
        const auto& mesh = static_cast<const PolygonObject&>(*object);
        for (const CPolygon& p : mesh.Polygons()) {
            ++(p.IsTriangle() ? triangles : quads);
            const auto at = [&](Int32 i) { return mesh.Points()[static_cast<std::size_t>(i)] / 100.0; };
            area += Cross(at(p.b) - at(p.a), at(p.c) - at(p.a)).z / 2;
            if (!p.IsTriangle()) area += Cross(at(p.c) - at(p.a), at(p.d) - at(p.a)).z / 2;
        }
    }
    EXPECT_EQ(quads, 1);
    EXPECT_EQ(triangles, 4);
    EXPECT_NEAR(area, -4, 1e-6);  // all face +z of the file, -z here
    EXPECT_TRUE(scene.warned("1 lines"));
    const auto* uv = static_cast<UVWTag*>(scene.mesh()->GetTag(Tuvw));
    ASSERT_TRUE(uv);
    EXPECT_NEAR(uv->Data()[0][0].y, 0.9, 1e-6);
    BaseMaterial* red = scene.document->SearchMaterial("red");
    ASSERT_TRUE(red && red->GetShader(MATERIAL_COLOR_SHADER));
    EXPECT_TRUE(red->GetShader(MATERIAL_COLOR_SHADER)->GetFileName() == folder.file("Colour.PNG"));
    EXPECT_TRUE(near(red->GetShader(MATERIAL_COLOR_SHADER)->GetDataInstance()->GetVector(BITMAPSHADER_FACTOR),
                     Vector(1, 0.5, 0), 1e-6));
    EXPECT_NEAR(red->GetDataInstance()->GetFloat(MATERIAL_ALPHA_VALUE), 0.5, 1e-6);
}

TEST(OtherFormats, FacetedFilesShareTheirPointsAgain) {
    const Folder folder;
    std::string text = "solid a\n";
    const char* corners[] = {"0 0 0", "1 0 0", "1 1 0", "0 1 0"};
    for (const auto& [a, b, c] : {std::array{0, 1, 2}, std::array{0, 2, 3}})
        text += std::string("facet normal 0 0 1\nouter loop\nvertex ") + corners[a] + "\nvertex " + corners[b] +
                "\nvertex " + corners[c] + "\nendloop\nendfacet\n";
    const Imported stl(folder.write("a.stl", text + "endsolid a\n"));
    ASSERT_TRUE(stl.good && stl.mesh()) << stl.error.c_str();
    EXPECT_EQ(stl.mesh()->GetPolygonCount(), 2);
    EXPECT_EQ(stl.mesh()->GetPointCount(), 4);
    EXPECT_EQ(stl.document->GetFirstMaterial(), nullptr);  // none that the file does not have

    const Imported ply(
        folder.write("a.ply",
                     "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\nproperty float y\nproperty float z\n"
                     "property uchar red\nproperty uchar green\nproperty uchar blue\nelement face 1\n"
                     "property list uchar int vertex_indices\nend_header\n"
                     "0 0 0 255 0 0\n1 0 0 255 0 0\n1 1 0 0 128 0\n0 1 0 255 0 0\n4 0 1 2 3\n"));
    ASSERT_TRUE(ply.good && ply.mesh()) << ply.error.c_str();
    EXPECT_EQ(ply.mesh()->GetPolygonCount(), 1);
    EXPECT_FALSE(ply.mesh()->Polygons()[0].IsTriangle());
    const auto* colours = static_cast<VertexTag*>(ply.mesh()->GetTag(Tvertexcolor));
    ASSERT_TRUE(colours);
    EXPECT_NEAR(colours->Data()[0], 1, 1e-5);
    EXPECT_NEAR(colours->Data()[1], 0, 1e-5);
}

TEST(OtherFormats, ColladaUnitAndUpAxisAreHonoured) {
    const Folder folder;
    const Filename file = folder.write("a.dae", R"(<?xml version="1.0"?>
<COLLADA xmlns="http://www.collada.org/2005/11/COLLADASchema" version="1.4.1">
<asset><unit name="inch" meter="0.0254"/><up_axis>Z_UP</up_axis></asset>
<library_geometries><geometry id="g"><mesh>
<source id="p"><float_array id="pa" count="9">0 0 0 1 0 0 0 0 1</float_array><technique_common>
<accessor source="#pa" count="3" stride="3"><param name="X" type="float"/><param name="Y" type="float"/>
<param name="Z" type="float"/></accessor></technique_common></source>
<vertices id="v"><input semantic="POSITION" source="#p"/></vertices>
<triangles count="1"><input semantic="VERTEX" source="#v" offset="0"/><p>0 1 2</p></triangles>
</mesh></geometry></library_geometries>
<library_visual_scenes><visual_scene id="s"><node id="n" name="moved"><translate>0 0 10</translate>
<instance_geometry url="#g"/></node></visual_scene></library_visual_scenes>
<scene><instance_visual_scene url="#s"/></scene></COLLADA>)");
    const Imported scene(file);
    ASSERT_TRUE(scene.good && scene.mesh()) << scene.error.c_str();
    const Matrix m = scene.mesh()->GetMg();
    double top = -1e9, bottom = 1e9;
    for (const Vector& p : scene.mesh()->Points()) {
        top = std::max(top, (m * p).y);
        bottom = std::min(bottom, (m * p).y);
    }
    EXPECT_NEAR(bottom, 25.4, 1e-3);  // ten inches up, in centimetres
    EXPECT_NEAR(top, 27.94, 1e-3);
    EXPECT_NEAR(m.v1.GetLength(), 1, 1e-6);
}

/// One triangle (0,0,0), (1,0,0), (0,5,0) in an FBX file.
std::string fbx(const char* unit, bool zUp) {
    std::string text = R"(; FBX 7.4.0 project file
FBXHeaderExtension:  {
	FBXHeaderVersion: 1003
	FBXVersion: 7400
}
GlobalSettings:  {
	Version: 1000
	Properties70:  {
		P: "UpAxis", "int", "Integer", "",UP
		P: "UpAxisSign", "int", "Integer", "",1
		P: "FrontAxis", "int", "Integer", "",FRONT
		P: "FrontAxisSign", "int", "Integer", "",SIGN
		P: "CoordAxis", "int", "Integer", "",0
		P: "CoordAxisSign", "int", "Integer", "",1
		P: "UnitScaleFactor", "double", "Number", "",UNIT
	}
}
Objects:  {
	Geometry: 100, "Geometry::", "Mesh" {
		Vertices: *9 {
			a: 0,0,0,1,0,0,0,5,0
		}
		PolygonVertexIndex: *3 {
			a: 0,1,-3
		}
		GeometryVersion: 124
	}
	Model: 200, "Model::tri", "Mesh" {
		Version: 232
	}
}
Connections:  {
	C: "OO",200,0
	C: "OO",100,200
}
)";
    const auto set = [&](const std::string& word, const std::string& value) {
        const std::size_t at = text.find(word);
        text = text.substr(0, at) + value + text.substr(at + word.size());
    };
    set("UNIT", unit);
    set("UP", zUp ? "2" : "1");
    set("FRONT", zUp ? "1" : "2");
    set("SIGN", zUp ? "-1" : "1");
    return text;
}

TEST(OtherFormats, FbxUnitAndUpAxisAreHonoured) {
    const Folder folder;
    const auto tipOf = [&](const char* unit, bool zUp) {
        const Imported scene(folder.write("a.fbx", fbx(unit, zUp)));
        EXPECT_TRUE(scene.good && scene.mesh()) << scene.error.c_str();
        Vector tip;
        if (!scene.mesh()) return tip;
        for (const Vector& p : scene.mesh()->Points())
            if (const Vector q = scene.mesh()->GetMg() * p; q.GetLength() > tip.GetLength()) tip = q;
        return tip;
    };
    EXPECT_TRUE(near(tipOf("1", false), Vector(0, 5, 0)));
    EXPECT_TRUE(near(tipOf("100", false), Vector(0, 500, 0), 0.01));
    EXPECT_TRUE(near(tipOf("1", true), Vector(0, 0, 5)));  // away from the viewer
}

}  // namespace
}  // namespace host::test
