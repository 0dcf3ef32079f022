#include <cstdio>
#include <filesystem>

#include "plugin/materials/texture_nodes.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

namespace {

class MaterialTest : public SceneTest {
protected:
    MaterialTest() {
        // The engine is not asked to read it: a file that begins as one that it reads will do.
        image = (std::filesystem::temp_directory_path() / ("lumora_material_test" + std::to_string(getpid()) + ".png"))
                    .string();
        if (std::FILE* f = std::fopen(image.c_str(), "wb")) {
            std::fputs("\x89PNG\r\n\x1a\n", f);
            std::fclose(f);
        }
    }
    ~MaterialTest() override { std::filesystem::remove(image); }

    BaseShader* addBitmap(BaseMaterial* material, Int32 parameter, const std::string& file) {
        BaseShader* shader = BaseShader::Alloc(Xbitmap);
        shader->GetDataInstance()->SetFilename(BITMAPSHADER_FILENAME, Filename(file));
        material->InsertShader(shader);
        material->GetDataInstance()->SetLink(parameter, shader);
        return shader;
    }
    void setProfile(Int32 profile) {
        doc->GetDataInstance()->SetInt32(DOCUMENT_COLORPROFILE, profile);
        materials.setDocument(doc, nullptr);
    }
    std::string image;
};

TEST_F(MaterialTest, ColoursReachThePinInLinearLight) {
    struct Case {
        Int32 profile;
        float wanted;
    };
    for (const Case& c : {Case{DOCUMENT_COLORPROFILE_LINEAR, 0.25f}, Case{DOCUMENT_COLORPROFILE_SRGB, 0.0508761f},
                          Case{DOCUMENT_COLORPROFILE_DISABLED, 0.25f}}) {
        setProfile(c.profile);
        BaseMaterial* material = addMaterial("Grey", Vector(0.5));
        material->GetDataInstance()->SetFloat(MATERIAL_COLOR_BRIGHTNESS, 0.5);
        MatLink* link = generate(material);
        ASSERT_EQ(link->nodeType, NT_MAT_DIFFUSE);
        const Float3 colour = link->node->getPinFloat3(P_DIFFUSE);
        EXPECT_NEAR(colour.x, c.wanted, 1e-5);
        EXPECT_EQ(link->outNode->connectedNode(P_INPUT), link->node);
    }
}

TEST_F(MaterialTest, GeneratingAgainWritesNothing) {
    BaseMaterial* material = addMaterial("All", {0.1, 0.2, 0.3});
    BaseContainer& d = *material->GetDataInstance();
    d.SetBool(MATERIAL_USE_LUMINANCE, true);
    d.SetBool(MATERIAL_USE_ALPHA, true);
    d.SetFloat(MATERIAL_ALPHA_CUTOFF, 0.5);
    d.SetBool(MATERIAL_USE_NORMAL, true);
    d.SetFloat(MATERIAL_NORMAL_STRENGTH, 0.5);
    d.SetBool(MATERIAL_USE_BUMP, true);
    d.SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.5);
    for (Int32 p : {MATERIAL_COLOR_SHADER, MATERIAL_LUMINANCE_SHADER, MATERIAL_ALPHA_SHADER, MATERIAL_NORMAL_SHADER,
                    MATERIAL_BUMP_SHADER}) {
        BaseContainer& s = *addBitmap(material, p, image)->GetDataInstance();
        s.SetFloat(BITMAPSHADER_SCALEX, 2.0);
        s.SetFloat(BITMAPSHADER_ROTATION, 0.3);
        s.SetVector(BITMAPSHADER_FACTOR, {1, 0.5, 0.25});
    }
    generate(material);
    Lumora::ApiWriteJournal::reset();
    generate(material);
    EXPECT_EQ(writes(), 0u);

    d.SetVector(MATERIAL_COLOR_COLOR, {0.9, 0.2, 0.3});
    generate(material);
    EXPECT_EQ(writes(), 1u) << "a new colour is one write";
}

TEST_F(MaterialTest, ImagesWithTheirParameters) {
    setProfile(DOCUMENT_COLORPROFILE_SRGB);
    BaseMaterial* material = addMaterial("Textured");
    BaseContainer& s = *addBitmap(material, MATERIAL_COLOR_SHADER, image)->GetDataInstance();
    s.SetInt32(BITMAPSHADER_WRAPX, 2);
    s.SetInt32(BITMAPSHADER_WRAPY, 2);
    MatLink* link = generate(material);
    ApiNode* node = link->node->connectedNode(P_DIFFUSE);
    ASSERT_TRUE(node);
    ASSERT_EQ(node->type(), NT_TEX_IMAGE);
    EXPECT_EQ(node->getString(A_FILENAME), image);
    EXPECT_EQ(node->getPinInt(P_BORDER_MODE), 4);
    EXPECT_FLOAT_EQ(node->getPinFloat(P_GAMMA), 2.2f);
    EXPECT_FALSE(node->connectedNode(P_TRANSFORM));

    struct Gamma {
        Int32 document, shader;
        float wanted;
    };
    constexpr Int32 kSrgb = DOCUMENT_COLORPROFILE_SRGB, kLinear = DOCUMENT_COLORPROFILE_LINEAR;
    for (const Gamma& g :
         {Gamma{kSrgb, 1, 1.0f}, Gamma{kSrgb, 2, 2.2f}, Gamma{kLinear, 0, 1.0f}, Gamma{kLinear, 2, 2.2f}}) {
        setProfile(g.document);
        s.SetInt32(BITMAPSHADER_COLORPROFILE, g.shader);
        generate(material);
        EXPECT_FLOAT_EQ(node->getPinFloat(P_GAMMA), g.wanted) << g.document << g.shader;
    }

    s.SetVector(BITMAPSHADER_FACTOR, {1, 0.5, 0});
    s.SetFloat(BITMAPSHADER_OFFSETX, 0.25);
    generate(material);
    ApiNode* multiply = link->node->connectedNode(P_DIFFUSE);
    ASSERT_EQ(multiply->type(), NT_TEX_MULTIPLY);
    EXPECT_EQ(multiply->connectedNode(P_TEXTURE2), node) << "the image stays";
    EXPECT_EQ(multiply->getPinFloat3(P_TEXTURE1), (Float3{1, 0.5f, 0}));
    ASSERT_TRUE(node->connectedNode(P_TRANSFORM));
    EXPECT_FLOAT_EQ(node->connectedNode(P_TRANSFORM)->getFloat3(A_TRANSLATION).x, -0.25f);

    s.SetInt32(BITMAPSHADER_CHANNEL, 4);
    generate(material);
    EXPECT_EQ(link->node->connectedNode(P_DIFFUSE)->connectedNode(P_TEXTURE2)->type(), NT_TEX_ALPHAIMAGE);
}

TEST_F(MaterialTest, AMissingImageLeavesTheColour) {
    setProfile(DOCUMENT_COLORPROFILE_LINEAR);
    BaseMaterial* material = addMaterial("Gone", {0.25, 0.5, 0.75});
    addBitmap(material, MATERIAL_COLOR_SHADER, "/no/such/picture.png");
    MatLink* link = generate(material);
    EXPECT_EQ(link->node->getPinFloat3(P_DIFFUSE), (Float3{0.25f, 0.5f, 0.75f}));
}

TEST_F(MaterialTest, OneShaderOnTwoChannelsIsOneNode) {
    BaseMaterial* material = addMaterial("Shared");
    BaseShader* shader = addBitmap(material, MATERIAL_COLOR_SHADER, image);
    material->GetDataInstance()->SetBool(MATERIAL_USE_LUMINANCE, true);
    material->GetDataInstance()->SetLink(MATERIAL_LUMINANCE_SHADER, shader);
    MatLink* link = generate(material);
    EXPECT_EQ(link->node->connectedNode(P_EMISSION)->connectedNode(P_EMIS_TEXTURE),
              link->node->connectedNode(P_DIFFUSE));
}

TEST_F(MaterialTest, LuminanceIsRadiance) {
    setProfile(DOCUMENT_COLORPROFILE_LINEAR);
    BaseMaterial* material = addMaterial("Lamp");
    BaseContainer& d = *material->GetDataInstance();
    d.SetBool(MATERIAL_USE_LUMINANCE, true);
    d.SetVector(MATERIAL_LUMINANCE_COLOR, {1, 0.5, 0.25});
    d.SetFloat(MATERIAL_LUMINANCE_BRIGHTNESS, 4.0);
    MatLink* link = generate(material);
    ApiNode* emission = link->node->connectedNode(P_EMISSION);
    ASSERT_TRUE(emission);
    ASSERT_EQ(emission->type(), NT_EMIS_TEXTURE);
    EXPECT_EQ(emission->getPinFloat3(P_EMIS_TEXTURE), (Float3{1, 0.5f, 0.25f}));
    EXPECT_FLOAT_EQ(emission->getPinFloat(P_POWER), 4.0f);
    EXPECT_FLOAT_EQ(emission->getPinFloat(P_DISTRIBUTION), 1.0f);

    d.SetBool(MATERIAL_USE_LUMINANCE, false);
    generate(material);
    EXPECT_FALSE(link->node->connectedNode(P_EMISSION)) << "switched off, it is dark";
}

TEST_F(MaterialTest, Opacity) {
    BaseMaterial* material = addMaterial("Glass");
    BaseContainer& d = *material->GetDataInstance();
    MatLink* link = generate(material);
    EXPECT_FLOAT_EQ(link->node->getPinFloat(P_OPACITY), 1.0f);
    d.SetBool(MATERIAL_USE_ALPHA, true);
    d.SetFloat(MATERIAL_ALPHA_VALUE, 0.3);
    generate(material);
    EXPECT_FLOAT_EQ(link->node->getPinFloat(P_OPACITY), 0.3f);
    d.SetFloat(MATERIAL_ALPHA_CUTOFF, 0.5);
    generate(material);
    EXPECT_FLOAT_EQ(link->node->getPinFloat(P_OPACITY), 0.0f) << "below the limit nothing is left";
    d.SetBool(MATERIAL_USE_ALPHA, false);
    generate(material);
    EXPECT_FLOAT_EQ(link->node->getPinFloat(P_OPACITY), 1.0f);
}

TEST_F(MaterialTest, TypesOfStandardMaterials) {
    struct Case {
        const char* name;
        void (*make)(BaseContainer&);
        NodeType wanted;
    };
    const Case cases[] = {
        {"plain", [](BaseContainer&) {}, NT_MAT_DIFFUSE},
        {"reflecting", [](BaseContainer& d) { d.SetBool(MATERIAL_USE_REFLECTION, true); }, NT_MAT_GLOSSY},
        {"luminance comes before reflection",
         [](BaseContainer& d) {
             d.SetBool(MATERIAL_USE_REFLECTION, true);
             d.SetBool(MATERIAL_USE_LUMINANCE, true);
         },
         NT_MAT_DIFFUSE},
        {"refracting",
         [](BaseContainer& d) {
             d.SetBool(MATERIAL_USE_TRANSPARENCY, true);
             d.SetFloat(MATERIAL_TRANSPARENCY_REFRACTION, 1.5);
         },
         NT_MAT_SPECULAR},
        {"clear without refraction",
         [](BaseContainer& d) {
             d.SetBool(MATERIAL_USE_TRANSPARENCY, true);
             d.SetFloat(MATERIAL_TRANSPARENCY_REFRACTION, 1.0);
         },
         NT_MAT_DIFFUSE},
        {"metal",
         [](BaseContainer& d) {
             d.SetBool(MATERIAL_USE_REFLECTION, true);
             d.SetFloat(MATERIAL_REFLECTION_METALNESS, 1.0);
         },
         NT_MAT_METALLIC},
    };
    for (const Case& c : cases) {
        BaseMaterial* material = addMaterial(c.name, Vector(0.25));
        c.make(*material->GetDataInstance());
        EXPECT_EQ(generate(material)->nodeType, c.wanted) << c.name;
    }
    setProfile(DOCUMENT_COLORPROFILE_LINEAR);
    BaseMaterial* gold = addMaterial("Gold", {1, 0.5, 0.25});
    gold->GetDataInstance()->SetBool(MATERIAL_USE_REFLECTION, true);
    gold->GetDataInstance()->SetFloat(MATERIAL_REFLECTION_METALNESS, 1.0);
    EXPECT_EQ(generate(gold)->node->getPinFloat3(P_SPECULAR), (Float3{1, 0.5f, 0.25f}));
}

TEST_F(MaterialTest, LinksAreFoundFromADocumentsCopy) {
    BaseMaterial* material = addMaterial("Original");
    addMaterial("Other");
    MatLink* link = generate(material);
    BaseDocument* copy = doc->CloneDocument();
    EXPECT_EQ(materials.findLinkByMaterial(copy->GetFirstMaterial()), link);
    EXPECT_EQ(materials.findLinkByMaterial(copy->GetFirstMaterial()->GetNext()), nullptr);
    EXPECT_EQ(materials.findLinkByNode(link->node), link);
    BaseDocument::Free(copy);
}

TEST_F(MaterialTest, UnusedNodesGoAndUsedOnesStay) {
    BaseMaterial* material = addMaterial("Changing");
    addBitmap(material, MATERIAL_COLOR_SHADER, image);
    material->GetDataInstance()->SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 0.5);
    MatLink* link = generate(material);
    ASSERT_EQ(link->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_MIX);
    material->GetDataInstance()->SetFloat(MATERIAL_COLOR_TEXTURESTRENGTH, 1.0);
    link->clearMarks();
    generate(material);
    EXPECT_TRUE(link->purgeUnused(false));
    EXPECT_EQ(link->node->connectedNode(P_DIFFUSE)->type(), NT_TEX_IMAGE);
    EXPECT_EQ(link->graph->findFirstNode(NT_TEX_MIX), nullptr);
}

TEST_F(MaterialTest, TheHashFollowsParametersOfLinkedShaders) {
    BaseMaterial* material = addMaterial("Hashed");
    BaseShader* shader = addBitmap(material, MATERIAL_COLOR_SHADER, image);
    const ContentHash before = hashParameters(*material);
    material->SetName("Renamed");
    material->GetDataInstance()->SetInt32(99004, 77);
    EXPECT_EQ(hashParameters(*material), before);
    shader->GetDataInstance()->SetFloat(BITMAPSHADER_OFFSETX, 0.5);
    EXPECT_FALSE(hashParameters(*material) == before);
    shader->GetDataInstance()->SetLink(12345, material);  // a circle ends
    hashParameters(*material);
}

}  // namespace

}  // namespace lumora::test
