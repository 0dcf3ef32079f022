// What random edits write into attributes: meshes, placements, pixels and files, and values that have no business
// there.
#include <gtest/gtest.h>

#include <cstring>
#include <fstream>

#include "engine/render/vec.h"
#include "tests/engine/compile/image_samples.h"
#include "tests/engine/random/random_scene.h"

namespace Lumora::engine::test {

namespace {

bool holdsPixels(NodeType type) {
    return type == NT_TEX_IMAGE || type == NT_TEX_FLOATIMAGE || type == NT_TEX_ALPHAIMAGE ||
           type == NT_TEX_INSTANCECOLOR;
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

}  // namespace

void RandomScene::writeAttribute(ApiNode* node) {
    const unsigned count = node->attrCount();
    if (count == 0) return;
    if (hostile_ && chance(40)) return spoilAttribute(node, pick(count));
    const std::string label = Item::of(node)->label();
    const auto vector = [&](AttributeId id, float low, float high) {
        const Vec3<float> v = {between(low, high), between(low, high), between(low, high)};
        say("attribute %d of %s = %g %g %g", id, label.c_str(), v.x, v.y, v.z);
        node->set(id, v);
    };
    switch (node->type()) {
        case NT_GEO_MESH:
            return writeMesh(node);
        case NT_GEO_SCATTER:
            return writeScatter(node);
        case NT_GEO_GROUP:
            say("pins of %s", label.c_str());
            node->set(A_GROUP_PIN_COUNT, 1 + static_cast<int>(pick(8)));
            return;
        case NT_TRANSFORM_VALUE:
            vector(A_ROTATION, -180, 180);
            vector(A_SCALE, 0.2f, 3);
            return vector(A_TRANSLATION, -1, 1);
        default:
            break;
    }
    if (holdsPixels(node->type())) return writeImage(node);
    if (node->hasAttr(A_PIN_COUNT)) {
        say("knots of %s", label.c_str());
        node->set(A_PIN_COUNT, static_cast<int>(pick(4)));
    } else if (node->hasAttr(A_FILENAME)) {
        const std::string file = fileName();
        say("file of %s = %s", label.c_str(), file.c_str());
        node->set(A_FILENAME, file.c_str());
    } else if (node->hasAttr(A_VALUE)) {
        const float v = number(0, 1, 0.5f);
        say("value of %s = %g", label.c_str(), v);
        switch (node->attrTypeIx(0)) {
            case AT_BOOL:
                node->set(A_VALUE, v > 0.5f);
                break;
            case AT_INT:
                node->set(A_VALUE, static_cast<int>(pick(8)));
                break;
            case AT_INT2:
                node->set(A_VALUE, Vec2<int>{static_cast<int>(pick(8)), static_cast<int>(pick(8))});
                break;
            case AT_FLOAT:
                node->set(A_VALUE, v);
                break;
            case AT_FLOAT3:
                if (chance(15)) {
                    const float times[] = {0, 1};
                    const Vec3<float> values[] = {{v, v, v}, {unit(), unit(), unit()}};
                    node->setAnim(A_VALUE, ApiTimeSampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE),
                                  values, 2);
                } else {
                    node->set(A_VALUE, chance(50) ? Vec3<float>{v, v, v} : Vec3<float>{unit(), unit(), unit()});
                }
                break;
            default:
                break;
        }
    }
}

void RandomScene::writeMesh(ApiNode* node) {
    say("shape of %s", Item::of(node)->label().c_str());
    const bool now = chance(90);
    // A bent sheet of triangles and quads. Now and then only its points move.
    constexpr int kSide = 4;
    std::vector<Vec3<float>> points;
    const Vec3<float> bend = point(0.6f);
    for (int i = 0; i < kSide * kSide; ++i) {
        const float x = static_cast<float>(i % kSide) / 1.5f - 1.0f, y = static_cast<float>(i / kSide) / 1.5f - 1.0f;
        points.push_back({x + 0.1f * unit(), y + 0.1f * unit(), bend.x * x * y + bend.y * x + 0.2f * unit()});
    }
    const bool moved = chance(40) && node->getArraySize(A_VERTICES) == points.size();
    node->set(A_VERTICES, points.data(), points.size(), now);
    if (moved) return;
    std::vector<int> counts, corners, materials, objects;
    const bool quads = chance(40), mixed = chance(30);
    const int materialCount = 1 + static_cast<int>(pick(3)), objectCount = 1 + static_cast<int>(pick(2));
    for (int y = 0; y + 1 < kSide; ++y) {
        for (int x = 0; x + 1 < kSide; ++x) {
            const int a = y * kSide + x;
            const bool quad = mixed ? chance(50) : quads;
            if (quad) {
                corners.insert(corners.end(), {a, a + 1, a + kSide + 1, a + kSide});
            } else {
                corners.insert(corners.end(), {a, a + 1, a + kSide + 1, a, a + kSide + 1, a + kSide});
            }
            for (int i = quad ? 1 : 0; i < 2; ++i) {
                counts.push_back(quad ? 4 : 3);
                materials.push_back(static_cast<int>(pick(static_cast<std::size_t>(materialCount))));
                objects.push_back(static_cast<int>(pick(static_cast<std::size_t>(objectCount))));
            }
        }
    }
    node->set(A_VERTICES_PER_POLY, counts.data(), counts.size(), now);
    node->set(A_POLY_VERTEX_INDICES, corners.data(), corners.size(), now);
    node->set(A_POLY_MATERIAL_INDICES, materials.data(), materials.size(), now);
    node->set(A_POLY_OBJECT_INDICES, objects.data(), chance(60) ? objects.size() : 0, now);
    for (const auto& [values, indices] :
         {std::pair{A_UVWS, A_POLY_UVW_INDICES}, {A_UVWS_2, A_POLY_UVW_INDICES_2}, {A_UVWS_3, A_POLY_UVW_INDICES_3}}) {
        std::vector<Vec3<float>> uvs;
        const float stretch = between(0.3f, 2);
        for (const Vec3<float>& p : points) uvs.push_back({p.x * stretch, p.y, 0});
        const bool has = chance(60);
        node->set(values, uvs.data(), has ? uvs.size() : 0, now);
        node->set(indices, corners.data(), has ? corners.size() : 0, now);
    }
    std::vector<Vec3<float>> normals;
    for (std::size_t i = 0; i < points.size(); ++i) normals.push_back({0.3f * (unit() - 0.5f), 0.3f * unit(), 1});
    const bool smooth = chance(50);
    node->set(A_NORMALS, normals.data(), smooth ? normals.size() : 0, now);
    node->set(A_POLY_NORMAL_INDICES, corners.data(), smooth ? corners.size() : 0, now);
    static const char* kNames[] = {"one", "two", "three"};
    node->set(A_MATERIAL_NAMES, kNames, static_cast<std::size_t>(materialCount), now);
    node->set(A_OBJECT_NAMES, kNames, static_cast<std::size_t>(objectCount), now);
    node->set(A_SUBD_LEVEL, chance(15) ? 1 + static_cast<int>(pick(2)) : 0, now);
    node->set(A_SUBD_BOUNDARY, static_cast<int>(pick(4)), now);
    node->set(A_SUBD_SHARPNESS, between(0, 3), now);
    node->set(A_MESH_OBJECT_ID, static_cast<int>(pick(5)) - 1, now);
}

Matrix<float> RandomScene::placement() {
    const float angle = between(-3, 3), scale = between(0.4f, 1.2f);
    Matrix<float> m;
    m.m[0][0] = m.m[2][2] = scale * std::cos(angle);
    m.m[0][2] = scale * std::sin(angle);
    m.m[2][0] = -m.m[0][2];
    m.m[1][1] = scale;
    const Vec3<float> p = point(1.5f);
    m.m[0][3] = p.x;
    m.m[1][3] = p.y;
    m.m[2][3] = p.z;
    return m;
}

void RandomScene::writeScatter(ApiNode* node) {
    std::vector<Matrix<float>> places(1 + (chance(30) ? pick(3) : 0));
    for (Matrix<float>& m : places) m = placement();
    say("%zu placements of %s", places.size(), Item::of(node)->label().c_str());
    if (chance(10)) {
        const float times[] = {0, 1};
        places.resize(2 * places.size(), placement());
        node->setAnim(A_TRANSFORM, ApiTimeSampling(times, 2, 0, ApiTimeSampling::endTimeAuto(), ANIMATION_ONCE), 2,
                      places.data(), places.size());
    } else {
        node->set(A_TRANSFORM, places.data(), places.size());
    }
    std::vector<int> ids(places.size());
    for (int& id : ids) id = static_cast<int>(pick(20)) - 1;
    if (chance(40)) node->set(A_INSTANCE_IDS, ids.data(), ids.size());
}

void RandomScene::writeImage(ApiNode* node) {
    const std::string label = Item::of(node)->label();
    if (chance(60)) {
        const std::string file = fileName();
        say("file of %s = %s", label.c_str(), file.c_str());
        node->set(A_FILENAME, file.c_str(), false);
        node->set(A_IMAGE_IMPORT, static_cast<int>(pick(8)) - 1);
        return;
    }
    const Vec2<int> size = {1 + static_cast<int>(pick(5)), 1 + static_cast<int>(pick(5))};
    constexpr int kKinds[] = {0, 1, 2, 3, 4, 5};
    const int kind = kKinds[pick(std::size(kKinds))];
    // Room for four floats a pixel: what the kind does not need is too much, and is to be refused.
    const std::size_t pixels = static_cast<std::size_t>(size.x) * static_cast<std::size_t>(size.y);
    const std::size_t each = kind == 0 ? 4 : (kind == 2 ? 16 : (kind == 1 ? 1 : 4 * (1 + pick(4))));
    std::vector<unsigned char> bytes(pixels * each);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(pick(256));
    if (kind == 2) {
        for (std::size_t i = 0; i + 3 < bytes.size(); i += 4) {
            const float v = unit();
            std::memcpy(&bytes[i], &v, sizeof v);
        }
    }
    say("%d x %d pixels of kind %d for %s", size.x, size.y, kind, label.c_str());
    node->set(A_FILENAME, "", false);
    node->set(A_SIZE, size, false);
    node->set(A_IMAGE_TYPE, kind, false);
    node->set(A_BUFFER, bytes.data(), bytes.size());
}

/// Writes the file anew, and has everybody who shows it read it again.
void RandomScene::writeFile(std::size_t index) {
    const std::string path = files_[index];
    const std::string suffix = std::filesystem::path(path).extension().string();
    if (!path.starts_with(folder_.string()) || path == folder_.string() || path.ends_with("pipe.png") ||
        path.ends_with("sparse.png") || path.ends_with("missing.png")) {
        return;
    }
    const int width = 1 + static_cast<int>(pick(6)), height = 1 + static_cast<int>(pick(6));
    const auto numbers = [&](int count, float most) {
        std::string text;
        for (int i = 0; i < count; ++i) text += std::to_string(unit() * most) + (i % 3 == 2 ? "\n" : " ");
        return text;
    };
    if (suffix == ".ies") {
        writeText(path, "IESNA:LM-63-2002\nTILT=NONE\n1 1000 1.0 3 1 1 2 0.1 0.1 0\n1.0 1.0 20\n0 45 90\n0\n" +
                            numbers(3, 100) + "\n");
    } else if (suffix == ".ldt") {
        std::string text = "Maker\n1\n1\n1\n0\n3\n45\nreport\nlamp\n12\nfile\ntoday\n";
        for (int i = 0; i < 13; ++i) text += "100\n";
        text += "1\n1\nLED\n1\n1\n1\n1\n";
        for (int i = 0; i < 10; ++i) text += "0.5\n";
        text += "0\n0\n45\n90\n";
        for (int i = 0; i < 3; ++i) text += std::to_string(unit()) + "\n";
        writeText(path, text);
    } else if (suffix == ".cube") {
        writeText(path, "LUT_3D_SIZE 2\n" + numbers(24, 1));
    } else {
        const int channels = suffix == ".hdr" ? 3 : 1 + static_cast<int>(pick(4));
        FileData values(static_cast<std::size_t>(width * height * channels));
        for (unsigned char& v : values) v = static_cast<unsigned char>(pick(256));
        if (!test::writeImage(path, width, height, channels, values)) writeText(path, "no picture");
    }
    if (hostile_ && chance(60)) {
        // Cut short, or with a few bytes that should not be there.
        std::error_code ignored;
        const auto size = std::filesystem::file_size(path, ignored);
        std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
        for (unsigned i = pick(6); i > 0 && size > 0; --i) {
            file.seekp(static_cast<std::streamoff>(pick(static_cast<std::size_t>(size))));
            file.put(static_cast<char>(chance(30) ? 255 : pick(256)));
        }
        file.close();
        if (chance(40)) std::filesystem::resize_file(path, pick(static_cast<std::size_t>(size) + 1), ignored);
    }
    say("write %s", path.c_str());
    if (!target_) return;
    for (const NodeSchema* schema : allNodeSchemas()) {
        if (schema->attributeIndex(A_FILENAME) < 0 || schema->attributeIndex(A_RELOAD) < 0) continue;
        ApiNodeArray found;
        root_.findNodes(schema->type, found, true);
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (path == found.get(i)->getString(A_FILENAME)) found.get(i)->set(A_RELOAD, true);
        }
    }
}

void RandomScene::spoilAttribute(ApiNode* node, unsigned index) {
    const AttributeId id = node->attrIdIx(index);
    say("spoil '%s' of %s", node->attrNameIx(index), Item::of(node)->label().c_str());
    const std::size_t count = std::size_t{1} << pick(8) >> pick(2);
    const bool now = chance(80);
    const auto floats = [&](std::size_t n) {
        std::vector<float> v(n);
        for (float& x : v) x = chance(20) ? spoiltNumber() : between(-2, 2);
        return v;
    };
    switch (node->attrTypeIx(index)) {
        case AT_BOOL:
            node->set(id, chance(50), now);
            break;
        case AT_INT:
            // A great number of levels is not refused: it takes long, as it was asked to.
            if (id == A_SUBD_LEVEL) {
                node->set(id, static_cast<int>(pick(5)) - 1, now);
                break;
            }
            node->set(id, chance(50) ? spoiltInteger() : static_cast<int>(pick(12)) - 2, now);
            break;
        case AT_INT2:
            node->set(id, Vec2<int>{spoiltInteger(), chance(50) ? 1 : spoiltInteger()}, now);
            break;
        case AT_FLOAT:
            node->set(id, spoiltNumber(), now);
            break;
        case AT_FLOAT3:
            node->set(id, Vec3<float>{spoiltNumber(), spoiltNumber(), spoiltNumber()}, now);
            break;
        case AT_STRING:
            node->set(id, chance(30) ? "" : chance(30) ? std::string(100000, '/').c_str() : fileName().c_str(), now);
            break;
        case AT_INT_ARRAY: {
            std::vector<int> v(count);
            for (int& x : v) x = chance(10) ? spoiltInteger() : static_cast<int>(pick(6));
            node->set(id, v.data(), v.size(), now);
            break;
        }
        case AT_FLOAT_ARRAY:
            node->set(id, floats(count).data(), count, now);
            break;
        case AT_BYTE_ARRAY:
            node->set(id, reinterpret_cast<const unsigned char*>(floats(count).data()), count, now);
            break;
        case AT_FLOAT2_ARRAY:
            node->set(id, reinterpret_cast<const Vec2<float>*>(floats(2 * count).data()), count, now);
            break;
        case AT_FLOAT3_ARRAY:
            node->set(id, reinterpret_cast<const Vec3<float>*>(floats(3 * count).data()), count, now);
            break;
        case AT_MATRIX_ARRAY:
            node->set(id, reinterpret_cast<const Matrix<float>*>(floats(12 * count).data()), count, now);
            break;
        case AT_STRING_ARRAY: {
            static const char* kNames[] = {"", "a", "a", "\xff\xfe", "long name with spaces"};
            node->set(id, kNames, pick(std::size(kNames) + 1), now);
            break;
        }
        default:
            break;
    }
}

// --- Values ---------------------------------------------------------------------------------------------------------

}  // namespace Lumora::engine::test
