#include "plugin/render/render_settings.h"

#include <set>

#include "plugin/core/ids.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

namespace {

class SettingsTest : public SceneTest {
protected:
    SettingsTest() : target(createNode(NT_RENDER_TARGET, ApiProjectManager::rootNodeGraph())) {
        settings.setDocument(doc, true);
        settings.renderTarget = target;
    }
    ApiNode* kernel() const { return target->connectedNode(P_KERNEL); }

    ApiNode* target;
    RenderSettings settings;
};

/// A value in range that is not the default.
Float otherValue(const SettingRow& r) {
    if (r.type == SettingType::Bool || r.type == SettingType::Bit) return r.record == 0 ? 1 : 0;
    return r.record == r.maximum ? r.minimum : r.maximum;
}

TEST_F(SettingsTest, EveryRowIsReachedByEachOfItsAddressesAndNoOther) {
    std::set<Int32> ids;
    std::set<std::pair<SettingGroup, Int32>> codes;
    std::set<std::string> keys;
    const auto rows = settingRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SettingRow& r = rows[i];
        const auto at = static_cast<Int32>(i);
        SCOPED_TRACE(std::string(groupName(r.group)) + "." + r.key + " " + r.label);
        EXPECT_TRUE(r.id == 0 || ids.insert(r.id).second) << "id twice: " << r.id;
        EXPECT_TRUE(r.code == 0 || codes.insert({r.group, r.code}).second) << "code twice";
        EXPECT_TRUE(!*r.key || keys.insert(std::string(groupName(r.group)) + "." + r.key).second) << "key twice";
        EXPECT_TRUE(*r.key || r.code || r.id) << "no address at all";
        EXPECT_STRNE(r.label, "");
        if (r.id) {
            EXPECT_EQ(findSettingById(r.id), at);
        }
        if (r.code) {
            EXPECT_EQ(findSettingByCode(r.group, r.code), at);
        }
        if (*r.key) {
            EXPECT_EQ(findSetting(r.group, r.key), at);
        }
        if (r.pass) {
            EXPECT_EQ(findSetting(SettingGroup::Pass, String::IntToString(r.pass)), at);
        }
        if (r.minimum != r.maximum) {
            EXPECT_GE(r.record, r.minimum);
            EXPECT_LE(r.record, r.maximum);
            EXPECT_GE(r.stored, r.minimum);
            EXPECT_LE(r.stored, r.maximum);
        }
    }
    EXPECT_EQ(findSetting(SettingGroup::Imager, "no such key"), -1);
}

TEST_F(SettingsTest, PinsExistOnTheirNodes) {
    auto& root = ApiProjectManager::rootNodeGraph();
    const std::pair<SettingGroup, NodeType> nodes[] = {
        {SettingGroup::Direct, NT_KERNEL_DIRECT}, {SettingGroup::Path, NT_KERNEL_PATH},
        {SettingGroup::Pmc, NT_KERNEL_PMC},       {SettingGroup::Info, NT_KERNEL_INFO},
        {SettingGroup::Imager, NT_IMAGER},        {SettingGroup::Post, NT_POST_PROCESSING},
        {SettingGroup::Pass, NT_RENDER_PASSES}};
    for (const auto& [group, type] : nodes) {
        ApiNode* node = createNode(type, root);
        for (const SettingRow& r : settingRows())
            EXPECT_TRUE(r.group != group || !r.pin || node->hasPin(static_cast<PinId>(r.pin)))
                << groupName(group) << " " << r.label;
    }
}

TEST_F(SettingsTest, EverythingStoredComesBack) {
    for (const SettingRow& r : settingRows()) {
        if (!r.id) continue;
        if (r.type == SettingType::Colour)
            settings.setColour(groupName(r.group), r.key, {0.1, 0.2, 0.3}, false);
        else
            EXPECT_TRUE(settings.setValueById(r.id, otherValue(r), false)) << r.id;
    }
    RenderSettings read;
    read.setDocument(doc, true);
    ASSERT_TRUE(read.readFromDocument(false)) << "setting a value writes the document's container";
    for (const SettingRow& r : settingRows()) {
        if (!r.id) continue;
        if (r.type == SettingType::Colour) {
            EXPECT_EQ(read.colour(r.id), Vector(0.1, 0.2, 0.3));
        } else {
            EXPECT_DOUBLE_EQ(read.number(r.id), otherValue(r)) << r.id << " " << r.label;
        }
    }
}

TEST_F(SettingsTest, DefaultsOfRecordAndOfContainer) {
    EXPECT_EQ(settings.kernel(), KERNEL_DIRECT);
    EXPECT_DOUBLE_EQ(settings.number(3009), 0.001);
    settings.readFromContainer(BaseContainer());
    EXPECT_DOUBLE_EQ(settings.number(3009), 0.0001);
    EXPECT_DOUBLE_EQ(settings.number(3063), 64000);
    EXPECT_EQ(settings.environmentColour(), Vector(0.9));
}

TEST_F(SettingsTest, AnOldSettingsObjectIsTakenOver) {
    BaseObject* old = addNull("myLumoraSettings");
    old->GetDataInstance()->SetInt32(3063, 77);
    old->GetDataInstance()->SetInt32(5000, 1);  // beyond the settings
    ASSERT_TRUE(settings.readFromDocument(true));
    EXPECT_DOUBLE_EQ(settings.number(3063), 77);
    EXPECT_FALSE(settings.container()->Has(5000));
    EXPECT_EQ(settings.container()->GetInt32(SETTING_STORED_VERSION), kPluginVersionStamp);
}

TEST_F(SettingsTest, SettingsReachTheirPins) {
    settings.setKernel(KERNEL_PATH, false);
    settings.setValueByKey("Pt", "maxsamples", 33, false);
    settings.setValueByCode("Pt", fourCC('A', 'C', 'H', 'N'), 1, false);
    settings.setValueByKey("Ci", "exposure", 1.5, false);
    settings.setColour("Ci", "wBalance", {1, 0.5, 0.25}, false);
    EXPECT_TRUE(settings.applyAll());
    ASSERT_TRUE(kernel());
    EXPECT_EQ(kernel()->type(), NT_KERNEL_PATH);
    EXPECT_EQ(kernel()->getPinInt(P_MAX_SAMPLES), 33);
    EXPECT_TRUE(kernel()->getPinBool(P_ALPHA_CHANNEL));
    ApiNode* imager = target->connectedNode(P_IMAGER);
    EXPECT_FLOAT_EQ(imager->getPinFloat(P_EXPOSURE), 1.5f);
    EXPECT_EQ(imager->getPinFloat3(P_WHITE_POINT), (Float3{1, 0.5f, 0.25f}));

    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(settings.applyAll());
    EXPECT_EQ(writes(), 0u) << "nothing changed, nothing is written";
    settings.setValueByKey("Pt", "maxsamples", 33, true);
    EXPECT_EQ(writes(), 0u) << "a setting set to its value writes nothing";
    settings.setValueByKey("Pt", "maxsamples", 34, true);
    EXPECT_EQ(writes(), 1u);
    EXPECT_EQ(Lumora::ApiWriteJournal::count(Lumora::JOURNAL_PIN, kernel(), P_MAX_SAMPLES), 1u);
}

TEST_F(SettingsTest, KernelsStayAndOnlyTheConnectionChanges) {
    settings.setKernel(KERNEL_PATH, false);
    settings.applyAll();
    ApiNode* path = kernel();
    settings.setKernel(KERNEL_DIRECT, true);
    EXPECT_EQ(kernel()->type(), NT_KERNEL_DIRECT);
    settings.setKernel(KERNEL_PATH, true);
    EXPECT_EQ(kernel(), path);
}

TEST_F(SettingsTest, RulesBeyondAPlainCopy) {
    settings.setKernel(KERNEL_DIRECT, false);
    for (const auto& [stored, pin] : {std::pair{0, 0}, {1, 3}, {2, 4}}) {
        settings.setValueByKey("DL", "gimod", stored, true);
        EXPECT_EQ(kernel()->getPinInt(P_GI_MODE), pin);
    }
    settings.setValueByCode("DL", fourCC('L', 'I', 'D', 'A'), 1, true);
    EXPECT_EQ(kernel()->getPinInt(P_LIGHT_IDS_ACTION), 0);
    settings.setValueByCode("DL", fourCC('L', 'I', 'D', '3'), 2, true);  // the low bit is 0
    EXPECT_EQ(kernel()->connectedNode(P_LIGHT_IDS)->getInt(A_VALUE), 1023 & ~(1 << 4));
    settings.setValueByCode("DL", fourCC('A', 'S', 'P', 'X'), 3, true);
    EXPECT_EQ(kernel()->getPinInt(P_PIXEL_GROUPING), 2) << "details of adaptive sampling wait until it is on";
    settings.setValueByCode("DL", fourCC('A', 'S', 'M', 'P'), 1, true);
    EXPECT_EQ(kernel()->getPinInt(P_PIXEL_GROUPING), 4);

    BaseContainer old;
    old.SetInt32(SETTING_STORED_VERSION, 2150000);
    settings.readFromContainer(old);
    settings.applyImager();
    EXPECT_NEAR(target->connectedNode(P_IMAGER)->getPinFloat(P_EXPOSURE), 0.1 * 118 / 255 * 100 / 7.84, 1e-6);
}

TEST_F(SettingsTest, TextsOfAPerson) {
    struct Case {
        const char *key, *value;
        bool taken;
    };
    const Case cases[] = {
        {"kernel", "path", true},
        {"samples", "17", true},
        {"Ci.exposure", "0.5", true},
        {"Pt.ASMP", "1", true},
        {"Other.envClr", "0, 0.5, 1", true},
        {"Ci.no such", "1", false},
        {"samples", "many", false},
        {"samples", "1.5", false},
        {"samples", "0", false},
        {"Ci.exposure", "nan", false},
        {"Ci.exposure", "1e9", false},
        {"Pt.alphachan", "2", false},
        {"Other.envClr", "red", false},
        {"", "", false},
    };
    for (const Case& c : cases) {
        String error;
        EXPECT_EQ(settings.setFromText(c.key, c.value, &error), c.taken) << c.key << " " << c.value;
        EXPECT_EQ(error.Content(), !c.taken);
    }
    EXPECT_EQ(settings.kernel(), KERNEL_PATH);
    EXPECT_EQ(settings.maxSamples(), 17);
    // What the list shows can be typed back.
    for (const RendererSetting& s : settings.list()) {
        String error;
        EXPECT_TRUE(settings.setFromText(s.key, s.value, &error)) << s.key.c_str() << " " << error.c_str();
    }
}

TEST_F(SettingsTest, WithoutATargetNothingHappens) {
    ApiProjectManager::resetProject();
    EXPECT_FALSE(settings.applyAll());
    settings.setDocument(nullptr, true);
    EXPECT_FALSE(settings.readFromDocument(true));
    EXPECT_TRUE(settings.setValueByKey("Ci", "exposure", 2, true)) << "the record takes it all the same";
}

}  // namespace

}  // namespace lumora::test
