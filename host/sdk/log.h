// The console, the status bar and message boxes. Any thread.
#pragma once

#include "host/sdk/string.h"

namespace host {

/// A line of the host's console (log window, log file and, with --verbose, stderr).
HOST_API void GeConsoleOut(const String& line);
HOST_API void StatusSetText(const String& text);
HOST_API void StatusSetBar(Int32 percent);  ///< below 0: no bar
HOST_API void StatusClear();
/// A message that the user must see. Without a display it goes to the console and to stderr and never waits.
HOST_API void MessageDialog(const String& text);
/// A yes/no question. Without a display the answer is `unattended`.
HOST_API Bool QuestionDialog(const String& text, Bool unattended);

}  // namespace host
