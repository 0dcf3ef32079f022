// What edits of a scene cost to build.
#pragma once

#include <algorithm>
#include <cstdio>

#include "engine/compile/scene_compiler.h"

namespace Lumora::engine::test {

/// Applies edits one after the other and prints the mean and the longest time. `edit(i)` gives the node that is
/// changed.
template <typename Edit>
void editing(const char* name, SceneCompiler& compiler, SceneDelta delta, int edits, Edit edit) {
    double sum = 0.0, longest = 0.0;
    for (int i = 0; i < edits; ++i) {
        delta.changed = {edit(i)};
        const double time = compiler.apply(delta).seconds;
        sum += time;
        longest = std::max(longest, time);
    }
    std::printf("%s: %.3f ms, at most %.3f ms\n", name, sum / edits * 1e3, longest * 1e3);
}

}  // namespace Lumora::engine::test
