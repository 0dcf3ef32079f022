// Instances from the host's document to the first picture: time and memory of each step, and what one moved costs.
//
//   lumora_bench_plugin_instances [number of instances]
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/scene_collector.h"
#include "plugin/core/send.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/instance_manager.h"
#include "tests/plugin/support/plugin_test.h"

namespace {

using namespace lumora;

double milliseconds() {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Memory of the process, in MB.
double resident() {
    long total = 0, pages = 0;
    std::ifstream("/proc/self/statm") >> total >> pages;
    return static_cast<double>(pages) * static_cast<double>(sysconf(_SC_PAGESIZE)) * 1e-6;
}

class Steps {
public:
    explicit Steps(double count) : count_(count) {}
    void step(const char* what) {
        const double now = milliseconds(), memory = resident();
        std::printf("%-34s %9.1f ms   %8.1f MB more, %6.0f bytes an instance\n", what, now - time_, memory - memory_,
                    (memory - memory_) * 1e6 / count_);
        std::fflush(stdout);
        time_ = milliseconds();
        memory_ = memory;
    }

private:
    double count_, time_ = milliseconds(), memory_ = resident();
};

class Bench : public test::PluginTest {
public:
    void TestBody() override {}
    void run(Int32 count) {
        start();
        Steps steps(count);
        BaseDocument* document = test::makeLitCube();
        BaseObject* base = BaseObject::Alloc(Osphere);
        document->AppendObject(base);
        std::vector<BaseObject*> instances;
        const auto side = static_cast<Int32>(std::sqrt(count)) + 1;
        for (Int32 i = 0; i < count; ++i) {
            BaseObject* object = BaseObject::Alloc(Oinstance);
            object->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, base);
            object->SetAbsPos(Vector(i % side * 250.0, -300, i / side * 250.0));
            document->AppendObject(object);
            instances.push_back(object);
        }
        steps.step("document");
        document->ExecutePasses(true, true, true);
        steps.step("evaluation");
        InsertBaseDocument(document);
        SetActiveDocument(document);
        live().renderWidth = 640;
        live().renderHeight = 360;
        live().openLiveViewer();
        steps.step("engine started");
        globals().newImage = false;
        if (!startLiveRender(live(), false)) std::printf("the send was refused\n");
        steps.step("send");
        waitFor([] { return globals().newImage.load(); });
        steps.step("first picture after the send");

        // What follows is measured without the render beside it.
        pauseLocked(live());
        waitFor([] { return false; }, 1.0);
        steps.step("a second later");
        InstanceManager& manager = *singletons().instances;
        const InstanceOptions options = instanceOptions(live());
        SceneCollections found;
        collectScene(document, found, CollectOptions{});
        steps.step("first walk");
        collectScene(document, found, CollectOptions{});
        steps.step("walk");
        manager.check(document, found.instances, options);
        steps.step("check, none moved");
        // One moved, the best of many.
        double evaluation = 1e30, walk = 1e30, check = 1e30, build = 1e30, engine = 1e30;
        const auto timed = [](double& best, const auto& what) {
            const double before = milliseconds();
            what();
            best = std::min(best, milliseconds() - before);
        };
        for (int round = 0; round < 20; ++round) {
            instances[instances.size() / 2]->SetAbsPos(Vector(round, 100, 0));
            timed(evaluation, [&] { document->ExecutePasses(true, true, true); });
            timed(walk, [&] { collectScene(document, found, CollectOptions{}); });
            timed(check, [&] { manager.check(document, found.instances, options); });
            timed(build,
                  [&] { manager.buildInstances(document, live().mainGroup, 5, found.instances, options, false); });
            const auto level = live().builtChangeLevel.load();
            timed(engine, [&] {
                Lumora::ApiChangeManager::update();
                while (live().builtChangeLevel == level) GeSleep(1);
            });
        }
        std::printf("one moved, best of 20: evaluation %.1f, walk %.1f, check %.1f, build %.1f, engine %.1f ms\n",
                    evaluation, walk, check, build, engine);
        continueLocked(live());
        end();
    }
};

}  // namespace

int main(int argc, char** argv) {
    Bench().run(argc > 1 ? std::atoi(argv[1]) : 100'000);
    return 0;
}
