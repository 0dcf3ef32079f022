// Documents as files: everything that a document holds, in chunks of a HyperFile.
//
//   document   its own settings, tracks, active elements
//   view       the view and its camera
//   list       one for each family (layers, materials, render data, objects), holding
//     node     head, values, content, private data; nodes that it owns (tags, shaders, tracks, video posts) as nodes
//
// Objects and layers stand one behind the other with their depth in the tree, so that a tree of any depth is read
// without recursion. Caches, counters and undo are not kept. Links are kept as GUIDs. Nodes and values whose plug-in is
// absent keep their data, so that saving again loses nothing.
#pragma once

#include "host/sdk/document.h"
#include "host/sdk/file.h"

namespace host {

inline constexpr Int32 kDocumentIdent = fourCC('L', 'D', 'O', 'C');
/// Raised when older programs would misread a file. What they can skip needs no new version.
inline constexpr Int32 kDocumentVersion = 1;
inline constexpr const char* kDocumentSuffix = "lumdoc";

/// Into a file that is open for writing with kDocumentIdent and kDocumentVersion. False: see file.GetErrorText().
Bool writeDocument(HyperFile& file, const BaseDocument& document);

/// From a file that is open for reading. A loose document, or null: see file.GetErrorText(). All lengths, indices and
/// depths are checked; memory is bounded by the size of the file. Values that are not numbers are kept.
BaseDocument* readDocument(HyperFile& file);

}  // namespace host
