// What an object's tags say about its rendering.
#pragma once

#include "plugin/core/scene_object_info.h"

namespace lumora {

/// Parameters of the object tag. Stored in documents.
enum ObjectTagId : Int32 {
    OBJTAG_SLOT = 1281,
    OBJTAG_OPACITY = 1282,
    OBJTAG_CAMERA_VISIBLE = 1283,
    OBJTAG_SHADOW_VISIBLE = 1284,
    OBJTAG_MOTION_TYPE = 1285,
    OBJTAG_LAYER_ID = 1288,
    OBJTAG_COLOR = 1290,
    OBJTAG_SUBD_LEVEL = 1291,
    OBJTAG_SUBD_SHARPNESS = 1292,
    OBJTAG_NO_INSTANCE_PATH = 1294,
    OBJTAG_PARTICLE_MODE = 1295,
    OBJTAG_HAIR_SPLINE = 1303,
    OBJTAG_GEOMETRY_FLAGS = 1307,
    OBJTAG_BAKING_GROUP = 1310,
    OBJTAG_SUBD_BOUNDARY = 1317,
    OBJTAG_VELOCITY_X = 1321,
    OBJTAG_VELOCITY_Y = 1322,
    OBJTAG_VELOCITY_Z = 1323,
    OBJTAG_COLOR_ID = 1324,
    OBJTAG_LIGHT_PASS_CHOICE = 1326,
    OBJTAG_LIGHT_PASS_CUSTOM = 1327,
    OBJTAG_LIGHT_PASS_ALL = 1328,
    OBJTAG_LIGHT_PASS_FIRST = 1329,  ///< ten switches
};

/// What moves of an object while the shutter is open.
enum ObjectMotion : Int32 { MOTION_NONE = 0, MOTION_TRANSFORM = 1, MOTION_DEFORMATION = 2, MOTION_VELOCITY_MAPS = 3 };

/// Walk-wide choices that readObjectTags follows.
struct ObjectTagContext {
    bool finalRender = false;
    bool allMovable = false;  ///< preference: outside final renders slot 0 becomes slot 1
};

/// Fills the record from the object's render mode and tags. The record holds what the parent's tags said, its
/// `globalMatrix` is the object's.
void readObjectTags(const BaseDocument* doc, BaseObject* object, SceneObjectInfo& info,
                    const ObjectTagContext& context = {});

/// The texture tags that the object sees: its own; else those of its cache parent, else of its parent, upward.
std::vector<TextureTag*> visibleTextureTags(const BaseObject* object);

/// Whether the entry's slot counts the tags that the object sees. An entry that was inherited by an object with texture
/// tags of its own counts those of the level above.
bool slotIsOfLevel(const TextureTagEntry& entry, const std::vector<TextureTag*>& seen);

}  // namespace lumora
