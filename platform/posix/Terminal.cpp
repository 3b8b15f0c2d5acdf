#include "platform/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace kor::platform {

bool isTerminal(int stream)
{
    return isatty(stream) == 1;
}

int terminalWidth(int stream)
{
    struct winsize size = {};
    return ioctl(stream, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace kor::platform
