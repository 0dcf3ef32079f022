// After any series of edits, what the render side was told equals what a fresh look at the graph would tell it.
#include <algorithm>
#include <array>
#include <map>
#include <random>

#include "tests/engine/graph/graph_fixture.h"

namespace Lumora::engine {

namespace {

bool sameRecord(const NodeRecord& a, const NodeRecord& b) {
    const auto samePin = [](const PinRecord& x, const PinRecord& y) {
        return x.id == y.id && x.input == y.input && x.value == y.value;
    };
    const auto sameAttribute = [](const AttributeRecord& x, const AttributeRecord& y) {
        return x.id == y.id && x.value == y.value && x.sampling == y.sampling;
    };
    return a.type == b.type && a.staticPinCount == b.staticPinCount && a.reloads == b.reloads &&
           std::equal(a.pins.begin(), a.pins.end(), b.pins.begin(), b.pins.end(), samePin) &&
           std::equal(a.attributes.begin(), a.attributes.end(), b.attributes.begin(), b.attributes.end(),
                      sameAttribute);
}

class RandomEdits : public GraphTest, public testing::WithParamInterface<unsigned> {
protected:
    unsigned pick(std::size_t count) {
        return std::uniform_int_distribution<unsigned>(0, static_cast<unsigned>(count) - 1)(random_);
    }

    ApiNode* anyNode() {
        ApiNodeArray found;
        static constexpr NodeType kTypes[] = {NT_RENDER_TARGET, NT_GEO_GROUP,    NT_GEO_MESH,     NT_GEO_SCATTER,
                                              NT_GEO_LAYER_MAP, NT_OUT_GEOMETRY, NT_MAT_DIFFUSE,  NT_MAT_MIX,
                                              NT_OUT_MATERIAL,  NT_EMIS_TEXTURE, NT_TEX_RGB,      NT_TEX_FLOAT,
                                              NT_TEX_IMAGE,     NT_TEX_GRADIENT, NT_TEX_ADD,      NT_OUT_TEXTURE,
                                              NT_TRANSFORM_2D,  NT_FLOAT,        NT_CAM_THINLENS, NT_OBJECT_LAYER};
        for (int tries = 0; tries < 20; ++tries) {
            root->findNodes(kTypes[pick(std::size(kTypes))], found, true);
            if (found.size() > 0) {
                return found.get(pick(found.size()));
            }
        }
        return make(kTypes[pick(std::size(kTypes))]);
    }

    void create() {
        static constexpr NodeType kTypes[] = {NT_GEO_GROUP,    NT_GEO_MESH,   NT_GEO_SCATTER, NT_GEO_LAYER_MAP,
                                              NT_MAT_DIFFUSE,  NT_MAT_MIX,    NT_TEX_RGB,     NT_TEX_IMAGE,
                                              NT_TEX_GRADIENT, NT_TEX_ADD,    NT_FLOAT,       NT_OUT_GEOMETRY,
                                              NT_OUT_MATERIAL, NT_OUT_TEXTURE};
        ApiItemArray items;
        root->getOwnedItems(items);
        ApiNodeGraph* graph = nullptr;
        for (std::size_t i = 0; i < items.size() && !graph; ++i) {
            graph = items.get(i)->toGraph();
        }
        const NodeType type = kTypes[pick(std::size(kTypes))];
        if (graph && pick(3) == 0) {
            ApiNode::create(type, *graph, pick(2) == 0);
        } else if (!graph && pick(10) == 0) {
            makeGraph();
        } else {
            make(type, pick(2) == 0);
        }
    }

    void write(ApiNode* node) {
        static const char* kNames[] = {"a", "b", "c", "d", "e"};
        const float times[] = {0, 1};
        const Vec3<float> places[] = {{static_cast<float>(pick(3)), 0, 0}, {1, 1, 1}};
        const ApiTimeSampling sampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE);
        const bool now = pick(2) == 0;
        switch (pick(8)) {
            case 0:
                node->set(A_GROUP_PIN_COUNT, static_cast<int>(pick(5)), now);
                break;
            case 1:
                node->set(A_PIN_COUNT, static_cast<int>(pick(4)), now);
                break;
            case 2:
                std::shuffle(std::begin(kNames), std::end(kNames), random_);
                node->set(pick(2) == 0 ? A_MATERIAL_NAMES : A_OBJECT_NAMES, kNames, pick(6), now);
                break;
            case 3:
                node->set(A_VALUE, static_cast<float>(pick(4)), now);
                break;
            case 4:
                node->setAnim(A_VALUE, sampling, places, 2, now);
                break;
            case 5:
                node->set(A_RELOAD, true, now);
                break;
            case 6:
                node->evaluate();
                break;
            default:
                if (node->pinCount() > 0) {
                    node->setPinValue(node->pinIdIx(pick(node->pinCount())), static_cast<float>(pick(3)));
                }
        }
    }

    void connect(ApiNode* node) {
        if (node->pinCount() == 0) {
            return;
        }
        const unsigned index = pick(node->pinCount());
        switch (pick(5)) {
            case 0:
                node->connectToIx(index, nullptr, pick(2) == 0);
                break;
            case 1:
                node->createInternalIx(index, std::array{NT_TEX_RGB, NT_FLOAT, NT_TEX_ADD, NT_MAT_DIFFUSE}[pick(4)],
                                       pick(2) == 0, pick(2) == 0);
                break;
            case 2:
                node->connectedNodeIx(index);
                break;
            default:
                node->connectToIx(index, anyNode(), pick(2) == 0);
        }
    }

    void edit() {
        const unsigned what = pick(100);
        if (what < 20) {
            create();
        } else if (what < 60) {
            connect(anyNode());
        } else if (what < 85) {
            write(anyNode());
        } else if (what < 95) {
            if (ApiNode* node = anyNode(); Item::of(node)->node() != scene().target) {
                node->destroy();
            }
        } else if (what < 97) {
            if (ApiItemArray items; root->getOwnedItems(items), items.size() < 200) {
                root->copyItemTree(*anyNode());
            }
        } else if (what < 98) {
            root->deleteUnconnectedItems();
        } else if (what < 99) {
            ApiItemArray items;
            root->getOwnedItems(items);
            for (std::size_t i = 0; i < items.size(); ++i) {
                if (items.get(i)->isGraph()) {
                    items.get(i)->destroy();
                    break;
                }
            }
        } else {
            const ApiNode* target = pick(3) == 0 ? nullptr : root->findFirstNode(NT_RENDER_TARGET);
            setSceneTarget(scene(), target ? Item::of(target)->node() : nullptr);
        }
    }

    void checkUses() {
        for (const NodeSchema* type : allNodeSchemas()) {
            ApiNodeArray found;
            root->findNodes(type->type, found, true);
            for (std::size_t i = 0; i < found.size(); ++i) {
                Node* node = Item::of(found.get(i))->node();
                std::uint32_t live = node == scene().target ? 1 : 0;
                for (std::size_t u = 0; u < node->uses.size(); ++u) {
                    const Use& use = node->uses[u];
                    ASSERT_EQ(use.node->pins.at(use.pin).input, node);
                    ASSERT_EQ(use.node->pins.at(use.pin).useIndex, u);
                    live += use.node->liveRefs > 0 ? 1 : 0;
                }
                ASSERT_EQ(node->liveRefs, live);
            }
        }
    }

    std::mt19937 random_{GetParam()};
    std::map<ItemUid, NodeRecordPtr> mirror_;
};

TEST_P(RandomEdits, TheRenderSideKnowsTheGraph) {
    ApiLogManager::setLogLevel(static_cast<LogLevel>(-1));  // most edits are refused
    ApiWriteJournal::enable(false);
    ApiNode* group = nullptr;
    makeTarget(group, 3);
    for (int round = 0; round < 400; ++round) {
        for (unsigned i = pick(12); i > 0; --i) {
            edit();
        }
        SceneDelta d;
        const bool expected = hasDelta(scene());
        const bool waiting = !scene().unevaluated.empty();
        const bool changed = takeDelta(scene(), d);
        ASSERT_TRUE(changed == expected || waiting) << "round " << round;
        for (const ItemUid uid : d.removed) {
            ASSERT_EQ(mirror_.erase(uid), 1u) << "round " << round << ": removed what was never told";
        }
        for (const NodeRecordPtr& record : d.changed) {
            NodeRecordPtr& known = mirror_[record->uid];
            known = record;
        }
        checkUses();
        if (!scene().target) {
            ASSERT_TRUE(mirror_.empty()) << "round " << round;
            continue;
        }
        const SceneDelta whole = wholeDelta(scene().target);
        ASSERT_EQ(whole.changed.size(), mirror_.size()) << "round " << round;
        for (const NodeRecordPtr& record : whole.changed) {
            const auto known = mirror_.find(record->uid);
            ASSERT_NE(known, mirror_.end()) << "round " << round << ": " << nodeSchema(record->type)->name;
            ASSERT_TRUE(sameRecord(*known->second, *record))
                << "round " << round << ": " << nodeSchema(record->type)->name;
        }
    }
    ApiLogManager::setLogLevel(LOGLEVEL_WARNINGS);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomEdits, testing::Range(1u, 21u));

}  // namespace

}  // namespace Lumora::engine
