#include "platform/Terminal.h"

#include <io.h>

#include "platform/windows/Names.h"

namespace kor::platform {

bool isTerminal(int stream)
{
    return _isatty(stream) != 0;
}

int terminalWidth(int stream)
{
    CONSOLE_SCREEN_BUFFER_INFO info;
    const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(stream));
    return GetConsoleScreenBufferInfo(handle, &info) != 0 ? info.srWindow.Right - info.srWindow.Left : 80;
}

} // namespace kor::platform
