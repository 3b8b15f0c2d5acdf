// Loading and unloading the built library at run time: it neither fails nor does work of its own.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <atomic>
#include <filesystem>
#include <iterator>
#include <thread>

#include "support/CountedNew.h"

namespace {

namespace fs = std::filesystem;

std::ptrdiff_t entries(const char* folder)
{
    return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
}

struct Load {
    Load() : handle(dlopen(KOR_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
    ~Load()
    {
        if (handle != nullptr) {
            EXPECT_EQ(dlclose(handle), 0);
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    void* handle;
};

bool isLoaded()
{
    void* const handle = dlopen(KOR_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

// The engine's constructor and destructor, by their mangled names.
bool makesAnEngine(void* handle)
{
    using Member = void (*)(void*);
    const auto construct = reinterpret_cast<Member>(dlsym(handle, "_ZN4CKorC1Ev"));
    const auto destroy = reinterpret_cast<Member>(dlsym(handle, "_ZN4CKorD1Ev"));
    if (construct == nullptr || destroy == nullptr) {
        return false;
    }
    alignas(16) unsigned char object[64];
    construct(object);
    destroy(object);
    return true;
}

TEST(Loading, succeedsTwiceInARowAndUnloadsInBetween)
{
    for (int round = 0; round < 2; ++round) {
        ASSERT_FALSE(isLoaded()) << round;
        const Load load;
        ASSERT_NE(load.handle, nullptr) << dlerror();
        EXPECT_TRUE(isLoaded());
        EXPECT_TRUE(makesAnEngine(load.handle));
    }
    EXPECT_FALSE(isLoaded());
}

TEST(Loading, succeedsTwiceAtOnce)
{
    const Load first;
    const Load second;
    ASSERT_NE(first.handle, nullptr) << dlerror();
    EXPECT_EQ(first.handle, second.handle);
    EXPECT_TRUE(makesAnEngine(second.handle));
}

TEST(Loading, succeedsFromTwoThreads)
{
    std::atomic<int> working{0};
    const auto use = [&] {
        for (int round = 0; round < 50; ++round) {
            const Load load;
            if (load.handle != nullptr && makesAnEngine(load.handle)) {
                ++working;
            }
        }
    };
    std::thread first(use);
    std::thread second(use);
    first.join();
    second.join();
    EXPECT_EQ(working, 100);
}

TEST(Loading, allocatesNothingOpensNothingAndStartsNoThread)
{
    const auto files = entries("/proc/self/fd");
    const auto threads = entries("/proc/self/task");
    const long before = kor_test::allocationCount();
    {
        const Load load;
        const long after = kor_test::allocationCount();
        ASSERT_NE(load.handle, nullptr) << dlerror();
        EXPECT_EQ(after, before);
        EXPECT_EQ(entries("/proc/self/fd"), files);
        EXPECT_EQ(entries("/proc/self/task"), threads);
        // The counter does see the library's allocations once it works.
        const long idle = kor_test::allocationCount();
        ASSERT_TRUE(makesAnEngine(load.handle));
        EXPECT_GT(kor_test::allocationCount(), idle);
    }
    EXPECT_EQ(entries("/proc/self/fd"), files);
}

} // namespace
