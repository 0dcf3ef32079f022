// The parameters of the built-in types.
#pragma once

#include "host/sdk/desc.h"

namespace host::descriptions {

const Description& object();  ///< rows of every object
const Description& cube();
const Description& sphere();
const Description& disc();
const Description& plane();
const Description& cylinder();
const Description& instance();
const Description& light();
const Description& camera();
const Description& textureTag();
const Description& phongTag();
const Description& displayTag();
const Description& material();
const Description& colorShader();
const Description& bitmapShader();
const Description& vertexMapShader();
const Description& renderData();
const Description& layer();
const Description& document();

}  // namespace host::descriptions
