// A document with instances, and passes of the manager over it.
#pragma once

#include <set>

#include "plugin/core/scene_collector.h"
#include "plugin/core/session.h"
#include "plugin/geometry/instance_manager.h"
#include "tests/plugin/scene_fixture.h"

namespace lumora::test {

class InstanceTest : public SceneTest {
protected:
    using Journal = Lumora::ApiWriteJournal;

    InstanceTest() : mainGroup(createNode(NT_GEO_GROUP, ApiProjectManager::rootNodeGraph(), "Main Group")) {
        setAttrIfChanged(mainGroup, A_GROUP_PIN_COUNT, 8);
    }
    BaseObject* addInstance(BaseObject* base, const Vector& at = {}, BaseObject* parent = nullptr) {
        BaseObject* object = BaseObject::Alloc(Oinstance);
        object->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, base);
        add(object, parent);
        object->SetMl(MatrixMove(at));
        return object;
    }
    /// Builds with these instances alone.
    void build(const std::vector<BaseObject*>& objects) {
        records.clear();
        for (BaseObject* o : objects) records.push_back(record(o));
        EXPECT_EQ(manager.buildInstances(doc, mainGroup, kPin, records, options, false), kPin + 1);
    }
    /// A check of the whole document and, when it asks for one, a build. Counts writes from here.
    Int32 pass() {
        doc->ExecutePasses(true, true, true);
        collectScene(doc, collections, CollectOptions{});
        const Int32 flags = manager.check(doc, collections.instances, options);
        Journal::reset();
        if (flags) manager.buildInstances(doc, mainGroup, kPin, collections.instances, options, false);
        return flags;
    }

    ApiNode* scatterOf(unsigned base) const { return mainGroup->connectedNodeIx(kPin)->connectedNodeIx(base); }
    static ApiNode* child(const ApiNode* scatter, unsigned index) {
        return scatter->connectedNode(P_GEOMETRY)->connectedNodeIx(index);
    }
    static int childCount(const ApiNode* scatter) {
        return scatter->connectedNode(P_GEOMETRY)->getInt(A_GROUP_PIN_COUNT);
    }
    ApiNode* meshOf(unsigned base, unsigned index = 0) const {
        return child(scatterOf(base), index)->connectedNode(P_GEOMETRY);
    }
    static std::vector<EngineMatrix> matrices(const ApiNode* scatter) {
        const auto a = scatter->getMatrixArray(A_TRANSFORM);
        return {a.begin(), a.end()};
    }
    static std::size_t items() {
        Lumora::ApiItemArray array;
        ApiProjectManager::rootNodeGraph().getOwnedItems(array);
        return array.size();
    }

    static constexpr unsigned kPin = 5;
    ApiNode* mainGroup;
    InstanceOptions options{.scale = 0.5f};
    InstanceManager manager{materials};
    SceneCollections collections;
    std::vector<SceneObjectInfo> records;
};

}  // namespace lumora::test
