// The engine's lock: recursive, as a critical section is.
#pragma once

#if defined(_WIN32)
#include "platform/windows/Lock.h"
#else
#include "platform/posix/Lock.h"
#endif
