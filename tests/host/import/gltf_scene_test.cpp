#include <gtest/gtest.h>

#include <cmath>

#include "host/shading/projection.h"
#include "tests/host/import/gltf_builder.h"

namespace host::test {
namespace {

constexpr double kHalfRoot = 0.70710678118654752;

TEST(GltfScene, TransformsAreMirroredOnBothSides) {
    GltfBuilder b;
    const int mesh = b.triangle();
    // A quarter turn about y takes x to -z; in the mirrored space x goes to +z.
    b.node({{"translation", {1, 2, 3}}, {"rotation", {0, kHalfRoot, 0, kHalfRoot}}, {"children", {1}}});
    b.node({{"mesh", mesh}, {"scale", {2, 3, -1}}}, false);
    b.node({{"mesh", mesh}, {"matrix", {1, 0, 0, 0, 0.5, 1, 0, 0, 0, 0, 1, 0, 7, 8, 9, 1}}});
    const Imported scene(b);
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    BaseObject* turned = scene.first();
    EXPECT_EQ(turned->GetType(), Onull);
    EXPECT_TRUE(near(turned->GetMl().off, Vector(100, 200, -300)));
    EXPECT_TRUE(near(turned->GetMl().v1, Vector(0, 0, 1), 1e-9));
    EXPECT_TRUE(near(turned->GetMl().v3, Vector(-1, 0, 0), 1e-9));
    EXPECT_TRUE(near(turned->GetDown()->GetMl().v3, Vector(0, 0, -1), 1e-9));
    EXPECT_LT(turned->GetDown()->GetMl().Determinant(), 0);
    EXPECT_TRUE(near(turned->GetDown()->GetMg() * Vector(100, 0, 0), Vector(100, 200, -100)));
    const BaseObject* sheared = turned->GetNext();
    EXPECT_TRUE(near(sheared->GetMl().v2, Vector(0.5, 1, 0), 1e-9));
    EXPECT_TRUE(near(sheared->GetMl().off, Vector(700, 800, -900)));
}

TEST(GltfScene, AMeshOfSeveralNodesStandsOnceAndIsInstanced) {
    GltfBuilder b;
    const int mesh = b.triangle();
    b.node({{"name", "one"}, {"mesh", mesh}});
    b.node({{"name", "two"}, {"mesh", mesh}, {"translation", {5, 0, 0}}});
    b.node({{"name", "three"}, {"mesh", mesh}, {"children", {3}}});
    b.node({{"mesh", mesh}}, false);
    const Imported scene(b);
    ASSERT_TRUE(scene.good);
    EXPECT_EQ(scene.all(Opolygon).size(), 1u);
    const auto instances = scene.all(Oinstance);
    ASSERT_EQ(instances.size(), 3u);
    for (BaseObject* instance : instances)
        EXPECT_EQ(instance->GetDataInstance()->GetLink(INSTANCEOBJECT_LINK, scene.document), scene.mesh());
    EXPECT_TRUE(near(instances[0]->GetMl().off, Vector(500, 0, 0)));
    EXPECT_STREQ(instances[0]->GetName().c_str(), "two");
}

TEST(GltfScene, InstancingExtensionPlacesEachElement) {
    GltfBuilder b;
    const int mesh = b.triangle();
    const int t = b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 0, 2}, "VEC3");
    const int r = b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0}, "VEC4");
    b.root["extensionsRequired"] = {"EXT_mesh_gpu_instancing"};
    b.node({{"mesh", mesh},
            {"extensions", {{"EXT_mesh_gpu_instancing", {{"attributes", {{"TRANSLATION", t}, {"ROTATION", r}}}}}}}});
    const Imported scene(b);
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    EXPECT_EQ(scene.all(Opolygon).size(), 1u);
    const auto instances = scene.all(Oinstance);
    ASSERT_EQ(instances.size(), 2u);
    EXPECT_TRUE(near(instances[0]->GetMl().off, Vector(100, 0, 0)));
    EXPECT_TRUE(near(instances[1]->GetMl().off, Vector(0, 0, -200)));
    EXPECT_TRUE(near(instances[1]->GetMl().v1, Vector(-1, 0, 0), 1e-6));
}

TEST(GltfScene, CamerasLookTheSameWayAndTheFirstOneIsUsed) {
    GltfBuilder b;
    b.root["cameras"] = {
        {{"type", "perspective"}, {"perspective", {{"yfov", 1.0}, {"znear", 0.1}, {"aspectRatio", 1.5}}}},
        {{"type", "orthographic"}, {"orthographic", {{"xmag", 3.0}, {"ymag", 2.0}}}}};
    b.node({{"camera", 0}, {"translation", {0, 0, 4}}});  // looks at the origin, along -z of the file
    b.node({{"camera", 1}});
    const Imported scene(b);
    const auto cameras = scene.all(Ocamera);
    ASSERT_EQ(cameras.size(), 2u);
    EXPECT_EQ(scene.document->GetActiveBaseDraw()->GetSceneCamera(scene.document), cameras[0]);
    EXPECT_TRUE(near(cameras[0]->GetMl() * Vector(0, 0, 400), Vector(0, 0, 0)));
    const BaseContainer* data = cameras[0]->GetDataInstance();
    EXPECT_NEAR(data->GetFloat(CAMERAOBJECT_FOV_VERTICAL), 1.0, 1e-9);
    EXPECT_NEAR(data->GetFloat(CAMERAOBJECT_APERTURE) / 2 / data->GetFloat(CAMERA_FOCUS), 1.5 * std::tan(0.5), 1e-9);
    EXPECT_EQ(cameras[1]->GetDataInstance()->GetInt32(CAMERA_PROJECTION), 1);
    const BaseContainer* parallel = cameras[1]->GetDataInstance();
    EXPECT_NEAR(ParallelViewWidth(parallel->GetFloat(CAMERA_ZOOM), parallel->GetFloat(CAMERAOBJECT_TARGETDISTANCE)),
                600, 1e-6);
}

TEST(GltfScene, PunctualLightsKeepTheirRadiantIntensity) {
    GltfBuilder b;
    b.root["extensions"]["KHR_lights_punctual"]["lights"] = {
        {{"type", "point"}, {"intensity", 12.0}},
        {{"type", "spot"}, {"intensity", 12.0}, {"spot", {{"outerConeAngle", 0.5}}}},
        {{"type", "directional"}, {"intensity", 6.0}, {"color", {1, 0, 0}}}};
    for (int i = 0; i < 3; ++i) b.node({{"extensions", {{"KHR_lights_punctual", {{"light", i}}}}}});
    const Imported scene(b);
    const auto lights = scene.all(Olight);
    ASSERT_EQ(lights.size(), 3u);
    for (int i = 0; i < 2; ++i) {
        const BaseContainer* data = lights[static_cast<std::size_t>(i)]->GetDataInstance();
        EXPECT_EQ(data->GetInt32(LIGHT_TYPE), LIGHT_TYPE_AREA);
        // Brightness 1 is white, an irradiance of pi, at the root of 2.8 metres; a sphere shows a quarter of its area.
        const double shown = i == 0 ? 0.25 : 1.0;
        EXPECT_NEAR(data->GetFloat(LIGHT_BRIGHTNESS) * shown * kPi * 2.8, 12, 1e-6);
    }
    EXPECT_NEAR(lights[1]->GetDataInstance()->GetFloat(LIGHT_OUTERANGLE), 1.0, 1e-9);
    EXPECT_EQ(lights[2]->GetDataInstance()->GetInt32(LIGHT_TYPE), LIGHT_TYPE_DISTANT);
    EXPECT_NEAR(lights[2]->GetDataInstance()->GetFloat(LIGHT_BRIGHTNESS), 6 / kPi, 1e-9);
    EXPECT_TRUE(near(lights[2]->GetDataInstance()->GetVector(LIGHT_COLOR), Vector(1, 0, 0), 1e-6));
}

TEST(GltfScene, AnimationsBecomeMatrixTracks) {
    GltfBuilder b;
    const int mesh = b.triangle();
    const int times = b.accessor<float>({0, 1, 2}, "SCALAR");
    const int moves = b.accessor<float>({0, 0, 0, 1, 0, 0, 1, 0, 3}, "VEC3");
    const int turns = b.accessor<float>({0, 0, 0, 1, 0, 0.70710678f, 0, 0.70710678f, 0, 1, 0, 0}, "VEC4");
    const int jumps = b.accessor<float>({1, 1, 1, 2, 2, 2, 3, 3, 3}, "VEC3");
    const int curve =
        b.accessor<float>({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 0}, "VEC3");
    for (int i = 0; i < 3; ++i) b.node({{"mesh", mesh}});
    const auto channel = [](int sampler, int node, const char* path) {
        return Json{{"sampler", sampler}, {"target", {{"node", node}, {"path", path}}}};
    };
    b.root["animations"] = {{{"samplers",
                              {{{"input", times}, {"output", moves}},
                               {{"input", times}, {"output", turns}},
                               {{"input", times}, {"output", jumps}, {"interpolation", "STEP"}},
                               {{"input", times}, {"output", curve}, {"interpolation", "CUBICSPLINE"}}}},
                             {"channels",
                              {channel(0, 0, "translation"), channel(1, 0, "rotation"), channel(2, 1, "scale"),
                               channel(3, 2, "translation")}}}};
    const Imported scene(b);
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    EXPECT_NEAR(scene.document->GetMaxTime().Get(), 2, 1e-9);
    std::vector<Matrix> at[4];
    BaseObject* object = scene.first();
    for (int node = 0; node < 3; ++node, object = object->GetNext()) {
        const BaseTrack* track = object->FindTrack(DescID(ID_BASEOBJECT_REL_MATRIX));
        ASSERT_TRUE(track) << node;
        for (const double time : {0.0, 0.5, 1.0, 1.5, 9.0})
            at[node].push_back(track->GetValue(BaseTime(time)).GetMatrix());
    }
    EXPECT_TRUE(near(at[0][1].off, Vector(50, 0, 0)));
    EXPECT_TRUE(near(at[0][3].off, Vector(100, 0, -150)));
    EXPECT_TRUE(near(at[0][4].off, Vector(100, 0, -300)));
    EXPECT_TRUE(near(at[0][1].v1, Vector(kHalfRoot, 0, kHalfRoot), 1e-6));  // half way to a quarter turn
    EXPECT_NEAR(at[1][1].v1.x, 1, 1e-9);
    EXPECT_NEAR(at[1][3].v1.x, 2, 1e-9);
    EXPECT_NEAR(at[2][1].off.x, 50, 0.01);   // a smooth curve is half way in the middle
    EXPECT_NEAR(at[2][3].off.x, 100, 0.01);  // and rests between equal values
}

TEST(GltfScene, ASceneIsFramedByItsViewWithoutACamera) {
    GltfBuilder b;
    b.node({{"mesh", b.triangle()}, {"translation", {-40, 7, 3}}, {"scale", {3, 0.2, 1}}});
    const Imported scene(b);
    EXPECT_EQ(scene.document->GetActiveBaseDraw()->GetSceneCamera(scene.document), nullptr);
    const BaseObject* camera = scene.document->GetActiveBaseDraw()->GetEditorCamera();
    const BaseContainer* data = camera->GetDataInstance();
    const double across = data->GetFloat(CAMERAOBJECT_APERTURE) / 2 / data->GetFloat(CAMERA_FOCUS);
    double largest = 0;
    for (const Vector& p : scene.mesh()->Points()) {
        const Vector seen = ~camera->GetMl() * (scene.mesh()->GetMg() * p);
        ASSERT_GT(seen.z, 0);
        largest = std::max(largest, std::max(std::abs(seen.x), std::abs(seen.y) * 16 / 9) / seen.z / across);
    }
    EXPECT_LT(largest, 1);
    EXPECT_GT(largest, 0.5);
}

TEST(GltfScene, MaterialsFillTheChannelsOfTheStandardMaterial) {
    const Folder folder;
    folder.write("colour map.png", "x");
    GltfBuilder b;
    b.root["images"] = {{{"uri", "colour%20map.png"}}, {{"uri", "missing.png"}}};
    b.root["samplers"] = {{{"wrapS", 33071}, {"wrapT", 33648}}};
    b.root["textures"] = {{{"source", 0}, {"sampler", 0}}, {{"source", 1}}};
    b.root["materials"] = {
        {{"name", "full"},
         {"doubleSided", true},
         {"alphaMode", "MASK"},
         {"alphaCutoff", 0.25},
         {"emissiveFactor", {1, 0.5, 0}},
         {"extensions",
          {{"KHR_materials_emissive_strength", {{"emissiveStrength", 8.0}}},
           {"KHR_materials_transmission", {{"transmissionFactor", 0.5}}},
           {"KHR_materials_volume", {{"thicknessFactor", 1.0}}},
           {"KHR_materials_ior", {{"ior", 1.33}}}}},
         {"normalTexture", {{"index", 1}, {"scale", 0.5}}},
         {"pbrMetallicRoughness",
          {{"baseColorFactor", {0.5, 0.25, 1.0, 0.75}},
           {"metallicFactor", 0.1},
           {"roughnessFactor", 0.6},
           {"metallicRoughnessTexture", {{"index", 1}}},
           {"baseColorTexture",
            {{"index", 0},
             {"extensions",
              {{"KHR_texture_transform",
                {{"offset", {0.1, 0.2}}, {"scale", {3, 4}}, {"rotation", 0.5}, {"texCoord", 1}}}}}}}}}},
        {{"name", "flat"},
         {"extensions", {{"KHR_materials_unlit", Json::object()}}},
         {"pbrMetallicRoughness", {{"baseColorFactor", {1, 0, 0, 1}}}}}};
    const int p = b.accessor<float>({0, 0, 0, 1, 0, 0, 0, 1, 0}, "VEC3"),
              t = b.accessor<float>({0, 0, 1, 0, 0, 1}, "VEC2");
    const Json attributes = {{"POSITION", p}, {"TEXCOORD_0", t}, {"TEXCOORD_1", t}};
    b.root["meshes"] = {
        {{"primitives",
          {{{"attributes", attributes}, {"material", 0}}, {{"attributes", attributes}, {"material", 1}}}}}};
    b.node({{"mesh", 0}});
    const Imported scene(b.writeGltf(folder));
    ASSERT_TRUE(scene.good) << scene.error.c_str();
    EXPECT_TRUE(scene.warned("missing.png"));
    EXPECT_TRUE(scene.warned("go on as across"));
    EXPECT_EQ(scene.warnings.size(), 2u);

    BaseMaterial* full = scene.document->SearchMaterial("full");
    ASSERT_TRUE(full);
    const BaseContainer* data = full->GetDataInstance();
    EXPECT_NEAR(data->GetVector(MATERIAL_COLOR_COLOR).y, 0.5371, 1e-3);  // 0.25 as sRGB
    BaseShader* shader = full->GetShader(MATERIAL_COLOR_SHADER);
    ASSERT_TRUE(shader);
    const BaseContainer* image = shader->GetDataInstance();
    EXPECT_TRUE(shader->GetFileName() == folder.file("colour map.png"));
    EXPECT_EQ(image->GetInt32(BITMAPSHADER_COLORPROFILE), 2);
    EXPECT_EQ(image->GetInt32(BITMAPSHADER_WRAPX), 1);
    EXPECT_EQ(image->GetInt32(BITMAPSHADER_WRAPY), 2);
    EXPECT_EQ(image->GetInt32(BITMAPSHADER_UVSET), 1);
    EXPECT_DOUBLE_EQ(image->GetFloat(BITMAPSHADER_OFFSETY), 0.2);
    EXPECT_DOUBLE_EQ(image->GetFloat(BITMAPSHADER_SCALEX), 3);
    EXPECT_DOUBLE_EQ(image->GetFloat(BITMAPSHADER_ROTATION), 0.5);
    EXPECT_TRUE(near(image->GetVector(BITMAPSHADER_FACTOR), Vector(0.5, 0.25, 1.0), 1e-9));
    EXPECT_TRUE(full->GetChannelState(MATERIAL_USE_LUMINANCE));
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_LUMINANCE_BRIGHTNESS), 8);
    EXPECT_TRUE(full->GetChannelState(MATERIAL_USE_ALPHA));
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_ALPHA_CUTOFF), 0.25);
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_ALPHA_VALUE), 0.75);
    ASSERT_TRUE(full->GetShader(MATERIAL_ALPHA_SHADER));
    EXPECT_EQ(full->GetShader(MATERIAL_ALPHA_SHADER)->GetDataInstance()->GetInt32(BITMAPSHADER_CHANNEL), 4);
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_REFLECTION_ROUGHNESS), 0.6);
    EXPECT_EQ(full->GetShader(MATERIAL_REFLECTION_METALNESS_SHADER)->GetDataInstance()->GetInt32(BITMAPSHADER_CHANNEL),
              3);
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_NORMAL_STRENGTH), 0.5);
    EXPECT_DOUBLE_EQ(data->GetFloat(MATERIAL_TRANSPARENCY_REFRACTION), 1.33);
    EXPECT_TRUE(data->GetBool(MATERIAL_TWO_SIDED));

    BaseMaterial* flat = scene.document->SearchMaterial("flat");
    ASSERT_TRUE(flat);
    EXPECT_FALSE(flat->GetChannelState(MATERIAL_USE_COLOR));
    EXPECT_TRUE(flat->GetChannelState(MATERIAL_USE_LUMINANCE));

    // The texture tag stands right before the UVW tag of the set that its material uses.
    const auto meshes = scene.all(Opolygon);
    ASSERT_EQ(meshes.size(), 2u);
    auto* tag = static_cast<TextureTag*>(meshes[0]->GetTag(Ttexture));
    ASSERT_TRUE(tag && tag->GetMaterial() == full);
    EXPECT_EQ(tag->GetNext(), meshes[0]->GetTag(Tuvw, 1));
    EXPECT_EQ(static_cast<TextureTag*>(meshes[1]->GetTag(Ttexture))->GetNext(), meshes[1]->GetTag(Tuvw, 0));
}

}  // namespace
}  // namespace host::test
