// What the program says on stderr, from any thread, with at most one line that is drawn over and over.
#pragma once

#include <string>
#include <string_view>

namespace app::terminal {

/// True when stderr is a screen on which a line can be redrawn.
bool isScreen();
/// A line of its own. Control characters of the text (names in strangers' files) are shown as '?'.
void print(std::string_view line);
/// The line that is redrawn in place, cut to the screen's width. Call only when isScreen().
void draw(std::string_view line);
/// Takes the redrawn line away.
void clear();

/// Text with control characters replaced.
std::string printable(std::string_view text);

}  // namespace app::terminal
