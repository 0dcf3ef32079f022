#include "plugin/render/render_settings.h"

#include <cmath>
#include <map>
#include <set>

#include "plugin/core/ids.h"
#include "plugin/core/prefs.h"
#include "plugin/core/windows.h"
#include "plugin/render/settings_text.h"
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
    std::set<Int32> ids, elements;
    std::set<std::pair<Int32, Int32>> bits;
    std::set<std::pair<SettingGroup, Int32>> codes;
    std::set<std::string> keys;
    const auto rows = settingRows();
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const SettingRow& r = rows[i];
        const auto at = static_cast<Int32>(i);
        SCOPED_TRACE(std::string(groupName(r.group)) + "." + r.key + " " + r.label);
        // Ten rows share a light id set, each with a bit of its own.
        const bool isBit = r.type == SettingType::Bit;
        EXPECT_TRUE(isBit ? bits.insert({r.id, r.bit}).second : ids.insert(r.id).second) << "id twice: " << r.id;
        EXPECT_GT(r.id, 0) << "every setting lasts";
        EXPECT_TRUE(r.code == 0 || codes.insert({r.group, r.code}).second) << "code twice";
        EXPECT_TRUE(!*r.key || keys.insert(std::string(groupName(r.group)) + "." + r.key).second) << "key twice";
        EXPECT_EQ(r.kind == kPassKind, r.pass != 0);
        EXPECT_TRUE(!r.element || elements.insert(r.element).second) << "control twice";
        EXPECT_STRNE(r.label, "");
        if (!isBit) {
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
            EXPECT_TRUE(r.group != group || !r.pin || r.home != PinHome::Group ||
                        node->hasPin(static_cast<PinId>(r.pin)))
                << groupName(group) << " " << r.label;
    }
    const std::pair<PinHome, NodeType> owned[] = {{PinHome::Layer, NT_RENDER_LAYER}, {PinHome::Lut, NT_LUT}};
    for (const auto& [home, type] : owned) {
        ApiNode* node = createNode(type, root);
        for (const SettingRow& r : settingRows())
            EXPECT_TRUE(r.home != home || node->hasPin(static_cast<PinId>(r.pin))) << r.label;
    }
}

TEST_F(SettingsTest, EverythingStoredComesBack) {
    const Vector tint(0.1, 0.2, 0.3);
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        EXPECT_TRUE(
            settings.setValueAt(static_cast<Int32>(i), {r.isNumber() ? otherValue(r) : 0, tint, "a b.cube"}, false));
    }
    RenderSettings read;
    read.setDocument(doc, true);
    ASSERT_TRUE(read.readFromDocument(false)) << "setting a value writes the document's container";
    for (std::size_t i = 0; i < settingRows().size(); ++i) {
        const SettingRow& r = settingRows()[i];
        const SettingValue& value = read.valueAt(static_cast<Int32>(i));
        if (r.type == SettingType::Colour) {
            EXPECT_EQ(value.colour, tint) << r.label;
        } else if (r.type == SettingType::File) {
            EXPECT_EQ(value.text, String("a b.cube"));
        } else {
            EXPECT_DOUBLE_EQ(value.number, otherValue(r)) << r.id << " " << r.label;
        }
    }
    for (Int32 id : {3219, 3222}) EXPECT_TRUE(settings.container()->Has(id));
    read.restoreDefaults();
    EXPECT_DOUBLE_EQ(read.number(3063), 64000);
    EXPECT_DOUBLE_EQ(read.container()->GetFloat(3009), 0.001);
}

TEST_F(SettingsTest, ReadingIsByGroupAndRefusesWhatNoPictureCanBeMadeOf) {
    BaseContainer bc;
    bc.SetInt32(SETTING_KERNEL, 99);
    bc.SetInt32(3063, 7);
    bc.SetFloat(SETTING_EXPOSURE, std::nan(""));
    bc.SetString(SETTING_GAMMA, "bright");
    bc.SetFloat(3086, 1e300);
    settings.readFromContainer(bc, groupBit(SettingGroup::Imager) | groupBit(SettingGroup::Kernel));
    EXPECT_EQ(settings.kernel(), KERNEL_INFO) << "the container's default";
    EXPECT_DOUBLE_EQ(settings.number(3063), 64000) << "not asked for";
    EXPECT_DOUBLE_EQ(settings.number(SETTING_EXPOSURE), 1.0);
    EXPECT_DOUBLE_EQ(settings.number(SETTING_GAMMA), 1.0);
    settings.readFromContainer(bc);
    EXPECT_DOUBLE_EQ(settings.number(3063), 7);
    EXPECT_DOUBLE_EQ(settings.number(3086), 64000);
}

TEST_F(SettingsTest, ALightIdWriteChangesItsBitOnly) {
    settings.ensureContainer();
    const Int32 set = SETTING_LIGHT_IDS;  // of the direct lighting kernel
    settings.container()->SetInt32(set, settings.container()->GetInt32(set) | 1 << 20);
    const Int32 before = settings.container()->GetInt32(set);
    settings.setValueById("DL", fourCC('L', 'I', 'D', '8'), 6, false);  // low bit 0
    EXPECT_EQ(settings.container()->GetInt32(set), before & ~(1 << 9));
    settings.setValueById("DL", fourCC('L', 'I', 'D', '8'), 7, false);
    EXPECT_EQ(settings.container()->GetInt32(set), before);
    settings.setValueById("Pmc", fourCC('L', 'L', 'I', 'E'), 1, false);
    EXPECT_EQ(settings.container()->GetInt32(set + 5), 1 << 1);
}

TEST_F(SettingsTest, UnknownAddressesChangeNothingAndStillWriteTheContainer) {
    EXPECT_FALSE(settings.setPass("", 12345, true, true));
    EXPECT_TRUE(settings.container());
    doc->GetDataInstance()->RemoveData(ID_LUMORA_SESSION);
    EXPECT_FALSE(settings.setValueByKey("Ci", "no such", 1, true));
    EXPECT_FALSE(settings.setValueById("none", fourCC('M', 'A', 'X', 'S'), 1, true));
    EXPECT_TRUE(settings.container());
    for (const SettingRow& r : settingRows())
        if (r.kind == kPassKind) {
            EXPECT_FALSE(settings.flag(r.id)) << r.label;
        }
    EXPECT_TRUE(settings.setValueByKey("Krn", "whatever", KERNEL_PMC, false));
    EXPECT_EQ(settings.kernel(), KERNEL_PMC);
    EXPECT_TRUE(settings.setValueByKey("pass", "1003", 1, false));
    EXPECT_TRUE(settings.flag(3335)) << "the depth pass";
}

TEST_F(SettingsTest, DefaultsOfRecordAndOfContainer) {
    EXPECT_EQ(settings.kernel(), KERNEL_DIRECT);
    EXPECT_DOUBLE_EQ(settings.number(3009), 0.001);
    settings.readFromContainer(BaseContainer());
    EXPECT_DOUBLE_EQ(settings.number(3009), 0.0001);
    EXPECT_DOUBLE_EQ(settings.number(3063), 64000);
    EXPECT_EQ(settings.environmentColour(), Vector(0.9));
}

/// Keeps what each control was told to show.
class RecordingDialog : public SessionWindow {
public:
    bool open(const WindowPlace&) override { return true; }
    bool isOpen() const override { return true; }
    void close() override {}
    void setText(Int32 element, const String& text) override { texts[element] = text.str(); }
    void setValue(Int32 element, Float value) override { values[element] = value; }
    void setColour(Int32 element, const Vector& colour) override { colours[element] = colour; }

    std::map<Int32, std::string> texts;
    std::map<Int32, Float> values;
    std::map<Int32, Vector> colours;
};

TEST_F(SettingsTest, TheDialogShowsEachValueInItsOwnControl) {
    settings.setValueByKey("DL", "maxsamples", 11, false);
    settings.setValueByKey("Pt", "maxsamples", 12, false);
    settings.setValueByKey("Pmc", "maxsamples", 13, false);
    settings.setValueByKey("Ic", "maxsamples", 14, false);
    settings.setValueById("Pt", fourCC('L', 'I', 'D', '8'), 0, false);
    settings.setValueById("DL", fourCC('L', 'L', 'I', 'E'), 1, false);
    settings.applyColour("Krn", "tShdAmb", {0.1, 0.2, 0.3}, false);
    settings.applyColour("Ci", "wBalance", {1, 0.5, 0.25}, false);
    settings.setFile("Ci", "lut", Filename("film.cube"), false);
    RecordingDialog dialog;
    settings.writeToDialog(dialog);
    for (const auto& [element, value] : {std::pair{13188, 11.0},
                                         {13239, 12.0},
                                         {13292, 13.0},
                                         {13333, 14.0},
                                         {13258, 1.0},
                                         {13267, 0.0},
                                         {13217, 0.0},
                                         {13218, 1.0},
                                         {13144, 401.0},
                                         {13172, 0.0}})
        EXPECT_TRUE(dialog.values.contains(element) && dialog.values[element] == value) << element;
    for (const Int32 element : {13167, 13168, 13169}) EXPECT_EQ(dialog.colours[element], Vector(0.1, 0.2, 0.3));
    EXPECT_EQ(dialog.colours[13155], Vector(1, 0.5, 0.25));
    EXPECT_EQ(dialog.texts[13156], "film.cube");
    // What the user can set in a kernel, the imager or post-processing and finds no control for.
    std::set<std::string> hidden;
    constexpr SettingGroups kPages = groupBit(SettingGroup::Direct) | groupBit(SettingGroup::Path) |
                                     groupBit(SettingGroup::Pmc) | groupBit(SettingGroup::Imager) |
                                     groupBit(SettingGroup::Post) | groupBit(SettingGroup::Info);
    for (const SettingRow& r : settingRows())
        if ((groupBit(r.group) & kPages) && r.element == 0) hidden.insert(r.key);
    EXPECT_EQ(hidden, (std::set<std::string>{"fstop", "iso", "volsteplen"}));
}

TEST_F(SettingsTest, OutOfCoreFollowsThePreferences) {
    using Engine = Lumora::ApiRenderEngine;
    PluginPrefs prefs;
    prefs.set(PREF_RAM_LIMIT, GeData(2.0));
    prefs.set(PREF_HEAD_ROOM, GeData(300.0));
    settings.apply(nullptr, &prefs);
    unsigned long long used = 0, limit = 0, textures = 0, geometry = 0, headRoom = 0;
    Engine::getOutOfCoreMemoryUsage(used, limit, textures, geometry, headRoom);
    EXPECT_TRUE(Engine::outOfCoreEnabled());
    EXPECT_EQ(limit, 2ull << 30);
    EXPECT_EQ(headRoom, 300ull << 20);
    prefs.set(PREF_OUT_OF_CORE, GeData(false));
    settings.apply(nullptr, nullptr);
    EXPECT_TRUE(Engine::outOfCoreEnabled()) << "without preferences it stays as it is";
    settings.apply(nullptr, &prefs);
    EXPECT_FALSE(Engine::outOfCoreEnabled());
}

TEST_F(SettingsTest, AnOldSettingsObjectIsTakenOver) {
    BaseObject* old = addNull("myLumoraSettings");
    old->GetDataInstance()->SetInt32(3063, 77);
    old->GetDataInstance()->SetInt32(5000, 1);  // beyond the settings
    addNull("myLumoraSettings", addNull("Parent"));
    for (const int value : {1, 2}) addNull("myLumoraSettings")->GetDataInstance()->SetInt32(3063, value);
    ASSERT_TRUE(settings.setValueByKey("Ci", "exposure", 2, false)) << "setting one value keeps the others";
    EXPECT_DOUBLE_EQ(settings.number(3063), 77);
    int left = 0;
    for (BaseObject* o = doc->GetFirstObject(); o; o = o->GetNext())
        left += o->GetName() == String("myLumoraSettings") ? 1 : 0;
    EXPECT_EQ(left, 1);
    EXPECT_FALSE(settings.container()->Has(5000));
    EXPECT_EQ(settings.container()->GetInt32(SETTING_STORED_VERSION), kPluginVersionStamp);
}

TEST_F(SettingsTest, SettingsReachTheirPins) {
    settings.setKernel(KERNEL_PATH, false);
    settings.setValueByKey("Pt", "maxsamples", 33, false);
    settings.setValueById("Pt", fourCC('A', 'C', 'H', 'N'), 1, false);
    settings.setValueByKey("Ci", "exposure", 1.5, false);
    settings.applyColour("Ci", "wBalance", {1, 0.5, 0.25}, false);
    EXPECT_TRUE(settings.apply(nullptr, nullptr));
    ASSERT_TRUE(kernel());
    EXPECT_EQ(kernel()->type(), NT_KERNEL_PATH);
    EXPECT_EQ(kernel()->getPinInt(P_MAX_SAMPLES), 33);
    EXPECT_TRUE(kernel()->getPinBool(P_ALPHA_CHANNEL));
    ApiNode* imager = target->connectedNode(P_IMAGER);
    EXPECT_FLOAT_EQ(imager->getPinFloat(P_EXPOSURE), 1.5f);
    EXPECT_EQ(imager->getPinFloat3(P_WHITE_POINT), (Float3{1, 0.5f, 0.25f}));

    Lumora::ApiWriteJournal::reset();
    EXPECT_FALSE(settings.apply(nullptr, nullptr));
    EXPECT_EQ(writes(), 0u) << "nothing changed, nothing is written";
    settings.setValueByKey("Pt", "maxsamples", 33, true);
    EXPECT_EQ(writes(), 0u) << "a setting set to its value writes nothing";
    settings.setValueByKey("Pt", "maxsamples", 34, true);
    EXPECT_EQ(writes(), 1u);
    EXPECT_EQ(Lumora::ApiWriteJournal::count(Lumora::JOURNAL_PIN, kernel(), P_MAX_SAMPLES), 1u);
}

TEST_F(SettingsTest, KernelsStayAndOnlyTheConnectionChanges) {
    settings.setKernel(KERNEL_PATH, false);
    settings.apply(nullptr, nullptr);
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
    settings.setValueById("DL", fourCC('L', 'I', 'D', 'A'), 1, true);
    EXPECT_EQ(kernel()->getPinInt(P_LIGHT_IDS_ACTION), 0);
    settings.setValueById("DL", fourCC('L', 'I', 'D', '3'), 2, true);  // the low bit is 0
    EXPECT_EQ(kernel()->connectedNode(P_LIGHT_IDS)->getInt(A_VALUE), 1023 & ~(1 << 4));
    settings.setValueById("DL", fourCC('A', 'S', 'P', 'X'), 3, true);
    EXPECT_EQ(kernel()->getPinInt(P_PIXEL_GROUPING), 2) << "details of adaptive sampling wait until it is on";
    settings.setValueById("DL", fourCC('A', 'S', 'M', 'P'), 1, true);
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
        {"Ci.response", "Portra_160NCCD", true},
        {"Ci.response", "403", true},
        {"Ci.response", "312", false},
        {"kernel", "fast", false},
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
        EXPECT_EQ(setFromText(settings, c.key, c.value, &error), c.taken) << c.key << " " << c.value;
        EXPECT_EQ(error.Content(), !c.taken);
    }
    EXPECT_EQ(settings.kernel(), KERNEL_PATH);
    EXPECT_EQ(settings.maxSamples(), 17);
    // What the list shows can be typed back.
    for (const RendererSetting& s : listSettings(settings)) {
        String error;
        EXPECT_TRUE(setFromText(settings, s.key, s.value, &error)) << s.key.c_str() << " " << error.c_str();
    }
}

TEST_F(SettingsTest, WithoutATargetNothingHappens) {
    ApiProjectManager::resetProject();
    EXPECT_FALSE(settings.apply(nullptr, nullptr));
    settings.setDocument(nullptr, true);
    EXPECT_FALSE(settings.readFromDocument(true));
    EXPECT_TRUE(settings.setValueByKey("Ci", "exposure", 2, true)) << "the record takes it all the same";
}

}  // namespace

}  // namespace lumora::test
