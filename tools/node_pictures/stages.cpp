#include "tools/node_pictures/stages.h"

#include <cmath>

namespace pictures {

using namespace Lumora;

namespace {

Recipe dull(Float3 color) {
    return make(NT_MAT_DIFFUSE, {{P_DIFFUSE, color}});
}

Recipe dull(const Recipe& texture) {
    return make(NT_MAT_DIFFUSE, {{P_DIFFUSE, texture}});
}

/// Floor and wall that darken towards the top.
void addBackdrop(Builder& b) {
    Shape shape = backdrop(40, 9);
    for (Float3& uv : shape.uvs) std::swap(uv.x, uv.y);  // a gradient runs along the first coordinate
    Recipe shades =
        make(NT_TEX_GRADIENT, {{P_START, Float3{0.6f, 0.6f, 0.6f}}, {P_END, Float3{0.03f, 0.035f, 0.045f}}});
    shades.knots = {{0.48f, {0.56f, 0.56f, 0.56f}}, {0.64f, {0.13f, 0.14f, 0.16f}}};
    b.mesh(shape, {b.node(dull(shades))});
}

/// Soft lamps: a large one from the upper left, a strip that draws an edge, one above.
void addStudio(Builder& b) {
    addBackdrop(b);
    b.lamp({-4.4f, 5.4f, 4.4f}, {0, 1, 0}, 4.6f, 4.6f, {6.4f, 6.2f, 5.9f});
    b.lamp({4.4f, 2.4f, -0.2f}, {0, 1.2f, 0}, 1.1f, 5, {8, 8.4f, 9});
    b.lamp({0.3f, 6.4f, -2.4f}, {0, 0.5f, 0}, 5, 2, {5, 5, 5});
    b.environment({0.12f, 0.125f, 0.14f});
}

void viewBall(Builder& b) {
    b.camera({0, 3.9f, 8.2f}, {0, 0.98f, 0}, 18.5f);
}

void addBall(Builder& b, ApiNode* material, int slices = 96) {
    const Recipe stand = make(NT_MAT_GLOSSY, {{P_DIFFUSE, Float3{0.03f, 0.03f, 0.035f}}, {P_ROUGHNESS, 0.25f}});
    b.mesh(testBall(slices), {material, b.node(dull({0.55f, 0.53f, 0.5f})), b.node(stand)});
}

void ball(const Recipe& recipe, Builder& b) {
    addStudio(b);
    addBall(b, b.node(recipe));
    viewBall(b);
}

void backlit(const Recipe& recipe, Builder& b) {
    addBackdrop(b);
    b.lamp({0.8f, 4.2f, -3.6f}, {0, 0.8f, 0}, 2.4f, 2.4f, {5, 4.7f, 4.1f});
    b.lamp({-4.2f, 5.2f, 4.6f}, {0, 1, 0}, 3.2f, 3.2f, {2.4f, 2.5f, 2.8f});
    b.environment({0.08f, 0.08f, 0.09f});
    b.mesh(Shape().add(bentSheet(), {0, 0, 0}, 1, 12), {b.node(recipe)});
    b.camera({0, 3.2f, 8.2f}, {0, 0.75f, 0}, 23);
}

void lowBall(const Recipe& recipe, Builder& b) {
    addStudio(b);
    ApiNode* material = b.node(recipe);
    Shape shapes;
    shapes.add(Shape().box({-0.72f, 0, -0.72f}, {0.72f, 1.05f, 0.72f}), {-0.25f, 0, -0.35f}, 1, 28);
    shapes.add(sphere(0.52f, 14, 8), {0.72f, 0.52f, 0.75f});
    b.mesh(shapes, {material});
    b.camera({0, 3.9f, 8.2f}, {0.05f, 0.6f, 0}, 18.5f);
}

void gem(const Recipe& recipe, Builder& b) {
    addBackdrop(b);
    b.lamp({-3.4f, 6.4f, 2.4f}, {0, 1, 0}, 1.2f, 1.2f, {60, 60, 60});
    b.lamp({4.4f, 3.4f, 2}, {0, 1.2f, 0}, 0.5f, 4, {26, 26, 26});
    b.lamp({0.3f, 6.4f, -3.4f}, {0, 0.5f, 0}, 4, 1, {14, 14, 14});
    b.environment({0.3f, 0.3f, 0.31f});
    b.mesh(Shape().add(brilliant(1.05f), {0, 0.98f, 0}, 1, 11), {b.node(recipe)});
    b.camera({0, 3.9f, 8.2f}, {0, 0.8f, 0}, 17.5f);
}

void relief(const Recipe& recipe, Builder& b) {
    addStudio(b);
    const Recipe clay = make(
        NT_MAT_GLOSSY,
        {{P_DIFFUSE, Float3{0.62f, 0.36f, 0.22f}}, {P_ROUGHNESS, 0.35f}, {P_INDEX, 1.45f}, {P_DISPLACEMENT, recipe}});
    b.mesh(Shape().add(sphere(0.95f, 32, 16), {0, 1.02f, 0}), {b.node(clay)});
    viewBall(b);
}

void texturePanel(const Recipe& recipe, Builder& b) {
    ApiNode* material = b.node(dull(recipe));
    Shape square = panel({0, 0, 0}, {0, 0, 1}, 2, 2);
    square.add(sphere(0.52f, 64, 32), {0.4f, -0.4f, 0.55f}, 1, 180);
    // The third coordinate rises upwards.
    for (std::size_t i = 0; i < square.uvs.size(); ++i) square.uvs[i].z = 0.5f + 0.5f * square.vertices[i].y;
    b.mesh(square, {material});
    b.lamp({-3.5f, 4, 5}, {0, 0, 0}, 3, 3, {5.5f, 5.5f, 5.5f});
    b.environment({0.62f, 0.62f, 0.64f});
    b.camera({0, 0, 12}, {0, 0, 0}, 9.3f);
}

void boxes(const Recipe& recipe, Builder& b) {
    addStudio(b);
    const Recipe chart = image(Chart::Colors, {{P_PROJECTION, recipe}});
    ApiNode* material = b.node(dull(chart));
    b.instances(Shape().box({-1, -1, -1}, {1, 1, 1}), material, {Builder::place({-0.98f, 0.78f, -0.1f}, 0.78f, 32)});
    b.instances(sphere(1, 96, 48), material, {Builder::place({1.02f, 0.92f, 0.25f}, 0.92f, 0)});
    b.camera({0, 4.2f, 8.2f}, {0.03f, 0.72f, 0}, 26);
}

void nook(const Recipe& recipe, Builder& b) {
    ApiNode* material = b.node(dull(recipe));
    Shape things;
    things.add(backdrop(30, 9));
    things.add(Shape().box({-0.8f, 0, -0.8f}, {0.8f, 1.1f, 0.8f}), {-0.5f, 0, -0.6f}, 1, 24);
    things.add(sphere(0.55f, 64, 32), {0.85f, 0.55f, 0.25f});
    things.add(sphere(0.38f, 64, 32), {-0.55f, 1.48f, -0.6f});
    things.add(Shape().box({-1, 0, -0.25f}, {1, 0.28f, 0.25f}), {-0.55f, 0, 0.75f}, 1, 24);
    b.mesh(things, {material});
    b.lamp({-4.2f, 5.2f, 4.6f}, {0, 1, 0}, 3.2f, 3.2f, {6, 6, 6});
    b.environment({0.55f, 0.55f, 0.57f});
    b.camera({0, 4.6f, 8.0f}, {0, 0.62f, 0}, 21);
}

void sheet(const Recipe& recipe, Builder& b) {
    addStudio(b);
    b.mesh(Shape().add(bentSheet(), {0, 0, 0}, 1, 12), {b.node(dull(recipe))});
    b.camera({0, 4.2f, 8.2f}, {0, 0.85f, 0}, 23);
}

void crowd(const Recipe& recipe, Builder& b) {
    addStudio(b);
    std::vector<Matrix<float>> places;
    std::vector<int> ids;
    constexpr int kSide = 7;
    for (int j = 0; j < kSide; ++j) {
        for (int i = 0; i < kSide; ++i) {
            ids.push_back(static_cast<int>(places.size()));
            const Float3 at{0.62f * static_cast<float>(i - kSide / 2), 0.26f,
                            0.62f * static_cast<float>(j - kSide / 2)};
            places.push_back(Builder::place(at, 0.26f));
        }
    }
    b.instances(sphere(1, 48, 24), b.node(dull(recipe)), places, ids);
    b.camera({0, 6.2f, 7.6f}, {0, 0.1f, 0.1f}, 26);
}

void addToonScene(Builder& b, ApiNode* material) {
    b.mesh(backdrop(40, 9), {b.node(dull({0.62f, 0.66f, 0.72f}))});
    b.lamp({-4.2f, 5.2f, 5.6f}, {0, 1, 0}, 1.0f, 1.0f, {95, 93, 90});
    b.environment({0.14f, 0.145f, 0.16f});
    b.mesh(testBall(96), {material, material, material});
    viewBall(b);
}

void toon(const Recipe& recipe, Builder& b) {
    addToonScene(b, b.node(recipe));
    // For materials that are lit by toon lights alone.
    b.geometry(b.node(make(NT_TOON_DIRECTIONAL_LIGHT,
                           {{P_SUN_DIRECTION, Float3{-0.6f, 0.65f, 0.7f}}, {P_EMIS_TEXTURE, Float3{1, 1, 1}}})));
}

void toonLamp(const Recipe& recipe, Builder& b) {
    const Recipe paint = make(NT_MAT_TOON, {{P_DIFFUSE, Float3{0.85f, 0.3f, 0.12f}}, {P_TOON_LIGHT_MODE, 2}});
    addToonScene(b, b.node(paint));
    ApiNode* light = b.node(recipe);
    ApiNode* scatter = b.node(NT_GEO_SCATTER);
    scatter->connectTo(P_GEOMETRY, light);
    const Matrix<float> at = Builder::place({2.4f, 2.6f, 2.4f}, 10);
    scatter->set(A_TRANSFORM, &at, 1);
    b.geometry(scatter);
}

Recipe lampOf(const Recipe& emission, float opacity = 1) {
    return make(NT_MAT_DIFFUSE, {{P_DIFFUSE, Float3{0.2f, 0.2f, 0.2f}}, {P_EMISSION, emission}, {P_OPACITY, opacity}});
}

void bulb(const Recipe& recipe, Builder& b) {
    b.mesh(backdrop(40, 9), {b.node(dull({0.55f, 0.55f, 0.55f}))});
    b.environment({0.004f, 0.004f, 0.005f});
    b.mesh(Shape().add(sphere(0.5f, 48, 24), {-0.55f, 1.25f, 0}), {b.node(lampOf(recipe))});
    b.mesh(Shape().add(sphere(0.5f, 48, 24), {0.75f, 0.5f, 0.45f}), {b.node(dull({0.6f, 0.6f, 0.6f}))});
    b.camera({0, 3.6f, 8.2f}, {0, 0.85f, 0}, 19.5f);
}

void mirror(const Recipe& recipe, Builder& b) {
    addBackdrop(b);
    b.environment({0.05f, 0.05f, 0.055f});
    b.lamp({-4.2f, 6.2f, 4.6f}, {0, 1, 0}, 3.2f, 3.2f, {1.2f, 1.2f, 1.3f});
    b.mesh(panel({0, 1.15f, -0.4f}, {0, 0.9f, 3}, 1.0f, 1.5f), {b.node(lampOf(recipe))});
    const Recipe chrome = make(NT_MAT_METALLIC, {{P_ROUGHNESS, 0.03f}});
    b.mesh(Shape().add(sphere(0.5f, 48, 24), {-0.85f, 0.5f, 0.75f}), {b.node(chrome)});
    b.mesh(Shape().add(sphere(0.5f, 48, 24), {0.85f, 0.5f, 0.75f}), {b.node(dull({0.6f, 0.6f, 0.6f}))});
    b.camera({0, 3.4f, 8.2f}, {0, 0.78f, 0}, 21);
}

void spot(const Recipe& recipe, Builder& b) {
    b.environment({0.006f, 0.006f, 0.008f});
    Shape room;
    room.quad({-6, 0, 0}, {6, 0, 0}, {6, 6, 0}, {-6, 6, 0}).quad({-6, 0, 8}, {6, 0, 8}, {6, 0, 0}, {-6, 0, 0});
    b.mesh(room, {b.node(dull({0.62f, 0.6f, 0.57f}))});
    b.mesh(panel({0, 2.7f, 0.5f}, {0, 0, 0.5f}, 0.16f, 0.16f), {b.node(lampOf(recipe))});
    b.camera({0, 1.9f, 9}, {0, 1.4f, 0}, 22);
}

void room(const Recipe& recipe, Builder& b) {
    constexpr float kX = 3, kY = 2.6f, kZ = 3;
    Shape walls;
    walls.quad({-kX, 0, kZ}, {kX, 0, kZ}, {kX, 0, -kZ}, {-kX, 0, -kZ});
    walls.quad({-kX, kY, -kZ}, {kX, kY, -kZ}, {kX, kY, kZ}, {-kX, kY, kZ});
    walls.quad({-kX, 0, -kZ}, {kX, 0, -kZ}, {kX, kY, -kZ}, {-kX, kY, -kZ});
    walls.quad({kX, 0, kZ}, {-kX, 0, kZ}, {-kX, kY, kZ}, {kX, kY, kZ});
    walls.quad({kX, 0, -kZ}, {kX, 0, kZ}, {kX, kY, kZ}, {kX, kY, -kZ});
    // The left wall has a window.
    const auto left = [&](float z0, float z1, float y0, float y1) {
        return panel({-kX, (y0 + y1) / 2, (z0 + z1) / 2}, {0, (y0 + y1) / 2, (z0 + z1) / 2}, z1 - z0, y1 - y0);
    };
    constexpr float kSill = 1.0f, kHead = 1.9f, kLeft = -1.4f, kRight = -0.4f;
    walls.add(left(-kZ, kLeft, 0, kY)).add(left(kRight, kZ, 0, kY));
    walls.add(left(kLeft, kRight, 0, kSill)).add(left(kLeft, kRight, kHead, kY));
    b.mesh(walls, {b.node(dull({0.72f, 0.7f, 0.66f}))});
    b.mesh(left(kLeft, kRight, kSill, kHead), {b.node(recipe)});
    b.mesh(Shape().add(sphere(0.6f, 48, 24), {0.4f, 0.6f, -1.2f}), {b.node(dull({0.7f, 0.25f, 0.15f}))});
    ApiNode* sky = b.node(make(NT_ENV_DAYLIGHT, {{P_SUN_DIRECTION, Float3{1, 0.9f, -0.2f}}}));
    b.environment(sky);
    b.exposure(40);
    b.camera({1.2f, 1.5f, 2.9f}, {-0.3f, 0.95f, -1.5f}, 58);
}

/// Ground, a mirror ball, a dull ball and a post whose shadow tells where the sun is.
void addOutdoors(Builder& b) {
    ApiNode* ground = b.node(NT_GEO_PLANE);
    ground->connectTo(P_MATERIAL1, b.node(dull({0.34f, 0.32f, 0.28f})));
    b.geometry(ground);
    const Recipe chrome = make(NT_MAT_METALLIC, {{P_ROUGHNESS, 0.0f}});
    b.mesh(Shape().add(sphere(1, 64, 32), {-1.35f, 1, 0}), {b.node(chrome)});
    b.mesh(Shape().add(sphere(1, 64, 32), {1.15f, 1, 0}), {b.node(dull({0.72f, 0.72f, 0.72f}))});
    b.mesh(Shape().box({-0.12f, 0, -1.5f}, {0.12f, 3.2f, -1.26f}), {b.node(dull({0.5f, 0.2f, 0.1f}))});
    b.camera({0, 1.7f, 9}, {0, 1.75f, 0}, 50);
}

void skyStage(const Recipe& recipe, Builder& b) {
    addOutdoors(b);
    b.environment(b.node(recipe));
}

void visibleStage(const Recipe& recipe, Builder& b) {
    addOutdoors(b);
    const Recipe glass = make(NT_MAT_SPECULAR, {{P_INDEX, 1.5f}});
    b.mesh(Shape().add(sphere(0.6f, 64, 32), {0.05f, 0.6f, 1.9f}), {b.node(glass)});
    b.environment(b.node(make(NT_ENV_DAYLIGHT, {{P_SUN_DIRECTION, Float3{-1, 0.9f, 0.8f}}})));
    b.visibleEnvironment(b.node(recipe));
}

struct StageRow {
    Stage stage{};
    StageFormat format;
    void (*build)(const Recipe&, Builder&) = nullptr;
};

constexpr StageRow kStages[] = {
    {Stage::Ball, {140, 1, 40}, ball},        {Stage::Backlit, {160, 0.8f, 40}, backlit},
    {Stage::Gem, {140, 1, 96}, gem},          {Stage::LowBall, {140, 1, 40}, lowBall},
    {Stage::Relief, {140, 1, 32}, relief},    {Stage::Panel, {140, 1, 20}, texturePanel},
    {Stage::Boxes, {200, 0.72f, 32}, boxes},  {Stage::Nook, {140, 1, 32}, nook},
    {Stage::Sheet, {160, 0.8f, 32}, sheet},   {Stage::Crowd, {200, 0.8f, 24}, crowd},
    {Stage::Toon, {140, 1, 32}, toon},        {Stage::ToonLamp, {140, 1, 24}, toonLamp},
    {Stage::Bulb, {140, 1, 40}, bulb},        {Stage::Mirror, {160, 0.85f, 40}, mirror},
    {Stage::Spot, {140, 1, 40}, spot},        {Stage::Room, {260, 0.72f, 48}, room},
    {Stage::Sky, {175, 0.75f, 40}, skyStage}, {Stage::Backdrop, {175, 0.75f, 40}, visibleStage},
};

const StageRow& rowOf(Stage stage) {
    for (const StageRow& row : kStages)
        if (row.stage == stage) return row;
    return kStages[0];
}

}  // namespace

StageFormat formatOf(Stage stage) {
    return rowOf(stage).format;
}

void buildStage(Stage stage, const Recipe& recipe, Builder& builder) {
    rowOf(stage).build(recipe, builder);
}

}  // namespace pictures
