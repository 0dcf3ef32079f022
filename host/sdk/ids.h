// Numbers of the host: node types, and the parameters of the types that the host itself brings. Documents keep them.
#pragma once

#include "host/sdk/types.h"

namespace host {

enum ObjectType : Int32 {
    Obase = 5155,      ///< base of all objects
    Opoint = 5160001,  ///< base of objects with points
    Onull = 5140,
    Opolygon = 5100,
    Olight = 5102,
    Ocamera = 5103,
    Ofloor = 5104,
    Osky = 5105,
    Oparticle = 5109,
    Oforeground = 5121,
    Obackground = 5122,
    Oinstance = 5126,
    Oline = 5137,
    Ocube = 5159,
    Osphere = 5160,
    Odisc = 5164,
    Oplane = 5168,
    Ocylinder = 5170,
};

enum TagType : Int32 {
    Tbase = 5600,
    Tphong = 5612,
    Tdisplay = 5613,
    Ttexture = 5616,
    Tuvw = 5671,
    Tpolygonselection = 5673,
    Tpointselection = 5674,
    Tvertexmap = 5682,
    Tvertexcolor = 431000045,
    Tnormal = 5711,
};

enum OtherType : Int32 {
    Mbase = 5702,
    Mmaterial = 5703,
    Xbase = 5707,
    Xcolor = 5832,
    Xbitmap = 5833,
    Xvertexmap = 1011137,
    Rbase = 5300,
    Zlayer = 5720,
    Vbase = 5310,
    Ddraw = 5410,
    Ctrack = 5350,
};

// Every object.
enum : Int32 {
    ID_BASEOBJECT_VISIBILITY_EDITOR = 901,  ///< 0 on, 1 off, 2 as the parent
    ID_BASEOBJECT_VISIBILITY_RENDER = 902,
    ID_BASEOBJECT_REL_POSITION = 903,  ///< vector
    ID_BASEOBJECT_REL_ROTATION = 904,  ///< heading, pitch, bank
    ID_BASEOBJECT_REL_SCALE = 905,
    ID_BASEOBJECT_GENERATOR_FLAG = 906,  ///< "Enabled"
    ID_BASEOBJECT_REL_MATRIX = 907,      ///< whole local matrix; tracks use it
};

// Primitives.
enum : Int32 {
    PRIM_AXIS = 1300,      ///< 0 +X, 1 -X, 2 +Y, 3 -Y, 4 +Z, 5 -Z
    PRIM_CUBE_LEN = 1100,  ///< vector
    PRIM_CUBE_SUBX = 1101,
    PRIM_CUBE_SUBY = 1102,
    PRIM_CUBE_SUBZ = 1103,
    PRIM_SPHERE_RAD = 1110,
    PRIM_SPHERE_SUB = 1111,
    PRIM_DISC_IRAD = 1160,
    PRIM_DISC_ORAD = 1161,
    PRIM_DISC_CSUB = 1162,
    PRIM_DISC_SUB = 1163,
    PRIM_PLANE_WIDTH = 1230,
    PRIM_PLANE_HEIGHT = 1231,
    PRIM_PLANE_SUBW = 1232,
    PRIM_PLANE_SUBH = 1233,
    PRIM_CYLINDER_RADIUS = 5000,
    PRIM_CYLINDER_HEIGHT = 5005,
    PRIM_CYLINDER_HSUB = 5006,
    PRIM_CYLINDER_SEG = 5007,
    PRIM_CYLINDER_CAPS = 5008,
};

// Instance object.
enum : Int32 {
    INSTANCEOBJECT_LINK = 1001,
    INSTANCEOBJECT_RENDERINSTANCE = 1002,
};

// Light object.
enum : Int32 {
    LIGHT_COLOR = 90000,
    LIGHT_BRIGHTNESS = 90001,  ///< fraction
    LIGHT_TYPE = 90002,        ///< 0 omni, 1 spot, 3 infinite, 8 area
    LIGHT_SHADOWTYPE = 90003,
    LIGHT_AREADETAILS_SIZEX = 100010,
    LIGHT_AREADETAILS_SIZEY = 100011,
    LIGHT_AREADETAILS_SIZEZ = 100012,
    LIGHT_AREADETAILS_SHAPE = 100015,  ///< 0 disc, 1 rectangle, 2 sphere, 3 cylinder, 4 cube
    LIGHT_AREADETAILS_SHOWINRENDER = 100021,
    LIGHT_OUTERANGLE = 90060,  ///< full cone angle, radians
    LIGHT_INNERANGLE = 90061,
};
enum : Int32 { LIGHT_TYPE_OMNI = 0, LIGHT_TYPE_SPOT = 1, LIGHT_TYPE_DISTANT = 3, LIGHT_TYPE_AREA = 8 };

// Camera object. The camera looks along its +z axis.
enum : Int32 {
    CAMERA_PROJECTION = 1001,          ///< 0 perspective, 1 parallel
    CAMERA_FOCUS = 500,                ///< focal length, mm
    CAMERAOBJECT_APERTURE = 1006,      ///< sensor width, mm
    CAMERAOBJECT_FOV = 1008,           ///< horizontal, radians: follows focal length and sensor width
    CAMERAOBJECT_FOV_VERTICAL = 1009,  ///< when above 0 the vertical angle is what is kept, radians
    CAMERAOBJECT_TARGETDISTANCE = 1010,
    CAMERAOBJECT_TARGETOBJECT = 1130,  ///< what is in focus
    CAMERAOBJECT_NEAR_CLIPPING = 1122,
    CAMERAOBJECT_NEAR_CLIPPING_ENABLE = 1123,
    CAMERAOBJECT_FAR_CLIPPING = 1128,
    CAMERAOBJECT_FAR_CLIPPING_ENABLE = 1129,
    /// Of the parallel projection: at 1 the view is as wide as what kParallelFieldOfView spans at the focus distance.
    CAMERA_ZOOM = 1000,
    CAMERAOBJECT_FNUMBER = 1200,
    CAMERAOBJECT_FILM_OFFSET_X = 1118,
    CAMERAOBJECT_FILM_OFFSET_Y = 1119,
};

inline constexpr Float kParallelFieldOfView = 29.0;  ///< degrees

// Texture tag.
enum : Int32 {
    TEXTURETAG_OFFSETX = 1000,
    TEXTURETAG_OFFSETY = 1001,
    TEXTURETAG_PROJECTION = 1004,
    TEXTURETAG_RESTRICTION = 1006,
    TEXTURETAG_TILE = 1007,
    TEXTURETAG_MATERIAL = 1010,
    TEXTURETAG_SIDE = 1011,
    TEXTURETAG_TILESX = 1014,
    TEXTURETAG_TILESY = 1015,
    TEXTURETAG_CAMERA = 1017,
    TEXTURETAG_POSITION = 1020,
    TEXTURETAG_ROTATION = 1021,
    TEXTURETAG_SIZE = 1022,
};
enum TextureProjectionMode : Int32 {
    P_SPHERICAL = 0,
    P_CYLINDRICAL = 1,
    P_FLAT = 2,
    P_CUBIC = 3,
    P_FRONTAL = 4,
    P_SPATIAL = 5,
    P_UVW = 6,
    P_SHRINKWRAP = 7,
    P_CAMERAMAP = 8,
};

// Phong tag.
enum : Int32 { PHONGTAG_PHONG_ANGLELIMIT = 1000, PHONGTAG_PHONG_ANGLE = 1001, PHONGTAG_PHONG_USEEDGES = 1002 };

// Standard material. The channel switches are MATERIAL_USE_COLOR + the channel's index.
enum MaterialChannel : Int32 {
    CHANNEL_COLOR = 0,
    CHANNEL_LUMINANCE = 1,
    CHANNEL_TRANSPARENCY = 2,
    CHANNEL_REFLECTION = 3,
    CHANNEL_BUMP = 6,
    CHANNEL_ALPHA = 7,
    CHANNEL_DISPLACEMENT = 11,
    CHANNEL_NORMAL = 13,
};
enum : Int32 {
    MATERIAL_USE_COLOR = 7500,
    MATERIAL_USE_LUMINANCE = MATERIAL_USE_COLOR + CHANNEL_LUMINANCE,
    MATERIAL_USE_TRANSPARENCY = MATERIAL_USE_COLOR + CHANNEL_TRANSPARENCY,
    MATERIAL_USE_REFLECTION = MATERIAL_USE_COLOR + CHANNEL_REFLECTION,
    MATERIAL_USE_BUMP = MATERIAL_USE_COLOR + CHANNEL_BUMP,
    MATERIAL_USE_ALPHA = MATERIAL_USE_COLOR + CHANNEL_ALPHA,
    MATERIAL_USE_DISPLACEMENT = MATERIAL_USE_COLOR + CHANNEL_DISPLACEMENT,
    MATERIAL_USE_NORMAL = MATERIAL_USE_COLOR + CHANNEL_NORMAL,
    MATERIAL_COLOR_COLOR = 2100,
    MATERIAL_COLOR_BRIGHTNESS = 2101,
    MATERIAL_COLOR_TEXTURESTRENGTH = 2102,
    MATERIAL_COLOR_TEXTUREMIXING = 2103,
    MATERIAL_COLOR_SHADER = 8000,
    MATERIAL_LUMINANCE_COLOR = 2300,
    MATERIAL_LUMINANCE_BRIGHTNESS = 2301,
    MATERIAL_LUMINANCE_TEXTURESTRENGTH = 2302,
    MATERIAL_LUMINANCE_SHADER = 8002,
    MATERIAL_TRANSPARENCY_COLOR = 2400,
    MATERIAL_TRANSPARENCY_BRIGHTNESS = 2401,
    MATERIAL_TRANSPARENCY_TEXTURESTRENGTH = 2402,
    MATERIAL_TRANSPARENCY_SHADER = 8003,
    MATERIAL_TRANSPARENCY_REFRACTION = 1005,
    MATERIAL_BUMP_STRENGTH = 1009,
    MATERIAL_BUMP_SHADER = 8006,
    MATERIAL_ALPHA_SHADER = 8007,
    MATERIAL_ALPHA_SOFT = 1012,
    MATERIAL_ALPHA_IMAGEALPHA = 1013,  ///< the image's alpha channel instead of its brightness
    MATERIAL_ALPHA_INVERT = 1014,
    MATERIAL_ALPHA_COLOR = 2900,
    MATERIAL_ALPHA_VALUE = 2901,   ///< opacity without a shader
    MATERIAL_ALPHA_CUTOFF = 2902,  ///< above 0: opacity is 0 below it and 1 above
    MATERIAL_DISPLACEMENT_STRENGTH = 1025,
    MATERIAL_DISPLACEMENT_HEIGHT = 1026,
    MATERIAL_DISPLACEMENT_TYPE = 3210,
    MATERIAL_DISPLACEMENT_SHADER = 8009,
    MATERIAL_NORMAL_STRENGTH = 3300,
    MATERIAL_NORMAL_SHADER = 8012,
    MATERIAL_TWO_SIDED = 2950,
    // The one layer of the reflection channel: its parameters count from the layer's id.
    REFLECTION_LAYER_ID = 300000,
    MATERIAL_REFLECTION_ROUGHNESS = REFLECTION_LAYER_ID + 32,
    MATERIAL_REFLECTION_STRENGTH = REFLECTION_LAYER_ID + 37,
    MATERIAL_REFLECTION_COLOR = REFLECTION_LAYER_ID + 65,
    MATERIAL_REFLECTION_BRIGHTNESS = REFLECTION_LAYER_ID + 66,
    MATERIAL_REFLECTION_SHADER = REFLECTION_LAYER_ID + 67,
    MATERIAL_REFLECTION_TEXTURESTRENGTH = REFLECTION_LAYER_ID + 69,
    MATERIAL_REFLECTION_ROUGHNESS_SHADER = REFLECTION_LAYER_ID + 80,
    MATERIAL_REFLECTION_METALNESS = REFLECTION_LAYER_ID + 81,
    MATERIAL_REFLECTION_METALNESS_SHADER = REFLECTION_LAYER_ID + 82,
};

// Shaders.
enum : Int32 {
    COLORSHADER_COLOR = 1000,
    COLORSHADER_BRIGHTNESS = 1001,
    BITMAPSHADER_FILENAME = 1000,
    BITMAPSHADER_COLORPROFILE = 1010,   ///< 0 as the document, 1 linear, 2 sRGB
    BITMAPSHADER_INTERPOLATION = 1002,  ///< 0 none, 1 linear
    BITMAPSHADER_WRAPX = 1020,
    BITMAPSHADER_WRAPY = 1021,    ///< 0 repeat, 1 clamp, 2 mirror
    BITMAPSHADER_CHANNEL = 1022,  ///< 0 colour, 1 red, 2 green, 3 blue, 4 alpha
    BITMAPSHADER_OFFSETX = 1023,
    BITMAPSHADER_OFFSETY = 1024,
    BITMAPSHADER_SCALEX = 1025,
    BITMAPSHADER_SCALEY = 1026,
    BITMAPSHADER_ROTATION = 1027,  ///< radians
    BITMAPSHADER_UVSET = 1028,     ///< 0-based UVW tag
    BITMAPSHADER_FACTOR = 1029,    ///< linear colour that multiplies the image
    // Texture coordinates of the image, v downwards: offset + R * (scale * uv), R turning u towards -v by the rotation.
    VERTEXMAPSHADER_TAG = 1001,  ///< link to a vertex map or vertex colour tag
    VERTEXMAPSHADER_INVERT = 1002,
    BITMAPSHADER_TIMING_FROM = 2000,
    BITMAPSHADER_TIMING_TO = 2001,  ///< frames of a sequence; one frame: a still
};

// Render data.
enum : Int32 {
    RDATA_RENDERENGINE = 5300,
    RDATA_XRES = 5008,
    RDATA_YRES = 5009,
    RDATA_FRAMEFROM = 5011,
    RDATA_FRAMETO = 5012,
    RDATA_FRAMESTEP = 5013,
    RDATA_PATH = 5014,
    RDATA_FORMAT = 5015,
    RDATA_FILMASPECT = 5016,
    RDATA_PIXELASPECT = 5017,
};

// Document settings.
enum : Int32 {
    DOCUMENT_FPS = 10001,
    DOCUMENT_MINTIME = 10002,
    DOCUMENT_MAXTIME = 10003,
    DOCUMENT_TIME = 10004,
    DOCUMENT_DOCUNIT = 10005,      ///< metres per scene unit
    DOCUMENT_COLORPROFILE = 2101,  ///< what colours of the document are
    DOCUMENT_COLORPROFILE_SRGB = 0,
    DOCUMENT_COLORPROFILE_LINEAR = 1,
    DOCUMENT_COLORPROFILE_DISABLED = 2,  ///< colours are taken as they are
    DOCUMENT_LINEARWORKFLOW = 10007,
    DOCUMENT_EMBEDDED_IMAGES = 10008,  ///< container: images that the document carries, see host/io/import
};

// Layer.
enum : Int32 {
    ID_LAYER_SOLO = 1000,
    ID_LAYER_VIEW = 1001,
    ID_LAYER_RENDER = 1002,
    ID_LAYER_LOCKED = 1003,
    ID_LAYER_COLOR = 1004,
    ID_LAYER_GENERATORS = 1005,
    ID_LAYER_ANIMATION = 1006,
};

// Display tag.
enum : Int32 { DISPLAYTAG_USE_VISIBILITY = 1012, DISPLAYTAG_VISIBILITY = 1006 };

}  // namespace host
