#include "engine/compile/texture_compiler.h"

namespace Lumora::engine {

namespace {

/// Shown where an image is missing: between the extremes, so that it neither hides nor blinds.
constexpr Float3 kMissing{0.5f, 0.5f, 0.5f};
constexpr std::size_t kMaxNesting = 256;

}  // namespace

Matrix<float> uvwToTexture(const Matrix<float>& transform) {
    // The picture lies in the unit square and is scaled and turned about its middle before it is moved.
    Matrix<float> toMiddle, back;
    for (int row = 0; row < 2; ++row) {
        toMiddle.m[row][3] = -0.5f;
        back.m[row][3] = 0.5f;
    }
    Matrix<float> linear = transform, move;
    for (int row = 0; row < 3; ++row) {
        linear.m[row][3] = 0.0f;
        move.m[row][3] = transform.m[row][3];
    }
    return inverse(multiply(move, multiply(back, multiply(linear, toMiddle))));
}

TextureId TextureCompiler::add(TextureNode node) {
    // Operations on constants are constants.
    const bool varies = node.op == TextureOp::Image ? node.image != nullptr
                                                    : node.op == TextureOp::Checks || node.op == TextureOp::Side;
    const auto fixed = [this](TextureId id) { return table_.isConstant(id); };
    if (node.op != TextureOp::Constant && !varies && fixed(node.a) && fixed(node.b) && fixed(node.c) &&
        fixed(node.power)) {
        table_.nodes.push_back(node);
        const Float3 value = table_.color(static_cast<TextureId>(table_.nodes.size() - 1), {});
        table_.nodes.pop_back();
        return constant(value);
    }
    table_.nodes.push_back(std::move(node));
    return static_cast<TextureId>(table_.nodes.size() - 1);
}

TextureId TextureCompiler::constant(Float3 value) {
    TextureNode node;
    node.value = isFinite(value) ? value : Float3{};
    table_.nodes.push_back(std::move(node));
    return static_cast<TextureId>(table_.nodes.size() - 1);
}

TextureId TextureCompiler::multiply(TextureId a, TextureId b) {
    TextureNode node;
    node.op = TextureOp::Multiply;
    node.a = a;
    node.b = b;
    return add(std::move(node));
}

TextureId TextureCompiler::connected(const NodeRecord& node, PinId pin) {
    const ItemUid uid = node.input(pin);
    return uid ? compile(uid) : kNoTexture;
}

TextureId TextureCompiler::onPin(const NodeRecord& node, PinId pin, Float3 fallback) {
    if (const TextureId id = connected(node, pin); id != kNoTexture) return id;
    const PinRecord* record = node.pin(pin);
    Float3 value;
    return constant(record && toVector(record->value, value) ? value : fallback);
}

TextureId TextureCompiler::compile(ItemUid uid) {
    if (const auto it = known_.find(uid); it != known_.end()) return it->second;
    const NodeRecord* node = nodes_.find(uid);
    if (!node) return kNoTexture;
    if (open_.size() >= kMaxNesting || !open_.insert(uid).second) {
        if (log_) log_("Texture \"" + node->name + "\" is among its own inputs; it reads as nothing there.");
        return kNoTexture;
    }
    const TextureId id = add(describe(*node));
    open_.erase(uid);
    known_.emplace(uid, id);
    return id;
}

void TextureCompiler::logOnce(int type) {
    if (logged_.insert(type).second && log_) {
        log_("Textures of node type " + std::to_string(type) + " are shown as a plain colour.");
    }
}

std::shared_ptr<const std::array<float, 256>> TextureCompiler::byteTable(float gamma) {
    auto& table = byteTables_[gamma];
    if (!table) {
        auto values = std::make_shared<std::array<float, 256>>();
        for (int i = 0; i < 256; ++i) (*values)[i] = decodeGamma(static_cast<float>(i) / 255.0f, gamma);
        table = std::move(values);
    }
    return table;
}

Projection TextureCompiler::projectionOf(const NodeRecord& node) {
    Projection p;
    const NodeRecord* source = nodes_.input(node, P_PROJECTION);
    if (!source) return p;
    switch (source->type) {
        case NT_PROJ_FLAT:
        case NT_PROJ_PERSPECTIVE:
            p.kind = ProjectionKind::Flat;
            break;
        case NT_PROJ_BOX:
        case NT_PROJ_TRIPLANAR:
            p.kind = ProjectionKind::Box;
            break;
        case NT_PROJ_SPHERICAL:
            p.kind = ProjectionKind::Spherical;
            break;
        case NT_PROJ_CYLINDRICAL:
            p.kind = ProjectionKind::Cylindrical;
            break;
        default:
            break;
    }
    p.uvSet = static_cast<std::uint8_t>(std::clamp(nodes_.integer(*source, P_UV_SET, 1), 1, 3) - 1);
    // 1 is the world's space; 3 and 4 go with the object.
    p.space = nodes_.integer(*source, P_COORDINATE_SPACE, 1) >= 3 ? CoordinateSpace::Object : CoordinateSpace::World;
    if (const NodeRecord* transform = nodes_.input(*source, P_TRANSFORM)) {
        const Matrix<float> m = readTransform(nodes_, transform);
        p.transformed = m != Matrix<float>{};
        p.toTexture = p.kind == ProjectionKind::Uvw ? uvwToTexture(m) : inverse(m);
    }
    return p;
}

void TextureCompiler::describeImage(const NodeRecord& node, TextureNode& out) {
    out.op = TextureOp::Image;
    if (node.type == NT_TEX_ALPHAIMAGE) out.channel = ImageChannel::Alpha;
    if (node.type == NT_TEX_FLOATIMAGE) out.channel = ImageChannel::Grey;
    out.value = kMissing;
    out.image = images_.imageOf(node, log_);
    out.invert = nodes_.flag(node, P_INVERT, false);
    out.border = static_cast<BorderMode>(std::clamp(nodes_.integer(node, P_BORDER_MODE, 0), 0, 4));
    out.gamma = std::clamp(nodes_.number(node, P_GAMMA, 2.2f), 0.01f, 100.0f);
    if (out.image && out.image->format() == PixelFormat::Byte) out.byteTable = byteTable(out.gamma);
    if (const TextureId power = onPin(node, P_POWER, splat(1.0f));
        table_.nodes[power].op != TextureOp::Constant || table_.nodes[power].value != splat(1.0f)) {
        out.power = power;
    }
}

TextureNode TextureCompiler::describe(const NodeRecord& node) {
    TextureNode out;
    const auto inputs = [&](PinId a, PinId b) {
        out.a = onPin(node, a, {});
        out.b = onPin(node, b, {});
    };
    switch (node.type) {
        case NT_TEX_RGB:
        case NT_TEX_FLOAT:
        case NT_FLOAT:
        case NT_INT:
        case NT_BOOL:
        case NT_ENUM: {
            const Value* value = node.attribute(A_VALUE);
            if (!value || !toVector(*value, out.value)) out.value = {};
            return out;
        }
        case NT_TEX_IMAGE:
        case NT_TEX_ALPHAIMAGE:
        case NT_TEX_FLOATIMAGE:
            describeImage(node, out);
            break;
        case NT_TEX_MULTIPLY:
            out.op = TextureOp::Multiply;
            inputs(P_TEXTURE1, P_TEXTURE2);
            break;
        case NT_TEX_ADD:
            out.op = TextureOp::Add;
            inputs(P_TEXTURE1, P_TEXTURE2);
            break;
        case NT_TEX_SUBTRACT:
            out.op = TextureOp::Subtract;
            inputs(P_TEXTURE1, P_TEXTURE2);
            break;
        case NT_TEX_MIX:
        case NT_TEX_COSINEMIX:
            out.op = node.type == NT_TEX_MIX ? TextureOp::Mix : TextureOp::CosineMix;
            inputs(P_TEXTURE1, P_TEXTURE2);
            out.c = onPin(node, P_AMOUNT, splat(0.5f));
            break;
        case NT_TEX_INVERT:
            out.op = TextureOp::Invert;
            out.a = onPin(node, P_TEXTURE, {});
            break;
        case NT_TEX_CLAMP:
            out.op = TextureOp::Clamp;
            inputs(P_INPUT, P_START);
            out.c = onPin(node, P_END, splat(1.0f));
            break;
        case NT_TEX_COLORCORRECTION:
            out.op = TextureOp::ColorCorrection;
            out.a = onPin(node, P_TEXTURE, {});
            out.b = onPin(node, P_BRIGHTNESS, splat(1.0f));
            out.invert = nodes_.flag(node, P_INVERT, false);
            out.p = {nodes_.number(node, P_HUE, 0.0f), nodes_.number(node, P_SATURATION, 1.0f),
                     nodes_.number(node, P_CONTRAST, 0.0f), nodes_.number(node, P_GAMMA, 1.0f)};
            break;
        case NT_TEX_CHECKS:
            out.op = TextureOp::Checks;
            break;
        case NT_TEX_UVWTRANSFORM:
            out.op = TextureOp::UvwTransform;
            out.a = onPin(node, P_TEXTURE, {});
            break;
        case NT_TEX_SIDE:
            out.op = TextureOp::Side;
            out.invert = nodes_.flag(node, P_INVERT, false);
            break;
        default:
            logOnce(node.type);
            out.value = kMissing;
            return out;
    }
    if (node.pin(P_PROJECTION)) out.projection = projectionOf(node);
    if (const NodeRecord* transform = nodes_.input(node, P_TRANSFORM)) {
        const Matrix<float> m = readTransform(nodes_, transform);
        out.transformed = m != Matrix<float>{};
        out.uvwToTexture = uvwToTexture(m);
    }
    return out;
}

}  // namespace Lumora::engine
