#include "host/model/undo.h"

#include <algorithm>
#include <utility>

#include "host/model/list_access.h"

namespace host {
namespace {

/// What a snapshot copies of each node: contents only, the lists are kept as links.
constexpr UInt32 kContentOnly =
    COPYFLAGS_KEEP_GUID | COPYFLAGS_NO_HIERARCHY | COPYFLAGS_NO_BRANCHES | COPYFLAGS_NO_ANIMATION | COPYFLAGS_NO_BITS;

/// The element itself wherever it is; when its code freed it, the one that stands for it now.
BaseList2D* resolve(const BaseLink& link, const BaseDocument& document) {
    if (BaseList2D* node = link.ForceGetLink()) return node;
    return link.GetGUID() ? document.FindByGUID(link.GetGUID()) : nullptr;
}

/// Frees what only the undo still holds.
void release(const BaseLink& link) {
    BaseList2D* node = link.ForceGetLink();
    if (!node || !ListAccess::isUndoOwned(*node)) return;
    ListAccess::setUndoOwned(*node, false);
    if (!ListAccess::stands(*node)) ListAccess::destroy(node);
}

/// A place in the tree that outlives changes around it.
struct Location {
    BaseLink owner, pred;
    Branch branch = Branch::Children;
    Bool known = false;

    static Location of(const BaseList2D& node) {
        const Place place = ListAccess::placeOf(node);
        Location location;
        if (!place.owner) return location;
        location.known = true;
        location.branch = place.branch;
        location.owner.SetLink(place.owner);
        location.pred.SetLink(place.pred);
        return location;
    }

    Bool put(BaseList2D& node, const BaseDocument& document) const {
        BaseList2D* parent = known ? resolve(owner, document) : nullptr;
        if (!parent) return false;
        Place place{parent, branch, nullptr};
        if (pred.GetGUID() != 0) {
            BaseList2D* before = resolve(pred, document);
            const Place beside = before ? ListAccess::placeOf(*before) : Place();
            if (beside.owner != parent || beside.branch != branch) return ListAccess::append(node, *parent, branch);
            place.pred = before;
        }
        const Place now = ListAccess::placeOf(node);
        if (now.owner == place.owner && now.branch == place.branch && now.pred == place.pred) return true;
        return ListAccess::insert(node, place);
    }
};

class PresenceRecord : public UndoStack::Record {
public:
    /// A deleted element is this record's from now on, a new one from its undoing on.
    PresenceRecord(BaseList2D& node, Bool deleted)
        : node_(&node), location_(Location::of(node)), deleted_(deleted), owned_(deleted) {
        if (deleted) ListAccess::setUndoOwned(node, true);
    }
    ~PresenceRecord() override {
        if (owned_) release(node_);
    }

    void apply(BaseDocument& document, Bool undoing) override {
        BaseList2D* node = node_.ForceGetLink();
        if (!node) return;
        if (undoing == deleted_) {
            if (!ListAccess::stands(*node)) location_.put(*node, document);
            ListAccess::setUndoOwned(*node, false);
            owned_ = false;
        } else {
            if (ListAccess::stands(*node)) location_ = Location::of(*node);
            ListAccess::remove(*node);
            ListAccess::setUndoOwned(*node, true);
            owned_ = true;
        }
    }

private:
    BaseLink node_;
    Location location_;
    Bool deleted_, owned_;
};

/// The contents of some nodes and the order of their lists.
class Snapshot {
public:
    Snapshot() = default;
    Snapshot(Snapshot&&) = default;
    Snapshot& operator=(Snapshot&& other) noexcept {
        std::swap(states_, other.states_);
        std::swap(place_, other.place_);
        std::swap(deep_, other.deep_);
        return *this;
    }
    ~Snapshot() {
        for (State& state : states_) ListAccess::destroy(state.content);
    }

    static Snapshot take(BaseList2D& element, Bool deep) {
        Snapshot snapshot;
        snapshot.place_ = Location::of(element);
        snapshot.deep_ = deep;
        std::vector<BaseList2D*> nodes{&element};
        for (std::size_t at = 0; at < nodes.size(); ++at) {
            State state;
            state.node.SetLink(nodes[at]);
            if (nodes[at]->GetFamily() == NodeFamily::Document) {
                state.settings = nodes[at]->GetData();
                state.time = static_cast<BaseDocument*>(nodes[at])->GetTime();
            } else {
                state.content = ListAccess::cloneContent(*nodes[at], kContentOnly);
            }
            for (const Branch branch : kKeptBranches) {
                if (at == 0 && branch == Branch::Children && !deep) continue;
                auto& list = state.below[static_cast<std::size_t>(branch)];
                for (BaseList2D* below = ListAccess::first(*nodes[at], branch); below; below = below->GetNext()) {
                    list.push_back(nodes.size());
                    nodes.push_back(below);
                }
            }
            snapshot.states_.push_back(std::move(state));
        }
        return snapshot;
    }

    BaseList2D* element(const BaseDocument& document) const { return resolve(states_.front().node, document); }
    Bool deep() const { return deep_; }

    /// Brings the state back. Nodes that have no place in it are taken out and added to `outcasts`.
    void restore(BaseDocument& document, std::vector<BaseLink>* outcasts) {
        std::vector<BaseList2D*> nodes;
        for (State& state : states_) nodes.push_back(restoreContent(state, document));
        if (BaseList2D* top = nodes.front(); top && place_.known) place_.put(*top, document);
        for (std::size_t i = 0; i < states_.size(); ++i) {
            if (!nodes[i]) continue;
            for (const Branch branch : kKeptBranches) {
                if (i == 0 && branch == Branch::Children && !deep_) continue;
                std::vector<BaseList2D*> wanted;
                for (const std::size_t index : states_[i].below[static_cast<std::size_t>(branch)]) {
                    if (nodes[index]) wanted.push_back(nodes[index]);
                }
                restoreList(*nodes[i], branch, wanted, outcasts);
            }
        }
    }

private:
    struct State {
        BaseLink node;
        BaseList2D* content = nullptr;  ///< loose copy; null for documents
        BaseContainer settings;         ///< of documents
        BaseTime time;
        std::array<std::vector<std::size_t>, std::size(kKeptBranches)> below;
    };

    static BaseList2D* restoreContent(State& state, BaseDocument& document) {
        BaseList2D* node = resolve(state.node, document);
        if (!state.content) {
            if (node && node->GetFamily() == NodeFamily::Document) {
                node->SetData(state.settings);
                static_cast<BaseDocument*>(node)->SetTime(state.time);
            }
            return node;
        }
        if (!node) {  // freed without announcement: the copy takes its place
            node = std::exchange(state.content, nullptr);
            state.node.SetLink(node);
            return node;
        }
        AliasTrans unchanged;  // links lead where they led
        node->CopyFrom(*state.content, kContentOnly, &unchanged);
        return node;
    }

    static void restoreList(BaseList2D& owner, Branch branch, const std::vector<BaseList2D*>& wanted,
                            std::vector<BaseLink>* outcasts) {
        std::vector<BaseList2D*> present;
        for (BaseList2D* node = ListAccess::first(owner, branch); node; node = node->GetNext()) present.push_back(node);
        if (present == wanted) return;
        for (BaseList2D* node : present) {
            if (std::find(wanted.begin(), wanted.end(), node) != wanted.end()) continue;
            ListAccess::remove(*node);
            ListAccess::setUndoOwned(*node, true);
            outcasts->emplace_back(node);
        }
        BaseList2D* pred = nullptr;
        for (BaseList2D* node : wanted) {
            const Place place = ListAccess::placeOf(*node);
            if (place.owner != &owner || place.branch != branch || place.pred != pred) {
                if (!ListAccess::insert(*node, {&owner, branch, pred})) continue;
            }
            ListAccess::setUndoOwned(*node, false);
            pred = node;
        }
    }

    std::vector<State> states_;
    Location place_;
    Bool deep_ = false;
};

class ChangeRecord : public UndoStack::Record {
public:
    ChangeRecord(BaseList2D& element, Bool deep) : snapshot_(Snapshot::take(element, deep)) {}
    ~ChangeRecord() override {
        for (const BaseLink& link : outcasts_) release(link);
    }

    void apply(BaseDocument& document, Bool) override {
        BaseList2D* element = snapshot_.element(document);
        if (!element) return;
        Snapshot now = Snapshot::take(*element, snapshot_.deep());
        std::vector<BaseLink> outcasts;
        snapshot_.restore(document, &outcasts);
        snapshot_ = std::move(now);
        // What came back belongs to the document again.
        std::erase_if(outcasts_, [](const BaseLink& link) {
            const BaseList2D* node = link.ForceGetLink();
            return !node || !ListAccess::isUndoOwned(*node);
        });
        outcasts_.insert(outcasts_.end(), outcasts.begin(), outcasts.end());
    }

private:
    Snapshot snapshot_;
    std::vector<BaseLink> outcasts_;
};

}  // namespace

UndoStack::UndoStack(BaseDocument& document) : document_(document) {}

UndoStack::~UndoStack() {
    flush();
}

void UndoStack::flush() {
    // Newest first: a record may hold what an older one mentions.
    while (!redo_.empty()) redo_.pop_back();
    open_.clear();
    while (!undo_.empty()) undo_.pop_back();
}

Bool UndoStack::start() {
    ++depth_;
    return true;
}

Bool UndoStack::add(UndoType type, BaseList2D* element) {
    if (depth_ == 0 || !element) return false;
    std::unique_ptr<Record> record;
    switch (type) {
        case UndoType::Change:
        case UndoType::ChangeSmall:
            if (element->GetDocument() != &document_) return false;
            record = std::make_unique<ChangeRecord>(*element, type == UndoType::Change);
            break;
        case UndoType::New:
        case UndoType::Delete:
            if (!ListAccess::stands(*element)) return false;
            record = std::make_unique<PresenceRecord>(*element, type == UndoType::Delete);
            break;
        case UndoType::None:
            return false;
    }
    while (!redo_.empty()) redo_.pop_back();
    open_.push_back(std::move(record));
    return true;
}

Bool UndoStack::end() {
    if (depth_ == 0) return false;
    if (--depth_ > 0 || open_.empty()) return true;
    undo_.push_back(std::exchange(open_, {}));
    if (undo_.size() > kMaximumSteps) undo_.pop_front();
    return true;
}

Bool UndoStack::undo() {
    if (depth_ > 0 || undo_.empty()) return false;
    Step step = std::move(undo_.back());
    undo_.pop_back();
    for (auto record = step.rbegin(); record != step.rend(); ++record) (*record)->apply(document_, true);
    redo_.push_back(std::move(step));
    document_.SetChanged(true);
    return true;
}

Bool UndoStack::redo() {
    if (depth_ > 0 || redo_.empty()) return false;
    Step step = std::move(redo_.back());
    redo_.pop_back();
    for (const auto& record : step) record->apply(document_, false);
    undo_.push_back(std::move(step));
    document_.SetChanged(true);
    return true;
}

Bool BaseDocument::StartUndo() {
    if (!undo_) undo_ = std::make_unique<UndoStack>(*this);
    return undo_->start();
}
Bool BaseDocument::AddUndo(UndoType type, BaseList2D* element) {
    return undo_ && undo_->add(type, element);
}
Bool BaseDocument::EndUndo() {
    return undo_ && undo_->end();
}
Bool BaseDocument::DoUndo() {
    return undo_ && undo_->undo();
}
Bool BaseDocument::DoRedo() {
    return undo_ && undo_->redo();
}
Int32 BaseDocument::GetUndoCount() const {
    return undo_ ? undo_->undoCount() : 0;
}
Int32 BaseDocument::GetRedoCount() const {
    return undo_ ? undo_->redoCount() : 0;
}
void BaseDocument::FlushUndoBuffer() {
    if (undo_) undo_->flush();
}

}  // namespace host
