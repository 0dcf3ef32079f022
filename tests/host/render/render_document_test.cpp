#include <gtest/gtest.h>

#include <functional>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/host_sdk.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

constexpr Int32 kFilter = 990200, kRenderer = 990201;

struct Script {
    std::vector<std::string> calls;
    std::function<RenderResult(VideoPostStruct&)> answer;
};
Script* script = nullptr;

class TestRenderer final : public VideoPostData {
    UInt32 GetRenderInfo(BaseVideoPost* node) override {
        return node->GetType() == kRenderer ? UInt32(VPINFO_RENDERER) : 0;
    }
    void AllocateBuffers(BaseVideoPost*, Render* render, BaseDocument*) override {
        render->GetMultipass()->AddPass("depth");
        script->calls.emplace_back("buffers");
    }
    RenderResult Execute(BaseVideoPost*, VideoPostStruct* vps) override {
        static const char* const kPhases[] = {"sequence", "frame", "inner"};
        script->calls.push_back(std::string(kPhases[static_cast<int>(vps->phase)]) + (vps->open ? "+" : "-") +
                                std::to_string(vps->time.GetFrame(vps->fps)));
        return script->answer ? script->answer(*vps) : RenderResult::Ok;
    }
};

class Rendering : public testing::Test {
protected:
    void SetUp() override {
        script = &steps;
        const auto make = [] { return std::make_unique<TestRenderer>(); };
        ASSERT_TRUE(RegisterVideoPostPlugin(kFilter, "filter", 0, make, nullptr, 0));
        ASSERT_TRUE(RegisterVideoPostPlugin(kRenderer, "renderer", 0, make, nullptr, 0));
        document.reset(BaseDocument::Alloc());
        object = BaseObject::Alloc(Ocube);
        document->InsertObject(object);
        settings = document->GetActiveRenderData()->GetData();
    }
    void TearDown() override {
        document.reset();
        removeRegistrations(0);
    }
    RenderResult render(C4DThread* thread = nullptr, UInt32 flags = 0) {
        steps.calls.clear();
        return RenderDocument(document.get(), settings, bitmap, report, flags, thread, &error);
    }

    test::ScratchFolder folder;
    test::TestApplication app{folder.path()};
    Script steps;
    std::unique_ptr<BaseDocument> document;
    BaseObject* object = nullptr;
    BaseContainer settings;
    MultipassBitmap bitmap{8, 4};
    RenderReport report;
    String error;
};

TEST_F(Rendering, PhasesComeInOrderOnAnEvaluatedCopy) {
    settings.SetTime(RDATA_FRAMEFROM, BaseTime::FromFrame(3, document->GetFps()));
    settings.SetTime(RDATA_FRAMETO, BaseTime::FromFrame(5, document->GetFps()));
    settings.SetInt32(RDATA_FRAMESTEP, 2);
    Bool copied = true, evaluated = true;
    steps.answer = [&](VideoPostStruct& vps) {
        copied = copied && vps.doc != document.get() && vps.doc->GetTime() == vps.time;
        evaluated = evaluated && vps.doc->GetFirstObject()->GetCache();
        const Float32 pixel[4] = {1, 2, 3, 1};
        vps.render->GetBuffer(VPBUFFER_RGBA)->SetLine(7, 3, 1, pixel);
        return RenderResult::Ok;
    };
    EXPECT_EQ(render(), RenderResult::Ok) << error.c_str();
    EXPECT_EQ(steps.calls,
              (std::vector<std::string>{"buffers", "sequence+3", "frame+3", "inner+3", "inner-3", "frame-3", "frame+5",
                                        "inner+5", "inner-5", "frame-5", "sequence-5"}));
    EXPECT_TRUE(copied);
    EXPECT_TRUE(evaluated);
    EXPECT_EQ(object->GetCache(), nullptr) << "the caller's document was evaluated";
    Float32 line[4];
    bitmap.GetBeauty()->GetLine(7, 3, 1, line);
    EXPECT_EQ(line[2], 3);
    EXPECT_EQ(bitmap.Buffers().at(1)->GetName().str(), "depth");
}

TEST_F(Rendering, EveryOpenedPhaseIsClosedAfterAFailure) {
    const auto failAt = [&](VpPhase phase, RenderResult result, const char* text) {
        steps.answer = [=](VideoPostStruct& vps) {
            if (vps.phase != phase || !vps.open) return RenderResult::Ok;
            vps.errorText = text;
            return result;
        };
        return render();
    };
    EXPECT_EQ(failAt(VpPhase::Inner, RenderResult::Failed, "The lamp is broken."), RenderResult::Failed);
    EXPECT_EQ(error.str(), "The lamp is broken.");
    EXPECT_EQ(steps.calls, (std::vector<std::string>{"buffers", "sequence+0", "frame+0", "inner+0", "inner-0",
                                                     "frame-0", "sequence-0"}));
    EXPECT_EQ(failAt(VpPhase::FrameSequence, RenderResult::UserBreak, ""), RenderResult::UserBreak);
    EXPECT_FALSE(error.IsEmpty());
    EXPECT_EQ(steps.calls, (std::vector<std::string>{"buffers", "sequence+0", "sequence-0"}));
    steps.answer = [](VideoPostStruct& vps) -> RenderResult {
        if (vps.phase == VpPhase::Frame) throw std::runtime_error("out of paint");
        return RenderResult::Ok;
    };
    EXPECT_EQ(render(), RenderResult::Failed);
    EXPECT_NE(error.str().find("out of paint"), std::string::npos);
}

TEST_F(Rendering, AStopOfTheThreadIsABreak) {
    class Stopped final : public C4DThread {
        void Main() override {}
        const char* GetThreadName() override { return ""; }
        Bool TestDBreak() override { return stop; }

    public:
        bool stop = false;
    } thread;
    steps.answer = [&](VideoPostStruct& vps) {
        thread.stop = thread.stop || vps.phase == VpPhase::Inner;
        return RenderResult::Ok;
    };
    settings.SetTime(RDATA_FRAMETO, BaseTime(100.0));
    EXPECT_EQ(render(&thread), RenderResult::UserBreak);
    thread.stop = true;
    steps.answer = {};
    EXPECT_EQ(render(&thread), RenderResult::UserBreak);
    EXPECT_EQ(steps.calls, (std::vector<std::string>{"buffers", "sequence+0", "sequence-0"}));
}

TEST_F(Rendering, TheRendererIsTheNamedOneOrTheFirstThatIsOne) {
    settings.SetInt32(RDATA_RENDERENGINE, 0);
    EXPECT_EQ(render(), RenderResult::Ok) << "the filter, registered first, is none";
    settings.SetInt32(RDATA_RENDERENGINE, kFilter);
    EXPECT_EQ(render(), RenderResult::NoRenderer);
    EXPECT_TRUE(steps.calls.empty());
    settings.SetInt32(RDATA_RENDERENGINE, 4711);
    EXPECT_EQ(render(), RenderResult::NoRenderer);
    EXPECT_NE(error.str().find("4711"), std::string::npos);
    EXPECT_EQ(document->GetActiveRenderData()->GetFirstVideoPost(), nullptr) << "the post stands in the copy only";

    settings.SetInt32(RDATA_RENDERENGINE, kRenderer);
    BaseVideoPost* post = BaseVideoPost::Alloc(kRenderer);
    document->GetActiveRenderData()->InsertVideoPost(post);
    EXPECT_EQ(render(nullptr, RENDERFLAGS_NO_CLONE), RenderResult::Ok);
    EXPECT_EQ(document->GetActiveRenderData()->GetFirstVideoPost(), post);
    EXPECT_EQ(post->GetNext(), nullptr) << "the document's own post is used";
    EXPECT_NE(object->GetCache(), nullptr);
}

TEST(PictureBuffer, LinesOutsideAreCut) {
    VPBuffer buffer(VPBUFFER_RGBA, "", 4, 2);
    std::vector<Float32> line(16 * 4, 0.5F), back(6 * 4, 9.0F);
    buffer.SetLine(-3, 0, 16, line.data());
    for (const Int32 y : {-1, 2, 1000000}) buffer.SetLine(0, y, 4, line.data());
    buffer.SetLine(2147483647, 0, 2147483647, line.data());
    buffer.GetLine(-1, 0, 6, back.data());
    EXPECT_EQ(back[0], 0);
    EXPECT_EQ(back[4], 0.5F);
    EXPECT_EQ(back[5 * 4], 0);
    buffer.GetLine(0, 1, 4, back.data());
    EXPECT_EQ(back[0], 0);
    EXPECT_FALSE(buffer.IsDisplayReferred());
    const UChar bytes[8] = {255, 0, 51, 255, 1, 2, 3, 4};
    buffer.SetLine8(3, 1, 2, bytes);
    buffer.GetLine(3, 1, 1, back.data());
    EXPECT_EQ(back[0], 1);
    EXPECT_FLOAT_EQ(back[2], 0.2F);
    EXPECT_TRUE(buffer.IsDisplayReferred());
}

}  // namespace
}  // namespace host
