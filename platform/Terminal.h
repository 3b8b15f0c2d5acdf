// Whether somebody watches, and how wide the window is.
#pragma once

namespace kor::platform {

bool isTerminal(int stream);

/// Columns; 80 when unknown.
int terminalWidth(int stream);

} // namespace kor::platform
