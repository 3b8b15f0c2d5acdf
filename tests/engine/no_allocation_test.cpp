// Feeding samples and solving small systems allocate nothing. Replaces the global operator new of this program to count
// its calls.
#include "engine/engine_pair.h"

#include <atomic>
#include <cstdlib>
#include <new>

#include "mek/Matrix.h"
#include "mek/Polyfit.h"

namespace {

std::atomic<long> g_allocations{0};

void* counted(std::size_t size)
{
    ++g_allocations;
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size)
{
    return counted(size);
}

void* operator new[](std::size_t size)
{
    return counted(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    ++g_allocations;
    return std::malloc(size == 0 ? 1 : size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    ++g_allocations;
    return std::malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

namespace kor_test {
namespace {

TEST(Allocations, theCounterCounts)
{
    const long before = g_allocations.load();
    const std::vector<double> some(100);
    EXPECT_GT(g_allocations.load(), before);
    EXPECT_EQ(some.size(), 100U);
}

TEST(Allocations, aThousandSamplesAllocateNothingInAnyMode)
{
    for (const int mode : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) {
        CKor engine;
        configurePlainly(engine, mode);
        const std::array<float, 5> knots = {-50, 50, 0, 0, 0};
        const std::array<double, 8> line = {-50, 1, 0, 0, 50, 1, 0, 0};
        engine.setLevelXComp(2, knots.data(), line.data());
        engine.setLevelYComp(2, knots.data(), line.data());
        const std::array<float, 4> table = {0, 1, 180, -1};
        engine.setAzimuthComp(2, table.data());
        engine.setElevationComp(2, table.data());
        const std::array<float, 7> values = {0.1F, 0.2F, 0.3F, 0.4F, 0.5F, 0.6F, 0.7F};
        LoadParameterStore(engine, values.data(), values.data(), values.data());
        engine.setMountMode(mode);
        engine.setMcsFlag(mode % 2 == 0);
        Matrix matrix{};
        const long before = g_allocations.load();
        for (int i = 0; i < 1000; ++i) {
            KOR_RAWINFO raw = plainSample();
            const auto step = static_cast<float>(i % 50);
            raw.status = i % 100 == 99 ? 1 : 2;
            raw.sensorVector[0] = 1000.0F + step;
            raw.sensorVector[1] = 2000.0F;
            raw.sensorVector[2] = 100.0F;
            raw.azimuthRaw = step;
            raw.elevationRaw = step / 5;
            raw.levelXRaw = i % 70 == 0 ? 99.0F : 1 + step / 100;
            raw.levelYRaw = 2 - step / 100;
            raw.timeStampMs = static_cast<std::uint32_t>(10 * i);
            KOR_INFO info;
            engine.updateKORData(raw, info);
            engine.ReadMatrix(matrix.data());
        }
        EXPECT_EQ(g_allocations.load(), before) << "mode " << mode;
    }
}

TEST(Allocations, systemsOfUpToSixteenUnknownsNeedNone)
{
    for (const int size : {2, 15, 16, 17}) {
        std::vector<double> matrix(static_cast<std::size_t>(size) * static_cast<std::size_t>(size));
        std::vector<double> points;
        for (int i = 0; i < size; ++i) {
            matrix[static_cast<std::size_t>(i) * static_cast<std::size_t>(size + 1)] = 2.0;
            points.push_back(static_cast<double>(i) / size);
            points.push_back(1.0);
        }
        std::vector<double> coefficients(static_cast<std::size_t>(size));
        const long before = g_allocations.load();
        EXPECT_TRUE(mek::MatrixInverse(matrix.data(), size));
        EXPECT_EQ(g_allocations.load() > before, size > 16) << "an inverse of size " << size;
        const long between = g_allocations.load();
        mek::JPolyfit(size, points.data(), size - 1, coefficients.data());
        EXPECT_EQ(g_allocations.load() > between, size > 16) << "a fit of order " << size - 1;
        EXPECT_EQ(matrix[0], 0.5);
    }
}

} // namespace
} // namespace kor_test
