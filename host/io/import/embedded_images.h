// Images that a document carries inside itself.
//
// A foreign file may hold its textures (glb, data URIs, FBX). Their encoded bytes are kept in the document, in the
// container DOCUMENT_EMBEDDED_IMAGES: for each image a sub-container with its name and its bytes. The name is made from
// the content, so one image used many times is kept once. Shaders name the image like any other file. Since everything
// that reads images reads files, the images are laid into a cache folder when a document comes in, and the shaders are
// pointed there.
#pragma once

#include <functional>
#include <span>
#include <string>

#include "host/sdk/document.h"

namespace host {

namespace importer {

/// Adds the image unless it is there and returns its name, "<name>-<hash>.<suffix by content>".
Filename addEmbeddedImage(BaseContainer& images, std::span<const UChar> bytes, const std::string& name);

}  // namespace importer

/// Writes the images that the document carries into "images" below the host's folder for scratch files, where they are
/// not there yet, and points the bitmap shaders that name them at the files. To be called for every document that was
/// read. False when a file could not be written; `error` then names it. Main thread.
Bool materialiseEmbeddedImages(BaseDocument& document, String* error);

/// Calls `visit` for every shader of the document: those of materials, objects, tags, with everything below them.
void visitShaders(BaseDocument& document, const std::function<void(BaseShader&)>& visit);

}  // namespace host
