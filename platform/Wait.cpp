#include "platform/Wait.h"

#include <chrono>
#include <thread>

namespace kor::platform {

void sleepMs(std::uint32_t milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

} // namespace kor::platform
