#include "plugin/materials/texture_nodes.h"

#include "plugin/core/log.h"
#include "plugin/materials/image_pixels.h"
#include "plugin/materials/uv_transform.h"
#include "plugin/materials/vertex_map_texture.h"

namespace lumora {

namespace {

// Keys of the nodes that one bitmap shader needs beside its image.
enum : UInt32 { kKeyImage = 1, kKeyFactor = 2, kKeyPlaceBefore = 3 };

enum EngineBorder : int { BORDER_WRAP = 0, BORDER_CLAMP = 3, BORDER_MIRROR = 4 };

enum BitmapChannel : Int32 { CHANNEL_COLOUR = 0, CHANNEL_RED, CHANNEL_GREEN, CHANNEL_BLUE, CHANNEL_ALPHA };

/// What a bitmap shader says.
struct BitmapUse {
    Filename path;
    Int32 channel = CHANNEL_COLOUR;
    int border = BORDER_WRAP;
    Int32 profile = 0;
    bool isData = false;  ///< numbers, not colours
    bool linear = false;  ///< the file holds linear light
    Vector factor{1.0};
    UvPlacement placement;
};

float gammaOf(const MatManager& manager, const BitmapUse& bitmap) {
    if (bitmap.isData || bitmap.linear || bitmap.channel != CHANNEL_COLOUR) return 1.0f;
    switch (bitmap.profile) {
        case 1:
            return 1.0f;
        case 2:
            return 2.2f;
        default:
            return manager.colorsAreSrgb() ? 2.2f : 1.0f;
    }
}

int borderOf(const BaseShader& shader, const BaseContainer& d) {
    const Int32 x = d.GetInt32(BITMAPSHADER_WRAPX, 0), y = d.GetInt32(BITMAPSHADER_WRAPY, 0);
    if (x != y) filteredLine(kLogMaterials, shader.GetName() + ": the border mode across is used upwards too.");
    return x == 1 ? BORDER_CLAMP : x == 2 ? BORDER_MIRROR : BORDER_WRAP;
}

/// False, with a line in the log, when there is no file.
bool readBitmap(const MatManager& manager, const BaseShader& shader, const TextureUse& use, BitmapUse* out) {
    const BaseContainer& d = *shader.GetDataInstance();
    const Filename file = d.GetFilename(BITMAPSHADER_FILENAME);
    out->path = resolveTexturePath(shader.GetDocument() ? shader.GetDocument() : manager.doc, file);
    if (out->path.IsEmpty()) {
        logLine("FILE is not found:" + file.GetString());
        return false;
    }
    out->channel = d.GetInt32(BITMAPSHADER_CHANNEL, CHANNEL_COLOUR);
    out->border = borderOf(shader, d);
    out->profile = d.GetInt32(BITMAPSHADER_COLORPROFILE, 0);
    out->isData = use.isData;
    out->factor = d.GetVector(BITMAPSHADER_FACTOR, Vector(1.0));
    out->placement = {d.GetFloat(BITMAPSHADER_OFFSETX, 0.0), d.GetFloat(BITMAPSHADER_OFFSETY, 0.0),
                      d.GetFloat(BITMAPSHADER_SCALEX, 1.0), d.GetFloat(BITMAPSHADER_SCALEY, 1.0),
                      d.GetFloat(BITMAPSHADER_ROTATION, 0.0)};
    return true;
}

bool writeTransform(ApiNode* node, const PictureTransform& t) {
    ApiNode* transform = ownedInput(node, P_TRANSFORM, NT_TRANSFORM_VALUE);
    bool changed = setAttrIfChanged(transform, A_ROTATION, t.rotation);
    changed |= setAttrIfChanged(transform, A_SCALE, t.scale);
    return setAttrIfChanged(transform, A_TRANSLATION, t.translation) || changed;
}

/// One colour channel as a number: what is read as a number is the mean of the three.
Vector channelFactor(const BitmapUse& use) {
    switch (use.channel) {
        case CHANNEL_RED:
            return {3.0 * use.factor.x, 0, 0};
        case CHANNEL_GREEN:
            return {0, 3.0 * use.factor.y, 0};
        case CHANNEL_BLUE:
            return {0, 0, 3.0 * use.factor.z};
        default:
            return use.factor;
    }
}

/// By name what the engine reads itself, else by pixels. False when the picture cannot be had.
bool writePicture(ApiNode* image, BitmapUse* bitmap) {
    const PictureSource source = pictureSource(bitmap->path);
    if (source == PictureSource::Pixels) return writePicturePixels(image, bitmap->path, &bitmap->linear);
    bitmap->linear = source == PictureSource::LinearFile;
    writePictureFile(image, bitmap->path);
    return true;
}

ApiNode* bitmapTexture(MatManager& manager, BaseShader& shader, MatLink& link, const TextureUse& use) {
    BitmapUse bitmap;
    if (!readBitmap(manager, shader, use, &bitmap)) return nullptr;
    const NodeType type = bitmap.channel == CHANNEL_ALPHA ? NT_TEX_ALPHAIMAGE : NT_TEX_IMAGE;
    ApiNode* image = manager.reuseOrCreate(link, &shader, kKeyImage, type);
    if (!image) return nullptr;
    setNameIfChanged(image, shader.GetName());
    if (!writePicture(image, &bitmap)) return nullptr;
    setFloatNode(image, P_POWER, manager.prefs.imagePower);
    setFloatIfChanged(image, P_GAMMA, gammaOf(manager, bitmap));
    setIntIfChanged(image, P_BORDER_MODE, bitmap.border);

    const PictureTransforms place = toPictureTransforms(bitmap.placement);
    if (bitmap.placement.isIdentity())
        disconnectPin(image, P_TRANSFORM);
    else
        writeTransform(image, place.image);
    ApiNode* top = image;
    if (place.needsBefore) {
        ApiNode* before = manager.reuseOrCreate(link, &shader, kKeyPlaceBefore, NT_TEX_UVWTRANSFORM);
        writeTransform(before, place.before);
        connectIfChanged(before, P_TEXTURE, top);
        if (before) top = before;
    }
    const Vector factor = channelFactor(bitmap);
    if (!(factor == Vector(1.0))) {
        ApiNode* multiply = manager.reuseOrCreate(link, &shader, kKeyFactor, NT_TEX_MULTIPLY);
        setRgbNode(multiply, P_TEXTURE1, toFloat3(factor));
        connectIfChanged(multiply, P_TEXTURE2, top);
        if (multiply) top = multiply;
    }
    return top;
}

ApiNode* colourTexture(MatManager& manager, ApiNode* parent, PinId pin, BaseShader& shader, MatLink& link) {
    const BaseContainer& d = *shader.GetDataInstance();
    const Vector colour = manager.toLinear(d.GetVector(COLORSHADER_COLOR) * d.GetFloat(COLORSHADER_BRIGHTNESS, 1.0));
    ApiNode* node = parent ? ownedInput(parent, pin, NT_TEX_RGB) : nullptr;
    if (!node) node = manager.reuseOrCreate(link, &shader, COLORSHADER_COLOR, NT_TEX_RGB);
    setAttrIfChanged(node, A_VALUE, toFloat3(colour));
    return node;
}

}  // namespace

ApiNode* generateTexture(MatManager& manager, ApiNode* parent, PinId pin, BaseShader* shader, MatLink& link,
                         TextureUse use) {
    if (!shader) return nullptr;
    switch (shader->GetType()) {
        case Xcolor:
            return colourTexture(manager, parent, pin, *shader, link);
        case Xbitmap:
            return link.imagesEnabled ? bitmapTexture(manager, *shader, link, use) : nullptr;
        case Xvertexmap:
            return vertexMapTexture(manager, *shader, link);
        default:
            logLine(link.name + ": the shader \"" + shader->GetName() + "\" (" +
                    String::IntToString(shader->GetType()) + ") has no counterpart and is left out.");
            return nullptr;
    }
}

Filename resolveTexturePath(const BaseDocument* doc, const Filename& file, const Filename& suggested) {
    if (file.IsEmpty()) return {};
    if (!doc) doc = GetActiveDocument();
    Filename path;
    if (!GenerateTexturePath(doc ? doc->GetDocumentPath() : Filename(), file, suggested, &path)) return {};
    return GeFExist(path) ? path : Filename();
}

}  // namespace lumora
