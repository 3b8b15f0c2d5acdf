// The end of a child process that a test has made.
#pragma once

#include <unistd.h>

#ifdef KOR_COVERAGE
#include <sys/resource.h>

extern "C" void __gcov_dump();
#endif

namespace kor_test {

/// Ends the process at once, as _exit does, with what it has counted of the lines it ran.
[[noreturn]] inline void endChild(int status)
{
#ifdef KOR_COVERAGE
    // A test may have limited the size of files.
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_FSIZE, &limit);
    __gcov_dump();
#endif
    ::_exit(status);
}

} // namespace kor_test
