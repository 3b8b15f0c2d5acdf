// The shared records copied between a host and the built library, each with memory management of its own.
#include "KORInterface/SharedRecords.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>

#include "module/FakedCount.h"

namespace {

std::unique_ptr<CStyloPRM> withEntries(int count)
{
    auto record = std::make_unique<CStyloPRM>();
    for (int i = 0; i < count; ++i) {
        record->entries.emplace_back();
        record->entries.back().first = i;
    }
    return record;
}

TEST(LibraryBoundary, isCrossedByEntriesOfHostAndLibraryAlike)
{
    auto source = withEntries(1000);
    auto copy = std::make_unique<CStyloPRM>(*source);
    source.reset();
    ASSERT_EQ(copy->entries.size(), 1000U);
    EXPECT_EQ(copy->entries[999].first, 999);

    // The host lets grow what the library has allocated, the library replaces what the host has allocated.
    copy->entries.resize(5000);
    auto target = withEntries(3);
    *target = *copy;
    copy.reset();
    ASSERT_EQ(target->entries.size(), 5000U);
    EXPECT_EQ(target->entries[999].first, 999);
    target->entries.clear();
    target->entries.shrink_to_fit();
    *target = *withEntries(1);
    EXPECT_EQ(target->entries.size(), 1U);
}

TEST(LibraryBoundary, isCrossedByTheAllocatorsException)
{
    auto source = withEntries(1);
    CStyloPRM target;
    const kor_test::FakedCount count(source->entries, std::ptrdiff_t{1} << 42U);
    EXPECT_THROW(target = *source, std::bad_alloc);
    EXPECT_THROW(CStyloPRM copy(*source), std::bad_alloc);
    EXPECT_TRUE(target.entries.empty());
}

TEST(LibraryBoundary, isCrossedByTheLengthError)
{
    auto source = withEntries(1);
    CStyloPRM target;
    const kor_test::FakedCount count(source->entries, -1);
    EXPECT_THROW(target = *source, std::length_error);
}

TEST(LibraryBoundary, isCrossedByTheThermalStatus)
{
    CADMModule module;
    module.thermalStatus = -7;
    EXPECT_EQ(module.getThermalStatus(), -7);
}

} // namespace
