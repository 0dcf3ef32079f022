// The imager's and post processing's settings from the nodes on a render target.
#pragma once

#include <memory>
#include <string>

#include "engine/compile/nodes.h"
#include "engine/film/imager.h"

namespace Lumora::engine {

/// Reads the imager and keeps the table of its LUT until the node names another file. Build thread only.
class ImagerReader {
public:
    /// What is missing takes the defaults of the plain struct; values out of range are brought into it. A response that
    /// is not known and a LUT that cannot be read are told once, in one line.
    Imager read(const NodeTable& nodes, const NodeRecord& target, const LogFunction& log);

private:
    void readLut(const NodeTable& nodes, const NodeRecord& imager, const LogFunction& log);

    std::string file_;  ///< of the LUT that was tried last
    std::uint32_t reloads_ = 0;
    std::shared_ptr<const Lut> lut_;  ///< null: no file, or it could not be read
    int loggedResponse_ = 0;
};

PostProcessing readPost(const NodeTable& nodes, const NodeRecord& target);

}  // namespace Lumora::engine
