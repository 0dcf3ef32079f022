// Documents of earlier versions.
#include "plugin/render/document_conversion.h"

#include <utility>

#include "plugin/core/ids.h"
#include "plugin/render/render_settings.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

constexpr Int32 kDisplacementShader = 1031901;

/// One document with everything that the rules look at.
class ConversionTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        makeDocument();
    }
    void TearDown() override {
        BaseDocument::Free(document);
        PluginTest::TearDown();
    }
    void makeDocument() {
        if (document) BaseDocument::Free(document);
        document = BaseDocument::Alloc();
        camera = addTag(Ocamera, ID_LUMORA_CAMERA_TAG);
        sun = addTag(Olight, ID_LUMORA_DAYLIGHT_TAG);
        sun->GetObject()->GetDataInstance()->SetInt32(LIGHT_TYPE, LIGHT_TYPE_DISTANT);
        sun->GetObject()->SetName("Sun");
        notASun = addTag(Olight, ID_LUMORA_DAYLIGHT_TAG);
        light = addTag(Olight, ID_LUMORA_LIGHT_TAG);
        light->GetObject()->SetName("Lamp");
        material = BaseMaterial::Alloc(ID_LUMORA_MATERIAL);
        displacement = BaseShader::Alloc(kDisplacementShader);
        BaseShader* outer = BaseShader::Alloc(Xcolor);
        material->InsertShader(outer);
        outer->InsertShader(displacement);
        document->InsertMaterial(material);
        blend = BaseMaterial::Alloc(ID_LUMORA_BLEND_MATERIAL);
        document->InsertMaterial(blend);
        for (BaseTag* tag : {sun, notASun}) {
            tag->GetDataInstance()->SetFloat(1231, 1.2);
            tag->GetDataInstance()->SetBool(1233, tag == notASun);
            tag->GetDataInstance()->SetFloat(1241, 2.5);
        }
        // As earlier versions left them, whatever a fresh one holds.
        camera->GetDataInstance()->RemoveData(1424);
        sun->GetDataInstance()->RemoveData(1247);
        for (Int32 id = 1340; id < 1350; ++id) blend->GetDataInstance()->RemoveData(id);
        camera->GetDataInstance()->SetInt32(1460, 7);
        light->GetDataInstance()->SetBool(1166, true);
        displacement->GetDataInstance()->SetFloat(2052, 3);
        material->GetDataInstance()->SetFloat(2581, 0.5);
        for (Int32 k = 0; k < 5; ++k) {
            blend->GetDataInstance()->SetInt32(1401 + 100 * k, k);
            blend->GetDataInstance()->SetInt32(1402 + 100 * k, 10 + k);
        }
    }
    BaseTag* addTag(Int32 objectType, Int32 tagType) {
        BaseObject* object = BaseObject::Alloc(objectType);
        // Below another one: the walk reaches the whole tree.
        BaseObject* parent = BaseObject::Alloc(Onull);
        document->AppendObject(parent);
        document->AppendObject(object, parent);
        return object->MakeTag(tagType);
    }
    static Float value(const BaseList2D* node, Int32 id) { return node->GetDataInstance()->GetFloat(id, -1); }

    /// The document stores settings that version `version` wrote; a record reads them.
    void open(Int32 version) {
        BaseContainer stored;
        stored.SetInt32(SETTING_STORED_VERSION, version);
        stored.SetFloat(SETTING_EXPOSURE, 2.0);
        document->GetDataInstance()->SetContainer(ID_LUMORA_SESSION, stored);
        settings.setDocument(document, false);
        ASSERT_TRUE(settings.readFromDocument(true));
    }

    BaseDocument* document = nullptr;
    BaseTag *camera = nullptr, *sun = nullptr, *notASun = nullptr, *light = nullptr;
    BaseMaterial *material = nullptr, *blend = nullptr;
    BaseShader* displacement = nullptr;
    RenderSettings settings;
};

TEST_F(ConversionTest, EveryRuleRunsBelowItsLimitAndNotAtIt) {
    const double exposure = 1.0 / (2.8 * 2.8) * 100 * 0.1 * 118 / 255;
    enum Node { Camera, Sun, Light, Displacement, Material, Blend };
    const struct {
        Int32 limit;
        Node node;
        Int32 id;
        double converted, asItWas;
    } cases[] = {
        {2160000, Camera, 1424, exposure, -1}, {3000000, Camera, 1460, 0, 7},      {2160000, Sun, 1231, 1.2 / 0.8, 1.2},
        {3050100, Sun, 1247, 90, -1},          {3070006, Sun, 1241, 250, 2.5},     {2242002, Light, 1166, 0, 1},
        {2221004, Displacement, 2052, 300, 3}, {2221004, Material, 2581, 50, 0.5}, {3080008, Blend, 1340, 0, -1},
    };
    for (const auto& c : cases) {
        for (const bool below : {false, true}) {
            SCOPED_TRACE(std::to_string(c.id) + (below ? " below" : " at") + " the limit");
            makeDocument();
            const BaseList2D* nodes[] = {camera, sun, light, displacement, material, blend};
            convertDocument(*document, below ? c.limit - 1 : c.limit);
            EXPECT_DOUBLE_EQ(value(nodes[c.node], c.id), below ? c.converted : c.asItWas);
        }
    }
}

TEST_F(ConversionTest, RulesLookAtWhatTheyAreFor) {
    convertDocument(*document, 2150000);
    EXPECT_DOUBLE_EQ(value(notASun, 1231), 1.2) << "the tag is on a light that is no sun";
    EXPECT_EQ(camera->GetDataInstance()->GetInt32(SETTING_STORED_VERSION), kPluginVersionStamp);
    EXPECT_EQ(consoleCount("Convert Sun medium thickness from:2.5  to:250"), 1);
    EXPECT_EQ(consoleCount("Convert light tag parameters for Lamp"), 1);
    EXPECT_FALSE(blend->GetDataInstance()->Has(1340)) << "layers moved in versions from 3080000 on";
    convertDocument(*document, 3080000);
    for (Int32 k = 0; k < 5; ++k) {
        EXPECT_EQ(blend->GetDataInstance()->GetInt32(1340 + 2 * k, -1), k);
        EXPECT_EQ(blend->GetDataInstance()->GetInt32(1341 + 2 * k, -1), 10 + k);
        EXPECT_FALSE(blend->GetDataInstance()->Has(1401 + 100 * k));
    }
}

TEST_F(ConversionTest, MessagesAndExposureByVersion) {
    struct Case {
        Int32 version;
        int created, older216, olderNow;
        double exposure;
    };
    const double converted = 2.0 / (2.8 * 2.8) * 100 * 0.1 * 118 / 255;
    const Case cases[] = {
        {1, 1, 1, 0, converted}, {2159999, 1, 1, 0, converted}, {2160000, 1, 0, 0, 2.0}, {2160001, 1, 0, 1, 2.0},
        {4000020, 1, 0, 1, 2.0}, {4000021, 0, 0, 0, 2.0},       {4000022, 0, 0, 0, 2.0},
    };
    int created = 0, older216 = 0, olderNow = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.version);
        makeDocument();
        older216 += c.older216;
        olderNow += c.olderNow;
        open(c.version);
        EXPECT_EQ(consoleCount("Scene created in plugin version " + std::to_string(c.version)), c.created);
        EXPECT_EQ(consoleCount("Scene plugin version is older than 2.16.\n Plugin will convert the some parameters of "
                               "Daylight/Camera tags"),
                  older216);
        EXPECT_EQ(consoleCount("Scene plugin version is older than version:V4.00\n Plugin will convert the parameters "
                               "of displacement texture."),
                  olderNow);
        EXPECT_DOUBLE_EQ(settings.number(SETTING_EXPOSURE), c.exposure);
        const BaseContainer& stored = *settings.container();
        EXPECT_DOUBLE_EQ(stored.GetFloat(SETTING_EXPOSURE), c.exposure);
        EXPECT_EQ(stored.GetInt32(SETTING_STORED_VERSION), std::max(c.version, kPluginVersionStamp));
        // Another record finds it converted.
        RenderSettings again;
        again.setDocument(document, false);
        again.readFromDocument(true);
        EXPECT_DOUBLE_EQ(again.number(SETTING_EXPOSURE), c.exposure);
        created += c.created;
        EXPECT_EQ(consoleCount("Scene created in plugin version"), created) << "once for a document";
    }
}

TEST_F(ConversionTest, LiveSettingsOfOldDocumentsGoToAVideoPostOfTheirOwn) {
    BaseVideoPost* old = BaseVideoPost::Alloc(ID_LUMORA_VP_RENDERER);
    document->GetActiveRenderData()->InsertVideoPost(old);
    old->GetDataInstance()->SetInt32(1012, 5);
    old->GetDataInstance()->SetInt32(3063, 11);
    BaseContainer stored;
    stored.SetInt32(SETTING_STORED_VERSION, 2242002);
    stored.SetInt32(3063, 22);
    document->GetDataInstance()->SetContainer(ID_LUMORA_SESSION, stored);
    settings.setDocument(document, false);
    settings.readFromDocument(true);
    int found = 0;
    for (RenderData* data = document->GetFirstRenderData(); data; data = data->GetNext()) {
        if (!(data->GetName() == String("Lumora LV_passes"))) continue;
        ++found;
        EXPECT_NE(data, document->GetActiveRenderData());
        EXPECT_EQ(data->GetDataInstance()->GetInt32(RDATA_RENDERENGINE), ID_LUMORA_VP_RENDERER);
        const BaseVideoPost* post = data->GetFirstVideoPost();
        ASSERT_TRUE(post);
        EXPECT_EQ(post->GetDataInstance()->GetInt32(1012), 5);
        EXPECT_EQ(post->GetDataInstance()->GetInt32(3063), 22);
    }
    EXPECT_EQ(found, 1);
    EXPECT_EQ(old->GetDataInstance()->GetInt32(3063), 11);
    EXPECT_EQ(consoleCount("Transfer LV settings to Lumora VPost..."), 1);
}

TEST_F(ConversionTest, ALiveRenderConvertsOnceWhicheverSettingsItTakes) {
    document->GetActiveRenderData()->InsertVideoPost(BaseVideoPost::Alloc(ID_LUMORA_VP_RENDERER));
    BaseContainer stored;
    stored.SetInt32(SETTING_STORED_VERSION, 2150000);
    document->GetDataInstance()->SetContainer(ID_LUMORA_SESSION, stored);
    startLive(std::exchange(document, BaseDocument::Alloc()));
    EXPECT_EQ(consoleCount("Scene created in plugin version 2150000"), 1);
    EXPECT_DOUBLE_EQ(value(sun, 1247), 90);
}

}  // namespace
}  // namespace lumora::test
