// Ready-made objects and materials, by keyword: what the creation commands and the Live Viewer's menus insert.
#pragma once

#include <string_view>

#include "plugin/core/prelude.h"

namespace lumora {

/// Inserts what the keyword stands for as one undo step and selects it. Null, with the reason told to the user or
/// logged, when it cannot be made; the document is as before then. Main thread.
///
/// Objects: daylight, arealight, tarealight, ieslight, camera, env, env2, ToonDirect, ToonOmni, scatter, fogvolume,
/// vdbvolume. Materials: diffuse, glossy, specular, univ, metal, toon, mix, blend, portal.
BaseList2D* createByKeyword(BaseDocument& document, std::string_view keyword);

}  // namespace lumora
