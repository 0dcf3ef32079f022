// Copies of items, within a project and from one to another. Arrays are shared with the copy, not copied.
#include <algorithm>
#include <unordered_map>

#include "engine/graph/item.h"
#include "engine/graph/journal.h"
#include "engine/graph/log.h"

namespace Lumora::engine {

namespace {

class Copier {
public:
    Copier(Graph& graph, bool tree) : graph_(graph), tree_(tree) {}

    Item* run(Item* item) {
        collect(item);
        for (Item* top : tops_) {
            copyItem(top, &graph_, nullptr, 0);
        }
        for (const auto& [from, to] : nodes_) {
            connectLike(from, to);
        }
        return copies_.at(item);
    }

private:
    /// The items to copy, none of which lies in another: the item and, for a tree, what feeds it. What stands in a
    /// graph beside the item comes with that whole graph.
    void collect(Item* item) {
        std::vector<Item*> walk;
        const std::uint64_t mark = nextVisit();
        const auto take = [&](Item* found) {
            if (found->visit != mark) {
                found->visit = mark;
                tops_.push_back(found);
                walk.push_back(found);
            }
        };
        take(item);
        while (tree_ && !walk.empty()) {
            Item* at = walk.back();
            walk.pop_back();
            if (Graph* nested = at->graph()) {
                for (Item* inner = nested->first; inner; inner = inner->next) {
                    inner->visit = mark;
                    walk.push_back(inner);
                }
                continue;
            }
            for (const Pin& pin : at->node()->pins) {
                if (!pin.input || pin.input->visit == mark) {
                    continue;
                }
                if (pin.owned) {
                    pin.input->visit = mark;
                    walk.push_back(pin.input);
                } else {
                    take(standsFor(pin.input, item->owner));
                }
            }
        }
        // A graph taken later may hold a node that was taken before it.
        std::erase_if(tops_, [&](Item* top) {
            for (const Item* above = holderOf(top); above; above = holderOf(above)) {
                if (std::find(tops_.begin(), tops_.end(), above) != tops_.end()) {
                    return true;
                }
            }
            return false;
        });
    }

    static const Item* holderOf(const Item* item) {
        return item->pinOwner ? static_cast<const Item*>(item->pinOwner) : static_cast<const Item*>(item->owner);
    }

    static Item* standsFor(Node* node, const Graph* beside) {
        for (Item* item = node; item; item = item->pinOwner ? static_cast<Item*>(item->pinOwner) : item->owner) {
            if (item->owner && item->owner == beside) {
                return item;
            }
        }
        return node;
    }

    void copyItem(Item* from, Graph* into, Node* pinOwner, unsigned pinIndex) {
        Item* to = nullptr;
        if (Graph* graph = from->graph()) {
            auto* copy = new Graph(graph->type, graph_.scene);
            into->adopt(copy);
            for (Item* item : graph->items()) {
                copyItem(item, copy, nullptr, 0);
            }
            to = copy;
        } else {
            to = copyNode(from->node(), into, pinOwner, pinIndex);
        }
        to->name = from->name;
        to->pluginText = from->pluginText;
        to->pluginData = from->pluginData;
        to->position = from->position;
        copies_[from] = to;
        journal(JOURNAL_CREATE, to->api(), to->nodeType());
    }

    Node* copyNode(Node* from, Graph* into, Node* pinOwner, unsigned pinIndex) {
        auto* copy = new Node(from->schema, graph_.scene);
        copy->attributes = from->attributes;
        copy->pinNames = from->pinNames;
        copy->reloads = from->reloads;
        copy->pins.resize(from->pins.size());
        if (pinOwner) {
            pinOwner->attachCopy(pinIndex, copy);
        } else {
            into->adopt(copy);
        }
        if (from->unevaluated) {
            copy->needsEvaluation();
        }
        for (unsigned i = 0; i < from->pins.size(); ++i) {
            copy->pins[i].value = from->pins[i].value;
            copy->pins[i].configured = from->pins[i].configured;
            if (from->pins[i].owned) {
                copyItem(from->pins[i].input, nullptr, copy, i);
            }
        }
        nodes_.push_back({from, copy});
        return copy;
    }

    void connectLike(Node* from, Node* to) {
        for (unsigned i = 0; i < from->pins.size(); ++i) {
            Node* input = from->pins[i].input;
            if (!input || from->pins[i].owned) {
                continue;
            }
            const auto copy = copies_.find(input);
            if (copy != copies_.end()) {
                to->attachCopy(i, copy->second->node(), false);
            } else if (from->scene == to->scene) {
                to->attachCopy(i, input, false);
            }
        }
    }

    Graph& graph_;
    const bool tree_;
    std::vector<Item*> tops_;
    std::vector<std::pair<Node*, Node*>> nodes_;
    std::unordered_map<Item*, Item*> copies_;
};

}  // namespace

void Node::attachCopy(unsigned index, Node* input, bool inside) {
    attach(index, input, inside);
}

Item* copyInto(Graph& graph, Item* item, bool tree) {
    for (const Item* above = &graph; above; above = above->owner) {
        if (above == item) {
            logLine(LOGLEVEL_ERRORS, "%s cannot be copied into itself.", item->label().c_str());
            return nullptr;
        }
    }
    return Copier(graph, tree).run(item);
}

}  // namespace Lumora::engine
