#include "engine/compile/displacement.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <map>
#include <unordered_set>

#include "engine/compile/height_filter.h"
#include "engine/compile/subdivision.h"
#include "engine/compile/texture_compiler.h"

namespace Lumora::engine {

namespace {

/// A displaced mesh gets no more polygons than this.
constexpr std::uint64_t kMaxPolygons = 1'000'000;
constexpr int kMaxNesting = 64;

/// The displacement node of a material: its own, or of a mix the first of its parts that has one. Parts that several
/// mixes share are looked at once.
ItemUid displacementNode(const NodeTable& nodes, ItemUid material) {
    const NodeRecord* top = material ? nodes.peek(material) : nullptr;
    if (!top) return 0;
    if (top->type != NT_MAT_MIX) return top->input(P_DISPLACEMENT);
    std::unordered_set<ItemUid> seen;
    std::vector<ItemUid> open{material};
    while (!open.empty()) {
        const ItemUid uid = open.back();
        open.pop_back();
        const NodeRecord* node = uid && seen.insert(uid).second ? nodes.peek(uid) : nullptr;
        if (!node || !node->pin(P_DISPLACEMENT)) continue;
        if (const ItemUid own = node->input(P_DISPLACEMENT)) return own;
        if (node->type == NT_MAT_MIX) open.insert(open.end(), {node->input(P_MATERIAL2), node->input(P_MATERIAL1)});
    }
    return 0;
}

void gather(const NodeTable& nodes, ItemUid uid, std::vector<NodeRecordPtr>& out, int depth = 0) {
    const NodeRecordPtr& record = nodes.share(uid);
    if (!record || depth > kMaxNesting || std::find(out.begin(), out.end(), record) != out.end()) return;
    out.push_back(record);
    for (const PinRecord& pin : record->pins) {
        if (pin.input) gather(nodes, pin.input, out, depth + 1);
    }
}

std::vector<Float3> vertexNormals(const std::vector<Float3>& vertices, const std::vector<int>& quads) {
    std::vector<Float3> normals(vertices.size());
    for (std::size_t i = 0; i + 3 < quads.size(); i += 4) {
        const auto at = [&](std::size_t k) { return static_cast<std::size_t>(quads[i + k]); };
        const Float3 n = cross(vertices[at(2)] - vertices[at(0)], vertices[at(3)] - vertices[at(1)]);
        for (std::size_t k = 0; k < 4; ++k) normals[at(k)] += n;
    }
    for (Float3& n : normals) n = normalize(n);
    return normals;
}

/// Which way each vertex moves: along the mean of its corners' normals, so that vertices that lie in one place and have
/// the same normals stay together.
std::vector<Float3> directions(const MeshSource& fine, const std::vector<Float3>& flat) {
    std::vector<Float3> out(flat.size());
    const std::vector<int>& indices = *fine.vertexIndices;
    for (std::size_t c = 0; c < indices.size(); ++c) {
        out[static_cast<std::size_t>(indices[c])] +=
            (*fine.normals)[static_cast<std::size_t>((*fine.normalIndices)[c])];
    }
    for (std::size_t v = 0; v < out.size(); ++v) {
        out[v] = normalize(out[v]);
        if (out[v] == Float3{} || !isFinite(out[v])) out[v] = flat[v];
    }
    return out;
}

/// Gives the moved corners normals: those of the polygons, or, with `smooth`, the ones that they had, turned as far as
/// the polygons were. `before` and `after` are the normals of the vertices by their polygons.
void bendNormals(MeshSource& fine, const std::vector<Float3>& before, const std::vector<Float3>& after,
                 const std::vector<char>& moved, bool smooth) {
    const std::vector<int>& indices = *fine.vertexIndices;
    auto normals = std::make_shared<std::vector<Float3>>();
    auto normalIndices = std::make_shared<std::vector<int>>(indices.size());
    normals->reserve(before.size() + 1);
    // Most vertices have one normal for all their corners.
    struct First {
        int from = -1, to = -1;
        char moved = 0;
    };
    std::vector<First> first(before.size());
    for (std::size_t c = 0; c < indices.size(); ++c) {
        const auto v = static_cast<std::size_t>(indices[c]);
        const int from = (*fine.normalIndices)[c];
        First& known = first[v];
        if (known.to < 0 || known.from != from || known.moved != moved[c]) {
            const Float3 old = (*fine.normals)[static_cast<std::size_t>(from)];
            Float3 n = !moved[c] ? old : smooth ? normalize(old + (after[v] - before[v])) : after[v];
            if (n == Float3{} || !isFinite(n)) n = after[v];
            const int to = static_cast<int>(normals->size());
            normals->push_back(n);
            if (known.to < 0) known = {from, to, moved[c]};
            (*normalIndices)[c] = to;
        } else {
            (*normalIndices)[c] = known.to;
        }
    }
    fine.normals = std::move(normals);
    fine.normalIndices = std::move(normalIndices);
}

}  // namespace

std::shared_ptr<const Displacement> displacementOf(const NodeTable& nodes, const NodeRecord& mesh, ImageStore& images,
                                                   const LogFunction& log) {
    std::vector<ItemUid> found;
    for (std::size_t i = mesh.staticPinCount; i < mesh.pins.size(); ++i) {
        found.push_back(displacementNode(nodes, mesh.pins[i].input));
    }
    if (std::all_of(found.begin(), found.end(), [](ItemUid uid) { return uid == 0; })) return nullptr;
    auto out = std::make_shared<Displacement>();
    TextureCompiler textures(nodes, images, out->textures, log);
    textures.withoutPyramids();
    for (const ItemUid uid : found) {
        Displacement::Height height;
        const NodeRecord* node = uid ? nodes.find(uid) : nullptr;
        if (node) {
            gather(nodes, uid, out->sources);
            height = readHeight(nodes, *node);
            height.texture = textures.connected(*node, P_TEXTURE);
            out->level = std::max(out->level, std::clamp(nodes.integer(*node, P_LEVEL, 10), 0, 16));
        }
        out->byMaterial.push_back(height);
    }
    textures.finish();
    out->nodes = std::move(found);
    return out;
}

Displacement::Height readHeight(const NodeTable& nodes, const NodeRecord& node) {
    Displacement::Height height;
    height.scale = nodes.number(node, P_AMOUNT, 0.001f);
    height.middle = nodes.number(node, P_MID_LEVEL, 0.0f);
    height.filter = std::clamp(nodes.integer(node, P_FILTER_SIZE, 1), 0, 20);
    const int last = static_cast<int>(DisplacementDirection::Up);
    height.direction =
        static_cast<DisplacementDirection>(std::clamp(nodes.integer(node, P_DISPLACEMENT_DIRECTION, 0), 0, last));
    // A bump follows heights along the normals and nothing else.
    const bool alongNormals =
        height.direction == DisplacementDirection::Normals || height.direction == DisplacementDirection::FlatNormals;
    height.flatShading = alongNormals && nodes.integer(node, P_SUBDIVISION, 0) > 0;
    return height;
}

bool movesOtherwise(const NodeRecord* before, const NodeRecord& after) {
    if (!after.pin(P_DISPLACEMENT)) return false;
    if (!before) return after.input(P_DISPLACEMENT) != 0;
    if (before->input(P_DISPLACEMENT) != after.input(P_DISPLACEMENT)) return true;
    return after.type == NT_MAT_MIX && (before->input(P_MATERIAL1) != after.input(P_MATERIAL1) ||
                                        before->input(P_MATERIAL2) != after.input(P_MATERIAL2));
}

namespace {

/// Directions of u along the surface at each vertex, from the first set of coordinates; zero where there are none.
std::vector<Float3> vertexTangents(const MeshSource& fine) {
    const std::vector<int>& indices = *fine.vertexIndices;
    std::vector<Float3> tangents(fine.vertices->size());
    if (!fine.uvs[0]) return tangents;
    const auto uv = [&](std::size_t c) { return (*fine.uvs[0])[static_cast<std::size_t>((*fine.uvIndices[0])[c])]; };
    const auto vertex = [&](std::size_t c) { return (*fine.vertices)[static_cast<std::size_t>(indices[c])]; };
    for (std::size_t c = 0; c < indices.size(); ++c) {
        const std::size_t first = c / 4 * 4, next = first + (c + 1) % 4, last = first + (c + 3) % 4;
        const Float3 a = vertex(next) - vertex(c), b = vertex(last) - vertex(c);
        const Float3 da = uv(next) - uv(c), db = uv(last) - uv(c);
        const float area = da.x * db.y - da.y * db.x;
        if (area != 0.0f) {
            tangents[static_cast<std::size_t>(indices[c])] +=
                normalize((a * db.y - b * da.y) * (area > 0 ? 1.0f : -1.0f));
        }
    }
    return tangents;
}

/// Moves the corners of a divided mesh.
class Mover {
public:
    /// `smooth`: the mesh brings normals along.
    Mover(const MeshSource& fine, const Displacement& displacement, bool smooth)
        : fine_(fine),
          displacement_(displacement),
          flat_(vertexNormals(*fine.vertices, *fine.vertexIndices)),
          normals_(smooth ? directions(fine, flat_) : flat_) {
        const auto vectors = [](const Displacement::Height& h) {
            return h.direction == DisplacementDirection::TangentVector;
        };
        const auto& all = displacement.byMaterial;
        if (std::any_of(all.begin(), all.end(), vectors)) tangents_ = vertexTangents(fine);
        for (const Displacement::Height& height : all) {
            if (height.texture == kNoTexture) continue;
            const auto [it, added] = tables_.try_emplace(std::max(height.filter, 1));
            if (added) it->second = smoothed(displacement.textures, it->first);
        }
    }

    /// Of the vertices, by their polygons.
    const std::vector<Float3>& flatNormals() const { return flat_; }

    /// The displacement of a corner; null: its material moves nothing.
    const Displacement::Height* heightOf(std::size_t corner) const {
        const auto material =
            fine_.materialIndices ? static_cast<std::size_t>((*fine_.materialIndices)[corner / 4]) : std::size_t{0};
        if (material >= displacement_.byMaterial.size()) return nullptr;
        const Displacement::Height& height = displacement_.byMaterial[material];
        return height.texture == kNoTexture ? nullptr : &height;
    }

    /// How far the corner goes, and where.
    Float3 offset(std::size_t corner, const Displacement::Height& height) const {
        const auto v = static_cast<std::size_t>((*fine_.vertexIndices)[corner]);
        const Float3 n = normals_[v];
        TextureContext at;
        at.worldPosition = at.objectPosition = (*fine_.vertices)[v];
        at.worldNormal = at.objectNormal = at.shadingNormal = n;
        at.view = -n;
        for (int set = 0; set < 3; ++set) {
            const int from = fine_.uvs[set] ? set : 0;
            if (fine_.uvs[from])
                at.uv[set] = (*fine_.uvs[from])[static_cast<std::size_t>((*fine_.uvIndices[from])[corner])];
        }
        const Float3 value = tables_.at(std::max(height.filter, 1)).color(height.texture, at);
        const Float3 by = (value - splat(height.middle)) * height.scale;
        const Float3 moved = along(height.direction, v, by);
        return isFinite(moved) ? moved : Float3{};
    }

private:
    Float3 along(DisplacementDirection direction, std::size_t v, Float3 by) const {
        const Float3 n = normals_[v];
        switch (direction) {
            case DisplacementDirection::FlatNormals:
                return flat_[v] * average(by);
            case DisplacementDirection::TangentVector: {
                const Float3 t = normalize(tangents_[v] - n * dot(n, tangents_[v]));
                // Without coordinates there is no telling where red and green go.
                if (t == Float3{}) return n * by.z;
                return t * by.x + cross(n, t) * by.y + n * by.z;
            }
            case DisplacementDirection::ObjectVector:
                return by;
            case DisplacementDirection::Up:
                return {0.0f, average(by), 0.0f};
            default:
                break;
        }
        return n * average(by);
    }

    const MeshSource& fine_;
    const Displacement& displacement_;
    std::vector<Float3> flat_, normals_, tangents_;
    std::map<int, TextureTable> tables_;  ///< by the radius of their images' smoothing
};

}  // namespace

MeshSource displace(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Displacement& displacement,
                    std::string& note) {
    const int wanted = std::max(displacement.level, 1);
    int level = 0;
    for (std::uint64_t n = mesh.vertexIndices->size(); level < wanted && n <= kMaxPolygons; n *= 4) ++level;
    level = std::max(level, 1);
    // Sharp sides everywhere: the polygons keep their shape and are only divided.
    const bool smooth = mesh.normals && mesh.normalIndices;
    MeshSource fine = subdivide(mesh, perPolygon, {level, Boundary::EdgesAndCorners, 10.0f}, note, smooth);
    if (!fine.vertices) return fine;
    if (level < wanted) {
        note = "is displaced at level " + std::to_string(level) + " in place of " + std::to_string(wanted) +
               ": that would be too many polygons";
    }
    const std::vector<int>& indices = *fine.vertexIndices;
    const Mover mover(fine, displacement, smooth);
    const std::size_t corners = indices.size();
    std::vector<Float3> offsets(corners);
    std::vector<char> shaded(corners);  ///< by the surface as it was moved
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, corners, 4096), [&](const auto& range) {
        for (std::size_t c = range.begin(); c != range.end(); ++c) {
            const Displacement::Height* height = mover.heightOf(c);
            if (!height) continue;
            offsets[c] = mover.offset(c, *height);
            shaded[c] = !height->flatShading;
        }
    });
    // A vertex goes where the mean of its corners says, so that seams of the texture tear nothing.
    std::vector<Float3> sum(fine.vertices->size());
    std::vector<int> count(sum.size());
    for (std::size_t c = 0; c < corners; ++c) {
        sum[static_cast<std::size_t>(indices[c])] += offsets[c];
        ++count[static_cast<std::size_t>(indices[c])];
    }
    auto displaced = std::make_shared<std::vector<Float3>>();
    displaced->reserve(sum.size() + 1);
    for (std::size_t v = 0; v < sum.size(); ++v) {
        displaced->push_back((*fine.vertices)[v] + sum[v] * (1.0f / static_cast<float>(std::max(count[v], 1))));
    }
    bendNormals(fine, mover.flatNormals(), vertexNormals(*displaced, indices), shaded, smooth);
    fine.vertices = std::move(displaced);
    return fine;
}

}  // namespace Lumora::engine
