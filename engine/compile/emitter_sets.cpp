#include "engine/compile/emitter_sets.h"

#include <tbb/parallel_for.h>

#include "engine/render/surface.h"
#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

/// Bounds of one polygon; its power is its area. Front is where the winding says.
LightBounds polygonBounds(const CompiledMesh& mesh, std::uint32_t polygon) {
    LightBounds b;
    Float3 normals[2], middle;
    const std::uint32_t corners = mesh.corners(polygon), halves = corners - 2;
    const std::uint32_t first = mesh.corner(polygon);
    const auto vertex = [&](std::uint32_t c) {
        return (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[first + c])];
    };
    for (std::uint32_t c = 0; c < corners; ++c) middle += vertex(c) * (1.0f / static_cast<float>(corners));
    for (std::uint32_t c = 0; c < corners; ++c) b.radius = std::max(b.radius, length(vertex(c) - middle));
    b.center = middle;
    for (std::uint32_t half = 0; half < halves; ++half) {
        Float3 c[3];
        triangleCorners(mesh, polygon, half, c);
        normals[half] = cross(c[1] - c[0], c[2] - c[0]);
        b.power += 0.5f * length(normals[half]);
    }
    if (halves == 1) normals[1] = {};
    b.axis = normalize(normals[0] + normals[1]);
    b.cosine = 1.0f;
    for (std::uint32_t half = 0; half < halves; ++half) {
        const Float3 n = normalize(normals[half]);
        if (n != Float3{}) b.cosine = std::min(b.cosine, dot(b.axis, n));
    }
    // Rounding must not hide what a polygon of several planes sends out.
    b.cosine = std::min(b.cosine, 1.0f) - 1e-5f;
    if (b.cosine <= -0.99f) b.axis = {};
    return b;
}

/// Trees of more leaves than this cost more memory than they are worth; their leaves hold several polygons.
constexpr std::size_t kMaxLeaves = 1u << 16;

/// The polygon's area, weighed by its slot; zero: nothing that can be chosen.
LightBounds glowingBounds(const CompiledMesh& mesh, const SlotGlow& slot, std::uint32_t polygon, float& area) {
    LightBounds b = polygonBounds(mesh, polygon);
    area = b.power;
    b.power *= slot.weight;
    if (!std::isfinite(b.power) || !isFinite(b.center) || !std::isfinite(b.radius)) b.power = 0.0f;
    b.mask = slot.mask;
    b.bothSides = slot.bothSides;
    return b;
}

/// The tree of a large set, over runs of polygons: neighbours in the mesh's order are neighbours in space more often
/// than not.
void growTree(const CompiledMesh& mesh, EmitterSet& set) {
    set.perLeaf = static_cast<std::uint32_t>((set.count + kMaxLeaves - 1) / kMaxLeaves);
    const std::size_t leaves = (set.count + set.perLeaf - 1) / set.perLeaf;
    std::vector<LightBounds> runs(leaves);
    if (set.perLeaf > 1) set.powers.resize(set.count);
    constexpr std::size_t kGrain = 256;
    // Sums of each block by itself, so that they are the same on any number of threads.
    const std::size_t blocks = (leaves + kGrain - 1) / kGrain, slots = set.slots.size();
    std::vector<double> areas(blocks * slots);
    tbb::parallel_for(std::size_t{0}, blocks, [&](std::size_t block) {
        std::vector<LightBounds> run;
        for (std::size_t leaf = block * kGrain; leaf < std::min(leaves, (block + 1) * kGrain); ++leaf) {
            run.clear();
            const std::size_t first = leaf * set.perLeaf, last = std::min(first + set.perLeaf, set.count);
            for (std::size_t place = first; place < last; ++place) {
                const std::uint32_t p = set.polygon(static_cast<std::uint32_t>(place)), slot = mesh.material(p);
                float area = 0.0f;
                run.push_back(glowingBounds(mesh, set.slots[slot], p, area));
                areas[block * slots + slot] += static_cast<double>(area);
                if (set.perLeaf > 1) set.powers[place] = run.back().power;
            }
            runs[leaf] = unite(run.data(), run.size());
        }
    });
    for (std::size_t s = 0; s < slots; ++s) {
        double sum = 0.0;
        for (std::size_t b = 0; b < blocks; ++b) sum += areas[b * slots + s];
        set.slotAreas[s] = static_cast<float>(sum);
    }
    set.tree = LightTree(runs);
}

}  // namespace

std::shared_ptr<const EmitterSet> makeSet(const CompiledMesh& mesh, std::vector<SlotGlow> slots) {
    auto set = std::make_shared<EmitterSet>();
    const bool all = std::all_of(slots.begin(), slots.end(), [](const SlotGlow& s) { return s.mask != 0; });
    set->count = mesh.polygons;
    if (!all) {
        for (std::uint32_t p = 0; p < mesh.polygons; ++p) {
            if (slots[mesh.material(p)].mask) set->polygons.push_back(p);
        }
        set->count = set->polygons.size();
    }
    set->slots = std::move(slots);
    set->slotAreas.assign(set->slots.size(), 0.0f);
    if (set->large()) {
        growTree(mesh, *set);
        return set;
    }
    const Instance asItIs;
    std::uint8_t shapes = 0;
    for (std::uint32_t place = 0; place < set->count; ++place) {
        set->firstShape.push_back(shapes);
        shapes = static_cast<std::uint8_t>(shapes + WorldPolygon(asItIs, mesh, set->polygon(place)).count);
    }
    set->firstShape.push_back(shapes);
    return set;
}

float evenScale(const Matrix<float>& m) {
    const Float3 x = column(m, 0), y = column(m, 1), z = column(m, 2);
    const float s = dot(x, x), slack = 1e-4f * s;
    const bool even = std::abs(dot(y, y) - s) <= slack && std::abs(dot(z, z) - s) <= slack &&
                      std::abs(dot(x, y)) <= slack && std::abs(dot(y, z)) <= slack && std::abs(dot(z, x)) <= slack;
    return even ? std::sqrt(s) : 0.0f;
}

void worldAreas(const Instance& instance, const CompiledMesh& mesh, const EmitterSet& set, float scale,
                std::vector<float>& out) {
    out = set.slotAreas;
    if (scale > 0.0f) {
        for (float& a : out) a *= scale * scale;
        return;
    }
    // Stretched surfaces grow by what their direction makes of it. Of very many polygons some stand for all.
    const std::size_t step = std::max<std::size_t>(set.count / 4096, 1);
    std::vector<double> before(out.size()), after(out.size());
    for (std::size_t i = 0; i < set.count; i += step) {
        const std::uint32_t p = set.polygon(static_cast<std::uint32_t>(i)), slot = mesh.material(p);
        for (std::uint32_t half = 0; half < mesh.corners(p) - 2; ++half) {
            Float3 c[3];
            triangleCorners(mesh, p, half, c);
            const Float3 a = c[1] - c[0], b = c[2] - c[0];
            before[slot] += static_cast<double>(length(cross(a, b)));
            after[slot] += static_cast<double>(
                length(cross(transformVector(instance.toWorld, a), transformVector(instance.toWorld, b))));
        }
    }
    for (std::size_t s = 0; s < out.size(); ++s) {
        if (before[s] > 0.0) out[s] *= static_cast<float>(after[s] / before[s]);
    }
}

LightBounds worldBounds(const LightBounds& local, const Instance& instance, float scale, float power) {
    LightBounds b = local;
    b.center = transformPoint(instance.toWorld, local.center);
    // A sphere becomes an ellipsoid; the root of the squares is no less than its longest half axis.
    const Float3 x = column(instance.toWorld, 0), y = column(instance.toWorld, 1), z = column(instance.toWorld, 2);
    b.radius = local.radius * (scale > 0.0f ? scale * 1.0001f : std::sqrt(dot(x, x) + dot(y, y) + dot(z, z)));
    b.power = std::isfinite(power) && isFinite(b.center) && std::isfinite(b.radius) ? power : 0.0f;
    if (local.axis != Float3{}) {
        b.axis = normalize(instance.normalToWorld(local.axis));
        // Stretching bends cones of normals; that of a flat light stays flat.
        if (!(scale > 0.0f) && local.cosine < 0.9999f) b.axis = {};
        if (b.axis == Float3{}) b.cosine = -1.0f;
    }
    return b;
}

void aim(LightBounds& bounds, const LightLobe& lobe, const Instance& instance) {
    if (lobe.space == LightLobe::Space::None) return;
    bounds.sharpness = lobe.sharpness;
    if (lobe.space == LightLobe::Space::Front) return;
    // A beam that is not told by the polygons: they may shine where the axis tells of darkness.
    bounds.axis =
        lobe.space == LightLobe::Space::World ? lobe.axis : normalize(transformVector(instance.toWorld, lobe.axis));
    bounds.cosine = bounds.axis == Float3{} ? -1.0f : 1.0f - 1e-5f;
    bounds.least = 0.05f;
}

LightBounds shapeBounds(const LightShape& shape, const LampSlot& slot, float power) {
    LightBounds b;
    const Float3 middle = shape.middle();
    for (const Float3 corner : {shape.origin, shape.origin + shape.first, shape.origin + shape.second,
                                shape.origin + shape.first + shape.second}) {
        if (shape.triangle() && corner == shape.origin + shape.first + shape.second) continue;
        b.radius = std::max(b.radius, length(corner - middle));
    }
    b.center = middle;
    b.axis = shape.normal;
    b.cosine = shape.normal == Float3{} ? -1.0f : 1.0f - 1e-5f;
    b.power = power * shape.area;
    if (!std::isfinite(b.power) || !isFinite(b.center) || !std::isfinite(b.radius)) b.power = 0.0f;
    b.mask = slot.mask;
    b.bothSides = slot.bothSides;
    return b;
}

}  // namespace Lumora::engine
