// lumora info: what a document holds, on stdout.
#include <cstdio>

#include "app/failure.h"
#include "app/options.h"
#include "app/scene_info.h"
#include "app/session.h"

namespace app {

int infoCommand(const Options& options) {
    Session session(options);
    const SceneInfo info = gatherSceneInfo(session.open(options.scene), options.scene);
    const std::string text = options.json ? asJson(info) : asText(info);
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw Failure(kExitFailure, "The output could not be written.");
    return kExitOk;
}

}  // namespace app
