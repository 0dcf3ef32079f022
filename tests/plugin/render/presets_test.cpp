// The file of presets, and what a preset does to a document.
#include "plugin/render/presets.h"

#include <filesystem>
#include <fstream>

#include "plugin/core/ids.h"
#include "plugin/render/render_settings.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

namespace fs = std::filesystem;

class PresetsTest : public PluginTest {
protected:
    void SetUp() override {
        PluginTest::SetUp();
        document = BaseDocument::Alloc();
        settings.setDocument(document, false);
    }
    void TearDown() override {
        BaseDocument::Free(document);
        PluginTest::TearDown();
    }
    fs::path file() const { return fs::path(preferences.path().str()) / "presets.dat"; }
    void write(const std::string& bytes) const { std::ofstream(file(), std::ios::binary) << bytes; }
    std::string read() const {
        std::ifstream in(file(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    int keptAside() const {
        int count = 0;
        for (const auto& entry : fs::directory_iterator(preferences.path().str()))
            count += entry.path().filename().string().starts_with("presets.dat.broken") ? 1 : 0;
        return count;
    }
    RendererSettingsCall ask(RendererSettingsTask task, const char* preset) {
        RendererSettingsCall call;
        call.renderer = ID_LUMORA_VP_RENDERER;
        call.document = document;
        call.task = task;
        call.preset = preset;
        EXPECT_TRUE(app->sendMessage(C4DPL_RENDERER_SETTINGS, &call));
        return call;
    }

    BaseDocument* document = nullptr;
    RenderSettings settings;
};

TEST_F(PresetsTest, APresetPutsItsSettingsIntoAnotherDocument) {
    EXPECT_TRUE(readPresets().empty());
    settings.setKernel(KERNEL_PATH, false);
    settings.setValueByKey("Pt", "maxsamples", 77, false);
    settings.setValueById("Pt", fourCC('L', 'I', 'D', '2'), 0, false);
    settings.applyColour("Ci", "wBalance", {1, 0.5, 0.25}, false);
    ASSERT_TRUE(writePresets({makePreset(settings, "fine"), BaseContainer()}));

    std::vector<BaseContainer> presets = readPresets();
    ASSERT_EQ(presets.size(), 2u);
    EXPECT_EQ(presetName(presets[1]), String("name1")) << "the default name";
    EXPECT_EQ(presets[0].GetString(3000), String("fine"));
    ASSERT_TRUE(findPreset(presets, "fine"));
    EXPECT_FALSE(findPreset(presets, "Fine"));

    BaseDocument* other = BaseDocument::Alloc();
    RenderSettings target;
    target.setDocument(other, false);
    target.setValueByKey("Ci", "gamma", 2.0, false);
    ASSERT_TRUE(applyPreset(target, presets[0], false));
    RenderSettings fresh;
    fresh.setDocument(other, false);
    ASSERT_TRUE(fresh.readFromDocument(false));
    EXPECT_EQ(fresh.kernel(), KERNEL_PATH);
    EXPECT_EQ(fresh.maxSamples(), 77);
    EXPECT_EQ(fresh.number(SETTING_GAMMA), 1.0);
    EXPECT_EQ(fresh.colour(SETTING_WHITE_BALANCE), Vector(1, 0.5, 0.25));
    EXPECT_EQ(fresh.container()->GetInt32(SETTING_LIGHT_IDS + 2), 1023 & ~(1 << 3));
    EXPECT_FALSE(fresh.container()->Has(3000)) << "the name stays with the preset";
    BaseDocument::Free(other);
}

TEST_F(PresetsTest, AnOldPresetFillsWhatItHoldsAndLeavesTheDocumentsVersion) {
    BaseContainer old;
    old.SetInt32(SETTING_STORED_VERSION, 2150000);
    old.SetFloat(SETTING_EXPOSURE, 1.0);
    settings.setValueByKey("Pt", "maxsamples", 77, false);
    settings.applyColour("Ci", "wBalance", {1, 0.5, 0.25}, false);
    ASSERT_TRUE(applyPreset(settings, old, false));
    EXPECT_NEAR(settings.number(SETTING_EXPOSURE), 0.1 * 118 / 255 * 100 / 7.84, 1e-12);
    EXPECT_EQ(settings.number(3063), 77);
    EXPECT_EQ(settings.container()->GetInt32(SETTING_STORED_VERSION), kPluginVersionStamp);
}

TEST_F(PresetsTest, DamagedFilesAreKeptAsideAndGiveAnEmptyList) {
    ASSERT_TRUE(writePresets({makePreset(settings, "a"), makePreset(settings, "b")}));
    const std::string good = read();
    const std::string cases[] = {
        "",         "no preset",   good.substr(0, good.size() / 2), good.substr(0, good.size() - 1),
        good + "x", "temp" + good, std::string(5000, '\xFF')};
    int damaged = 0;
    for (const std::string& bytes : cases) {
        SCOPED_TRACE(bytes.size());
        write(bytes);
        EXPECT_TRUE(readPresets().empty());
        EXPECT_EQ(keptAside(), ++damaged);
        EXPECT_EQ(consoleCount("cannot be read"), damaged);
        EXPECT_FALSE(fs::exists(file()));
    }
    write(good);
    EXPECT_EQ(readPresets().size(), 2u);
    EXPECT_EQ(keptAside(), damaged);
}

TEST_F(PresetsTest, AFolderThatCannotBeWrittenIsSaidInTheLog) {
    fs::create_directory(file());
    EXPECT_FALSE(writePresets({BaseContainer()}));
    EXPECT_EQ(consoleCount("Can't Write Preset File: " + file().string()), 1);
}

TEST_F(PresetsTest, TheHostListsAppliesAndSaves) {
    using Task = RendererSettingsTask;
    EXPECT_TRUE(ask(Task::ListPresets, "").presets.empty());
    EXPECT_TRUE(ask(Task::SavePreset, "").error.Content());
    EXPECT_GE(ask(Task::ApplyPreset, "fine").error.Find("fine"), 0);
    settings.setValueByKey("Ci", "exposure", 3, false);
    EXPECT_TRUE(ask(Task::SavePreset, "fine").error.IsEmpty());
    settings.setValueByKey("Ci", "exposure", 4, false);
    EXPECT_TRUE(ask(Task::SavePreset, "rough").error.IsEmpty());
    settings.setValueByKey("Ci", "exposure", 5, false);
    EXPECT_TRUE(ask(Task::SavePreset, "fine").error.IsEmpty());
    EXPECT_EQ(ask(Task::ListPresets, "").presets, (std::vector<String>{"fine", "rough"}));

    BaseVideoPost* post = BaseVideoPost::Alloc(ID_LUMORA_VP_RENDERER);
    document->GetActiveRenderData()->InsertVideoPost(post);
    EXPECT_TRUE(ask(Task::ApplyPreset, "rough").error.IsEmpty());
    settings.readFromDocument(false);
    EXPECT_EQ(settings.number(SETTING_EXPOSURE), 4);
    EXPECT_EQ(post->GetDataInstance()->GetFloat(SETTING_EXPOSURE), 4) << "live renders read the post";
}

}  // namespace
}  // namespace lumora::test
