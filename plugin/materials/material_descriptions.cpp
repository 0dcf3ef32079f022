// The plug-in's own materials: their channels as rows.
#include <vector>

#include "plugin/core/class_descriptions.h"
#include "plugin/core/ids.h"
#include "plugin/core/parameter_rows.h"

namespace lumora {

namespace {

using namespace row;

constexpr ParameterChoice kTypes[] = {{2510, "Diffuse"},  {2511, "Glossy"}, {2513, "Specular"},
                                      {2514, "Metallic"}, {2515, "Toon"},   {2516, "Universal"}};

const Parameter kMaterialRows[] = {
    choice(2509, "Material type", 2510, kTypes),
    // Diffuse.
    toggle(2563, "Diffuse", true),
    colour(2515, "Color", {0.9, 0.9, 0.9}),
    real(2518, "Float", 0, 0, 1),
    shader(2517, "Texture"),
    real(2519, "Mix", 1, 0, 1),
    // Specular.
    toggle(2564, "Specular", true),
    colour(2522, "Color", {}),
    real(2523, "Float", 1, 0, 1),
    shader(2524, "Texture"),
    real(2525, "Mix", 1, 0, 1),
    toggle(2586, "Specular map", true),
    shader(2587, "Specular map"),
    real(2613, "Specular map", 1, 0, 1),
    // Reflection, of specular materials.
    toggle(2566, "Reflection", true),
    colour(2526, "Color", {}),
    real(2527, "Float", 1, 0, 1),
    shader(2528, "Texture"),
    real(2529, "Mix", 1, 0, 1),
    // Roughness.
    toggle(2565, "Roughness", true),
    colour(2531, "Color", {}),
    real(2532, "Float", 0, 0, 1),
    shader(2533, "Texture"),
    real(2534, "Mix", 1, 0, 1),
    toggle(2584, "Anisotropy", true),
    real(2590, "Anisotropy", 0, -1, 1),
    shader(2591, "Rotation"),
    // Film.
    toggle(2567, "Film width", true),
    colour(2536, "Color", {}),
    real(2537, "Float", 0, 0, 1),
    shader(2535, "Texture"),
    toggle(2568, "Film index", true),
    real(2538, "Film index", 1.45, 1, 8),
    // Relief.
    toggle(2569, "Bump", true),
    shader(2539, "Texture"),
    colour(2540, "Color", {}),
    real(2541, "Float", 0),
    toggle(2570, "Normal", true),
    shader(2542, "Texture"),
    colour(2543, "Color", {}),
    real(2544, "Float", 0),
    toggle(2578, "Displacement", true),
    shader(2580, "Texture"),
    // Opacity.
    toggle(2571, "Opacity", true),
    shader(2545, "Texture"),
    colour(2546, "Color", {}),
    real(2547, "Float", 1, 0, 1),
    real(2548, "Mix", 1, 0, 1),
    // Refraction.
    toggle(2573, "Index", true),
    real(2551, "Index", 1.3, 1, 8),
    toggle(2572, "Dispersion", true),
    real(2552, "Dispersion coefficient", 0, 0, 0.1),
    real(2588, "Metallic reflection index", 1.3, 0, 20),
    real(2589, "Metallic reflection extinction", 0, 0, 20),
    real(2607, "Index green", 1.3, 0, 20),
    real(2608, "Extinction green", 0, 0, 20),
    real(2609, "Index blue", 1.3, 0, 20),
    real(2610, "Extinction blue", 0, 0, 20),
    integer(2606, "Index mode", 0, 0, 2),
    shader(2619, "Index map"),
    // Transmission.
    toggle(2574, "Transmission", true),
    colour(2554, "Color", {}),
    real(2556, "Float", 0, 0, 1),
    shader(2555, "Texture"),
    // Emission and medium.
    toggle(2575, "Emission", true),
    shader(2557, "Emission"),
    toggle(2576, "Medium", true),
    shader(2560, "Medium"),
    // Sheen and coating.
    toggle(2604, "Sheen", true),
    shader(2605, "Sheen"),
    real(2611, "Sheen roughness", 0.2, 0, 1),
    toggle(2614, "Coating", true),
    shader(2615, "Coating"),
    real(2620, "Coating", 0, 0, 1),
    real(2616, "Coating roughness", 0.0632, 0, 1),
    real(2617, "Coating index", 1.5, 1, 8),
    real(2612, "Dielectric index", 1.5, 1, 8),
    // Toon.
    toggle(2597, "Toon", true),
    toggle(2598, "Outline", true),
    integer(2592, "Toon lighting mode", 0, 0, 2),
    shader(2593, "Toon diffuse ramp"),
    shader(2594, "Toon specular ramp"),
    shader(2595, "Outline color"),
    real(2596, "Outline thickness", 0.3, 0, 1),
    // Switches of the whole material.
    toggle(2558, "Matte", false),
    toggle(2559, "Smooth", true),
    toggle(2562, "Fake shadows", false),
    toggle(2577, "Common", true),
    toggle(2579, "Editor", true),
    toggle(2583, "Affect alpha", false),
    real(2581, "Rounded edges radius", 0, 0),
    integer(2585, "BRDF model", 0, 0, 5),
    toggle(2700, "Custom editor preview", false),
    integer(2602, "Preview samples", 4, 0, 16),
    // Private: what the plug-in keeps with the material.
    integer(98999, "", 0),
    link(99001, "", 0),
    integer(99002, "", 0),
    link(99010, "", 0),
};

const Description kMaterial{kMaterialRows};

constexpr Int32 kSlots = 12;

/// Two sub materials at least, and a mix amount between neighbours.
const std::vector<Parameter>& blendRows() {
    static const std::vector<Parameter> rows = [] {
        std::vector<Parameter> all = {
            toggle(2300, "Layers", true),
            toggle(2301, "Displacement", true),
            integer(1200, "Number of layers", 3, 1, kSlots),
        };
        for (Int32 i = 0; i < kSlots; ++i) {
            all.push_back(toggle(1205 + i, "Layer", true));
            all.push_back(toggle(1320 + i, "Solo", false));
            all.push_back(link(1300 + i, "Sub material", 0));
            all.push_back(shader(1340 + 2 * i, "Mix texture"));
            all.push_back(real(1341 + 2 * i, "Mix amount", 0, 0, 1));
        }
        return all;
    }();
    return rows;
}

}  // namespace

const Description* materialDescription() {
    return &kMaterial;
}

const Description* blendMaterialDescription() {
    static const Description description{blendRows()};
    return &description;
}

}  // namespace lumora
