#include "engine/compile/texture_compiler.h"

#include <limits>

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

std::uint32_t take(std::vector<std::uint32_t>& free, std::size_t size) {
    if (free.empty()) return static_cast<std::uint32_t>(size);
    const std::uint32_t index = free.back();
    free.pop_back();
    return index;
}

}  // namespace

void TextureMemory::clear() {
    TextureMemory empty;
    empty.build_ = build_;
    empty.described_ = described_;
    *this = std::move(empty);
}

TextureCompiler::TextureCompiler(const NodeTable& nodes, ImageStore& images, TextureTable& table,
                                 const LogFunction& log, TextureMemory* memory)
    : nodes_(nodes), images_(images), table_(table), log_(log), memory_(memory ? *memory : own_) {
    // A build that was broken off has left places that its table took along.
    const std::size_t loose = memory_.constants_.size() + memory_.products_.size();
    if (!memory_.finished_ || loose > kMaxLoose + 4 * memory_.entries_.size()) memory_.clear();
    fresh_ = memory_.entries_.empty();
    memory_.finished_ = false;
    ++memory_.build_;
    table_ = memory_.table_;
}

void TextureCompiler::finish() {
    for (auto it = memory_.entries_.begin(); it != memory_.entries_.end();) {
        Entry& entry = it->second;
        if (entry.build == memory_.build_) {
            ++it;
            continue;
        }
        releaseData(entry.node);
        if (entry.id != kNoTexture) {
            table_.nodes[entry.id] = {};
            memory_.freeNodes_.push_back(entry.id);
        }
        it = memory_.entries_.erase(it);
    }
    // The place of an input may be another's now.
    std::erase_if(memory_.products_, [&](const auto& p) {
        if (p.second.build == memory_.build_) return false;
        table_.nodes[p.second.id] = {};
        memory_.freeNodes_.push_back(p.second.id);
        return true;
    });
    memory_.table_ = table_;
    memory_.finished_ = true;
}

void TextureCompiler::releaseData(const TextureNode& node) {
    if (node.mapping != kNoTexture) memory_.freeMappings_.push_back(node.mapping);
    if (node.data == kNoTexture) return;
    switch (node.op) {
        case TextureOp::Gradient:
            table_.gradients[node.data] = {};
            memory_.freeGradients_.push_back(node.data);
            break;
        case TextureOp::Triplanar:
            memory_.freeTriplanars_.push_back(node.data);
            break;
        default:
            table_.images[node.data] = {};
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
    table_.nodes.push_back(node);
    const Float3 value = table_.color(static_cast<TextureId>(table_.nodes.size() - 1), {});
    table_.nodes.pop_back();
    TextureNode constant;
    constant.value = isFinite(value) ? value : Float3{};
    return constant;
}

/// Writes a node to its place, or to a new one.
TextureId TextureCompiler::place(TextureId id, const TextureNode& node) {
    const TextureNode shown = folded(node);
    if (id == kNoTexture) id = take(memory_.freeNodes_, table_.nodes.size());
    if (id == table_.nodes.size()) {
        table_.nodes.emplace_back();
        memory_.changed_.push_back(0);
    }
    table_.nodes[id] = shown;
    memory_.changed_[id] = memory_.build_;
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

TextureId TextureCompiler::multiply(TextureId a, TextureId b) {
    TextureMemory::Product& known = memory_.products_[{a, b}];
    if (known.build == memory_.build_ && known.id != kNoTexture) return known.id;
    if (known.id == kNoTexture || changed(a) || changed(b)) {
        TextureNode node;
        node.op = TextureOp::Multiply;
        node.a = a;
        node.b = b;
        known.id = place(known.id, node);
    }
    known.build = memory_.build_;
    return known.id;
}

TextureId TextureCompiler::connected(const NodeRecord& node, PinId pin) {
    const ItemUid uid = node.input(pin);
    return uid ? compile(uid) : kNoTexture;
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
    if (known != memory_.entries_.end() && known->second.build == memory_.build_) {
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
    // What was read in a circle depends on where it was entered.
    if (circle_) entry.record = nullptr;
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
    const bool baked = record->type == NT_TEX_BAKING;
    if (!baked && (entry.node.op == TextureOp::Image || entry.node.op == TextureOp::InstanceColor)) {
        const ImageTexturePtr now = images_.imageOf(*record, log_);
        const ImageTexturePtr then = entry.node.data == kNoTexture ? nullptr : table_.images[entry.node.data].image;
        if (now != then) return false;
    }
    if (below && entry.holdsInputs) return false;
    if (below) place(entry.id, entry.node);
    return true;
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
    entry.reads.clear();
    for (const ItemUid uid : reads) entry.reads.emplace_back(uid, nodes_.share(uid));
    entry.id = place(entry.id, node);
    entry.record = record;
    ++memory_.described_;
}

void TextureCompiler::logOnce(int type) {
    if (logged_.insert(type).second && log_) {
        log_("Textures of node type " + std::to_string(type) + " are shown as a plain colour.");
    }
}

}  // namespace Lumora::engine
