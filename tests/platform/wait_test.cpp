#include "platform/Wait.h"

#include <gtest/gtest.h>

#include <chrono>

namespace {

TEST(Wait, lastsAtLeastAsLongAsAsked)
{
    const auto start = std::chrono::steady_clock::now();
    kor::platform::sleepMs(60);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(60));
    EXPECT_LT(waited, std::chrono::seconds(10)); // a wait in the wrong unit would take a minute
}

TEST(Wait, ofZeroReturnsAtOnce)
{
    const auto start = std::chrono::steady_clock::now();
    kor::platform::sleepMs(0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

} // namespace
