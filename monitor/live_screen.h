#pragma once

// The screen of a terminal, borrowed for a picture that changes: another screen than the one
// the person works on, without a cursor. The process has at most one.

#include <string_view>

namespace monitor {

// All three for one thread. After EndLiveScreen they do nothing.
void OpenLiveScreen();
void DrawLiveScreen(std::string_view text);
void CloseLiveScreen();

// Gives the person's screen back when the process is about to be ended from another thread.
// Takes a second at most, also if the terminal takes no output at that time.
void EndLiveScreen();

}  // namespace monitor
