#include "host/runtime/events.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <thread>

#include "host/runtime/plugin_registry.h"
#include "host/sdk/host_sdk.h"
#include "tests/host/scratch.h"

namespace host {
namespace {

struct Seen {
    Int32 id;
    UInt64 a, b;
    friend bool operator==(const Seen&, const Seen&) = default;
};

class Recorder final : public MessageData {
public:
    Int32 GetTimer() override { return interval; }
    Bool CoreMessage(Int32 id, const BaseContainer& message) override {
        onMainThread = onMainThread && GeIsMainThread();
        if (id == EVMSG_TIMER) {
            ++ticks;
        } else {
            seen.push_back({id, static_cast<UInt64>(message.GetInt64(BFM_CORE_PAR1)),
                            static_cast<UInt64>(message.GetInt64(BFM_CORE_PAR2))});
        }
        if (answer) answer(id);
        return true;
    }
    Int32 interval = 0, ticks = 0;
    bool onMainThread = true;
    std::vector<Seen> seen;
    std::function<void(Int32)> answer;
};

class Events : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(RegisterMessagePlugin(990100, "recorder", 0, &recorder)); }
    void TearDown() override { removeRegistrations(0); }

    test::ScratchFolder folder;
    test::TestApplication app{folder.path()};
    Recorder recorder;
};

TEST_F(Events, EqualPostsThatWaitAreDeliveredOnceAndInOrder) {
    SpecialEventAdd(5, 1);
    SpecialEventAdd(6);
    SpecialEventAdd(5, 1);
    SpecialEventAdd(5, 2);
    SpecialEventAdd(5, 1, 1);
    EXPECT_TRUE(app.application->processEvents());
    EXPECT_EQ(recorder.seen, (std::vector<Seen>{{5, 1, 0}, {6, 0, 0}, {5, 2, 0}, {5, 1, 1}}));
    EXPECT_FALSE(app.application->processEvents());

    SpecialEventAdd(5, 1);  // delivered before: it counts again
    app.application->processEvents();
    EXPECT_EQ(recorder.seen.size(), 5U);
}

TEST_F(Events, WhatADeliveryPostsWaitsForTheNextRound) {
    recorder.answer = [](Int32 id) { SpecialEventAdd(id); };
    SpecialEventAdd(7);
    EXPECT_TRUE(app.application->processEvents());
    EXPECT_EQ(recorder.seen.size(), 1U);
    EXPECT_TRUE(app.application->processEvents());
    EXPECT_EQ(recorder.seen.size(), 2U);
}

TEST_F(Events, ANestedCallDeliversNothing) {
    Bool nested = true;
    recorder.answer = [&](Int32) {
        SpecialEventAdd(99);
        nested = app.application->processEvents();
    };
    SpecialEventAdd(7);
    app.application->processEvents();
    EXPECT_FALSE(nested);
    EXPECT_EQ(recorder.seen.size(), 1U);
}

TEST_F(Events, PostsOfManyThreadsAllArriveInEachThreadsOrder) {
    constexpr UInt64 kThreads = 4, kPosts = 500;
    std::vector<std::jthread> threads;
    for (UInt64 thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (UInt64 i = 0; i < kPosts; ++i) SpecialEventAdd(50, thread, i);
        });
    }
    EXPECT_TRUE(app.application->runUntil([&] { return recorder.seen.size() == kThreads * kPosts; }, 30));
    std::vector<UInt64> next(kThreads);
    for (const Seen& event : recorder.seen) EXPECT_EQ(event.b, next[event.a]++);
    EXPECT_TRUE(recorder.onMainThread);
}

TEST_F(Events, ChangesBecomeOneAndAreToldAfterCachesAreBuilt) {
    BaseDocument* document = BaseDocument::Alloc();
    InsertBaseDocument(document);
    SetActiveDocument(document);
    BaseObject* cube = BaseObject::Alloc(Ocube);
    document->InsertObject(cube);
    app.application->processEvents();
    recorder.seen.clear();
    Bool cached = false;
    recorder.answer = [&](Int32 id) { cached = cached || (id == EVMSG_CHANGE && cube->GetCache()); };
    for (Int32 i = 0; i < 10; ++i) EventAdd();
    app.application->processEvents();
    EXPECT_EQ(std::count(recorder.seen.begin(), recorder.seen.end(), Seen{EVMSG_CHANGE, 0, 0}), 1);
    EXPECT_TRUE(cached);
}

TEST_F(Events, TimersTickUntilTheirIntervalIsZero) {
    recorder.interval = 1;
    EXPECT_TRUE(app.application->runUntil([&] { return recorder.ticks >= 3; }, 30));
    recorder.interval = 0;
    app.application->runUntil([] { return false; }, 0.02);  // the tick that was set before
    const Int32 before = recorder.ticks;
    EXPECT_FALSE(app.application->runUntil([] { return false; }, 0.05));
    EXPECT_EQ(recorder.ticks, before);
}

TEST_F(Events, SceneHooksDrawBothPassesOnEachRedraw) {
    static std::vector<Int32> passes;
    passes.clear();
    class Hook final : public SceneHookData {
        Bool Draw(BaseList2D*, BaseDocument* document, BaseDraw* view, Int32 pass) override {
            if (document == GetActiveDocument() && view == document->GetActiveBaseDraw()) passes.push_back(pass);
            DrawViews();  // from inside a redraw: refused
            return true;
        }
    };
    ASSERT_TRUE(RegisterSceneHookPlugin(
        990101, "hook", 0, [] { return std::make_unique<Hook>(); }, 0));
    EXPECT_FALSE(DrawViews()) << "no document is open";
    BaseDocument* document = BaseDocument::Alloc();
    InsertBaseDocument(document);
    SetActiveDocument(document);
    EXPECT_TRUE(DrawViews());
    EXPECT_EQ(passes, (std::vector<Int32>{0, 1}));
    app.application->end();
}

TEST(Threads, EndAsksAndWaits) {
    class Worker final : public C4DThread {
    public:
        ~Worker() override { End(); }
        void Main() override {
            while (!TestBreak()) GeSleep(1);
            left = true;
        }
        const char* GetThreadName() override { return "a name longer than the system takes"; }
        std::atomic<bool> left{false};
    } worker;
    EXPECT_FALSE(worker.IsRunning());
    for (Int32 round = 0; round < 2; ++round) {
        worker.left = false;
        EXPECT_TRUE(worker.Start(ThreadPriority::Below));
        EXPECT_FALSE(worker.Start());
        EXPECT_TRUE(worker.IsRunning());
        worker.End();
        EXPECT_TRUE(worker.left);
        EXPECT_FALSE(worker.IsRunning());
    }
}

}  // namespace
}  // namespace host
