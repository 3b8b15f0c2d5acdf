// Loading and unloading KORInterface.dll at run time, as a host without an import library does.
#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <tlhelp32.h>

namespace {

constexpr const wchar_t* kLibrary = L"KORInterface.dll";

struct Load {
    Load() : handle(LoadLibraryW(kLibrary)) {}
    ~Load()
    {
        if (handle != nullptr) {
            EXPECT_NE(FreeLibrary(handle), 0);
        }
    }
    Load(const Load&) = delete;
    Load& operator=(const Load&) = delete;
    HMODULE handle;
};

// The engine's constructor and destructor, by their mangled names.
bool makesAnEngine(HMODULE handle)
{
    using Member = void (*)(void*);
    const auto construct = reinterpret_cast<Member>(reinterpret_cast<void*>(GetProcAddress(handle, "_ZN4CKorC1Ev")));
    const auto destroy = reinterpret_cast<Member>(reinterpret_cast<void*>(GetProcAddress(handle, "_ZN4CKorD1Ev")));
    if (construct == nullptr || destroy == nullptr) {
        return false;
    }
    alignas(16) unsigned char object[64];
    construct(object);
    destroy(object);
    return true;
}

int threads()
{
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    int count = 0;
    for (BOOL more = Thread32First(snapshot, &entry); more != 0; more = Thread32Next(snapshot, &entry)) {
        count += entry.th32OwnerProcessID == GetCurrentProcessId() ? 1 : 0;
    }
    CloseHandle(snapshot);
    return count;
}

TEST(WindowsLoading, succeedsTwiceInARowAndUnloadsInBetween)
{
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(GetModuleHandleW(kLibrary), nullptr) << round;
        const Load load;
        ASSERT_NE(load.handle, nullptr) << "error " << GetLastError();
        EXPECT_TRUE(makesAnEngine(load.handle));
    }
    EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
}

TEST(WindowsLoading, succeedsTwiceAtOnce)
{
    const Load first;
    const Load second;
    ASSERT_NE(first.handle, nullptr) << "error " << GetLastError();
    EXPECT_EQ(first.handle, second.handle);
    EXPECT_TRUE(makesAnEngine(second.handle));
}

TEST(WindowsLoading, succeedsFromTwoThreads)
{
    constexpr int kRounds = 20;
    std::atomic<int> working{0};
    const auto use = [&] {
        for (int round = 0; round < kRounds; ++round) {
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
    EXPECT_EQ(working, 2 * kRounds);
}

TEST(WindowsLoading, startsNoThread)
{
    const int before = threads();
    {
        const Load load;
        ASSERT_NE(load.handle, nullptr) << "error " << GetLastError();
        EXPECT_EQ(threads(), before);
        EXPECT_TRUE(makesAnEngine(load.handle));
        EXPECT_EQ(threads(), before);
    }
    // The count does see a thread when there is one more.
    std::atomic<bool> done{false};
    std::thread more([&done] {
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    EXPECT_EQ(threads(), before + 1);
    done = true;
    more.join();
}

} // namespace
