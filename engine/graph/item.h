// Items as the engine holds them behind the public interface.
//
// One lock guards all items of all projects; every function here runs under it. A node knows who uses it (`uses`), so
// that it can leave the graph in time proportional to its own connections. Connections never form a circle.
//
// Changes. A node is live when the render target in force leads to it; `liveRefs` counts the live pins that show it, so
// that an update never has to walk the scene. A live node whose record is out of date stands on its scene's list of
// pending nodes, and ApiChangeManager::update() turns that list into a SceneDelta:
//
//   written or connected -> markChanged -> pending -> takeDelta -> record handed over (`sent`)
//   no longer live, or destroyed -> removed
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "engine/api/api_node_graph.h"
#include "engine/graph/record.h"
#include "engine/schema/schema.h"

namespace Lumora::engine {

class Graph;
class Item;
class Node;

std::recursive_mutex& graphLock();
#define LUMORA_GRAPH_GUARD const std::lock_guard graphGuard(::Lumora::engine::graphLock())

/// One project or private scratch scene: a root graph and what has changed in it.
struct Scene {
    Graph* root = nullptr;
    Node* target = nullptr;  ///< the render target in force
    ItemUid sentTarget = 0;  ///< the one that the render side has
    float time = 0;
    std::vector<Node*> pending;
    std::vector<Node*> unevaluated;
    std::vector<ItemUid> removed;
};

class Item {
public:
    enum class Kind : std::uint8_t { Node, Graph };

    Item(Kind kind, Scene* scene);
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    static Item* of(const ApiItem* item) { return item ? item->item_ : nullptr; }
    static Item& of(const ApiItem& item) { return *item.item_; }
    ApiItem* api();
    Node* node();
    Graph* graph();
    NodeType nodeType();
    /// "Diffuse material 'wood'", for the log.
    std::string label();

    static void fill(ApiItemArray& array, const std::vector<Item*>& items);
    static void fill(ApiNodeArray& array, const std::vector<Node*>& nodes);

    const Kind kind;
    const ItemUid uid;
    Scene* const scene;
    Graph* owner = nullptr;    ///< the graph that owns it; null for roots and for nodes inside pins
    Item* previous = nullptr;  ///< neighbours among the owner's items
    Item* next = nullptr;
    Node* pinOwner = nullptr;  ///< the node inside whose pin it lies
    unsigned pinOwnerIndex = 0;
    bool doomed = false;      ///< part of what is being destroyed right now
    std::uint64_t visit = 0;  ///< mark of a walk, see nextVisit()
    std::string name;
    std::string pluginText;
    void* pluginData = nullptr;
    Vec2<float> position;
};

/// A fresh mark for a walk over items.
std::uint64_t nextVisit();

struct Pin {
    Node* input = nullptr;
    std::uint32_t useIndex = 0;  ///< place of this pin among the uses of `input`
    bool owned = false;          ///< `input` was made inside this pin
    bool configured = false;     ///< without input: a value node comes into being when it is asked for
    Value value;                 ///< the pin's own value, while nothing is connected
};

struct Use {
    Node* node;
    std::uint32_t pin;
};

struct Attribute {
    Value value;
    std::shared_ptr<const TimeSampling> sampling;
};

class Node : public Item {
public:
    Node(const NodeSchema& schema, Scene* scene);

    const PinSchema& pinSchema(unsigned index) const;
    unsigned staticPins() const { return static_cast<unsigned>(schema.pins.size()); }
    const char* pinName(unsigned index) const;

    // --- Connections --------------------------------------------------------------------------------------------
    /// Null empties the pin. False, with a line in the log, when it must not be.
    bool connect(unsigned index, Node* input);
    /// The node on the pin, made now when it is a value that nobody has asked for.
    Node* connected(unsigned index);
    /// The same with linkers followed.
    Node* input(unsigned index);
    Node* createInside(unsigned index, NodeType type, bool configure);
    void configure();
    /// For copies, whose connections are known to be good.
    void attachCopy(unsigned index, Node* input, bool inside = true);
    /// Whether this node feeds `other` or is it.
    bool feeds(Node* other);

    // --- Values -------------------------------------------------------------------------------------------------
    Value pinValue(unsigned index) const;
    bool setPinValue(unsigned index, const Value& value);
    bool setAttribute(unsigned index, Value value, std::shared_ptr<const TimeSampling> sampling, bool evaluateNow);
    void clearAttributes();

    // --- Evaluation ---------------------------------------------------------------------------------------------
    void evaluate();
    void needsEvaluation();

    // --- Changes ------------------------------------------------------------------------------------------------
    void markChanged();
    void addLive(int references);
    /// Stands for itself on the render side: no linker, no plain value without animation.
    bool hasRecord() const;
    bool plainValue() const;
    NodeRecordPtr makeRecord() const;

    const NodeSchema& schema;
    std::vector<Pin> pins;
    std::vector<Attribute> attributes;
    std::vector<Use> uses;
    SharedArray<std::string> pinNames;  ///< of a mesh: the material names that its pins were made for
    std::uint32_t liveRefs = 0;
    std::uint32_t pendingIndex = 0;
    bool pending = false;
    bool changed = true;  ///< differs from the record that the render side has
    bool sent = false;
    bool unevaluated = false;
    bool implied = false;               ///< holds a pin's value because somebody asked for it; nobody made it
    std::uint32_t reloads = 0;
    ApiNode handle;

private:
    friend void destroyItems(const std::vector<Item*>& tops);
    void attach(unsigned index, Node* input, bool inside);
    void detach(unsigned index);
    void addPending();
    void dropPending();
    unsigned wantedDynamicPins() const;
    bool updateDynamicPins();
    void updateLayerMaps();
};

class Graph : public Item {
public:
    Graph(NodeGraphType type, Scene* scene);

    void adopt(Item* item);
    void release(Item* item);
    bool isRoot() const { return owner == nullptr; }
    std::vector<Item*> items() const;
    void layOut(bool recurse);

    const NodeGraphType type;
    Item* first = nullptr;
    Item* last = nullptr;
    std::size_t count = 0;
    ApiRootNodeGraph handle;
};

/// A node that nobody owns yet; null for an unknown type.
Node* newNode(NodeType type, Scene* scene);
/// Destroys the items, all of one scene, with all that they own. An item that lies in another of the list is no error.
void destroyItems(const std::vector<Item*>& tops);
/// A new scene with its root graph; ended by destroyScene or by destroying the root graph.
Scene* createScene();
void destroyScene(Scene* scene);

/// Follows linkers to what is connected to them; null when that is nothing.
Node* throughLinkers(Node* node);
/// The item, then what feeds it, each once; see ApiItem::collectItemTree.
std::vector<Item*> itemTree(Item* item);
/// Copies into the graph. `tree`: with everything that feeds the item.
Item* copyInto(Graph& graph, Item* item, bool tree);

/// Makes the node the scene's render target; null for none.
void setSceneTarget(Scene& scene, Node* target);
/// What changed since the last call. False when nothing did.
bool takeDelta(Scene& scene, SceneDelta& delta);
bool hasDelta(const Scene& scene);
/// Everything that the node leads to, as if it were new; touches no marks.
SceneDelta wholeDelta(Node* top);

}  // namespace Lumora::engine
