#include "engine/compile/texture_compiler.h"

#include <limits>

#include "engine/schema/schema.h"

namespace Lumora::engine {

namespace {

constexpr std::size_t kMaxNesting = 256;
/// Constants that nobody may use any more; beyond this all is compiled anew.
constexpr std::size_t kMaxLoose = 4096;

/// Operations that have values of their own, beyond those of their inputs.
bool variesByItself(const TextureNode& node) {
    switch (node.op) {
        case TextureOp::Constant:
        case TextureOp::Multiply:
        case TextureOp::Add:
        case TextureOp::Subtract:
        case TextureOp::Mix:
        case TextureOp::CosineMix:
        case TextureOp::Compare:
        case TextureOp::Invert:
        case TextureOp::Clamp:
        case TextureOp::ColorCorrection:
        case TextureOp::UvwTransform:
        case TextureOp::Gaussian:
            return false;
        case TextureOp::Image:
        case TextureOp::InstanceColor:
            return node.data != kNoTexture;
        default:
            return true;
    }
}

/// More lookups than this for one are a mistake: of nodes that each read the next one twice, few make more than can
/// ever be looked up.
constexpr float kMostLookups = 65536.0f;

bool holdsImage(const TextureNode& node, const NodeRecord& record) {
    const bool image = node.op == TextureOp::Image || node.op == TextureOp::InstanceColor;
    return image && record.type != NT_TEX_BAKING;
}

}  // namespace

void TextureMemory::clear() {
    TextureMemory empty;
    empty.build_ = build_;
    empty.described_ = described_;
    *this = std::move(empty);
}

bool TextureMemory::worn() const {
    // A build that was broken off has left places that its table took along.
    return !finished_ || constants_.size() > kMaxLoose + 4 * entries_.size();
}

void TextureMemory::concern(ItemUid uid) {
    if (const auto it = entries_.find(uid); it != entries_.end()) it->second.concerned = true;
}

std::vector<ItemUid> TextureMemory::outdated(const NodeTable& nodes, ImageStore& images, const LogFunction& log) const {
    std::vector<ItemUid> out;
    for (const auto& [uid, entry] : entries_) {
        const NodeRecord* record = nodes.peek(uid);
        if (!record || !holdsImage(entry.node, *record)) continue;
        const ImageTexturePtr then = entry.node.data == kNoTexture ? nullptr : table_.images[entry.node.data].image;
        if (images.imageOf(*record, log) != then) out.push_back(uid);
    }
    return out;
}

TextureCompiler::TextureCompiler(const NodeTable& nodes, ImageStore& images, TextureTable& table,
                                 const LogFunction& log, TextureMemory* memory, Dependents* dependents)
    : nodes_(nodes),
      images_(images),
      table_(table),
      log_(log),
      memory_(memory ? *memory : own_),
      dependents_(dependents) {
    if (memory_.worn()) memory_.clear();
    memory_.finished_ = false;
    memory_.waiting_.clear();
    ++memory_.build_;
    table_ = memory_.table_;
}

void TextureCompiler::release(const Entry& entry) {
    releaseData(entry.node);
    if (entry.id == kNoTexture) return;
    table_.nodes.edit(entry.id) = {};
    memory_.freeNodes_.push_back(entry.id);
}

void TextureCompiler::forget(ItemUid uid) {
    const auto it = memory_.entries_.find(uid);
    if (it == memory_.entries_.end()) return;
    release(it->second);
    memory_.circling_.erase(uid);
    memory_.entries_.erase(it);
    if (dependents_) dependents_->forget({uid, MadeAs::Texture});
}

void TextureCompiler::finish() {
    if (!dependents_) {
        std::erase_if(memory_.entries_, [this](const auto& known) {
            if (known.second.build == memory_.build_) return false;
            release(known.second);
            return true;
        });
    }
    memory_.table_ = table_;
    memory_.finished_ = true;
}

void TextureCompiler::releaseData(const TextureNode& node) {
    if (node.mapping != kNoTexture) memory_.freeMappings_.push_back(node.mapping);
    if (node.data == kNoTexture) return;
    switch (node.op) {
        case TextureOp::Gradient:
            table_.gradients.edit(node.data) = {};
            memory_.freeGradients_.push_back(node.data);
            break;
        case TextureOp::Triplanar:
            memory_.freeTriplanars_.push_back(node.data);
            break;
        default:
            table_.images.edit(node.data) = {};
            memory_.freeImages_.push_back(node.data);
            break;
    }
}

TextureNode TextureCompiler::folded(const TextureNode& node) {
    const auto fixed = [this](TextureId id) { return table_.isConstant(id); };
    bool varies = variesByItself(node);
    if (node.op == TextureOp::Gradient && node.a != kNoTexture) {
        varies = !fixed(node.a) || !table_.gradients[node.data].plain;
    }
    if (node.op == TextureOp::Constant || varies || !fixed(node.a) || !fixed(node.b) || !fixed(node.c) ||
        !fixed(node.d) || !fixed(node.power)) {
        return node;
    }
    const Float3 value = table_.color(node, {});
    TextureNode constant;
    constant.value = isFinite(value) ? value : Float3{};
    return constant;
}

/// Writes a node to its place, or to a new one.
TextureId TextureCompiler::place(TextureId id, const TextureNode& node) {
    const TextureNode shown = folded(node);
    if (id == kNoTexture) {
        id = table_.nodes.store(shown, memory_.freeNodes_);
        if (id >= memory_.changed_.size()) memory_.changed_.resize(id + 1);
    } else {
        table_.nodes.edit(id) = shown;
    }
    memory_.changed_[id] = memory_.build_;
    wrote_ = true;
    return id;
}

TextureId TextureCompiler::constant(Float3 value) {
    if (!isFinite(value)) value = {};
    const auto [it, added] = memory_.constants_.try_emplace({value.x, value.y, value.z}, kNoTexture);
    if (added) {
        TextureNode node;
        node.value = value;
        it->second = place(kNoTexture, node);
    }
    return it->second;
}

TextureId TextureCompiler::connected(const NodeRecord& node, PinId id) {
    const PinRecord* pin = node.pin(id);
    if (pin && pin->input) return compile(pin->input);
    // A plain value that is connected has become the value of the pin. On a pin that has one of its own it is no more
    // than that.
    const NodeSchema* schema = pin ? nodeSchema(node.type) : nullptr;
    const int index = schema ? schema->pinIndex(id) : -1;
    Float3 value;
    if (index < 0 || schema->pins[static_cast<std::size_t>(index)].dimension > 0 || !toVector(pin->value, value))
        return kNoTexture;
    return constant(value);
}

TextureId TextureCompiler::onPin(const PinRecord* pin, Float3 fallback) {
    if (pin && pin->input) {
        if (const TextureId id = compile(pin->input); id != kNoTexture) return id;
    }
    Float3 value;
    return constant(pin && toVector(pin->value, value) ? value : fallback);
}

TextureId TextureCompiler::onPin(const NodeRecord& node, PinId pin, Float3 fallback) {
    return onPin(node.pin(pin), fallback);
}

TextureId TextureCompiler::compile(ItemUid uid) {
    // What the nodes below read is theirs.
    std::vector<ItemUid>* const trace = nodes_.trace(nullptr);
    auto* const inputs = std::exchange(inputs_, nullptr);
    TextureId id = kNoTexture;
    const auto known = memory_.entries_.find(uid);
    const bool found = known != memory_.entries_.end();
    if (found && (known->second.build == memory_.build_ || (dependents_ && !known->second.concerned))) {
        id = known->second.id;
    } else if (const NodeRecordPtr record = nodes_.share(uid)) {
        id = enter(uid, record);
    }
    nodes_.trace(trace);
    inputs_ = inputs;
    if (inputs_) inputs_->emplace_back(uid, id);
    return id;
}

TextureId TextureCompiler::enter(ItemUid uid, const NodeRecordPtr& record) {
    if (open_.size() >= kMaxNesting || !open_.insert(uid).second) {
        if (log_) log_("Texture \"" + record->name + "\" is among its own inputs; it reads as nothing there.");
        circle_ = true;
        return kNoTexture;
    }
    Entry& entry = memory_.entries_[uid];
    if (!sameAsBefore(entry, record)) makeNew(entry, record);
    entry.build = memory_.build_;
    entry.concerned = false;
    // What was read in a circle depends on where it was entered.
    if (circle_) {
        entry.record = nullptr;
        memory_.circling_.insert(uid);
    } else {
        memory_.circling_.erase(uid);
    }
    open_.erase(uid);
    if (open_.empty()) circle_ = false;
    return entry.id;
}

/// Whether the entry stands for the record still; what lies below is compiled on the way.
bool TextureCompiler::sameAsBefore(Entry& entry, const NodeRecordPtr& record) {
    if (!entry.record || entry.record != record) return false;
    for (const auto& [uid, read] : entry.reads) {
        if (nodes_.share(uid) != read) return false;
    }
    bool below = false;
    for (const auto& [uid, id] : entry.inputs) {
        if (compile(uid) != id) return false;
        below = below || changed(id);
    }
    // The file may be another by now.
    if (holdsImage(entry.node, *record)) {
        const ImageTexturePtr now = images_.imageOf(*record, log_);
        const ImageTexturePtr then = entry.node.data == kNoTexture ? nullptr : table_.images[entry.node.data].image;
        if (now != then) return false;
    }
    // A power of one is left out of a node, so that another must be looked for.
    const bool noPower = entry.node.power == kNoTexture && record->input(P_POWER) != 0;
    if (below && (entry.holdsInputs || noPower)) return false;
    if (below) {
        weigh(entry, *record);
        if (entry.cost > kMostLookups) return false;
        place(entry.id, entry.node);
    }
    return true;
}

bool TextureCompiler::waits(ItemUid uid) const {
    const auto it = memory_.entries_.find(uid);
    return it != memory_.entries_.end() && it->second.waits;
}

/// What the inputs mean for a node, beyond their values.
void TextureCompiler::weigh(Entry& entry, const NodeRecord& record) {
    entry.cost = 1.0f;
    entry.waits = holdsImage(entry.node, record) && images_.waits(record);
    if (entry.waits) memory_.waiting_.push_back(record.uid);
    for (const auto& [uid, id] : entry.inputs) {
        const auto it = memory_.entries_.find(uid);
        if (it == memory_.entries_.end() || it->second.id != id) continue;
        if (!table_.isConstant(id)) entry.cost += it->second.cost;
        entry.waits = entry.waits || it->second.waits;
    }
    if (record.type == NT_TEX_BAKING && entry.node.op == TextureOp::Image) entry.cost = 1.0f;
}

void TextureCompiler::makeNew(Entry& entry, const NodeRecordPtr& record) {
    releaseData(entry.node);
    entry.node = {};
    entry.inputs.clear();
    std::vector<ItemUid> reads;
    nodes_.trace(&reads);
    inputs_ = &entry.inputs;
    TextureNode node = describe(*record, entry);
    inputs_ = nullptr;
    nodes_.trace(nullptr);
    entry.node = node;
    weigh(entry, *record);
    if (entry.cost > kMostLookups) {
        if (log_) log_("Texture \"" + record->name + "\" reads its inputs too many times over; it shows grey.");
        releaseData(entry.node);
        entry.node = {};
        entry.node.value = splat(0.5f);
        entry.cost = 1.0f;
        entry.holdsInputs = true;
    }
    entry.reads.clear();
    for (const ItemUid uid : reads) entry.reads.emplace_back(uid, nodes_.share(uid));
    if (dependents_) {
        for (const auto& [uid, id] : entry.inputs) reads.push_back(uid);
        dependents_->set({record->uid, MadeAs::Texture}, std::move(reads));
    }
    entry.id = place(entry.id, entry.node);
    entry.record = record;
    ++memory_.described_;
}

void TextureCompiler::logOnce(int type) {
    if (logged_.insert(type).second && log_) {
        log_("Textures of node type " + std::to_string(type) + " are shown as a plain colour.");
    }
}

}  // namespace Lumora::engine
