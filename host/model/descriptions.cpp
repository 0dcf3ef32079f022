#include "host/model/descriptions.h"

#include "host/runtime/plugin_registry.h"
#include "host/sdk/base_list.h"
#include "host/sdk/custom_types.h"
#include "host/sdk/ids.h"
#include "host/sdk/string.h"

namespace host {

const Parameter* Description::Find(Int32 id) const {
    for (const Parameter& row : rows) {
        if (row.id == id && row.kind != ParameterKind::Group && row.kind != ParameterKind::Separator) return &row;
    }
    return base ? base->Find(id) : nullptr;
}

void Description::ApplyDefaults(BaseContainer& container) const {
    if (base) base->ApplyDefaults(container);
    for (const Parameter& row : rows) {
        if (row.noDefault || container.Has(row.id)) continue;
        GeData value = DefaultOf(row);
        if (!value.IsNil()) container.SetData(row.id, std::move(value));
    }
}

GeData DefaultOf(const Parameter& parameter) {
    switch (parameter.kind) {
        case ParameterKind::Group:
        case ParameterKind::Separator:
        case ParameterKind::Button:
        case ParameterKind::Spline:
            return {};
        case ParameterKind::Bool:
        case ParameterKind::Int:
        case ParameterKind::Choice:
            return GeData(static_cast<Int64>(parameter.value));
        case ParameterKind::Float:
        case ParameterKind::Percent:
        case ParameterKind::Degree:
        case ParameterKind::Length:
            return GeData(parameter.value);
        case ParameterKind::Time:
            return GeData(BaseTime(parameter.value));
        case ParameterKind::Vector:
        case ParameterKind::Colour:
            return GeData(parameter.vector);
        case ParameterKind::Text:
            return GeData(String(parameter.text));
        case ParameterKind::File:
            return GeData(Filename(parameter.text));
        case ParameterKind::Link:
            return GeData(BaseLink());
        case ParameterKind::Gradient: {
            static const auto blackToWhite = [] {
                auto gradient = std::make_shared<Gradient>();
                gradient->knots = {{.colour = Vector(0.0), .position = 0}, {.colour = Vector(1.0), .position = 1}};
                return std::shared_ptr<const CustomDataType>(gradient);
            }();
            return GeData(blackToWhite);
        }
        case ParameterKind::List:
            return GeData(std::shared_ptr<const CustomDataType>(std::make_shared<InExcludeData>()));
        case ParameterKind::Custom:
            return GeData(std::shared_ptr<const CustomDataType>(makeRegisteredDataType(parameter.customType)));
    }
    return {};
}

namespace descriptions {
namespace {

using K = ParameterKind;

constexpr Float kFieldOfView = 0.92729521800161219;  // 2 atan(1/2): 36 mm focal length on a sensor of 36 mm
constexpr Float kDegree = kPi / 180;

constexpr ParameterChoice kVisibility[] = {{0, "On"}, {1, "Off"}, {2, "Default"}};
constexpr ParameterChoice kAxis[] = {{0, "+X"}, {1, "-X"}, {2, "+Y"}, {3, "-Y"}, {4, "+Z"}, {5, "-Z"}};
constexpr ParameterChoice kLightTypes[] = {{0, "Omni"}, {1, "Spot"}, {3, "Infinite"}, {8, "Area"}};
constexpr ParameterChoice kAreaShapes[] = {{0, "Disc"}, {1, "Rectangle"}, {2, "Sphere"}, {3, "Cylinder"}, {4, "Cube"}};
constexpr ParameterChoice kCameraProjection[] = {{0, "Perspective"}, {1, "Parallel"}};
constexpr ParameterChoice kProjections[] = {{P_SPHERICAL, "Spherical"},
                                            {P_CYLINDRICAL, "Cylindrical"},
                                            {P_FLAT, "Flat"},
                                            {P_CUBIC, "Cubic"},
                                            {P_FRONTAL, "Frontal"},
                                            {P_SPATIAL, "Spatial"},
                                            {P_UVW, "UVW Mapping"},
                                            {P_SHRINKWRAP, "Shrink Wrapping"},
                                            {P_CAMERAMAP, "Camera Mapping"}};
constexpr ParameterChoice kSides[] = {{0, "Both"}, {1, "Front"}, {2, "Back"}};
constexpr ParameterChoice kProfiles[] = {{0, "As the document"}, {1, "Linear"}, {2, "sRGB"}};
constexpr ParameterChoice kInterpolations[] = {{0, "None"}, {1, "Linear"}};
constexpr ParameterChoice kWraps[] = {{0, "Repeat"}, {1, "Clamp"}, {2, "Mirror"}};
constexpr ParameterChoice kImageChannels[] = {{0, "Colour"}, {1, "Red"}, {2, "Green"}, {3, "Blue"}, {4, "Alpha"}};
constexpr ParameterChoice kDocumentProfiles[] = {{DOCUMENT_COLORPROFILE_SRGB, "sRGB"},
                                                 {DOCUMENT_COLORPROFILE_LINEAR, "Linear"},
                                                 {DOCUMENT_COLORPROFILE_DISABLED, "Disabled"}};
constexpr ParameterChoice kDisplacements[] = {{0, "Intensity"}, {1, "Intensity (centred)"}};

Parameter toggle(Int32 id, const char* label, Bool value) {
    return {.id = id, .kind = K::Bool, .label = label, .value = value ? 1.0 : 0.0, .minimum = 0, .maximum = 1};
}
Parameter integer(Int32 id, const char* label, Float value, Float minimum, Float maximum) {
    return {
        .id = id, .kind = K::Int, .label = label, .value = value, .minimum = minimum, .maximum = maximum, .step = 1};
}
Parameter choice(Int32 id, const char* label, Float value, std::span<const ParameterChoice> choices) {
    return {.id = id, .kind = K::Choice, .label = label, .value = value, .choices = choices};
}
Parameter real(Int32 id, const char* label, Float value, Float minimum = -1e30, Float maximum = 1e30) {
    return {.id = id, .kind = K::Float, .label = label, .value = value, .minimum = minimum, .maximum = maximum};
}
Parameter percent(Int32 id, const char* label, Float value, Float maximum = 1) {
    return {
        .id = id, .kind = K::Percent, .label = label, .value = value, .minimum = 0, .maximum = maximum, .step = .01};
}
Parameter angle(Int32 id, const char* label, Float degrees) {
    return {.id = id, .kind = K::Degree, .label = label, .value = degrees * kDegree};
}
Parameter length(Int32 id, const char* label, Float value, Float minimum = 0) {
    return {.id = id, .kind = K::Length, .label = label, .value = value, .minimum = minimum, .step = 1};
}
Parameter vector(Int32 id, const char* label, const Vector& value, Bool noDefault = false) {
    return {.id = id, .kind = K::Vector, .label = label, .vector = value, .noDefault = noDefault};
}
Parameter colour(Int32 id, const char* label, const Vector& value) {
    return {.id = id, .kind = K::Colour, .label = label, .vector = value, .minimum = 0};
}
Parameter link(Int32 id, const char* label, Int32 type) {
    return {.id = id, .kind = K::Link, .label = label, .linkType = type};
}
Parameter text(Int32 id, const char* label) {
    return {.id = id, .kind = K::Text, .label = label};
}
Parameter file(Int32 id, const char* label) {
    return {.id = id, .kind = K::File, .label = label};
}

}  // namespace

const Description& object() {
    static const Parameter rows[] = {
        choice(ID_BASEOBJECT_VISIBILITY_EDITOR, "Visible in Editor", 2, kVisibility),
        choice(ID_BASEOBJECT_VISIBILITY_RENDER, "Visible in Renderer", 2, kVisibility),
        toggle(ID_BASEOBJECT_GENERATOR_FLAG, "Enabled", true),
        // Answered from the object's matrix.
        vector(ID_BASEOBJECT_REL_POSITION, "Position", {}, true),
        vector(ID_BASEOBJECT_REL_ROTATION, "Rotation", {}, true),
        vector(ID_BASEOBJECT_REL_SCALE, "Scale", Vector(1.0), true),
    };
    static const Description description{rows};
    return description;
}

const Description& cube() {
    static const Parameter rows[] = {
        vector(PRIM_CUBE_LEN, "Size", Vector(200.0)),
        integer(PRIM_CUBE_SUBX, "Segments X", 1, 1, 1000),
        integer(PRIM_CUBE_SUBY, "Segments Y", 1, 1, 1000),
        integer(PRIM_CUBE_SUBZ, "Segments Z", 1, 1, 1000),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& sphere() {
    static const Parameter rows[] = {
        length(PRIM_SPHERE_RAD, "Radius", 100),
        integer(PRIM_SPHERE_SUB, "Segments", 24, 3, 2000),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& disc() {
    static const Parameter rows[] = {
        length(PRIM_DISC_IRAD, "Inner Radius", 0),
        length(PRIM_DISC_ORAD, "Outer Radius", 100),
        integer(PRIM_DISC_CSUB, "Disc Segments", 1, 1, 1000),
        integer(PRIM_DISC_SUB, "Rotation Segments", 36, 3, 2000),
        choice(PRIM_AXIS, "Orientation", 2, kAxis),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& plane() {
    static const Parameter rows[] = {
        length(PRIM_PLANE_WIDTH, "Width", 400),
        length(PRIM_PLANE_HEIGHT, "Height", 400),
        integer(PRIM_PLANE_SUBW, "Width Segments", 10, 1, 5000),
        integer(PRIM_PLANE_SUBH, "Height Segments", 10, 1, 5000),
        choice(PRIM_AXIS, "Orientation", 2, kAxis),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& cylinder() {
    static const Parameter rows[] = {
        length(PRIM_CYLINDER_RADIUS, "Radius", 50),
        length(PRIM_CYLINDER_HEIGHT, "Height", 200),
        integer(PRIM_CYLINDER_HSUB, "Height Segments", 1, 1, 1000),
        integer(PRIM_CYLINDER_SEG, "Rotation Segments", 36, 3, 2000),
        toggle(PRIM_CYLINDER_CAPS, "Caps", true),
        choice(PRIM_AXIS, "Orientation", 2, kAxis),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& instance() {
    static const Parameter rows[] = {
        link(INSTANCEOBJECT_LINK, "Reference Object", Obase),
        toggle(INSTANCEOBJECT_RENDERINSTANCE, "Render Instance", false),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& light() {
    static const Parameter rows[] = {
        colour(LIGHT_COLOR, "Colour", Vector(1.0)),
        percent(LIGHT_BRIGHTNESS, "Intensity", 1, 1e6),
        choice(LIGHT_TYPE, "Type", LIGHT_TYPE_OMNI, kLightTypes),
        integer(LIGHT_SHADOWTYPE, "Shadow", 0, 0, 3),
        length(LIGHT_AREADETAILS_SIZEX, "Size X", 200),
        length(LIGHT_AREADETAILS_SIZEY, "Size Y", 200),
        length(LIGHT_AREADETAILS_SIZEZ, "Size Z", 200),
        choice(LIGHT_AREADETAILS_SHAPE, "Area Shape", 1, kAreaShapes),
        toggle(LIGHT_AREADETAILS_SHOWINRENDER, "Show in Render", true),
        angle(LIGHT_OUTERANGLE, "Outer Angle", 60),
        angle(LIGHT_INNERANGLE, "Inner Angle", 0),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& camera() {
    static const Parameter rows[] = {
        choice(CAMERA_PROJECTION, "Projection", 0, kCameraProjection),
        real(CAMERA_FOCUS, "Focal Length (mm)", 36, 1e-3),
        real(CAMERAOBJECT_APERTURE, "Sensor Size (mm)", 36, 1e-3),
        {.id = CAMERAOBJECT_FOV, .kind = K::Degree, .label = "Field of View", .value = kFieldOfView},
        angle(CAMERAOBJECT_FOV_VERTICAL, "Kept Vertical Field of View", 0),
        length(CAMERAOBJECT_TARGETDISTANCE, "Focus Distance", 2000),
        link(CAMERAOBJECT_TARGETOBJECT, "Focus Object", Obase),
        real(CAMERA_ZOOM, "Zoom", 1, 0),
        toggle(CAMERAOBJECT_NEAR_CLIPPING_ENABLE, "Clip Near", false),
        length(CAMERAOBJECT_NEAR_CLIPPING, "Near Clipping", 0),
        toggle(CAMERAOBJECT_FAR_CLIPPING_ENABLE, "Clip Far", false),
        length(CAMERAOBJECT_FAR_CLIPPING, "Far Clipping", 2000),
        real(CAMERAOBJECT_FNUMBER, "F-Stop", 8, 0),
        percent(CAMERAOBJECT_FILM_OFFSET_X, "Film Offset X", 0),
        percent(CAMERAOBJECT_FILM_OFFSET_Y, "Film Offset Y", 0),
    };
    static const Description description{rows, &object()};
    return description;
}

const Description& textureTag() {
    static const Parameter rows[] = {
        link(TEXTURETAG_MATERIAL, "Material", Mbase),
        text(TEXTURETAG_RESTRICTION, "Selection"),
        choice(TEXTURETAG_PROJECTION, "Projection", P_UVW, kProjections),
        choice(TEXTURETAG_SIDE, "Side", 0, kSides),
        real(TEXTURETAG_OFFSETX, "Offset U", 0),
        real(TEXTURETAG_OFFSETY, "Offset V", 0),
        real(TEXTURETAG_TILESX, "Tiles U", 1),
        real(TEXTURETAG_TILESY, "Tiles V", 1),
        toggle(TEXTURETAG_TILE, "Tile", true),
        link(TEXTURETAG_CAMERA, "Camera", Ocamera),
        vector(TEXTURETAG_POSITION, "Position", {}),
        vector(TEXTURETAG_ROTATION, "Rotation", {}),
        vector(TEXTURETAG_SIZE, "Size", Vector(100.0)),
    };
    static const Description description{rows};
    return description;
}

const Description& phongTag() {
    static const Parameter rows[] = {
        toggle(PHONGTAG_PHONG_ANGLELIMIT, "Angle Limit", true),
        angle(PHONGTAG_PHONG_ANGLE, "Phong Angle", 40),
        toggle(PHONGTAG_PHONG_USEEDGES, "Use Edge Breaks", true),
    };
    static const Description description{rows};
    return description;
}

const Description& displayTag() {
    static const Parameter rows[] = {
        toggle(DISPLAYTAG_USE_VISIBILITY, "Use Visibility", true),
        percent(DISPLAYTAG_VISIBILITY, "Visibility", 1),
    };
    static const Description description{rows};
    return description;
}

const Description& material() {
    const Vector white(1.0);
    static const Parameter rows[] = {
        toggle(MATERIAL_USE_COLOR, "Colour", true),
        toggle(MATERIAL_USE_LUMINANCE, "Luminance", false),
        toggle(MATERIAL_USE_TRANSPARENCY, "Transparency", false),
        toggle(MATERIAL_USE_REFLECTION, "Reflection", false),
        toggle(MATERIAL_USE_BUMP, "Bump", false),
        toggle(MATERIAL_USE_NORMAL, "Normal", false),
        toggle(MATERIAL_USE_ALPHA, "Alpha", false),
        toggle(MATERIAL_USE_DISPLACEMENT, "Displacement", false),
        colour(MATERIAL_COLOR_COLOR, "Colour", Vector(0.8)),
        percent(MATERIAL_COLOR_BRIGHTNESS, "Brightness", 1, 1e4),
        link(MATERIAL_COLOR_SHADER, "Texture", Xbase),
        integer(MATERIAL_COLOR_TEXTUREMIXING, "Mix Mode", 0, 0, 3),
        percent(MATERIAL_COLOR_TEXTURESTRENGTH, "Mix Strength", 1),
        colour(MATERIAL_LUMINANCE_COLOR, "Colour", white),
        percent(MATERIAL_LUMINANCE_BRIGHTNESS, "Brightness", 1, 1e6),
        link(MATERIAL_LUMINANCE_SHADER, "Texture", Xbase),
        percent(MATERIAL_LUMINANCE_TEXTURESTRENGTH, "Mix Strength", 1),
        colour(MATERIAL_TRANSPARENCY_COLOR, "Colour", white),
        percent(MATERIAL_TRANSPARENCY_BRIGHTNESS, "Brightness", 1),
        link(MATERIAL_TRANSPARENCY_SHADER, "Texture", Xbase),
        percent(MATERIAL_TRANSPARENCY_TEXTURESTRENGTH, "Mix Strength", 1),
        real(MATERIAL_TRANSPARENCY_REFRACTION, "Refraction", 1, 0.1, 10),
        colour(MATERIAL_REFLECTION_COLOR, "Colour", white),
        percent(MATERIAL_REFLECTION_BRIGHTNESS, "Brightness", 1, 1e4),
        percent(MATERIAL_REFLECTION_STRENGTH, "Strength", 1),
        link(MATERIAL_REFLECTION_SHADER, "Texture", Xbase),
        percent(MATERIAL_REFLECTION_TEXTURESTRENGTH, "Mix Strength", 1),
        percent(MATERIAL_REFLECTION_ROUGHNESS, "Roughness", 0),
        link(MATERIAL_REFLECTION_ROUGHNESS_SHADER, "Roughness Texture", Xbase),
        percent(MATERIAL_REFLECTION_METALNESS, "Metalness", 0),
        link(MATERIAL_REFLECTION_METALNESS_SHADER, "Metalness Texture", Xbase),
        percent(MATERIAL_BUMP_STRENGTH, "Strength", 0, 10),
        link(MATERIAL_BUMP_SHADER, "Texture", Xbase),
        percent(MATERIAL_NORMAL_STRENGTH, "Strength", 1, 10),
        link(MATERIAL_NORMAL_SHADER, "Texture", Xbase),
        link(MATERIAL_ALPHA_SHADER, "Texture", Xbase),
        colour(MATERIAL_ALPHA_COLOR, "Colour", white),
        toggle(MATERIAL_ALPHA_SOFT, "Soft", true),
        toggle(MATERIAL_ALPHA_IMAGEALPHA, "Image Alpha", false),
        toggle(MATERIAL_ALPHA_INVERT, "Invert", false),
        percent(MATERIAL_ALPHA_VALUE, "Opacity", 1),
        percent(MATERIAL_ALPHA_CUTOFF, "Cut-off", 0),
        real(MATERIAL_DISPLACEMENT_STRENGTH, "Strength", 1),
        length(MATERIAL_DISPLACEMENT_HEIGHT, "Height", 0.1, -1e30),
        choice(MATERIAL_DISPLACEMENT_TYPE, "Type", 0, kDisplacements),
        link(MATERIAL_DISPLACEMENT_SHADER, "Texture", Xbase),
        toggle(MATERIAL_TWO_SIDED, "Two Sided", true),
    };
    static const Description description{rows};
    return description;
}

const Description& colorShader() {
    static const Parameter rows[] = {
        colour(COLORSHADER_COLOR, "Colour", Vector(1.0)),
        percent(COLORSHADER_BRIGHTNESS, "Brightness", 1, 1e4),
    };
    static const Description description{rows};
    return description;
}

const Description& bitmapShader() {
    static const Parameter rows[] = {
        file(BITMAPSHADER_FILENAME, "File"),
        choice(BITMAPSHADER_COLORPROFILE, "Colour Profile", 0, kProfiles),
        choice(BITMAPSHADER_INTERPOLATION, "Sampling", 1, kInterpolations),
        choice(BITMAPSHADER_WRAPX, "Wrap U", 0, kWraps),
        choice(BITMAPSHADER_WRAPY, "Wrap V", 0, kWraps),
        choice(BITMAPSHADER_CHANNEL, "Channel", 0, kImageChannels),
        real(BITMAPSHADER_OFFSETX, "Offset U", 0),
        real(BITMAPSHADER_OFFSETY, "Offset V", 0),
        real(BITMAPSHADER_SCALEX, "Scale U", 1),
        real(BITMAPSHADER_SCALEY, "Scale V", 1),
        angle(BITMAPSHADER_ROTATION, "Rotation", 0),
        integer(BITMAPSHADER_UVSET, "UV Set", 0, 0, 15),
        colour(BITMAPSHADER_FACTOR, "Factor", Vector(1.0)),
        integer(BITMAPSHADER_TIMING_FROM, "Range Start", 0, -1e9, 1e9),
        integer(BITMAPSHADER_TIMING_TO, "Range End", 0, -1e9, 1e9),
    };
    static const Description description{rows};
    return description;
}

const Description& vertexMapShader() {
    static const Parameter rows[] = {
        link(VERTEXMAPSHADER_TAG, "Vertex Map", Tbase),
        toggle(VERTEXMAPSHADER_INVERT, "Invert", false),
    };
    static const Description description{rows};
    return description;
}

const Description& renderData() {
    static const Parameter rows[] = {
        integer(RDATA_RENDERENGINE, "Renderer", 0, -2147483648.0, 2147483647.0),
        integer(RDATA_XRES, "Width", 1280, 1, 65536),
        integer(RDATA_YRES, "Height", 720, 1, 65536),
        {.id = RDATA_FRAMEFROM, .kind = K::Time, .label = "From"},
        {.id = RDATA_FRAMETO, .kind = K::Time, .label = "To"},
        integer(RDATA_FRAMESTEP, "Frame Step", 1, 1, 100000),
        file(RDATA_PATH, "File"),
        integer(RDATA_FORMAT, "Format", 0, 0, 2147483647.0),
        real(RDATA_FILMASPECT, "Film Aspect", 16.0 / 9.0, 0.01, 100),
        real(RDATA_PIXELASPECT, "Pixel Aspect", 1, 0.01, 100),
    };
    static const Description description{rows};
    return description;
}

const Description& layer() {
    static const Parameter rows[] = {
        toggle(ID_LAYER_SOLO, "Solo", false),
        toggle(ID_LAYER_VIEW, "View", true),
        toggle(ID_LAYER_RENDER, "Render", true),
        toggle(ID_LAYER_LOCKED, "Locked", false),
        toggle(ID_LAYER_GENERATORS, "Generators", true),
        toggle(ID_LAYER_ANIMATION, "Animation", true),
        colour(ID_LAYER_COLOR, "Colour", Vector(0.6)),
    };
    static const Description description{rows};
    return description;
}

const Description& document() {
    static const Parameter rows[] = {
        integer(DOCUMENT_FPS, "Frames per Second", 30, 1, 2500),
        {.id = DOCUMENT_MINTIME, .kind = K::Time, .label = "Minimum Time"},
        {.id = DOCUMENT_MAXTIME, .kind = K::Time, .label = "Maximum Time", .value = 3},
        real(DOCUMENT_DOCUNIT, "Metres per Unit", 0.01, 1e-12),
        choice(DOCUMENT_COLORPROFILE, "Colour Profile", DOCUMENT_COLORPROFILE_SRGB, kDocumentProfiles),
        toggle(DOCUMENT_LINEARWORKFLOW, "Linear Workflow", true),
    };
    static const Description description{rows};
    return description;
}

}  // namespace descriptions
}  // namespace host
