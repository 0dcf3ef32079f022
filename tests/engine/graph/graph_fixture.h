// A project of its own for each test, the journal on, and every log line kept.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engine/api/lumora_api.h"
#include "engine/graph/item.h"

namespace Lumora::engine {

class GraphTest : public testing::Test {
protected:
    GraphTest() {
        lines().clear();
        ApiLogManager::registerLogCallbackProc(&keep);
        root = ApiRootNodeGraph::create(4000021);
        ApiWriteJournal::reset();
        ApiWriteJournal::enable(true);
    }
    ~GraphTest() override {
        ApiWriteJournal::enable(false);
        root->destroy();
        ApiLogManager::unregisterLogCallbackProc(&keep);
    }

    static std::vector<std::string>& lines() {
        static std::vector<std::string> all;
        return all;
    }

    ApiNode* make(NodeType type, bool configure = true) { return ApiNode::create(type, *root, configure); }
    ApiNodeGraph* makeGraph() { return ApiNodeGraph::create(NG_STANDARD, *root); }
    Scene& scene() { return *Item::of(root)->scene; }
    static ItemUid uid(const ApiItem* item) { return Item::of(item)->uid; }

    /// A render target with a group of `pins` on its geometry pin, in force.
    ApiNode* makeTarget(ApiNode*& group, int pins) {
        ApiNode* target = make(NT_RENDER_TARGET);
        group = make(NT_GEO_GROUP);
        group->set(A_GROUP_PIN_COUNT, pins);
        target->connectTo(P_RENDER_GEOMETRY, group);
        setSceneTarget(scene(), Item::of(target)->node());
        return target;
    }
    SceneDelta delta() {
        SceneDelta d;
        takeDelta(scene(), d);
        return d;
    }
    static NodeRecordPtr recordOf(const SceneDelta& delta, const ApiItem* item) {
        for (const NodeRecordPtr& record : delta.changed) {
            if (record->uid == uid(item)) {
                return record;
            }
        }
        return nullptr;
    }

    ApiRootNodeGraph* root = nullptr;

private:
    static void keep(const char* line) { lines().push_back(line); }
};

}  // namespace Lumora::engine
