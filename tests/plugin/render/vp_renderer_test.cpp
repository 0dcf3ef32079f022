// Final pictures, from a document to the host's buffers.
#include "plugin/render/vp_renderer.h"

#include <algorithm>
#include <atomic>
#include <thread>

#include "host/sdk/render.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/singletons.h"
#include "plugin/render/render_settings.h"
#include "tests/plugin/support/graph_content.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

constexpr int kWidth = 64, kHeight = 48;

class VpRendererTest : public PluginTest {
protected:
    struct Picture {
        RenderResult result = RenderResult::Ok;
        String error;
        std::vector<float> pixels;
        bool displayReferred = false;
        std::vector<double> progress;

        double mean() const {
            double sum = 0;
            for (std::size_t i = 0; i < pixels.size(); i += 4) sum += pixels[i];
            return pixels.empty() ? 0 : sum / (static_cast<double>(pixels.size()) / 4);
        }
        /// Of all pixels those that light falls on, without what shines itself.
        double litShare() const {
            std::size_t lit = 0;
            for (std::size_t i = 0; i < pixels.size(); i += 4) lit += pixels[i] > 1e-3f && pixels[i] < 1 ? 1u : 0u;
            return 4.0 * static_cast<double>(lit) / static_cast<double>(std::max<std::size_t>(pixels.size(), 1));
        }
    };

    /// On a thread of its own, while this one delivers events.
    Picture render(BaseDocument* document, C4DThread* breaker = nullptr) {
        document->GetActiveRenderData()->GetDataInstance()->SetInt32(RDATA_RENDERENGINE, ID_LUMORA_VP_RENDERER);
        const BaseContainer data = document->GetActiveRenderData()->GetData();
        Picture picture;
        std::atomic<bool> done{false};
        std::thread thread([&] {
            MultipassBitmap bitmap(kWidth, kHeight);
            RenderReport report;
            report.progress = [&](Float fraction) { picture.progress.push_back(fraction); };
            picture.result = RenderDocument(document, data, bitmap, report, RENDERFLAGS_NONE, breaker, &picture.error);
            picture.pixels.resize(kWidth * kHeight * 4);
            for (int y = 0; y < kHeight; ++y)
                bitmap.GetBeauty()->GetLine(0, y, kWidth, &picture.pixels[static_cast<std::size_t>(y) * kWidth * 4]);
            picture.displayReferred = bitmap.GetBeauty()->IsDisplayReferred();
            done = true;
        });
        waitFor([&] { return done.load(); }, 120);
        thread.join();
        return picture;
    }

    BaseDocument* litCube(const char* samples, const char* depth = "2") {
        BaseDocument* document = makeLitCube();
        EXPECT_EQ(setRendererSetting(*app, document, "samples", samples).str(), "");
        EXPECT_EQ(setRendererSetting(*app, document, "depth", depth).str(), "");
        return document;
    }
};

TEST_F(VpRendererTest, LitCubeGivesAPictureThatRepeatsBitForBit) {
    BaseDocument* document = litCube("8");
    const Picture first = render(document);
    ASSERT_EQ(first.result, RenderResult::Ok) << first.error.c_str();
    EXPECT_FALSE(first.displayReferred);
    EXPECT_GT(first.mean(), 0.01);
    EXPECT_GT(first.litShare(), 0.05) << "no lamp is switched off by default";
    ASSERT_FALSE(first.progress.empty());
    EXPECT_EQ(first.progress.back(), 1.0);
    EXPECT_EQ(render(document).pixels, first.pixels);
    EXPECT_EQ(live().state(), LiveState::FinalEnded);
    EXPECT_FALSE(live().finalRender);
    Lumora::ApiItemArray items;
    Lumora::ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    EXPECT_EQ(items.size(), 0u);
    BaseDocument::Free(document);
}

TEST_F(VpRendererTest, EightBitPictureIsReadyForDisplay) {
    BaseDocument* document = litCube("4", "0");
    const Picture picture = render(document);
    ASSERT_EQ(picture.result, RenderResult::Ok) << picture.error.c_str();
    EXPECT_TRUE(picture.displayReferred);
    EXPECT_GT(picture.mean(), 0.01);
    BaseDocument::Free(document);
}

TEST_F(VpRendererTest, LiveRenderStandsBackAndStartsAnewAfterwards) {
    BaseDocument* document = litCube("4");
    startLive(document, kWidth, kHeight);
    const std::string graph = graphContent(Lumora::ApiRenderEngine::getRenderTargetNode());
    ASSERT_EQ(render(document).result, RenderResult::Ok);
    startLive(document, kWidth, kHeight);
    EXPECT_EQ(graphContent(Lumora::ApiRenderEngine::getRenderTargetNode()), graph);
}

TEST_F(VpRendererTest, SecondFinalRenderIsRefusedAndLeavesTheFirstAlone) {
    BaseDocument* document = litCube("4");
    live().finalRender = true;
    const Picture picture = render(document);
    EXPECT_EQ(picture.result, RenderResult::UserBreak);
    EXPECT_TRUE(picture.error.Content());
    EXPECT_TRUE(live().finalRender);
    live().finalRender = false;
    BaseDocument::Free(document);
}

/// Says stop once sampling runs.
class BreakWhenSampling : public C4DThread {
public:
    void Main() override {}
    const char* GetThreadName() override { return "break"; }
    Bool TestDBreak() override { return session()->state() == LiveState::Rendering && globals().newImage; }
};

TEST_F(VpRendererTest, BreakEndsALongRenderWithWhatThereIs) {
    BaseDocument* document = litCube("1000000");
    BreakWhenSampling breaker;
    const Picture picture = render(document, &breaker);
    EXPECT_EQ(picture.result, RenderResult::UserBreak);
    EXPECT_GT(picture.mean(), 0.0);
    EXPECT_FALSE(live().finalRender);
    BaseDocument::Free(document);
}

TEST_F(VpRendererTest, TimeLimitEndsTheFrameNormally) {
    BaseDocument* document = litCube("1000000");
    ASSERT_EQ(setRendererSetting(*app, document, "timelimit", "0.5").str(), "");
    const Picture picture = render(document);
    EXPECT_EQ(picture.result, RenderResult::Ok) << picture.error.c_str();
    EXPECT_GT(picture.mean(), 0.0);
    BaseDocument::Free(document);
}

TEST_F(VpRendererTest, SettingsAreListedSetAndRefused) {
    BaseDocument* document = makeLitCube();
    const struct {
        const char* key;
        const char* value;
        bool taken;
        const char* mentions;
    } rows[] = {
        {"samples", "32", true, ""},        {"kernel", "path", true, ""},       {"kernel", "direct", true, ""},
        {"depth", "0", true, ""},           {"depth", "1", false, "0, 2, 3"},   {"depth", "deep", false, "0, 2, 3"},
        {"samples", "0", false, "samples"}, {"sampels", "5", false, "samples"}, {"timelimit", "-1", false, "0"},
    };
    for (const auto& row : rows) {
        const String error = setRendererSetting(*app, document, row.key, row.value);
        EXPECT_EQ(error.IsEmpty(), row.taken) << row.key << "=" << row.value << ": " << error.c_str();
        EXPECT_GE(error.Find(row.mentions), 0) << error.c_str();
    }
    RendererSettingsCall list;
    list.renderer = ID_LUMORA_VP_RENDERER;
    list.document = document;
    ASSERT_TRUE(app->sendMessage(C4DPL_RENDERER_SETTINGS, &list));
    const auto value = [&](const char* key) {
        for (const RendererSetting& row : list.rows)
            if (row.key == key) return row.value;
        return String("missing");
    };
    EXPECT_STREQ(value("samples").c_str(), "32");
    EXPECT_STREQ(value("kernel").c_str(), "direct");
    EXPECT_STREQ(value("depth").c_str(), "0");
    list.renderer = 1;
    EXPECT_FALSE(app->sendMessage(C4DPL_RENDERER_SETTINGS, &list));
    BaseDocument::Free(document);
}

}  // namespace
}  // namespace lumora::test
