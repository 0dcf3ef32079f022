#include "engine/graph/item.h"

#include <algorithm>
#include <atomic>
#include <unordered_map>

#include "engine/graph/journal.h"
#include "engine/graph/value.h"

namespace Lumora {

struct ApiItemArray::Data {
    std::vector<ApiItem*> items;
};
struct ApiNodeArray::Data {
    std::vector<ApiNode*> nodes;
};

namespace engine {

std::recursive_mutex& graphLock() {
    static std::recursive_mutex lock;
    return lock;
}

std::uint64_t nextVisit() {
    static std::uint64_t mark = 0;
    return ++mark;
}

namespace {
ItemUid nextUid() {
    static std::atomic<ItemUid> uid{0};
    return ++uid;
}
}  // namespace

Item::Item(Kind kind, Scene* scene) : kind(kind), uid(nextUid()), scene(scene) {}

Node* Item::node() {
    return kind == Kind::Node ? static_cast<Node*>(this) : nullptr;
}

Graph* Item::graph() {
    return kind == Kind::Graph ? static_cast<Graph*>(this) : nullptr;
}

ApiItem* Item::api() {
    if (Node* n = node()) {
        return &n->handle;
    }
    return &static_cast<Graph*>(this)->handle;
}

NodeType Item::nodeType() {
    return kind == Kind::Node ? static_cast<Node*>(this)->schema.type : NT_UNKNOWN;
}

std::string Item::label() {
    std::string text = kind == Kind::Node ? static_cast<Node*>(this)->schema.name : "Node graph";
    if (!name.empty()) {
        text += " '" + name + "'";
    }
    return text;
}

void Item::fill(ApiItemArray& array, const std::vector<Item*>& items) {
    array.data_->items.clear();
    array.data_->items.reserve(items.size());
    for (Item* item : items) {
        array.data_->items.push_back(item->api());
    }
}

void Item::fill(ApiNodeArray& array, const std::vector<Node*>& nodes) {
    array.data_->nodes.clear();
    array.data_->nodes.reserve(nodes.size());
    for (Node* node : nodes) {
        array.data_->nodes.push_back(&node->handle);
    }
}

Graph::Graph(NodeGraphType type, Scene* scene) : Item(Kind::Graph, scene), type(type), handle(this) {}

void Graph::adopt(Item* item) {
    item->owner = this;
    item->previous = last;
    item->next = nullptr;
    (last ? last->next : first) = item;
    last = item;
    ++count;
}

void Graph::release(Item* item) {
    (item->previous ? item->previous->next : first) = item->next;
    (item->next ? item->next->previous : last) = item->previous;
    item->previous = item->next = nullptr;
    item->owner = nullptr;
    --count;
}

std::vector<Item*> Graph::items() const {
    std::vector<Item*> all;
    all.reserve(count);
    for (Item* item = first; item; item = item->next) {
        all.push_back(item);
    }
    return all;
}

void Graph::layOut(bool recurse) {
    // Columns by distance from the graph's outputs, rows in the order of the items.
    std::unordered_map<Item*, unsigned> column;
    std::vector<Item*> order = items();
    bool moved = true;
    for (int pass = 0; moved && pass < 8; ++pass) {
        moved = false;
        for (Item* item : order) {
            Node* node = item->node();
            for (std::size_t i = 0; node && i < node->pins.size(); ++i) {
                Item* input = node->pins[i].input;
                if (input && input->owner == this && column[input] <= column[node]) {
                    column[input] = column[node] + 1;
                    moved = true;
                }
            }
        }
    }
    std::vector<unsigned> rows;
    for (Item* item : order) {
        const unsigned c = column[item];
        rows.resize(std::max<std::size_t>(rows.size(), c + 1), 0);
        item->position = {-200.f * static_cast<float>(c), 80.f * static_cast<float>(rows[c]++)};
        if (recurse && item->graph()) {
            item->graph()->layOut(true);
        }
    }
}

Node* newNode(NodeType type, Scene* scene) {
    const NodeSchema* schema = nodeSchema(type);
    return schema ? new Node(*schema, scene) : nullptr;
}

Scene* createScene() {
    auto* scene = new Scene;
    scene->root = new Graph(NG_STANDARD, scene);
    return scene;
}

void destroyScene(Scene* scene) {
    destroyItems({scene->root});
}

namespace {

/// The items with everything that they own, owners first.
std::vector<Item*> withAllOwned(const std::vector<Item*>& tops) {
    std::vector<Item*> all;
    const auto take = [&all](Item* item) {
        if (!item->doomed) {
            item->doomed = true;
            all.push_back(item);
        }
    };
    for (Item* top : tops) {
        take(top);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (Graph* graph = all[i]->graph()) {
            for (Item* item = graph->first; item; item = item->next) {
                take(item);
            }
        } else {
            for (const Pin& pin : all[i]->node()->pins) {
                if (pin.owned) {
                    take(pin.input);
                }
            }
        }
    }
    return all;
}

}  // namespace

void destroyItems(const std::vector<Item*>& tops) {
    const std::vector<Item*> all = withAllOwned(tops);
    if (all.empty()) {
        return;
    }
    for (Item* item : all) {
        Node* node = item->node();
        if (!node) {
            continue;
        }
        if (node->scene->target == node) {
            setSceneTarget(*node->scene, nullptr);
        }
        while (!node->uses.empty()) {
            const Use use = node->uses.back();
            use.node->detach(use.pin);
            if (!use.node->doomed) {
                use.node->pins[use.pin].value = defaultValue(use.node->pinSchema(use.pin));
                use.node->markChanged();
            }
        }
        for (unsigned i = 0; i < node->pins.size(); ++i) {
            node->detach(i);
        }
    }
    for (Item* item : all) {
        if (!item->node() || !item->node()->implied) {
            journal(JOURNAL_DESTROY, item->api(), item->nodeType());
        }
        if (item->owner) {
            item->owner->release(item);
        }
        if (Node* node = item->node()) {
            if (node->sent) {
                node->scene->removed.push_back(node->uid);
            }
            node->dropPending();
        }
    }
    std::erase_if(all.front()->scene->unevaluated, [](Node* node) { return node->doomed; });
    // A scene ends with its root.
    Scene* scene = all.front()->scene;
    const bool ends = scene->root->doomed;
    for (Item* item : all) {
        if (Node* node = item->node()) {
            delete node;
        } else {
            delete item->graph();
        }
    }
    if (ends) {
        delete scene;
    }
}

Node* throughLinkers(Node* node) {
    while (node && node->schema.role == NodeRole::Linker) {
        node = node->pins.front().input;
    }
    return node;
}

std::vector<Item*> itemTree(Item* item) {
    if (Graph* graph = item->graph()) {
        return graph->items();
    }
    std::vector<Item*> tree{item}, walk{item};
    const std::uint64_t mark = nextVisit();
    item->visit = mark;
    while (!walk.empty()) {
        Node* node = walk.back()->node();
        walk.pop_back();
        for (const Pin& pin : node->pins) {
            if (!pin.input || pin.input->visit == mark) {
                continue;
            }
            pin.input->visit = mark;
            if (pin.owned) {
                walk.push_back(pin.input);
                continue;
            }
            // What lies in a nested graph is represented by that graph.
            Item* found = pin.input;
            while (found->owner && found->owner != item->owner) {
                found = found->owner;
            }
            if (found->owner != item->owner) {
                continue;
            }
            if (found == pin.input) {
                walk.push_back(found);
            } else if (found->visit == mark) {
                continue;
            }
            found->visit = mark;
            tree.push_back(found);
        }
    }
    return tree;
}

}  // namespace engine

ApiItemArray::ApiItemArray() : data_(new Data) {}
ApiItemArray::~ApiItemArray() {
    delete data_;
}
std::size_t ApiItemArray::size() const {
    return data_->items.size();
}
ApiItem* ApiItemArray::get(std::size_t index) const {
    return index < data_->items.size() ? data_->items[index] : nullptr;
}
void ApiItemArray::clear() {
    data_->items.clear();
}

ApiNodeArray::ApiNodeArray() : data_(new Data) {}
ApiNodeArray::~ApiNodeArray() {
    delete data_;
}
std::size_t ApiNodeArray::size() const {
    return data_->nodes.size();
}
ApiNode* ApiNodeArray::get(std::size_t index) const {
    return index < data_->nodes.size() ? data_->nodes[index] : nullptr;
}
void ApiNodeArray::clear() {
    data_->nodes.clear();
}

}  // namespace Lumora
