// Materials, emission, media.
#include "engine/schema/build.h"

namespace Lumora::engine::schema {

namespace {

Pins surface() {
    return {grey(P_OPACITY, "Opacity", 1),     texture(P_BUMP, "Bump"),
            texture(P_NORMAL, "Normal"),       link(P_DISPLACEMENT, "Displacement", PT_DISPLACEMENT),
            boolean(P_SMOOTH, "Smooth", true), number(P_EDGES_ROUNDING, "Rounded edges radius", 0, 0, 100)};
}

Pins film() {
    return {grey(P_FILM_WIDTH, "Film width", 0), number(P_FILM_INDEX, "Film index", 1.45f, 1, 8)};
}

Pins microfacets() {
    return {choice(P_BRDF, "BRDF model", 0, 5), grey(P_ROUGHNESS, "Roughness", 0),
            number(P_ANISOTROPY, "Anisotropy", 0, -1, 1), grey(P_ROTATION, "Rotation", 0)};
}

Pins sheen() {
    return {colour(P_SHEEN, "Sheen", 0), grey(P_SHEEN_ROUGHNESS, "Sheen roughness", 0.2f)};
}

Pins coating() {
    return {colour(P_COATING, "Coating", 0), grey(P_COATING_ROUGHNESS, "Coating roughness", 0),
            number(P_COATING_IOR, "Coating index of refraction", 1.5f, 1, 8)};
}

Pins transmission() {
    return {texture(P_TRANSMISSION, "Transmission"), link(P_MEDIUM, "Medium", PT_MEDIUM)};
}

Pins metal() {
    return {grey(P_SPECULAR_MAP, "Specular map", 1), choice(P_IOR_MODE, "Index mode", 0, 2),
            number2(P_INDEX, "Index (red)", {1.3f, 0}, 0, 100), number2(P_INDEX2, "Index (green)", {0, 0}, 0, 100),
            number2(P_INDEX3, "Index (blue)", {0, 0}, 0, 100)};
}

Pins emitter() {
    return {link(P_EMISSION, "Emission", PT_EMISSION)};
}

Pins emission() {
    return {grey(P_EMIS_TEXTURE, "Texture", 0.025f, 100000),
            grey(P_DISTRIBUTION, "Distribution", 1),
            number(P_POWER, "Power", 100, 0, 100000),
            number(P_SAMPLING_RATE, "Sampling rate", 1, 0, 10000),
            boolean(P_SURFACE_BRIGHTNESS, "Surface brightness", true),
            boolean(P_DOUBLE_SIDED, "Double-sided"),
            boolean(P_VISIBLE_ON_DIFFUSE, "Visible on diffuse", true),
            boolean(P_VISIBLE_ON_SPECULAR, "Visible on specular", true),
            boolean(P_TRANSPARENT_EMISSION, "Transparent emission"),
            boolean(P_CAST_SHADOWS, "Cast shadows", true),
            boolean(P_CAST_CAUSTICS, "Cast caustics"),
            integer(P_LIGHT_PASS_ID, "Light pass ID", 1, 1, 8)};
}

Pins medium(float density) {
    return {texture(P_ABSORPTION, "Absorption"), number(P_DENSITY, "Density", density),
            boolean(P_INVERT_ABSORPTION, "Invert absorption"),
            number(P_STEP_LENGTH, "Step length", 4, 0.00001f, 1000000)};
}

Pins scattering() {
    return {texture(P_SCATTERING, "Scattering"), link(P_EMISSION, "Emission", PT_EMISSION),
            link(P_PHASE, "Phase function", PT_PHASE)};
}

}  // namespace

Rows materialRows() {
    return {
        {NT_MAT_DIFFUSE, "Diffuse material", PT_MATERIAL,
         join({{colour(P_DIFFUSE, "Diffuse", 0.7f), grey(P_ROUGHNESS, "Roughness", 0), boolean(P_MATTE, "Matte")},
               transmission(),
               emitter(),
               surface()})},
        {NT_MAT_GLOSSY, "Glossy material", PT_MATERIAL,
         join({{colour(P_DIFFUSE, "Diffuse", 0.7f), grey(P_SPECULAR, "Specular", 1),
                number(P_INDEX, "Index", 1.3f, 1, 8)},
               microfacets(),
               sheen(),
               coating(),
               film(),
               emitter(),
               surface()})},
        {NT_MAT_SPECULAR, "Specular material", PT_MATERIAL,
         join({{grey(P_REFLECTION, "Reflection", 1), colour(P_TRANSMISSION, "Transmission", 1),
                link(P_MEDIUM, "Medium", PT_MEDIUM), number(P_INDEX, "Index", 1.3f, 1, 8),
                number(P_DISPERSION, "Dispersion coefficient", 0, 0, 0.1f), boolean(P_FAKE_SHADOWS, "Fake shadows"),
                boolean(P_REFRACTION_ALPHA, "Affect alpha")},
               microfacets(),
               coating(),
               film(),
               surface()})},
        {NT_MAT_METALLIC, "Metallic material", PT_MATERIAL,
         join({{colour(P_SPECULAR, "Specular", 1)}, metal(), microfacets(), sheen(), coating(), film(), surface()})},
        {NT_MAT_TOON, "Toon material", PT_MATERIAL,
         join({{colour(P_DIFFUSE, "Diffuse", 0.7f), grey(P_SPECULAR, "Specular", 1), grey(P_ROUGHNESS, "Roughness", 0),
                link(P_TOON_DIFFUSE_RAMP, "Toon diffuse ramp", PT_TOON_RAMP),
                link(P_TOON_SPECULAR_RAMP, "Toon specular ramp", PT_TOON_RAMP),
                texture(P_TOON_OUTLINE, "Outline color"), choice(P_TOON_LIGHT_MODE, "Toon lighting mode", 0, 2),
                number(P_WIDTH, "Outline thickness", 0.3f, 0, 1)},
               surface()})},
        {NT_MAT_UNIVERSAL, "Universal material", PT_MATERIAL,
         join({{colour(P_ALBEDO, "Albedo", 0.7f), colour(P_SPECULAR, "Specular", 1),
                grey(P_UNIVERSAL_SPECULAR_MAP, "Metallic", 0),
                number(P_INDEX_UNIVERSAL, "Dielectric index", 1.5f, 1, 8), texture(P_IOR_MAP, "Dielectric index map"),
                number(P_DISPERSION, "Dispersion coefficient", 0, 0, 0.1f), boolean(P_MATTE, "Matte"),
                boolean(P_FAKE_SHADOWS, "Fake shadows"), boolean(P_REFRACTION_ALPHA, "Affect alpha")},
               metal(),
               microfacets(),
               sheen(),
               coating(),
               film(),
               transmission(),
               emitter(),
               surface()})},
        {NT_MAT_MIX,
         "Mix material",
         PT_MATERIAL,
         {grey(P_AMOUNT, "Amount", 0.5f), link(P_MATERIAL1, "First material", PT_MATERIAL),
          link(P_MATERIAL2, "Second material", PT_MATERIAL), link(P_DISPLACEMENT, "Displacement", PT_DISPLACEMENT)}},
        {NT_MAT_PORTAL, "Portal material", PT_MATERIAL, {boolean(P_ENABLED, "Enabled", true)}},

        {NT_EMIS_TEXTURE, "Texture emission", PT_EMISSION, emission()},
        {NT_EMIS_BLACKBODY, "Black body emission", PT_EMISSION,
         join({emission(),
               {number(P_TEMPERATURE, "Temperature", 6500, 500, 12000), boolean(P_NORMALIZE, "Normalize", true)}})},

        {NT_MED_ABSORPTION, "Absorption medium", PT_MEDIUM, medium(100)},
        {NT_MED_SCATTERING, "Scattering medium", PT_MEDIUM, join({medium(100), scattering()})},
        {NT_MED_VOLUME, "Volume medium", PT_MEDIUM,
         join({medium(1),
               scattering(),
               {link(P_ABSORPTION_RAMP, "Absorption ramp", PT_VOLUME_RAMP),
                link(P_SCATTERING_RAMP, "Scattering ramp", PT_VOLUME_RAMP),
                link(P_EMISSION_RAMP, "Emission ramp", PT_VOLUME_RAMP)}})},
        {NT_PHASE, "Schlick phase function", PT_PHASE, {number(P_PHASE_VALUE, "Phase", 0, -1, 1)}},
        {NT_DISPLACEMENT,
         "Displacement",
         PT_DISPLACEMENT,
         {texture(P_TEXTURE, "Texture"), number(P_AMOUNT, "Height", 0.001f, -kBig),
          number(P_MID_LEVEL, "Mid level", 0, -1, 1), integer(P_LEVEL, "Level of detail", 10, 0, 16),
          integer(P_SUBDIVISION, "Auto bump map", 0, 0, 6), integer(P_DISPLACEMENT_DIRECTION, "Direction", 0, 0, 4),
          integer(P_FILTER_SIZE, "Filter size", 1, 0, 20)}},
    };
}

}  // namespace Lumora::engine::schema
